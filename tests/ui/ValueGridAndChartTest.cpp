// The value grid and the chart as models: what they accept, what they refuse and what they tell a renderer.

#include "platform/Errors.h"
#include "platform/ui/Chart.h"
#include "platform/ui/Form.h"
#include "platform/ui/ValueGrid.h"
#include "support/TestUi.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>

namespace korvel {
namespace {

// A grid over a small table of values: row 0 and column 0 are titles, column 1 takes numbers only, column 2
// is a check box, and the cell (1, 3) is locked.
class ValueGridTest : public ::testing::Test {
protected:
    ValueGridTest() : form(ui, "Form1"), grid(form.Add<TValueGrid>("Grid")) {
        grid.SetColCount(3);
        grid.SetRowCount(4);
        grid.OnGetText = [this](int col, int row) {
            ++reads;
            auto it = data.find({col, row});
            return row == 0 ? std::string("Title") : it == data.end() ? std::string() : it->second;
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

// Editing itself is checked through the Qt view; here what the model refuses on its own.
TEST_F(ValueGridTest, CellsThatCannotBeEdited) {
    EXPECT_EQ(reads, 0);                  // nothing is read until asked
    EXPECT_FALSE(grid.ToggleCheck(1, 1)); // not a check box
    ASSERT_TRUE(grid.ToggleCheck(2, 1));
    EXPECT_FALSE(grid.SetEditorMode(true));  // a check box has no editor
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
    EXPECT_EQ(stores, std::vector<std::string>{"1"}); // the check box only
    EXPECT_THROW(grid.SetCurrentCell(3, 1), EKorvelError);
    EXPECT_EQ(grid.Cells(7, 7), ""); // the renderer may ask beyond the edge
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
    grid.SetDefaultColWidth(80);
    EXPECT_EQ(grid.ColWidth(0), 80);
    EXPECT_EQ(grid.ColWidth(2), 120);
}

TEST(Chart, AxesRefuseRangesTheyCannotDraw) {
    TChart chart("Chart");
    const TChartAxis freq{akLogarithmic, "Frequency [Hz]", false, 20, 20000, "%.0f"};
    chart.SetBottomAxis(freq);
    const auto refused = [&](auto change) {
        TChartAxis bad = freq;
        change(bad);
        EXPECT_THROW(chart.SetBottomAxis(bad), EKorvelError);
    };
    refused([](TChartAxis& a) { a.Min = 0; });
    refused([](TChartAxis& a) { a.Max = 10; });
    refused([](TChartAxis& a) { a.Max = NAN; });
    refused([](TChartAxis& a) { a.LabelFormat = "%s"; });
    // A range left to the data is not checked.
    TChartAxis automatic = freq;
    automatic.AutoRange = true;
    automatic.Min = -1;
    EXPECT_NO_THROW(chart.SetLeftAxis(automatic));
    EXPECT_EQ(chart.BottomAxis(), freq);
}

TEST(Chart, LabelFormatsTakeOneNumberAndNothingDangerous) {
    EXPECT_EQ(FormatAxisLabel("%.0f Hz", 1000.4), "1000 Hz");
    EXPECT_EQ(FormatAxisLabel("%.1f°", 22.5), "22.5°");
    EXPECT_EQ(FormatAxisLabel("%g %%", 50.0), "50 %");
    EXPECT_EQ(FormatAxisLabel("%+06.1f", 3.0), "+003.0");
    for (const char* bad : {"", "dB", "%d", "%f %f", "%n", "%s", "%100f", "%.100f", "%"})
        EXPECT_THROW(CheckLabelFormat(bad), EKorvelError) << bad;
}

TEST(Chart, SeriesChangesAreReportedAndDataRangeSkipsWhatLogCannotShow) {
    TChart chart("Chart");
    chart.SetBottomAxis({akLogarithmic, "f", true, 0, 1, "%g"});
    std::vector<TChange> changes;
    auto sub = chart.SubscribeScoped([&](TComponent&, const TChange& c) { changes.push_back(c); });

    int levels = chart.AddSeries({"Lw", skStep, clBlue, true, {{0, 40}, {63, 50}, {125, NAN}, {8000, 70}}});
    int hidden = chart.AddSeries({"Old", skLine, clRed, false, {{1, 200}, {100000, -5}}});
    chart.SetSeriesPoints(levels, {{0, 40}, {63, 50}, {125, NAN}, {8000, 70}}); // same points: no notice
    EXPECT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].Kind, TChangeKind::Items);
    EXPECT_EQ(changes[1].Index, hidden);
    EXPECT_EQ(chart.DataRange(true), std::make_optional(std::make_pair(63.0, 8000.0)));
    EXPECT_EQ(chart.DataRange(false), std::make_optional(std::make_pair(40.0, 70.0)));

    chart.SetSeriesVisible(levels, false);
    EXPECT_FALSE(chart.DataRange(true).has_value());
    chart.DeleteSeries(hidden);
    EXPECT_EQ(chart.SeriesCount(), 1);
    EXPECT_THROW(chart.Series(1), EKorvelError);
    chart.ClearSeries();
    EXPECT_EQ(chart.SeriesCount(), 0);
}

} // namespace
} // namespace korvel
