// Interpolation of directivities against patterns whose answer is known in closed form: a sampled cosine, a
// constant, first-order patterns on the sphere, the low-degree harmonics, and the limits of the tension.

#include "platform/Errors.h"
#include "platform/acoustic/CircleInterpolation.h"
#include "platform/acoustic/Directivity.h"
#include "platform/acoustic/SphericalHarmonics.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <vector>

namespace korvel::acoustic {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kDeg = kPi / 180.0;
using TPattern = std::function<double(double theta, double phi)>;

TDirectivity Make(TDirType type, int stepV = 5) {
    TDirectivity d;
    d.SetDirType(type);
    d.SetStep(5, stepV);
    return d;
}

struct TKind {
    TSplineType Type;
    int Parameter;
    double Tolerance; // to the true curve between the samples
};

TEST(DirectivityInterpolation, SampledCosineComesBackAtTheSamplesAndCloseBetween) {
    // L = 3 cos x every 30 degrees. Cubic: h^4 |f''''| 5/384 = 0.003 dB. A tension spline lies between the
    // cubic one and the polygon, whose error is h^2 |f''| / 8 = 0.10 dB. A Fourier series of order 1..5 holds
    // the pattern itself; higher orders add only aliases damped by k^4.
    for (TDirType type : {TDirType::Horizontal, TDirType::RotationallySymmetric})
        for (TKind k : {TKind{TSplineType::Cubic, 0, 0.003}, TKind{TSplineType::Exponential, 1, 0.103},
                        TKind{TSplineType::Exponential, 30, 0.103}, TKind{TSplineType::Fourier, 1, 1e-9},
                        TKind{TSplineType::Fourier, 5, 1e-9}, TKind{TSplineType::Fourier, 30, 0.01}}) {
            SCOPED_TRACE(std::string(DirTypeStr[static_cast<int>(type)]) + ", kind " +
                         std::to_string(static_cast<int>(k.Type)) + ", parameter " +
                         std::to_string(k.Parameter));
            TDirectivity d = Make(type);
            for (int a = 0; a < (type == TDirType::Horizontal ? 360 : 181); a += 30)
                d.AddSample(type == TDirType::Horizontal ? 90 : a, type == TDirType::Horizontal ? a : 0,
                            3 * std::cos(a * kDeg));
            d.Interpolate(k.Type, k.Parameter);
            EXPECT_TRUE(d.HasInterpolation());
            EXPECT_EQ(d.SplineType(), k.Type);
            for (int r = 0; r < d.ThetaCount(); ++r)
                for (int c = 0; c < d.PhiCount(); ++c) {
                    const double angle = type == TDirType::Horizontal ? d.PhiOf(c) : d.ThetaOf(r);
                    const bool atSample = std::fmod(angle, 30.0) == 0;
                    EXPECT_NEAR(d.Value(0, r, c), 3 * std::cos(angle * kDeg), atSample ? 1e-9 : k.Tolerance)
                        << "at " << angle;
                }
        }
}

TEST(DirectivityInterpolation, TensionMovesTheCurveFromTheCubicSplineToThePolygon) {
    std::vector<double> knots, values, at, polygon;
    for (int a = 0; a < 360; ++a) {
        if (a % 30 == 0) {
            knots.push_back(a);
            values.push_back(3 * std::cos(a * kDeg));
        }
        at.push_back(a);
        const double t = (a % 30) / 30.0;
        polygon.push_back((1 - t) * 3 * std::cos((a - a % 30) * kDeg) +
                          t * 3 * std::cos((a - a % 30 + 30) * kDeg));
    }
    const auto distance = [&](double tension, const std::vector<double>& g) {
        const std::vector<double> f = PeriodicTensionSpline(knots, values, tension, at);
        double most = 0;
        for (std::size_t i = 0; i < f.size(); ++i)
            most = std::max(most, std::abs(f[i] - g[i]));
        return most;
    };
    EXPECT_LT(distance(1e-4, PeriodicCubicSpline(knots, values, at)), 1e-9);
    // Corners round off over about spacing / tension: h^2 |f''| / (2 tension) = 0.014 dB at 30.
    EXPECT_LT(distance(30, polygon), 0.02);
    EXPECT_LT(distance(1000, polygon), 1e-3);
}

TEST(DirectivityInterpolation, FourierSeriesRecoversAnOrderTwoPatternFromIrregularSamples) {
    const std::vector<double> knots = {3, 41, 77, 130, 171, 200, 262, 301, 333};
    std::vector<double> values, at;
    const auto pattern = [](double x) {
        return 2 + 4 * std::cos(2 * x * kDeg) - 3 * std::sin(2 * x * kDeg);
    };
    for (double x : knots)
        values.push_back(pattern(x));
    for (int a = 0; a < 360; a += 7)
        at.push_back(a);
    for (int order : {2, 3, 4}) { // 9 samples determine up to order 4
        SCOPED_TRACE(order);
        const std::vector<double> curve = FourierSeriesFit(knots, {values}, order, at)[0];
        for (std::size_t i = 0; i < at.size(); ++i)
            EXPECT_NEAR(curve[i], pattern(at[i]), 1e-9) << at[i];
    }
}

TEST(DirectivityInterpolation, ConstantStaysConstantAndAnOmnidirectionalSourceHasDltotZero) {
    for (TDirType type : {TDirType::Horizontal, TDirType::RotationallySymmetric, TDirType::Full3D})
        for (TKind k : {TKind{TSplineType::Cubic, 1, 0}, TKind{TSplineType::Exponential, 7, 0},
                        TKind{TSplineType::Fourier, 30, 0}, TKind{TSplineType::Cubic, 300, 0}}) {
            SCOPED_TRACE(std::string(DirTypeStr[static_cast<int>(type)]) + ", parameter " +
                         std::to_string(k.Parameter));
            TDirectivity d = Make(type);
            d.SetSpecType(TSpecType::Octave);
            d.SetBMinBMax(21, 33);
            ASSERT_GE(d.BandCount(), 3);
            const auto level = [](int band) {
                return band == 0 ? 0.0 : -4.0 + 1.5 * band;
            };
            for (auto [theta, phi] : {std::pair{0., 0.},
                                      {17., 250.},
                                      {64., 31.},
                                      {90., 128.},
                                      {133., 300.},
                                      {180., 0.},
                                      {101., 199.}}) {
                TSampleItem& s = d.AddSample(theta, phi);
                for (int b = 0; b < d.BandCount(); ++b)
                    s.Values[static_cast<std::size_t>(b)] = level(b);
            }
            d.Interpolate(k.Type, k.Parameter);
            for (int b = 0; b < d.BandCount(); ++b) {
                for (double v : d.GetItem(b).Values)
                    ASSERT_NEAR(v, level(b), 1e-9) << "band item " << b;
                EXPECT_NEAR(d.GetItem(b).dLtot, level(b), 1e-9) << "band item " << b;
            }
            // A full 3D fit keeps the kind chosen before.
            EXPECT_EQ(d.SplineType(), type == TDirType::Full3D ? TSplineType::Cubic : k.Type);
        }
}

TEST(DirectivityInterpolation, RotationallySymmetricCurveIsTheMirroredCircleAndFlatAtThePoles) {
    // A ramp in theta would slope at the poles unless each sample also stands at 360 - theta.
    for (TKind k : {TKind{TSplineType::Cubic, 0, 0}, TKind{TSplineType::Exponential, 3, 0},
                    TKind{TSplineType::Fourier, 3, 0}}) {
        SCOPED_TRACE(static_cast<int>(k.Type));
        TDirectivity sym = Make(TDirType::RotationallySymmetric, 1), circle = Make(TDirType::Horizontal);
        for (int a = 0; a < 360; a += 30) {
            const double theta = std::min(a, 360 - a);
            circle.AddSample(90, a, theta / 30);
            if (a <= 180)
                sym.AddSample(theta, 45, theta / 30);
        }
        sym.Interpolate(k.Type, k.Parameter);
        circle.Interpolate(k.Type, k.Parameter);
        for (int r = 0; r <= 180; r += 5)
            for (int c : {0, 37, 71})
                EXPECT_NEAR(sym.Value(0, r, c), circle.Value(0, 0, r / 5), 1e-9) << "theta " << r;
        // Flat at the pole: f(2) - f(0) = 4 (f(1) - f(0)) for an even curve, 2 (...) for a sloped one.
        const auto ratio = [&](int pole, int dir) {
            return (sym.Value(0, pole + 2 * dir, 0) - sym.Value(0, pole, 0)) /
                   (sym.Value(0, pole + dir, 0) - sym.Value(0, pole, 0));
        };
        EXPECT_NEAR(ratio(0, 1), 4.0, 0.2);
        EXPECT_NEAR(ratio(180, -1), 4.0, 0.2);
    }
}

TEST(DirectivityInterpolation, HarmonicsMatchTheirClosedFormsAndAreOrthonormal) {
    std::vector<double> y(4);
    for (auto [theta, phi] : {std::pair{0., 0.}, {37., 211.}, {90., 90.}, {160., 17.}}) {
        RealHarmonics(theta, phi, y);
        const double c = std::sqrt(3 / (4 * kPi)), st = std::sin(theta * kDeg), p = phi * kDeg;
        const std::vector<double> expected = {1 / std::sqrt(4 * kPi), c * st * std::sin(p),
                                              c * std::cos(theta * kDeg), c * st * std::cos(p)};
        for (std::size_t i = 0; i < y.size(); ++i)
            EXPECT_NEAR(y[i], expected[i], 1e-12) << "index " << i << " at " << theta << ", " << phi;
    }
    // Fejer's rule in cos theta and equal steps in phi integrate these products exactly.
    constexpr int n = 36, nodes = 24;
    std::vector<double> gram(n * n, 0.0), v(n);
    for (int i = 0; i < nodes; ++i) {
        const double theta = (i + 0.5) * kPi / nodes;
        double w = 1;
        for (int j = 1; j <= nodes / 2; ++j)
            w -= 2 * std::cos(2 * j * theta) / (4.0 * j * j - 1);
        w *= 2.0 / nodes * 2 * kPi / nodes;
        for (int j = 0; j < nodes; ++j) {
            RealHarmonics(theta / kDeg, j * 360.0 / nodes, v);
            for (int a = 0; a < n; ++a)
                for (int b = 0; b < n; ++b)
                    gram[a * n + b] += w * v[a] * v[b];
        }
    }
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b)
            EXPECT_NEAR(gram[a * n + b], a == b ? 1.0 : 0.0, 1e-12) << a << ", " << b;
}

