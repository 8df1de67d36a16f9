#pragma once

// Single-number ratings of airborne sound insulation: Rw (or Dn,e,w) with the spectrum adaptation terms C and
// Ctr, by EN ISO 717-1.

#include "platform/acoustic/SpecTypes.h"
#include "platform/base/Bands.h"

#include <array>
#include <string>

namespace korvel::acoustic {

inline constexpr const char* kRwNotWideEnoughMessage =
    "Spectrum not wide enough to calculate Rw according to EN ISO 717-1:1996\n\rvalid spectra:\n\r- 3rd "
    "octave "
    "bands: <=100..>=3150 Hz\n\r- octave bands: <=125..>=2000 Hz";

struct TRwRating {
    bool Ok = false;     // false: the spectrum does not cover the rating range; Message says so
    int Rw = 0;          // single-number value in dB
    int C = 0;           // adaptation term for spectrum No. 1 (pink noise, A-weighted)
    int Ctr = 0;         // adaptation term for spectrum No. 2 (urban traffic, A-weighted)
    std::string Message; // empty when Ok
};

// Rates a spectrum of 44 bands (empty bands <= -199). Third-octave spectra use 100..3150 Hz (bands 20..35),
// octave spectra 125..2000 Hz (bands 21, 24, 27, 30, 33); every band of the range must hold a value. The
// values are first rounded to 0.1 dB as the standard requires.
TRwRating RateRwCCtr(const std::array<double, kBandCount>& values, TSpecType type);

} // namespace korvel::acoustic
