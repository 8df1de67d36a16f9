#include "calculators/FlowResistivity.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/Bands.h"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace korvel::calculators {
namespace {

// The statistical absorption coefficient written with the magnitude and phase of the impedance
// zeta = |zeta| e^(j phi) instead of the admittance's parts.
double AlphaFromMagnitudeAndPhase(std::complex<double> zeta) {
    const double m = std::abs(zeta);
    const double c = std::cos(std::arg(zeta));
    const double s = std::sin(std::arg(zeta));
    return 8.0 * c / m *
           (1.0 - c / m * std::log(1.0 + 2.0 * m * c + m * m) +
            std::cos(2.0 * std::arg(zeta)) / (m * s) * std::atan(m * s / (1.0 + m * c)));
}

TEST(DelanyBazley, ImpedanceAtOneKilohertz) {
    const std::complex<double> z = DelanyBazleyImpedance(1000, 250); // X = 4
    EXPECT_NEAR(z.real(), 4.21, 0.01);
    EXPECT_NEAR(z.imag(), 4.33, 0.01);
    // A denser layer (smaller X) departs further from air.
    EXPECT_GT(std::abs(DelanyBazleyImpedance(1000, 1000)), std::abs(z));
}

TEST(StatisticalAbsorption, AgreesWithTheImpedanceForm) {
    for (double sigma : {5.0, 50.0, 250.0, 2000.0}) {
        for (int band = 15; band <= 40; ++band) {
            const double f = ThirdOctaves[static_cast<std::size_t>(band)];
            const std::complex<double> z = DelanyBazleyImpedance(f, sigma);
            const double alpha = StatisticalAbsorption(z);
            EXPECT_NEAR(alpha, AlphaFromMagnitudeAndPhase(z), 1e-12) << sigma << " kPas/m², " << f << " Hz";
            // Below the locally reacting maximum of about 0.951.
            EXPECT_GT(alpha, 0.0);
            EXPECT_LT(alpha, 0.952);
            EXPECT_DOUBLE_EQ(AbsorptionFromFlowResistivity(f, sigma), alpha);
        }
    }
    // Sign of the imaginary part does not matter, a purely real one cannot be used.
    EXPECT_NEAR(StatisticalAbsorption({3.0, -2.0}), StatisticalAbsorption({3.0, 2.0}), 1e-15);
    EXPECT_THROW(StatisticalAbsorption({2.0, 0.0}), EKorvelError);
    EXPECT_THROW(StatisticalAbsorption({0.0, 0.0}), EKorvelError);
}

TEST(ApplyFlowResistivity, SetsTheBandsShownAtTheirNominalFrequency) {
    acoustic::TAbsoLibSpectrum spectrum;
    spectrum.SetBMinBMax(15, 30);
    spectrum.SetValue(31, 0.5);
    ApplyFlowResistivity(spectrum, 250);
    for (int band = 15; band <= 30; ++band) {
        const auto expected = static_cast<float>(AbsorptionFromFlowResistivity(ThirdOctaves[band], 250));
        EXPECT_EQ(spectrum.GetValue(band), static_cast<double>(expected)) << "band " << band;
    }
    // 31.5 Hz, not the exact 31.62 Hz of band 15.
    EXPECT_NE(static_cast<float>(spectrum.GetValue(15)),
              static_cast<float>(AbsorptionFromFlowResistivity(ThirdOctaveFrequency(15), 250)));
    EXPECT_DOUBLE_EQ(spectrum.GetValue(31), 0.5);
    EXPECT_TRUE(IsEmptyBandLevel(spectrum.GetValue(14)));

    acoustic::TAbsoLibSpectrum octaves;
    octaves.SetSpecType(acoustic::TSpecType::Octave);
    octaves.SetBMinBMax(18, 24);
    ApplyFlowResistivity(octaves, 100);
    EXPECT_FALSE(IsEmptyBandLevel(octaves.GetValue(21)));
    EXPECT_TRUE(IsEmptyBandLevel(octaves.GetValue(22)));
}

TEST(ApplyFlowResistivity, RefusesUnusableInputAndChangesNothing) {
    acoustic::TAbsoLibSpectrum spectrum;
    spectrum.SetBMinBMax(20, 25);
    spectrum.SetValue(20, 0.3);
    const acoustic::TBandValues before = spectrum.Values();
    for (double sigma : {0.0, -250.0, std::numeric_limits<double>::quiet_NaN()}) {
        try {
            ApplyFlowResistivity(spectrum, sigma);
            ADD_FAILURE() << "accepted " << sigma;
        } catch (const EKorvelError& e) {
            EXPECT_STREQ(e.what(), "The flow resistivity must be greater than 0 kPas/m².");
        }
    }
    EXPECT_EQ(spectrum.Values(), before);
    EXPECT_THROW(DelanyBazleyImpedance(0.0, 250), EKorvelError);
    EXPECT_THROW(DelanyBazleyImpedance(-1000, 250), EKorvelError);
}

} // namespace
} // namespace korvel::calculators
