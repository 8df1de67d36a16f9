// The assessment editor driven as a person would: the Define page per assessment type, the hours text and
// its checks, the range commands, the three grids, read-only libraries, and how an element is stored.

#include "assessment/BewertungForm.h"

#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>

namespace korvel::assessment {
namespace {

using acoustic::TZeitBereich;
using test::LibFolders;

// Shown on its page: every container up to the form is visible.
bool Shown(const TControl& control) {
    for (const TControl* c = &control; c && !dynamic_cast<const TForm*>(c); c = c->Parent())
        if (!c->Visible())
            return false;
    return true;
}

class BewertungFormTest : public ::testing::Test {
protected:
    TBewertungForm& Open(const std::vector<std::string>& folders) {
        auto& form = f.Host().Adopt(CreateLib(f.Host(), kAssessmentLibType));
        auto& editor = static_cast<TBewertungForm&>(form);
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    static db::TTable& Main(TBewertungForm& e) { return *e.GetMainTable(e.GetCurIndex()); }
    static void Add(TBewertungForm& e, const std::string& name) {
        Main(e).Append();
        e.EditName().SetText(name);
        e.StoreCurrent();
    }
    // One number from the current library's file, past every cursor.
    static std::int64_t Query(TBewertungForm& e, const std::string& sql) {
        db::TStatement st(e.GetMyTable(e.GetCurIndex())->Database().Connection().Handle(), sql);
        return st.Step() ? st.ColumnInt(0) : -1;
    }
    static void Exec(TBewertungForm& e, const std::string& sql) {
        e.GetMyTable(e.GetCurIndex())->Database().Connection().Exec(sql);
    }
    LibFolders f;
};

TEST_F(BewertungFormTest, TheDefinePageShowsWhatTheAssessmentTypeUses) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Types");
    // Limit rows, Definition, Ta and N loudest, additions shown, additions enabled, threshold, transmission
    // loss, NAT, method: one row per type.
    const char* expected[acoustic::kAssessmentTypeCount] = {
        "LDTPE----", "LD-P-----", "L--------", "LD-P-----", "LD-P-----", "L--------", "L--------",
        "LD-P-HR--", "LD-P--R--", "LD-----N-", "L--------", "L--------", "L--------", "--------M",
        "---------", "--------M", "---------", "---------", "---------", "---------", "--------M",
        "L--------", "L--------", "---------", "L--------"};
    for (int t = 0; t < acoustic::kAssessmentTypeCount; ++t) {
        e.DataSet().Ranges[0]->SetAssessType(t);
        e.SelectRange(0);
        const std::string shown = {Shown(e.EditLimitShort()) && Shown(e.EditLimitName()) ? 'L' : '-',
                                   Shown(e.EditHours()) ? 'D' : '-',
                                   Shown(e.EditTa()) && Shown(e.EditLoudestN()) ? 'T' : '-',
                                   Shown(e.CBPenalties()) ? 'P' : '-',
                                   e.CBPenalties().Enabled() ? 'E' : '-',
                                   Shown(e.EditThreshold()) ? 'H' : '-',
                                   Shown(e.EditTR()) ? 'R' : '-',
                                   Shown(e.EditNAT()) ? 'N' : '-',
                                   Shown(e.RGMethod()) ? 'M' : '-'};
        EXPECT_EQ(shown, expected[t]) << "type " << t;
    }

    // The combo offers the types without the older ones; an item carries its type number.
    const std::vector<std::string>& items = e.CBAssessType().Items();
    EXPECT_EQ(items.size(), 19u);
    for (int older : {5, 6, 10, 11, 22, 24})
        EXPECT_EQ(e.CBAssessType().IndexOf(acoustic::AtArray[static_cast<std::size_t>(older)]), -1) << older;
    e.CBAssessType().SetItemIndex(e.CBAssessType().IndexOf(acoustic::AtArray[0]));
    e.CBPenalties().Toggle();
    EXPECT_TRUE(e.CurrentRange()->withPenalties);
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Edit);
    e.CBAssessType().SetItemIndex(e.CBAssessType().IndexOf(acoustic::AtArray[9]));
    EXPECT_EQ(e.CurrentRange()->AssessType, 9);
    EXPECT_FALSE(e.CurrentRange()->withPenalties);
    // Threshold and NAT are one value in two forms.
    e.EditNAT().SetText("0,25");
    e.EditNAT().DoExit();
    EXPECT_FLOAT_EQ(e.CurrentRange()->Threshold, 0.25f);
    EXPECT_EQ(e.EditNAT().Text(), "0.250");
    e.CBAssessType().SetItemIndex(e.CBAssessType().IndexOf(acoustic::AtArray[13]));
    ASSERT_EQ(e.RGMethod().Items().size(), 2u);
    EXPECT_EQ(e.RGMethod().Items()[1],
              "T30, from regression between -5..-35 dB (only relevant if using Schroeder method)");
    e.RGMethod().SetItemIndex(1);
    EXPECT_EQ(e.CurrentRange()->GetRevTimeType(), acoustic::TRevTimeType::T30);
}

TEST_F(BewertungFormTest, TheHoursTextIsCheckedOnLeavingOnPageChangeAndOnClose) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Night");
    e.EditHours().SetText("22 - 6");
    EXPECT_FALSE(e.HoursInvalid());
    EXPECT_TRUE(e.EditHours().DoExit());
    EXPECT_EQ(e.EditHours().Text(), "22-6");
    EXPECT_EQ(e.CurrentRange()->HourCount(), 8);

