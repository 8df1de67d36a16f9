#include "platform/acoustic/BAIAssess.h"

#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>

namespace korvel::acoustic {

using nlohmann::json;

namespace {

bool IsAWeighted(int param) {
    return param >= 11 && param < static_cast<int>(BAIParamTypeStr.size());
}

// The airborne quantities with a spectrum adaptation term, whose range may be enlarged (EN ISO 717-1
// Annex B), and the impact quantities with CI (EN ISO 717-2 Annex A).
bool HasAirborneTerm(int param) {
    return param == 2 || param == 4 || param == 5 || param == 7;
}
bool HasImpactTerm(int param) {
    return param == 9 || param == 10;
}

template <std::size_t N> bool InTable(const std::array<std::string_view, N>&, int index) {
    return index >= 0 && index < static_cast<int>(N);
}

[[noreturn]] void Damaged(const std::string& where, const std::string& why) {
    throw EKorvelError(where + " " + why);
}

int IntMember(const json& object, const char* key, const std::string& where) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_number_integer())
        Damaged(where, std::string("has no whole number \"") + key + "\"");
    const auto v = it->get<std::int64_t>();
    if (v < INT32_MIN || v > INT32_MAX)
        Damaged(where, std::string("has \"") + key + "\" out of range");
    return static_cast<int>(v);
}

std::string TextMember(const json& object, const char* key, const std::string& where) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        Damaged(where, std::string("has no text \"") + key + "\"");
    return it->get<std::string>();
}

const json& ArrayMember(const json& object, const char* key, const std::string& where) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_array())
        Damaged(where, std::string("has no list \"") + key + "\"");
    return *it;
}

void OnlyMembers(const json& object, std::initializer_list<const char*> keys, const std::string& where) {
    if (!object.is_object())
        Damaged(where, "is not a map");
    for (const auto& [key, value] : object.items())
        if (std::none_of(keys.begin(), keys.end(), [&](const char* k) { return key == k; }))
            Damaged(where, "has an unknown member \"" + key + "\"");
}

TBAICondition ReadCondition(const json& v, const std::set<int>& ids, const std::string& where) {
    if (!v.is_array() || v.size() != 6)
        Damaged(where, "is not a list of six values");
    for (std::size_t i = 0; i < 5; ++i)
        if (!v[i].is_number_integer() || v[i].get<std::int64_t>() < INT32_MIN ||
            v[i].get<std::int64_t>() > INT32_MAX)
            Damaged(where, "has a value " + std::to_string(i + 1) + " that is no whole number");
    if (!v[5].is_number() || !std::isfinite(v[5].get<double>()))
        Damaged(where, "has a limit that is no number");
    TBAICondition c;
    c.RequirementType = v[0].get<int>();
    c.FromUnit = v[1].get<int>();
    c.ToRoom = v[2].get<int>();
    c.Param = v[3].get<int>();
    c.Freq = v[4].get<int>();
    c.Limit = v[5].get<double>();
    if (!InTable(BAIAssessRequirementTypeStr, c.RequirementType))
        Damaged(where, "has an unknown requirement type " + std::to_string(c.RequirementType));
    if (!InTable(BAIAssessFromUnitTypeStr, c.FromUnit))
        Damaged(where, "has an unknown kind of neighbouring space " + std::to_string(c.FromUnit));
    if (c.ToRoom != 0 && !ids.contains(c.ToRoom))
        Damaged(where, "points to a room type " + std::to_string(c.ToRoom) + " that does not exist");
    if (!InTable(BAIParamTypeStr, c.Param))
        Damaged(where, "has an unknown quantity " + std::to_string(c.Param));
    if (!InTable(BAIFreqTypeStr, c.Freq))
        Damaged(where, "has an unknown frequency range " + std::to_string(c.Freq));
    return c;
}

} // namespace

// --- name tables

