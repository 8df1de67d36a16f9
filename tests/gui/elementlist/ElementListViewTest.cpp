#include "gui/elementlist/ElementListView.h"

#include "dbctrls/DbCtrlsFixture.h"
#include "gui/base/WidgetRegistry.h"
#include "gui/elementlist/ElementListModel.h"
#include "gui/elementlist/ElementListWidgets.h"

#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <random>

namespace korvel::gui {
namespace {

class ElementListGui : public test::DbCtrlsFixture {
protected:
    void SetUp() override {
        DbCtrlsFixture::SetUp();
        AddNamedElements();
        list.SetDataSource(&source);
        list.SetColumns({{"Nr", "###", 40}, {"ElementName", "Element name", 200}});
    }

    // The model alone, checked by Qt's model tester for as long as it lives.
    TElementListModel& Model() {
        if (!model) {
            model = new TElementListModel(list, &owner);
            new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal, model);
        }
        return *model;
    }

    TElementListView& View() {
        if (!view) {
            view = std::make_unique<TElementListView>();
            view->setModel(&Model());
            view->resize(400, 300);
            view->show();
            EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        }
        return *view;
    }

    QString Shown(int row, int col) { return Model().data(Model().index(row, col)).toString(); }

    bool Ready(int first, int last) {
        Model().data(Model().index(first, 0)); // what a paint asks
        Model().data(Model().index(last, 0));
        return QTest::qWaitFor([&] { return Model().RowsReady(first, last); }, 5000);
    }

    QStringList Names() {
        EXPECT_TRUE(Ready(0, Model().rowCount() - 1));
        QStringList out;
        for (int r = 0; r < Model().rowCount(); ++r)
            out << Shown(r, 1);
        return out;
    }

    void Click(int row, int col, Qt::KeyboardModifiers modifiers = {}) {
        const QRect cell = View().visualRect(Model().index(row, col));
        QTest::mouseClick(View().viewport(), Qt::LeftButton, modifiers, cell.center());
    }

    TDBElementList& list = form.Add<TDBElementList>("ElementList");
    // Destroyed before the form and its list: the view and the model go first, as the renderer does it.
    QObject owner;
    TElementListModel* model = nullptr;
    std::unique_ptr<TElementListView> view;
};

TEST_F(ElementListGui, RowsArriveFromTheLoaderWithTheListsTexts) {
    list.OnGetHint = [](std::int64_t row) {
        return "Row " + std::to_string(row);
    };
    TElementListModel& m = Model();
    EXPECT_EQ(std::pair(m.rowCount(), m.columnCount()), std::pair(5, 2));
    EXPECT_EQ(m.headerData(1, Qt::Horizontal).toString(), "Element name");
    EXPECT_EQ(m.headerData(0, Qt::Vertical).toInt(), 1); // rows count from 1 at the side
    EXPECT_EQ(m.data(m.index(3, 0), Qt::ToolTipRole).toString(), "Row 3");

    // Nothing is read on this thread: the first look shows an empty row and asks the loader.
    QSignalSpy arrived(&m, &QAbstractItemModel::dataChanged);
    EXPECT_EQ(Shown(0, 1), "");
    EXPECT_FALSE(m.RowsReady(0, 4));
    ASSERT_TRUE(arrived.wait(5000));
    EXPECT_EQ(Names(), (QStringList{"Delta", "alpha", "Charlie", "bravo", "Echo"}));
    EXPECT_EQ(m.RowsLoaded(), 5u);
    EXPECT_EQ(list.RowsRead(), 0u);
    EXPECT_EQ(m.LoadError(), "");
    for (int r = 0; r < 5; ++r)
        EXPECT_EQ(Shown(r, 0), QString::fromStdString(list.CellText(r, 0)));
}

TEST_F(ElementListGui, TheRecordBeingEditedShowsWhatIsTyped) {
    View();
    ASSERT_TRUE(Ready(0, 4));
    QSignalSpy changed(&Model(), &QAbstractItemModel::dataChanged);
    elements->SetRecNo(2);
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("alphabet");
    EXPECT_EQ(Shown(1, 1), "alphabet");
    EXPECT_EQ(Shown(0, 1), "Delta");
    EXPECT_TRUE(std::any_of(changed.begin(), changed.end(), [](const QList<QVariant>& args) {
        return args[0].toModelIndex().row() <= 1 && args[1].toModelIndex().row() >= 1;
    }));
    elements->Cancel();
    EXPECT_EQ(Shown(1, 1), "alpha");

    // After the store the row never shows the old name, not even while the fresh rows are on their way.
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("alphabet");
    elements->Post();
    EXPECT_EQ(Shown(1, 1), "alphabet");
    EXPECT_EQ(Names(), (QStringList{"Delta", "alphabet", "Charlie", "bravo", "Echo"}));

    // Inside a transaction the loader's connection cannot see the new rows: they are read here, the row
    // being edited with its typed text, which a cancel must not leave behind.
    db->StartTransaction();
    Add(*elements, "Foxtrot");
    ASSERT_EQ(Model().rowCount(), 6);
    elements->Edit();
    elements->FieldByName("ElementName").SetAsString("Golf");
    list.Invalidate(); // rows read again during the edit
    EXPECT_EQ(Shown(5, 1), "Golf");
    EXPECT_TRUE(Model().RowsReady(0, 5));
    elements->Cancel();
    EXPECT_EQ(Shown(5, 1), "Foxtrot");
    db->Commit();
}

TEST_F(ElementListGui, ATitleClickReordersAndTheCurrentRecordStaysCurrent) {
    list.OnTitleClick = [&](TComponent&, int col) {
        elements->SetIndexName(col == 1 ? "EN" : "");
    };
    View();
    ASSERT_TRUE(Ready(0, 4));
    EXPECT_EQ(View().currentIndex().row(), 0); // Delta
    const auto generation = Model().Generation();
    QHeaderView* header = View().horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(1) + 10, header->height() / 2));
    EXPECT_GT(Model().Generation(), generation);
    EXPECT_EQ(Names(), (QStringList{"alpha", "bravo", "Charlie", "Delta", "Echo"}));
    EXPECT_EQ(std::pair(Model().CurrentRow(), View().currentIndex().row()), std::pair(3, 3));
    EXPECT_EQ(elements->FieldByName("ElementName").AsString(), "Delta");
    // The core's widths survive the reset of the header.
    EXPECT_EQ(list.Columns()[1].Width, 200);
    EXPECT_EQ(header->sectionSize(1), 200);
    header->resizeSection(1, 150);
    EXPECT_EQ(list.Columns()[1].Width, 150);
}

