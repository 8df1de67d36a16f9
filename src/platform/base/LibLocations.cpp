#include "platform/base/LibLocations.h"

#include "platform/base/LibKinds.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"

#include <filesystem>

namespace korvel {

namespace {

constexpr std::string_view kLastUsedSection = "LastUsed";

} // namespace

std::string GetLastUsed(int libType, TLibPathType pathType, std::string_view path) {
    switch (pathType) {
    case TLibPathType::System: {
        std::string file = LibName(libType);
        if (file.empty()) {
            return {};
        }
        for (const std::string& folder : {GetSystemLibPath1(), GetSystemLibPath2(), SystemLibPathDefault()}) {
            std::error_code ec;
            if (!folder.empty() && std::filesystem::is_regular_file(folder + file, ec)) {
                return folder;
            }
        }
        return {};
    }
    case TLibPathType::Global:
        return GetGlobalLibPath();
    case TLibPathType::Project:
        if (!path.empty()) {
            std::string folder = IncludeTrailingSeparator(path);
            WriteLastUsed(RegLibName(libType), folder);
            return folder;
        }
        std::error_code ec;
        std::string cwd = IncludeTrailingSeparator(std::filesystem::current_path(ec).string());
        return TIniStore(KorvelLibIniFileName()).ReadString(kLastUsedSection, RegLibName(libType), cwd);
    }
    return {};
}

void WriteLastUsed(std::string_view key, std::string_view folder) {
    TIniStore(KorvelLibIniFileName()).WriteString(kLastUsedSection, key, folder);
}

} // namespace korvel
