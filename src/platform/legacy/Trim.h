#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Removes blanks and control characters (bytes up to 0x20, NUL padding included) from both ends, as old
// fixed-width records need. Bytes of multi-byte UTF-8 characters are never touched.
std::string TrimText(std::string_view text);
std::string TrimLeftText(std::string_view text);
std::string TrimRightText(std::string_view text);

} // namespace korvel
