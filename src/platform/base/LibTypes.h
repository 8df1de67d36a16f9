#pragma once

#include <cstdint>

namespace korvel {

// Location of a library: the delivered System library, the user's Global library, or a Project's library.
enum class TLibPathType : std::uint8_t { System = 0, Global = 1, Project = 2 };

// Answer to a name conflict while copying or importing elements.
enum class TneAction : std::uint8_t {
    Cancel = 0,
    Overwrite = 1,
    OverwriteAll = 2,
    Skip = 3,
    SkipAll = 4,
    NewName = 5
};

// Table tags that mark bulk work on a table.
inline constexpr int kTagBulkWork = 10;   // elements are being copied or imported
inline constexpr int kTagStoreClose = 17; // the editor's own store or close is under way

} // namespace korvel
