#pragma once

// A building-acoustics classification scheme: room types with their colours, classes (I, II, ... or A, B,
// ...), and for every class and room type the conditions a room of that type has to meet: what kind of
// requirement, from which kind of neighbouring space, towards which room type on the other side, which
// rated quantity over which frequency range, and the limit.
//
// The scheme is stored in one blob field of the element's record (kBAISchemeField), as CBOR with a version
// member; docs/bai-assessment.md describes the layout. A blob that cannot be read gives an empty scheme and
// a message, never a part of one.

#include "platform/base/Blob.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::db {
class TTable;
}

namespace korvel::acoustic {

inline constexpr const char* kBAISchemeField = "BAIScheme";
// The version written into every blob; a blob of another version is not read.
inline constexpr int kBAISchemeVersion = 1;

// Requirement types. A sound insulation (0) is a minimum; its list offers the airborne quantities and the
// impact level L'nT,w that schemes state beside them for the same neighbour. The others are maxima.
inline constexpr std::array<std::string_view, 4> BAIAssessRequirementTypeStr = {
    "Sound insulation", "Impact sound", "Indoor level, outdoor noise", "Service equipment"};
inline constexpr int kBAIReqInsulation = 0;
inline constexpr int kBAIReqImpact = 1;
inline constexpr int kBAIReqOutdoorLevel = 2;
inline constexpr int kBAIReqEquipment = 3;

// The "To Room" of a condition without a room type on the other side.
inline constexpr std::string_view kBAIAnyRoom = "Any";

// Kinds of the neighbouring space a requirement of type 0 or 1 protects from.
inline constexpr std::array<std::string_view, 6> BAIAssessFromUnitTypeStr = {
    "Other unit", "Same unit", "Outside", "Common area", "Commercial premises", "Garage"};
// Outside has no room type: a sound insulation from outside (a facade) names no room on the other side.
inline constexpr int kBAIFromOutside = 2;

// Rated quantities (EN ISO 717-1 and -2, EN ISO 16283, EN ISO 10052); "+ C" and "+ Ctr" are the spectrum
// adaptation terms, whose frequency range the condition's frequency names.
inline constexpr std::array<std::string_view, 15> BAIParamTypeStr = {
    "R'w",   "DnT,w",       "DnT,w + C",  "L'nT,w", "R'w + C", "DnT,w + Ctr", "D2m,nT,w",  "D2m,nT,w + Ctr",
    "L'n,w", "L'nT,w + CI", "L'n,w + CI", "LAeq",   "LAF,max", "LAeq,nT",     "LAF,max,nT"};
inline constexpr int kBAIParamLnTw = 3;

// Frequency ranges of the rating; "A-weighted" belongs to the A-weighted levels alone.
inline constexpr std::array<std::string_view, 6> BAIFreqTypeStr = {"100-3150 Hz", "50-3150 Hz", "100-5000 Hz",
                                                                   "50-5000 Hz",  "50-2500 Hz", "A-weighted"};
inline constexpr int kBAIFreqAWeighted = 5;

// Whether a quantity belongs to a requirement type, and whether a frequency range belongs to a quantity.
bool BAIParamFits(int requirementType, int param);
bool BAIFreqFits(int param, int freq);
// The quantities and frequency ranges offered, in table order.
std::vector<int> BAIParamsOf(int requirementType);
std::vector<int> BAIFreqsOf(int param);

struct TBAICondition {
    int RequirementType = kBAIReqInsulation;
    int FromUnit = 0;
    int ToRoom = 0; // the id of the room type on the other side; 0: none ("Any")
    int Param = 0;
    int Freq = 0;
    double Limit = 0;

    // Changes the type; a quantity that does not belong to it becomes the type's first, and the frequency
    // range follows the quantity.
    void SetRequirementType(int type);
    // Changes the quantity; a frequency range that does not belong to it becomes its first.
    void SetParam(int param);
    // "dB", or "dB(A)" for the A-weighted levels.
    std::string GetUnit() const;
    // How the limit is checked: 0 the rated insulation must reach at least the limit, 1 the rated level must
    // not exceed it, 2 the A-weighted level of building services in operation must not exceed it.
    int Mod() const;
    // Whether the "From" and "To Room" cells mean anything for this condition.
    bool HasFrom() const;
    bool HasToRoom() const;

    bool operator==(const TBAICondition&) const = default;
};

struct TBAIRoom {
    int Id = 0; // unique within the scheme, never 0
    std::string Name;
    std::uint32_t Color = 0xFFFFFF; // 0xRRGGBB

    bool operator==(const TBAIRoom&) const = default;
};

// The conditions of one class for one room type.
struct TBAIClassRoom {
    int RoomId = 0;
    std::vector<TBAICondition> Conditions;

    bool operator==(const TBAIClassRoom&) const = default;
};

class TBAIAssessClass {
public:
    std::string Name;
    // One entry per room type, in the scheme's room order (TBAIAssess::AssignRoomsToClasses).
    std::vector<TBAIClassRoom> Rooms;

    // The conditions of the room type with this id; nullptr when the class has no entry for it.
    std::vector<TBAICondition>* GetBAIRoomConditions(int roomId);
    const std::vector<TBAICondition>* GetBAIRoomConditions(int roomId) const;

    bool operator==(const TBAIAssessClass&) const = default;
};

class TBAIAssess {
public:
    std::vector<TBAIRoom>& Rooms() { return rooms_; }
    const std::vector<TBAIRoom>& Rooms() const { return rooms_; }
    std::vector<TBAIAssessClass>& Classes() { return classes_; }
    const std::vector<TBAIAssessClass>& Classes() const { return classes_; }
    bool Empty() const { return rooms_.empty() && classes_.empty(); }
    void Clear();

    // Inserts a room type before index at (at the end when at is the count) with a new id; call
    // AssignRoomsToClasses afterwards.
    TBAIRoom& InsertRoom(int at, std::string name, std::uint32_t color);
    // Removes the room type at index; call AssignRoomsToClasses afterwards.
    void DeleteRoom(int index);
    // Gives every class one entry per room type, in room order: entries of room types that are gone are
    // dropped, new room types get an empty entry. Conditions towards a room type that is gone point to
    // "Any".
    void AssignRoomsToClasses();
    // The class names as one text: "I, II, III".
    std::string ClassesString() const;
    // Conditions and the element's JSON name room types by name, so every room type needs a name of its own
    // that is not "Any". Empty when that holds, else what is wrong.
    std::string RoomNameProblem() const;
    int RoomIndexOfId(int id) const;
    const TBAIRoom* RoomById(int id) const;
    // The conditions of class classIndex for the room type at roomIndex; nullptr when either is out of range.
    std::vector<TBAICondition>* Conditions(int classIndex, int roomIndex);
    const std::vector<TBAICondition>* Conditions(int classIndex, int roomIndex) const;

    // The blob, and the scheme read from one. FromBlob throws EKorvelError saying what is wrong; nothing is
    // read in part.
    TBlob ToBlob() const;
    static TBAIAssess FromBlob(TByteSpan blob);

    // Reads the scheme of the table's current record; an empty or missing field gives an empty scheme. On a
    // blob that cannot be read the scheme is left empty and EKorvelError names the element, the file and
    // the fault.
    void ReadFromDB(db::TTable& table);
    // Writes the scheme into the current record, which is being edited.
    void WriteToDB(db::TTable& table) const;

    bool operator==(const TBAIAssess&) const = default;

private:
    int NextRoomId() const;

    std::vector<TBAIRoom> rooms_;
    std::vector<TBAIAssessClass> classes_;
};

} // namespace korvel::acoustic
