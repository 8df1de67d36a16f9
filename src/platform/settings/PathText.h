#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Folder names as text. Both '/' and '\' count as separators, because folders come from settings files
// and old libraries written on either kind of system.

bool IsPathSeparator(char c);

// The folder with a separator at its end ('/' is added when it has none); empty stays empty.
std::string IncludeTrailingSeparator(std::string_view folder);

// The folder part of a file name, up to and including its last separator; empty when there is none.
std::string ExtractFolder(std::string_view fileName);

// Two file names name the same file when they are equal ignoring letter case and the kind of separator.
bool SameFileName(std::string_view a, std::string_view b);

} // namespace korvel
