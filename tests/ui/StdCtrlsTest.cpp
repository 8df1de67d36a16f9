#include "platform/ui/StdCtrls.h"

#include "platform/Errors.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/PictureBox.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(Edit, MaxLengthCutsWholeCharactersAndChangeFiresOnce) {
    TEdit edit("EditName");
    std::vector<std::string> seen;
    edit.OnChange = [&](TComponent& sender) {
        seen.push_back(static_cast<TEdit&>(sender).Text());
    };
    edit.SetMaxLength(4);
    edit.SetText("Flügel");
    edit.SetText("Flüg");
    EXPECT_EQ(edit.Text(), "Flüg");
    EXPECT_EQ(seen, (std::vector<std::string>{"Flüg"}));
    int exits = 0;
    edit.OnExit = [&](TComponent&) {
        ++exits;
    };
    edit.DoExit();
    EXPECT_EQ(exits, 1);
}

TEST(Memo, LinesAndTextAreTwoViewsOfOneValue) {
    TMemo memo("MemoNote");
    int changes = 0;
    memo.OnChange = [&](TComponent&) {
        ++changes;
    };
    memo.SetText("first\r\nsecond\n");
    EXPECT_EQ(memo.Lines(), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(memo.Text(), "first\nsecond");
    memo.SetLines({"first", "second"});
    memo.AddLine("third");
    EXPECT_EQ(memo.Text(), "first\nsecond\nthird");
    EXPECT_EQ(changes, 2);
}

TEST(SpinEdit, KeepsItsValueInsideTheLimits) {
    TSpinEdit spin("SpinHeight");
    int changes = 0;
    spin.OnChange = [&](TComponent&) {
        ++changes;
    };
    spin.SetValue(-500); // no limits while min == max
    EXPECT_EQ(spin.Value(), -500);
    spin.SetLimits(0, 10);
    EXPECT_EQ(spin.Value(), 0);
    spin.SetIncrement(4);
    spin.StepUp();
    spin.StepUp();
    spin.StepUp();
    EXPECT_EQ(spin.Value(), 10);
    spin.SetValue(99);
    EXPECT_EQ(spin.Value(), 10);
    spin.StepDown();
    EXPECT_EQ(spin.Value(), 6);
    EXPECT_EQ(changes, 6);
    EXPECT_THROW(spin.SetLimits(5, 1), EKorvelError);
    EXPECT_THROW(spin.SetIncrement(0), EKorvelError);
}

TEST(CheckBox, ClickEventFollowsTheCheckedState) {
    TCheckBox box("CheckActive");
    int clicks = 0;
    box.OnClick = [&](TComponent&) {
        ++clicks;
    };
    box.Toggle();
    box.SetChecked(true);
    box.Toggle();
    EXPECT_FALSE(box.Checked());
    EXPECT_EQ(clicks, 2);
}

TEST(PageControl, ChangingMayRefuseAndChangeReports) {
    TPageControl pages("Pages");
    auto& general = pages.AddPage("SheetGeneral", "General");
    pages.AddPage("SheetSpectrum", "Spectrum");
    auto& notes = pages.AddPage("SheetNotes", "Notes");
    EXPECT_EQ(pages.ActivePage(), &general);
    EXPECT_EQ(notes.PageIndex(), 2);
    EXPECT_THROW(pages.Add<TEdit>("NotAPage"), EKorvelError);

    bool allow = false;
    std::vector<std::string> log;
    pages.OnChanging = [&](TComponent& s, bool& ok) {
        log.push_back("changing from " + static_cast<TPageControl&>(s).ActivePage()->Name());
        ok = allow;
    };
    pages.OnChange = [&](TComponent& s) {
        log.push_back("now " + static_cast<TPageControl&>(s).ActivePage()->Name());
    };

    EXPECT_FALSE(pages.SetActivePageIndex(1));
    EXPECT_EQ(pages.ActivePageIndex(), 0);
    allow = true;
    EXPECT_TRUE(pages.SetActivePage(notes));
    EXPECT_EQ(log, (std::vector<std::string>{"changing from SheetGeneral", "changing from SheetGeneral",
                                             "now SheetNotes"}));
    EXPECT_THROW(pages.SetActivePageIndex(3), EKorvelError);

    notes.SetTabVisible(false);
    EXPECT_FALSE(notes.TabVisible());
}

TEST(PageControl, RemovingPagesKeepsAValidActivePage) {
    TPageControl pages("Pages");
    auto& a = pages.AddPage("A", "A");
    auto& b = pages.AddPage("B", "B");
    auto& c = pages.AddPage("C", "C");
    pages.SetActivePage(c);
    pages.Remove(a);
    EXPECT_EQ(pages.ActivePage(), &c);
    pages.Remove(c);
    EXPECT_EQ(pages.ActivePage(), &b);
    pages.Remove(b);
    EXPECT_EQ(pages.ActivePage(), nullptr);
    EXPECT_EQ(pages.ActivePageIndex(), -1);
}

TEST(TabControl, TabsKeepTheirIndexWhileValid) {
    TTabControl tabs("Tabs");
    int changes = 0;
    tabs.OnChange = [&](TComponent&) {
        ++changes;
    };
    tabs.SetTabs({"Day", "Evening", "Night"});
    EXPECT_EQ(tabs.TabIndex(), 0);
    EXPECT_TRUE(tabs.SetTabIndex(2));
    tabs.SetTabs({"Day", "Night"});
    EXPECT_EQ(tabs.TabIndex(), 0);
    tabs.OnChanging = [](TComponent&, bool& allow) {
        allow = false;
    };
    EXPECT_FALSE(tabs.SetTabIndex(1));
    EXPECT_EQ(changes, 1);
    tabs.SetTabs({});
    EXPECT_EQ(tabs.TabIndex(), -1);
}

TEST(PictureBox, FormatIsTaggedOrDetected) {
    TPictureBox picture("Picture");
    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0};
    picture.SetPicture(png);
    EXPECT_EQ(picture.Format(), "png");
    picture.SetPicture({1, 2, 3}, "JPG");
    EXPECT_EQ(picture.Format(), "jpeg");
    EXPECT_THROW(picture.SetPicture({1, 2, 3}), EKorvelError);
    EXPECT_EQ(picture.Format(), "jpeg");
    picture.Clear();
    EXPECT_TRUE(picture.Empty());
    EXPECT_EQ(DetectImageFormat({'G', 'I', 'F', '8', '9', 'a'}), "gif");
}

} // namespace
} // namespace korvel