TEST(DirectivityInterpolation, FullFitReturnsFirstOrderPatternsFromWellSpreadSamples) {
    for (auto [name, pattern] : {std::pair<const char*, TPattern>{"3 + 6 cos theta",
                                                                  [](double t, double) {
                                                                      return 3 + 6 * std::cos(t);
                                                                  }},
                                 {"2 + 4 sin theta cos phi",
                                  [](double t, double p) {
                                      return 2 + 4 * std::sin(t) * std::cos(p);
                                  }},
                                 {"-1 + 2 sin theta sin phi", [](double t, double p) {
                                      return -1 + 2 * std::sin(t) * std::sin(p);
                                  }}})
        for (int terms : {4, 30, 300}) {
            SCOPED_TRACE(std::string(name) + ", " + std::to_string(terms) + " terms");
            TDirectivity d = Make(TDirType::Full3D);
            for (int t = 0; t <= 180; t += 15)
                for (int p = 0; p < ((t == 0 || t == 180) ? 1 : 360); p += 30)
                    d.AddSample(t, p, pattern(t * kDeg, p * kDeg));
            d.Interpolate(TSplineType::Fourier, terms);
            EXPECT_EQ(d.SplineType(), TSplineType::Cubic);
            for (int r = 0; r < d.ThetaCount(); ++r)
                for (int c = 0; c < d.PhiCount(); ++c)
                    ASSERT_NEAR(d.Value(0, r, c), pattern(d.ThetaOf(r) * kDeg, d.PhiOf(c) * kDeg), 0.01)
                        << d.ThetaOf(r) << ", " << d.PhiOf(c);
        }
}

