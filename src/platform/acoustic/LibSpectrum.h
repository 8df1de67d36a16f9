#pragma once

// The spectra of the sound library: one class per kind (emission 120, absorption 121, transmission 122,
// attenuation 123) over a common base that holds 44 band values, the band range and the element data the
// kinds share (groups, colour, additional properties, linked documents). Field names and blob layouts are
// in docs/sound-library.md.

#include "platform/acoustic/AddProp.h"
#include "platform/acoustic/SpecTypes.h"
#include "platform/base/Bands.h"
#include "platform/formula/VarList.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace korvel {
class TMyTable;
namespace db {
class TTable;
}
} // namespace korvel

namespace korvel::acoustic {

inline constexpr int kEmissionLibType = 120;
inline constexpr int kAbsorptionLibType = 121;
inline constexpr int kTransmissionLibType = 122;
inline constexpr int kAttenuationLibType = 123;
inline constexpr bool IsSoundLibType(int libType) {
    return libType >= kEmissionLibType && libType <= kAttenuationLibType;
}

inline constexpr int kGroupSlots = 4;
inline constexpr int kLinkedFileSlots = 4;

using TBandValues = std::array<double, kBandCount>;

class TCustomLibSpectrum {
public:
    TCustomLibSpectrum();
    virtual ~TCustomLibSpectrum() = default;
    virtual int LibType() const = 0;
    virtual std::unique_ptr<TCustomLibSpectrum> Clone() const = 0;
    // Takes over everything of another spectrum; EKorvelError when it is of another kind.
    void Assign(const TCustomLibSpectrum& other);

    // --- bands
    TSpecType SpecType() const { return specType_; }
    // Octave spectra keep their range on octave bands (widened outward to the nearest octave band).
    void SetSpecType(TSpecType type);
    int Bmin() const { return bmin_; }
    int Bmax() const { return bmax_; }
    // Clamps to 0..43 and orders the two; octave spectra snap to octave bands.
    void SetBMinBMax(int bmin, int bmax);
    // The bands the spectrum shows: Bmin..Bmax, every third band for octave spectra; none for single values.
    std::vector<int> Bands() const;
    bool InRange(int band) const;

    // Stored value of a band; kEmptyBandLevel (-199) for an empty band or one outside 0..43.
    double GetValue(int band) const;
    void SetValue(int band, double value);
    const TBandValues& Values() const { return values_; }
    void ClearValues();

    // Over-all value of the spectrum as the kind defines it (energetic sum for levels); single values keep
    // their number here. kEmptyBandLevel when there is nothing to sum.
    virtual double GetValueSum() const;
    // Shifts every non-empty band in range by the same amount so that the sum becomes the value; a single
    // value takes it as it is.
    virtual void SetValueSum(double sum);
    double SingleValue() const { return single_; }
    void SetSingleValue(double v) { single_ = v; }
    // Whether the kind offers single values (emission and transmission do).
    bool HasSingleValue() const { return LibType() == kEmissionLibType || LibType() == kTransmissionLibType; }
    // Takes an imported 44-band array (kEmptyBandLevel for empty bands): band type and range from where it
    // holds values, a single value when one band does and the kind has single values, and every band's
    // value. An array without values leaves the type and range as they were.
    void SetFromBands(const TBandValues& bands);

    // --- element data
    std::array<int, kGroupSlots> Groups{};
    std::uint32_t Color = 0x808080; // 0xRRGGBB
    TAddPropList AddProps;
    // Linked documents: plain file names beside the library, "" when unused.
    std::array<std::string, kLinkedFileSlots> LinkedFiles;
    // Sets a linked file; refuses (EKorvelError) a name with a path separator, a drive or "..".
    void SetLinkedFile(int slot, const std::string& fileName);

    // Reads the current record of the main table (elementNo -999) or the element of that number into this
    // object. Fields the table lacks keep their defaults; a damaged blob throws EKorvelError and leaves this
    // object as it was.
    void ReadFromLibrary(TMyTable& myTable, const TAddPropDefList& defs, int elementNo = -999);
    // Writes the spectrum into the current record of the main table, which must be in edit or insert state.
    // Only fields the table has are written.
    void SaveToLibrary(TMyTable& myTable, const std::string& name);

protected:
    virtual void ReadKindFields(db::TTable& table);
    virtual void WriteKindFields(db::TTable& table);
    // Takes over everything of another spectrum of the same kind.
    virtual void AssignFrom(const TCustomLibSpectrum& other) = 0;
    double EnergeticSum(const TBandValues& values) const;
    // Shifts the non-empty bands in range from the current sum to the new one; a spectrum without values
    // becomes flat through setFlat (band, level).
    void ShiftToSum(double sum, double current, const std::function<void(int, double)>& setFlat);
    // Mean of the non-empty bands in range; kEmptyBandLevel when there are none.
    double ArithmeticMean() const;

