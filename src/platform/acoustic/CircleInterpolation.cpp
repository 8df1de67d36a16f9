#include "platform/acoustic/CircleInterpolation.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace korvel::acoustic {

namespace {

constexpr double kPeriod = 360.0;
constexpr double kRad = std::numbers::pi / 180.0;

void CheckKnots(std::span<const double> knots, std::size_t values) {
    if (knots.size() < 3)
        throw std::invalid_argument("a periodic curve needs at least 3 knots");
    if (values != knots.size())
        throw std::invalid_argument("one value per knot is needed");
    for (std::size_t i = 0; i < knots.size(); ++i)
        if (!(knots[i] >= 0 && knots[i] < kPeriod) || (i > 0 && !(knots[i] > knots[i - 1])))
            throw std::invalid_argument("knots must increase strictly within [0, 360)");
}

double Wrap(double x) {
    double r = std::fmod(x, kPeriod);
    if (r < 0)
        r += kPeriod;
    return r >= kPeriod ? 0.0 : r;
}

// Length of the interval from knot i to the next one; the last interval runs across 360.
double Spacing(std::span<const double> knots, std::size_t i) {
    return i + 1 < knots.size() ? knots[i + 1] - knots[i] : knots[0] + kPeriod - knots.back();
}

// The interval holding angle x and the distance of x from the interval's first knot.
std::pair<std::size_t, double> Locate(std::span<const double> knots, double x) {
    x = Wrap(x);
    const auto it = std::upper_bound(knots.begin(), knots.end(), x);
    if (it == knots.begin())
        return {knots.size() - 1, x + kPeriod - knots.back()};
    const auto i = static_cast<std::size_t>(it - knots.begin()) - 1;
    return {i, x - knots[i]};
}

// Solves the symmetric cyclic tridiagonal system off[i-1] x[i-1] + diag[i] x[i] + off[i] x[i+1] = rhs[i]
// (indices modulo n, n >= 3) by the Sherman-Morrison correction of a plain tridiagonal one. The spline
// systems are strictly diagonally dominant, so no pivoting is needed.
std::vector<double> SolveCyclic(const std::vector<double>& diag, const std::vector<double>& off,
                                const std::vector<double>& rhs) {
    const std::size_t n = diag.size();
    const double corner = off[n - 1];
    const double gamma = -diag[0];
    std::vector<double> b = diag;
    b[0] -= gamma;
    b[n - 1] -= corner * corner / gamma;
    // Thomas algorithm on (off, b, off) for two right-hand sides at once.
    std::vector<double> u(n, 0.0), x = rhs, cPrime(n, 0.0);
    u[0] = gamma;
    u[n - 1] = corner;
    double pivot = b[0];
    cPrime[0] = off[0] / pivot;
    x[0] /= pivot;
    u[0] /= pivot;
    for (std::size_t i = 1; i < n; ++i) {
        pivot = b[i] - off[i - 1] * cPrime[i - 1];
        if (i + 1 < n)
            cPrime[i] = off[i] / pivot;
        x[i] = (x[i] - off[i - 1] * x[i - 1]) / pivot;
        u[i] = (u[i] - off[i - 1] * u[i - 1]) / pivot;
    }
    for (std::size_t i = n - 1; i-- > 0;) {
        x[i] -= cPrime[i] * x[i + 1];
        u[i] -= cPrime[i] * u[i + 1];
    }
    const double fact = (x[0] + corner * x[n - 1] / gamma) / (1.0 + u[0] + corner * u[n - 1] / gamma);
    for (std::size_t i = 0; i < n; ++i)
        x[i] -= fact * u[i];
    return x;
}

// sinh(a) / sinh(b) for 0 <= a <= b, b > 0, without overflow.
double SinhRatio(double a, double b) {
    return std::exp(a - b) * std::expm1(-2.0 * a) / std::expm1(-2.0 * b);
}

// Below this product of tension and spacing the tension spline is the cubic one to double precision.
constexpr double kCubicLimit = 1e-3;

// Coefficients of the continuity equations for one interval of length h under tension s (per degree): the
// weight of the near second derivative (`diag`) and of the far one (`off`). For s -> 0 they tend to h/3 and
// h/6, the cubic spline's.
struct TIntervalWeights {
    double diag, off;
};

TIntervalWeights Weights(double h, double s) {
    const double z = s * h;
    if (z < kCubicLimit)
        return {h / 3.0, h / 6.0};
    if (z < 1e-2) {
        const double z2 = z * z;
        return {h * (1.0 / 3.0 - z2 / 45.0 + 2.0 * z2 * z2 / 945.0),
                h * (1.0 / 6.0 - 7.0 * z2 / 360.0 + 31.0 * z2 * z2 / 15120.0)};
    }
    const double e = std::exp(-z), e2 = e * e;
    const double csch = 2.0 * e / (1.0 - e2), coth = (1.0 + e2) / (1.0 - e2);
    return {h * (z * coth - 1.0) / (z * z), h * (1.0 - z * csch) / (z * z)};
}

// The spline's second derivatives at the knots (for the tension spline: of f'' - s^2 f, which is linear
// between knots).
std::vector<double> SecondDerivatives(std::span<const double> knots, std::span<const double> values,
                                      double s) {
    const std::size_t n = knots.size();
    std::vector<double> diag(n, 0.0), off(n, 0.0), rhs(n, 0.0), slope(n, 0.0);
    for (std::size_t i = 0; i < n; ++i) {
        const double h = Spacing(knots, i);
        const TIntervalWeights w = Weights(h, s);
        off[i] = w.off;
        diag[i] += w.diag;
        diag[(i + 1) % n] += w.diag;
        slope[i] = (values[(i + 1) % n] - values[i]) / h;
    }
    for (std::size_t i = 0; i < n; ++i)
        rhs[i] = slope[i] - slope[(i + n - 1) % n];
    return SolveCyclic(diag, off, rhs);
}

std::vector<double> EvaluateSpline(std::span<const double> knots, std::span<const double> values,
                                   const std::vector<double>& m, double s, std::span<const double> at) {
    const std::size_t n = knots.size();
    std::vector<double> out;
    out.reserve(at.size());
    for (double x : at) {
        const auto [i, tRaw] = Locate(knots, x);
        const std::size_t j = (i + 1) % n;
        const double h = Spacing(knots, i);
        const double t = std::clamp(tRaw, 0.0, h), u = h - t;
        const double linear = (values[i] * u + values[j] * t) / h;
        if (s * h < kCubicLimit) {
            out.push_back(linear + (m[i] * (u * u * u / h - h * u) + m[j] * (t * t * t / h - h * t)) / 6.0);
        } else {
            const double z = s * h, s2 = s * s;
            out.push_back(linear + m[i] / s2 * (SinhRatio(s * u, z) - u / h) +
                          m[j] / s2 * (SinhRatio(s * t, z) - t / h));
        }
    }
    return out;
}

// Householder QR of a column-major matrix with at least as many rows as columns and full column rank.
class THouseholderQR {
public:
    THouseholderQR(std::vector<double> a, std::size_t rows, std::size_t cols)
        : a_(std::move(a)), rows_(rows), cols_(cols), tau_(cols), diag_(cols) {
        double largest = 0;
        for (std::size_t k = 0; k < cols_; ++k) {
            double norm2 = 0;
            for (std::size_t i = k; i < rows_; ++i)
                norm2 += At(i, k) * At(i, k);
            const double alpha = At(k, k) > 0 ? -std::sqrt(norm2) : std::sqrt(norm2);
            largest = std::max(largest, std::abs(alpha));
            if (!(std::abs(alpha) > 1e-12 * largest))
                throw std::domain_error("the fit's system is singular");
            At(k, k) -= alpha;
            const double vv = norm2 - 2.0 * alpha * (At(k, k) + alpha) + alpha * alpha;
            tau_[k] = 2.0 / vv;
            diag_[k] = alpha;
            for (std::size_t c = k + 1; c < cols_; ++c)
                Reflect(k, [&](std::size_t i) -> double& { return At(i, c); });
        }
    }

