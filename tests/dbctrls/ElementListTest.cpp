#include "platform/dbctrls/ElementList.h"

#include "DbCtrlsFixture.h"

#include <map>
#include <sqlite3.h>

namespace korvel {
namespace {

class ElementListTest : public test::DbCtrlsFixture {
protected:
    void SetUp() override {
        DbCtrlsFixture::SetUp();
        AddNamedElements();
        list.SetDataSource(&source);
        list.SetColumns({{"Nr", "No."}, {"ElementName", "Name", 120}, {"Level", "Level"}});
        notices = list.SubscribeScoped([this](TComponent&, const TChange& c) { ++seen[c.Kind]; });
    }

    std::vector<std::string> Column(int col) {
        std::vector<std::string> out;
        for (std::int64_t r = 0; r < list.RowCount(); ++r)
            out.push_back(list.CellText(r, col));
        return out;
    }

    TDBElementList& list = form.Add<TDBElementList>("ElementList");
    std::map<TChangeKind, int> seen;
    TSubscription notices;
};

TEST_F(ElementListTest, CellsShowFormattedValuesAndTheRecordBeingEdited) {
    list.SetColumns({{"Nr"},
                     {"ElementName"},
                     {"Level"},
                     {"LastChangeDateTime"},
                     {"Active"},
                     {"Kommentar"},
                     {"NotThere"}});
    elements->Edit();
    elements->FieldByName("Level").SetAsFloat(0.00015);
    elements->FieldByName("LastChangeDateTime").SetAsDateTime(db::EncodeDateTime(2024, 3, 5, 14, 7, 9));
    elements->FieldByName("Active").SetAsBoolean(true);
    elements->FieldByName("Kommentar").SetAsString("two\nlines");
    elements->Post();
    EXPECT_EQ(list.RowCount(), 5);
    EXPECT_EQ(list.CellText(0, 0), std::to_string(numbers["Delta"]));
    EXPECT_EQ(list.CellText(0, 2), "0.00015");
    EXPECT_EQ(list.CellText(0, 3), "2024-03-05 14:07:09");
    EXPECT_EQ(list.CellText(0, 4), "True");
    EXPECT_EQ(list.CellText(0, 5), "two lines");
    EXPECT_EQ(list.CellText(0, 6), "");
    EXPECT_EQ(list.CellText(1, 2), ""); // null
    EXPECT_THROW(list.CellText(5, 0), EKorvelError);
    EXPECT_THROW(list.CellText(0, 7), EKorvelError);

    // Typing shows in the current row before it is stored, with a notice for that row.
    seen.clear();
    elements->Next();
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("alphabet");
    EXPECT_EQ(list.CellText(1, 1), "alphabet");
    EXPECT_EQ(list.CellText(0, 1), "Delta");
    EXPECT_EQ(seen[TChangeKind::Cell], 1);
    elements->Cancel();
    EXPECT_EQ(list.CellText(1, 1), "alpha");
}

TEST_F(ElementListTest, StoresAndOtherCursorsRefreshTheRows) {
    EXPECT_EQ(list.CellText(2, 1), "Charlie");
    seen.clear();
    elements->SetRecNo(3);
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("Chaplin");
    elements->Post();
    EXPECT_GE(seen[TChangeKind::Items], 1);
    EXPECT_EQ(list.CellText(2, 1), "Chaplin");

    // A second cursor of the same file appends: seen at the next row count without any event here.
    db::TTable second(db, "Elements");
    second.Open();
    Add(second, "Foxtrot");
    EXPECT_EQ(list.RowCount(), 6);
    EXPECT_EQ(list.CellText(5, 1), "Foxtrot");
}

TEST_F(ElementListTest, CurrentRowFollowsTheTableBothWays) {
    EXPECT_EQ(list.CurrentRow(), 0);
    elements->Last();
    EXPECT_EQ(list.CurrentRow(), 4);
    seen.clear();
    list.SetCurrentRow(1);
    EXPECT_EQ(elements->FieldByName("ElementName").AsString(), "alpha");
    EXPECT_GE(seen[TChangeKind::Selection], 1);

    // A click on the current row keeps the edit; a click elsewhere stores it first.
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("alpine");
    list.SetCurrentRow(1);
    EXPECT_EQ(elements->State(), db::TDataSetState::Edit);
    list.SetCurrentRow(3);
    EXPECT_EQ(elements->State(), db::TDataSetState::Browse);
    EXPECT_EQ(list.CellText(1, 1), "alpine");
    elements->Append();
    EXPECT_EQ(list.CurrentRow(), -1);
    elements->Cancel();
    EXPECT_THROW(list.SetCurrentRow(5), EKorvelError);
}

TEST_F(ElementListTest, SelectionByBookmarkSurvivesResortAndLosesDeletedRows) {
    list.SetMultiSelect(true);
    list.SetRowSelected(0, true); // Delta
    list.SetRowSelected(2, true); // Charlie
    list.SetRowSelected(4, true); // Echo
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["Delta"], numbers["Charlie"], numbers["Echo"]}));

    elements->SetIndexName("EN"); // alpha bravo Charlie Delta Echo
    EXPECT_EQ(Column(1), (std::vector<std::string>{"alpha", "bravo", "Charlie", "Delta", "Echo"}));
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["Charlie"], numbers["Delta"], numbers["Echo"]}));
    EXPECT_FALSE(list.IsSelected(0));
    EXPECT_TRUE(list.IsSelected(2));
    EXPECT_TRUE(list.IsSelected(3));

    ASSERT_TRUE(elements->Locate("ElementName", {std::string("Delta")}));
    elements->Delete();
    EXPECT_EQ(list.SelectedCount(), 2);
    EXPECT_EQ(list.SelectedBookmarks(), (std::vector<db::TBookmark>{numbers["Charlie"], numbers["Echo"]}));
    list.SetRowSelected(2, false);
    EXPECT_EQ(list.SelectedCount(), 1);
}

