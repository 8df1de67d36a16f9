// The value grid and the chart as models and through their Qt views: what they refuse, what the views show,
// how edits, clicks, keys and the clipboard reach the grid, and how series are drawn as Qt Charts series.

#include "gui/base/WidgetRegistry.h"
#include "gui/grid/ChartGeometry.h"
#include "gui/grid/ChartView.h"
#include "gui/grid/GridWidgets.h"
#include "gui/grid/ValueGridModel.h"
#include "gui/grid/ValueGridView.h"
#include "platform/Errors.h"
#include "platform/ui/Chart.h"
#include "platform/ui/Form.h"
#include "support/TestUi.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QAreaSeries>
#include <QChartView>
#include <QComboBox>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QHeaderView>
#include <QLegend>
#include <QLegendMarker>
#include <QLineEdit>
#include <QLineSeries>
#include <QLogValueAxis>
#include <QScatterSeries>
#include <QSignalSpy>
#include <QTest>
#include <QValueAxis>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <memory>

namespace korvel::gui {
namespace {

using TStore = std::tuple<int, int, std::string>; // column, row, text

// Row 0 and column 0 are titles; column 1 takes numbers only, except the locked cell (1, 3); column 2 is a
// check box; column 3 picks a weighting from a list; row 4 is bold on yellow, red in column 1.
class GridView : public ::testing::Test {
protected:
    GridView() : form(ui, "Form1"), grid(form.Add<TValueGrid>("Grid")) {
        grid.SetColCount(4);
        grid.SetRowCount(5);
        grid.OnGetText = [this](int col, int row) {
            if (row == 0)
                return "T" + std::to_string(col);
            if (col == 0)
                return "R" + std::to_string(row);
            auto it = data.find({col, row});
            return it == data.end() ? std::string() : it->second;
        };
        grid.OnSetText = [this](int col, int row, const std::string& text) {
            if (col == 1 && text.find_first_not_of("0123456789.-") != std::string::npos)
                throw EKorvelError("\"" + text + "\" is not a number");
            data[{col, row}] = text;
            stores.emplace_back(col, row, text);
        };
        grid.OnGetCellStyle = [](int col, int row, TCellStyle& style) {
            style.CheckBox = col == 2;
            if (col == 3)
                style.PickList = {"A", "C", "Z"};
            style.Editable = !(col == 1 && row == 3);
            style.Bold = row == 4;
            style.Color = row == 4 ? clYellow : clDefault;
            style.FontColor = row == 4 && col == 1 ? clRed : clDefault;
        };
    }

    // The view, its model checked by Qt's model tester for as long as it lives.
    TValueGridView& View() {
        if (!view) {
            view = std::make_unique<TValueGridView>(grid);
            view->resize(400, 200);
            new QAbstractItemModelTester(view->GridModel(),
                                         QAbstractItemModelTester::FailureReportingMode::Fatal, view.get());
        }
        return *view;
    }
    TValueGridModel& Model() { return *View().GridModel(); }
    QModelIndex At(int col, int row) { return Model().index(row, col); }
    void Show() {
        View().show();
        View().activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&View()));
    }
    void Click(int col, int row) {
        QTest::mouseClick(View().viewport(), Qt::LeftButton, {}, View().visualRect(At(col, row)).center());
        QCoreApplication::processEvents();
    }
    QLineEdit* LineEditor() { return qobject_cast<QLineEdit*>(View().CellEditor()); }
    // Makes the cell current and presses F2 on it; the line editor that opened, if any.
    QLineEdit* StartEdit(int col, int row) {
        View().setCurrentIndex(At(col, row));
        QTest::keyClick(&View(), Qt::Key_F2);
        return LineEditor();
    }

    test::TTestUi ui;
    TForm form;
    TValueGrid& grid;
    std::map<std::pair<int, int>, std::string> data{{{1, 1}, "63.5"}, {{2, 1}, "1"}};
    std::vector<TStore> stores;
    std::unique_ptr<TValueGridView> view;
};

TEST_F(GridView, TheModelFollowsShapeChangesAndTheGridsEnd) {
    View();
    grid.SetRowCount(9);
    grid.SetColCount(2);
    grid.SetFixedRows(2);
    grid.SetColCount(6);
    grid.SetRowCount(2); // titles only: no current cell
    grid.Invalidate();
    EXPECT_EQ(std::tuple(Model().rowCount(), Model().columnCount(), View().currentIndex().isValid()),
              std::tuple(2, 6, false));
    grid.SetRowCount(4);
    EXPECT_EQ(View().currentIndex(), At(grid.Col(), grid.Row()));
}