    void ApplyQt(std::vector<double>& v) const {
        for (std::size_t k = 0; k < cols_; ++k)
            Reflect(k, [&](std::size_t i) -> double& { return v[i]; });
    }
    void ApplyQ(std::vector<double>& v) const {
        for (std::size_t k = cols_; k-- > 0;)
            Reflect(k, [&](std::size_t i) -> double& { return v[i]; });
    }
    // R x = b, b holding at least cols entries.
    std::vector<double> SolveR(const std::vector<double>& b) const {
        std::vector<double> x(cols_);
        for (std::size_t i = cols_; i-- > 0;) {
            double sum = b[i];
            for (std::size_t j = i + 1; j < cols_; ++j)
                sum -= At(i, j) * x[j];
            x[i] = sum / diag_[i];
        }
        return x;
    }
    // R^T x = b.
    std::vector<double> SolveRt(const std::vector<double>& b) const {
        std::vector<double> x(cols_);
        for (std::size_t i = 0; i < cols_; ++i) {
            double sum = b[i];
            for (std::size_t j = 0; j < i; ++j)
                sum -= At(j, i) * x[j];
            x[i] = sum / diag_[i];
        }
        return x;
    }

private:
    double& At(std::size_t r, std::size_t c) { return a_[c * rows_ + r]; }
    double At(std::size_t r, std::size_t c) const { return a_[c * rows_ + r]; }
    // Applies reflector k to the vector whose entries `entry` gives.
    template <class F> void Reflect(std::size_t k, F entry) const {
        double dot = 0;
        for (std::size_t i = k; i < rows_; ++i)
            dot += At(i, k) * entry(i);
        dot *= tau_[k];
        for (std::size_t i = k; i < rows_; ++i)
            entry(i) -= dot * At(i, k);
    }

