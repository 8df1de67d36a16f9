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
        list.SetColumns({{"Nr", "No."}, {"ElementName", "Name", 120}, {"Level", "Level"}, {"NotThere"}});
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

TEST_F(ElementListTest, CellsShowStoredValuesAndTheRecordBeingEdited) {
    test::StoreField(*elements, "Level", "0.00015");
    // Row 1 has no level; column 3 names no field.
    EXPECT_EQ(std::tuple(list.RowCount(), list.CellText(0, 0), list.CellText(0, 2), list.CellText(1, 2),
                         list.CellText(0, 3)),
              std::tuple(5, std::to_string(numbers["Delta"]), "0.00015", "", ""));
    EXPECT_THROW(list.CellText(5, 0), EKorvelError);
    EXPECT_THROW(list.CellText(0, 4), EKorvelError);

    // Typing shows in the current row before it is stored, with a notice for that row.
    seen.clear();
    elements->Next();
    test::SetField(*elements, "ElementName", "alphabet");
    EXPECT_EQ(std::pair(list.CellText(1, 1), list.CellText(0, 1)),
              (std::pair<std::string, std::string>("alphabet", "Delta")));
    EXPECT_EQ(seen[TChangeKind::Cell], 1);
    elements->Cancel();
    EXPECT_EQ(list.CellText(1, 1), "alpha");

    // A store refreshes the cached rows; a second cursor's append shows at the next row count.
    test::StoreField(*elements, "ElementName", "Chaplin");
    EXPECT_GE(seen[TChangeKind::Items], 1);
    EXPECT_EQ(list.CellText(1, 1), "Chaplin");
    Add(*test::Cursor(db), "Foxtrot");
    EXPECT_EQ(list.RowCount(), 6);
}

TEST_F(ElementListTest, CurrentRowFollowsTheTableBothWays) {
    EXPECT_EQ(list.CurrentRow(), 0);
    elements->Last();
    EXPECT_EQ(list.CurrentRow(), 4);
    seen.clear();
    list.SetCurrentRow(1);
    EXPECT_EQ(test::ValueText(*elements), "alpha");
    EXPECT_GE(seen[TChangeKind::Selection], 1);

    // A click on the current row keeps the edit; a click elsewhere stores it first.
    test::SetField(*elements, "ElementName", "alpine");
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

TEST_F(ElementListTest, SelectionIsKeptByBookmarkThroughResortsDeletesAndRanges) {
    // Without multi-selection the selection is the current row.
    EXPECT_EQ(list.SelectedBookmarks(), std::vector<db::TBookmark>{numbers["Delta"]});
    list.SetRowSelected(3, true);
    EXPECT_EQ(list.CurrentRow(), 3);
    list.SelectAll();
    EXPECT_EQ(list.SelectedCount(), 1);

    list.SetMultiSelect(true);
    list.SetRowSelected(0, true); // Delta
    list.SetRowSelected(2, true); // Charlie
    list.SetRowSelected(4, true); // Echo
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["Delta"], numbers["Charlie"], numbers["Echo"]}));
    elements->SetIndexName("EN");
    EXPECT_EQ(Column(1), (std::vector<std::string>{"alpha", "bravo", "Charlie", "Delta", "Echo"}));
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["Charlie"], numbers["Delta"], numbers["Echo"]}));
    EXPECT_EQ(std::pair(list.IsSelected(0), list.IsSelected(3)), std::pair(false, true));
    ASSERT_TRUE(elements->Locate("ElementName", {std::string("Delta")}));
    elements->Delete();
    EXPECT_EQ(list.SelectedBookmarks(), (std::vector<db::TBookmark>{numbers["Charlie"], numbers["Echo"]}));
    list.SetRowSelected(2, false);
    EXPECT_EQ(list.SelectedCount(), 1);

    seen.clear();
    list.SelectAll();
    EXPECT_EQ(std::pair(list.SelectedCount(), seen[TChangeKind::Selection]), std::pair(std::int64_t{4}, 1));
    list.ClearSelection();
    list.SelectRange(2, 0);
    EXPECT_EQ(list.SelectedBookmarks(),
              (std::vector<db::TBookmark>{numbers["alpha"], numbers["bravo"], numbers["Charlie"]}));

    // The other table has records with the same numbers: none of them is selected.
    for (const char* name : {"O1", "O2", "O3", "O4"})
        Add(*others, name);
    source.SetDataSet(others.get());
    EXPECT_EQ(list.SelectedCount(), 0);
    EXPECT_EQ(Column(1), (std::vector<std::string>{"O1", "O2", "O3", "O4"}));
    EXPECT_EQ(list.CellText(0, 2), ""); // the other table has no level
}

TEST_F(ElementListTest, SafeWhenTheSourceGoesFirst) {
    auto shortLived = std::make_unique<TDataSource>(elements.get());
    list.SetDataSource(shortLived.get());
    EXPECT_EQ(list.RowCount(), 5);
    shortLived.reset();
    EXPECT_EQ(std::tuple(list.DataSource(), list.RowCount(), list.CurrentRow()),
              std::tuple(static_cast<TDataSource*>(nullptr), std::int64_t{0}, std::int64_t{-1}));
}

TEST_F(ElementListTest, ABigTableIsShownAndSelectedByReadingAFewWindows) {
    constexpr std::int64_t kRows = 100000;
    // SQLite's own default; some builds raise it, which would hide statements that bind too much.
    sqlite3_limit(db->Connection().Handle(), SQLITE_LIMIT_VARIABLE_NUMBER, 32766);
    db->Connection().Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                          std::to_string(kRows) +
                          ") INSERT INTO Others (ElementName, Gruppen1) SELECT 'E' || i, i FROM n");
    others->Close();
    others->Open();
    source.SetDataSet(others.get());
    list.SetColumns({{"Nr"}, {"ElementName"}, {"Gruppen1"}});
    auto paint = [&](std::int64_t top) { // what a renderer asks for one screen
        for (std::int64_t r = top; r < std::min(top + 40, list.RowCount()); ++r)
            for (int c = 0; c < list.ColumnCount(); ++c)
                list.CellText(r, c);
    };

    EXPECT_EQ(list.RowCount(), kRows);
    paint(0);
    others->Last();
    ASSERT_EQ(list.CurrentRow(), kRows - 1);
    paint(kRows - 40);
    EXPECT_EQ(list.CellText(kRows - 1, 1), "E100000");
    list.SetCurrentRow(kRows / 2);
    EXPECT_EQ(others->Fields(0).AsLargeInt(), kRows / 2 + 1);
    paint(kRows / 2);
    paint(0); // still cached
    EXPECT_LE(list.RowsRead(), 4u * TRowCache::kWindowRows);
    EXPECT_LT(others->RecordsFetched(), 200u);

    // Only a few windows are kept: wandering through many pages evicts the first.
    const auto before = list.RowsRead();
    for (std::int64_t top = 10000; top < 10000 + 6 * TRowCache::kWindowRows; top += TRowCache::kWindowRows)
        paint(top);
    paint(0);
    EXPECT_GT(list.RowsRead(), before + 6 * TRowCache::kWindowRows);

    // Selecting every row visits no record; a deleted one drops out.
    list.SetMultiSelect(true);
    list.SelectAll();
    EXPECT_EQ(std::pair(list.SelectedCount(), list.IsSelected(kRows - 1)), std::pair(kRows, true));
    EXPECT_LT(others->RecordsFetched(), 200u);
    others->Delete();
    EXPECT_EQ(list.SelectedCount(), kRows - 1);
}

} // namespace
} // namespace korvel
