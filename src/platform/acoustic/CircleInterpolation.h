#pragma once

// Curves through values given at points of a circle. Angles are in degrees with period 360; knots are
// distinct, strictly increasing and within [0, 360). The mathematics is in docs/directivity.md.
// Misuse (too few knots, unsorted knots, sizes that differ) throws std::invalid_argument; a system that
// cannot be solved throws std::domain_error.

#include <span>
#include <vector>

namespace korvel::acoustic {

// Periodic cubic spline through (knots[i], values[i]), at least 3 knots, evaluated at the angles `at`.
std::vector<double> PeriodicCubicSpline(std::span<const double> knots, std::span<const double> values,
                                        std::span<const double> at);

// Periodic spline under tension (tension > 0, at least 3 knots). The tension is scaled by the mean knot
// spacing, so that it means the same for 8 knots as for 72: near 0 it approaches the cubic spline, large
// values approach the polygon through the points.
std::vector<double> PeriodicTensionSpline(std::span<const double> knots, std::span<const double> values,
                                          double tension, std::span<const double> at);

// Fourier series a0 + sum over k = 1..order of (a_k cos kx + b_k sin kx) fitted by least squares, one curve
// per value set (each as long as knots), evaluated at `at`. When the knots cannot determine all 2 order + 1
// coefficients, the series through the points with the least bending energy (the integral of f''^2, that is
// the sum of k^4 (a_k^2 + b_k^2)) is taken; a constant then still comes back as itself.
std::vector<std::vector<double>> FourierSeriesFit(std::span<const double> knots,
                                                  const std::vector<std::vector<double>>& valueSets,
                                                  int order, std::span<const double> at);

} // namespace korvel::acoustic
