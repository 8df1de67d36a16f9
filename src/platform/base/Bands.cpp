#include "platform/base/Bands.h"

#include <algorithm>
#include <cmath>

namespace korvel {

double ThirdOctaveFrequency(int band) {
    return std::pow(10.0, band / 10.0);
}

const std::array<double, kBandCount>& ThirdOctavesExact() {
    static const std::array<double, kBandCount> table = [] {
        std::array<double, kBandCount> t{};
        for (int n = 0; n < kBandCount; ++n) {
            t[static_cast<std::size_t>(n)] = ThirdOctaveFrequency(n);
        }
        return t;
    }();
    return table;
}

int ThirdOctaveBandOf(double frequencyHz) {
    if (!(frequencyHz > 0) || !std::isfinite(frequencyHz)) {
        return -1;
    }
    const double position = 10.0 * std::log10(frequencyHz);
    if (position < -0.5 || position >= kBandCount - 0.5) {
        return -1;
    }
    return static_cast<int>(std::floor(position + 0.5));
}

TSpectrumPara GetSpectrumPara(const std::array<double, kBandCount>& bands) {
    TSpectrumPara para;
    bool octave = true;
    for (int n = 0; n < kBandCount; ++n) {
        const double v = bands[static_cast<std::size_t>(n)];
        // A value that is no number is not a value either.
        if (!std::isfinite(v) || IsEmptyBandLevel(v))
            continue;
        para.First = std::min(para.First, n);
        para.Last = n;
        octave = octave && IsOctaveBand(n);
    }
    // A single filled band is a single value, never an octave spectrum.
    para.Octave = !para.Empty() && para.First < para.Last && octave;
    return para;
}

} // namespace korvel
