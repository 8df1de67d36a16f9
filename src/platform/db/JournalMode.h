#pragma once

#include <cstdint>
#include <string>

namespace korvel::db {

// SQLite's write-ahead log keeps its index in shared memory beside the file, which programs on two machines
// cannot share: on a network folder a library is written with the rollback journal and file locks instead.
bool IsNetworkFileSystem(std::int64_t fileSystemType);
// The journal a writable library in this folder is opened with: "WAL" or "DELETE".
std::string JournalModeForFolder(const std::string& fileName);

} // namespace korvel::db
