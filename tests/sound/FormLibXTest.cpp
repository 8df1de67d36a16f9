// The sound library editor driven through its controls: grid layouts and edits, weighting and spectrum type
// changes, sums, groups, filters, formula entries, optional fields, copying.

#include "sound/FormLibX.h"

#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/db/Restructure.h"
#include "service/LibService.h"
#include "sound/SoundEditors.h"
#include "sound/SoundSchema.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::sound {
namespace {

using namespace acoustic;
using nlohmann::json;
using namespace nlohmann::literals;
using test::LibFolders;
using TNames = std::vector<std::string>;

class FormLibXTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::vector<std::string>& folders) {
        return OpenSoundEditor(f, libType, folders);
    }
    static TNames Row(TValueGrid& grid, int row) {
        TNames cells;
        for (int c = 0; c < grid.ColCount(); ++c)
            cells.push_back(grid.Cells(c, row));
        return cells;
    }
    // The element names the table shows, in its order.
    static TNames Names(db::TTable& t) {
        TNames names;
        for (t.First(); !t.Eof(); t.Next())
            names.push_back(t.FieldByName("ElementName").AsString());
        return names;
    }
    // Chooses the item of that text as a click would.
    template <class TList> static void Choose(TList& list, const std::string& text) {
        const auto& items = list.Items();
        list.SetItemIndex(static_cast<int>(std::find(items.begin(), items.end(), text) - items.begin()));
    }
    LibFolders f;
};

TEST_F(FormLibXTest, EmissionGridLayoutsForSpectraAndSingleValues) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor, R"({"name": "Fan", "bandType": 1, "bmin": 21, "bmax": 33, "weighting": "A",
                           "values": {"21": 80.0, "30": 75.0, "33": -150.0}})"_json);
    TValueGrid& vg = editor.VG();
    EXPECT_EQ(vg.RowCount(), 3);
    EXPECT_EQ(Row(vg, 0), (TNames{"", "Sum", "125Hz", "250Hz", "500Hz", "1kHz", "2kHz"}));
    EXPECT_EQ(Row(vg, 1), (TNames{"dB", "81.19", "80.00", "", "", "75.00", ""}));
    // A at 125 Hz is -16.1 dB; -150 in the last band stays blank.
    EXPECT_EQ(Row(vg, 2), (TNames{"dB(A)", "75.32", "63.90", "", "", "75.00", ""}));
    EXPECT_EQ(vg.CellStyle(2, 2).FontColor, clBlue);
    // A band typed in either row is stored unweighted.
    EXPECT_TRUE(vg.EditCell(2, 2, "70"));
    EXPECT_TRUE(vg.EditCell(5, 1, "72"));
    EXPECT_EQ(Row(vg, 1), (TNames{"dB", "86.27", "86.10", "", "", "72.00", ""}));
    // Octave spectra offer only octave bands in both boxes.
    EXPECT_EQ(editor.CBBmin().Items(),
              (TNames{"1 Hz", "2 Hz", "4 Hz", "8 Hz", "16 Hz", "31.5 Hz", "63 Hz", "125 Hz", "250 Hz",
                      "500 Hz", "1k Hz", "2k Hz", "4k Hz", "8k Hz", "16k Hz"}));
    EXPECT_EQ(editor.CBBmin().Text(), "125 Hz");

    editor.CBSpecType().SetItemIndex(2); // single value
    EXPECT_EQ(vg.RowCount(), 2);
    EXPECT_EQ(Row(vg, 0), (TNames{"", "Sum"}));
    EXPECT_EQ(vg.Cells(0, 1), "dB(A)");
    EXPECT_FALSE(editor.CBBmin().Visible());
    EXPECT_FALSE(editor.CBBmax().Visible());
    EXPECT_TRUE(vg.EditCell(1, 1, "77.5"));
    editor.StoreCurrent();
    editor.RefreshElement();
    EXPECT_EQ(editor.VG().Cells(1, 1), "77.50");
    EXPECT_EQ(editor.ElementView()["sum"], 77.5);
}

