// Directivities of the older table generation: interpolating cuts, joining a horizontal and a vertical cut,
// and resampling the grids of a spectral directivity. Their records are read in LegacyImportTest.

#include "platform/acoustic/LegacyDirectivity.h"

#include "platform/Errors.h"

#include <cmath>
#include <gtest/gtest.h>

namespace korvel::acoustic {
namespace {

// A cut with the value at angle a = f(a), at the given step.
template <class F> TLegacyCut MakeCut(int step, F f) {
    TLegacyCut cut;
    cut.Step = step;
    for (int a = 0; a < 360; a += step)
        cut.Values.push_back(f(a));
    return cut;
}

// H rises with the azimuth, V with the elevation angle: every direction has a value of its own.
const TLegacyCut kH = MakeCut(10, [](int a) { return 5 + a / 10.0; });
const TLegacyCut kV = MakeCut(10, [](int a) { return -2 - a / 20.0; });

TEST(LegacyCut, InterpolatesLinearlyAndWrapsAround) {
    // 357.5 lies between 350 (40) and 0 (5); negative angles count from 360.
    for (const auto& [angle, value] : std::initializer_list<std::pair<double, double>>{
             {20, 7}, {25, 7.5}, {357.5, 40 * 0.25 + 5 * 0.75}, {-10, 40}, {370, 6}})
        EXPECT_DOUBLE_EQ(kH.At(angle), value) << angle;
    const TLegacyCut coarse = MakeCut(90, [](int a) { return a == 90 ? 8.0 : 0.0; });
    EXPECT_EQ(std::pair(coarse.At(45), coarse.At(135)), std::pair(4.0, 4.0));
}

TEST(LegacyCut, CombinationRuleInDirectionsWithKnownAnswers) {
    // Horizontal plane (theta 90): the horizontal cut alone.
    for (double phi : {10.0, 45.0, 90.0, 170.0, 250.0, 330.0})
        EXPECT_NEAR(CombineCuts(&kH, &kV, 90, phi), kH.At(phi), 1e-9) << phi;
    // x-z plane (phi 0 forward, 180 backward): the vertical cut at the elevation angle.
    EXPECT_NEAR(CombineCuts(&kH, &kV, 30, 0), kV.At(60), 1e-9);
    EXPECT_NEAR(CombineCuts(&kH, &kV, 150, 0), kV.At(300), 1e-9); // 60 degrees below forward
    EXPECT_NEAR(CombineCuts(&kH, &kV, 30, 180), kV.At(120), 1e-9);
    EXPECT_NEAR(CombineCuts(&kH, &kV, 0, 0), kV.At(90), 1e-9); // straight up
    // Half way between the y and the z axis both cuts weigh the same.
    EXPECT_NEAR(CombineCuts(&kH, &kV, 45, 90), (kH.At(90) + kV.At(90)) / 2, 1e-9);
    // y^2 = 3 z^2 at theta 60 in the y-z plane: weights 3/4 and 1/4.
    EXPECT_NEAR(CombineCuts(&kH, &kV, 60, 90), 0.75 * kH.At(90) + 0.25 * kV.At(90), 1e-9);
    // Front and back on the x axis: the mean of both cuts.
    EXPECT_NEAR(CombineCuts(&kH, &kV, 90, 0), (kH.At(0) + kV.At(0)) / 2, 1e-9);
    EXPECT_NEAR(CombineCuts(&kH, &kV, 90, 180), (kH.At(180) + kV.At(180)) / 2, 1e-9);
    // A missing cut counts as 0 dB.
    EXPECT_NEAR(CombineCuts(nullptr, &kV, 45, 90), kV.At(90) / 2, 1e-9);
    EXPECT_NEAR(CombineCuts(&kH, nullptr, 90, 40), kH.At(40), 1e-9);
    EXPECT_NEAR(CombineCuts(nullptr, nullptr, 20, 40), 0.0, 1e-12);
}

TLegacyGrid MakeGrid(int stepH, int stepV, double base) {
    TLegacyGrid g;
    g.StepH = stepH;
    g.StepV = stepV;
    for (int r = 0; r < g.Rows(); ++r)
        for (int c = 0; c < g.Cols(); ++c)
            g.Values.push_back(base + r * stepV + c * stepH / 1000.0);
    return g;
}

TEST(LegacyDirectivity, SpectralGridsTakeTheStepsOfTheFirstGridAndResampleTheOthers) {
    // Band 0 missing: the steps come from the first grid present (band 1); band 2 is resampled to them.
    const TLegacyGrid fine = MakeGrid(10, 10, 0);
    const TLegacyGrid coarse = MakeGrid(30, 45, 1000);
    const TDirectivity d =
        SpectralDirectivityFromGrids(TSpecType::ThirdOctave, 26, 28, {nullptr, &fine, &coarse});
    ASSERT_EQ(d.BandCount(), 3);
    EXPECT_EQ(d.StepH(), 10);
    EXPECT_EQ(d.StepV(), 10);
    for (double v : d.GetItem(0).Values)
        ASSERT_EQ(v, 0.0);
    EXPECT_DOUBLE_EQ(d.Value(1, 5, 7), 50 + 0.07);
    // theta 40 -> nearest coarse row 45 (row 1); phi 70 -> nearest column 60 (col 2); phi 350 wraps to 0.
    EXPECT_DOUBLE_EQ(d.Value(2, 4, 7), 1000 + 45 + 0.06);
    EXPECT_DOUBLE_EQ(d.Value(2, 4, 35), 1000 + 45);
    EXPECT_THROW(SpectralDirectivityFromGrids(TSpecType::ThirdOctave, 26, 28, {nullptr, nullptr}),
                 EKorvelError);
}

} // namespace
} // namespace korvel::acoustic