TEST(DirectivityInterpolation, FullFitOfTheWizardCutDoesNotRingWith300Terms) {
    // The cut: the phi 270 arc pole to pole, then the arcs phi 90, 0, 180 between the poles, 30 degree steps.
    TDirectivity d = Make(TDirType::Full3D);
    const auto cardioid = [](double t, double p) {
        return std::max(-25.0, 10 * std::log10(std::max(1e-6, 0.5 + 0.5 * std::sin(t) * std::cos(p))));
    };
    for (int t = 0; t <= 180; t += 30)
        d.AddSample(t, 270, cardioid(t * kDeg, 270 * kDeg));
    for (double phi : {90, 0, 180})
        for (int t = 30; t < 180; t += 30)
            d.AddSample(t, phi, cardioid(t * kDeg, phi * kDeg));
    ASSERT_EQ(d.Samples.size(), 22u);
    d.Interpolate(TSplineType::Cubic, 300);
    const auto& grid = d.GetItem(0).Values;
    EXPECT_GE(*std::ranges::min_element(grid), -25.5);
    EXPECT_LE(*std::ranges::max_element(grid), 0.5);
    for (const TSampleItem& s : d.Samples)
        EXPECT_NEAR(d.Value(0, static_cast<int>(s.Theta()) / 5, static_cast<int>(s.Phi()) / 5), s.Values[0],
                    0.5)
            << s.Theta() << ", " << s.Phi();
    for (int c = 1; c < d.PhiCount(); ++c) // the poles are single points
        EXPECT_NEAR(d.Value(0, 0, c), d.Value(0, 0, 0), 1e-9);
}

