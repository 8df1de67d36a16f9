#include "platform/base/YScale.h"

#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"

#include <cmath>
#include <string>

namespace korvel {

namespace {

constexpr int kAbsorptionType = 121;

std::string ScaleKeyPath() {
    return KorvelLibIniFileName() + "\\Scale";
}

std::string SectionOf(int libType) {
    std::string section = RegLibName(libType);
    if (section.empty())
        throw EKorvelError("Library type " + std::to_string(libType) +
                           " is unknown; it has no printout scale");
    return section;
}

int ToThousandths(double value, const char* what) {
    if (!std::isfinite(value) || std::fabs(value) > kMaxYScaleValue)
        throw EKorvelError(std::string("The y-scale ") + what + " must be a number between " +
                           std::to_string(static_cast<long>(-kMaxYScaleValue)) + " and " +
                           std::to_string(static_cast<long>(kMaxYScaleValue)));
    return static_cast<int>(std::lround(value * 1000));
}

} // namespace

TYScaleFmt DefaultYScale(int libType) {
    TYScaleFmt scale;
    if (libType == kAbsorptionType)
        scale.Max = 1;
    return scale;
}

TYScaleFmt ReadYScale(int libType) {
    const std::string section = SectionOf(libType);
    const TYScaleFmt def = DefaultYScale(libType);
    const TIniStore store(ScaleKeyPath());
    TYScaleFmt scale;
    scale.Auto = store.ReadBool(section, "YAuto", def.Auto);
    scale.Min = store.ReadInteger(section, "YMin", ToThousandths(def.Min, "minimum")) / 1000.0;
    scale.Max = store.ReadInteger(section, "YMax", ToThousandths(def.Max, "maximum")) / 1000.0;
    // A fixed range that cannot be drawn is no use to a printout.
    if (scale.Max <= scale.Min)
        scale.Auto = true;
    return scale;
}

void WriteYScale(int libType, const TYScaleFmt& scale) {
    const std::string section = SectionOf(libType);
    // Both converted before anything is written, so a refused value leaves the stored scale whole.
    const int min = ToThousandths(scale.Min, "minimum");
    const int max = ToThousandths(scale.Max, "maximum");
    const TIniStore store(ScaleKeyPath());
    store.WriteBool(section, "YAuto", scale.Auto);
    store.WriteInteger(section, "YMin", min);
    store.WriteInteger(section, "YMax", max);
}

} // namespace korvel
