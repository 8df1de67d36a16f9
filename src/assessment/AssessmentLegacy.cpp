#include "assessment/AssessmentLegacy.h"

#include "platform/acoustic/TimeRange.h"
#include "platform/settings/IniDocument.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace korvel::assessment {

bool HasOlderLibrary(const std::string& folder) {
    std::error_code ec;
    for (const char* f : {kOlderMainFile, kOlderRangesFile, kOlderAdditionsFile})
        if (!fs::is_regular_file(fs::path(folder) / f, ec))
            return false;
    return true;
}

std::optional<TUsages> ReadOlderProjectUsages(const std::string& folder, const TUsages& fallback) {
    const fs::path file = fs::path(folder) / kOlderProjectFile;
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::stringstream text;
    text << in.rdbuf();
    const TIniDocument ini = TIniDocument::Parse(text.str());
    TUsages usages = fallback;
    for (std::size_t i = 0; i < usages.size(); ++i) {
        const std::string id(UsageIds[i]);
        if (auto s = ini.Get("usages", id + ".Short"))
            usages[i].Short = *s;
        if (auto d = ini.Get("usages", id + ".Descr"))
            usages[i].Descr = *d;
    }
    return usages;
}

} // namespace korvel::assessment