TEST(DirectivityInterpolation, CoincidentSamplesMergeAndAnglesWrap) {
    const auto grid = [](std::vector<std::pair<double, double>> samples) {
        TDirectivity d = Make(TDirType::Horizontal);
        for (auto [phi, value] : samples)
            d.AddSample(90, phi, value);
        d.Interpolate(TSplineType::Cubic, 0);
        return d.GetItem(0).Values;
    };
    const std::vector<double> base = grid({{0, 2}, {90, -3}, {180, 1}, {270, 4}});
    for (const auto& variant :
         {std::vector<std::pair<double, double>>{{359.96, 1}, {0.04, 3}, {90, -3}, {180, 1}, {270, 4}},
          {{720, 2}, {450, -3}, {-180, 1}, {-90, 4}},
          {{0, 2}, {90, -3}, {180, 1}, {269.96, 3}, {270.04, 5}}}) {
        const std::vector<double> values = grid(variant);
        for (std::size_t i = 0; i < base.size(); ++i)
            ASSERT_NEAR(values[i], base[i], 1e-9)
                << "variant of " << variant.size() << " samples, cell " << i;
    }
}

TEST(DirectivityInterpolation, RefusalsLeaveTheDirectivityAsItWas) {
    TDirectivity d = Make(TDirType::Horizontal);
    d.SetSpecType(TSpecType::Octave);
    d.SetBMinBMax(21, 33);
    for (double phi : {0, 90, 180, 270})
        d.AddSample(90, phi, 5).Values.resize(1); // the other bands are missing: 0 dB
    d.Interpolate(TSplineType::Exponential, 3);
    for (int b = 0; b < d.BandCount(); ++b)
        EXPECT_NEAR(d.Value(b, 0, 7), b == 0 ? 5.0 : 0.0, 1e-9);
    d.SetValue(1, 0, 3, 9.5);
    const TDirectivity before = d;

    struct TCase {
        TDirType Type;
        std::vector<std::pair<double, double>> Samples; // theta, phi
        TSplineType Kind;
        int Parameter;
        const char* Message;
    };
    using enum TDirType;
    using enum TSplineType;
    const std::vector<std::pair<double, double>> four = {{90, 0}, {90, 90}, {90, 180}, {90, 270}};
    const char* few = "Not enough samples";
    for (const TCase& c :
         {TCase{Horizontal, {{90, 0}, {90, 90}, {90, 180}}, Cubic, 0, few},
          {Horizontal, {{90, 10}, {90, 10.05}, {90, 100}, {90, 200}}, Cubic, 0, few},
          {RotationallySymmetric, {{10, 0}, {350, 0}, {90, 0}, {170, 0}}, Cubic, 0, few},
          {Full3D, {{0, 0}, {0, 120}, {90, 0}, {90, 90}}, Cubic, 30, few},
          {Horizontal, four, Exponential, 0, "tension parameter must be a whole number from 1 to 30"},
          {Horizontal, four, Exponential, 31, "from 1 to 30; 31 is not"},
          {RotationallySymmetric, four, Fourier, 0, "Fourier order must be"},
          {Full3D, four, Cubic, 301, "function order must be a whole number from 1 to 300"},
          {Horizontal, four, static_cast<TSplineType>(9), 3, "Unknown interpolation kind 9"},
          {Horizontal,
           {{90, 0}, {90, 90}, {90, NAN}, {90, 270}},
           Cubic,
           0,
           "Error while interpolating: the angles or values of sample 3"}}) {
        SCOPED_TRACE(c.Message);
        TDirectivity e = before;
        e.SetDirType(c.Type);
        e.ClearSamples();
        for (auto [theta, phi] : c.Samples)
            e.AddSample(theta, phi, 1);
        const TDirectivity kept = e;
        try {
            e.Interpolate(c.Kind, c.Parameter);
            ADD_FAILURE() << "no error";
        } catch (const EKorvelError& error) {
            EXPECT_NE(std::string(error.what()).find(c.Message), std::string::npos) << error.what();
        }
        for (int b = 0; b < e.BandCount(); ++b)
            EXPECT_EQ(e.GetItem(b), kept.GetItem(b)) << "band item " << b;
        EXPECT_EQ(e.HasInterpolation(), kept.HasInterpolation());
    }
    // The interpolation state is no part of the data.
    TDirectivity discarded = before;
    discarded.DiscardInterpolation();
    EXPECT_TRUE(discarded == before && before.HasInterpolation() && !discarded.HasInterpolation());
}

} // namespace
} // namespace korvel::acoustic
