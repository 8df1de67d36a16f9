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

// How Interpolate fills the grid of a horizontal or rotationally symmetric directivity from its samples.
enum class TSplineType : std::uint8_t { Cubic = 1, Exponential = 2, Fourier = 3 };

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

    // Fills every band's grid from the samples. Horizontal and rotationally symmetric: by the spline type,
    // the parameter being the tension of an exponential spline (1..30) or the order of a Fourier series
    // (1..30). Full 3D: by a fit of spherical harmonics with as many terms as the parameter says (1..300);
    // the spline type is then only kept. Fewer than 4 samples (or distinct directions) throw EKorvelError
    // "Not enough samples", a parameter out of its range names the range, a fit that fails throws "Error
    // while interpolating"; the grids stay as they were in every case. The mathematics is in
    // docs/directivity.md.
    void Interpolate(TSplineType splineType, int parameter);
    // Whether the grids hold the result of the last interpolation. The editor discards it on every change
    // of the samples and of the interpolation settings, so that the next request computes again.
    bool HasInterpolation() const { return interpolated_; }
    void DiscardInterpolation() { interpolated_ = false; }
    TSplineType SplineType() const { return splineType_; }

    // dLtot of every band: the energetic mean of the grid over the sphere, each cell weighted by its solid
    // angle (a horizontal directivity: over the circle).
    void CalcLtot();

    // Writes the directivity into the current record, which must be in edit or insert state.
    void SaveToLibrary(db::TTable& table, const std::string& name) const;
    // Reads the current record (number -999) or the element of that number. A damaged record throws
    // EKorvelError and leaves this object as it was.
    void ReadFromLibrary(db::TTable& table, int number = -999);

    // Equal data make equal directivities, however their grids came about: the interpolation state is left
    // out.
    bool operator==(const TDirectivity& other) const {
        return dirType_ == other.dirType_ && specType_ == other.specType_ && bmin_ == other.bmin_ &&
               bmax_ == other.bmax_ && stepH_ == other.stepH_ && stepV_ == other.stepV_ &&
               items_ == other.items_ && Samples == other.Samples;
    }

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
    TSplineType splineType_ = TSplineType::Cubic;
    bool interpolated_ = false;
};

} // namespace korvel::acoustic
