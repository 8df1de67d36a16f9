#include "platform/acoustic/Weighting.h"

#include <cmath>
#include <limits>

namespace korvel::acoustic {

namespace {

using TTable = std::array<double, kBandCount>;

// Bands 10..43 (10 Hz .. 20 kHz) are the published third-octave tables; bands 0..9 are the analytic
// definitions at 10^(n/10) Hz, rounded like the rest. docs/acoustics.md names the sources.
// One row per decade: 1 Hz, 10 Hz, 100 Hz, 1 kHz, 10 kHz.
// clang-format off
constexpr TTable kWeightA = {
    -148.6, -140.6, -132.6, -124.6, -116.7, -108.8, -100.9,  -93.1,  -85.3,  -77.8,
     -70.4,  -63.4,  -56.7,  -50.5,  -44.7,  -39.4,  -34.6,  -30.2,  -26.2,  -22.5,
     -19.1,  -16.1,  -13.4,  -10.9,   -8.6,   -6.6,   -4.8,   -3.2,   -1.9,   -0.8,
       0.0,    0.6,    1.0,    1.2,    1.3,    1.2,    1.0,    0.5,   -0.1,   -1.1,
      -2.5,   -4.3,   -6.6,   -9.3
};
constexpr TTable kWeightB = {
     -96.4,  -90.4,  -84.4,  -78.5,  -72.5,  -66.6,  -60.7,  -54.9,  -49.2,  -43.6,
     -38.2,  -33.2,  -28.5,  -24.2,  -20.4,  -17.1,  -14.2,  -11.6,   -9.3,   -7.4,
      -5.6,   -4.2,   -3.0,   -2.0,   -1.3,   -0.8,   -0.5,   -0.3,   -0.1,    0.0,
       0.0,    0.0,    0.0,   -0.1,   -0.2,   -0.4,   -0.7,   -1.2,   -1.9,   -2.9,
      -4.3,   -6.1,   -8.4,  -11.1
};
constexpr TTable kWeightC = {
     -52.5,  -48.5,  -44.5,  -40.6,  -36.6,  -32.7,  -28.8,  -25.0,  -21.3,  -17.7,
     -14.3,  -11.2,   -8.5,   -6.2,   -4.4,   -3.0,   -2.0,   -1.3,   -0.8,   -0.5,
      -0.3,   -0.2,   -0.1,    0.0,    0.0,    0.0,    0.0,    0.0,    0.0,    0.0,
       0.0,    0.0,   -0.1,   -0.2,   -0.3,   -0.5,   -0.8,   -1.3,   -2.0,   -3.0,
      -4.4,   -6.2,   -8.5,  -11.2
};
constexpr TTable kWeightD = {
     -46.6,  -44.6,  -42.6,  -40.6,  -38.6,  -36.6,  -34.6,  -32.6,  -30.6,  -28.6,
     -26.6,  -24.6,  -22.6,  -20.6,  -18.7,  -16.7,  -14.7,  -12.8,  -10.9,   -9.0,
      -7.2,   -5.5,   -4.0,   -2.6,   -1.6,   -0.8,   -0.4,   -0.3,   -0.5,   -0.6,
       0.0,    2.0,    4.9,    7.9,   10.4,   11.5,   11.1,    9.6,    7.6,    5.5,
       3.4,    1.4,   -0.7,   -2.7
};
// clang-format on

constexpr TTable kUnweightedTable{};

// Pole frequencies of the A and C weightings, derived as the sound level meter standard derives them: a
// 3 dB (D^2 = 1/2) point at fL = 10^1.5 Hz and fH = 10^3.9 Hz around fr = 1 kHz, and the A-weighting's extra
// pair from fA = 10^2.45 Hz (about 20.60, 107.7, 737.9 and 12194 Hz).
struct TPoles {
    double F1, F2, F3, F4;
};

TPoles ComputePoles() {
    const double fr2 = 1.0e6;
    const double fL2 = std::pow(10.0, 3.0);
    const double fH2 = std::pow(10.0, 7.8);
    const double d = std::sqrt(0.5);
    const double b = (fr2 + fL2 * fH2 / fr2 - d * (fL2 + fH2)) / (1.0 - d);
    const double c = fL2 * fH2;
    const double root = std::sqrt(b * b - 4.0 * c);
    const double fA = std::pow(10.0, 2.45);
    const double sqrt5 = std::sqrt(5.0);
    return {std::sqrt((-b - root) / 2.0), (3.0 - sqrt5) / 2.0 * fA, (3.0 + sqrt5) / 2.0 * fA,
            std::sqrt((-b + root) / 2.0)};
}

const TPoles& Poles() {
    static const TPoles poles = ComputePoles();
    return poles;
}

// The B-weighting's own pole (classic sound level meter definition).
constexpr double kPoleB = 158.5;

// Unnormalised weightings in dB; the caller subtracts the value at 1 kHz.
double RawA(double f) {
    const auto& p = Poles();
    const double f2 = f * f;
    return 20.0 * std::log10(p.F4 * p.F4 * f2 * f2 /
                             ((f2 + p.F1 * p.F1) * std::sqrt(f2 + p.F2 * p.F2) * std::sqrt(f2 + p.F3 * p.F3) *
                              (f2 + p.F4 * p.F4)));
}

double RawB(double f) {
    const auto& p = Poles();
    const double f2 = f * f;
    return 20.0 * std::log10(p.F4 * p.F4 * f2 * f /
                             ((f2 + p.F1 * p.F1) * std::sqrt(f2 + kPoleB * kPoleB) * (f2 + p.F4 * p.F4)));
}

double RawC(double f) {
    const auto& p = Poles();
    const double f2 = f * f;
    return 20.0 * std::log10(p.F4 * p.F4 * f2 / ((f2 + p.F1 * p.F1) * (f2 + p.F4 * p.F4)));
}

// Aircraft noise weighting: a first-order rise, two poles and the resonance h(f) around 3 kHz.
double RawD(double f) {
    const double f2 = f * f;
    const double h = ((1037918.48 - f2) * (1037918.48 - f2) + 1080768.16 * f2) /
                     ((9837328.0 - f2) * (9837328.0 - f2) + 11723776.0 * f2);
    return 20.0 * std::log10(f / 6.8966888496476e-5 * std::sqrt(h / ((f2 + 79919.29) * (f2 + 1345600.0))));
}

double Normalised(double (*raw)(double), double f) {
    static constexpr double kReference = 1000.0;
    return raw(f) - raw(kReference);
}

} // namespace

const std::array<double, kBandCount>& WeightingTable(char letter) {
    switch (letter) {
    case 'A':
        return kWeightA;
    case 'B':
        return kWeightB;
    case 'C':
        return kWeightC;
    case 'D':
        return kWeightD;
    default:
        return kUnweightedTable;
    }
}

double WeightingOffset(char letter, int band) {
    if (band < 0 || band >= kBandCount) {
        return 0.0;
    }
    return WeightingTable(letter)[static_cast<std::size_t>(band)];
}

double WeightingAnalytic(char letter, double frequencyHz) {
    double (*raw)(double) = nullptr;
    switch (letter) {
    case 'A':
        raw = RawA;
        break;
    case 'B':
        raw = RawB;
        break;
    case 'C':
        raw = RawC;
        break;
    case 'D':
        raw = RawD;
        break;
    default:
        return 0.0;
    }
    if (std::isnan(frequencyHz)) {
        return frequencyHz;
    }
    // Every weighting falls without bound towards 0 Hz.
    if (frequencyHz <= 0.0) {
        return -std::numeric_limits<double>::infinity();
    }
    return Normalised(raw, frequencyHz);
}

} // namespace korvel::acoustic