// What the model refuses on its own, with no view asking.
TEST_F(GridView, TheGridRefusesCellsThatCannotBeEditedOrSelected) {
    EXPECT_FALSE(grid.ToggleCheck(1, 1)); // not a check box
    ASSERT_TRUE(grid.ToggleCheck(2, 1));
    EXPECT_FALSE(grid.SetEditorMode(true));  // a check box has no editor
    EXPECT_FALSE(grid.SetCurrentCell(0, 1)); // fixed column
    EXPECT_FALSE(grid.CanEditCell(1, 0));    // title row
    EXPECT_FALSE(grid.EditCell(1, 3, "1"));  // locked by its style
    grid.SetCurrentCell(1, 1);
    grid.SetEditing(false);
    EXPECT_FALSE(grid.SetEditorMode(true));
    EXPECT_EQ(stores, (std::vector<TStore>{{2, 1, "0"}}));
    EXPECT_THROW(grid.SetCurrentCell(4, 1), EKorvelError);
    EXPECT_EQ(grid.Cells(7, 7), ""); // a renderer may ask beyond the edge

    grid.OnSelectCell = [](TComponent&, int, int row, bool& canSelect) {
        canSelect = row != 2;
    };
    EXPECT_FALSE(grid.SetCurrentCell(1, 2));
    EXPECT_TRUE(grid.SetCurrentCell(1, 4));
    grid.SetRowCount(3);
    EXPECT_EQ(grid.Row(), 2); // the shrink moves the current cell inside
    EXPECT_THROW(grid.SetFixedRows(4), EKorvelError);
    EXPECT_THROW(grid.SetRowCount(-1), EKorvelError);
}

TEST_F(GridView, CellsShowTextStyleAndWhatMayBeEdited) {
    const auto text = [&](int col, int row) {
        return Model().data(At(col, row)).toString();
    };
    const auto flag = [&](int col, int row, Qt::ItemFlag f) {
        return Model().flags(At(col, row)).testFlag(f);
    };
    const auto colour = [&](int col, int row, int role) {
        return Model().data(At(col, row), role).value<QBrush>().color();
    };
    // A title over check boxes is text.
    EXPECT_EQ(QStringList({text(1, 0), text(2, 0), text(1, 1)}), QStringList({"T1", "T2", "63.5"}));
    EXPECT_FALSE(Model().data(At(2, 0), Qt::CheckStateRole).isValid());
    EXPECT_EQ(Model().flags(At(0, 1)), Qt::NoItemFlags); // a title
    EXPECT_EQ(colour(0, 1, Qt::BackgroundRole), QGuiApplication::palette().button().color());
    // (1, 3) is locked by its style; (2, 1) is a check box.
    EXPECT_EQ(std::tuple(flag(1, 1, Qt::ItemIsEditable), flag(1, 3, Qt::ItemIsEditable),
                         flag(2, 1, Qt::ItemIsEditable), flag(2, 1, Qt::ItemIsUserCheckable)),
              std::tuple(true, false, false, true));
    EXPECT_EQ(Model().data(At(2, 1), Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_FALSE(Model().data(At(2, 1)).isValid()); // no "1" beside the box
    EXPECT_EQ(std::tuple(Model().data(At(1, 4), Qt::FontRole).value<QFont>().bold(),
                         colour(1, 4, Qt::ForegroundRole), colour(1, 4, Qt::BackgroundRole)),
              std::tuple(true, QColor(Qt::red), QColor(Qt::yellow)));
    EXPECT_EQ(Model().data(At(3, 1), TValueGridModel::PickListRole).toStringList(),
              QStringList({"A", "C", "Z"}));

    grid.SetColWidth(1, 90);
    grid.SetDefaultColWidth(70);
    grid.SetDefaultRowHeight(30);
    EXPECT_EQ(std::tuple(View().horizontalHeader()->sectionSize(1), grid.DefaultColWidth(),
                         View().horizontalHeader()->sectionSize(2), View().rowHeight(2)),
              std::tuple(90, 70, 70, 30));
}

TEST_F(GridView, ACellNoticeRepaintsExactlyThatRange) {
    QSignalSpy spy(&Model(), &QAbstractItemModel::dataChanged);
    grid.InvalidateCell(2, 3);
    grid.InvalidateRow(1);
    QList<QModelIndex> ranges;
    for (const QList<QVariant>& args : spy)
        ranges << args[0].value<QModelIndex>() << args[1].value<QModelIndex>();
    EXPECT_EQ(ranges, (QList<QModelIndex>{At(2, 3), At(2, 3), At(0, 1), At(3, 1)}));
}

TEST_F(GridView, SetDataStoresOnceAndRefusedTextShowsTheOldValue) {
    EXPECT_TRUE(Model().setData(At(1, 2), "70.1"));
    EXPECT_TRUE(Model().setData(At(1, 2), "70.1")); // unchanged: no store
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 2, "70.1"}}));

    ui.ExpectMessage(mtError, "\"abc\" is not a number", mrOk);
    EXPECT_FALSE(Model().setData(At(1, 2), "abc"));
    EXPECT_FALSE(grid.EditorMode());
    EXPECT_EQ(Model().data(At(1, 2)).toString(), "70.1");

    EXPECT_TRUE(Model().setData(At(2, 2), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(Model().setData(At(2, 2), Qt::Checked, Qt::CheckStateRole)); // already checked
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 2, "70.1"}, {2, 2, "1"}}));
}

