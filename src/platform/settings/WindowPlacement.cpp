#include "platform/settings/WindowPlacement.h"

#include "platform/Errors.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"

#include <string>

namespace korvel {

namespace {

bool Plausible(const TWindowPlacement& p) {
    auto within = [](int v) {
        return v >= -kMaxWindowCoordinate && v <= kMaxWindowCoordinate;
    };
    return p.Width > 0 && p.Height > 0 && p.Width <= kMaxWindowCoordinate &&
           p.Height <= kMaxWindowCoordinate && within(p.Left) && within(p.Top);
}

// Missing and unparsable values both read as nothing, unlike ReadInteger's default.
std::optional<int> ReadNumber(const TIniStore& store, const std::string& section, const char* key) {
    int value = 0;
    if (!ParseSettingInteger(store.ReadString(section, key, ""), value))
        return std::nullopt;
    return value;
}

} // namespace

std::optional<TWindowPlacement> LoadWindowSettings(const std::string& section) {
    const TIniStore store(KorvelLibIniFileName());
    const auto left = ReadNumber(store, section, "Left");
    const auto top = ReadNumber(store, section, "Top");
    const auto width = ReadNumber(store, section, "Width");
    const auto height = ReadNumber(store, section, "Height");
    if (!left || !top || !width || !height)
        return std::nullopt;
    TWindowPlacement p{*left, *top, *width, *height, store.ReadBool(section, "Maximized", false)};
    if (!Plausible(p))
        return std::nullopt;
    return p;
}

void SaveWindowSettings(const std::string& section, const TWindowPlacement& placement) {
    if (!Plausible(placement))
        throw EKorvelError("The window placement " + std::to_string(placement.Width) + " x " +
                           std::to_string(placement.Height) + " at " + std::to_string(placement.Left) + ", " +
                           std::to_string(placement.Top) + " is not a usable window size and position");
    const TIniStore store(KorvelLibIniFileName());
    store.WriteInteger(section, "Left", placement.Left);
    store.WriteInteger(section, "Top", placement.Top);
    store.WriteInteger(section, "Width", placement.Width);
    store.WriteInteger(section, "Height", placement.Height);
    store.WriteBool(section, "Maximized", placement.Maximized);
}

} // namespace korvel
