#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(Align, EdgesThenClientInTheClassicOrder) {
    TPanel panel("Host");
    panel.SetBounds(0, 0, 200, 100);
    auto& client = panel.Add<TPanel>("Client");
    client.SetAlign(alClient);
    auto& top = panel.Add<TPanel>("Top");
    top.SetHeight(20);
    top.SetAlign(alTop);
    auto& bottom = panel.Add<TPanel>("Bottom");
    bottom.SetHeight(10);
    bottom.SetAlign(alBottom);
    auto& left = panel.Add<TPanel>("Left");
    left.SetWidth(30);
    left.SetAlign(alLeft);
    auto& right = panel.Add<TPanel>("Right");
    right.SetWidth(40);
    right.SetAlign(alRight);

    EXPECT_EQ(top.BoundsRect(), (TRect{0, 0, 200, 20}));
    EXPECT_EQ(bottom.BoundsRect(), (TRect{0, 90, 200, 10}));
    EXPECT_EQ(left.BoundsRect(), (TRect{0, 20, 30, 70}));
    EXPECT_EQ(right.BoundsRect(), (TRect{160, 20, 40, 70}));
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 20, 130, 70}));

    // Hiding an edge and resizing the host both lay the rest out again.
    top.SetVisible(false);
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 0, 130, 90}));
    panel.SetBounds(0, 0, 300, 100);
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 0, 230, 90}));
    EXPECT_EQ(right.Left(), 260);
}

TEST(Align, StackedTopsAndNestedContainers) {
    TPanel host("Host");
    host.SetBounds(0, 0, 100, 200);
    auto& a = host.Add<TPanel>("A");
    a.SetHeight(30);
    a.SetAlign(alTop);
    auto& group = host.Add<TGroupBox>("Group");
    group.SetHeight(60);
    group.SetAlign(alTop);
    auto& inner = group.Add<TEdit>("Inner");
    inner.SetAlign(alClient);

    EXPECT_EQ(group.BoundsRect(), (TRect{0, 30, 100, 60}));
    // The group box frame and caption take their margin.
    EXPECT_EQ(inner.BoundsRect(),
              (TRect{TGroupBox::kFrame, TGroupBox::kFrame + TGroupBox::kCaptionHeight,
                     100 - 2 * TGroupBox::kFrame, 60 - 2 * TGroupBox::kFrame - TGroupBox::kCaptionHeight}));
    // The size hint of an edge control is kept; a taller first panel pushes the group down.
    a.SetHeight(50);
    EXPECT_EQ(group.Top(), 50);
}

TEST(ControlTree, NamesAreUniqueAndLookupsAreTyped) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& pages = form.Add<TPageControl>("Pages");
    auto& sheet = pages.AddPage("SheetMain", "Main");
    sheet.Add<TEdit>("EditName");

    EXPECT_THROW(form.Add<TLabel>("EditName"), EKorvelError);
    EXPECT_EQ(&form.Find<TEdit>("EditName"), form.FindControl("EditName"));
    EXPECT_THROW(form.Find<TButton>("EditName"), EKorvelError);
    EXPECT_THROW(form.Find<TEdit>("Missing"), EKorvelError);
    EXPECT_EQ(form.FindOrNull<TButton>("EditName"), nullptr);
    EXPECT_EQ(form.AllControls().size(), 3u);
    EXPECT_EQ(form.Find<TEdit>("EditName").OwnerForm(), &form);

    EXPECT_TRUE(sheet.Remove(form.Find<TEdit>("EditName")));
    EXPECT_EQ(form.FindControl("EditName"), nullptr);
    EXPECT_THROW(sheet.Control(0), EKorvelError);
}

TEST(ControlTree, DisabledOrHiddenParentsBlockTheUser) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& panel = form.Add<TPanel>("Panel1");
    auto& button = panel.Add<TButton>("Button1");
    auto& box = panel.Add<TCheckBox>("Check1");
    int clicks = 0;
    button.OnClick = [&](TComponent&) {
        ++clicks;
    };

    // The form itself is not shown yet; its controls can still be driven.
    button.Click();
    EXPECT_EQ(clicks, 1);
    panel.SetEnabled(false);
    button.Click();
    box.Toggle();
    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(box.Checked());
    EXPECT_FALSE(button.EnabledInTree());
    panel.SetEnabled(true);
    panel.SetVisible(false);
    button.Click();
    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(button.Showing());
}

} // namespace
} // namespace korvel
