#include "platform/db/JournalMode.h"

#include <filesystem>
#include <sys/vfs.h>

namespace korvel::db {

bool IsNetworkFileSystem(std::int64_t fileSystemType) {
    // statfs magic numbers: NFS, SMB, CIFS, SMB2, Coda, AFS, NCP, Ceph, 9P, FUSE (sshfs and friends).
    switch (static_cast<std::uint32_t>(fileSystemType)) {
    case 0x6969u:
    case 0x517Bu:
    case 0xFF534D42u:
    case 0xFE534D42u:
    case 0x73757245u:
    case 0x5346414Fu:
    case 0x564Cu:
    case 0x00C36400u:
    case 0x01021997u:
    case 0x65735546u:
        return true;
    default:
        return false;
    }
}

std::string JournalModeForFolder(const std::string& fileName) {
    std::filesystem::path folder = std::filesystem::path(fileName).parent_path();
    if (folder.empty())
        folder = ".";
    struct statfs info {};
    if (statfs(folder.c_str(), &info) != 0)
        return "WAL";
    return IsNetworkFileSystem(static_cast<std::int64_t>(info.f_type)) ? "DELETE" : "WAL";
}

} // namespace korvel::db