bool BAIParamFits(int type, int param) {
    if (!InTable(BAIParamTypeStr, param))
        return false;
    switch (type) {
    case kBAIReqInsulation:
        return param <= 7;
    case kBAIReqImpact:
        return param == kBAIParamLnTw || (param >= 8 && param <= 10);
    case kBAIReqOutdoorLevel:
        return param == 11 || param == 12;
    case kBAIReqEquipment:
        return param == 13 || param == 14;
    default:
        return false;
    }
}

bool BAIFreqFits(int param, int freq) {
    if (!InTable(BAIFreqTypeStr, freq) || !InTable(BAIParamTypeStr, param))
        return false;
    if (IsAWeighted(param))
        return freq == kBAIFreqAWeighted;
    if (HasAirborneTerm(param))
        return freq <= 3;
    if (HasImpactTerm(param))
        return freq == 0 || freq == 4;
    return freq == 0;
}

std::vector<int> BAIParamsOf(int type) {
    std::vector<int> params;
    for (int p = 0; p < static_cast<int>(BAIParamTypeStr.size()); ++p)
        if (BAIParamFits(type, p))
            params.push_back(p);
    return params;
}

std::vector<int> BAIFreqsOf(int param) {
    std::vector<int> freqs;
    for (int f = 0; f < static_cast<int>(BAIFreqTypeStr.size()); ++f)
        if (BAIFreqFits(param, f))
            freqs.push_back(f);
    return freqs;
}

// --- conditions

void TBAICondition::SetRequirementType(int type) {
    if (!InTable(BAIAssessRequirementTypeStr, type))
        throw EKorvelError("Requirement type " + std::to_string(type) + " does not exist.");
    RequirementType = type;
    if (!BAIParamFits(type, Param))
        SetParam(BAIParamsOf(type).front());
}

void TBAICondition::SetParam(int param) {
    if (!InTable(BAIParamTypeStr, param))
        throw EKorvelError("Quantity " + std::to_string(param) + " does not exist.");
    Param = param;
    if (!BAIFreqFits(param, Freq))
        Freq = BAIFreqsOf(param).front();
}

std::string TBAICondition::GetUnit() const {
    return IsAWeighted(Param) ? "dB(A)" : "dB";
}

int TBAICondition::Mod() const {
    switch (RequirementType) {
    case kBAIReqInsulation:
        return Param == kBAIParamLnTw ? 1 : 0;
    case kBAIReqImpact:
    case kBAIReqOutdoorLevel:
        return 1;
    default:
        return 2;
    }
}

bool TBAICondition::HasFrom() const {
    return RequirementType == kBAIReqInsulation || RequirementType == kBAIReqImpact;
}

bool TBAICondition::HasToRoom() const {
    return HasFrom() && !(RequirementType == kBAIReqInsulation && FromUnit == kBAIFromOutside);
}

// --- classes

std::vector<TBAICondition>* TBAIAssessClass::GetBAIRoomConditions(int roomId) {
    for (TBAIClassRoom& r : Rooms)
        if (r.RoomId == roomId)
            return &r.Conditions;
    return nullptr;
}

const std::vector<TBAICondition>* TBAIAssessClass::GetBAIRoomConditions(int roomId) const {
    return const_cast<TBAIAssessClass*>(this)->GetBAIRoomConditions(roomId);
}

// --- the scheme

void TBAIAssess::Clear() {
    rooms_.clear();
    classes_.clear();
}

int TBAIAssess::NextRoomId() const {
    int id = 0;
    for (const TBAIRoom& r : rooms_)
        id = std::max(id, r.Id);
    return id + 1;
}

TBAIRoom& TBAIAssess::InsertRoom(int at, std::string name, std::uint32_t color) {
    at = std::clamp(at, 0, static_cast<int>(rooms_.size()));
    TBAIRoom room{NextRoomId(), std::move(name), color & 0xFFFFFF};
    return *rooms_.insert(rooms_.begin() + at, std::move(room));
}

void TBAIAssess::DeleteRoom(int index) {
    if (index < 0 || index >= static_cast<int>(rooms_.size()))
        throw EKorvelError("Room type " + std::to_string(index) + " does not exist.");
    rooms_.erase(rooms_.begin() + index);
}

