#include "platform/acoustic/RwRating.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <sstream>
#include <vector>

namespace korvel::acoustic {

namespace {

// Reference curve, its limit for the sum of unfavourable deviations and the two A-weighted adaptation
// spectra (pink noise; urban traffic), band by band over the rating range.
struct TRatingScale {
    std::span<const int> Bands;
    std::span<const int> Reference;
    std::span<const int> Spectrum1;
    std::span<const int> Spectrum2;
    std::int64_t LimitTenths;
};

constexpr std::array<int, 16> kThirdBands = {20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35};
constexpr std::array<int, 16> kThirdReference = {33, 36, 39, 42, 45, 48, 51, 52,
                                                 53, 54, 55, 56, 56, 56, 56, 56};
constexpr std::array<int, 16> kThirdSpectrum1 = {-29, -26, -23, -21, -19, -17, -15, -13,
                                                 -12, -11, -10, -9,  -9,  -9,  -9,  -9};
constexpr std::array<int, 16> kThirdSpectrum2 = {-20, -20, -18, -16, -15, -14, -13, -12,
                                                 -11, -9,  -8,  -9,  -10, -11, -13, -15};

constexpr std::array<int, 5> kOctaveBands = {21, 24, 27, 30, 33};
constexpr std::array<int, 5> kOctaveReference = {36, 45, 52, 55, 56};
constexpr std::array<int, 5> kOctaveSpectrum1 = {-21, -14, -8, -5, -4};
constexpr std::array<int, 5> kOctaveSpectrum2 = {-14, -10, -7, -4, -6};

const TRatingScale kThirdOctaveScale{kThirdBands, kThirdReference, kThirdSpectrum1, kThirdSpectrum2, 320};
const TRatingScale kOctaveScale{kOctaveBands, kOctaveReference, kOctaveSpectrum1, kOctaveSpectrum2, 100};

// The reference curve's value at 500 Hz, which becomes the rating.
constexpr int kReferenceAt500Hz = 52;

// Far beyond any real insulation value; keeps the arithmetic in tenths of a dB safely inside 64 bits.
constexpr double kLargestValue = 1.0e6;

// Sum of unfavourable deviations, in tenths of a dB, with the reference curve shifted by `shift` dB.
std::int64_t DeviationTenths(const TRatingScale& scale, const std::vector<std::int64_t>& tenths,
                             std::int64_t shift) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < tenths.size(); ++i) {
        const std::int64_t curve = (scale.Reference[i] + shift) * 10;
        sum += std::max<std::int64_t>(0, curve - tenths[i]);
    }
    return sum;
}

// -10 lg sum 10^((L_i - X_i)/10), factored around the largest term so extreme values neither overflow
// nor vanish.
double AdaptedLevel(std::span<const int> spectrum, const std::vector<std::int64_t>& tenths) {
    std::vector<double> exponents(tenths.size());
    for (std::size_t i = 0; i < tenths.size(); ++i) {
        exponents[i] = spectrum[i] - static_cast<double>(tenths[i]) / 10.0;
    }
    const double top = *std::max_element(exponents.begin(), exponents.end());
    double sum = 0.0;
    for (double e : exponents) {
        sum += std::pow(10.0, (e - top) / 10.0);
    }
    return -top - 10.0 * std::log10(sum);
}

std::string BandName(int band) {
    std::ostringstream name;
    name << ThirdOctaves[static_cast<std::size_t>(band)] << " Hz";
    return name.str();
}

} // namespace

TRwRating RateRwCCtr(const std::array<double, kBandCount>& values, TSpecType type) {
    TRwRating result;
    if (type == TSpecType::SingleValue) {
        result.Message =
            "Rw can only be calculated from a third-octave or octave spectrum, not from a single value";
        return result;
    }
    if (type != TSpecType::ThirdOctave && type != TSpecType::Octave) {
        result.Message = "Rw cannot be calculated: unknown spectrum type";
        return result;
    }
    const TRatingScale& scale = type == TSpecType::ThirdOctave ? kThirdOctaveScale : kOctaveScale;

    for (int band : scale.Bands) {
        if (IsEmptyBandLevel(values[static_cast<std::size_t>(band)])) {
            result.Message = kRwNotWideEnoughMessage;
            return result;
        }
    }

    // The rating works on values to one decimal; from here on everything is whole tenths of a dB, so the
    // comparison with the limit is exact.
    std::vector<std::int64_t> tenths;
    tenths.reserve(scale.Bands.size());
    for (int band : scale.Bands) {
        const double value = values[static_cast<std::size_t>(band)];
        if (!std::isfinite(value) || value > kLargestValue) {
            result.Message =
                "Rw cannot be calculated: the value at " + BandName(band) + " is not a valid level";
            return result;
        }
        tenths.push_back(std::llround(value * 10.0));
    }

    // At this shift the curve lies on or below every value; the deviation sum only grows with the shift.
    std::int64_t shift = 0;
    for (std::size_t i = 0; i < tenths.size(); ++i) {
        const std::int64_t fit = tenths[i] - scale.Reference[i] * 10;
        const std::int64_t whole = fit >= 0 ? fit / 10 : -((-fit + 9) / 10);
        shift = i == 0 ? whole : std::min(shift, whole);
    }
    while (DeviationTenths(scale, tenths, shift + 1) <= scale.LimitTenths) {
        ++shift;
    }

    const auto rw = static_cast<int>(kReferenceAt500Hz + shift);
    result.Rw = rw;
    result.C = static_cast<int>(std::lround(AdaptedLevel(scale.Spectrum1, tenths) - rw));
    result.Ctr = static_cast<int>(std::lround(AdaptedLevel(scale.Spectrum2, tenths) - rw));
    result.Ok = true;
    return result;
}

} // namespace korvel::acoustic
