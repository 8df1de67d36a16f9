#include "building/BAIAssessJson.h"

#include "editor/JsonMembers.h"
#include "platform/Errors.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace korvel::building {

using namespace acoustic;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

std::string ColorText(std::uint32_t rgb) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%06x", rgb & 0xFFFFFF);
    return buf;
}

std::uint32_t ParseColor(const json& v, const std::string& member) {
    const std::string text = MemberText(v, member);
    const bool hex = text.size() == 7 && text[0] == '#' &&
                     std::all_of(text.begin() + 1, text.end(), [](char c) { return std::isxdigit(c) != 0; });
    if (!hex)
        BadMember(member, "a colour as \"#rrggbb\" is expected, not \"" + text + "\"");
    return static_cast<std::uint32_t>(std::stoul(text.substr(1), nullptr, 16));
}

// The index of a name in one of the scheme's name tables.
template <std::size_t N>
int NameIndex(const std::array<std::string_view, N>& table, const json& v, const std::string& member,
              const char* what) {
    const std::string text = MemberText(v, member);
    for (std::size_t i = 0; i < N; ++i)
        if (table[i] == text)
            return static_cast<int>(i);
    std::string names;
    for (std::string_view n : table)
        names += (names.empty() ? "\"" : ", \"") + std::string(n) + "\"";
    BadMember(member, "\"" + text + "\" is not " + what + " (one of " + names + ")");
}

bool Given(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && !it->is_null();
}

TBAICondition ReadCondition(const json& v, const TBAIAssess& scheme, const std::string& member) {
    if (!v.is_object())
        BadMember(member, "a condition object is expected");
    CheckKnownMembers(v, {"type", "from", "toRoom", "param", "frequency", "limit", "unit"}, member + ".");
    for (const char* key : {"type", "param", "limit"})
        if (!Given(v, key))
            BadMember(member + "." + key, "is missing");
    TBAICondition c;
    c.SetRequirementType(
        NameIndex(BAIAssessRequirementTypeStr, v["type"], member + ".type", "a requirement type"));
    const std::string type =
        std::string(BAIAssessRequirementTypeStr[static_cast<std::size_t>(c.RequirementType)]);
    if (c.HasFrom()) {
        if (!Given(v, "from"))
            BadMember(member + ".from",
                      "is missing: requirement type \"" + type + "\" names a neighbouring space");
        c.FromUnit =
            NameIndex(BAIAssessFromUnitTypeStr, v["from"], member + ".from", "a kind of neighbouring space");
    } else if (Given(v, "from")) {
        BadMember(member + ".from", "requirement type \"" + type + "\" has no neighbouring space");
    }
    if (Given(v, "toRoom")) {
        const std::string room = MemberText(v["toRoom"], member + ".toRoom");
        if (room != kBAIAnyRoom) {
            if (!c.HasToRoom())
                BadMember(member + ".toRoom", "this condition has no room type on the other side");
            const auto it = std::find_if(scheme.Rooms().begin(), scheme.Rooms().end(),
                                         [&](const TBAIRoom& r) { return r.Name == room; });
            if (it == scheme.Rooms().end())
                BadMember(member + ".toRoom", "\"" + room + "\" is not a room type of the scheme");
            c.ToRoom = it->Id;
        }
    }
    const int param = NameIndex(BAIParamTypeStr, v["param"], member + ".param", "a quantity");
    if (!BAIParamFits(c.RequirementType, param))
        BadMember(member + ".param", "\"" + std::string(BAIParamTypeStr[static_cast<std::size_t>(param)]) +
                                         "\" does not belong to requirement type \"" + type + "\"");
    c.SetParam(param);
    if (Given(v, "frequency")) {
        const int freq =
            NameIndex(BAIFreqTypeStr, v["frequency"], member + ".frequency", "a frequency range");
        if (!BAIFreqFits(c.Param, freq))
            BadMember(member + ".frequency",
                      "\"" + std::string(BAIFreqTypeStr[static_cast<std::size_t>(freq)]) +
                          "\" is no range of \"" +
                          std::string(BAIParamTypeStr[static_cast<std::size_t>(c.Param)]) + "\"");
        c.Freq = freq;
    }
    c.Limit = MemberNumber(v["limit"], member + ".limit");
    if (Given(v, "unit") && MemberText(v["unit"], member + ".unit") != c.GetUnit())
        BadMember(member + ".unit", "the limit of \"" +
                                        std::string(BAIParamTypeStr[static_cast<std::size_t>(c.Param)]) +
                                        "\" is in " + c.GetUnit());
    return c;
}

void ReadRooms(const json& v, TBAIAssess& scheme) {
    if (!v.is_array())
        BadMember("rooms", "a list of room types is expected");
    int nextId = 1;
    for (const TBAIRoom& r : scheme.Rooms())
        nextId = std::max(nextId, r.Id + 1);
    std::vector<TBAIRoom> rooms;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::string member = "rooms[" + std::to_string(i) + "]";
        if (!v[i].is_object())
            BadMember(member, "an object with name and color is expected");
        CheckKnownMembers(v[i], {"name", "color"}, member + ".");
        if (!Given(v[i], "name"))
            BadMember(member + ".name", "is missing");
        TBAIRoom room;
        room.Name = MemberText(v[i]["name"], member + ".name");
        room.Color = Given(v[i], "color") ? ParseColor(v[i]["color"], member + ".color") : 0xFFFFFF;
        // A room type of the same name stays the same room type, with its conditions.
        const auto old = std::find_if(scheme.Rooms().begin(), scheme.Rooms().end(),
                                      [&](const TBAIRoom& r) { return r.Name == room.Name; });
        room.Id = old != scheme.Rooms().end() ? old->Id : nextId++;
        rooms.push_back(std::move(room));
    }
    scheme.Rooms() = std::move(rooms);
    if (const std::string problem = scheme.RoomNameProblem(); !problem.empty())
        BadMember("rooms", problem);
    scheme.AssignRoomsToClasses();
}

