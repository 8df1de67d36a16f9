#pragma once

// Frequency weightings A, B, C and D per third-octave band (band n: 10^(n/10) Hz). Where the tables come
// from is written up in docs/acoustics.md.

#include "platform/base/Bands.h"

#include <array>

namespace korvel::acoustic {

// Weighting offset in dB of band 0..43 for 'A'..'D'; 0 for ' ' (unweighted), an unknown letter or a band
// outside the table.
double WeightingOffset(char letter, int band);

// The whole table of a letter 'A'..'D' (all zero for any other letter).
const std::array<double, kBandCount>& WeightingTable(char letter);

// The analytic definition of each weighting at a frequency in Hz, normalised to 0 dB at 1 kHz. The tables
// are these values at the exact band frequencies rounded to 0.1 dB; tests compare the two.
double WeightingAnalytic(char letter, double frequencyHz);

} // namespace korvel::acoustic
