#pragma once

// Names and small types shared by the sound spectra and their editors.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::acoustic {

// How a spectrum is given: third-octave bands, octave bands or one single number.
enum class TSpecType : std::uint8_t { ThirdOctave = 0, Octave = 1, SingleValue = 2 };
inline constexpr std::array<std::string_view, 3> SpecTypeStr = {"1/3 Octave spectrum", "1/1 Octave spectrum",
                                                                "Single value"};

// What an emission level refers to.
enum class TEmisRef : std::uint8_t { PerUnit = 0, PerLengthOrArea = 1, SoundPressure = 2 };
inline constexpr std::array<std::string_view, 3> EmisRefStr = {"Lw/unit", "Lw/m,m²", "Lp level"};

// How an emission element is entered: typed in as a spectrum, computed by a formula as one level ("Lw") or
// band by band ("Lwf"), or described by its formula alone.
enum class TEmisEntrytype : std::uint8_t {
    Spectrum = 0,
    FormulaLevel = 1,
    FormulaSpectrum = 2,
    FormulaOnly = 3
};
inline constexpr std::array<std::string_view, 4> EmisEntryStr = {"Spectrum", "Formula level",
                                                                 "Formula spectrum", "Formula only"};
// The entry type whose name matches (ignoring case), or -1.
int EmisEntryFromText(std::string_view text);

// Transmission spectra: sound reduction index or normalized level difference.
enum class TTransType : std::uint8_t { SoundReductionIndex = 0, NormalizedLevelDifference = 1 };
inline constexpr std::array<std::string_view, 2> TransTypeStr = {"Sound reduction index R",
                                                                 "Normalized level difference Dn,e"};

// Clamps a band range to 0..43 and orders it; an octave range widens outward to octave bands (16 kHz at
// the top, 20 kHz being none).
void NormalizeBandRange(TSpecType type, int& bmin, int& bmax);
// The bands of a range: every band, or every octave band for octave spectra.
std::vector<int> BandsInRange(TSpecType type, int bmin, int bmax);

// Weighting letters: 'A'..'D', ' ' for unweighted levels.
inline constexpr char kUnweighted = ' ';
bool IsWeightingLetter(char letter);
// "dB(A)" .. "dB(D)", "dB" for unweighted.
std::string WeightingText(char letter);

} // namespace korvel::acoustic