void ReadClasses(const json& v, TBAIAssess& scheme) {
    if (!v.is_array())
        BadMember("classes", "a list of classes is expected");
    std::vector<TBAIAssessClass> classes;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::string member = "classes[" + std::to_string(i) + "]";
        if (!v[i].is_object())
            BadMember(member, "an object with name and rooms is expected");
        CheckKnownMembers(v[i], {"name", "rooms"}, member + ".");
        TBAIAssessClass c;
        c.Name = Given(v[i], "name") ? MemberText(v[i]["name"], member + ".name") : std::string();
        if (Given(v[i], "rooms")) {
            const json& rooms = v[i]["rooms"];
            if (!rooms.is_object())
                BadMember(member + ".rooms", "an object of room types and their conditions is expected");
            for (const auto& [roomName, conditions] : rooms.items()) {
                const std::string at = member + ".rooms." + roomName;
                const auto room = std::find_if(scheme.Rooms().begin(), scheme.Rooms().end(),
                                               [&](const TBAIRoom& r) { return r.Name == roomName; });
                if (room == scheme.Rooms().end())
                    BadMember(at, "\"" + roomName + "\" is not a room type of the scheme");
                if (!conditions.is_array())
                    BadMember(at, "a list of conditions is expected");
                TBAIClassRoom entry{room->Id, {}};
                for (std::size_t k = 0; k < conditions.size(); ++k)
                    entry.Conditions.push_back(
                        ReadCondition(conditions[k], scheme, at + "[" + std::to_string(k) + "]"));
                c.Rooms.push_back(std::move(entry));
            }
        }
        classes.push_back(std::move(c));
    }
    scheme.Classes() = std::move(classes);
    scheme.AssignRoomsToClasses();
}

} // namespace

ordered_json BAIAssessToJson(const TBAIAssess& scheme, const std::string& name, const std::string& comment) {
    ordered_json out;
    out["name"] = name;
    ordered_json rooms = ordered_json::array();
    for (const TBAIRoom& r : scheme.Rooms())
        rooms.push_back({{"name", r.Name}, {"color", ColorText(r.Color)}});
    out["rooms"] = std::move(rooms);
    ordered_json classes = ordered_json::array();
    for (const TBAIAssessClass& c : scheme.Classes()) {
        ordered_json byRoom = ordered_json::object();
        for (const TBAIClassRoom& e : c.Rooms) {
            const TBAIRoom* room = scheme.RoomById(e.RoomId);
            if (room == nullptr)
                continue;
            ordered_json list = ordered_json::array();
            for (const TBAICondition& k : e.Conditions) {
                ordered_json cond;
                cond["type"] = BAIAssessRequirementTypeStr[static_cast<std::size_t>(k.RequirementType)];
                if (k.HasFrom())
                    cond["from"] = BAIAssessFromUnitTypeStr[static_cast<std::size_t>(k.FromUnit)];
                if (k.HasToRoom()) {
                    const TBAIRoom* to = scheme.RoomById(k.ToRoom);
                    cond["toRoom"] = to ? to->Name : std::string(kBAIAnyRoom);
                }
                cond["param"] = BAIParamTypeStr[static_cast<std::size_t>(k.Param)];
                cond["frequency"] = BAIFreqTypeStr[static_cast<std::size_t>(k.Freq)];
                cond["limit"] = k.Limit;
                cond["unit"] = k.GetUnit();
                list.push_back(std::move(cond));
            }
            byRoom[room->Name] = std::move(list);
        }
        classes.push_back({{"name", c.Name}, {"rooms", std::move(byRoom)}});
    }
    out["classes"] = std::move(classes);
    out["comment"] = comment;
    return out;
}

void BAIAssessFromJson(const json& object, TBAIAssess& scheme, std::string& name, std::string& comment) {
    if (!object.is_object())
        throw EKorvelError("A building-acoustics scheme is a JSON object");
    CheckKnownMembers(object, {"name", "rooms", "classes", "comment"});
    TBAIAssess s = scheme;
    std::string newName = Given(object, "name") ? MemberText(object["name"], "name", 40) : name;
    std::string newComment = Given(object, "comment") ? MemberText(object["comment"], "comment") : comment;
    if (Given(object, "rooms"))
        ReadRooms(object["rooms"], s);
    if (Given(object, "classes"))
        ReadClasses(object["classes"], s);
    scheme = std::move(s);
    name = std::move(newName);
    comment = std::move(newComment);
}

bool BAIAssessJsonChangesScheme(const json& object) {
    return object.is_object() && (Given(object, "rooms") || Given(object, "classes"));
}

} // namespace korvel::building
