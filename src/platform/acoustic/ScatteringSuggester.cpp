#include "platform/acoustic/ScatteringSuggester.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/Bands.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace korvel::acoustic {

namespace {

void CheckRoughness(double r) {
    // Beyond 1 the error function's step frequency turns negative and the power law overflows.
    if (!(r >= 0.0 && r <= 1.0))
        throw EKorvelError("The roughness parameter must lie between 0 and 1.");
}

// The library stores scattering coefficients as 32-bit floats; round here so the object holds what is stored.
void Store(TAbsoLibSpectrum& spectrum, int band, double s) {
    spectrum.SetScatValue(band, static_cast<double>(static_cast<float>(s)));
}

} // namespace

double RoughnessOfClass(int index) {
    if (index < 0 || index >= static_cast<int>(RoughnessClasses.size()))
        return 0.0;
    return RoughnessClasses[static_cast<std::size_t>(index)].R;
}

void TScattering_Value_Suggester_Power_Laws::load_Suggested_Scattering_Values(TAbsoLibSpectrum& spectrum,
                                                                              double r) {
    CheckRoughness(r);
    const double k = 0.001 * std::pow(10.0, 5.0 * std::sqrt(r));
    for (int n = 0; n < kBandCount; ++n) {
        const double x = std::max(0.0, n / 10.0 - 2.05);
        const double kx2 = k * x * x;
        Store(spectrum, n, std::max(0.01, kx2 / (1.0 + kx2)));
    }
}

void TScattering_Value_Suggester_Error_Function::load_Suggested_Scattering_Values(TAbsoLibSpectrum& spectrum,
                                                                                  double r) {
    CheckRoughness(r);
    const double f0 = 4000.0 * (1.0 - std::sqrt(std::sqrt(r)));
    constexpr double width = 50.0;
    for (int n = 0; n < kBandCount; ++n) {
        const double f = std::pow(10.0, n / 10.0);
        Store(spectrum, n, 0.5 * (1.0 + std::erf((f - f0) / width)));
    }
}

} // namespace korvel::acoustic
