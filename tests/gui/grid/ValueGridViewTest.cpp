#include "gui/grid/ValueGridView.h"

#include "gui/grid/ValueGridModel.h"
#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "support/TestUi.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>
#include <map>
#include <memory>

namespace korvel::gui {
namespace {

// Collects Qt's warnings (the model tester reports through them) while it lives.
class TQtWarnings {
public:
    TQtWarnings() {
        Messages().clear();
        previous_ = qInstallMessageHandler(&Handler);
    }
    ~TQtWarnings() { qInstallMessageHandler(previous_); }
    TQtWarnings(const TQtWarnings&) = delete;
    TQtWarnings& operator=(const TQtWarnings&) = delete;
    static QStringList& Messages() {
        static QStringList messages;
        return messages;
    }

private:
    static void Handler(QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type != QtDebugMsg && type != QtInfoMsg)
            Messages() << message;
    }
    QtMessageHandler previous_;
};

struct TStore {
    int Col;
    int Row;
    std::string Text;
    bool operator==(const TStore&) const = default;
};

// Row 0 and column 0 are titles; column 1 takes numbers only, except the locked cell (1, 3); column 2 is a
// check box; column 3 picks a weighting from a list; row 4 is bold on yellow.
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
            stores.push_back({col, row, text});
        };
        grid.OnGetCellStyle = [](int col, int row, TCellStyle& style) {
            style.CheckBox = col == 2;
            if (col == 3)
                style.PickList = {"A", "C", "Z"};
            style.Editable = !(col == 1 && row == 3);
            style.Bold = row == 4;
            style.Color = row == 4 ? clYellow : clDefault;
        };
    }

    TValueGridView& View() {
        if (!view) {
            view = std::make_unique<TValueGridView>(grid);
            view->resize(400, 200);
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

    test::TTestUi ui;
    TForm form;
    TValueGrid& grid;
    std::map<std::pair<int, int>, std::string> data{{{1, 1}, "63.5"}, {{2, 1}, "1"}};
    std::vector<TStore> stores;
    std::unique_ptr<TValueGridView> view;
};

TEST_F(GridView, ModelTesterFollowsShapeChangesAndTheGridsEnd) {
    TQtWarnings warnings;
    QAbstractItemModelTester tester(&Model(), QAbstractItemModelTester::FailureReportingMode::Warning);
    grid.SetRowCount(9);
    grid.SetColCount(2);
    grid.SetFixedRows(2);
    grid.SetColCount(6);
    grid.SetRowCount(2); // titles only: no current cell
    grid.Invalidate();
    EXPECT_EQ(Model().rowCount(), 2);
    EXPECT_EQ(Model().columnCount(), 6);
    EXPECT_FALSE(View().currentIndex().isValid());
    grid.SetRowCount(4);
    EXPECT_EQ(View().currentIndex(), At(grid.Col(), grid.Row()));
    EXPECT_TRUE(warnings.Messages().isEmpty()) << warnings.Messages().join('\n').toStdString();
}

TEST_F(GridView, CellsShowTextStyleAndWhatMayBeEdited) {
    EXPECT_EQ(Model().data(At(1, 0)).toString(), "T1");
    EXPECT_EQ(Model().data(At(2, 0)).toString(), "T2"); // a title over check boxes is text
    EXPECT_FALSE(Model().data(At(2, 0), Qt::CheckStateRole).isValid());
    EXPECT_EQ(Model().data(At(1, 1)).toString(), "63.5");
    EXPECT_EQ(Model().flags(At(0, 1)), Qt::NoItemFlags); // a title
    EXPECT_EQ(Model().data(At(0, 1), Qt::BackgroundRole).value<QBrush>().color(),
              QGuiApplication::palette().button().color());
    EXPECT_TRUE(Model().flags(At(1, 1)) & Qt::ItemIsEditable);
    EXPECT_FALSE(Model().flags(At(1, 3)) & Qt::ItemIsEditable); // locked by its style
    EXPECT_FALSE(Model().flags(At(2, 1)) & Qt::ItemIsEditable);
    EXPECT_TRUE(Model().flags(At(2, 1)) & Qt::ItemIsUserCheckable);
    EXPECT_EQ(Model().data(At(2, 1), Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_FALSE(Model().data(At(2, 1)).isValid()); // no "1" beside the box
    EXPECT_TRUE(Model().data(At(1, 4), Qt::FontRole).value<QFont>().bold());
    EXPECT_EQ(Model().data(At(1, 4), Qt::BackgroundRole).value<QBrush>().color(), QColor(Qt::yellow));
    EXPECT_EQ(Model().data(At(3, 1), TValueGridModel::PickListRole).toStringList(),
              QStringList({"A", "C", "Z"}));

    grid.SetColWidth(1, 90);
    grid.SetDefaultRowHeight(30);
    EXPECT_EQ(View().horizontalHeader()->sectionSize(1), 90);
    EXPECT_EQ(View().horizontalHeader()->sectionSize(2), grid.DefaultColWidth());
    EXPECT_EQ(View().rowHeight(2), 30);
}

TEST_F(GridView, ACellNoticeRepaintsExactlyThatRange) {
    QSignalSpy spy(&Model(), &QAbstractItemModel::dataChanged);
    grid.InvalidateCell(2, 3);
    grid.InvalidateRow(1);
    grid.Invalidate();
    ASSERT_EQ(spy.size(), 3);
    auto range = [&](int i) {
        auto tl = spy[i][0].value<QModelIndex>();
        auto br = spy[i][1].value<QModelIndex>();
        return std::vector<int>{tl.column(), tl.row(), br.column(), br.row()};
    };
    EXPECT_EQ(range(0), (std::vector<int>{2, 3, 2, 3}));
    EXPECT_EQ(range(1), (std::vector<int>{0, 1, 3, 1}));
    EXPECT_EQ(range(2), (std::vector<int>{0, 0, 3, 4}));
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
    EXPECT_EQ(stores.back(), (TStore{2, 2, "1"}));
    EXPECT_EQ(stores.size(), 2u);
}

TEST_F(GridView, TheCellEditorIsTheGridsEditor) {
    Show();
    View().setCurrentIndex(At(1, 2));
    EXPECT_EQ(grid.Row(), 2);
    QTest::keyClick(&View(), Qt::Key_F2);
    ASSERT_NE(LineEditor(), nullptr);
    EXPECT_TRUE(grid.EditorMode());
    QTest::keyClicks(LineEditor(), "42");
    EXPECT_EQ(grid.EditText(), "42");
    QTest::keyClick(LineEditor(), Qt::Key_Tab); // stores and moves on; a check box opens no editor
    QCoreApplication::processEvents();
    EXPECT_EQ(View().CellEditor(), nullptr);
    EXPECT_FALSE(grid.EditorMode());
    EXPECT_EQ(grid.Col(), 2);
    EXPECT_EQ(View().currentIndex(), At(2, 2));
    View().setCurrentIndex(At(1, 2));

    // Visiting without a change stores nothing.
    QTest::keyClick(&View(), Qt::Key_F2);
    ASSERT_NE(LineEditor(), nullptr);
    QTest::keyClick(LineEditor(), Qt::Key_Return);
    EXPECT_EQ(stores, (std::vector<TStore>{{1, 2, "42"}}));

    // A refused text keeps the editor open, and the view cannot leave the cell until it is fixed.
    QTest::keyClick(&View(), Qt::Key_F2);
    ASSERT_NE(LineEditor(), nullptr);
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
    EXPECT_EQ(View().CellEditor(), nullptr);
    EXPECT_EQ(Model().data(At(1, 2)).toString(), "42");
    EXPECT_EQ(stores.size(), 1u);

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
    View().setCurrentIndex(At(3, 1));
    QTest::keyClick(&View(), Qt::Key_F2);
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
    EXPECT_EQ(grid.Row(), 2);
    EXPECT_EQ(data.count(std::make_pair(2, 2)), 0u);
}

TEST_F(GridView, CurrentCellFollowsTheGridBothWays) {
    Show();
    grid.OnSelectCell = [](TComponent&, int, int row, bool& canSelect) {
        canSelect = row != 3;
    };
    Click(1, 2);
    EXPECT_EQ(grid.Row(), 2);
    Click(1, 3); // refused: the view goes back
    EXPECT_EQ(grid.Row(), 2);
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    QTest::keyClick(&View(), Qt::Key_Down);
    QCoreApplication::processEvents();
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    Click(0, 4); // a title takes no click
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    grid.SetCurrentCell(3, 4);
    EXPECT_EQ(View().currentIndex(), At(3, 4));
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
    EXPECT_EQ(View().currentIndex(), At(1, 2));
    EXPECT_EQ(grid.Row(), 2);

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
    View().setCurrentIndex(At(1, 2));
    QTest::keyClick(&View(), Qt::Key_F2);
    EXPECT_EQ(View().CellEditor(), nullptr);
    EXPECT_FALSE(Model().flags(At(1, 2)) & Qt::ItemIsEditable);
    EXPECT_FALSE(Model().setData(At(1, 2), "3"));
    EXPECT_FALSE(Model().setData(At(2, 1), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(View().PasteText("1\t2"), 0);
    EXPECT_TRUE(stores.empty());
    grid.SetReadOnly(false);
    EXPECT_NE(View().editTriggers(), QAbstractItemView::NoEditTriggers);
}

TEST_F(GridView, GridDestroyedBeforeItsWidget) {
    Show();
    View().setCurrentIndex(At(1, 2));
    QTest::keyClick(&View(), Qt::Key_F2);
    ASSERT_NE(LineEditor(), nullptr);
    form.Remove(grid);
    QCoreApplication::processEvents();
    EXPECT_EQ(Model().rowCount(), 0);
    EXPECT_EQ(Model().Grid(), nullptr);
    EXPECT_FALSE(View().grab().isNull());
    QTest::keyClick(&View(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(View().PasteText("1"), 0);
}

} // namespace
} // namespace korvel::gui
