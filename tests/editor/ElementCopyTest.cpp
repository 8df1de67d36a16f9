// Copying elements between tabs and editors, with the name-conflict answers, and the conflict dialog.

#include "editor/ElementCopy.h"

#include "editor/CustomLibForm.h"
#include "editor/NameExistsForm.h"
#include "meteo/PollutantsSchema.h"
#include "platform/db/Sqlite.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

using test::LibFolders;
constexpr int kType = meteo::kPollutantsLibType;

class CopyTest : public ::testing::Test {
protected:
    void SetUp() override {
        LibFolders::MakeLibrary(kType, f.Global(),
                                {{{"Short", "A"}, {"StoffName", "from global"}},
                                 {{"Short", "B"}, {"StoffName", "from global"}},
                                 {{"Short", "C"}, {"StoffName", "from global"}}});
        LibFolders::MakeLibrary(kType, f.Project(),
                                {{{"Short", "X"}}, {{"Short", "b"}, {"StoffName", "mine"}}});
        editor = static_cast<TCustomLibForm*>(&f.Host().Adopt(CreateLib(f.Host(), kType)));
        editor->OpenFiles({f.Global(), f.Project()}, 1, false, false);
        ASSERT_EQ(editor->TabCount(), 2);
        editor->TabLibs().SetTabIndex(0);
    }
    void SelectAllAndCopy() {
        editor->SelectAll();
        editor->CopyElement(*editor, 1);
    }
    std::vector<std::pair<std::string, std::string>> Project() {
        db::TTable& t = *editor->GetMainTable(1);
        std::vector<std::pair<std::string, std::string>> rows;
        const db::TBookmark here = t.GetBookmark();
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next())
            rows.emplace_back(t.FieldByName("Short").AsString(), t.FieldByName("StoffName").AsString());
        t.GotoBookmark(here);
        return rows;
    }
    LibFolders f;
    TCustomLibForm* editor = nullptr;
};

TEST_F(CopyTest, SkipAllCopiesTheFreeNamesAndSkipsLaterConflictsSilently) {
    f.Ui().ExpectNameConflict("B", TneAction::SkipAll);
    SelectAllAndCopy();
    EXPECT_EQ(Project(), (std::vector<std::pair<std::string, std::string>>{
                             {"X", ""}, {"b", "mine"}, {"A", "from global"}, {"C", "from global"}}));
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
    EXPECT_EQ(Project(), (std::vector<std::pair<std::string, std::string>>{
                             {"X", ""}, {"B", "from global"}, {"C", "from global"}, {"A", "from global"}}));
}

TEST_F(CopyTest, CancelStopsTheRunAndKeepsWhatWasCopied) {
    f.Ui().ExpectNameConflict("B", TneAction::Cancel);
    SelectAllAndCopy();
    // "A" was copied before the cancelled conflict; "C" after it was not.
    EXPECT_EQ(Project().size(), 3u);
    EXPECT_EQ(Project().back().first, "A");
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

TEST(NameConflictTest, ANewNameThatExistsAsksAgain) {
    LibFolders f;
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "X"}}, {{"Short", "b"}}});
    TMyTable lib(TableNames(kType));
    lib.InitLibX(f.Project(), LibName(kType), TableNames(kType), false, true);
    lib.Open();
    TTypedAnswersUi ui;
    ui.Answers = {{TneAction::NewName, "x"}, {TneAction::NewName, "B2"}};
    TneAction action = TneAction::Overwrite;
    std::string name = "B";
    ASSERT_TRUE(CheckNameTwice(ui, *lib.GetTable(), "EN", name, action));
    EXPECT_EQ(ui.Asked, (std::vector<std::string>{"B", "x"}));
    EXPECT_EQ(name, "B2");
    EXPECT_EQ(lib.GetTable()->State(), db::TDataSetState::Insert);
    lib.GetTable()->Cancel();
}

TEST_F(CopyTest, CopyToMenuListsTheWritableTabsAndCopies) {
    TPopupMenu& menu = *editor->FindPopupMenu("ListMenu");
    menu.Popup();
    TMenuItem& copyTo = *menu.FindItem("ListCopyTo");
    ASSERT_EQ(copyTo.Count(), 2);
    EXPECT_EQ(copyTo.Item(0).Caption(), "Copy to > Global");
    EXPECT_EQ(copyTo.Item(1).Caption(), "Copy to > Project");
    EXPECT_EQ(copyTo.Item(1).Tag(), -1);
    editor->GotoElementNo(0, 3);
    copyTo.Item(1).Click();
    EXPECT_EQ(Project().back().first, "C");
}

TEST_F(CopyTest, TheGlobalButtonOpensTheGlobalLibraryFirst) {
    LibFolders::MakeLibrary(kType, f.Project2(), {{{"Short", "P"}}});
    auto& other = static_cast<TCustomLibForm&>(f.Host().Adopt(CreateLib(f.Host(), kType)));
    const std::string globalFolder = f.Root() + "global2/";
    SetGlobalLibPath(globalFolder);
    other.OpenFiles({f.Project2()}, 0, false, false);
    TButton& global = *other.CopyButtons().front();
    ASSERT_EQ(global.Tag(), -1);
    global.Click();
    ASSERT_EQ(other.TabCount(), 2);
    EXPECT_EQ(global.Tag(), 1);
    EXPECT_TRUE(std::filesystem::exists(globalFolder + "Stoffe.abs"));
    EXPECT_EQ(other.GetElementName(1), "P");
}

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
    auto& other = static_cast<TCustomLibForm&>(f.Host().Adopt(CreateLib(f.Host(), kType)));
    other.OpenFiles({f.Project()}, 0, false, false);
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

TEST_F(CopyTest, CheckNameTwicePreparesTheRecord) {
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