    for (const char* bad : {"25-3", "8", "x-y"}) {
        e.EditHours().SetText(bad);
        EXPECT_TRUE(e.HoursInvalid()) << bad;
        EXPECT_EQ(e.CurrentRange()->HourCount(), 8) << bad; // keeps its hours
    }
    f.Ui().ExpectMessage(mtWarning, "Invalid input!", mrOk);
    EXPECT_FALSE(e.EditHours().DoExit());
    EXPECT_EQ(e.ActiveControl(), &e.EditHours());
    f.Ui().ExpectMessage(mtWarning, "Invalid input!", mrOk);
    EXPECT_FALSE(e.Pages().SetActivePage(e.PageLimits()));
    EXPECT_EQ(e.Pages().ActivePage(), &e.PageDefine());
    f.Ui().ExpectMessage(mtWarning, "Invalid input!", mrOk);
    EXPECT_FALSE(e.CloseQuery());
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());

    e.EditHours().SetText("8-8");
    EXPECT_EQ(e.CurrentRange()->HourCount(), 0);
    EXPECT_TRUE(e.Pages().SetActivePage(e.PageLimits()));
}

TEST_F(BewertungFormTest, RangesAreAddedDeletedAndDraggedAndKeepTheirOrderWhenStored) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Day and night");
    // The last range stays: the button is off and the command does nothing.
    EXPECT_FALSE(e.ButtonDelete().Enabled());
    e.DeleteRangeClick(e.ButtonDelete());
    EXPECT_EQ(e.DataSet().Ranges.size(), 1u);

    e.EditRangeShort().SetText("A");
    e.ButtonAdd().Click();
    EXPECT_EQ(e.CurrentRangeIndex(), 1);
    EXPECT_EQ(e.ActiveControl(), &e.EditRangeName());
    e.EditRangeShort().SetText("C");
    e.SelectRange(0);
    e.ButtonAdd().Click(); // after the current one
    e.EditRangeShort().SetText("B");
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_TRUE(e.ButtonDelete().Enabled());

    e.TabRanges().SetTabIndex(0); // picked up
    e.TabRanges().DropTab(0, 2);  // onto C: in front of it
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"B", "A", "C"}));
    EXPECT_EQ(e.CurrentRange()->Short, "A");
    e.TabRanges().DropTab(2, 0);
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"C", "B", "A"}));
    e.TabRanges().DropTab(0, 3); // right of the last tab
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"B", "A", "C"}));
    e.StoreCurrent();
    e.RefreshElement();
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"B", "A", "C"}));

    e.SelectRange(1);
    e.ButtonDelete().Click();
    EXPECT_EQ(e.TabRanges().Tabs(), (std::vector<std::string>{"B", "C"}));
    EXPECT_EQ(e.CurrentRangeIndex(), 0);
}