TEST_F(GridView, TheCellEditorIsTheGridsEditor) {
    Show();
    ASSERT_NE(StartEdit(1, 2), nullptr);
    EXPECT_EQ(std::tuple(grid.Row(), grid.EditorMode()), std::tuple(2, true));
    QTest::keyClicks(LineEditor(), "42");
    EXPECT_EQ(grid.EditText(), "42");
    QTest::keyClick(LineEditor(), Qt::Key_Tab); // stores and moves on; a check box opens no editor
    QCoreApplication::processEvents();
    EXPECT_EQ(
        std::tuple(View().CellEditor() == nullptr, grid.EditorMode(), grid.Col(), View().currentIndex()),
        std::tuple(true, false, 2, At(2, 2)));

    // Visiting without a change stores nothing.
    ASSERT_NE(StartEdit(1, 2), nullptr);
    QTest::keyClick(LineEditor(), Qt::Key_Return);
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 2, "42"}}));

    // A refused text keeps the editor open, and the view cannot leave the cell until it is fixed.
    ASSERT_NE(StartEdit(1, 2), nullptr);
    LineEditor()->selectAll();
    QTest::keyClicks(LineEditor(), "4x");
    ui.ExpectMessage(mtError, "\"4x\" is not a number", mrOk);
    QTest::keyClick(LineEditor(), Qt::Key_Return);
    QCoreApplication::processEvents();
    ASSERT_NE(LineEditor(), nullptr);
    EXPECT_EQ(LineEditor()->text(), "4x");
    ui.ExpectMessage(mtError, "\"4x\" is not a number", mrOk);
    Click(1, 1);
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    ASSERT_NE(LineEditor(), nullptr);
    QTest::keyClick(LineEditor(), Qt::Key_Escape);
    QCoreApplication::processEvents();
    EXPECT_EQ(std::tuple(View().CellEditor() == nullptr, Model().data(At(1, 2)).toString(), stores.size()),
              std::tuple(true, QString("42"), 1u));

    // The model opening and typing into its editor shows in the view.
    grid.SetCurrentCell(1, 1);
    grid.SetEditorMode(true);
    ASSERT_NE(LineEditor(), nullptr);
    grid.SetEditText("7");
    EXPECT_EQ(LineEditor()->text(), "7");
    grid.CancelEdit();
    QCoreApplication::processEvents();
    EXPECT_EQ(View().CellEditor(), nullptr);
}

TEST_F(GridView, PickListAndCheckBoxCells) {
    Show();
    StartEdit(3, 1);
    auto* combo = qobject_cast<QComboBox*>(View().CellEditor());
    ASSERT_NE(combo, nullptr);
    ASSERT_EQ(combo->count(), 3);
    EXPECT_EQ(combo->itemText(2), "Z");
    combo->setCurrentIndex(1);
    QTest::keyClick(combo, Qt::Key_Return);
    EXPECT_EQ(stores, (std::vector<TStore>{{3, 1, "C"}}));

    View().setCurrentIndex(At(2, 1));
    QTest::keyClick(&View(), Qt::Key_Space);
    EXPECT_EQ(data[std::make_pair(2, 1)], "0");
    Click(2, 2); // moves only; a click off the box does not toggle
    EXPECT_EQ(std::tuple(grid.Row(), data.count(std::make_pair(2, 2))), std::tuple(2, 0u));
}

