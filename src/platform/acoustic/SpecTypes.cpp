#include "platform/acoustic/SpecTypes.h"

#include "platform/base/Bands.h"
#include "platform/text/CaseFold.h"

#include <algorithm>

namespace korvel::acoustic {

int EmisEntryFromText(std::string_view text) {
    for (std::size_t i = 0; i < EmisEntryStr.size(); ++i) {
        if (SameTextIgnoringCase(text, EmisEntryStr[i])) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void NormalizeBandRange(TSpecType type, int& bmin, int& bmax) {
    bmin = std::clamp(bmin, 0, kBandCount - 1);
    bmax = std::clamp(bmax, 0, kBandCount - 1);
    if (bmin > bmax)
        std::swap(bmin, bmax);
    if (type == TSpecType::Octave) {
        bmin -= bmin % 3;
        bmax = std::min(bmax + (3 - bmax % 3) % 3, kBandCount - 2);
        bmax -= bmax % 3;
        bmin = std::min(bmin, bmax);
    }
}

std::vector<int> BandsInRange(TSpecType type, int bmin, int bmax) {
    std::vector<int> bands;
    for (int b = bmin; b <= bmax; ++b)
        if (type != TSpecType::Octave || IsOctaveBand(b))
            bands.push_back(b);
    return bands;
}

bool IsWeightingLetter(char letter) {
    return letter == kUnweighted || (letter >= 'A' && letter <= 'D');
}

std::string WeightingText(char letter) {
    if (letter >= 'A' && letter <= 'D') {
        return std::string("dB(") + letter + ")";
    }
    return "dB";
}

} // namespace korvel::acoustic
