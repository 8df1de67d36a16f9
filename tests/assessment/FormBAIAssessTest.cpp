// The building-acoustics editor driven through its controls: room types with navigator, name and colour,
// the classes dialog, the condition grid with its navigator, storing, damaged blobs, read-only libraries,
// the element as JSON and copying between two folders.

#include "building/FormBAIAssess.h"

#include "building/BAIAssessJson.h"
#include "building/EditClassesForm.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::building {
namespace {

using namespace acoustic;
using nlohmann::json;
using namespace nlohmann::literals;
using test::LibFolders;
using TTexts = std::vector<std::string>;

// Two room types and two classes; class I names a bedroom's neighbours.
const json kFlats = R"({"rooms": [{"name": "Bedroom", "color": "#336699"}, {"name": "Kitchen"}],
  "classes": [{"name": "I", "rooms": {"Bedroom": [
      {"type": "Sound insulation", "from": "Other unit", "toRoom": "Kitchen", "param": "DnT,w + C", "limit": 55},
      {"type": "Impact sound", "from": "Other unit", "toRoom": "Any", "param": "L'nT,w", "limit": 53},
      {"type": "Service equipment", "param": "LAF,max,nT", "limit": 30}]}},
    {"name": "II", "rooms": {"Kitchen": [
      {"type": "Sound insulation", "from": "Other unit", "toRoom": "Bedroom", "param": "R'w", "limit": 52}]}}]})"_json;

TBAIAssess Scheme(const json& view) {
    TBAIAssess s;
    std::string name, comment;
    BAIAssessFromJson(view, s, name, comment);
    return s;
}

// Makes the library in folder with one element per (name, blob).
void WriteSchemes(const std::string& folder, const std::vector<std::pair<std::string, TBlob>>& elements) {
    TMyTable lib(TableNames(kBAIAssessLibType));
    lib.InitLibX(folder, LibName(kBAIAssessLibType), TableNames(kBAIAssessLibType), false, true);
    SetFieldIndexDefs(lib, kBAIAssessLibType, true);
    lib.CreateDBTable();
    lib.Open();
    db::TTable& t = *lib.GetTable();
    for (const auto& [name, blob] : elements) {
        t.Append();
        OnNewRecord(t, kBAIAssessLibType, false);
        t.FieldByName("ElementName").SetAsString(name);
        t.FieldByName(kBAISchemeField).SetAsBytes(blob);
        t.Post();
    }
    lib.Close();
}

TTexts Row(const TValueGrid& grid, int row) {
    TTexts cells;
    for (int c = 0; c < grid.ColCount(); ++c)
        cells.push_back(grid.Cells(c, row));
    return cells;
}