TEST_F(GridView, PasteFillsABlockFromTheCurrentCellAndCopyTakesTheSelection) {
    View().setCurrentIndex(At(1, 2));
    // Columns 1..3 take a number, a check box and a pick; the fourth column of the block is past the grid's
    // last column, the fourth line past its last row.
    ui.SetClipboardText("10\t1\tZ\t99\r\n11\t0\tC\t99\r\n12\t1\tA\r\n13\t1\tA\r\n");
    QTest::keyClick(&View(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 2, "10"},
                                           {2, 2, "1"},
                                           {3, 2, "Z"},
                                           {3, 3, "C"}, // (1, 3) is locked, (2, 3) unchecked already
                                           {1, 4, "12"},
                                           {2, 4, "1"},
                                           {3, 4, "A"}}));
    EXPECT_EQ(std::tuple(View().currentIndex(), grid.Row()), std::tuple(At(1, 2), 2));

    ui.SetClipboardText("");
    View().selectionModel()->select(QItemSelection(At(1, 2), At(2, 4)), QItemSelectionModel::ClearAndSelect);
    QTest::keyClick(&View(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(ui.ClipboardText(), "10\t1\n\t\n12\t1");

    // A refused cell stops the paste there with its text in the editor; later cells are left alone.
    stores.clear();
    View().setCurrentIndex(At(1, 1));
    ui.ExpectMessage(mtError, "\"x\" is not a number", mrOk);
    EXPECT_EQ(View().PasteText("5\nx\n9"), 1);
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 1, "5"}}));
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    ASSERT_NE(LineEditor(), nullptr);
    EXPECT_EQ(LineEditor()->text(), "x");
}

