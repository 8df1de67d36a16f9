// Building-acoustics schemes: the rules of a condition, room types reaching every class, the blob (whole or
// nothing) and the element as JSON.

#include "platform/acoustic/BAIAssess.h"

#include "building/BAIAssessJson.h"
#include "building/FormBAIAssess.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::acoustic {
namespace {

using building::kBAIAssessLibType;
using nlohmann::json;
using namespace nlohmann::literals;

TBAICondition Cond(int type, int from, int toRoom, int param, int freq, double limit) {
    return {type, from, toRoom, param, freq, limit};
}

// Two room types, two classes, conditions that point across room types.
TBAIAssess SampleScheme() {
    TBAIAssess s;
    s.InsertRoom(0, "Bedroom", 0x336699);
    s.InsertRoom(1, "Kitchen", 0xFFE0B2);
    s.Classes() = {{"I", {}}, {"II", {}}};
    s.AssignRoomsToClasses();
    const int bedroom = s.Rooms()[0].Id, kitchen = s.Rooms()[1].Id;
    *s.Conditions(0, 0) = {Cond(0, 0, kitchen, 2, 1, 55), Cond(0, 2, 0, 7, 0, 35), Cond(3, 0, 0, 14, 5, 27)};
    *s.Conditions(1, 0) = {Cond(1, 3, bedroom, 9, 4, 53.5)};
    *s.Conditions(1, 1) = {Cond(0, 0, bedroom, 1, 0, 50)};
    return s;
}

TEST(BAICondition, ModAndTheCellsShownFollowTheRequirementType) {
    TBAICondition c;
    for (int p : BAIParamsOf(kBAIReqInsulation)) {
        c.SetParam(p);
        EXPECT_EQ(c.Mod(), p == kBAIParamLnTw ? 1 : 0) << BAIParamTypeStr[static_cast<std::size_t>(p)];
    }
    c.SetRequirementType(kBAIReqImpact);
    EXPECT_EQ(c.Mod(), 1);
    c.SetRequirementType(kBAIReqOutdoorLevel);
    EXPECT_EQ(c.Mod(), 1);
    EXPECT_EQ(c.GetUnit(), "dB(A)");
    EXPECT_EQ(c.Freq, kBAIFreqAWeighted); // the range followed the quantity
    c.SetRequirementType(kBAIReqEquipment);
    EXPECT_EQ(c.Mod(), 2);
    EXPECT_EQ(BAIParamTypeStr[static_cast<std::size_t>(c.Param)], "LAeq,nT");

    // Outside and service equipment name no room on the other side; impact from outside (a balcony) does.
    EXPECT_FALSE(c.HasFrom());
    EXPECT_FALSE(c.HasToRoom());
    c = Cond(kBAIReqInsulation, kBAIFromOutside, 0, 7, 0, 30);
    EXPECT_TRUE(c.HasFrom());
    EXPECT_FALSE(c.HasToRoom());
    c.SetRequirementType(kBAIReqImpact);
    EXPECT_TRUE(c.HasToRoom());
    EXPECT_EQ(BAIParamTypeStr[static_cast<std::size_t>(c.Param)], "L'nT,w");
    EXPECT_EQ(c.GetUnit(), "dB");
    // An enlarged range belongs to the adaptation terms only.
    EXPECT_TRUE(BAIFreqFits(2, 1));
    EXPECT_FALSE(BAIFreqFits(1, 1));
    EXPECT_TRUE(BAIFreqFits(9, 4));
    EXPECT_FALSE(BAIFreqFits(8, 4));
}

TEST(BAIAssessRooms, AddedAndDeletedRoomTypesReachEveryClass) {
    TBAIAssess s = SampleScheme();
    const int bedroom = s.Rooms()[0].Id, kitchen = s.Rooms()[1].Id;
    s.InsertRoom(1, "Living room", 0xC8E6C9);
    s.AssignRoomsToClasses();
    const int living = s.Rooms()[1].Id;
    EXPECT_NE(living, bedroom);
    EXPECT_NE(living, kitchen);
    for (const TBAIAssessClass& c : s.Classes()) {
        ASSERT_EQ(c.Rooms.size(), 3u);
        EXPECT_EQ(c.Rooms[0].RoomId, bedroom);
        EXPECT_EQ(c.Rooms[1].RoomId, living);
        EXPECT_TRUE(c.Rooms[1].Conditions.empty());
        EXPECT_EQ(c.Rooms[2].RoomId, kitchen);
    }
    EXPECT_EQ(s.Conditions(0, 0)->size(), 3u);
    EXPECT_EQ(s.Conditions(1, 2)->size(), 1u);

    // The kitchen goes from every class; a condition towards it now names no room type.
    s.DeleteRoom(2);
    s.AssignRoomsToClasses();
    for (const TBAIAssessClass& c : s.Classes()) {
        ASSERT_EQ(c.Rooms.size(), 2u);
        EXPECT_EQ(c.GetBAIRoomConditions(kitchen), nullptr);
    }
    EXPECT_EQ((*s.Conditions(0, 0))[0].ToRoom, 0);
    EXPECT_EQ((*s.Conditions(1, 0))[0].ToRoom, bedroom);
    EXPECT_EQ(s.ClassesString(), "I, II");
    // A new room type gets an id above those in use, not the one a deleted room type had.
    s.InsertRoom(2, "Hall", 0);
    EXPECT_GT(s.Rooms()[2].Id, living);
}

TEST(BAIAssessBlob, ReadsTheWholeSchemeOrNothing) {
    const TBAIAssess s = SampleScheme();
    const TBlob blob = s.ToBlob();
    EXPECT_EQ(TBAIAssess::FromBlob(blob), s);
    EXPECT_EQ(json::from_cbor(blob)["version"], kBAISchemeVersion);

    auto fails = [](const json& doc, const std::string& fragment) {
        const TBlob bytes = json::to_cbor(doc);
        try {
            TBAIAssess::FromBlob(bytes);
            ADD_FAILURE() << "read: " << doc.dump();
        } catch (const EKorvelError& e) {
            EXPECT_NE(std::string(e.what()).find(fragment), std::string::npos) << e.what();
        }
    };
    const json good = json::from_cbor(blob);
    json doc = good;
    doc["version"] = 2;
    fails(doc, "version 2");
    doc = good;
    doc["extra"] = 1;
    fails(doc, "unknown member \"extra\"");
    doc = good;
    doc["classes"][0]["rooms"][0]["conditions"][0][0] = 9;
    fails(doc, "unknown requirement type 9");
    doc = good;
    doc["classes"][1]["rooms"][0]["conditions"][0][2] = 77;
    fails(doc, "room type 77 that does not exist");
    doc = good;
    doc["rooms"][1]["id"] = doc["rooms"][0]["id"];
    fails(doc, "given twice");
    doc = good;
    doc["classes"][0]["rooms"][1]["conditions"] = json::array({json::array({0, 0, 0, 1, 0, "x"})});
    fails(doc, "limit that is no number");

    const TBlob cut(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(blob.size() / 2));
    EXPECT_THROW(TBAIAssess::FromBlob(cut), EKorvelError);
    const TBlob text = {'h', 'e', 'l', 'l', 'o'};
    EXPECT_THROW(TBAIAssess::FromBlob(text), EKorvelError);
}

TEST(BAIAssessBlob, ADamagedRecordNamesElementAndFileAndLeavesTheSchemeEmpty) {
    test::LibFolders f;
    TMyTable lib(TableNames(kBAIAssessLibType));
    lib.InitLibX(f.Project(), LibName(kBAIAssessLibType), TableNames(kBAIAssessLibType), false, true);
    SetFieldIndexDefs(lib, kBAIAssessLibType, true);
    lib.CreateDBTable();
    lib.Open();
    db::TTable& t = *lib.GetTable();
    t.Append();
    OnNewRecord(t, kBAIAssessLibType, false);
    t.FieldByName("ElementName").SetAsString("Broken");
    t.FieldByName(kBAISchemeField).SetAsBytes({0xA1, 0x67});
    t.Post();
    TBAIAssess s = SampleScheme();
    try {
        s.ReadFromDB(t);
        ADD_FAILURE() << "a damaged blob was read";
    } catch (const EKorvelError& e) {
        const std::string text = e.what();
        EXPECT_NE(text.find("\"Broken\""), std::string::npos) << text;
        EXPECT_NE(text.find("BAIAssess.abs"), std::string::npos) << text;
    }
    EXPECT_TRUE(s.Empty());
    // An element without a scheme yet reads as an empty one, without a message.
    t.Edit();
    t.FieldByName(kBAISchemeField).Clear();
    t.Post();
    s = SampleScheme();
    s.ReadFromDB(t);
    EXPECT_TRUE(s.Empty());
}

TEST(BAIAssessJson, RoundTripsWithNamesAndRefusesWhatDoesNotFit) {
    const TBAIAssess s = SampleScheme();
    const json view = building::BAIAssessToJson(s, "Scheme", "note");
    EXPECT_EQ(view["rooms"][0], R"({"name": "Bedroom", "color": "#336699"})"_json);
    const json& first = view["classes"][0]["rooms"]["Bedroom"][0];
    EXPECT_EQ(first, R"({"type": "Sound insulation", "from": "Other unit", "toRoom": "Kitchen",
                         "param": "DnT,w + C", "frequency": "50-3150 Hz", "limit": 55.0, "unit": "dB"})"_json);
    // A facade names no room; service equipment no neighbouring space.
    EXPECT_FALSE(view["classes"][0]["rooms"]["Bedroom"][1].contains("toRoom"));
    EXPECT_FALSE(view["classes"][0]["rooms"]["Bedroom"][2].contains("from"));
    EXPECT_EQ(view["classes"][0]["rooms"]["Bedroom"][2]["unit"], "dB(A)");

    TBAIAssess back;
    std::string name, comment;
    building::BAIAssessFromJson(view, back, name, comment);
    EXPECT_EQ(back, s);
    EXPECT_EQ(name, "Scheme");
    EXPECT_EQ(comment, "note");

    // Renaming keeps a room type by name: the conditions of "Bedroom" stay, "Kitchen" goes.
    building::BAIAssessFromJson(
        R"({"rooms": [{"name": "Bedroom"}, {"name": "Hall", "color": "#ABCDEF"}]})"_json, back, name,
        comment);
    EXPECT_EQ(back.Conditions(0, 0)->size(), 3u);
    EXPECT_EQ((*back.Conditions(0, 0))[0].ToRoom, 0);
    EXPECT_EQ(back.Rooms()[1].Color, 0xABCDEFu);

    const TBAIAssess before = back;
    auto refused = [&](const json& bad, const std::string& fragment) {
        try {
            building::BAIAssessFromJson(bad, back, name, comment);
            ADD_FAILURE() << "applied: " << bad.dump();
        } catch (const EKorvelError& e) {
            EXPECT_NE(std::string(e.what()).find(fragment), std::string::npos) << e.what();
        }
        EXPECT_EQ(back, before);
        EXPECT_EQ(name, "Scheme");
    };
    refused(R"({"name": "X", "roomz": []})"_json, "roomz");
    refused(R"({"name": "X", "rooms": [{"name": "A"}, {"name": "A"}]})"_json,
            "Two room types are named \"A\"");
    refused(R"({"rooms": [{"name": "Any"}]})"_json, "cannot be named");
    refused(R"({"rooms": [{"name": "A", "color": "red"}]})"_json, "#rrggbb");
    auto withCondition = [](const json& cond) {
        return json{{"name", "X"}, {"classes", {{{"name", "I"}, {"rooms", {{"Bedroom", {cond}}}}}}}};
    };
    refused(withCondition(R"({"type": "Sound insulation", "from": "Other unit", "toRoom": "Cellar",
                               "param": "R'w", "limit": 50})"_json),
            "\"Cellar\" is not a room type");
    refused(withCondition(R"({"type": "Service equipment", "from": "Other unit", "param": "LAeq,nT",
                               "limit": 30})"_json),
            "has no neighbouring space");
    refused(
        withCondition(R"({"type": "Impact sound", "from": "Other unit", "param": "R'w", "limit": 50})"_json),
        "does not belong to requirement type \"Impact sound\"");
    refused(withCondition(R"({"type": "Sound insulation", "from": "Other unit", "param": "R'w",
                               "frequency": "50-3150 Hz", "limit": 50})"_json),
            "is no range of \"R'w\"");
    refused(withCondition(R"j({"type": "Sound insulation", "from": "Other unit", "param": "R'w", "limit": 50,
                                "unit": "dB(A)"})j"_json),
            "is in dB");
    refused(withCondition(R"({"type": "Noise", "param": "R'w", "limit": 50})"_json),
            "is not a requirement type");
    refused(withCondition(R"({"type": "Sound insulation", "from": "Outside", "param": "D2m,nT,w"})"_json),
            "limit\": is missing");
}

} // namespace
} // namespace korvel::acoustic