TEST_F(ElementListTest, SelectAllRangesAndSwitching) {
    // Without multi-selection the selection is the current row.
    EXPECT_EQ(list.SelectedBookmarks(), std::vector<db::TBookmark>{numbers["Delta"]});
    list.SetRowSelected(3, true);
    EXPECT_EQ(list.CurrentRow(), 3);
    list.SelectAll();
    EXPECT_EQ(list.SelectedCount(), 1);

    list.SetMultiSelect(true);
    seen.clear();
    list.SelectAll();
    EXPECT_EQ(list.SelectedCount(), 5);
    EXPECT_EQ(seen[TChangeKind::Selection], 1);
    list.ClearSelection();
    list.SelectRange(3, 1);
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["alpha"], numbers["Charlie"], numbers["bravo"]}));

    // The other table has records with the same numbers: none of them is selected.
    for (const char* name : {"O1", "O2", "O3", "O4"})
        Add(*others, name);
    source.SetDataSet(others.get());
    EXPECT_EQ(list.SelectedCount(), 0);
    EXPECT_FALSE(list.IsSelected(1));
    EXPECT_EQ(Column(1), (std::vector<std::string>{"O1", "O2", "O3", "O4"}));
    EXPECT_EQ(list.CellText(0, 2), ""); // the other table has no level
}

TEST_F(ElementListTest, TitleClicksAndHints) {
    int clicked = -1;
    list.OnTitleClick = [&](TComponent&, int col) {
        clicked = col;
    };
    list.TitleClick(1);
    EXPECT_EQ(clicked, 1);
    list.SetEnabled(false);
    list.TitleClick(2);
    EXPECT_EQ(clicked, 1);

    EXPECT_EQ(list.RowHint(0), "");
    list.OnGetHint = [&](std::int64_t row) {
        return "Element " + list.CellText(row, 1);
    };
    EXPECT_EQ(list.RowHint(2), "Element Charlie");
    list.OnGetHint = [](std::int64_t) -> std::string {
        throw EKorvelError("no hint today");
    };
    ui.ExpectMessage(mtError, "no hint today", mrOk);
    EXPECT_EQ(list.RowHint(2), "");
}