TEST_F(GridView, ReadOnlyGridRefusesEveryEdit) {
    grid.SetReadOnly(true);
    Show();
    EXPECT_EQ(View().editTriggers(), QAbstractItemView::NoEditTriggers);
    EXPECT_EQ(StartEdit(1, 2), nullptr);
    EXPECT_FALSE(Model().flags(At(1, 2)) & Qt::ItemIsEditable);
    EXPECT_FALSE(Model().setData(At(1, 2), "3"));
    EXPECT_FALSE(Model().setData(At(2, 1), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(View().PasteText("1\t2"), 0);
    grid.SetCurrentCell(1, 1);
    EXPECT_FALSE(grid.SetEditorMode(true));
    EXPECT_TRUE(stores.empty());
    grid.SetReadOnly(false);
    EXPECT_NE(View().editTriggers(), QAbstractItemView::NoEditTriggers);
}

TEST_F(GridView, GridDestroyedBeforeItsWidget) {
    Show();
    ASSERT_NE(StartEdit(1, 2), nullptr);
    form.Remove(grid);
    QCoreApplication::processEvents();
    EXPECT_EQ(std::tuple(Model().rowCount(), Model().Grid() == nullptr), std::tuple(0, true));
    EXPECT_FALSE(View().grab().isNull());
    QTest::keyClick(&View(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(View().PasteText("1"), 0);
}

TEST_F(GridView, TheFactoriesMakeTheWidgetsAndTheGridIsDrawn) {
    RegisterGridAndChartWidgets();
    const TWidgetFactory* gridFactory = FindWidgetFactory("TValueGrid");
    const TWidgetFactory* chartFactory = FindWidgetFactory("TChart");
    ASSERT_NE(gridFactory, nullptr);
    ASSERT_NE(chartFactory, nullptr);
    auto& chart = form.Add<TChart>("Chart");
    EXPECT_THROW((*gridFactory)(chart, nullptr), EKorvelError);
    std::unique_ptr<QWidget> chartWidget((*chartFactory)(chart, nullptr));
    EXPECT_NE(dynamic_cast<QChartView*>(chartWidget.get()), nullptr);

    std::unique_ptr<QWidget> widget((*gridFactory)(grid, nullptr));
    ASSERT_NE(dynamic_cast<TValueGridView*>(widget.get()), nullptr);
    widget->resize(400, 200);
    widget->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    // Drawn: not just the background colour of the empty corner.
    const QImage image = widget->grab().toImage();
    QImage blank(image.size(), image.format());
    blank.fill(image.pixel(image.width() - 1, image.height() - 1));
    EXPECT_NE(image, blank) << "the grid looks blank";
}

const double kNaN = std::nan("");

QList<QPointF> PointsOf(QAbstractSeries* part) {
    if (auto* area = qobject_cast<QAreaSeries*>(part))
        return area->upperSeries()->points();
    return static_cast<QXYSeries*>(part)->points();
}

QColor PenOf(QAbstractSeries* part) {
    if (auto* area = qobject_cast<QAreaSeries*>(part))
        return area->pen().color();
    return static_cast<QXYSeries*>(part)->pen().color();
}

void ExpectPoints(const QList<QPointF>& actual, const QList<QPointF>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (qsizetype i = 0; i < actual.size(); ++i) {
        EXPECT_NEAR(actual[i].x(), expected[i].x(), 1e-9 * std::abs(expected[i].x()) + 1e-12)
            << "point " << i;
        EXPECT_NEAR(actual[i].y(), expected[i].y(), 1e-9) << "point " << i;
    }
}

// The texts Qt Charts has laid out (axis labels, titles, legend), once the view has been shown.
QStringList DrawnTexts(TChartView& view) {
    view.resize(500, 350);
    view.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
    QCoreApplication::processEvents();
    QStringList texts;
    for (QGraphicsItem* item : view.scene()->items())
        if (auto* text = dynamic_cast<QGraphicsTextItem*>(item))
            texts << text->toPlainText();
    return texts;
}

class ChartView : public ::testing::Test {
protected:
    TChartView& View() {
        if (!view)
            view = std::make_unique<TChartView>(chart);
        return *view;
    }

    TChart chart{"Spectrum"};
    std::unique_ptr<TChartView> view;
};

TEST_F(ChartView, StepsSpanTheirBandsAndGapsSplitTheLine) {
    chart.SetBottomAxis({akLogarithmic, "", true, 0, 1, "%g"});
    chart.AddSeries({"Lw", skStep, clBlue, true, {{63, 50}, {125, 60}, {250, kNaN}, {500, 70}}, {}});
    QList<QAbstractSeries*> parts = View().Parts(0);
    ASSERT_EQ(parts.size(), 2);
    const double e1 = std::sqrt(63.0 * 125);
    const double e2 = std::sqrt(125.0 * 250);
    ExpectPoints(PointsOf(parts[0]), {{63 / std::sqrt(125.0 / 63), 50}, {e1, 50}, {e1, 60}, {e2, 60}});
    ExpectPoints(PointsOf(parts[1]), {{std::sqrt(250.0 * 500), 70}, {500 * std::sqrt(2.0), 70}});
    // One legend entry per series.
    EXPECT_TRUE(View().chart()->legend()->markers(parts[0]).front()->isVisible());
    EXPECT_FALSE(View().chart()->legend()->markers(parts[1]).front()->isVisible());
    // The automatic range reaches the outer band edges.
    auto* x = static_cast<QLogValueAxis*>(View().HorizontalAxis());
    EXPECT_LT(x->min(), PointsOf(parts[0]).front().x());
    EXPECT_GT(x->max(), PointsOf(parts[1]).back().x());

    // On a linear axis a level holds from its X to the next; a value a log axis cannot show is a gap.
    ExpectPoints(StepRuns({{0, 1}, {10, 2}, {20, 3}}, false, false)[0],
                 {{0, 1}, {10, 1}, {10, 2}, {20, 2}, {20, 3}, {30, 3}});
    EXPECT_EQ(LineRuns({{1, 1}, {2, -1}, {3, 1}, {kNaN, 1}, {5, 1}}, false, true).size(), 3u);
    EXPECT_TRUE(LineRuns({{kNaN, kNaN}}, false, false).empty());
}

TEST_F(ChartView, BarsAreFilledFromTheAxisMinimum) {
    chart.SetLeftAxis({akLinear, "", false, 30, 80, "%g"});
    chart.AddSeries({"Lw", skBar, clGreen, true, {{1, 50}, {2, kNaN}, {3, 60}}, {}});
    ASSERT_EQ(View().Parts(0).size(), 1);
    auto* area = qobject_cast<QAreaSeries*>(View().Parts(0)[0]);
    ASSERT_NE(area, nullptr);
    const double h = 0.4; // 40 % of the closest spacing, 1 (the gap still counts), on each side
    QList<QPointF> bars;
    for (const auto& [x, y] : {std::pair{1.0, 50.0}, std::pair{3.0, 60.0}})
        bars << QPointF(x - h, 30) << QPointF(x - h, y) << QPointF(x + h, y) << QPointF(x + h, 30);
    ExpectPoints(area->upperSeries()->points(), bars);
    chart.SetLeftAxis({akLogarithmic, "", false, 10, 100, "%g"});
    EXPECT_NE(qobject_cast<QLogValueAxis*>(View().VerticalAxis()), nullptr);
    EXPECT_EQ(PointsOf(View().Parts(0)[0]).front(), QPointF(1 - h, 10)); // a log axis fills from its minimum
    // On a frequency axis bars are the filled steps.
    chart.SetBottomAxis({akLogarithmic, "", true, 0, 1, "%g"});
    area = qobject_cast<QAreaSeries*>(View().Parts(0)[0]);
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(area->upperSeries()->points(), StepRuns(chart.Series(0).Points, true, false)[0]);
}

TEST_F(ChartView, SeriesChangesReachTheChartWithoutANewChart) {
    chart.AddSeries({"A", skLine, clRed, true, {{1, 1}, {2, 2}}, {}});
    chart.AddSeries({"B", skLine, clDefault, true, {{1, 3}, {2, 4}}, {}});
    chart.AddSeries({"C", skArea, clBlue, true, {{1, 5}, {2, 6}}, {}});
    QChart* qchart = View().chart();
    EXPECT_EQ(qchart->series().size(), 3);
    const QColor themeSecond = View().SeriesColor(1);

    chart.SetSeriesPoints(1, {{1, 3}, {2, kNaN}, {3, 4}, {4, 4}});
    EXPECT_EQ(qchart->series().size(), 4);
    EXPECT_EQ(PenOf(View().Parts(1)[1]), themeSecond); // every run in the series' colour

    chart.DeleteSeries(0);
    EXPECT_EQ(View().chart(), qchart);
    EXPECT_EQ(qchart->series().size(), 3);
    EXPECT_NE(View().SeriesColor(0), themeSecond); // a default colour follows the position
    EXPECT_EQ(PenOf(View().Parts(0)[0]), View().SeriesColor(0));
    EXPECT_EQ(PenOf(View().Parts(1)[0]), QColor(Qt::blue));
    EXPECT_EQ(qobject_cast<QAreaSeries*>(View().Parts(1)[0])->brush().color().rgb(), QColor(Qt::blue).rgb());

    chart.SetSeriesVisible(1, false);
    EXPECT_TRUE(View().Parts(1).isEmpty());
    EXPECT_EQ(qchart->series().size(), 2);
    chart.ClearSeries();
    EXPECT_THROW(chart.Series(0), EKorvelError);
    chart.AddSeries({"D", skLine, RGBToColor(10, 200, 30), true, {}, {}});
    ASSERT_EQ(qchart->series().size(), 1); // an empty series keeps its legend entry
    EXPECT_EQ(PenOf(qchart->series()[0]), QColor(10, 200, 30));

    chart.SetTitle("L < 5 & more");
    chart.SetLegendVisible(false);
    EXPECT_EQ(View().chart(), qchart);
    EXPECT_EQ(qchart->title(), "L &lt; 5 &amp; more");
    EXPECT_FALSE(qchart->legend()->isVisible());
}

TEST_F(ChartView, LabelsUseThePersonsLocaleWithTheModelsFormat) {
    const QStringList formats{"%.0f Hz", "%g", "%+08.2F", "%.f", "%% %.1e<"};
    QStringList qtFormats;
    for (const QString& format : formats)
        qtFormats << AxisLabelFormat(format.toStdString());
    EXPECT_EQ(qtFormats, (QStringList{"%.0f Hz", "%.6g", "%.2f", "%.0f", "&#37; %.1e&lt;"}));
    EXPECT_EQ((std::vector<double>{TickInterval(30), TickInterval(1), TickInterval(20000), TickInterval(8)}),
              (std::vector<double>{5, 0.2, 5000, 1}));

    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    chart.SetLeftAxis({akLinear, "", false, 0, 1, "%.1f dB"});
    chart.SetBottomAxis({akLinear, "", false, 0, 20000, "%.0f Hz"});
    chart.AddSeries({"Lw", skLine, clDefault, true, {{0, 0.5}, {20000, 0.7}}, {}});
    const QStringList cartesian = DrawnTexts(View());
    chart.AddSeries({"Polar", skPolar, clDefault, true, {{0, 0.5}, {90, 0.7}}, {}}); // turns the chart polar
    ASSERT_TRUE(View().IsPolar());
    const QStringList polar = DrawnTexts(View());
    chart.DeleteSeries(1);
    EXPECT_FALSE(View().IsPolar());
    QLocale::setDefault(QLocale::c());
    EXPECT_TRUE(cartesian.contains("0,4 dB")) << cartesian.join(" | ").toStdString();
    EXPECT_TRUE(cartesian.contains("20000 Hz")) << cartesian.join(" | ").toStdString(); // no digit groups
    EXPECT_TRUE(polar.contains("90°")) << polar.join(" | ").toStdString();
}

// Shown and laid out, so the plot area and the painted cells are where they will be drawn.
QImage Shown(TChartView& view) {
    view.resize(500, 350);
    view.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
    QCoreApplication::processEvents();
    return view.grab().toImage();
}

// The colour in a grab at a point of the chart given as fractions of the plot area (from its bottom left);
// fx beyond 1 reaches right of the plot.
QColor At(TChartView& view, const QImage& image, double fx, double fy) {
    const QRectF area = view.chart()->plotArea();
    const QPointF at(area.left() + fx * area.width(), area.bottom() - fy * area.height());
    return image.pixelColor(view.viewport()->mapTo(&view, view.mapFromScene(view.chart()->mapToScene(at))));
}

::testing::AssertionResult Near(const QColor& actual, const QColor& expected, int tolerance = 2) {
    const int d =
        std::max({std::abs(actual.red() - expected.red()), std::abs(actual.green() - expected.green()),
                  std::abs(actual.blue() - expected.blue())});
    if (d <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << actual.name().toStdString() << " is not near " << expected.name().toStdString();
}

TEST_F(ChartView, ColourMapCellsTakeTheirValuesColourAndFollowEveryChange) {
    chart.SetPlotBackground(clWhite);
    // Two rows of three cells; the middle one of the lower row has no value.
    chart.AddSeries({"Map",
                     skColorMap,
                     clDefault,
                     true,
                     {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}},
                     {0, kNaN, 10, 5, 5, 5}});
    EXPECT_TRUE(View().Parts(0).isEmpty());
    // The cells fill the plot edge to edge.
    const auto* x = static_cast<QValueAxis*>(View().HorizontalAxis());
    const auto* y = static_cast<QValueAxis*>(View().VerticalAxis());
    EXPECT_EQ(std::tuple(x->min(), x->max(), y->min(), y->max()), std::tuple(-0.5, 2.5, -0.5, 1.5));
    // Sampled off the centres: grid lines run through them.
    auto cell = [&](const QImage& image, int col, int row) {
        return At(View(), image, (col + 0.3) / 3, (row + 0.3) / 2);
    };
    QImage image = Shown(View());
    ASSERT_TRUE(View().ShowsColorMap());
    EXPECT_TRUE(Near(cell(image, 0, 0), ColorMapColor(0)));
    EXPECT_TRUE(Near(cell(image, 2, 0), ColorMapColor(1)));
    EXPECT_TRUE(Near(cell(image, 1, 1), ColorMapColor(0.5)));
    EXPECT_TRUE(Near(cell(image, 1, 0), Qt::white)) << "a cell without a value shows the plot background";
    // The colour bar right of the plot: the lowest value at the bottom, the highest at the top.
    const double bar = 1 + 17 / View().chart()->plotArea().width();
    EXPECT_TRUE(Near(At(View(), image, bar, 0.02), ColorMapColor(0.02), 6));
    EXPECT_TRUE(Near(At(View(), image, bar, 0.98), ColorMapColor(0.98), 6));

    chart.SetSeriesCells(0, chart.Series(0).Points, {10, kNaN, 0, 5, 5, 5});
    image = Shown(View());
    EXPECT_TRUE(Near(cell(image, 0, 0), ColorMapColor(1)));
    EXPECT_TRUE(Near(cell(image, 2, 0), ColorMapColor(0)));
    chart.SetColorRange(std::make_pair(0.0, 20.0));
    EXPECT_TRUE(Near(cell(Shown(View()), 0, 0), ColorMapColor(0.5)));
    chart.SetSeriesVisible(0, false);
    image = Shown(View());
    EXPECT_FALSE(View().ShowsColorMap());
    EXPECT_TRUE(Near(cell(image, 0, 0), Qt::white));
}

TEST_F(ChartView, PolarPointsAreMarkersAndTheGridAndBackgroundColoursReachTheChart) {
    chart.SetLeftAxis({akLinear, "dB", false, -40, 10, "%g"});
    chart.AddSeries({"Measured", skPolarPoints, clBlue, true, {{0, -3}, {45, kNaN}, {90, -20}}, {}});
    ASSERT_TRUE(View().IsPolar());
    ASSERT_EQ(View().Parts(0).size(), 1);
    auto* scatter = qobject_cast<QScatterSeries*>(View().Parts(0)[0]);
    ASSERT_NE(scatter, nullptr);
    EXPECT_EQ(scatter->points(), (QList<QPointF>{{0, -3}, {90, -20}}));
    EXPECT_EQ(scatter->color(), QColor(Qt::blue));

    const QColor themeGrid = View().VerticalAxis()->gridLineColor();
    chart.SetGridColor(RGBToColor(200, 0, 0));
    chart.SetPlotBackground(RGBToColor(240, 240, 255));
    for (QAbstractAxis* axis : {View().HorizontalAxis(), View().VerticalAxis()})
        EXPECT_EQ(axis->gridLineColor(), QColor(200, 0, 0));
    EXPECT_EQ(View().chart()->plotAreaBackgroundBrush().color(), QColor(240, 240, 255));
    chart.SetGridColor(clDefault);
    chart.SetPlotBackground(clDefault);
    EXPECT_EQ(View().VerticalAxis()->gridLineColor(), themeGrid);
    EXPECT_FALSE(View().chart()->isPlotAreaBackgroundVisible());
    // Qt cannot draw cells around a pole: a colour map on a polar chart is left out.
    chart.AddSeries({"Map", skColorMap, clDefault, true, {{0, 0}}, {1}});
    Shown(View());
    EXPECT_FALSE(View().ShowsColorMap());
}

TEST(ChartGeometry, CellsReachHalfwayToTheirNeighboursInTheAxisScaleAndTheColoursGetLighter) {
    const double r10 = std::sqrt(10.0);
    const std::vector<std::tuple<std::vector<double>, bool, std::vector<double>>> cases = {
        {{0, 1, 3}, false, {-0.5, 0.5, 2, 4}},
        {{5}, false, {4.5, 5.5}},
        {{100, 1000}, true, {100 / r10, 100 * r10, 1000 * r10}},
        {{1000}, true, {1000 / std::sqrt(2.0), 1000 * std::sqrt(2.0)}},
    };
    for (const auto& [centres, log, edges] : cases) {
        const std::vector<double> actual = CellEdges(centres, log);
        ASSERT_EQ(actual.size(), edges.size());
        for (std::size_t i = 0; i < edges.size(); ++i)
            EXPECT_NEAR(actual[i], edges[i], 1e-9 * std::abs(edges[i])) << centres.front() << " " << i;
    }
    // Centres a log axis cannot show are off the lattice.
    const TCellLattice lattice = CellLatticeOf({{2, 0}, {1, 0}, {2, 5}, {-1, 5}, {kNaN, 1}}, true, false);
    EXPECT_EQ(std::tuple(lattice.Xs, lattice.Ys),
              std::tuple(std::vector<double>{1, 2}, std::vector<double>{0, 5}));
    EXPECT_EQ(lattice.CellOf({2, 5}), std::make_pair(std::size_t{1}, std::size_t{1}));
    EXPECT_EQ(lattice.CellOf({-1, 5}), std::nullopt);

    // Perceptual: lighter all the way up, so a grey print still orders the values; the ends clamp.
    auto luma = [](const QColor& c) {
        return 0.2126 * c.redF() + 0.7152 * c.greenF() + 0.0722 * c.blueF();
    };
    for (int i = 1; i <= 40; ++i)
        EXPECT_GT(luma(ColorMapColor(i / 40.0)), luma(ColorMapColor((i - 1) / 40.0))) << i;
    EXPECT_EQ(std::tuple(ColorMapColor(-3), ColorMapColor(7)),
              std::tuple(ColorMapColor(0), ColorMapColor(1)));
    EXPECT_FALSE(ColorMapColor(kNaN).isValid());
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
    refused([](TChartAxis& a) { a.Max = kNaN; });
    refused([](TChartAxis& a) { a.LabelFormat = "%s"; });
    // A range left to the data is not checked.
    TChartAxis automatic = freq;
    automatic.AutoRange = true;
    automatic.Min = -1;
    EXPECT_NO_THROW(chart.SetLeftAxis(automatic));
    EXPECT_EQ(chart.BottomAxis(), freq);

    // The same points again, a gap equalling a gap, raise no notice.
    chart.AddSeries({"Lw", skStep, clBlue, true, {{63, 50}, {125, kNaN}}, {}});
    int changes = 0;
    auto sub = chart.SubscribeScoped([&](TComponent&, const TChange&) { ++changes; });
    chart.SetSeriesPoints(0, chart.Series(0).Points);
    EXPECT_EQ(changes, 0);
}

TEST(Chart, LabelFormatsTakeOneNumberAndNothingDangerous) {
    EXPECT_EQ(FormatAxisLabel("%.0f Hz", 1000.4), "1000 Hz");
    EXPECT_EQ(FormatAxisLabel("%.1f°", 22.5), "22.5°");
    EXPECT_EQ(FormatAxisLabel("%g %%", 50.0), "50 %");
    EXPECT_EQ(FormatAxisLabel("%+06.1f", 3.0), "+003.0");
    for (const char* bad : {"", "dB", "%d", "%f %f", "%n", "%s", "%100f", "%.100f", "%"})
        EXPECT_THROW(CheckLabelFormat(bad), EKorvelError) << bad;
}

TEST_F(ChartView, ModelDestroyedBeforeItsWidget) {
    auto owned = std::make_unique<TChart>("Chart");
    owned->AddSeries({"A", skStep, clDefault, true, {{1, 1}, {2, 2}}, {}});
    owned->AddSeries({"Map", skColorMap, clDefault, true, {{1, 1}, {2, 1}}, {3, 4}});
    TChartView widget(*owned);
    owned.reset();
    widget.resize(300, 200); // a new plot area, with the cells' model gone
    EXPECT_FALSE(widget.grab().isNull());
    EXPECT_EQ(widget.chart()->series().size(), 1);
}

} // namespace
} // namespace korvel::gui
