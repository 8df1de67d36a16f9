#pragma once

// Reading the members of an element object given as JSON (command line, System library sources): each
// reader names the member in its error, so a person can find the fault in a large object.

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace korvel {

// Throws EKorvelError: Member "member": why.
[[noreturn]] void BadMember(const std::string& member, const std::string& why);
// A finite number.
double MemberNumber(const nlohmann::json& v, const std::string& member);
// A whole number from lo to hi.
int MemberInteger(const nlohmann::json& v, const std::string& member, int lo, int hi);
std::string MemberText(const nlohmann::json& v, const std::string& member);
// A text of at most maxChars characters (a field's size).
std::string MemberText(const nlohmann::json& v, const std::string& member, int maxChars);
bool MemberBool(const nlohmann::json& v, const std::string& member);
// Throws for the first member of object that is not known; prefix goes before its name ("ranges[0].").
void CheckKnownMembers(const nlohmann::json& object, std::initializer_list<std::string_view> known,
                       const std::string& prefix = {});

} // namespace korvel
