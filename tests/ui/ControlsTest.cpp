// The standard controls, list controls, menus and the navigator without a window behind them: what each keeps
// consistent and which events it raises.

#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Menus.h"
#include "platform/ui/Navigator.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/PictureBox.h"
#include "platform/ui/StdCtrls.h"
#include "support/NavigatorText.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TNotifyEvent Count(int& calls) {
    return [&calls](TComponent&) {
        ++calls;
    };
}

// Records the control's text each time the event runs.
template <class C> TNotifyEvent RecordText(std::vector<std::string>& seen) {
    return [&seen](TComponent& sender) {
        seen.push_back(static_cast<C&>(sender).Text());
    };
}

TEST(TextControls, EditCutsWholeCharactersAndMemoKeepsLinesAndTextInStep) {
    TEdit edit("EditName");
    std::vector<std::string> seen;
    edit.OnChange = RecordText<TEdit>(seen);
    edit.SetMaxLength(4);
    edit.SetText("Flügel");
    edit.SetText("Flüg");
    EXPECT_EQ(edit.Text(), "Flüg");
    EXPECT_EQ(seen, (std::vector<std::string>{"Flüg"})); // once: the second text is the same
    int calls = 0;
    edit.OnExit = Count(calls);
    edit.DoExit();
    EXPECT_EQ(calls, 1);

    TMemo memo("MemoNote");
    memo.OnChange = Count(calls);
    memo.SetText("first\r\nsecond\n");
    EXPECT_EQ(memo.Lines(), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(memo.Text(), "first\nsecond");
    memo.SetLines({"first", "second"});
    memo.AddLine("third");
    EXPECT_EQ(memo.Text(), "first\nsecond\nthird");
    EXPECT_EQ(calls, 3);
}

TEST(SpinEdit, KeepsItsValueInsideTheLimits) {
    TSpinEdit spin("SpinHeight");
    int changes = 0;
    spin.OnChange = Count(changes);
    spin.SetValue(-500); // no limits while min == max
    EXPECT_EQ(spin.Value(), -500);
    spin.SetLimits(0, 10);
    EXPECT_EQ(spin.Value(), 0);
    spin.SetIncrement(4);
    for (int i = 0; i < 3; ++i)
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

    // Removing pages keeps a valid active page.
    pages.Remove(general);
    EXPECT_EQ(pages.ActivePage(), &notes);
    pages.Remove(notes);
    EXPECT_EQ(pages.ActivePage()->Name(), "SheetSpectrum");
    pages.Remove(*pages.ActivePage());
    EXPECT_EQ(pages.ActivePage(), nullptr);
    EXPECT_EQ(pages.ActivePageIndex(), -1);
}

TEST(PictureBox, FormatIsTaggedOrDetected) {
    TPictureBox picture("Picture");
    picture.SetPicture({0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0});
    EXPECT_EQ(picture.Format(), "png");
    picture.SetPicture({1, 2, 3}, "JPG");
    EXPECT_EQ(picture.Format(), "jpeg");
    EXPECT_THROW(picture.SetPicture({1, 2, 3}), EKorvelError);
    EXPECT_EQ(picture.Format(), "jpeg");
    picture.Clear();
    EXPECT_TRUE(picture.Empty());
    EXPECT_EQ(DetectImageFormat({'G', 'I', 'F', '8', '9', 'a'}), "gif");
}

TEST(ComboBox, IndexAndTextMoveTogetherAndADropDownListOffersOnlyItsItems) {
    TComboBox combo("CBdBX");
    combo.SetItems({"dB", "dB(A)", "dB(C)"});
    std::vector<std::string> seen;
    combo.OnChange = RecordText<TComboBox>(seen);
    combo.SetItemIndex(1);
    combo.SetItemIndex(1);
    EXPECT_EQ(combo.Text(), "dB(A)");
    combo.SetText("dB(C)");
    EXPECT_EQ(combo.ItemIndex(), 2);
    combo.SetText("free text");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_THROW(combo.SetItemIndex(3), EKorvelError);
    EXPECT_THROW(combo.SetItemIndex(-2), EKorvelError);
    // New items raise no change; a drop-down keeps its text and finds it among them.
    combo.SetText("Line");
    combo.SetItems({"Point", "Line"});
    EXPECT_EQ(combo.ItemIndex(), 1);

    combo.SetStyle(csDropDownList);
    combo.SetItems({"Point", "Line", "Area"});
    combo.SetText("AREA");
    EXPECT_EQ(combo.ItemIndex(), 2);
    EXPECT_EQ(combo.Text(), "Area");
    combo.SetText("Volume");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_EQ(combo.Text(), "");
    combo.SetText("Area");
    combo.SetItems({"Point"});
    EXPECT_EQ(combo.Text(), "");
    EXPECT_EQ(seen, (std::vector<std::string>{"dB(A)", "dB(C)", "free text", "Line", "Area", "", "Area"}));
}

TEST(RadioGroup, SelectionSurvivesItemsWhileInRange) {
    TRadioGroup group("RGMode");
    group.SetItems({"A", "B", "C"});
    int clicks = 0;
    group.OnClick = Count(clicks);
    group.SetItemIndex(1);
    group.SetItems({"X", "Y"});
    EXPECT_EQ(group.ItemIndex(), 1);
    group.SetItems({"X"});
    EXPECT_EQ(group.ItemIndex(), -1);
    group.SetColumns(0);
    EXPECT_EQ(group.Columns(), 1);
    EXPECT_EQ(clicks, 1);
}

TEST(ListBox, SelectionFollowsTheCurrentItemUnlessMultiSelect) {
    TListBox list("List");
    list.SetItems({"a", "b", "c", "d"});
    list.SetSelected(1, true);
    EXPECT_EQ(list.ItemIndex(), 1);
    list.SetSelected(2, true);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2}));
    list.SetSelected(2, false);
    EXPECT_EQ(list.ItemIndex(), -1);
    EXPECT_EQ(list.SelCount(), 0);
    EXPECT_THROW(list.Selected(4), EKorvelError);

    list.SetMultiSelect(true);
    int clicks = 0;
    list.OnClick = Count(clicks);
    list.SetItemIndex(0);
    list.SetSelected(2, true);
    list.SetSelected(3, true);
    list.SetSelected(0, false);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2, 3}));
    EXPECT_EQ(list.ItemIndex(), 3);
    EXPECT_EQ(clicks, 4);
    list.SetMultiSelect(false); // back to one: the current item
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{3}));
    list.SetItems({"x"});
    EXPECT_EQ(list.SelCount(), 0);
    EXPECT_EQ(list.ItemIndex(), -1);
}

