#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/Menus.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(ShortCut, NormalizedToOneSpelling) {
    EXPECT_EQ(NormalizeShortCut("ctrl+a"), "Ctrl+A");
    EXPECT_EQ(NormalizeShortCut("Shift+Control+del"), "Ctrl+Shift+Del");
    EXPECT_EQ(NormalizeShortCut("alt+f4"), "Alt+F4");
    EXPECT_EQ(NormalizeShortCut("Ctrl++"), "Ctrl++");
    EXPECT_EQ(NormalizeShortCut("Return"), "Enter");
    EXPECT_EQ(NormalizeShortCut(""), "");
    for (const char* bad : {"Hyper+A", "Ctrl+", "Ctrl+F25", "Ctrl+F0", "Ctrl+Banana", "Ctrl+Shift"})
        EXPECT_THROW(NormalizeShortCut(bad), EKorvelError) << bad;
}

class MenuTest : public ::testing::Test {
protected:
    MenuTest() {
        TMainMenu& menu = form.CreateMainMenu();
        edit = &menu.Items().Add("MenuEdit", "&Edit");
        selectAll = &edit->Add("MenuSelectAll", "Select &all", "Ctrl+A");
        edit->AddSeparator();
        showHidden = &edit->Add("MenuShowHidden", "Show hidden");
        showHidden->SetAutoCheck(true);
        selectAll->OnClick = [this](TComponent&) {
            ++selectAllClicks;
        };
    }
    test::TTestUi ui;
    TForm form{ui, "Form1"};
    TMenuItem* edit = nullptr;
    TMenuItem* selectAll = nullptr;
    TMenuItem* showHidden = nullptr;
    int selectAllClicks = 0;
};

TEST_F(MenuTest, ShortCutsReachOnlyReachableItems) {
    EXPECT_TRUE(form.MainMenu()->PressShortCut("ctrl+a"));
    EXPECT_EQ(selectAllClicks, 1);
    edit->SetEnabled(false);
    EXPECT_FALSE(form.MainMenu()->PressShortCut("Ctrl+A"));
    selectAll->Click();
    EXPECT_EQ(selectAllClicks, 1);
    edit->SetEnabled(true);
    selectAll->SetVisible(false);
    selectAll->Click();
    EXPECT_EQ(selectAllClicks, 1);
    EXPECT_EQ(form.FindMenuItem("MenuShowHidden"), showHidden);
    EXPECT_EQ(edit->Item(1).IsLine(), true);
    EXPECT_THROW(edit->Item(3), EKorvelError);
}

TEST_F(MenuTest, AutoCheckTogglesBeforeTheHandlerRuns) {
    std::vector<bool> seen;
    showHidden->OnClick = [&](TComponent& s) {
        seen.push_back(static_cast<TMenuItem&>(s).Checked());
    };
    showHidden->Click();
    showHidden->Click();
    EXPECT_EQ(seen, (std::vector<bool>{true, false}));
    EXPECT_THROW(showHidden->SetShortCut("Ctrl+Nothing"), EKorvelError);
}

TEST_F(MenuTest, PopupPreparesItsItemsAndHandlerErrorsReachTheUser) {
    TPopupMenu& popup = form.AddPopupMenu("PopupGrid");
    TMenuItem& copy = popup.Items().Add("MenuCopy", "Copy");
    popup.OnPopup = [&](TComponent&) {
        copy.SetEnabled(false);
    };
    popup.Popup();
    EXPECT_FALSE(copy.Enabled());
    EXPECT_THROW(form.AddPopupMenu("PopupGrid"), EKorvelError);
    EXPECT_EQ(form.FindMenuItem("MenuCopy"), &copy);

    copy.SetEnabled(true);
    copy.OnClick = [](TComponent&) {
        throw EKorvelError("Nothing to copy");
    };
    ui.ExpectMessage(mtError, "Nothing to copy", mrOk);
    copy.Click();
}

} // namespace
} // namespace korvel
