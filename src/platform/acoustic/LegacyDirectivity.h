#pragma once

// Directivities of the older table generation: polar cuts of the 2D table ("Riwi") and grids of the 3D table
// ("Riwi3D"), and how they become directivities of the current kind. docs/legacy-libraries.md describes the
// records and the rule that joins a horizontal and a vertical cut into one grid.

#include "platform/acoustic/Directivity.h"

#include <string>
#include <vector>

namespace korvel {
namespace db {
class TTable;
}
} // namespace korvel

namespace korvel::acoustic {

// One cut of the 2D table: dB values at 0, Step, ..., 360 - Step degrees.
struct TLegacyCut {
    int Number = 0;
    std::string Name;
    int Step = 10;
    std::vector<double> Values;

    // The value at an angle in degrees: linear between two steps, wrapping at 360.
    double At(double degrees) const;
};

// One record of the 3D table: theta rows 0, StepV, ..., 180 by phi columns 0, StepH, ..., 360 - StepH.
struct TLegacyGrid {
    int Number = 0;
    std::string Name;
    int StepH = 10;
    int StepV = 10;
    std::vector<double> Values;

    int Rows() const { return 180 / StepV + 1; }
    int Cols() const { return 360 / StepH; }
    double Value(int row, int col) const { return Values[static_cast<std::size_t>(row * Cols() + col)]; }
};

// Read the current record. Steps that do not divide the circle, or values that do not match the steps or
// are no numbers, throw EKorvelError naming the record; nothing is returned then.
TLegacyCut ReadLegacyCut(db::TTable& table);
TLegacyGrid ReadLegacyGrid(db::TTable& table);

// The level of a horizontal and a vertical cut joined in the direction (theta from the upward axis, phi
// around it, x forward, y left, z up): L = (y^2 H(atan2(y, x)) + z^2 V(atan2(z, x))) / (y^2 + z^2), and the
// mean of both on the x axis. A missing cut counts as 0 dB everywhere.
double CombineCuts(const TLegacyCut* horizontal, const TLegacyCut* vertical, double theta, double phi);

// Frequency independent at band 27 with 10 degree steps: full 3D from both cuts, or rotationally symmetric
// with L(theta) = V(90 - theta) when there is no horizontal cut.
TDirectivity DirectivityFromCuts(const TLegacyCut* horizontal, const TLegacyCut& vertical);
// A horizontal directivity holding the cut (frequency independent at band 27).
TDirectivity DirectivityFromHorizontalCut(const TLegacyCut& horizontal);

// One band's pair of cuts; either may be missing.
struct TLegacyCutPair {
    const TLegacyCut* Horizontal = nullptr;
    const TLegacyCut* Vertical = nullptr;
};
// Full 3D with 10 degree steps over the bands of the band type and range; band item i is built from
// bands[i] (missing entries and missing cuts count as 0 dB).
TDirectivity SpectralDirectivityFromCuts(TSpecType type, int bmin, int bmax,
                                         const std::vector<TLegacyCutPair>& bands);

// Frequency independent at band 27 with the grid's own steps and values.
TDirectivity DirectivityFromGrid(const TLegacyGrid& grid);
// Full 3D over the bands of the band type and range, with the steps of the first grid present; band item i
// takes bands[i] at the nearest point, a missing grid gives 0 dB. Needs at least one grid (EKorvelError).
TDirectivity SpectralDirectivityFromGrids(TSpecType type, int bmin, int bmax,
                                          const std::vector<const TLegacyGrid*>& bands);

} // namespace korvel::acoustic