TEST(ShortCut, NormalizedToOneSpelling) {
    const std::pair<const char*, const char*> rows[] = {
        {"ctrl+a", "Ctrl+A"}, {"Shift+Control+del", "Ctrl+Shift+Del"},
        {"alt+f4", "Alt+F4"}, {"Ctrl++", "Ctrl++"},
        {"Return", "Enter"},  {"", ""}};
    for (const auto& [typed, normal] : rows)
        EXPECT_EQ(NormalizeShortCut(typed), normal) << typed;
    for (const char* bad : {"Hyper+A", "Ctrl+", "Ctrl+F25", "Ctrl+F0", "Ctrl+Banana", "Ctrl+Shift"})
        EXPECT_THROW(NormalizeShortCut(bad), EKorvelError) << bad;
}

// Edit menu: Select all (Ctrl+A), a line, and the auto-checked Show hidden.
class MenuTest : public ::testing::Test {
protected:
    MenuTest() {
        edit = &form.CreateMainMenu().Items().Add("MenuEdit", "&Edit");
        selectAll = &edit->Add("MenuSelectAll", "Select &all", "Ctrl+A");
        separator = &edit->AddSeparator();
        showHidden = &edit->Add("MenuShowHidden", "Show hidden");
        selectAll->OnClick = Count(selectAllClicks);
    }
    test::TTestUi ui;
    TForm form{ui, "Form1"};
    TMenuItem *edit, *selectAll, *separator, *showHidden;
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
    EXPECT_EQ(&edit->Item(1), separator);
    EXPECT_TRUE(separator->IsLine());
    EXPECT_THROW(edit->Item(3), EKorvelError);
}

