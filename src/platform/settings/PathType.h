#pragma once

#include "platform/base/LibTypes.h"

#include <string_view>

namespace korvel {

// The location of a library file (or folder) by its name alone; the file need not exist.
// The folder part decides: empty -> System; containing the segment system/libs (either separator, any
// letter case, a separator on both sides) -> System, even below the global folder; beginning with the
// non-empty global folder (ignoring letter case and the kind of separator) -> Global; else Project.
TLibPathType GetPathTypeByName(std::string_view fileOrFolder, std::string_view globalFolder);

} // namespace korvel