TEST_F(ElementListTest, SafeWhenTheSourceGoesFirst) {
    auto shortLived = std::make_unique<TDataSource>(elements.get());
    list.SetDataSource(shortLived.get());
    EXPECT_EQ(list.RowCount(), 5);
    shortLived.reset();
    EXPECT_EQ(list.DataSource(), nullptr);
    EXPECT_EQ(list.RowCount(), 0);
    EXPECT_EQ(list.CurrentRow(), -1);
}

// A big library: a list shows it by reading windows, never the table.
class BigListTest : public test::DbCtrlsFixture {
protected:
    static constexpr std::int64_t kRows = 100000;

    void SetUp() override {
        DbCtrlsFixture::SetUp();
        db::TTableDef def;
        def.AddField("Nr", db::TFieldType::AutoInc)
            .AddField("ElementName", db::TFieldType::String, 40)
            .AddField("Level", db::TFieldType::Float);
        def.AddIndex("p", {"Nr"}, db::ixPrimary);
        db->CreateTable("Big", def);
        // SQLite's own default; some builds raise it, which would hide statements that bind too much.
        sqlite3_limit(db->Connection().Handle(), SQLITE_LIMIT_VARIABLE_NUMBER, 32766);
        db->Connection().Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                              std::to_string(kRows) +
                              ") INSERT INTO Big (ElementName, Level) SELECT 'E' || i, i * 0.5 FROM n");
        big = std::make_unique<db::TTable>(db, "Big");
        big->Open();
        source.SetDataSet(big.get());
        list.SetDataSource(&source);
        list.SetColumns({{"Nr"}, {"ElementName"}, {"Level"}});
    }

    void TearDown() override {
        source.SetDataSet(nullptr);
        big.reset();
    }

    // What a renderer asks for one screen.
    void Paint(std::int64_t top) {
        for (std::int64_t r = top; r < std::min(top + 40, list.RowCount()); ++r)
            for (int c = 0; c < list.ColumnCount(); ++c)
                list.CellText(r, c);
    }

    std::unique_ptr<db::TTable> big;
    TDBElementList& list = form.Add<TDBElementList>("ElementList");
};

TEST_F(BigListTest, ScrollingToTheEndReadsAFewWindows) {
    EXPECT_EQ(list.RowCount(), kRows);
    Paint(0);
    big->Last();
    ASSERT_EQ(list.CurrentRow(), kRows - 1);
    Paint(kRows - 40);
    EXPECT_EQ(list.CellText(kRows - 1, 1), "E100000");
    EXPECT_EQ(list.CellText(kRows - 1, 2), "50000");
    list.SetCurrentRow(kRows / 2);
    EXPECT_EQ(big->FieldByName("Nr").AsLargeInt(), kRows / 2 + 1);
    Paint(kRows / 2);
    Paint(0); // still cached
    EXPECT_LE(list.RowsRead(), 4u * TRowCache::kWindowRows);
    EXPECT_LT(big->RecordsFetched(), 200u);

    // Only a few windows are kept: wandering through many pages evicts the first.
    const auto before = list.RowsRead();
    for (std::int64_t top = 10000; top < 10000 + 6 * TRowCache::kWindowRows; top += TRowCache::kWindowRows)
        Paint(top);
    Paint(0);
    EXPECT_GT(list.RowsRead(), before + 6 * TRowCache::kWindowRows);
}

TEST_F(BigListTest, SelectAllCoversEveryRowInAFewStatements) {
    list.SetMultiSelect(true);
    list.SelectAll();
    EXPECT_EQ(list.SelectedCount(), kRows);
    EXPECT_TRUE(list.IsSelected(kRows - 1));
    EXPECT_LT(big->RecordsFetched(), 200u); // no record was visited for it
    big->First();
    big->Delete();
    const auto selected = list.SelectedBookmarks();
    ASSERT_EQ(selected.size(), static_cast<std::size_t>(kRows - 1));
    EXPECT_EQ(selected.front(), 2);
    EXPECT_EQ(selected.back(), kRows);
}

} // namespace
} // namespace korvel
