#include "calculators/FlowResistivity.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/Bands.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace korvel::calculators {

namespace {

std::string NumberText(double value) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : std::string("?");
}

} // namespace

std::complex<double> DelanyBazleyImpedance(double frequency, double sigma) {
    if (!(sigma > 0.0) || !std::isfinite(sigma))
        throw EKorvelError("The flow resistivity must be greater than 0 kPas/m².");
    if (!(frequency > 0.0) || !std::isfinite(frequency))
        throw EKorvelError("The frequency must be greater than 0 Hz, not " + NumberText(frequency) + " Hz.");
    const double lnX = std::log(frequency / sigma);
    const std::complex<double> z(1.0 + 9.08 * std::exp(-0.75 * lnX), 11.9 * std::exp(-0.73 * lnX));
    if (!std::isfinite(z.real()) || !std::isfinite(z.imag()))
        throw EKorvelError("The impedance at " + NumberText(frequency) + " Hz and a flow resistivity of " +
                           NumberText(sigma) + " kPas/m² is out of range.");
    return z;
}

double StatisticalAbsorption(std::complex<double> z) {
    const std::complex<double> beta = 1.0 / z;
    const double g = beta.real();
    const double h = beta.imag();
    if (h == 0.0 || !std::isfinite(g) || !std::isfinite(h))
        throw EKorvelError("The statistical absorption coefficient cannot be computed for a purely real "
                           "impedance.");
    const double g2h2 = g * g + h * h;
    const double alpha = 8.0 * g *
                         (1.0 + ((g * g - h * h) / h) * std::atan(h / (g2h2 + g)) -
                          g * std::log(((1.0 + g) * (1.0 + g) + h * h) / g2h2));
    if (!std::isfinite(alpha))
        throw EKorvelError("The statistical absorption coefficient is out of range.");
    return alpha;
}

double AbsorptionFromFlowResistivity(double frequency, double sigma) {
    return StatisticalAbsorption(DelanyBazleyImpedance(frequency, sigma));
}

void ApplyFlowResistivity(acoustic::TAbsoLibSpectrum& spectrum, double sigma) {
    std::vector<std::pair<int, double>> alphas;
    for (int band : spectrum.Bands())
        alphas.emplace_back(
            band, AbsorptionFromFlowResistivity(ThirdOctaves[static_cast<std::size_t>(band)], sigma));
    for (const auto& [band, alpha] : alphas)
        spectrum.SetValue(band, static_cast<double>(static_cast<float>(alpha)));
}

} // namespace korvel::calculators