TEST_F(FormLibXTest, WeightingChangeAsksOnlyForSpectraAndKeepsWhatTheAnswerSays) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor,
               R"({"name": "Pump", "bmin": 21, "bmax": 21, "weighting": "A", "values": {"21": 80.0}})"_json);
    // Yes: the stored linear spectrum stays, the weighted row follows the new weighting.
    f.Ui().ExpectMessage("Recalculate spectrum to new weighting", mrYes);
    editor.CBdBX().SetItemIndex(2); // dB(C)
    EXPECT_EQ(editor.Emission()->GetValue(21), 80.0);
    EXPECT_EQ(editor.VG().Cells(0, 2), "dB(C)");
    EXPECT_EQ(editor.VG().Cells(2, 2), "79.80");
    // No: the weighted values as shown are kept, the linear ones move.
    f.Ui().ExpectMessage("Recalculate spectrum to new weighting", mrNo);
    editor.CBdBX().SetItemIndex(4); // dB
    EXPECT_EQ(editor.VG().Cells(2, 2), "79.80");
    EXPECT_EQ(editor.VG().Cells(2, 1), "79.80");
    editor.StoreCurrent();

    // A single value is never recalculated and nothing is asked.
    AddElement(editor, {{"name", "Single"}, {"bandType", 2}, {"sum", 90.0}, {"weighting", "A"}});
    editor.CBdBX().SetItemIndex(2);
    EXPECT_EQ(editor.Emission()->dBX(), 'C');
    EXPECT_EQ(editor.Emission()->GetValueSum(), 90.0);
}

TEST_F(FormLibXTest, EditSumFormulas) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor, R"({"name": "Compressor", "bmin": 27, "bmax": 33, "weighting": "A",
                           "values": {"27": 70.0, "30": 72.0, "33": 68.0}})"_json);
    const double before = editor.Emission()->GetdBXValueSum();
    // A change, a new sum with or without "=", a lowering; anything else is refused and changes nothing.
    for (const auto& [formula, sum] : std::vector<std::pair<std::string, double>>{
             {"+3", before + 3}, {"= 85", 85}, {"80", 80}, {"-1.5", 78.5}, {"*2", 78.5}}) {
        f.Ui().ExpectInput("Enter a new sum [dB(A)]", formula);
        if (formula == "*2")
            f.Ui().ExpectMessage(mtError, "no valid sum formula", mrOk);
        editor.Editsum1Click(editor);
        EXPECT_NEAR(editor.Emission()->GetdBXValueSum(), sum, 1e-9) << formula;
    }
    editor.StoreCurrent();
    editor.RefreshElement();
    EXPECT_NEAR(editor.Emission()->GetdBXValueSum(), 78.5, 1e-5);
}

TEST_F(FormLibXTest, TransmissionIsRatedOnEveryEditAndItsTitleFollowsTheType) {
    TFormLibX& editor = Open(kTransmissionLibType, {f.Project()});
    json values;
    for (int b = 20; b <= 35; ++b)
        values[std::to_string(b)] = 40.0;
    AddElement(editor, {{"name", "Board"}, {"bmin", 20}, {"bmax", 35}, {"values", values}});
    TValueGrid& vg = editor.VG();
    const TNames titles = Row(vg, 0);
    EXPECT_EQ(TNames(titles.begin(), titles.begin() + 3), (TNames{"Rw [dB]", "C", "Ctr"}));
    const std::string rw = vg.Cells(0, 1);
    EXPECT_TRUE(vg.EditCell(3 + 10, 1, "60")); // 1 kHz lifted: the rating moves
    EXPECT_NE(vg.Cells(0, 1), rw);
    editor.CBTransType().SetItemIndex(1);
    EXPECT_EQ(vg.Cells(0, 0), "Dn,e,w [dB]");
    // An edit within 1e-7 of the stored value is no edit.
    editor.GetMainTable(0)->Cancel();
    editor.RefreshElement();
    EXPECT_TRUE(vg.EditCell(3, 1, "40.00000001"));
    EXPECT_EQ(editor.GetMainTable(0)->State(), db::TDataSetState::Browse);
    // Added from the element view, a rated spectrum carries its numbers.
    EXPECT_EQ(editor.ElementView()["Rw"], editor.Transmission()->Rw);
}