TEST_F(BewertungFormTest, TheGridsShowLimitsAdditionsAndTheLibrarysUsageAreas) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Second");
    Add(e, "First");
    e.CurrentRange()->Short = "Lr,d";
    e.CurrentRange()->ShortLimit = "IRW,d";
    e.CurrentRange()->Limits[1] = 50;
    e.CurrentRange()->Limits[2] = -3; // a negative limit has no text
    e.ButtonAdd().Click();
    e.EditRangeShort().SetText("Lr,n");
    e.CBAssessType().SetItemIndex(e.CBAssessType().IndexOf(acoustic::AtArray[0]));
    e.ButtonAdd().Click();
    e.CBAssessType().SetItemIndex(e.CBAssessType().IndexOf(acoustic::AtArray[16])); // no limits
    TValueGrid& limits = e.VGLimits();
    ASSERT_EQ(limits.ColCount(), 4);
    EXPECT_EQ(limits.FixedCols(), 2);
    EXPECT_EQ(limits.Cells(0, 0), "Usage");
    EXPECT_EQ(limits.Cells(1, 0), "Description");
    EXPECT_EQ(limits.Cells(2, 0), "IRW,d");
    EXPECT_EQ(limits.Cells(3, 0), "Lr,n");
    EXPECT_EQ(limits.Cells(0, 1), "WR");
    EXPECT_EQ(limits.Cells(2, 1), "50.0");
    EXPECT_EQ(limits.Cells(2, 2), "");
    EXPECT_EQ(limits.Cells(3, 1), "");
    ASSERT_TRUE(limits.EditCell(3, 25, "45,5"));
    EXPECT_FLOAT_EQ(e.DataSet().Ranges[1]->Limits[25], 45.5f);

    TValueGrid& additions = e.VGAdditions();
    EXPECT_EQ(additions.ColCount(), 25);
    EXPECT_EQ(additions.Cells(1, 0), "0-1");
    EXPECT_EQ(additions.Cells(24, 0), "23-24");
    ASSERT_TRUE(additions.EditCell(7, 1, "-2"));
    ASSERT_TRUE(additions.EditCell(8, 1, "6"));
    EXPECT_EQ(additions.Cells(7, 1), "-2.0");
    EXPECT_EQ(additions.Cells(8, 1), "6.0");
    EXPECT_EQ(additions.Cells(9, 1), "");
    e.StoreCurrent();
    e.RefreshElement();
    EXPECT_FLOAT_EQ(e.DataSet().Additions[0][6], -2.0f);
    EXPECT_FLOAT_EQ(e.DataSet().Ranges[1]->Limits[25], 45.5f);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete WHERE BwNummer = " +
                           std::to_string(e.DataSet().ElementNumber)),
              25);

    // An edit that keeps the value is no change of the element.
    ASSERT_TRUE(limits.EditCell(2, 1, "50"));
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Browse);

    // The usage areas belong to the library: written at once, shown with every element.
    ASSERT_TRUE(e.VGUsages().EditCell(1, 3, "XY"));
    EXPECT_EQ(e.VGUsages().Cells(0, 3), "3");
    EXPECT_EQ(ReadUsagesFromLib(f.Project())[2].Short, "XY");
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Browse);
    ASSERT_TRUE(e.GotoElementName(0, "Second"));
    EXPECT_EQ(e.DataSet().ElementName, "Second");
    EXPECT_EQ(e.VGLimits().Cells(0, 3), "XY");
    EXPECT_EQ(e.VGAdditions().Cells(0, 3), "XY");
}

TEST_F(BewertungFormTest, ASystemLibraryOnlyShowsAndNewLibrariesTakeTheUsageAreasAbove) {
    TUsages global = DefaultUsages();
    global[0] = {"R1", "Residential"};
    WriteUsagesToLib(f.Global(), global);
    LibFolders::MakeLibrary(kAssessmentLibType, f.System(), {{{"ElementName", "Shipped"}}});
    TBewertungForm& e = Open({f.System(), f.Project()});
    EXPECT_EQ(ReadUsagesFromLib(f.Project())[0].Short, "R1");
    EXPECT_EQ(e.Usages(1)[0].Short, "R1");

    e.TabLibs().SetTabIndex(0);
    EXPECT_EQ(e.DataSet().ElementName, "Shipped");
    EXPECT_EQ(e.DataSet().Ranges.size(), 1u); // a range is made up for an element without
    for (TValueGrid* grid : {&e.VGLimits(), &e.VGAdditions(), &e.VGUsages()})
        EXPECT_FALSE(grid->Editing()) << grid->Name();
    EXPECT_FALSE(e.ButtonAdd().Enabled());
    EXPECT_FALSE(e.TabRanges().TabsMovable());
    EXPECT_TRUE(e.EditRangeName().ReadOnly());
    e.EditRangeName().SetText("changed");
    EXPECT_EQ(e.EditRangeName().Text(), e.CurrentRange()->Name);
    e.AddRangeClick(e.ButtonAdd());
    EXPECT_EQ(e.DataSet().Ranges.size(), 1u);
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Browse);
    e.SetUsages(0, global);
    EXPECT_FALSE(std::filesystem::exists(f.System() + kUsagesFileName));
}

