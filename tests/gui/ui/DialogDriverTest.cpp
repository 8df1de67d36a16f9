#include "gui/DialogDriver.h"

#include "gui/ui/QtUi.h"

#include <QTest>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace korvel::gui {
namespace {

// The driver must turn a missing or stuck dialog into a failure instead of a hanging test.
TEST(DialogDriver, FailsInsteadOfHanging) {
    ::testing::TestPartResultArray failures;
    TModalResult result = mrNone;
    {
        ::testing::ScopedFakeTestPartResultReporter reporter(
            ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        test::AnswerNextModal([](QWidget*) {}, 100);
        QTest::qWait(300);
        test::AnswerNextModal([](QWidget*) {}, 100); // leaves the box open
        TQtUi ui;
        result = ui.MessageDlg("Stuck?", mtConfirmation, {mbYes, mbNo});
    }
    ASSERT_EQ(failures.size(), 2);
    EXPECT_NE(std::string(failures.GetTestPartResult(0).message()).find("No modal dialog appeared"),
              std::string::npos);
    EXPECT_NE(std::string(failures.GetTestPartResult(1).message()).find("still open after its answer"),
              std::string::npos);
    EXPECT_EQ(result, mrCancel);
    EXPECT_EQ(test::PendingModalAnswers(), 0);
}

} // namespace
} // namespace korvel::gui