    TSpecType specType_ = TSpecType::ThirdOctave;
    int bmin_ = 15; // 31.5 Hz
    int bmax_ = 40; // 10 kHz
    TBandValues values_{};
    double single_ = kEmptyBandLevel;
};

class TEmisLibSpectrum : public TCustomLibSpectrum {
public:
    int LibType() const override { return kEmissionLibType; }
    std::unique_ptr<TCustomLibSpectrum> Clone() const override;

protected:
    void AssignFrom(const TCustomLibSpectrum& other) override {
        *this = dynamic_cast<const TEmisLibSpectrum&>(other);
    }

public:
    // Weighting letter 'A'..'D' or ' '. Band values are stored unweighted; the weighted view adds the offset.
    char dBX() const { return weighting_; }
    // Changes the letter only: the stored (linear) values stay, the weighted view changes.
    void SetdBX(char letter);
    // Changes the letter keeping the weighted values as they are shown: the linear values move.
    void ReWeight(char letter);

    double GetdBXValue(int band) const;
    void SetdBXValue(int band, double value);
    double GetdBXValueSum() const;
    // Shifts the spectrum so that its weighted sum becomes the value.
    void SetdBXValueSum(double sum);

    TEmisRef EmisRef = TEmisRef::PerUnit;
    TEmisEntrytype EntryType = TEmisEntrytype::Spectrum;
    double HeightAboveGround = 0;
    double Sigma = 0;
    int Directivity = 0; // element number in the folder's directivity library, 0 = none

    formula::TVarList VarsIn, VarsOut, VarsLocal;
    std::string FormulaText;

protected:
    void ReadKindFields(db::TTable& table) override;
    void WriteKindFields(db::TTable& table) override;

private:
    char weighting_ = 'A';
};

class TAbsoLibSpectrum : public TCustomLibSpectrum {
public:
    TAbsoLibSpectrum();
    int LibType() const override { return kAbsorptionLibType; }
    std::unique_ptr<TCustomLibSpectrum> Clone() const override;

protected:
    void AssignFrom(const TCustomLibSpectrum& other) override {
        *this = dynamic_cast<const TAbsoLibSpectrum&>(other);
    }

public:
    // Mean absorption coefficient of the bands in range.
    double GetValueSum() const override;
    // Scales nothing: absorption has no sum to set.
    void SetValueSum(double) override {}

    double GetScatValue(int band) const;
    void SetScatValue(int band, double value);
    const TBandValues& ScatValues() const { return scat_; }

protected:
    void ReadKindFields(db::TTable& table) override;
    void WriteKindFields(db::TTable& table) override;

private:
    TBandValues scat_{};
};

class TTransLibSpectrum : public TCustomLibSpectrum {
public:
    int LibType() const override { return kTransmissionLibType; }
    std::unique_ptr<TCustomLibSpectrum> Clone() const override;

protected:
    void AssignFrom(const TCustomLibSpectrum& other) override {
        *this = dynamic_cast<const TTransLibSpectrum&>(other);
    }

public:
    // The single-number value (Rw or Dn,e,w).
    double GetValueSum() const override { return Rw; }
    void SetValueSum(double sum) override { Rw = sum; }

    TTransType TransType = TTransType::SoundReductionIndex;
    double Rw = 0, C = 0, Ctr = 0;
    int BauteilTyp = 0;

    // Recomputes Rw, C and Ctr from the bands (single values keep theirs). A spectrum too narrow for the
    // rating keeps the values it had and the rating's message is returned; "" on success.
    std::string RechneRwCCtr();

protected:
    void ReadKindFields(db::TTable& table) override;
    void WriteKindFields(db::TTable& table) override;
};

class TAttenLibSpectrum : public TCustomLibSpectrum {
public:
    int LibType() const override { return kAttenuationLibType; }
    std::unique_ptr<TCustomLibSpectrum> Clone() const override;

protected:
    void AssignFrom(const TCustomLibSpectrum& other) override {
        *this = dynamic_cast<const TAttenLibSpectrum&>(other);
    }

public:
    // Mean attenuation of the bands in range.
    double GetValueSum() const override;
    void SetValueSum(double sum) override;
};

// A spectrum object of the kind (120..123); nullptr for any other type.
std::unique_ptr<TCustomLibSpectrum> CreateLibSpectrum(int libType);

} // namespace korvel::acoustic
