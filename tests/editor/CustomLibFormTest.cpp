// The editor frame, driven through the pollutants editor (the frame's behaviour needs a real kind).

#include "editor/CustomLibForm.h"

#include "meteo/PollutantsSchema.h"
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
constexpr int kType = meteo::kPollutantsLibType;

class FrameTest : public ::testing::Test {
protected:
    TCustomLibForm& Open(const std::vector<std::string>& folders, bool createMissing = true) {
        auto& editor = static_cast<TCustomLibForm&>(f.Host().Adopt(CreateLib(f.Host(), kType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, createMissing);
        return editor;
    }
    static std::vector<std::string> Names(TCustomLibForm& editor) {
        std::vector<std::string> names;
        for (std::int64_t r = 0; r < editor.DBList().RowCount(); ++r)
            names.push_back(editor.DBList().CellText(r, 1));
        return names;
    }
    static void Add(TCustomLibForm& editor, const std::string& name) {
        db::TTable& t = *editor.GetMainTable(editor.GetCurIndex());
        t.Append();
        t.FieldByName("Short").SetAsString(name);
        t.Post();
    }
    LibFolders f;
};

TEST_F(FrameTest, TabsOfTwoProjectsGetTheirOwnCopyButtons) {
    LibFolders::MakeLibrary(kType, f.System(), {{{"Short", "NO2"}}});
    TCustomLibForm& editor = Open({f.System(), f.Global(), f.Project(), f.Project2()});
    // No Global library exists and none is made on opening.
    EXPECT_FALSE(fs::exists(f.Global() + "Stoffe.abs"));
    ASSERT_EQ(editor.TabCount(), 3);
    EXPECT_EQ(editor.TabLibs().Tabs(), (std::vector<std::string>{"System", "Project", "Project2"}));
    EXPECT_EQ(editor.GetCurIndex(), 2);
    std::vector<TButton*> buttons = editor.CopyButtons();
    ASSERT_EQ(buttons.size(), 3u);
    EXPECT_EQ(buttons[0]->Caption(), " > Global");
    EXPECT_EQ(buttons[0]->Tag(), -1);
    EXPECT_EQ(buttons[1]->Caption(), " > Project");
    EXPECT_EQ(buttons[1]->Hint(), "Copy to > Project");
    EXPECT_EQ(buttons[1]->Tag(), 1);
    EXPECT_EQ(buttons[2]->Caption(), " > Project2");
    EXPECT_EQ(buttons[2]->Tag(), 2);
    EXPECT_EQ(editor.Caption(), "Pollutants - Project - [" + f.Project2() + "Stoffe.abs]");
    EXPECT_TRUE(editor.TabReadOnly(0));
    EXPECT_FALSE(editor.TabReadOnly(2));
}

TEST_F(FrameTest, FirstProjectIndexFallsBackToTheLastGlobalTab) {
    LibFolders::MakeLibrary(kType, f.System(), {{{"Short", "NO2"}}});
    LibFolders::MakeLibrary(kType, f.Global(), {{{"Short", "SO2"}}});
    TCustomLibForm& editor = Open({f.System(), f.Global()});
    ASSERT_EQ(editor.TabCount(), 2);
    EXPECT_EQ(editor.GetFirstProjIndex(), 1);
    EXPECT_EQ(editor.CopyButtons().front()->Tag(), 1); // the first Global tab takes the initial button
    EXPECT_EQ(editor.CopyButtons().size(), 1u);
}

TEST_F(FrameTest, AConfiguredSystemFolderIsSystemWhateverItsName) {
    const std::string delivered = f.Root() + "delivered/";
    LibFolders::MakeLibrary(kType, delivered, {{{"Short", "NO2"}}});
    SetSystemLibPath1(delivered);
    TCustomLibForm& editor = Open({delivered});
    ASSERT_EQ(editor.TabCount(), 1);
    EXPECT_EQ(editor.TabLibs().Tabs()[0], "System");
    EXPECT_TRUE(editor.TabReadOnly(0));
    EXPECT_FALSE(editor.GetMainTable(0)->CanModify());
}

TEST_F(FrameTest, ClosingDeletesANewLibraryThatStayedEmpty) {
    LibFolders::MakeLibrary(kType, f.Project2(), {{{"Short", "NO2"}}});
    TCustomLibForm& editor = Open({f.Project(), f.Project2()});
    ASSERT_TRUE(fs::exists(f.Project() + "Stoffe.abs"));
    EXPECT_EQ(editor.GetFirstProjIndex(), 0);
    ASSERT_TRUE(f.Host().CloseWindow(editor));
    EXPECT_FALSE(fs::exists(f.Project() + "Stoffe.abs"));
    EXPECT_TRUE(fs::exists(f.Project2() + "Stoffe.abs"));
    EXPECT_TRUE(f.Host().Windows().empty());
}

TEST_F(FrameTest, StoredIndexNamesAreUsedAndUnknownOnesFallBack) {
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "b"}}, {{"Short", "a"}}});
    TIniStore ini(KorvelLibIniFileName());
    ini.WriteString("IndexNames", "LibPrj9", "EN");
    {
        TCustomLibForm& editor = Open({f.Project()});
        EXPECT_EQ(editor.GetMainTable(0)->IndexName(), "EN");
        EXPECT_EQ(Names(editor), (std::vector<std::string>{"a", "b"}));
        editor.DBList().TitleClick(0);
        EXPECT_EQ(Names(editor), (std::vector<std::string>{"b", "a"}));
        ASSERT_TRUE(f.Host().CloseWindow(editor));
    }
    EXPECT_EQ(ini.ReadString("IndexNames", "LibPrj9", ""), "p");
    ini.WriteString("IndexNames", "LibPrj9", "Gone");
    TCustomLibForm& again = Open({f.Project()});
    EXPECT_EQ(again.GetMainTable(0)->IndexName(), "p");
}