void TBAIAssess::AssignRoomsToClasses() {
    std::set<int> ids;
    for (const TBAIRoom& r : rooms_)
        ids.insert(r.Id);
    for (TBAIAssessClass& c : classes_) {
        std::vector<TBAIClassRoom> entries;
        entries.reserve(rooms_.size());
        for (const TBAIRoom& r : rooms_) {
            auto it = std::find_if(c.Rooms.begin(), c.Rooms.end(),
                                   [&](const TBAIClassRoom& e) { return e.RoomId == r.Id; });
            entries.push_back(it != c.Rooms.end() ? std::move(*it) : TBAIClassRoom{r.Id, {}});
        }
        for (TBAIClassRoom& e : entries)
            for (TBAICondition& cond : e.Conditions)
                if (cond.ToRoom != 0 && !ids.contains(cond.ToRoom))
                    cond.ToRoom = 0;
        c.Rooms = std::move(entries);
    }
}

std::string TBAIAssess::ClassesString() const {
    std::string text;
    for (const TBAIAssessClass& c : classes_)
        text += (text.empty() ? "" : ", ") + c.Name;
    return text;
}

std::string TBAIAssess::RoomNameProblem() const {
    std::set<std::string> names;
    for (std::size_t i = 0; i < rooms_.size(); ++i) {
        const std::string& name = rooms_[i].Name;
        if (name.find_first_not_of(" \t") == std::string::npos)
            return "Room type " + std::to_string(i + 1) + " has no name.";
        if (name == kBAIAnyRoom)
            return "A room type cannot be named \"" + std::string(kBAIAnyRoom) +
                   "\", which stands for no room type on the other side.";
        if (!names.insert(name).second)
            return "Two room types are named \"" + name + "\"; every room type needs a name of its own.";
    }
    return {};
}

int TBAIAssess::RoomIndexOfId(int id) const {
    for (std::size_t i = 0; i < rooms_.size(); ++i)
        if (rooms_[i].Id == id)
            return static_cast<int>(i);
    return -1;
}

const TBAIRoom* TBAIAssess::RoomById(int id) const {
    const int i = RoomIndexOfId(id);
    return i < 0 ? nullptr : &rooms_[static_cast<std::size_t>(i)];
}

std::vector<TBAICondition>* TBAIAssess::Conditions(int classIndex, int roomIndex) {
    if (classIndex < 0 || classIndex >= static_cast<int>(classes_.size()) || roomIndex < 0 ||
        roomIndex >= static_cast<int>(rooms_.size()))
        return nullptr;
    return classes_[static_cast<std::size_t>(classIndex)].GetBAIRoomConditions(
        rooms_[static_cast<std::size_t>(roomIndex)].Id);
}

const std::vector<TBAICondition>* TBAIAssess::Conditions(int classIndex, int roomIndex) const {
    return const_cast<TBAIAssess*>(this)->Conditions(classIndex, roomIndex);
}

TBlob TBAIAssess::ToBlob() const {
    json rooms = json::array();
    for (const TBAIRoom& r : rooms_)
        rooms.push_back({{"id", r.Id}, {"name", r.Name}, {"color", r.Color}});
    json classes = json::array();
    for (const TBAIAssessClass& c : classes_) {
        json entries = json::array();
        for (const TBAIClassRoom& e : c.Rooms) {
            json conditions = json::array();
            for (const TBAICondition& k : e.Conditions)
                conditions.push_back(
                    json::array({k.RequirementType, k.FromUnit, k.ToRoom, k.Param, k.Freq, k.Limit}));
            entries.push_back({{"room", e.RoomId}, {"conditions", std::move(conditions)}});
        }
        classes.push_back({{"name", c.Name}, {"rooms", std::move(entries)}});
    }
    const json doc = {
        {"version", kBAISchemeVersion}, {"rooms", std::move(rooms)}, {"classes", std::move(classes)}};
    return json::to_cbor(doc);
}

