// Control models as the desktop program draws them: what a person's drag of a tab and a refused exit of an
// edit do to the models, on the offscreen platform.

#include "gui/render/FormPresenter.h"
#include "gui/render/FormView.h"
#include "gui/render/Renderer.h"
#include "gui/ui/QtUi.h"
#include "platform/ui/Form.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/StdCtrls.h"

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QTabBar>
#include <QTest>
#include <gtest/gtest.h>

namespace korvel::gui::test {
namespace {

class RenderedControlsTest : public ::testing::Test {
protected:
    RenderedControlsTest() {
        RegisterAllWidgets();
        form_.SetBounds(0, 0, 500, 200);
    }
    ~RenderedControlsTest() override { form_.Close(); }
    template <class W> W* Show(TControl& control) {
        presenter_.ShowForm(form_);
        QApplication::processEvents();
        return qobject_cast<W*>(FindControlWidget(presenter_.ViewOf(form_)->Client(), control));
    }

    TFormPresenter presenter_;
    TQtUi ui_{nullptr, &presenter_};
    TForm form_{ui_, "Form"};
};

// Drags a tab by the mouse as a person does, in small steps.
void Drag(QTabBar* bar, int from, QPoint to) {
    const QPoint start = bar->tabRect(from).center();
    QTest::mousePress(bar, Qt::LeftButton, {}, start);
    for (int i = 1; i <= 20; ++i) {
        const QPoint p = start + (to - start) * i / 20;
        QMouseEvent move(QEvent::MouseMove, p, bar->mapToGlobal(p), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QApplication::sendEvent(bar, &move);
    }
    QTest::mouseRelease(bar, Qt::LeftButton, {}, to);
    QTest::qWait(300);
}

TEST_F(RenderedControlsTest, ADraggedTabReachesTheOwnerWhichDecidesTheOrder) {
    auto& tabs = form_.Add<TTabControl>("Tabs");
    tabs.SetAlign(alClient);
    tabs.SetTabs({"A", "B", "C", "D"});
    tabs.SetTabsMovable(true);
    // The owner moves a dropped tab in front of the one it was dropped on and keeps the current tab current.
    tabs.OnTabDrop = [&](TComponent&, int from, int onto) {
        std::vector<std::string> order = tabs.Tabs();
        const std::string current = order[static_cast<std::size_t>(tabs.TabIndex())];
        const std::string moved = order[static_cast<std::size_t>(from)];
        order.erase(order.begin() + from);
        order.insert(order.begin() + (onto > from ? onto - 1 : onto), moved);
        tabs.SetTabs(order);
        tabs.SetTabIndex(static_cast<int>(std::find(order.begin(), order.end(), current) - order.begin()));
    };
    auto* bar = Show<QWidget>(tabs)->findChild<QTabBar*>();
    ASSERT_NE(bar, nullptr);
    EXPECT_TRUE(bar->isMovable());

    Drag(bar, 0, bar->tabRect(2).center() + QPoint(5, 0));
    EXPECT_EQ(tabs.Tabs(), (std::vector<std::string>{"B", "C", "A", "D"}));
    EXPECT_EQ(tabs.TabIndex(), 2);
    Drag(bar, 3, bar->tabRect(0).center() - QPoint(5, 0));
    EXPECT_EQ(tabs.Tabs(), (std::vector<std::string>{"D", "B", "C", "A"}));
    EXPECT_EQ(tabs.TabIndex(), 0);
    QStringList shown;
    for (int i = 0; i < bar->count(); ++i)
        shown << bar->tabText(i);
    EXPECT_EQ(shown, (QStringList{"D", "B", "C", "A"}));

    // Tabs that are not movable stay where they are.
    tabs.SetTabsMovable(false);
    EXPECT_FALSE(bar->isMovable());
}

TEST_F(RenderedControlsTest, AnEditThatKeepsTheFocusGetsItBack) {
    auto& hours = form_.Add<TEdit>("EditHours");
    hours.SetAlign(alTop);
    auto& other = form_.Add<TEdit>("EditOther");
    other.SetAlign(alTop);
    int exits = 0;
    hours.OnExit = [&](TComponent&) {
        if (++exits == 1)
            hours.KeepFocus();
    };
    auto* hoursEdit = Show<QLineEdit>(hours);
    auto* otherEdit = Show<QLineEdit>(other);
    ASSERT_TRUE(hoursEdit && otherEdit);
    QApplication::setActiveWindow(hoursEdit->window());
    hoursEdit->setFocus(Qt::OtherFocusReason);
    QApplication::processEvents();
    ASSERT_TRUE(hoursEdit->hasFocus());

    otherEdit->setFocus(Qt::TabFocusReason);
    QTest::qWait(50);
    EXPECT_EQ(exits, 1);
    EXPECT_TRUE(hoursEdit->hasFocus());
    // The second exit is allowed.
    otherEdit->setFocus(Qt::TabFocusReason);
    QTest::qWait(50);
    EXPECT_EQ(exits, 2);
    EXPECT_TRUE(otherEdit->hasFocus());
}

} // namespace
} // namespace korvel::gui::test