TEST_F(BewertungFormTest, NamesAreCheckedBeforeAStoreAndTheSaveQuestionNamesTheAssessment) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Alpha");
    Add(e, "Beta");
    e.EditName().SetText("ALPHA");
    f.Ui().ExpectMessage(mtWarning, "\"ALPHA\" exists already!", mrOk);
    EXPECT_THROW(e.StoreCurrent(), EAbort);
    EXPECT_EQ(e.ActiveControl(), &e.DBList());
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Edit);
    EXPECT_EQ(Main(e).Tag, 0);

    e.EditName().SetText("Gamma");
    f.Ui().ExpectMessage(mtConfirmation, "Save assessment \"Gamma\"?", mrYes);
    EXPECT_TRUE(e.FinishEditing());
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Assess WHERE ElementName = 'Gamma'"), 1);
    // "No" drops the change from the pages as well.
    e.EditRangeName().SetText("Dropped");
    f.Ui().ExpectMessage(mtConfirmation, "Save assessment \"Gamma\"?", mrNo);
    EXPECT_TRUE(e.FinishEditing());
    EXPECT_NE(e.CurrentRange()->Name, "Dropped");

    // A nameless element is refused without a word.
    Main(e).Append();
    EXPECT_THROW(e.StoreCurrent(), EAbort);
    Main(e).Cancel();
    EXPECT_EQ(Main(e).RecordCount(), 2);
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

TEST_F(BewertungFormTest, TheEditorsOwnWorkDoesNotRereadTheElement) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "One");
    Add(e, "Two");
    Main(e).First();
    const std::string first = e.DataSet().ElementName;
    for (int tag : {kTagBulkWork, kTagStoreClose}) {
        Main(e).Tag = tag;
        Main(e).Last();
        EXPECT_EQ(e.DataSet().ElementName, first) << tag;
        Main(e).First();
    }
    Main(e).Tag = 0;
    Main(e).Last();
    EXPECT_NE(e.DataSet().ElementName, first);
}

TEST_F(BewertungFormTest, AnElementIsStoredAndDeletedWholeOrNotAtAll) {
    TBewertungForm& e = Open({f.Project()});
    Add(e, "Kept");
    const std::string number = std::to_string(e.DataSet().ElementNumber);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM ZBDef WHERE BwNummer = " + number), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete WHERE BwNummer = " + number), 25);

    // The range rows cannot be written: neither the element row nor its other rows change.
    Exec(e, "CREATE TRIGGER refuse BEFORE INSERT ON ZBDef BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    e.EditName().SetText("Renamed");
    e.EditRangeName().SetText("Evening");
    ASSERT_TRUE(e.VGAdditions().EditCell(1, 1, "3"));
    EXPECT_THROW(e.StoreCurrent(), std::exception);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Assess WHERE ElementName = 'Kept'"), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM ZBDef WHERE BwNummer = " + number), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete WHERE BwNummer = " + number + " AND Z1 <> 0"), 0);
    EXPECT_FALSE(e.GetMyTable(0)->Database().InTransaction());
    // Nothing typed is lost: the record is being edited again with the element as it was.
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Edit);
    EXPECT_EQ(db::FieldString(Main(e), "ElementName"), "Renamed");
    EXPECT_EQ(e.CurrentRange()->Name, "Evening");

    // A new element is not half stored either.
    Main(e).Cancel();
    Main(e).Append();
    e.EditName().SetText("New");
    EXPECT_THROW(e.StoreCurrent(), std::exception);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Assess"), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete"), 25);
    EXPECT_EQ(Main(e).State(), db::TDataSetState::Insert);

    // The element row itself refused: taken back before anything else was written.
    Exec(e, "DROP TRIGGER refuse");
    Exec(e, "CREATE TRIGGER refuse BEFORE INSERT ON Assess BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    EXPECT_THROW(e.StoreCurrent(), std::exception);
    EXPECT_FALSE(e.GetMyTable(0)->Database().InTransaction());
    Exec(e, "DROP TRIGGER refuse");
    e.StoreCurrent();
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete"), 50);

    // Deleting takes the element's rows with it.
    Main(e).Delete();
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Assess"), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM ZBDef"), 1);
    EXPECT_EQ(Query(e, "SELECT COUNT(*) FROM Gebiete"), 25);
}

} // namespace
} // namespace korvel::assessment
