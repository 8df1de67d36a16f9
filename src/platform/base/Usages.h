#pragma once

// The usage areas of an assessment library (residential, mixed, industrial and the like): 25 pairs of a
// short and a description, shared by every assessment of one library. They live beside the library in the
// folder's "Usages.json" (layout in docs/assessment.md).

#include <array>
#include <string>
#include <string_view>

namespace korvel {

inline constexpr int kUsageCount = 25;
inline constexpr const char* kUsagesFileName = "Usages.json";

struct TUsage {
    std::string Short;
    std::string Descr;
    bool operator==(const TUsage&) const = default;
};

// Usage area i = 1..25 is element i - 1.
using TUsages = std::array<TUsage, kUsageCount>;

// The usage shorts of the older generation, by area 1..25 (element i - 1): older additions tables name
// their area by one of these instead of its number.
extern const std::array<std::string_view, kUsageCount> UsageIds;
// The older generation's areas with their descriptions: what a folder without a usages file reads.
TUsages DefaultUsages();

// Reads the folder's usage areas. A folder without the file gives DefaultUsages(); a damaged file throws
// EKorvelError naming the file (nothing is changed).
TUsages ReadUsagesFromLib(const std::string& folder);
// Writes the folder's usage areas, replacing the file as a whole; throws EKorvelError naming the file.
void WriteUsagesToLib(const std::string& folder, const TUsages& usages);
// The usage areas of the configured System and Global library folders (the defaults when none is set).
TUsages ReadUsagesFromSystemLib();
TUsages ReadUsagesFromGlobalLib();

// The first area 1..25 whose short equals text ignoring case, or 0.
int FindUsageByShort(const TUsages& usages, std::string_view text);

} // namespace korvel
