// The editor frame, driven through the pollutants editor (the frame's behaviour needs a real kind), and
// copying elements between tabs and editors with the name-conflict answers and the conflict dialog.

#include "editor/CustomLibForm.h"

#include "editor/ElementCopy.h"
#include "editor/NameExistsForm.h"
#include "meteo/PollutantsSchema.h"
#include "platform/db/Sqlite.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/ui/ListCtrls.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel {
namespace {

namespace fs = std::filesystem;
using test::LibFolders;
using TNames = std::vector<std::string>;
constexpr int kType = meteo::kPollutantsLibType;
using TRows = std::vector<std::pair<std::string, std::string>>;

class FrameTest : public ::testing::Test {
protected:
    TCustomLibForm& Open(const std::vector<std::string>& folders) {
        auto& editor = static_cast<TCustomLibForm&>(f.Host().Adopt(CreateLib(f.Host(), kType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    // A Project library of elements with these short names, opened.
    TCustomLibForm& OpenProject(const TNames& names) {
        std::vector<std::map<std::string, std::string>> rows;
        for (const std::string& name : names)
            rows.push_back({{"Short", name}});
        LibFolders::MakeLibrary(kType, f.Project(), rows);
        return Open({f.Project()});
    }
    static TNames Names(TCustomLibForm& editor) {
        TNames names;
        for (std::int64_t r = 0; r < editor.DBList().RowCount(); ++r)
            names.push_back(editor.DBList().CellText(r, 1));
        return names;
    }
    LibFolders f;
};

TEST_F(FrameTest, AConfiguredSystemFolderIsReadOnlyThroughoutWhateverItsName) {
    const std::string delivered = f.Root() + "delivered/";
    LibFolders::MakeLibrary(kType, delivered, {{{"Short", "NO2"}}});
    SetSystemLibPath1(delivered);
    TCustomLibForm& editor = Open({delivered});
    EXPECT_EQ(editor.TabLibs().Tabs(), TNames{"System"});
    EXPECT_TRUE(editor.TabReadOnly(0));
    EXPECT_FALSE(editor.GetMainTable(0)->CanModify());
    EXPECT_TRUE(editor.Find<TEdit>("EditShort").ReadOnly());
    // Closing never removes a delivered library.
    const auto size = fs::file_size(delivered + "Stoffe.abs");
    ASSERT_TRUE(f.Host().CloseWindow(editor));
    EXPECT_EQ(fs::file_size(delivered + "Stoffe.abs"), size);
}

TEST_F(FrameTest, AnElementWithoutNameIsNotStoredAndTheCloseIsRefused) {
    TCustomLibForm& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    editor.Navigator().BtnClick(nbInsert);
    ASSERT_EQ(t.State(), db::TDataSetState::Insert);
    f.Ui().ExpectMessage(mtError, "No element name entered, please enter a name first!", mrOk);
    EXPECT_FALSE(editor.Close());
    EXPECT_EQ(t.State(), db::TDataSetState::Insert);
    // Answering No discards the new element and closes; the library stayed empty and goes.
    editor.Find<TEdit>("EditShort").SetText("CO");
    f.Ui().ExpectMessage(mtConfirmation, "Save element \"CO\"?", mrNo);
    EXPECT_TRUE(f.Host().CloseWindow(editor));
    EXPECT_FALSE(fs::exists(f.Project() + "Stoffe.abs"));
}

TEST_F(FrameTest, StoredIndexNamesAreUsedAndUnknownOnesFallBack) {
    TIniStore ini(KorvelLibIniFileName());
    ini.WriteString("IndexNames", "LibPrj9", "EN");
    {
        TCustomLibForm& editor = OpenProject({"b", "a"});
        EXPECT_EQ(editor.GetMainTable(0)->IndexName(), "EN");
        EXPECT_EQ(Names(editor), (TNames{"a", "b"}));
        editor.DBList().TitleClick(0);
        EXPECT_EQ(Names(editor), (TNames{"b", "a"}));
        ASSERT_TRUE(f.Host().CloseWindow(editor));
    }
    EXPECT_EQ(ini.ReadString("IndexNames", "LibPrj9", ""), "p");
    ini.WriteString("IndexNames", "LibPrj9", "Gone");
    EXPECT_EQ(Open({f.Project()}).GetMainTable(0)->IndexName(), "p");
}

TEST_F(FrameTest, GotoElementNoAndNameAndJumpTo) {
    TCustomLibForm& editor = OpenProject({"NO2", "PM10", "SO2"});
    db::TTable& t = *editor.GetMainTable(0);
    ASSERT_TRUE(editor.GotoElementNo(0, 2));
    EXPECT_EQ(editor.GetElementName(0), "PM10");
    for (const auto& [tab, number] : std::vector<std::pair<int, int>>{{0, 0}, {0, -3}, {0, 99}, {5, 1}})
        EXPECT_FALSE(editor.GotoElementNo(tab, number)) << tab << " " << number;
    EXPECT_EQ(t.Fields(0).AsInteger(), 2);
    EXPECT_TRUE(editor.GotoElementName(0, "so2"));
    EXPECT_EQ(editor.GetElementNo(0), 3);
    editor.EditSearch().SetText("pm");
    EXPECT_EQ(editor.GetElementName(0), "PM10");
    EXPECT_EQ(t.IndexName(), "p"); // the jump leaves the order as it was
    editor.EditSearch().SetText("zz");
    EXPECT_EQ(editor.GetElementName(0), "SO2"); // past the last name: the last name
}

TEST_F(FrameTest, ShortcutsAndTheViewMenuReachTheirCommands) {
    TCustomLibForm& editor = OpenProject({"b", "a"});
    db::TTable& t = *editor.GetMainTable(0);
    TMainMenu& menu = *editor.MainMenu();
    ASSERT_TRUE(menu.PressShortCut("Ctrl+F"));
    EXPECT_EQ(editor.ActiveControl(), &editor.EditSearch());

    // The View menu shows and switches the order; it is offered only while browsing.
    TMenuItem& view = *menu.FindItem("MenuView");
    view.Click();
    EXPECT_TRUE(menu.FindItem("OrderByNumber")->Checked() != menu.FindItem("OrderByName")->Checked());
    menu.FindItem("OrderByName")->Click();
    EXPECT_EQ(t.IndexName(), "EN");
    EXPECT_EQ(editor.DBList().CellText(0, 1), "a");
    menu.FindItem("OrderByNumber")->Click();
    EXPECT_EQ(t.IndexName(), "p");

    t.Edit();
    t.FieldByName("Short").SetAsString("typed");
    view.Click();
    EXPECT_FALSE(menu.FindItem("OrderByName")->Enabled());
    // Esc cancels the edit.
    ASSERT_TRUE(menu.PressShortCut("Esc"));
    EXPECT_EQ(t.State(), db::TDataSetState::Browse);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "b");

    // Del in the list's menu deletes without asking, as the navigator does.
    ASSERT_TRUE(editor.FindPopupMenu("ListMenu")->PressShortCut("Del"));
    EXPECT_EQ(editor.DBList().RowCount(), 1);
}

TEST_F(FrameTest, CloseRecordsTheSelectionAndDeleteRemovesEverySelectedRowWithoutAsking) {
    TCustomLibForm& editor = OpenProject({"A", "B", "C", "D"});
    editor.GotoElementNo(0, 3);
    editor.DBList().SetRowSelected(0, true);
    editor.DBList().SetRowSelected(2, true);
    ASSERT_TRUE(editor.CloseQuery());
    EXPECT_EQ(editor.LastElementNo(), 3);
    EXPECT_EQ(editor.LastSelectedElementNos(), (std::vector<int>{1, 3}));

    editor.Navigator().BtnClick(nbDelete);
    EXPECT_EQ(Names(editor), (TNames{"B", "D"}));
    EXPECT_TRUE(editor.Deleted());
    editor.SelectAll();
    EXPECT_EQ(editor.DBList().SelectedCount(), 2);
    editor.Navigator().BtnClick(nbDelete);
    EXPECT_TRUE(Names(editor).empty());
}

TEST_F(FrameTest, BackupReproducesTheNumberingWithItsGaps) {
    TCustomLibForm& editor = OpenProject({"A", "B", "C", "D", "E"});
    for (int n : {2, 3})
        if (editor.GotoElementNo(0, n))
            editor.GetMainTable(0)->Delete();
    editor.GotoElementNo(0, 4);
    f.Ui().ExpectMessage(mtInformation, "Creates a backup in folder", mrOk);
    TMenuItem& backup = *editor.MainMenu()->FindItem("BackupCopy");
    backup.SetVisible(true);
    backup.Click();
    ASSERT_EQ(editor.TabCount(), 2);
    db::TTable& copy = *editor.GetMainTable(1);
    copy.SetIndexName("p");
    std::vector<std::pair<int, std::string>> rows;
    for (copy.First(); !copy.Eof(); copy.Next())
        rows.emplace_back(copy.Fields(0).AsInteger(), copy.FieldByName("Short").AsString());
    EXPECT_EQ(rows, (std::vector<std::pair<int, std::string>>{{1, "A"}, {4, "D"}, {5, "E"}}));
    EXPECT_EQ(editor.GetElementNo(0), 4); // the source stays where it was
    f.Ui().ExpectMessage(mtError, "Backup copy already exists", mrOk);
    editor.TabLibs().SetTabIndex(0);
    backup.Click();
}

TEST_F(FrameTest, OpenAnotherLibraryAddsATabOnlyForAFolderWithTheLibrary) {
    LibFolders::MakeLibrary(kType, f.Project2(), {{{"Short", "X"}}});
    TCustomLibForm& editor = Open({f.Project()});
    f.Ui().ExpectOpen("Select library path", {f.Root() + "global/whatever.abs"});
    f.Ui().ExpectMessage(mtError, "holds no library", mrOk);
    editor.MainMenu()->FindItem("OpenAnotherLibrary")->Click();
    EXPECT_EQ(editor.TabCount(), 1);
    f.Ui().ExpectOpen("Select library path", {f.Project2() + "Stoffe.abs"});
    editor.MainMenu()->FindItem("OpenAnotherLibrary")->Click();
    ASSERT_EQ(editor.TabCount(), 2);
    EXPECT_EQ(editor.GetCurIndex(), 1);
    EXPECT_EQ(Names(editor), TNames{"X"});
}

// --- copying

// The editor on a Global library of A, B and C and a Project library of X and b, the Global tab current.
class CopyTest : public FrameTest {
protected:
    void SetUp() override {
        LibFolders::MakeLibrary(kType, f.Global(),
                                {{{"Short", "A"}, {"StoffName", "from global"}},
                                 {{"Short", "B"}, {"StoffName", "from global"}},
                                 {{"Short", "C"}, {"StoffName", "from global"}}});
        LibFolders::MakeLibrary(kType, f.Project(),
                                {{{"Short", "X"}}, {{"Short", "b"}, {"StoffName", "mine"}}});
        editor = &Open({f.Global(), f.Project()});
        editor->TabLibs().SetTabIndex(0);
    }
    void SelectAllAndCopy() {
        editor->SelectAll();
        editor->CopyElement(*editor, 1);
    }
    TRows Project() {
        db::TTable& t = *editor->GetMainTable(1);
        TRows rows;
        const db::TBookmark here = t.GetBookmark();
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next())
            rows.emplace_back(t.FieldByName("Short").AsString(), t.FieldByName("StoffName").AsString());
        t.GotoBookmark(here);
        return rows;
    }
    TCustomLibForm* editor = nullptr;
};

TEST_F(CopyTest, SkipAllCopiesTheFreeNamesAndSkipsLaterConflictsSilently) {
    f.Ui().ExpectNameConflict("B", TneAction::SkipAll);
    SelectAllAndCopy();
    EXPECT_EQ(Project(), (TRows{{"X", ""}, {"b", "mine"}, {"A", "from global"}, {"C", "from global"}}));
    // The copies got new numbers, and the list follows the destination tab.
    EXPECT_EQ(editor->GetCurIndex(), 1);
    EXPECT_EQ(editor->GetMainTable(1)->Tag, 0);
    f.Ui().ExpectNameConflict("A", TneAction::SkipAll);
    editor->TabLibs().SetTabIndex(0);
    SelectAllAndCopy(); // "b" and "C" conflict too, but are skipped without a question
    EXPECT_EQ(Project().size(), 4u);
}

TEST_F(CopyTest, OverwriteAllReplacesTheFieldsOfExistingElements) {
    editor->TabLibs().SetTabIndex(1);
    db::TTable& t = *editor->GetMainTable(1);
    t.Append();
    t.FieldByName("Short").SetAsString("C");
    t.Post();
    editor->TabLibs().SetTabIndex(0);
    f.Ui().ExpectNameConflict("B", TneAction::OverwriteAll);
    SelectAllAndCopy();
    EXPECT_EQ(Project(),
              (TRows{{"X", ""}, {"B", "from global"}, {"C", "from global"}, {"A", "from global"}}));
}

TEST_F(CopyTest, CancelStopsTheRunAndKeepsWhatWasCopied) {
    f.Ui().ExpectNameConflict("B", TneAction::Cancel);
    SelectAllAndCopy();
    // "A" was copied before the cancelled conflict; "C" after it was not.
    EXPECT_EQ(Project(), (TRows{{"X", ""}, {"b", "mine"}, {"A", "from global"}}));
}

// Answers name conflicts as told, without checking the new names, as a person typing could.
class TTypedAnswersUi : public test::TTestUi {
public:
    std::vector<TNameConflictAnswer> Answers;
    std::vector<std::string> Asked;
    TNameConflictAnswer NameConflict(const TNameConflictQuery& query) override {
        Asked.push_back(query.Name);
        if (Answers.empty())
            return {};
        TNameConflictAnswer next = Answers.front();
        Answers.erase(Answers.begin());
        return next;
    }
};

TEST_F(CopyTest, AnElementThatFailsHalfwayLeavesNothingBehind) {
    // A value the engine refuses to store (not a finite number), put into the file behind its back.
    editor->GetMyTable(0)->Database().Connection().Exec("UPDATE " + db::QuoteIdent(TableNames(kType)[0]) +
                                                        " SET Limit_Mean = 9e999 WHERE Short = 'C'");
    editor->GetMainTable(0)->Refresh();
    editor->GotoElementNo(0, 3);
    EXPECT_ANY_THROW(editor->CopyElement(*editor, 1));
    EXPECT_EQ(Project().size(), 2u);
    EXPECT_EQ(editor->GetMainTable(1)->State(), db::TDataSetState::Browse);
}

TEST_F(CopyTest, CopyingIntoAnotherEditorSettlesItsEditFirst) {
    TCustomLibForm& other = Open({f.Project()});
    other.Find<TEdit>("EditStoffName").SetText("typed, not stored");
    editor->GotoElementNo(0, 1);
    f.Ui().ExpectMessage(mtConfirmation, "Save element", mrCancel);
    editor->CopyElement(other, 0);
    EXPECT_EQ(Project().size(), 2u);
    f.Ui().ExpectMessage(mtConfirmation, "Save element", mrNo);
    editor->CopyElement(other, 0);
    EXPECT_EQ(Project().size(), 3u);
    EXPECT_EQ(Project()[1].second, "mine");
}

TEST_F(CopyTest, ANewNameNamesTheCopyAndTheSourceReturnsToItsElement) {
    TCustomLibForm& other = Open({f.Project()});
    editor->GotoElementNo(0, 1);
    editor->DBList().SetRowSelected(1, true);
    editor->DBList().SetRowSelected(2, true);
    f.Ui().ExpectNameConflict("B", TneAction::NewName, "B2");
    editor->CopyElement(other, 0);
    EXPECT_EQ(Project(), (TRows{{"X", ""}, {"b", "mine"}, {"B2", "from global"}, {"C", "from global"}}));
    EXPECT_EQ(editor->GetElementNo(0), 1);
}

TEST_F(CopyTest, CheckNameTwicePreparesTheRecordAndAsksAgainForANewNameThatExists) {
    db::TTable& t = *editor->GetMainTable(1);
    TneAction action = TneAction::Overwrite;
    std::string name = "new";
    ASSERT_TRUE(CheckNameTwice(f.Ui(), t, "EN", name, action));
    EXPECT_EQ(t.State(), db::TDataSetState::Insert);
    t.Cancel();
    name = "X";
    action = TneAction::SkipAll;
    EXPECT_FALSE(CheckNameTwice(f.Ui(), t, "EN", name, action));
    action = TneAction::OverwriteAll;
    ASSERT_TRUE(CheckNameTwice(f.Ui(), t, "EN", name, action));
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "X");
    t.Cancel();

    TTypedAnswersUi ui;
    ui.Answers = {{TneAction::NewName, "x"}, {TneAction::NewName, "B2"}};
    action = TneAction::Overwrite;
    name = "B";
    ASSERT_TRUE(CheckNameTwice(ui, t, "EN", name, action));
    EXPECT_EQ(ui.Asked, (std::vector<std::string>{"B", "x"}));
    EXPECT_EQ(name, "B2");
    EXPECT_EQ(t.State(), db::TDataSetState::Insert);
    t.Cancel();
}

TEST(NameExistsFormTest, ChoicesAndTheNewName) {
    test::TTestUi ui;
    TNameConflictQuery query;
    query.Name = "Fan";
    query.MaxNameLength = 10;
    ui.ExpectModal("Element \"Fan\" already exists", [](TForm& form) {
        auto& choice = form.Find<TRadioGroup>("RGChoice");
        EXPECT_EQ(choice.ItemIndex(), 4); // "Enter new name" preselected
        EXPECT_EQ(form.ActiveControl(), &form.Find<TEdit>("EditName"));
        choice.SetItemIndex(1);
        form.Find<TButton>("ButtonOK").Click();
        return mrNone;
    });
    EXPECT_EQ(RunNameExistsForm(ui, query).Action, TneAction::OverwriteAll);

    ui.ExpectModal("Fan", [&ui](TForm& form) {
        form.Find<TEdit>("EditName").SetText("");
        ui.ExpectMessage(mtError, "must not be empty", mrOk);
        form.Find<TButton>("ButtonOK").Click();
        EXPECT_TRUE(form.Modal());
        form.Find<TEdit>("EditName").SetText("Fan 2");
        form.Find<TButton>("ButtonOK").Click();
        return mrNone;
    });
    TNameConflictAnswer answer = RunNameExistsForm(ui, query);
    EXPECT_EQ(answer.Action, TneAction::NewName);
    EXPECT_EQ(answer.NewName, "Fan 2");

    ui.ExpectModal("Fan", [](TForm& form) {
        form.Find<TButton>("ButtonCancel").Click();
        return mrNone;
    });
    EXPECT_EQ(RunNameExistsForm(ui, query).Action, TneAction::Cancel);
}

} // namespace
} // namespace korvel