TBAIAssess TBAIAssess::FromBlob(TByteSpan blob) {
    json doc;
    try {
        doc = json::from_cbor(blob.begin(), blob.end());
    } catch (const json::exception& e) {
        throw EKorvelError(std::string("The scheme is not readable CBOR (") + e.what() + ").");
    }
    if (!doc.is_object() || !doc.contains("version"))
        throw EKorvelError("The scheme has no version.");
    if (!doc["version"].is_number_integer() || doc["version"].get<std::int64_t>() != kBAISchemeVersion)
        throw EKorvelError("The scheme is of version " + doc["version"].dump() +
                           "; this program reads version " + std::to_string(kBAISchemeVersion) + ".");
    OnlyMembers(doc, {"version", "rooms", "classes"}, "The scheme");

    TBAIAssess s;
    std::set<int> ids;
    const json& rooms = ArrayMember(doc, "rooms", "The scheme");
    for (std::size_t i = 0; i < rooms.size(); ++i) {
        const std::string where = "Room type " + std::to_string(i + 1);
        OnlyMembers(rooms[i], {"id", "name", "color"}, where);
        TBAIRoom r;
        r.Id = IntMember(rooms[i], "id", where);
        r.Name = TextMember(rooms[i], "name", where);
        const int color = IntMember(rooms[i], "color", where);
        if (r.Id <= 0 || !ids.insert(r.Id).second)
            Damaged(where, "has an id that is not positive or given twice");
        if (color < 0 || color > 0xFFFFFF)
            Damaged(where, "has a colour out of range");
        r.Color = static_cast<std::uint32_t>(color);
        s.rooms_.push_back(std::move(r));
    }
    const json& classes = ArrayMember(doc, "classes", "The scheme");
    for (std::size_t i = 0; i < classes.size(); ++i) {
        const std::string where = "Class " + std::to_string(i + 1);
        OnlyMembers(classes[i], {"name", "rooms"}, where);
        TBAIAssessClass c;
        c.Name = TextMember(classes[i], "name", where);
        const json& entries = ArrayMember(classes[i], "rooms", where);
        std::set<int> seen;
        for (std::size_t j = 0; j < entries.size(); ++j) {
            const std::string at = where + ", entry " + std::to_string(j + 1);
            OnlyMembers(entries[j], {"room", "conditions"}, at);
            TBAIClassRoom e;
            e.RoomId = IntMember(entries[j], "room", at);
            if (!ids.contains(e.RoomId) || !seen.insert(e.RoomId).second)
                Damaged(at, "is for a room type that does not exist or has an entry already");
            const json& conditions = ArrayMember(entries[j], "conditions", at);
            for (std::size_t k = 0; k < conditions.size(); ++k)
                e.Conditions.push_back(
                    ReadCondition(conditions[k], ids, at + ", condition " + std::to_string(k + 1)));
            c.Rooms.push_back(std::move(e));
        }
        s.classes_.push_back(std::move(c));
    }
    // Entries come in room order, and a room type without one has no conditions yet.
    s.AssignRoomsToClasses();
    return s;
}

void TBAIAssess::ReadFromDB(db::TTable& table) {
    Clear();
    db::TField* field = table.FindField(kBAISchemeField);
    if (!field || field->IsNull())
        return;
    const db::TBytes bytes = field->AsBytes();
    if (bytes.empty())
        return;
    try {
        *this = FromBlob(bytes);
    } catch (const EKorvelError& e) {
        std::string name = db::FieldString(table, "ElementName");
        std::string file = table.Database() ? table.Database()->FileName() : std::string();
        throw EKorvelError("The building-acoustics scheme of element \"" + name + "\" in \"" + file +
                           "\" cannot be read: " + e.what());
    }
}

void TBAIAssess::WriteToDB(db::TTable& table) const {
    table.FieldByName(kBAISchemeField).SetAsBytes(ToBlob());
}

} // namespace korvel::acoustic