class FormBAIAssessTest : public ::testing::Test {
protected:
    TFormBAIAssess& Open(const std::vector<std::string>& folders) {
        auto& editor = static_cast<TFormBAIAssess&>(f.Host().Adopt(CreateLib(f.Host(), kBAIAssessLibType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    static TBAIAssess Stored(db::TTable& t) {
        TBAIAssess s;
        s.ReadFromDB(t);
        return s;
    }
    LibFolders f;
};

TEST_F(FormBAIAssessTest, RoomTypesClassesAndConditionsAreEditedAndStored) {
    WriteSchemes(f.Project(), {{"Flats", {}}});
    TFormBAIAssess& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    TValueGrid& vg = editor.VGConditions();
    EXPECT_EQ(editor.GroupConditions().Caption(), "Conditions for classes of room type \"\"");
    EXPECT_EQ(vg.RowCount(), 2); // a header and one row, which takes nothing without class and room type
    EXPECT_EQ(Row(vg, 0), (TTexts{"Type", "From", "To Room", "Param", "Frequency", "Mod", "Limit"}));
    EXPECT_FALSE(vg.CanEditCell(bcType, 1));

    // A new room type goes before the selected one.
    editor.NavRooms().BtnClick(nbInsert);
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    editor.NavRooms().BtnClick(nbInsert);
    EXPECT_EQ(editor.LBRooms().Items(), (TTexts{"Room type 2", "Room type 1"}));
    editor.EditRoomName().SetText("Bedroom");
    EXPECT_EQ(editor.LBRooms().Items(), (TTexts{"Bedroom", "Room type 1"}));
    EXPECT_EQ(editor.GroupConditions().Caption(), "Conditions for classes of room type \"Bedroom\"");
    f.Ui().ExpectColor(RGBToColor(0x33, 0x66, 0x99));
    editor.ColorRoom().Choose();
    EXPECT_EQ(editor.Scheme().Rooms()[0].Color, 0x336699u);
    EXPECT_EQ(editor.LBRooms().ItemColor(0), RGBToColor(0x33, 0x66, 0x99));

    f.Ui().ExpectModal("Edit classes", [this](TForm& form) {
        auto& dialog = dynamic_cast<TFormEditClasses&>(form);
        dialog.NavClasses().BtnClick(nbInsert);
        dialog.NavClasses().BtnClick(nbInsert);
        dialog.LBClasses().SetItemIndex(0);
        f.Ui().ExpectInput("Edit Class Descriptor", "I");
        dialog.LBClasses().DblClick();
        EXPECT_EQ(dialog.LBClasses().Items(), (TTexts{"I", "Class 2"}));
        return mrOk;
    });
    editor.ButtonClasses().Click();
    EXPECT_EQ(editor.EditClasses().Text(), "I, Class 2");
    EXPECT_EQ(editor.TabClasses().Tabs(), (TTexts{"I", "Class 2"}));

    // A value in the row after the last condition appends one.
    ASSERT_TRUE(vg.EditCell(bcType, 1, "Sound insulation"));
    EXPECT_EQ(vg.RowCount(), 3);
    EXPECT_EQ(Row(vg, 1),
              (TTexts{"Sound insulation", "Other unit", "Any", "R'w", "100-3150 Hz", "0", "0 dB"}));
    EXPECT_EQ(vg.CellStyle(bcToRoom, 1).PickList, (TTexts{"Any", "Bedroom", "Room type 1"}));
    ASSERT_TRUE(vg.EditCell(bcToRoom, 1, "Room type 1"));
    ASSERT_TRUE(vg.EditCell(bcParam, 1, "DnT,w + C"));
    ASSERT_TRUE(vg.EditCell(bcFrequency, 1, "50-3150 Hz"));
    ASSERT_TRUE(vg.EditCell(bcLimit, 1, "53,5"));
    EXPECT_EQ(vg.Cells(bcLimit, 1), "53.5 dB");
    ASSERT_TRUE(vg.SetCurrentCell(bcLimit, 1));
    ASSERT_TRUE(vg.SetEditorMode(true));
    EXPECT_EQ(vg.EditText(), "53.5"); // edited as a plain number
    vg.CancelEdit();

    ASSERT_TRUE(vg.EditCell(bcParam, 2, "L'nT,w"));
    EXPECT_EQ(vg.Cells(bcMod, 2), "1");
    ASSERT_TRUE(vg.EditCell(bcFrom, 2, "Outside"));
    EXPECT_EQ(vg.Cells(bcToRoom, 2), "");
    EXPECT_FALSE(vg.CanEditCell(bcToRoom, 2));
    ASSERT_TRUE(vg.EditCell(bcType, 2, "Service equipment"));
    EXPECT_EQ(Row(vg, 2), (TTexts{"Service equipment", "", "", "LAeq,nT", "A-weighted", "2", "0 dB(A)"}));
    EXPECT_FALSE(vg.CanEditCell(bcFrom, 2));

    // Refused texts change nothing.
    const TBAIAssess before = editor.Scheme();
    f.Ui().ExpectMessage("does not belong", mrOk);
    EXPECT_FALSE(vg.EditCell(bcParam, 2, "R'w"));
    vg.CancelEdit();
    f.Ui().ExpectMessage("is not a number", mrOk);
    EXPECT_FALSE(vg.EditCell(bcLimit, 1, "loud"));
    vg.CancelEdit();
    EXPECT_EQ(editor.Scheme(), before);

    ASSERT_TRUE(editor.TabClasses().SetTabIndex(1));
    EXPECT_EQ(vg.RowCount(), 2) << "the other class has conditions of its own";
    ASSERT_TRUE(editor.TabClasses().SetTabIndex(0));

    editor.StoreCurrent();
    EXPECT_EQ(t.State(), db::TDataSetState::Browse);
    const TBAIAssess stored = Stored(t);
    EXPECT_EQ(stored, before);
    ASSERT_EQ(stored.Conditions(0, 0)->size(), 2u);
    EXPECT_EQ((*stored.Conditions(0, 0))[0].ToRoom, stored.Rooms()[1].Id);
    EXPECT_GT(t.FieldByName("LastChangeDateTime").AsDateTime(), db::EncodeDateTime(2020, 1, 1));
    EXPECT_EQ(editor.TabClasses().TabIndex(), 0) << "a store keeps the view where it was";
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

TEST_F(FormBAIAssessTest, DeletingARoomTypeRemovesItFromEveryClassAndTheGridNavigatorMoves) {
    WriteSchemes(f.Project(), {{"Flats", Scheme(kFlats).ToBlob()}});
    TFormBAIAssess& editor = Open({f.Project()});
    TValueGrid& vg = editor.VGConditions();
    EXPECT_EQ(editor.EditClasses().Text(), "I, II");
    EXPECT_EQ(Row(vg, 1), (TTexts{"Sound insulation", "Other unit", "Kitchen", "DnT,w + C", "100-3150 Hz",
                                  "0", "55 dB"}));
    EXPECT_EQ(vg.RowCount(), 1 + 3 + 1);

    TNavigator& nav = editor.NavConditions();
    nav.BtnClick(nbLast);
    EXPECT_EQ(vg.Row(), 3);
    EXPECT_FALSE(nav.ButtonEnabled(nbNext));
    nav.BtnClick(nbFirst);
    EXPECT_EQ(vg.Row(), 1);
    nav.BtnClick(nbNext);
    nav.BtnClick(nbInsert);
    EXPECT_EQ(editor.Scheme().Conditions(0, 0)->size(), 4u);
    EXPECT_EQ(vg.Cells(bcLimit, 2), "0 dB");
    EXPECT_EQ(vg.Cells(bcParam, 3), "L'nT,w");
    f.Ui().ExpectMessage("Delete record?", mrYes);
    nav.BtnClick(nbDelete);
    EXPECT_EQ(editor.Scheme().Conditions(0, 0)->size(), 3u);
    EXPECT_EQ(vg.Cells(bcParam, 2), "L'nT,w");

    // The kitchen goes from both classes; the bedroom's condition towards it now names none.
    editor.LBRooms().SetItemIndex(1);
    EXPECT_EQ(editor.GroupConditions().Caption(), "Conditions for classes of room type \"Kitchen\"");
    f.Ui().ExpectMessage("Delete record?", mrYes);
    editor.NavRooms().BtnClick(nbDelete);
    EXPECT_EQ(editor.LBRooms().Items(), (TTexts{"Bedroom"}));
    for (const TBAIAssessClass& c : editor.Scheme().Classes())
        EXPECT_EQ(c.Rooms.size(), 1u);
    EXPECT_EQ(vg.Cells(bcToRoom, 1), "Any");
    editor.StoreCurrent();
    EXPECT_EQ(Stored(*editor.GetMainTable(0)), editor.Scheme());
}

TEST_F(FormBAIAssessTest, ADamagedSchemeIsToldShownEmptyAndKeptUntilTheSchemeChanges) {
    const TBlob damaged = {0xA1, 0x67, 0x76};
    WriteSchemes(f.Project(), {{"Broken", damaged}});
    f.Ui().ExpectMessage(mtWarning, "\"Broken\" in \"" + f.Project(), mrOk);
    TFormBAIAssess& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    EXPECT_TRUE(editor.Scheme().Empty());
    EXPECT_THROW(editor.ElementView(), EKorvelError);

    // A comment is stored, the blob stays as it was.
    ASSERT_TRUE(t.Active());
    t.Edit();
    t.FieldByName("Kommentar").SetAsString("checked");
    editor.StoreCurrent();
    EXPECT_EQ(t.FieldByName(kBAISchemeField).AsBytes(), damaged);
    EXPECT_EQ(t.FieldByName("Kommentar").AsString(), "checked");

    // A change of the scheme replaces it.
    editor.NavRooms().BtnClick(nbInsert);
    editor.StoreCurrent();
    EXPECT_EQ(Stored(t).Rooms().size(), 1u);
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

TEST_F(FormBAIAssessTest, ASystemLibraryIsBrowsedButNotChanged) {
    WriteSchemes(f.System(), {{"Shipped", Scheme(kFlats).ToBlob()}});
    WriteSchemes(f.Project(), {{"Mine", {}}});
    TFormBAIAssess& editor = Open({f.System(), f.Project()});
    ASSERT_TRUE(editor.TabLibs().SetTabIndex(0));
    EXPECT_TRUE(editor.LBRooms().Enabled());
    EXPECT_FALSE(editor.VGConditions().Editing());
    EXPECT_FALSE(editor.NavRooms().Enabled());
    EXPECT_FALSE(editor.ButtonClasses().Enabled());
    EXPECT_TRUE(editor.EditRoomName().ReadOnly());
    EXPECT_TRUE(editor.ColorRoom().ReadOnly());
    editor.LBRooms().SetItemIndex(1);
    ASSERT_TRUE(editor.TabClasses().SetTabIndex(1));
    EXPECT_EQ(editor.VGConditions().Cells(bcParam, 1), "R'w");
    editor.ColorRoom().Choose(); // no colour dialog on a read-only field
    EXPECT_EQ(editor.GetMainTable(0)->State(), db::TDataSetState::Browse);
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

TEST_F(FormBAIAssessTest, TheElementViewGoesThroughTheEditorAndItsChecks) {
    WriteSchemes(f.Project(), {});
    TFormBAIAssess& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    json view = kFlats;
    view["name"] = "Flats";
    view["comment"] = "two rooms";
    t.Append();
    editor.ApplyElementView(view);
    editor.StoreCurrent();
    EXPECT_EQ(t.RecordCount(), 1);
    json shown = editor.ElementView();
    EXPECT_EQ(shown["name"], "Flats");
    EXPECT_EQ(shown["classes"][1]["rooms"]["Kitchen"][0]["toRoom"], "Bedroom");
    EXPECT_EQ(Scheme(shown), Scheme(kFlats));

    // An unknown member or name is refused before anything is written.
    t.Edit();
    EXPECT_THROW(editor.ApplyElementView(R"({"rooms": [{"name": "A", "colour": "#000000"}]})"_json),
                 EKorvelError);
    EXPECT_THROW(editor.ApplyElementView(R"({"classes": [{"name": "I", "rooms": {"Attic": []}}]})"_json),
                 EKorvelError);
    t.Cancel();
    EXPECT_EQ(editor.ElementView(), shown);

    // Names the editor could not tell apart are refused on storing.
    t.Edit();
    editor.NavRooms().BtnClick(nbInsert);
    editor.EditRoomName().SetText("Kitchen");
    EXPECT_THROW(editor.StoreCurrent(), EKorvelError);
    t.Cancel();
    EXPECT_EQ(editor.ElementView(), shown);
}

TEST_F(FormBAIAssessTest, CopiesBetweenTwoFoldersCarryTheSchemeAndTheChangeTime) {
    const TBlob damaged = {0xFF, 0x00};
    WriteSchemes(f.Project(), {{"Flats", Scheme(kFlats).ToBlob()}, {"Old", damaged}});
    WriteSchemes(f.Project2(), {{"Flats", {}}});
    TFormBAIAssess& editor = Open({f.Project(), f.Project2()});
    ASSERT_TRUE(editor.TabLibs().SetTabIndex(0));
    db::TTable& src = *editor.GetMainTable(0);
    ASSERT_TRUE(editor.GotoElementName(0, "Flats"));
    const db::TValue changed = src.FieldByName("LastChangeDateTime").Value();

    f.Ui().ExpectNameConflict("Flats", TneAction::NewName, "Flats 2");
    editor.CopyElement(editor, 1);
    ASSERT_TRUE(editor.TabLibs().SetTabIndex(0)); // the copy left the list on the target
    f.Ui().ExpectMessage(mtWarning, "\"Old\"", mrOk);
    ASSERT_TRUE(editor.GotoElementName(0, "Old"));
    f.Ui().ExpectMessage(mtWarning, "project2/BAIAssess.abs", mrOk); // the list follows the copy
    editor.CopyElement(editor, 1);
    editor.Close();

    TMyTable lib(TableNames(kBAIAssessLibType));
    lib.InitLibX(f.Project2(), LibName(kBAIAssessLibType), TableNames(kBAIAssessLibType), true, true);
    lib.Open();
    db::TTable& dst = *lib.GetTable();
    EXPECT_EQ(dst.RecordCount(), 3);
    ASSERT_TRUE(dst.Locate("ElementName", {db::TValue(std::string("Flats 2"))}));
    EXPECT_EQ(Stored(dst), Scheme(kFlats));
    EXPECT_EQ(dst.FieldByName("LastChangeDateTime").Value(), changed);
    EXPECT_GT(dst.FieldByName("Eintrag").AsInteger(), 1) << "a copy gets the target's next number";
    ASSERT_TRUE(dst.Locate("ElementName", {db::TValue(std::string("Old"))}));
    EXPECT_EQ(dst.FieldByName(kBAISchemeField).AsBytes(), damaged)
        << "an unreadable scheme is carried as it is";
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

} // namespace
} // namespace korvel::building
