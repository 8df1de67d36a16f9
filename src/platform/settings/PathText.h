#pragma once

#include <optional>
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

// A file name that data (a library field, a cell of an imported file) gives for a file beside something:
// not empty, not "." or "..", no separator of either kind, no drive or stream colon, no control character.
// Such a name joined to a folder can only name a file directly inside that folder.
bool IsPlainFileName(std::string_view name);

// folder joined with name when the name is plain; nothing otherwise, so nothing outside the folder is named.
std::optional<std::string> FileInFolder(std::string_view folder, std::string_view name);

} // namespace korvel