TEST_F(FormLibXTest, GroupsAreLimitedToFourAndNeverTwice) {
    TFormLibX& editor = Open(kAbsorptionLibType, {f.Project()});
    for (const char* g : {"Walls", "Floors", "Ceilings", "Porous", "Panels"})
        editor.SetGroupValue(0, g);
    AddElement(editor, {{"name", "Mineral wool"}, {"groups", {"Walls"}}});
    EXPECT_EQ(editor.LBSelectedGroups().Items(), (TNames{"Walls"}));
    f.Ui().ExpectMessage(mtError, "Group already in selection!", mrOk);
    for (const char* g : {"Walls", "Floors", "Ceilings", "Porous", "Panels"}) {
        if (std::string(g) == "Panels")
            f.Ui().ExpectMessage(mtError, "Only four groups selectable", mrOk);
        Choose(editor.LBAvailableGroups(), g);
        editor.AddGroupClick(editor);
    }
    editor.LBSelectedGroups().SetSelected(1, true);
    editor.RemoveGroupClick(editor);
    editor.StoreCurrent();
    editor.RefreshElement();
    EXPECT_EQ(editor.ElementView()["groups"], json({"Walls", "Ceilings", "Porous"}));
    EXPECT_EQ(editor.GetGroupNo(0, "nonexistent"), 0);
}

TEST_F(FormLibXTest, GroupsAreMadeAndDeletedWithTheirNavigatorAfterAQuestionAndElementsNeedAName) {
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    t.Append();
    f.Ui().ExpectMessage(mtError, "Please enter an element name!", mrOk);
    EXPECT_THROW(editor.StoreCurrent(), EAbort);
    t.Cancel();
    EXPECT_TRUE(t.IsEmpty());

    // A No refuses the action silently, as the program's event loop does.
    auto click = [&](TNavigateBtn button) {
        try {
            editor.NavGroups().BtnClick(button);
        } catch (const EAbort&) {
        }
    };
    f.Ui().ExpectMessage("Insert new group?", mrNo);
    click(nbInsert);
    EXPECT_TRUE(editor.LBAvailableGroups().Items().empty());
    f.Ui().ExpectMessage("Insert new group?", mrYes);
    click(nbInsert);
    editor.EditGroupName().SetText("Silencers");
    click(nbPost);
    EXPECT_EQ(editor.LBAvailableGroups().Items(), (TNames{"Silencers"}));
    EXPECT_EQ(editor.CBFilterGroup1().Items(), (TNames{"", "Silencers"}));

    editor.LBAvailableGroups().SetItemIndex(0);
    f.Ui().ExpectMessage("Delete group \"Silencers\"?", mrNo);
    click(nbDelete);
    EXPECT_EQ(editor.LBAvailableGroups().Items().size(), 1u);
    f.Ui().ExpectMessage("Delete group \"Silencers\"?", mrYes);
    click(nbDelete);
    EXPECT_TRUE(editor.LBAvailableGroups().Items().empty());
}

TEST_F(FormLibXTest, FilterByGroupsAndTextIsKeptInTheFilterFile) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor, {{"name", "Fan A"}, {"groups", {"Fans"}}, {"comment", "roof"}});
    AddElement(editor, {{"name", "Pump B"}, {"groups", {"Pumps"}}});
    AddElement(editor, {{"name", "Fan C"}, {"groups", {"Fans", "Pumps"}}});
    db::TTable& t = *editor.GetMainTable(0);
    Choose(editor.CBFilterGroup1(), "Fans");
    EXPECT_TRUE(editor.Filter().Enabled());
    EXPECT_EQ(Names(t), (TNames{"Fan A", "Fan C"}));
    EXPECT_NE(editor.DBList().Columns()[1].Title.find("filtered"), std::string::npos);
    EXPECT_TRUE(editor.CBFilterGroup2().Visible());
    Choose(editor.CBFilterOperator(), "AND");
    Choose(editor.CBFilterGroup2(), "Pumps");
    EXPECT_EQ(Names(t), (TNames{"Fan C"}));
    // The text must occur in the comment followed by the name.
    Choose(editor.CBFilterGroup1(), "");
    editor.EditFilterText().SetText("ofFan");
    EXPECT_EQ(Names(t), (TNames{"Fan A"}));

    // Closing keeps the filter beside the project library, and the next opening applies it.
    const TFilterRec kept = editor.Filter();
    editor.Close();
    TFormLibX& again = Open(kEmissionLibType, {f.Project()});
    EXPECT_EQ(again.Filter(), kept);
    EXPECT_EQ(Names(*again.GetMainTable(0)), (TNames{"Fan A"}));
    again.CBFilterEnabled().SetChecked(false);
    EXPECT_EQ(Names(*again.GetMainTable(0)).size(), 3u);
}

