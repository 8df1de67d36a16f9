#pragma once

#include <optional>
#include <string>

namespace korvel {

// Where a window was and how large, to open it there again. Left/Top/Width/Height are the normal (not
// maximized) geometry, so un-maximizing after a restart goes back to it.
struct TWindowPlacement {
    int Left = 0;
    int Top = 0;
    int Width = 0;
    int Height = 0;
    bool Maximized = false;
    bool operator==(const TWindowPlacement&) const = default;
};

// Coordinates beyond this are taken for damage rather than for a real screen.
inline constexpr int kMaxWindowCoordinate = 100000;

// The placement kept in section `section` ("Lib120") of the settings file. Nothing when it is missing or
// incomplete, or when a size is not positive or any value lies beyond kMaxWindowCoordinate.
std::optional<TWindowPlacement> LoadWindowSettings(const std::string& section);
// Throws EKorvelError for a placement LoadWindowSettings would not accept; the stored one stays then.
void SaveWindowSettings(const std::string& section, const TWindowPlacement& placement);

} // namespace korvel
