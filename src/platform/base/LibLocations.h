#pragma once

#include "platform/base/LibTypes.h"

#include <string>
#include <string_view>

namespace korvel {

// The folder of a kind's library at a location, with a trailing separator:
//   System  - the first of the two configured system-library folders and the shipped default folder that
//             holds the kind's library file; empty when none does;
//   Global  - the global library folder setting, as it stands;
//   Project - the given folder, which is recorded as last used; without a folder, the last used one
//             (section "LastUsed", key RegLibName(libType)), else the current working folder.
std::string GetLastUsed(int libType, TLibPathType pathType, std::string_view path);

// Records a folder as last used under a key of section "LastUsed".
void WriteLastUsed(std::string_view key, std::string_view folder);

} // namespace korvel
