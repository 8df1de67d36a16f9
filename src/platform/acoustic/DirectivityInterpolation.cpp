// Filling a directivity's grids from its samples: splines and Fourier series on a circle for the horizontal
// and rotationally symmetric types, a smoothed fit of spherical harmonics for full 3D (docs/directivity.md).

#include "platform/Errors.h"
#include "platform/acoustic/CircleInterpolation.h"
#include "platform/acoustic/Directivity.h"
#include "platform/acoustic/SphericalHarmonics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <string>

namespace korvel::acoustic {

namespace {

// Sample angles closer than this (degrees) are one direction.
constexpr double kSameAngle = 0.1;
constexpr const char* kNotEnough = "Not enough samples";
constexpr const char* kFailed = "Error while interpolating";

double Wrap360(double a) {
    double r = std::fmod(a, 360.0);
    if (r < 0)
        r += 360.0;
    return r >= 360.0 ? 0.0 : r;
}

// Distinct points on a circle, increasing angle, with one value list (per band) each.
struct TKnots {
    std::vector<double> Angles;
    std::vector<std::vector<double>> Values;
};

// Samples at angles within kSameAngle of a group's first angle join that group: the mean angle and the mean
// values stand for them.
TKnots MergeOnCircle(std::vector<std::pair<double, std::vector<double>>> points) {
    std::ranges::sort(points, {}, &std::pair<double, std::vector<double>>::first);
    struct TGroup {
        double first, offsetSum = 0;
        std::vector<double> valueSum;
        int count = 0;
    };
    std::vector<TGroup> groups;
    const auto join = [](TGroup& g, double offset, const std::vector<double>& values) {
        g.offsetSum += offset;
        for (std::size_t b = 0; b < values.size(); ++b)
            g.valueSum[b] += values[b];
        ++g.count;
    };
    for (const auto& [angle, values] : points) {
        if (groups.empty() || angle - groups.back().first > kSameAngle)
            groups.push_back({angle, 0, std::vector<double>(values.size(), 0.0), 0});
        join(groups.back(), angle - groups.back().first, values);
    }
    // Across 360: the last group may belong to the first.
    if (groups.size() > 1 && groups.front().first + 360.0 - groups.back().first <= kSameAngle) {
        TGroup last = std::move(groups.back());
        groups.pop_back();
        TGroup& first = groups.front();
        first.offsetSum += last.offsetSum + (last.first - 360.0 - first.first) * last.count;
        for (std::size_t b = 0; b < last.valueSum.size(); ++b)
            first.valueSum[b] += last.valueSum[b];
        first.count += last.count;
    }
    std::vector<std::pair<double, std::vector<double>>> merged;
    for (TGroup& g : groups) {
        for (double& v : g.valueSum)
            v /= g.count;
        merged.emplace_back(Wrap360(g.first + g.offsetSum / g.count), std::move(g.valueSum));
    }
    std::ranges::sort(merged, {}, &std::pair<double, std::vector<double>>::first);
    TKnots knots;
    for (auto& [angle, values] : merged) {
        knots.Angles.push_back(angle);
        knots.Values.push_back(std::move(values));
    }
    return knots;
}

// A rotationally symmetric curve as a periodic one over the circle through both poles: the sample at theta
// also stands at 360 - theta. Knots that would meet their own mirror image lie on a pole.
TKnots Mirror(const TKnots& half) {
    std::vector<std::pair<double, std::vector<double>>> full;
    for (std::size_t i = 0; i < half.Angles.size(); ++i) {
        const double theta = half.Angles[i];
        if (theta <= kSameAngle / 2) {
            full.emplace_back(0.0, half.Values[i]);
        } else if (theta >= 180.0 - kSameAngle / 2) {
            full.emplace_back(180.0, half.Values[i]);
        } else {
            full.emplace_back(theta, half.Values[i]);
            full.emplace_back(360.0 - theta, half.Values[i]);
        }
    }
    std::ranges::sort(full, {}, &std::pair<double, std::vector<double>>::first);
    TKnots knots;
    for (auto& [angle, values] : full) {
        knots.Angles.push_back(angle);
        knots.Values.push_back(std::move(values));
    }
    return knots;
}

// Distinct directions on the sphere for a full 3D fit.
struct TDirections {
    std::vector<double> Theta, Phi;
    std::vector<std::vector<double>> Values;
};

TDirections MergeOnSphere(std::vector<std::pair<std::array<double, 3>, std::vector<double>>> points) {
    const double sameCos = std::cos(kSameAngle * std::numbers::pi / 180.0);
    const auto thetaOf = [](const std::array<double, 3>& u) {
        return std::acos(std::clamp(u[2], -1.0, 1.0)) * 180.0 / std::numbers::pi;
    };
    struct TGroup {
        std::array<double, 3> first, sum;
        double firstTheta;
        std::vector<double> valueSum;
        int count;
    };
    // In order of theta, a sample only needs the groups begun shortly before it: the great-circle angle is at
    // least the difference in theta. A sphere measured in 1 degree steps thus stays fast.
    std::ranges::stable_sort(points, std::greater<>(), [](const auto& p) { return p.first[2]; });
    std::vector<TGroup> groups;
    for (const auto& [u, values] : points) {
        const double theta = thetaOf(u);
        TGroup* g = nullptr;
        for (auto it = groups.rbegin(); it != groups.rend() && it->firstTheta >= theta - 2 * kSameAngle; ++it)
            if (it->first[0] * u[0] + it->first[1] * u[1] + it->first[2] * u[2] >= sameCos) {
                g = &*it;
                break;
            }
        if (!g) {
            groups.push_back({u, {0, 0, 0}, theta, std::vector<double>(values.size(), 0.0), 0});
            g = &groups.back();
        }
        for (std::size_t k = 0; k < 3; ++k)
            g->sum[k] += u[k];
        for (std::size_t b = 0; b < values.size(); ++b)
            g->valueSum[b] += values[b];
        ++g->count;
    }
    TDirections d;
    for (TGroup& g : groups) {
        const double norm = std::hypot(g.sum[0], g.sum[1], g.sum[2]);
        d.Theta.push_back(std::acos(std::clamp(g.sum[2] / norm, -1.0, 1.0)) * 180.0 / std::numbers::pi);
        d.Phi.push_back(Wrap360(std::atan2(g.sum[1], g.sum[0]) * 180.0 / std::numbers::pi));
        for (double& v : g.valueSum)
            v /= g.count;
        d.Values.push_back(std::move(g.valueSum));
    }
    return d;
}

// Values per band across the knots, as the curve fits take them.
std::vector<std::vector<double>> ByBand(const std::vector<std::vector<double>>& perKnot, std::size_t bands) {
    std::vector<std::vector<double>> out(bands, std::vector<double>(perKnot.size()));
    for (std::size_t k = 0; k < perKnot.size(); ++k)
        for (std::size_t b = 0; b < bands; ++b)
            out[b][k] = perKnot[k][b];
    return out;
}

void CheckRange(const char* what, int parameter, int highest) {
    if (parameter < 1 || parameter > highest)
        throw EKorvelError(std::string("The ") + what + " must be a whole number from 1 to " +
                           std::to_string(highest) + "; " + std::to_string(parameter) + " is not.");
}

} // namespace

void TDirectivity::Interpolate(TSplineType splineType, int parameter) {
    const bool full3D = dirType_ == TDirType::Full3D;
    if (full3D) {
        CheckRange("function order", parameter, 300);
    } else if (splineType == TSplineType::Exponential) {
        CheckRange("tension parameter", parameter, 30);
    } else if (splineType == TSplineType::Fourier) {
        CheckRange("Fourier order", parameter, 30);
    } else if (splineType != TSplineType::Cubic) {
        throw EKorvelError("Unknown interpolation kind " + std::to_string(static_cast<int>(splineType)) +
                           ".");
    }
    if (Samples.size() < 4)
        throw EKorvelError(kNotEnough);

    const std::size_t bands = items_.size();
    const int rows = ThetaCount(), cols = PhiCount();
    // Levels are interpolated in dB; a value a sample lacks counts as 0 dB.
    std::vector<std::vector<double>> sampleValues;
    for (std::size_t i = 0; i < Samples.size(); ++i) {
        const TSampleItem& s = Samples[i];
        std::vector<double> values(bands, 0.0);
        std::copy_n(s.Values.begin(), std::min(bands, s.Values.size()), values.begin());
        const bool finite = std::isfinite(s.Theta()) && std::isfinite(s.Phi()) &&
                            std::ranges::all_of(values, [](double v) { return std::isfinite(v); });
        if (!finite)
            throw EKorvelError(std::string(kFailed) + ": the angles or values of sample " +
                               std::to_string(i + 1) + " are no numbers.");
        sampleValues.push_back(std::move(values));
    }

    std::vector<TDirBandItem> items = items_;
    try {
        if (full3D) {
            // Theta beyond a pole continues on the other side: it becomes 360 - theta at phi + 180.
            std::vector<std::pair<std::array<double, 3>, std::vector<double>>> points;
            for (std::size_t i = 0; i < Samples.size(); ++i) {
                const double t = Samples[i].Theta() * std::numbers::pi / 180.0;
                const double p = Samples[i].Phi() * std::numbers::pi / 180.0;
                points.push_back(
                    {{std::sin(t) * std::cos(p), std::sin(t) * std::sin(p), std::cos(t)}, sampleValues[i]});
            }
            const TDirections dirs = MergeOnSphere(std::move(points));
            if (dirs.Theta.size() < 4)
                throw EKorvelError(kNotEnough);
            const THarmonicFit fit(dirs.Theta, dirs.Phi, parameter, kHarmonicSmoothing);
            std::vector<std::vector<double>> coefficients;
            for (const std::vector<double>& values : ByBand(dirs.Values, bands))
                coefficients.push_back(fit.Coefficients(values));
            std::vector<double> basis(static_cast<std::size_t>(parameter));
            for (int r = 0; r < rows; ++r)
                for (int c = 0; c < cols; ++c) {
                    RealHarmonics(ThetaOf(r), PhiOf(c), basis);
                    for (std::size_t b = 0; b < bands; ++b) {
                        double v = 0;
                        for (std::size_t k = 0; k < basis.size(); ++k)
                            v += coefficients[b][k] * basis[k];
                        items[b].Values[static_cast<std::size_t>(r * cols + c)] = v;
                    }
                }
        } else {
            const bool horizontal = dirType_ == TDirType::Horizontal;
            std::vector<std::pair<double, std::vector<double>>> points;
            for (std::size_t i = 0; i < Samples.size(); ++i) {
                double angle = Wrap360(horizontal ? Samples[i].Phi() : Samples[i].Theta());
                if (!horizontal && angle > 180.0)
                    angle = 360.0 - angle; // the same direction of a rotationally symmetric source
                points.emplace_back(angle, sampleValues[i]);
            }
            TKnots knots = MergeOnCircle(std::move(points));
            if (knots.Angles.size() < 4)
                throw EKorvelError(kNotEnough);
            if (!horizontal)
                knots = Mirror(knots);
            std::vector<double> at;
            for (int i = 0; i < (horizontal ? cols : rows); ++i)
                at.push_back(horizontal ? PhiOf(i) : ThetaOf(i));
            const std::vector<std::vector<double>> byBand = ByBand(knots.Values, bands);
            std::vector<std::vector<double>> curves;
            if (splineType == TSplineType::Fourier) {
                curves = FourierSeriesFit(knots.Angles, byBand, parameter, at);
            } else {
                for (const std::vector<double>& values : byBand)
                    curves.push_back(splineType == TSplineType::Cubic
                                         ? PeriodicCubicSpline(knots.Angles, values, at)
                                         : PeriodicTensionSpline(knots.Angles, values, parameter, at));
            }
            for (std::size_t b = 0; b < bands; ++b)
                for (int r = 0; r < rows; ++r)
                    for (int c = 0; c < cols; ++c)
                        items[b].Values[static_cast<std::size_t>(r * cols + c)] =
                            curves[b][static_cast<std::size_t>(horizontal ? c : r)];
        }
    } catch (const EKorvelError&) {
        throw;
    } catch (const std::exception&) {
        throw EKorvelError(kFailed);
    }
    for (const TDirBandItem& item : items)
        if (!std::ranges::all_of(item.Values, [](double v) { return std::isfinite(v); }))
            throw EKorvelError(kFailed);

    items_ = std::move(items);
    if (!full3D)
        splineType_ = splineType;
    interpolated_ = true;
    CalcLtot();
}

} // namespace korvel::acoustic