TEST_F(FormLibXTest, FormulaEntryAddsItsOutputOnceAndCalculates) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor, {{"name", "Fan by power"}, {"bandType", 2}, {"sum", 60.0}});
    EXPECT_TRUE(editor.PageFormula().Tag() == 1);
    EXPECT_FALSE(editor.PageFormula().TabVisible());
    editor.CBEntryType().SetItemIndex(1);
    EXPECT_TRUE(editor.PageFormula().TabVisible());
    editor.CBEntryType().SetItemIndex(0);
    editor.CBEntryType().SetItemIndex(1);
    const auto& outputs = editor.Emission()->VarsOut.Items;
    EXPECT_EQ(std::count_if(outputs.begin(), outputs.end(), [](const auto& v) { return v.Name == "Lw"; }), 1);
    // The empty row after the last input takes exactly one new variable.
    const int inputs = editor.Emission()->VarsIn.Count();
    EXPECT_TRUE(editor.VGVariableIn().EditCell(0, inputs + 1, "P"));
    EXPECT_TRUE(editor.VGVariableIn().EditCell(3, inputs + 1, "4"));
    EXPECT_EQ(editor.Emission()->VarsIn.Count(), inputs + 1);
    editor.MemoFormula().SetText("Lw = 70 + 10*lg(P)");
    editor.CalculateClick(editor);
    ASSERT_NE(editor.FormulaResult(), nullptr);
    EXPECT_NEAR(editor.FormulaResult()->GetdBXValueSum(), 70 + 10 * std::log10(4.0), 1e-9);
    EXPECT_EQ(editor.VG().Cells(1, 1), "76.02");
    // An error goes to the label and leaves no result.
    editor.MemoFormula().SetText("Lw = 70 + ");
    editor.CalculateClick(editor);
    EXPECT_EQ(editor.FormulaResult(), nullptr);
    EXPECT_FALSE(editor.LabelFormulaMessage().Caption().empty());
}

TEST_F(FormLibXTest, ControlsOfMissingOptionalFieldsAreHiddenAndSystemTabsStayReadOnly) {
    {
        // A transmission library from before colours, documents, pictures and properties. It is a System
        // library, which opening never brings up to date.
        TMyTable lib(TableNames(kTransmissionLibType));
        lib.InitLibX(f.System(), LibName(kTransmissionLibType), TableNames(kTransmissionLibType), false,
                     true);
        SetFieldIndexDefs(lib, kTransmissionLibType, true);
        std::erase_if(lib.GetTable()->Defs().Fields, [](const db::TFieldDef& d) {
            return d.Name == "Color" || d.Name == "OLE1" || d.Name == "OLE2" || d.Name == "Graphic" ||
                   d.Name == "AddProp" || d.Name == "BauteilTyp";
        });
        lib.CreateDBTable();
        lib.Open();
        db::TTable& t = *lib.GetTable();
        t.Append();
        t.FieldByName("ElementName").SetAsString("Concrete");
        t.Post();
    }
    // Colour button, property and document pages, element type box, picture panel, picture commands.
    const auto shown = [](TFormLibX& e) {
        return std::vector<bool>{e.Find<TButton>("BtnElementColor").Visible(),
                                 e.PageCharacteristics().TabVisible(),
                                 e.PageOle(0).TabVisible(),
                                 e.PageOle(1).TabVisible(),
                                 e.CBBAFCompType().Visible(),
                                 e.Find<TPanel>("DBImagePanel").Visible(),
                                 e.Graph().PopupMenu() != nullptr};
    };
    TFormLibX& editor = Open(kTransmissionLibType, {f.System()});
    EXPECT_EQ(shown(editor), std::vector<bool>(7, false));
    EXPECT_FALSE(editor.VG().Editing());
    EXPECT_FALSE(editor.BtnAddGroup().Enabled());
    EXPECT_FALSE(editor.VG().EditCell(2, 1, "0.5"));
    EXPECT_EQ(editor.GetMainTable(0)->State(), db::TDataSetState::Browse);

    TFormLibX& full = Open(kTransmissionLibType, {f.Project2()});
    EXPECT_EQ(shown(full), (std::vector<bool>{true, true, true, true, true, false, true}));
    EXPECT_EQ(full.Graph().PopupMenu()->Items().Item(0).Caption(), "Load picture..");
}

