#include "platform/base/Bands.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

namespace korvel {
namespace {

TEST(BandsTest, ReferenceBandsHaveTheirFrequencies) {
    EXPECT_EQ(ThirdOctaves[15], 31.5);
    EXPECT_EQ(ThirdOctaves[30], 1000.0);
    EXPECT_EQ(ThirdOctaves[40], 10000.0);
    EXPECT_EQ(ThirdOctaves[0], 1.0);
    EXPECT_EQ(ThirdOctaves[43], 20000.0);
    EXPECT_EQ(ThirdOctaveFrequency(30), 1000.0);
    EXPECT_EQ(ThirdOctaveFrequency(40), 10000.0);
    EXPECT_NEAR(ThirdOctaveFrequency(15), 31.6228, 1e-4);
    EXPECT_EQ(ThirdOctavesExact()[20], 100.0);
}

TEST(BandsTest, NominalFrequenciesAndLabelsAgreeWithTheExactScale) {
    for (int n = 0; n < kBandCount; ++n) {
        const auto i = static_cast<std::size_t>(n);
        // Preferred numbers stay within about 1.5 % of the exact centre frequency.
        EXPECT_NEAR(ThirdOctaves[i] / ThirdOctavesExact()[i], 1.0, 0.015) << "band " << n;
        // Each nominal frequency maps back to its own band.
        EXPECT_EQ(ThirdOctaveBandOf(ThirdOctaves[i]), n);
        // The label spells the nominal frequency, with "k" standing for a factor of 1000.
        std::string label(ThirdOctavesStrShort[i]);
        double factor = 1;
        if (label.back() == 'k') {
            label.pop_back();
            factor = 1000;
        }
        EXPECT_EQ(std::stod(label) * factor, ThirdOctaves[i]) << ThirdOctavesStrShort[i];
    }
    EXPECT_EQ(ThirdOctavesStrShort[15], "31.5");
    EXPECT_EQ(ThirdOctavesStrShort[29], "800");
    EXPECT_EQ(ThirdOctavesStrShort[30], "1k");
    EXPECT_EQ(ThirdOctavesStrShort[31], "1.25k");
    EXPECT_EQ(ThirdOctavesStrShort[40], "10k");
}

TEST(BandsTest, BandOfFrequencyRejectsWhatLiesOutsideTheTable) {
    EXPECT_EQ(ThirdOctaveBandOf(1050), 30);
    EXPECT_EQ(ThirdOctaveBandOf(0.9), 0);
    EXPECT_EQ(ThirdOctaveBandOf(0.5), -1);
    EXPECT_EQ(ThirdOctaveBandOf(0), -1);
    EXPECT_EQ(ThirdOctaveBandOf(-100), -1);
    EXPECT_EQ(ThirdOctaveBandOf(30000), -1);
    EXPECT_EQ(ThirdOctaveBandOf(std::nan("")), -1);
}

TEST(BandsTest, OctaveBandsAreEveryThirdBandFrom31_5Hz) {
    EXPECT_EQ(OctaveToBand(0), 15);
    EXPECT_EQ(ThirdOctaves[static_cast<std::size_t>(OctaveToBand(1))], 63.0);
    EXPECT_EQ(ThirdOctaves[static_cast<std::size_t>(OctaveToBand(8))], 8000.0);
    int count = 0;
    for (int n = 0; n < kBandCount; ++n) {
        count += IsOctaveBand(n) ? 1 : 0;
    }
    EXPECT_EQ(count, 15); // 1 Hz .. 16 kHz
    EXPECT_TRUE(IsOctaveBand(15));
    EXPECT_FALSE(IsOctaveBand(16));
    EXPECT_FALSE(IsOctaveBand(-3));
    EXPECT_FALSE(IsOctaveBand(45));
}

} // namespace
} // namespace korvel
