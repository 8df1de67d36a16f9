#include "platform/base/Bands.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace korvel {
namespace {

TEST(BandsTest, NominalFrequenciesAndLabelsAgreeWithTheExactScale) {
    for (int n = 0; n < kBandCount; ++n) {
        const auto i = static_cast<std::size_t>(n);
        // Preferred numbers stay within about 1.5 % of the exact centre frequency.
        EXPECT_NEAR(ThirdOctaves[i] / ThirdOctavesExact()[i], 1.0, 0.015) << "band " << n;
        EXPECT_DOUBLE_EQ(ThirdOctavesExact()[i], ThirdOctaveFrequency(n));
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
    EXPECT_EQ(ThirdOctaveFrequency(30), 1000.0);
    EXPECT_EQ(ThirdOctaves[15], 31.5);
    EXPECT_EQ(ThirdOctavesStrShort[31], "1.25k");
}

TEST(BandsTest, FrequenciesOutsideTheTableHaveNoBandAndOctavesAreEveryThirdBand) {
    for (auto [frequency, band] : {std::pair{1050.0, 30},
                                   {0.9, 0},
                                   {0.5, -1},
                                   {0.0, -1},
                                   {-100.0, -1},
                                   {30000.0, -1},
                                   {std::nan(""), -1}})
        EXPECT_EQ(ThirdOctaveBandOf(frequency), band) << frequency;

    EXPECT_EQ(ThirdOctaves[static_cast<std::size_t>(OctaveToBand(0))], 31.5);
    EXPECT_EQ(ThirdOctaves[static_cast<std::size_t>(OctaveToBand(8))], 8000.0);
    std::vector<int> octaves;
    for (int n = -3; n < kBandCount + 2; ++n)
        if (IsOctaveBand(n))
            octaves.push_back(n);
    EXPECT_EQ(octaves.size(), 15u); // 1 Hz .. 16 kHz
    EXPECT_EQ(octaves.front(), 0);
    EXPECT_EQ(octaves[5], 15);
}

} // namespace
} // namespace korvel
