#include "platform/base/Usages.h"

#include "platform/Errors.h"
#include "platform/base/LibLocations.h"
#include "platform/settings/AtomicFile.h"
#include "platform/text/CaseFold.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace fs = std::filesystem;

namespace korvel {

namespace {

constexpr int kAssessmentLibType = 135;
constexpr int kUsagesFileVersion = 1;

// Land-use categories as the noise regulations that ship with the program group them; the sources are in
// docs/assessment-standards.md.
constexpr std::array<std::string_view, kUsageCount> kDefaultDescriptions = {
    "Pure residential area",
    "General residential area",
    "Small-settlement area",
    "Special residential area",
    "Village area",
    "Village residential area",
    "Mixed area",
    "Urban area",
    "Core area",
    "Commercial area",
    "Industrial area",
    "Special area",
    "Spa area",
    "Hospitals and nursing homes",
    "Schools and homes for the elderly",
    "Free usage area 16",
    "Free usage area 17",
    "Free usage area 18",
    "Free usage area 19",
    "Free usage area 20",
    "Free usage area 21",
    "Free usage area 22",
    "Free usage area 23",
    "Free usage area 24",
    "Free usage area 25",
};

std::string UsagesFile(const std::string& folder) {
    return (fs::path(folder) / kUsagesFileName).string();
}

TUsages ReadUsagesOfLocation(TLibPathType pathType) {
    const std::string folder = GetLastUsed(kAssessmentLibType, pathType, "");
    return folder.empty() ? DefaultUsages() : ReadUsagesFromLib(folder);
}

} // namespace

const std::array<std::string_view, kUsageCount> UsageIds = {
    "WR", "WA",  "WS",  "WB",  "MD",  "MDW", "MI",  "MU",  "MK",  "GE",  "GI",  "SO",  "KUR",
    "KH", "SCH", "U16", "U17", "U18", "U19", "U20", "U21", "U22", "U23", "U24", "U25",
};

TUsages DefaultUsages() {
    TUsages usages;
    for (std::size_t i = 0; i < usages.size(); ++i)
        usages[i] = {std::string(UsageIds[i]), std::string(kDefaultDescriptions[i])};
    return usages;
}

TUsages ReadUsagesFromLib(const std::string& folder) {
    const std::string file = UsagesFile(folder);
    std::error_code ec;
    if (!fs::exists(file, ec))
        return DefaultUsages();
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw EKorvelError("The usage areas \"" + file + "\" cannot be read");
    std::stringstream text;
    text << in.rdbuf();
    const nlohmann::json doc = nlohmann::json::parse(text.str(), nullptr, false);
    auto damaged = [&](const std::string& why) {
        return EKorvelError("The usage areas \"" + file + "\" are damaged: " + why);
    };
    if (doc.is_discarded() || !doc.is_object())
        throw damaged("not a JSON object");
    const auto list = doc.find("usages");
    if (list == doc.end() || !list->is_array() || list->size() != kUsageCount)
        throw damaged("\"usages\" must list " + std::to_string(kUsageCount) + " areas");
    TUsages usages;
    for (std::size_t i = 0; i < usages.size(); ++i) {
        const nlohmann::json& item = (*list)[i];
        const auto shortText = item.is_object() ? item.find("short") : item.end();
        const auto descr = item.is_object() ? item.find("description") : item.end();
        if (!item.is_object() || shortText == item.end() || !shortText->is_string() || descr == item.end() ||
            !descr->is_string())
            throw damaged("area " + std::to_string(i + 1) + " needs a \"short\" and a \"description\" text");
        usages[i] = {shortText->get<std::string>(), descr->get<std::string>()};
    }
    return usages;
}

void WriteUsagesToLib(const std::string& folder, const TUsages& usages) {
    nlohmann::ordered_json doc;
    doc["version"] = kUsagesFileVersion;
    nlohmann::ordered_json& list = doc["usages"] = nlohmann::ordered_json::array();
    for (const TUsage& u : usages)
        list.push_back({{"short", u.Short}, {"description", u.Descr}});
    // Invalid UTF-8 from older files is replaced rather than refused: the areas must be writable.
    WriteFileAtomically(UsagesFile(folder),
                        doc.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

TUsages ReadUsagesFromSystemLib() {
    return ReadUsagesOfLocation(TLibPathType::System);
}

TUsages ReadUsagesFromGlobalLib() {
    return ReadUsagesOfLocation(TLibPathType::Global);
}

int FindUsageByShort(const TUsages& usages, std::string_view text) {
    for (std::size_t i = 0; i < usages.size(); ++i)
        if (SameTextIgnoringCase(usages[i].Short, text))
            return static_cast<int>(i) + 1;
    return 0;
}

} // namespace korvel
