#include "platform/acoustic/ScatteringSuggester.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>

namespace korvel::acoustic {
namespace {

// erf by Simpson's rule on 2/sqrt(pi) exp(-t²), so the check does not lean on the library's erf.
double SimpsonErf(double x) {
    constexpr int steps = 2000;
    const double h = x / steps;
    double sum = 1.0 + std::exp(-x * x);
    for (int i = 1; i < steps; ++i) {
        const double t = i * h;
        sum += (i % 2 == 1 ? 4.0 : 2.0) * std::exp(-t * t);
    }
    return 2.0 / std::sqrt(std::numbers::pi) * sum * h / 3.0;
}

bool StoredAsFloat(double v) {
    return v == static_cast<double>(static_cast<float>(v));
}

TEST(ScatteringSuggesters, PowerLawsRiseWithRoughnessErrorFunctionStepsBothRefuseOutsideTheScale) {
    // An index outside the class table is smooth, as for no selection.
    EXPECT_EQ(std::pair(RoughnessOfClass(-1), RoughnessOfClass(7)), std::pair(0.0, 0.0));
    TScattering_Value_Suggester_Power_Laws powerLaws;
    TAbsoLibSpectrum smooth;
    powerLaws.load_Suggested_Scattering_Values(smooth, 0.0);
    // k = 0.001: even at 20 kHz k x² stays far below 0.01.
    EXPECT_FLOAT_EQ(smooth.GetScatValue(43), 0.01f);

    TAbsoLibSpectrum rough;
    rough.SetBMinBMax(25, 35); // the range of the element does not limit the suggestion
    powerLaws.load_Suggested_Scattering_Values(rough, RoughnessOfClass(6));
    EXPECT_NEAR(rough.GetScatValue(30), 0.964, 0.0005); // "> 1m", r = 0.8: k = 29.66, x = 0.95
    EXPECT_TRUE(StoredAsFloat(rough.GetScatValue(30)));
    EXPECT_FLOAT_EQ(rough.GetScatValue(20), 0.01f); // x = 0 from 100 Hz down

    // The error function steps around the roughness frequency.
    TScattering_Value_Suggester_Error_Function errorFunction;
    TAbsoLibSpectrum spectrum;
    // r = 0.75^4 puts the step at 4000 * (1 - 0.75) = 1000 Hz, the exact centre of band 30.
    errorFunction.load_Suggested_Scattering_Values(spectrum, 0.31640625);
    EXPECT_DOUBLE_EQ(spectrum.GetScatValue(30), 0.5);
    EXPECT_NEAR(spectrum.GetScatValue(0), 0.0, 1e-12);
    EXPECT_NEAR(spectrum.GetScatValue(43), 1.0, 1e-12);

    // Bands near the step, against an integrated erf.
    const struct {
        double r;
        int band;
    } cases[] = {{0.0, 36}, {0.0, 35}, {0.8, 23}, {0.8, 24}, {0.31640625, 31}};
    for (const auto& c : cases) {
        errorFunction.load_Suggested_Scattering_Values(spectrum, c.r);
        const double f0 = 4000.0 * (1.0 - std::pow(c.r, 0.25));
        const double expected = 0.5 * (1.0 + SimpsonErf((std::pow(10.0, c.band / 10.0) - f0) / 50.0));
        EXPECT_NEAR(spectrum.GetScatValue(c.band), expected, 1e-6) << "r " << c.r << " band " << c.band;
        EXPECT_TRUE(StoredAsFloat(spectrum.GetScatValue(c.band)));
    }

    // Both refuse a roughness outside the scale and keep the values.
    for (IScattering_Value_Suggester* suggester :
         std::initializer_list<IScattering_Value_Suggester*>{&powerLaws, &errorFunction}) {
        TAbsoLibSpectrum kept;
        kept.SetScatValue(30, 0.25);
        for (double r : {-0.1, 1.5, std::numeric_limits<double>::quiet_NaN()})
            EXPECT_THROW(suggester->load_Suggested_Scattering_Values(kept, r), EKorvelError) << r;
        EXPECT_DOUBLE_EQ(kept.GetScatValue(30), 0.25);
        EXPECT_TRUE(IsEmptyBandLevel(kept.GetScatValue(29)));
    }
}

} // namespace
} // namespace korvel::acoustic