TEST_F(FormLibXTest, OutsideElementTypeBringsItsProperties) {
    TFormLibX& editor = Open(kTransmissionLibType, {f.Project()});
    AddElement(editor, {{"name", "Wall"}, {"bandType", 2}, {"Rw", 50}});
    editor.CBBAFCompType().SetItemIndex(1); // solid wall
    const auto& props = editor.Transmission()->AddProps;
    for (const char* name : {"MassPerArea", "dRiw,w", "dRjw,w"})
        EXPECT_GE(props.IndexOf(name), 0) << name;
    EXPECT_EQ(editor.VGProps().Cells(0, 1), "MassPerArea");
    f.Ui().ExpectMessage(mtError, "not a valid value of \"MassPerArea\"", mrOk); // no letters in a number
    EXPECT_FALSE(editor.VGProps().EditCell(1, 1, "12a"));
    editor.CBBAFCompType().SetItemIndex(4); // window
    EXPECT_LT(props.IndexOf("MassPerArea"), 0);
    EXPECT_EQ(editor.VGProps().RowCount(), 3); // title and at least two rows
}

TEST_F(FormLibXTest, DirectivityIsPickedFromTheFolderLibrary) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(),
                            {{{"ElementName", "Omni"}}, {{"ElementName", "Horn"}}});
    TLibService service(f.Host());
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    AddElement(editor, {{"name", "Speaker"}});
    EXPECT_EQ(editor.CBDirectivity().Items(), (TNames{"Not defined", "1 Omni", "2 Horn"}));
    f.Ui().ExpectModal("Directivity", [](TForm& form) {
        auto& picker = static_cast<TCustomLibForm&>(form);
        EXPECT_TRUE(picker.AcceptBarVisible());
        picker.GotoElementNo(picker.GetCurIndex(), 2);
        picker.Find<TButton>("BtnAccept").Click();
        return mrNone;
    });
    editor.DirectivityEditClick(editor);
    EXPECT_EQ(editor.CBDirectivity().Text(), "2 Horn");
    editor.StoreCurrent();
    EXPECT_EQ(editor.ElementView()["directivity"], 2);
    // Choosing in the box stores the number too.
    editor.CBDirectivity().SetItemIndex(0);
    editor.StoreCurrent();
    EXPECT_EQ(editor.ElementView()["directivity"], 0);
}

TEST_F(FormLibXTest, CopyingMapsGroupsDirectivityAndLinkedFiles) {
    // A directivity in the Global folder that the Project library does not have yet.
    LibFolders::MakeLibrary(kDirectivityLibType, f.Global(),
                            {{{"ElementName", "Other"}}, {{"ElementName", "Horn"}}});
    test::WriteAll(f.Global() + "sheet.pdf", "pdf");
    LibFolders::MakeLibrary(kEmissionLibType, f.Global(), {});
    TFormLibX& editor = Open(kEmissionLibType, {f.Global(), f.Project()});
    editor.SetCurIndex(0);
    ASSERT_EQ(editor.CBDirectivity().Items().size(), 3u);
    EXPECT_EQ(editor.CBDirectivity().Items()[0], "Not defined");
    AddElement(editor,
               {{"name", "Speaker"}, {"groups", {"PA"}}, {"directivity", 2}, {"documents", {"sheet.pdf"}}});
    TneAction action = TneAction::Overwrite;
    editor.CopySingleElement(0, 1, editor, false, action);
    editor.SetCurIndex(1);
    editor.GetMainTable(1)->First();
    const json view = editor.ElementView();
    EXPECT_EQ(view["name"], "Speaker");
    EXPECT_EQ(view["groups"], json({"PA"}));
    EXPECT_EQ(view["directivity"], 1); // Horn became the first directivity of the project folder
    EXPECT_TRUE(std::filesystem::exists(f.Project() + "sheet.pdf"));
    EXPECT_TRUE(std::filesystem::exists(f.Project() + LibName(kDirectivityLibType)));
    EXPECT_EQ(editor.CBDirectivity().Text(), "1 Horn");
}

} // namespace
} // namespace korvel::sound