    std::vector<double> a_;
    std::size_t rows_, cols_;
    std::vector<double> tau_, diag_;
};

// 1, cos x, sin x, ..., cos nx, sin nx; the terms of order k divided by k^2, so that least norm in the
// scaled coefficients means least bending energy.
void FourierBasis(double degrees, int order, std::vector<double>& out) {
    out.resize(static_cast<std::size_t>(2 * order + 1));
    out[0] = 1.0;
    const double x = degrees * kRad;
    for (int k = 1; k <= order; ++k) {
        const double w = static_cast<double>(k) * k;
        out[static_cast<std::size_t>(2 * k - 1)] = std::cos(k * x) / w;
        out[static_cast<std::size_t>(2 * k)] = std::sin(k * x) / w;
    }
}

} // namespace

std::vector<double> PeriodicCubicSpline(std::span<const double> knots, std::span<const double> values,
                                        std::span<const double> at) {
    CheckKnots(knots, values.size());
    return EvaluateSpline(knots, values, SecondDerivatives(knots, values, 0.0), 0.0, at);
}

std::vector<double> PeriodicTensionSpline(std::span<const double> knots, std::span<const double> values,
                                          double tension, std::span<const double> at) {
    CheckKnots(knots, values.size());
    if (!(tension > 0) || !std::isfinite(tension))
        throw std::invalid_argument("the tension must be a positive number");
    const double s = tension * static_cast<double>(knots.size()) / kPeriod;
    return EvaluateSpline(knots, values, SecondDerivatives(knots, values, s), s, at);
}

std::vector<std::vector<double>> FourierSeriesFit(std::span<const double> knots,
                                                  const std::vector<std::vector<double>>& valueSets,
                                                  int order, std::span<const double> at) {
    if (order < 0)
        throw std::invalid_argument("the order of a Fourier series cannot be negative");
    if (knots.empty())
        throw std::invalid_argument("a Fourier series needs at least one knot");
    for (const auto& values : valueSets)
        if (values.size() != knots.size())
            throw std::invalid_argument("one value per knot is needed");
    const std::size_t m = knots.size(), terms = static_cast<std::size_t>(2 * order + 1);
    std::vector<std::vector<double>> basis(m);
    for (std::size_t j = 0; j < m; ++j)
        FourierBasis(knots[j], order, basis[j]);
    std::vector<std::vector<double>> atBasis(at.size());
    for (std::size_t p = 0; p < at.size(); ++p)
        FourierBasis(at[p], order, atBasis[p]);
    const auto evaluate = [&](const std::vector<double>& coefficients) {
        std::vector<double> curve(at.size(), 0.0);
        for (std::size_t p = 0; p < at.size(); ++p)
            for (std::size_t k = 0; k < terms; ++k)
                curve[p] += coefficients[k] * atBasis[p][k];
        return curve;
    };
    std::vector<std::vector<double>> result;
    result.reserve(valueSets.size());

    if (m >= terms) {
        // Enough knots for every coefficient: plain least squares.
        std::vector<double> a(m * terms);
        for (std::size_t j = 0; j < m; ++j)
            for (std::size_t k = 0; k < terms; ++k)
                a[k * m + j] = basis[j][k];
        const THouseholderQR qr(std::move(a), m, terms);
        for (std::vector<double> v : valueSets) {
            qr.ApplyQt(v);
            result.push_back(evaluate(qr.SolveR(v)));
        }
        return result;
    }
    // Too few knots: of all series through the points, the one with the least bending. The mean is free, so
    // the reflection H that maps the column of ones onto the first axis splits it off; the other rows of
    // H [1 B] c = H y leave m - 1 equations for the scaled higher terms d, solved for least norm by the QR
    // factors of their transpose.
    const double root = std::sqrt(static_cast<double>(m));
    std::vector<double> v(m, 1.0);
    v[0] += root;
    const double vv = 2.0 * (static_cast<double>(m) + root);
    const auto reflect = [&](std::vector<double>& x) {
        double dot = 0;
        for (std::size_t j = 0; j < m; ++j)
            dot += v[j] * x[j];
        for (std::size_t j = 0; j < m; ++j)
            x[j] -= 2.0 * dot / vv * v[j];
    };
    const std::size_t higher = terms - 1;
    std::vector<double> firstRow(higher), t(higher * (m - 1)), column(m);
    for (std::size_t k = 0; k < higher; ++k) {
        for (std::size_t j = 0; j < m; ++j)
            column[j] = basis[j][k + 1];
        reflect(column);
        firstRow[k] = column[0];
        for (std::size_t j = 1; j < m; ++j)
            t[(j - 1) * higher + k] = column[j];
    }
    const THouseholderQR qr(std::move(t), higher, m - 1);
    for (std::vector<double> y : valueSets) {
        reflect(y);
        std::vector<double> d = qr.SolveRt(std::vector<double>(y.begin() + 1, y.end()));
        d.resize(higher, 0.0);
        qr.ApplyQ(d);
        std::vector<double> coefficients(terms);
        double rest = y[0];
        for (std::size_t k = 0; k < higher; ++k) {
            coefficients[k + 1] = d[k];
            rest -= firstRow[k] * d[k];
        }
        coefficients[0] = -rest / root; // H maps the ones onto -sqrt(m) times the first axis
        result.push_back(evaluate(coefficients));
    }
    return result;
}

} // namespace korvel::acoustic