TEST_F(ElementListGui, ClicksAndKeysSelectInTheCore) {
    View();
    ASSERT_TRUE(Ready(0, 4));
    const auto shownSelected = [&](int row, int col) {
        return Model().data(Model().index(row, col), TElementListModel::SelectedRole).toBool();
    };
    using TMarks = std::vector<db::TBookmark>;
    const auto state = [&] {
        return std::tuple(list.CurrentRow(), list.SelectedBookmarks());
    };
    // Without multi-selection a click moves the current record and that is the selection.
    Click(2, 0);
    EXPECT_EQ(std::tuple(list.CurrentRow(), list.SelectedIndex(), shownSelected(2, 1), shownSelected(0, 1)),
              std::tuple(2, 0, true, false));

    list.SetMultiSelect(true);
    Click(1, 1);
    EXPECT_EQ(list.SelectedIndex(), 1);
    EXPECT_EQ(state(), std::tuple(1, TMarks{numbers["alpha"]}));
    Click(3, 1, Qt::ShiftModifier);
    EXPECT_EQ(list.SelectedBookmarks(), (TMarks{numbers["alpha"], numbers["Charlie"], numbers["bravo"]}));
    Click(2, 1, Qt::ControlModifier);
    EXPECT_EQ(list.SelectedBookmarks(), (TMarks{numbers["alpha"], numbers["bravo"]}));
    EXPECT_EQ(std::tuple(shownSelected(2, 0), shownSelected(3, 0)), std::tuple(false, true));

    QTest::keyClick(&View(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(list.SelectedCount(), 5);
    // A plain arrow selects the row it reaches; Shift+End extends to the last.
    QTest::keyClick(&View(), Qt::Key_Down);
    EXPECT_EQ(state(), std::tuple(3, TMarks{numbers["bravo"]}));
    QTest::keyClick(&View(), Qt::Key_End, Qt::ShiftModifier);
    EXPECT_EQ(state(), std::tuple(4, TMarks{numbers["bravo"], numbers["Echo"]}));
    // Ctrl moves without selecting; Ctrl+Space toggles the row reached.
    QTest::keyClick(&View(), Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(std::tuple(list.CurrentRow(), list.SelectedCount()), std::tuple(0, 2));
    QTest::keyClick(&View(), Qt::Key_Space, Qt::ControlModifier);
    EXPECT_EQ(std::tuple(list.SelectedCount(), list.IsSelected(0)), std::tuple(3, true));
    QTest::keyClick(&View(), Qt::Key_Left);
    EXPECT_EQ(std::tuple(list.SelectedIndex(), View().currentIndex()), std::tuple(0, Model().index(0, 0)));
    QTest::keyClick(&View(), Qt::Key_Right);
    EXPECT_EQ(list.SelectedIndex(), 1);
}

TEST_F(ElementListGui, TheFactoryMakesTheViewAndSurvivesTheControlGoingFirst) {
    RegisterElementListWidget();
    const TWidgetFactory* factory = FindWidgetFactory("TDBElementList");
    ASSERT_NE(factory, nullptr);
    QWidget parent;
    auto shortLived = std::make_unique<TDBElementList>("Short");
    shortLived->SetDataSource(&source);
    shortLived->SetColumns({{"ElementName", "Name", 120}});
    auto* widget = qobject_cast<TElementListView*>((*factory)(*shortLived, &parent));
    ASSERT_NE(widget, nullptr);
    ASSERT_NE(widget->ListModel(), nullptr);
    EXPECT_EQ(widget->ListModel()->rowCount(), 5);
    EXPECT_EQ(widget->horizontalHeader()->sectionSize(0), 120);
    parent.resize(300, 200);
    widget->resize(300, 200);
    parent.show();
    shortLived.reset();
    EXPECT_EQ(widget->ListModel()->List(), nullptr);
    EXPECT_EQ(widget->ListModel()->rowCount(), 0);
    widget->viewport()->repaint();
    QTest::keyClick(widget, Qt::Key_Down);
}

// A big library: whatever the view scrolls to shows the right rows, read in a few windows off this thread.
class BigElementListGui : public ElementListGui {
protected:
    static constexpr int kRows = 200000;

    void SetUp() override {
        ElementListGui::SetUp();
        db::TTableDef def;
        def.AddField("Nr", db::TFieldType::AutoInc)
            .AddField("ElementName", db::TFieldType::String, 40)
            .AddField("Level", db::TFieldType::Float);
        def.AddIndex("p", {"Nr"}, db::ixPrimary).AddIndex("Down", {"Nr"}, db::ixDescending);
        db->CreateTable("Big", def);
        db->Connection().Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                              std::to_string(kRows) +
                              ") INSERT INTO Big (ElementName, Level) SELECT 'E' || i, i * 0.5 FROM n");
        big = std::make_unique<db::TTable>(db, "Big");
        big->Open();
        source.SetDataSet(big.get());
        list.SetColumns({{"Nr", "###"}, {"ElementName", "Element name"}});
    }

    void TearDown() override {
        view.reset();
        source.SetDataSet(nullptr);
        big.reset();
    }

    // Scrolls to the pixel offset, waits for the rows and checks each against the number it must show.
    void ScrollAndCheck(int offset) {
        View().verticalScrollBar()->setValue(offset);
        QCoreApplication::processEvents();
        const auto [first, last] = View().VisibleRows();
        ASSERT_GE(first, 0);
        ASSERT_TRUE(Ready(first, last)) << "rows " << first << ".." << last;
        for (int r = first; r <= last; ++r) {
            ASSERT_EQ(Shown(r, 0), QString::number(r + 1));
            ASSERT_EQ(Shown(r, 1), "E" + QString::number(r + 1));
        }
    }

    std::unique_ptr<db::TTable> big;
};

TEST_F(BigElementListGui, ScrollingAnywhereShowsTheRightRowsFromAFewWindows) {
    ASSERT_EQ(Model().rowCount(), kRows);
    QScrollBar* bar = View().verticalScrollBar();
    std::mt19937 random(5);
    constexpr int kPositions = 40;
    for (int i = 0; i < kPositions; ++i)
        ScrollAndCheck(static_cast<int>(random() % static_cast<unsigned>(bar->maximum() + 1)));
    ScrollAndCheck(bar->maximum());
    ScrollAndCheck(0);
    // Each place costs at most the two windows it straddles; the GUI thread itself read none.
    EXPECT_LE(Model().LoaderRowsRead(), (kPositions + 2) * 2 * TElementListModel::kWindowRows);
    EXPECT_EQ(list.RowsRead(), 0u);

    // A fast drag passes many windows without waiting; where it stops is right, and the rest were skipped.
    const auto before = Model().LoaderRowsRead();
    for (int i = 1; i <= 60; ++i) {
        bar->setValue(bar->maximum() / 61 * i);
        View().viewport()->repaint();
    }
    ScrollAndCheck(bar->maximum() / 2);
    // No window is read twice for one stop.
    EXPECT_LE(Model().LoaderRowsRead() - before, 61u * 2 * TElementListModel::kWindowRows);
}

TEST_F(BigElementListGui, AfterAReorderTheCurrentRecordKeepsItsPlaceOnTheScreen) {
    QScrollBar* bar = View().verticalScrollBar();
    ScrollAndCheck(bar->maximum() / 3);
    const int row = View().VisibleRows().first + 5;
    Click(row, 1);
    ASSERT_EQ(list.CurrentRow(), row);
    const int y = View().rowViewportPosition(row);

    big->SetIndexName("Down");
    const int moved = kRows - 1 - row;
    EXPECT_EQ(Model().CurrentRow(), moved);
    EXPECT_EQ(View().rowViewportPosition(moved), y);
    ASSERT_TRUE(Ready(moved, moved));
    EXPECT_EQ(Shown(moved, 1), "E" + QString::number(row + 1));

    // With the current row out of sight, a reset leaves the view where the user put it.
    bar->setValue(bar->value() / 2);
    const int value = bar->value();
    list.Invalidate();
    QCoreApplication::processEvents();
    EXPECT_EQ(bar->value(), value);
}

} // namespace
} // namespace korvel::gui
