#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Unicode case folding of UTF-8 text, for comparisons that ignore letter case ("Flügel" == "FLÜGEL").
// Bytes that are not valid UTF-8 fold to U+FFFD, so damaged text still compares without failing.
std::string FoldCase(std::string_view utf8);

// True when both texts are equal after case folding.
bool SameTextIgnoringCase(std::string_view a, std::string_view b);

// Upper case of the ASCII letters only, for file names, extensions and fixed keywords; other bytes (UTF-8
// included) stay as they are.
std::string AsciiUpper(std::string_view text);

} // namespace korvel
