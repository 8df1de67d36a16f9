#pragma once

// A directivity: how the level radiated by a source changes with direction, per frequency band. It holds the
// samples it was made from and a value grid per band on regular angle steps, with each band's total level
// deviation dLtot. The record layout is in docs/directivity.md.

#include "platform/acoustic/SpecTypes.h"
#include "platform/base/Bands.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {
namespace db {
class TTable;
}
} // namespace korvel

namespace korvel::acoustic {

// Horizontal: depends on phi only; rotationally symmetric: on theta only; full 3D: on both.
enum class TDirType : std::uint8_t { Horizontal = 0, RotationallySymmetric = 1, Full3D = 2 };
inline constexpr std::array<std::string_view, 3> DirTypeStr = {"Horizontal", "Rotationally symmetric",
                                                               "Full 3D"};

// One measured or entered direction: theta 0..180 degrees from the upward axis, phi 0..360 degrees around
// it, and a level difference per band (indexed like the directivity's band items).
class TSampleItem {
public:
    double Theta() const { return theta_; }
    double Phi() const { return phi_; }
    void SetTheta(double theta) { theta_ = theta; }
    void SetPhi(double phi) { phi_ = phi; }
    std::vector<double> Values;

    bool operator==(const TSampleItem&) const = default;

private:
    double theta_ = 0;
    double phi_ = 0;
};

// The values of one band on the angle grid: ThetaCount rows by PhiCount columns, in dB.
struct TDirBandItem {
    int Band = 0;
    std::vector<double> Values;
    double dLtot = 0;

    bool operator==(const TDirBandItem&) const = default;
};

class TDirectivity {
public:
    TDirectivity();

    // Back to a new directivity: rotationally symmetric, frequency independent at band 27 (500 Hz), 5 degree
    // steps, no samples, all grid values 0.
    void Init();

    TDirType DirType() const { return dirType_; }
    void SetDirType(TDirType type);
    // Band type: third octaves, octaves, or one band for all frequencies ("Frequency independent").
    TSpecType SpecType() const { return specType_; }
    void SetSpecType(TSpecType type);
    int GetBmin() const { return bmin_; }
    int GetBmax() const { return bmax_; }
    void SetBMinBMax(int bmin, int bmax);
    // Angle steps in degrees; each must divide 180 (vertical) and 360 (horizontal) evenly, from 1 to 90.
    // Another step throws EKorvelError and changes nothing.
    int StepH() const { return stepH_; }
    int StepV() const { return stepV_; }
    void SetStep(int horizontal, int vertical);

    // Grid size: theta rows 0, StepV, ..., 180 (one row for a horizontal directivity); phi columns 0, StepH,
    // ..., 360 - StepH.
    int ThetaCount() const;
    int PhiCount() const;
    double ThetaOf(int row) const;
    double PhiOf(int col) const;

    int BandCount() const { return static_cast<int>(items_.size()); }
    TDirBandItem& GetItem(int index);
    const TDirBandItem& GetItem(int index) const;
    double Value(int index, int row, int col) const;
    void SetValue(int index, int row, int col, double value);
    // Name of a band item for tabs and lists: "1k Hz", or "All frequencies" for a frequency-independent one.
    std::string BandStr(int index) const;

    std::vector<TSampleItem> Samples;
    void ClearSamples() { Samples.clear(); }
    // Adds a sample with one value per band item.
    TSampleItem& AddSample(double theta, double phi, double value = 0);

    // dLtot of every band: the energetic mean of the grid over the sphere, each cell weighted by its solid
    // angle (a horizontal directivity: over the circle).
    void CalcLtot();

    // Writes the directivity into the current record, which must be in edit or insert state.
    void SaveToLibrary(db::TTable& table, const std::string& name) const;
    // Reads the current record (number -999) or the element of that number. A damaged record throws
    // EKorvelError and leaves this object as it was.
    void ReadFromLibrary(db::TTable& table, int number = -999);

    bool operator==(const TDirectivity&) const = default;

private:
    // Brings the band items and grids to the present bands and angle steps, keeping the values of bands that
    // stay and taking each new grid point from the nearest old one.
    void Reshape(int oldStepH, int oldStepV, bool oldHorizontal);
    std::vector<int> BandList() const;

    TDirType dirType_ = TDirType::RotationallySymmetric;
    TSpecType specType_ = TSpecType::SingleValue;
    int bmin_ = 27;
    int bmax_ = 27;
    int stepH_ = 5;
    int stepV_ = 5;
    std::vector<TDirBandItem> items_;
};

} // namespace korvel::acoustic
