#include "platform/ui/ValueGrid.h"

#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>
#include <map>

namespace korvel {
namespace {

// A grid over a small table of values: row 0 and column 0 are titles, column 2 is a check box, and the cell
// (1, 3) is locked.
class ValueGridTest : public ::testing::Test {
protected:
    ValueGridTest() : form(ui, "Form1"), grid(form.Add<TValueGrid>("Grid")) {
        grid.SetColCount(3);
        grid.SetRowCount(4);
        grid.OnGetText = [this](int col, int row) {
            ++reads;
            if (row == 0)
                return std::string(col == 1 ? "Level" : "Title");
            auto it = data.find({col, row});
            return it == data.end() ? std::string() : it->second;
        };
        grid.OnSetText = [this](int col, int row, const std::string& text) {
            if (col == 1 && text.find_first_not_of("0123456789.-") != std::string::npos)
                throw EKorvelError("\"" + text + "\" is not a number");
            data[{col, row}] = text;
            stores.push_back(text);
        };
        grid.OnGetCellStyle = [](int col, int row, TCellStyle& style) {
            style.CheckBox = col == 2;
            style.Editable = !(col == 1 && row == 3);
        };
    }

    test::TTestUi ui;
    TForm form;
    TValueGrid& grid;
    std::map<std::pair<int, int>, std::string> data{{{1, 1}, "63.5"}};
    std::vector<std::string> stores;
    int reads = 0;
};

TEST_F(ValueGridTest, EditGoesThroughSetTextOnlyWhenChanged) {
    EXPECT_EQ(reads, 0); // nothing is read until asked
    EXPECT_TRUE(grid.EditCell(1, 1, "70.1"));
    EXPECT_EQ(grid.Cells(1, 1), "70.1");
    EXPECT_TRUE(grid.EditCell(1, 1, "70.1"));
    EXPECT_EQ(stores, (std::vector<std::string>{"70.1"}));
    EXPECT_FALSE(grid.EditorMode());

    // The editor starts from the cell's text and can be abandoned.
    ASSERT_TRUE(grid.SetCurrentCell(1, 2));
    ASSERT_TRUE(grid.SetEditorMode(true));
    EXPECT_EQ(grid.EditText(), "");
    grid.SetEditText("12");
    grid.CancelEdit();
    EXPECT_EQ(grid.Cells(1, 2), "");
}

TEST_F(ValueGridTest, RefusedTextKeepsTheEditorOpen) {
    ui.ExpectMessage(mtError, "\"abc\" is not a number", mrOk);
    EXPECT_FALSE(grid.EditCell(1, 2, "abc"));
    EXPECT_TRUE(grid.EditorMode());
    EXPECT_EQ(grid.EditText(), "abc");
    // Moving away needs a valid value first.
    ui.ExpectMessage(mtError, "not a number", mrOk);
    EXPECT_FALSE(grid.SetCurrentCell(1, 1));
    grid.SetEditText("5");
    EXPECT_TRUE(grid.SetCurrentCell(1, 1));
    EXPECT_EQ(data[std::make_pair(1, 2)], "5");
}

TEST_F(ValueGridTest, CellsThatCannotBeEdited) {
    EXPECT_FALSE(grid.SetCurrentCell(0, 1)); // fixed column
    EXPECT_FALSE(grid.CanEditCell(1, 0));    // title row
    EXPECT_FALSE(grid.EditCell(1, 3, "1"));  // locked by its style
    EXPECT_FALSE(grid.SetEditorMode(true));
    grid.SetCurrentCell(1, 1);
    grid.SetReadOnly(true);
    EXPECT_FALSE(grid.SetEditorMode(true));
    grid.SetReadOnly(false);
    grid.SetEditing(false);
    EXPECT_FALSE(grid.SetEditorMode(true));
    EXPECT_TRUE(stores.empty());
    EXPECT_THROW(grid.SetCurrentCell(3, 1), EKorvelError);
    EXPECT_EQ(grid.Cells(7, 7), ""); // the renderer may ask beyond the edge
}

TEST_F(ValueGridTest, CheckBoxCellsToggleWithoutAnEditor) {
    EXPECT_TRUE(grid.ToggleCheck(2, 1));
    EXPECT_EQ(grid.Cells(2, 1), "1");
    EXPECT_TRUE(grid.ToggleCheck(2, 1));
    EXPECT_EQ(grid.Cells(2, 1), "0");
    EXPECT_FALSE(grid.SetEditorMode(true));
    EXPECT_FALSE(grid.ToggleCheck(1, 1)); // not a check box
}

TEST_F(ValueGridTest, SelectCellMayRefuseAndShrinkingMovesTheCurrentCell) {
    grid.OnSelectCell = [](TComponent&, int, int row, bool& canSelect) {
        canSelect = row != 2;
    };
    EXPECT_FALSE(grid.SetCurrentCell(1, 2));
    EXPECT_TRUE(grid.SetCurrentCell(1, 3));
    grid.SetRowCount(2);
    EXPECT_EQ(grid.Row(), 1);
    grid.SetRowCount(1); // titles only: no current cell
    EXPECT_EQ(grid.Row(), -1);
    EXPECT_THROW(grid.SetFixedRows(2), EKorvelError);
    EXPECT_THROW(grid.SetRowCount(-1), EKorvelError);
}

TEST_F(ValueGridTest, RendererHearsOfEditorAndCells) {
    std::vector<TChangeKind> kinds;
    auto sub = grid.SubscribeScoped([&](TComponent&, const TChange& c) { kinds.push_back(c.Kind); });
    grid.EditCell(1, 2, "3");
    EXPECT_EQ(kinds, (std::vector<TChangeKind>{TChangeKind::Selection, TChangeKind::Editor,
                                               TChangeKind::Editor, TChangeKind::Cell, TChangeKind::Editor}));
    grid.SetColWidth(2, 120);
    EXPECT_EQ(grid.ColWidth(2), 120);
    grid.SetDefaultColWidth(80);
    EXPECT_EQ(grid.ColWidth(0), 80);
    EXPECT_EQ(grid.ColWidth(2), 120);
}

} // namespace
} // namespace korvel
