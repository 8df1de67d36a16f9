#pragma once

// Suggested scattering coefficients of an absorption element, derived from the roughness of its surface.

#include <array>
#include <string_view>

namespace korvel::acoustic {

class TAbsoLibSpectrum;

// Roughness parameter r (0 for a smooth surface, 1 at most) of the classes the user chooses from.
struct TRoughnessClass {
    std::string_view Text;
    double R;
};
inline constexpr std::array<TRoughnessClass, 7> RoughnessClasses = {{{"< 1cm", 0.0},
                                                                     {"< 2cm", 0.06},
                                                                     {"< 5cm", 0.14},
                                                                     {"~ 10cm", 0.2},
                                                                     {"~ 20cm", 0.4},
                                                                     {"~ 50cm", 0.6},
                                                                     {"> 1m", 0.8}}};
// r of the class; 0 (smooth) for an index outside the table, as for no selection.
double RoughnessOfClass(int index);

class IScattering_Value_Suggester {
public:
    virtual ~IScattering_Value_Suggester() = default;
    // Overwrites the scattering value of all 44 bands. An r outside 0..1 (or not a number) throws
    // EKorvelError and leaves the spectrum as it was.
    virtual void load_Suggested_Scattering_Values(TAbsoLibSpectrum& spectrum, double r) = 0;
};

// s = k x^2 / (1 + k x^2) with x = n/10 - 2.05 (not below 0) and k = 0.001 * 10^(5 sqrt(r)), at least 0.01.
class TScattering_Value_Suggester_Power_Laws final : public IScattering_Value_Suggester {
public:
    void load_Suggested_Scattering_Values(TAbsoLibSpectrum& spectrum, double r) override;
};

// A step from 0 to 1 around f0 = 4000 (1 - r^(1/4)) Hz: s = (1 + erf((f - f0) / 50)) / 2.
class TScattering_Value_Suggester_Error_Function final : public IScattering_Value_Suggester {
public:
    void load_Suggested_Scattering_Values(TAbsoLibSpectrum& spectrum, double r) override;
};

} // namespace korvel::acoustic