TEST_F(FrameTest, GotoElementNoAndNameAndJumpTo) {
    LibFolders::MakeLibrary(kType, f.Project(),
                            {{{"Short", "NO2"}}, {{"Short", "PM10"}}, {{"Short", "SO2"}}});
    TCustomLibForm& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    ASSERT_TRUE(editor.GotoElementNo(0, 2));
    EXPECT_EQ(editor.GetElementName(0), "PM10");
    EXPECT_FALSE(editor.GotoElementNo(0, 0));
    EXPECT_FALSE(editor.GotoElementNo(0, -3));
    EXPECT_FALSE(editor.GotoElementNo(0, 99));
    EXPECT_FALSE(editor.GotoElementNo(5, 1));
    EXPECT_EQ(t.Fields(0).AsInteger(), 2);
    EXPECT_TRUE(editor.GotoElementName(0, "so2"));
    EXPECT_EQ(editor.GetElementNo(0), 3);
    editor.EditSearch().SetText("pm");
    EXPECT_EQ(editor.GetElementName(0), "PM10");
    EXPECT_EQ(t.IndexName(), "p"); // the jump leaves the order as it was
    editor.EditSearch().SetText("zz");
    EXPECT_EQ(editor.GetElementName(0), "SO2"); // past the last name: the last name
    editor.EditSearch().SetText("pm");
    EXPECT_EQ(editor.GetElementHint().rfind("Element #2; changed on 20", 0), 0u) << editor.GetElementHint();
}

TEST_F(FrameTest, ShortcutsAndTheViewMenuReachTheirCommands) {
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "b"}}, {{"Short", "a"}}});
    TCustomLibForm& editor = Open({f.Project()});
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

TEST_F(FrameTest, TabChangeAsksTheSaveQuestion) {
    LibFolders::MakeLibrary(kType, f.Global(), {{{"Short", "NO2"}}});
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "SO2"}}});
    TCustomLibForm& editor = Open({f.Global(), f.Project()});
    db::TTable& t = *editor.GetMainTable(1);
    editor.Find<TEdit>("EditStoffName").SetText("Sulphur dioxide");
    ASSERT_EQ(t.State(), db::TDataSetState::Edit);

    f.Ui().ExpectMessage(mtConfirmation, "Save element \"SO2\"?", mrCancel);
    EXPECT_FALSE(editor.TabLibs().SetTabIndex(0));
    EXPECT_EQ(editor.GetCurIndex(), 1);
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    EXPECT_EQ(t.Tag, 0);

    f.Ui().ExpectMessage(mtConfirmation, "Save element", mrYes);
    EXPECT_TRUE(editor.TabLibs().SetTabIndex(0));
    EXPECT_EQ(editor.GetCurIndex(), 0);
    EXPECT_EQ(t.FieldByName("StoffName").AsString(), "Sulphur dioxide");
    EXPECT_EQ(t.Tag, 0);

    editor.TabLibs().SetTabIndex(1);
    editor.Find<TEdit>("EditStoffName").SetText("changed");
    f.Ui().ExpectMessage(mtConfirmation, "Save element", mrNo);
    EXPECT_TRUE(editor.TabLibs().SetTabIndex(0));
    EXPECT_EQ(t.FieldByName("StoffName").AsString(), "Sulphur dioxide");
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

