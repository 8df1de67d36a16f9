#pragma once

// Real spherical harmonics and a regularised least-squares fit of them to values at scattered directions.
// Directions are theta (from the upward axis, 0..180) and phi (around it), in degrees. The mathematics is in
// docs/directivity.md.

#include <span>
#include <vector>

namespace korvel::acoustic {

// Harmonics are numbered in degree order: degree l and order m = -l..l have the index l^2 + l + m, the sine
// terms (m < 0) before the zonal one and the cosine terms. Each is orthonormal over the unit sphere.
int HarmonicDegree(int index);

// Values of the first out.size() harmonics at (theta, phi).
void RealHarmonics(double theta, double phi, std::span<double> out);

// Strength of the smoothness penalty relative to the data, as Interpolate uses it.
inline constexpr double kHarmonicSmoothing = 1e-4;

// Least squares of the first `terms` harmonics to values at the given directions, penalised by
// smoothing * (samples / 4 pi) * sum of (l (l + 1))^2 c^2, i.e. by the surface Laplacian's energy of the
// fitted function. The system depends on the directions only: it is factored once and each value set is a
// back substitution. A system that cannot be factored throws std::domain_error.
class THarmonicFit {
public:
    THarmonicFit(std::span<const double> theta, std::span<const double> phi, int terms, double smoothing);
    int Terms() const { return terms_; }
    // Coefficients for one value per direction.
    std::vector<double> Coefficients(std::span<const double> values) const;

private:
    int terms_;
    std::size_t samples_;
    std::vector<double> basis_;  // samples x terms, row by row
    std::vector<double> factor_; // Cholesky factor L (terms x terms, lower triangle, row by row)
};

} // namespace korvel::acoustic
