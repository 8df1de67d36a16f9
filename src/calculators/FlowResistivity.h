#pragma once

// Absorption coefficients of a porous layer from its flow resistivity: the empirical impedance of Delany and
// Bazley and the statistical (random incidence) absorption coefficient of a locally reacting surface.

#include <complex>

namespace korvel::acoustic {
class TAbsoLibSpectrum;
}

namespace korvel::calculators {

// Normalised characteristic impedance Z = (1 + 9.08 X^-0.75) + j 11.9 X^-0.73 with X = f / sigma, f in Hz and
// sigma in kPa s/m². Throws EKorvelError for sigma <= 0, f <= 0 or values that are not finite numbers.
std::complex<double> DelanyBazleyImpedance(double frequency, double sigma);

// Statistical absorption coefficient of a surface with the normalised impedance z. Throws EKorvelError when
// the admittance has no imaginary part (the formula divides by it) or the result is not a finite number.
double StatisticalAbsorption(std::complex<double> z);

// Both steps for one frequency.
double AbsorptionFromFlowResistivity(double frequency, double sigma);

// Sets the absorption value of every band the spectrum shows to the coefficient at the band's nominal
// frequency, stored with float precision. Any failing band refuses the whole calculation with EKorvelError
// before a value is changed.
void ApplyFlowResistivity(acoustic::TAbsoLibSpectrum& spectrum, double sigma);

} // namespace korvel::calculators