TEST_F(FrameTest, CloseRecordsTheChosenAndSelectedElements) {
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "A"}}, {{"Short", "B"}}, {{"Short", "C"}}});
    TCustomLibForm& editor = Open({f.Project()});
    editor.GotoElementNo(0, 3);
    editor.DBList().SetRowSelected(0, true);
    editor.DBList().SetRowSelected(2, true);
    ASSERT_TRUE(editor.CloseQuery());
    EXPECT_EQ(editor.LastElementNo(), 3);
    EXPECT_EQ(editor.LastSelectedElementNos(), (std::vector<int>{1, 3}));
}

TEST_F(FrameTest, DeleteRemovesEverySelectedRowWithoutAsking) {
    LibFolders::MakeLibrary(kType, f.Project(),
                            {{{"Short", "A"}}, {{"Short", "B"}}, {{"Short", "C"}}, {{"Short", "D"}}});
    TCustomLibForm& editor = Open({f.Project()});
    editor.DBList().SetRowSelected(1, true);
    editor.DBList().SetRowSelected(3, true);
    editor.Navigator().BtnClick(nbDelete);
    EXPECT_EQ(Names(editor), (std::vector<std::string>{"A", "C"}));
    EXPECT_TRUE(editor.Deleted());
    editor.SelectAll();
    EXPECT_EQ(editor.DBList().SelectedCount(), 2);
    editor.Navigator().BtnClick(nbDelete);
    EXPECT_TRUE(Names(editor).empty());
}

TEST_F(FrameTest, SystemTabsAreReadOnlyThroughout) {
    LibFolders::MakeLibrary(kType, f.System(), {{{"Short", "NO2"}}});
    TCustomLibForm& editor = Open({f.System()});
    ASSERT_EQ(editor.TabCount(), 1);
    EXPECT_TRUE(editor.Find<TEdit>("EditShort").ReadOnly());
    EXPECT_FALSE(editor.Find<TComboBox>("CBKornfraktion").Enabled());
    EXPECT_FALSE(editor.Navigator().ButtonEnabled(nbInsert));
    EXPECT_FALSE(editor.Navigator().ButtonEnabled(nbDelete));
    editor.EnableDBButtons();
    EXPECT_FALSE(editor.MainMenu()->FindItem("InsertElement")->Enabled());
    // Closing never removes a delivered library.
    const auto size = fs::file_size(f.System() + "Stoffe.abs");
    ASSERT_TRUE(f.Host().CloseWindow(editor));
    EXPECT_EQ(fs::file_size(f.System() + "Stoffe.abs"), size);
}

TEST_F(FrameTest, BackupReproducesTheNumberingWithItsGaps) {
    LibFolders::MakeLibrary(
        kType, f.Project(),
        {{{"Short", "A"}}, {{"Short", "B"}}, {{"Short", "C"}}, {{"Short", "D"}}, {{"Short", "E"}}});
    TCustomLibForm& editor = Open({f.Project()});
    for (int n : {2, 3})
        if (editor.GotoElementNo(0, n))
            editor.GetMainTable(0)->Delete();
    editor.GotoElementNo(0, 4);
    f.Ui().ExpectMessage(mtInformation, "Creates a backup in folder", mrOk);
    editor.MainMenu()->FindItem("BackupCopy")->SetVisible(true);
    editor.MainMenu()->FindItem("BackupCopy")->Click();
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
    editor.MainMenu()->FindItem("BackupCopy")->Click();
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
    EXPECT_EQ(Names(editor), (std::vector<std::string>{"X"}));
}

} // namespace
} // namespace korvel