TEST_F(MenuTest, AutoCheckTogglesBeforeTheHandlerRuns) {
    showHidden->SetAutoCheck(true);
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

// A record source over a count of records, enough to exercise the navigator's rules.
class FakeTarget : public INavigatorTarget {
public:
    int count = 3;
    int pos = 0;
    bool canModify = true;
    bool refusePost = false;
    TNavTargetState state = TNavTargetState::Browse;
    std::vector<std::string> calls;

    TNavTargetState State() const override { return state; }
    bool Bof() const override { return count == 0 || pos == 0; }
    bool Eof() const override { return count == 0 || pos == count - 1; }
    bool IsEmpty() const override { return count == 0; }
    bool CanModify() const override { return canModify; }
    void First() override { Call("First", pos = 0); }
    void Prior() override { Call("Prior", --pos); }
    void Next() override { Call("Next", ++pos); }
    void Last() override { Call("Last", pos = count - 1); }
    void Insert() override { Call("Insert", state = TNavTargetState::Insert); }
    void Delete() override { Call("Delete", --count); }
    void Edit() override { Call("Edit", state = TNavTargetState::Edit); }
    void Post() override {
        if (refusePost)
            throw EKorvelError("The name must not be empty");
        Call("Post", state = TNavTargetState::Browse);
    }
    void Cancel() override { Call("Cancel", state = TNavTargetState::Browse); }
    void Refresh() override { calls.push_back("Refresh"); }

private:
    template <class T> void Call(const char* name, T) { calls.push_back(name); }
};

using test::EnabledButtons;

class NavigatorTest : public ::testing::Test {
protected:
    test::TTestUi ui;
    TForm form{ui, "Form1"};
    TNavigator& nav = form.Add<TNavigator>("Navigator");
    FakeTarget target;
};

TEST_F(NavigatorTest, EnablingReflectsTheTargetState) {
    EXPECT_EQ(EnabledButtons(nav), "");
    nav.SetTarget(&target);
    EXPECT_EQ(EnabledButtons(nav), "Next Last Insert Delete Edit Refresh");
    nav.BtnClick(nbLast);
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Edit Refresh");
    nav.BtnClick(nbEdit);
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Post Cancel");

    target.state = TNavTargetState::Browse;
    target.canModify = false;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "First Prior Refresh");
    target.count = 0;
    target.canModify = true;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "Insert Refresh");
    target.state = TNavTargetState::Inactive;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "");
}

TEST_F(NavigatorTest, ClicksOnDisabledOrHiddenButtonsDoNothing) {
    nav.SetTarget(&target);
    nav.BtnClick(nbPrior); // at the first record
    nav.SetVisibleButtons({nbFirst, nbPrior, nbNext, nbLast});
    nav.BtnClick(nbEdit);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls, (std::vector<std::string>{"Next"}));
    nav.SetEnabled(false);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls.size(), 1u);
}

TEST_F(NavigatorTest, DeleteAsksFirstAndBeforeActionMayAbort) {
    nav.SetTarget(&target);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrNo);
    nav.BtnClick(nbDelete);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrYes);
    nav.BtnClick(nbDelete);
    EXPECT_EQ(target.count, 2);

    std::vector<TNavigateBtn> clicked;
    nav.OnBeforeAction = [](TComponent&, TNavigateBtn b) {
        if (b == nbInsert)
            Abort();
    };
    nav.OnClick = [&](TComponent&, TNavigateBtn b) {
        clicked.push_back(b);
    };
    nav.BtnClick(nbInsert);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls, (std::vector<std::string>{"Delete", "Next"}));
    EXPECT_EQ(clicked, (std::vector<TNavigateBtn>{nbNext}));
}

TEST_F(NavigatorTest, RefusedPostIsShownAndKeepsEditing) {
    nav.SetTarget(&target);
    nav.BtnClick(nbEdit);
    target.refusePost = true;
    ui.ExpectMessage(mtError, "must not be empty", mrOk);
    nav.BtnClick(nbPost);
    EXPECT_EQ(target.state, TNavTargetState::Edit);
    EXPECT_TRUE(nav.ButtonEnabled(nbPost));
}

} // namespace
} // namespace korvel
