#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Replaces the file's content as one step: the text goes to a temporary file in the same folder, is flushed
// to disk, and is then renamed over the old file. A crash leaves the old file or the new one, never a mix.
// Creates missing folders. Throws EKorvelError naming the file when any step fails; the old file is then
// untouched and no temporary file is left behind.
void WriteFileAtomically(const std::string& fileName, std::string_view content);

} // namespace korvel
