#pragma once

#include <array>
#include <string_view>

namespace korvel {

// Third-octave bands as the libraries number them: band n (0..43) has the exact centre frequency
// 10^(n/10) Hz, so band 15 is 31.5 Hz, band 30 is 1 kHz and band 40 is 10 kHz. Spectra are exchanged as
// arrays of all 44 bands.
inline constexpr int kBandCount = 44;

// A level of kEmptyBandLevel or less marks a band without a value.
inline constexpr double kEmptyBandLevel = -199.0;
inline constexpr bool IsEmptyBandLevel(double level) {
    return level <= kEmptyBandLevel;
}

// Nominal centre frequencies in Hz (the preferred numbers of IEC 61260 / ISO 266), indexed by band.
inline constexpr std::array<double, kBandCount> ThirdOctaves = {
    1,    1.25, 1.6,  2,    2.5,  3.15, 4,    5,    6.3,  8,    10,    12.5,  16,    20,   25,
    31.5, 40,   50,   63,   80,   100,  125,  160,  200,  250,  315,   400,   500,   630,  800,
    1000, 1250, 1600, 2000, 2500, 3150, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000};

// Short nominal labels, indexed by band; the user interface appends "Hz".
inline constexpr std::array<std::string_view, kBandCount> ThirdOctavesStrShort = {
    "1",    "1.25", "1.6",   "2",   "2.5",  "3.15", "4",   "5",   "6.3",   "8",     "10",
    "12.5", "16",   "20",    "25",  "31.5", "40",   "50",  "63",  "80",    "100",   "125",
    "160",  "200",  "250",   "315", "400",  "500",  "630", "800", "1k",    "1.25k", "1.6k",
    "2k",   "2.5k", "3.15k", "4k",  "5k",   "6.3k", "8k",  "10k", "12.5k", "16k",   "20k"};

// Exact centre frequency 10^(n/10) Hz of band n (any n, also outside 0..43).
double ThirdOctaveFrequency(int band);

// Exact centre frequencies of bands 0..43.
const std::array<double, kBandCount>& ThirdOctavesExact();

// The band 0..43 whose centre frequency is nearest to the frequency (on the logarithmic scale), or -1 when
// the frequency is not positive or lies more than half a band outside the table.
int ThirdOctaveBandOf(double frequencyHz);

// Bands 0..43 that are also octave bands (1 Hz, 2 Hz, 4 Hz, ... 31.5 Hz, 63 Hz, ... 16 kHz).
inline constexpr bool IsOctaveBand(int band) {
    return band >= 0 && band < kBandCount && band % 3 == 0;
}

// Band number of octave k, counting from 31.5 Hz (k = 0) upward: 3k + 15.
inline constexpr int OctaveToBand(int octave) {
    return 3 * octave + 15;
}

// Where an imported 44-band array holds values: the first and last band above kEmptyBandLevel, and whether
// every band that holds a value is an octave band. First > Last when no band holds a value.
struct TSpectrumPara {
    int First = kBandCount;
    int Last = -1;
    bool Octave = false;

    bool Empty() const { return First > Last; }
};
TSpectrumPara GetSpectrumPara(const std::array<double, kBandCount>& bands);

} // namespace korvel
