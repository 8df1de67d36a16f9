// Import and the library update of the frame, on the tests' own kind.

#include "editor/TestKind.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel {
namespace {

namespace fs = std::filesystem;
using test::kTestType;
using test::LibFolders;

class FrameActionsTest : public ::testing::Test {
protected:
    void SetUp() override {
        LibFolders::MakeLibrary(kTestType, f.Project(),
                                {{{"ElementName", "a"}}, {{"ElementName", "b"}}, {{"ElementName", "c"}}});
        editor.OpenFiles({f.Project()}, 0, false, false);
        ASSERT_EQ(editor.TabCount(), 1);
    }
    TScopedLibSchema schema{kTestType, test::TestKindSchema()};
    LibFolders f;
    test::TTestKindEditor editor{f.Host()};
};

TEST_F(FrameActionsTest, ImportRunsWithTheBulkTagUnfilteredAndReturnsToTheElement) {
    db::TTable& t = *editor.GetMainTable(0);
    editor.GotoElementNo(0, 2);
    t.SetFilter("[ElementName] = 'b'");
    t.SetFiltered(true);
    editor.EnableDBButtons();
    EXPECT_TRUE(editor.MainMenu()->FindItem("Import")->Enabled());
    f.Ui().ExpectOpen("Import", {f.Root() + "new.txt"});
    editor.MainMenu()->FindItem("Import")->Click();
    EXPECT_EQ(editor.TagsSeen, std::vector<int>{kTagBulkWork});
    EXPECT_EQ(editor.FilteredSeen, std::vector<bool>{false});
    EXPECT_EQ(t.Tag, 0);
    EXPECT_TRUE(t.Filtered());
    EXPECT_EQ(editor.GetElementName(0), "b");
    t.SetFiltered(false);
    EXPECT_EQ(t.RecordCount(), 4);
}

TEST_F(FrameActionsTest, UpdateLibraryRebuildsTheFileWithItsNumbers) {
    db::TTable& t = *editor.GetMainTable(0);
    editor.GotoElementNo(0, 2);
    t.Delete();
    ASSERT_TRUE(editor.UpdateLibrary());
    EXPECT_EQ(editor.GetCurIndex(), 0);
    EXPECT_FALSE(fs::exists(f.Project() + "tmp"));
    EXPECT_FALSE(fs::exists(f.Project() + "tmp2"));
    ASSERT_TRUE(t.Active());
    std::vector<std::pair<int, std::string>> rows;
    t.SetIndexName("p");
    for (t.First(); !t.Eof(); t.Next())
        rows.emplace_back(t.Fields(0).AsInteger(), t.FieldByName("ElementName").AsString());
    EXPECT_EQ(rows, (std::vector<std::pair<int, std::string>>{{1, "a"}, {3, "c"}}));
    // New elements still get numbers never used before.
    t.Append();
    t.FieldByName("ElementName").SetAsString("d");
    t.Post();
    EXPECT_EQ(t.Fields(0).AsInteger(), 4);
}

TEST_F(FrameActionsTest, BackupCopiesRepeatedNamesWithoutAsking) {
    db::TTable& t = *editor.GetMainTable(0);
    t.Append();
    t.FieldByName("ElementName").SetAsString("A"); // "a" exists: names repeat, ignoring case
    t.Post();
    ASSERT_TRUE(editor.UpdateLibrary());
    std::vector<std::string> names;
    t.SetIndexName("p");
    for (t.First(); !t.Eof(); t.Next())
        names.push_back(t.FieldByName("ElementName").AsString());
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c", "A"}));
}

TEST_F(FrameActionsTest, SystemLibrariesAreNeitherUpdatedNorBackedUpInPlace) {
    LibFolders::MakeLibrary(kTestType, f.System(), {{{"ElementName", "s"}}});
    editor.OpenFiles({f.System()}, 0, false, false);
    ASSERT_EQ(editor.TabCount(), 2);
    ASSERT_EQ(editor.GetCurIndex(), 1);
    const auto size = fs::file_size(f.System() + LibName(kTestType));
    f.Ui().ExpectMessage(mtError, "is read-only", mrOk);
    EXPECT_FALSE(editor.UpdateLibrary());
    f.Ui().ExpectMessage(mtError, "cannot be written into the System library folder", mrOk);
    editor.MainMenu()->FindItem("BackupCopy")->SetVisible(true);
    editor.MainMenu()->FindItem("BackupCopy")->Click();
    EXPECT_FALSE(fs::exists(f.System() + "libs_backup/" + LibName(kTestType)));
    EXPECT_EQ(fs::file_size(f.System() + LibName(kTestType)), size);
    EXPECT_EQ(editor.TabCount(), 2);
}

} // namespace
} // namespace korvel
