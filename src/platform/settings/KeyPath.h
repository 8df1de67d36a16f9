#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Maps a settings key path to the INI file that holds it.
//
// A key path is a file name ending in ".ini", optionally followed by sub-keys, each introduced by '\' or
// '/': "/home/ann/.config/korvel/KorvelLib.ini\Scale". Sub-keys become part of a sibling file's name,
// joined by dots: the example maps to "/home/ann/.config/korvel/KorvelLib.Scale.ini", and
// "KorvelLib.ini\A\B" to "KorvelLib.A.B.ini". A path that does not contain ".ini" followed by a separator
// is used unchanged.
std::string IniFileNameForKeyPath(std::string_view keyPath);

} // namespace korvel
