#include "gui/ui/LogView.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTest>
#include <QTreeWidget>
#include <gtest/gtest.h>
#include <memory>

namespace korvel::gui {
namespace {

QImage IconImage(const QIcon& icon) {
    return icon.pixmap(16, 16).toImage();
}

TEST(LogView, ShowsEntriesWithTheirKindAndTheCounters) {
    TLog log;
    log.AddInformation("Import of pumps.lib started");
    TLogView view;
    view.SetLog(&log); // entries from before attaching are shown too
    log.AddError("Record 7: no name");

    QTreeWidget* list = view.EntryList();
    ASSERT_EQ(list->topLevelItemCount(), 2);
    QTreeWidgetItem* info = list->topLevelItem(0);
    QTreeWidgetItem* error = list->topLevelItem(1);
    EXPECT_EQ(info->text(1), "Import of pumps.lib started");
    EXPECT_EQ(error->text(1), "Record 7: no name");
    EXPECT_EQ(error->text(0).size(), 8); // HH:mm:ss
    const QStyle* style = view.style();
    EXPECT_EQ(IconImage(error->icon(0)), IconImage(style->standardIcon(QStyle::SP_MessageBoxCritical)));
    EXPECT_EQ(IconImage(info->icon(0)), IconImage(style->standardIcon(QStyle::SP_MessageBoxInformation)));
    EXPECT_EQ(error->foreground(1).color(), QColor(Qt::red));
    EXPECT_NE(info->foreground(1).color(), QColor(Qt::red));
    EXPECT_EQ(view.CountersLabel()->text(), "Information: 1   Errors: 1");

    log.ResetCounters();
    EXPECT_EQ(view.CountersLabel()->text(), "Information: 0   Errors: 0");
    EXPECT_EQ(list->topLevelItemCount(), 2);

    view.ClearButton()->click();
    EXPECT_TRUE(log.Entries().empty());
    EXPECT_EQ(list->topLevelItemCount(), 0);
}

TEST(LogView, FollowsProgressAndCancels) {
    TLog log;
    TLogView view;
    EXPECT_FALSE(view.CancelButton()->isEnabled());
    view.SetLog(&log);
    log.SetProgress(40);
    EXPECT_EQ(view.ProgressBar()->value(), 40);
    log.SetProgressOf(3, 4);
    EXPECT_EQ(view.ProgressBar()->value(), 75);

    ASSERT_TRUE(view.CancelButton()->isEnabled());
    QTest::mouseClick(view.CancelButton(), Qt::LeftButton);
    EXPECT_TRUE(log.Cancelled());
    EXPECT_FALSE(view.CancelButton()->isEnabled());
    log.ResetCancel();
    EXPECT_TRUE(view.CancelButton()->isEnabled());

    log.Clear();
    EXPECT_EQ(view.ProgressBar()->value(), 0);
}

TEST(LogView, NewEntriesScrollIntoView) {
    TLog log;
    TLogView view;
    view.resize(400, 200);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    view.SetLog(&log);
    for (int i = 0; i < 300; ++i)
        log.AddInformation("Element " + std::to_string(i));
    QApplication::processEvents();
    QTreeWidget* list = view.EntryList();
    const QRect last = list->visualItemRect(list->topLevelItem(299));
    EXPECT_TRUE(list->viewport()->rect().intersects(last));
    EXPECT_FALSE(list->viewport()->rect().intersects(list->visualItemRect(list->topLevelItem(0))));
}

TEST(LogView, OutlivesOrPrecedesItsLogSafely) {
    TLogView view;
    auto log = std::make_unique<TLog>();
    view.SetLog(log.get());
    log->AddError("one");
    view.SetLog(nullptr);
    log.reset();
    EXPECT_EQ(view.EntryList()->topLevelItemCount(), 0);
    EXPECT_FALSE(view.CancelButton()->isEnabled());
    view.ClearButton()->click(); // disabled, and nothing to clear
    EXPECT_EQ(view.CountersLabel()->text(), "Information: 0   Errors: 0");

    TLog other;
    {
        TLogView shortLived;
        shortLived.SetLog(&other);
    }
    other.AddInformation("after the window went"); // must not reach the deleted view
    other.SetProgress(50);
    EXPECT_EQ(other.Entries().size(), 1u);
}

} // namespace
} // namespace korvel::gui
