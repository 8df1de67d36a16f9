#include "platform/acoustic/SphericalHarmonics.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace korvel::acoustic {

namespace {

constexpr double kRad = std::numbers::pi / 180.0;

} // namespace

int HarmonicDegree(int index) {
    if (index < 0)
        throw std::invalid_argument("a harmonic index cannot be negative");
    int l = static_cast<int>(std::sqrt(static_cast<double>(index)));
    while (l * l > index)
        --l;
    while ((l + 1) * (l + 1) <= index)
        ++l;
    return l;
}

void RealHarmonics(double theta, double phi, std::span<double> out) {
    if (out.empty())
        return;
    const int count = static_cast<int>(out.size());
    const int lMax = HarmonicDegree(count - 1);
    const double x = std::cos(theta * kRad), s = std::sin(theta * kRad);
    // Fully normalised associated Legendre functions by the recurrences that stay accurate at high degree:
    // the diagonal first, then upward in l for each m.
    std::vector<double> p(static_cast<std::size_t>((lMax + 1) * (lMax + 2) / 2));
    const auto at = [](int l, int m) {
        return static_cast<std::size_t>(l * (l + 1) / 2 + m);
    };
    p[0] = 1.0 / std::sqrt(4.0 * std::numbers::pi);
    for (int m = 1; m <= lMax; ++m)
        p[at(m, m)] = std::sqrt((2.0 * m + 1.0) / (2.0 * m)) * s * p[at(m - 1, m - 1)];
    for (int m = 0; m < lMax; ++m)
        p[at(m + 1, m)] = std::sqrt(2.0 * m + 3.0) * x * p[at(m, m)];
    for (int m = 0; m <= lMax; ++m)
        for (int l = m + 2; l <= lMax; ++l) {
            const double l2 = static_cast<double>(l) * l, m2 = static_cast<double>(m) * m;
            const double a = std::sqrt((4.0 * l2 - 1.0) / (l2 - m2));
            const double b = std::sqrt(((l - 1.0) * (l - 1.0) - m2) / (4.0 * (l - 1.0) * (l - 1.0) - 1.0));
            p[at(l, m)] = a * (x * p[at(l - 1, m)] - b * p[at(l - 2, m)]);
        }
    for (int index = 0; index < count; ++index) {
        const int l = HarmonicDegree(index), m = index - l * l - l;
        double v = p[at(l, std::abs(m))];
        if (m > 0)
            v *= std::numbers::sqrt2 * std::cos(m * phi * kRad);
        else if (m < 0)
            v *= std::numbers::sqrt2 * std::sin(-m * phi * kRad);
        out[static_cast<std::size_t>(index)] = v;
    }
}

THarmonicFit::THarmonicFit(std::span<const double> theta, std::span<const double> phi, int terms,
                           double smoothing)
    : terms_(terms), samples_(theta.size()) {
    if (terms < 1)
        throw std::invalid_argument("a harmonic fit needs at least one term");
    if (phi.size() != theta.size() || theta.empty())
        throw std::invalid_argument("one phi per theta and at least one direction are needed");
    if (!(smoothing >= 0))
        throw std::invalid_argument("the smoothing cannot be negative");
    const auto n = static_cast<std::size_t>(terms);
    basis_.resize(samples_ * n);
    for (std::size_t j = 0; j < samples_; ++j)
        RealHarmonics(theta[j], phi[j], std::span(basis_).subspan(j * n, n));

    // Normal equations B^T B + lambda D, D = diag((l (l + 1))^2); lambda is relative to the data weight of
    // evenly spread samples (B^T B is then about samples / 4 pi times the identity).
    std::vector<double> g(n * n, 0.0);
    for (std::size_t j = 0; j < samples_; ++j) {
        const double* row = &basis_[j * n];
        for (std::size_t r = 0; r < n; ++r) {
            const double br = row[r];
            double* gr = &g[r * n];
            for (std::size_t c = 0; c <= r; ++c)
                gr[c] += br * row[c];
        }
    }
    const double lambda = smoothing * static_cast<double>(samples_) / (4.0 * std::numbers::pi);
    for (std::size_t r = 0; r < n; ++r) {
        const double l = HarmonicDegree(static_cast<int>(r));
        g[r * n + r] += lambda * (l * (l + 1.0)) * (l * (l + 1.0));
    }
    // Cholesky, lower triangle in place.
    for (std::size_t r = 0; r < n; ++r) {
        for (std::size_t c = 0; c <= r; ++c) {
            double sum = g[r * n + c];
            for (std::size_t k = 0; k < c; ++k)
                sum -= g[r * n + k] * g[c * n + k];
            if (c < r) {
                g[r * n + c] = sum / g[c * n + c];
            } else {
                if (!(sum > 1e-14 * (1.0 + g[r * n + r])))
                    throw std::domain_error("the harmonic fit's system is singular");
                g[r * n + r] = std::sqrt(sum);
            }
        }
    }
    factor_ = std::move(g);
}

std::vector<double> THarmonicFit::Coefficients(std::span<const double> values) const {
    if (values.size() != samples_)
        throw std::invalid_argument("one value per direction is needed");
    const auto n = static_cast<std::size_t>(terms_);
    std::vector<double> c(n, 0.0);
    for (std::size_t j = 0; j < samples_; ++j)
        for (std::size_t r = 0; r < n; ++r)
            c[r] += basis_[j * n + r] * values[j];
    for (std::size_t r = 0; r < n; ++r) {
        for (std::size_t k = 0; k < r; ++k)
            c[r] -= factor_[r * n + k] * c[k];
        c[r] /= factor_[r * n + r];
    }
    for (std::size_t r = n; r-- > 0;) {
        for (std::size_t k = r + 1; k < n; ++k)
            c[r] -= factor_[k * n + r] * c[k];
        c[r] /= factor_[r * n + r];
    }
    return c;
}

} // namespace korvel::acoustic
