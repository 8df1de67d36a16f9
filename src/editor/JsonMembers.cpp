#include "editor/JsonMembers.h"

#include "platform/Errors.h"
#include "platform/db/Collation.h"

#include <algorithm>
#include <cmath>

namespace korvel {

void BadMember(const std::string& member, const std::string& why) {
    throw EKorvelError("Member \"" + member + "\": " + why);
}

double MemberNumber(const nlohmann::json& v, const std::string& member) {
    if (!v.is_number() || !std::isfinite(v.get<double>()))
        BadMember(member, "a number is expected");
    return v.get<double>();
}

int MemberInteger(const nlohmann::json& v, const std::string& member, int lo, int hi) {
    if (!v.is_number() || v.get<double>() != std::floor(v.get<double>()))
        BadMember(member, "a whole number is expected");
    const double d = v.get<double>();
    if (d < lo || d > hi)
        BadMember(member, "must lie between " + std::to_string(lo) + " and " + std::to_string(hi));
    return static_cast<int>(d);
}

std::string MemberText(const nlohmann::json& v, const std::string& member) {
    if (!v.is_string())
        BadMember(member, "a text is expected");
    return v.get<std::string>();
}

std::string MemberText(const nlohmann::json& v, const std::string& member, int maxChars) {
    std::string text = MemberText(v, member);
    if (db::CodePointCount(text) > static_cast<std::size_t>(maxChars))
        BadMember(member, "at most " + std::to_string(maxChars) + " characters");
    return text;
}

bool MemberBool(const nlohmann::json& v, const std::string& member) {
    if (!v.is_boolean())
        BadMember(member, "true or false is expected");
    return v.get<bool>();
}

void CheckKnownMembers(const nlohmann::json& object, std::initializer_list<std::string_view> known,
                       const std::string& prefix) {
    for (const auto& [key, value] : object.items())
        if (std::find(known.begin(), known.end(), key) == known.end())
            BadMember(prefix + key, "unknown member");
}

} // namespace korvel
