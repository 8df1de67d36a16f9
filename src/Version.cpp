#include "Version.h"

#include <sqlite3.h>
#include <unicode/uversion.h>

namespace korvel {

std::string VersionString() {
    return std::string(kVersion) + " (SQLite " + sqlite3_libversion() + ", ICU " + U_ICU_VERSION + ")";
}

} // namespace korvel
