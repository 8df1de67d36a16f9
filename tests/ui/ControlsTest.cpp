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
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TNotifyEvent Count(int& calls) {
    return [&calls](TComponent&) {
        ++calls;
    };
}

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
    EXPECT_EQ(std::tuple(memo.Lines(), memo.Text()),
              std::tuple(std::vector<std::string>{"first", "second"}, "first\nsecond"));
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
    EXPECT_EQ(std::tuple(pages.ActivePage(), pages.ActivePageIndex()),
              std::tuple(static_cast<TTabSheet*>(nullptr), -1));
}

TEST(TabControl, ADroppedTabIsReportedOnlyWhenMovableAndItMovesSomething) {
    TTabControl tabs("Tabs");
    tabs.SetTabs({"Lrd", "Lre", "Lrn"});
    std::vector<std::pair<int, int>> drops;
    tabs.OnTabDrop = [&](TComponent&, int from, int onto) {
        drops.emplace_back(from, onto);
    };
    tabs.DropTab(0, 2);
    EXPECT_TRUE(drops.empty()); // not movable
    tabs.SetTabsMovable(true);
    for (auto [from, onto] : {std::pair{0, 2}, {2, 0}, {0, 3}, {1, 1}, {1, 2}, {0, 4}, {-1, 0}})
        tabs.DropTab(from, onto);
    // Onto itself or its right neighbour leaves it in place; 3 is right of the last tab.
    EXPECT_EQ(drops, (std::vector<std::pair<int, int>>{{0, 2}, {2, 0}, {0, 3}}));
    EXPECT_EQ(tabs.Tabs(), (std::vector<std::string>{"Lrd", "Lre", "Lrn"})); // the owner reorders
}

TEST(TextControls, AnExitHandlerCanTakeTheFocusBack) {
    TScriptedUi ui;
    TForm form(ui, "Form");
    auto& edit = form.Add<TEdit>("EditHours");
    auto& other = form.Add<TEdit>("EditOther");
    bool refuse = true;
    edit.OnExit = [&](TComponent&) {
        if (refuse)
            edit.KeepFocus();
    };
    form.SetActiveControl(&other);
    EXPECT_FALSE(edit.DoExit());
    EXPECT_EQ(form.ActiveControl(), &edit);
    refuse = false;
    form.SetActiveControl(&other);
    EXPECT_TRUE(edit.DoExit());
    EXPECT_EQ(form.ActiveControl(), &other);
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
    combo.SetText("free text");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_THROW(combo.SetItemIndex(3), EKorvelError);

    combo.SetStyle(csDropDownList); // a list shows only item texts; no change event for that
    EXPECT_EQ(combo.Text(), "");
    combo.SetText("DB(c)");
    EXPECT_EQ(combo.ItemIndex(), 2);
    combo.SetText("Volume");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_EQ(seen, (std::vector<std::string>{"dB(A)", "free text", "dB(C)", ""}));
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
    EXPECT_EQ(std::pair(group.Columns(), clicks), std::pair(1, 1));
}

TEST(ListBox, SelectionFollowsTheCurrentItemUnlessMultiSelect) {
    TListBox list("List");
    list.SetItems({"a", "b", "c", "d"});
    list.SetSelected(1, true);
    EXPECT_EQ(list.ItemIndex(), 1);
    list.SetSelected(2, true);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2}));
    list.SetSelected(2, false);
    EXPECT_EQ(std::pair(list.ItemIndex(), list.SelCount()), std::pair(-1, 0));
    EXPECT_THROW(list.Selected(4), EKorvelError);

    list.SetMultiSelect(true);
    int clicks = 0;
    list.OnClick = Count(clicks);
    list.SetItemIndex(0);
    list.SetSelected(2, true);
    list.SetSelected(3, true);
    list.SetSelected(0, false);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2, 3}));
    EXPECT_EQ(std::pair(list.ItemIndex(), clicks), std::pair(3, 4));
    list.SetMultiSelect(false); // back to one: the current item
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{3}));
    list.SetItems({"x"});
    EXPECT_EQ(std::pair(list.SelCount(), list.ItemIndex()), std::pair(0, -1));
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

TEST_F(MenuTest, ShortCutsReachOnlyReachableItemsAndAutoCheckTogglesFirst) {
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
    EXPECT_EQ(std::tuple(form.FindMenuItem("MenuShowHidden"), &edit->Item(1), separator->IsLine()),
              std::tuple(showHidden, separator, true));
    EXPECT_THROW(edit->Item(3), EKorvelError);

    // An auto-check item toggles before its handler runs.
    showHidden->SetAutoCheck(true);
    std::vector<bool> seen;
    showHidden->OnClick = [&](TComponent& s) {
        seen.push_back(static_cast<TMenuItem&>(s).Checked());
    };
    showHidden->Click();
    showHidden->Click();
    EXPECT_EQ(seen, (std::vector<bool>{true, false}));
    EXPECT_THROW(showHidden->SetShortCut("Ctrl+Nothing"), EKorvelError);
    form.AddPopupMenu("PopupGrid");
    EXPECT_THROW(form.AddPopupMenu("PopupGrid"), EKorvelError);
}

// A record source over a count of records: what the navigator calls, without a table behind it.
class FakeTarget : public INavigatorTarget {
public:
    int count = 3;
    int pos = 0;
    TNavTargetState state = TNavTargetState::Browse;
    std::vector<std::string> calls;

    TNavTargetState State() const override { return state; }
    bool Bof() const override { return count == 0 || pos == 0; }
    bool Eof() const override { return count == 0 || pos == count - 1; }
    bool IsEmpty() const override { return count == 0; }
    bool CanModify() const override { return true; }
    void First() override { Call("First", pos = 0); }
    void Prior() override { Call("Prior", --pos); }
    void Next() override { Call("Next", ++pos); }
    void Last() override { Call("Last", pos = count - 1); }
    void Insert() override { Call("Insert", state = TNavTargetState::Insert); }
    void Delete() override { Call("Delete", --count); }
    void Edit() override { Call("Edit", state = TNavTargetState::Edit); }
    void Post() override { Call("Post", state = TNavTargetState::Browse); }
    void Cancel() override { Call("Cancel", state = TNavTargetState::Browse); }
    void Refresh() override { calls.push_back("Refresh"); }

private:
    template <class T> void Call(const char* name, T) { calls.push_back(name); }
};

TEST(Navigator, DeleteAsksBeforeActionMayAbortAndUnreachableButtonsDoNothing) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& nav = form.Add<TNavigator>("Navigator");
    FakeTarget target;
    target.count = 4;
    nav.SetTarget(&target);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrNo);
    nav.BtnClick(nbDelete);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrYes);
    nav.BtnClick(nbDelete);
    EXPECT_EQ(target.count, 3);

    std::vector<TNavigateBtn> clicked;
    nav.OnBeforeAction = [](TComponent&, TNavigateBtn b) {
        if (b == nbInsert)
            Abort();
    };
    nav.OnClick = [&](TComponent&, TNavigateBtn b) {
        clicked.push_back(b);
    };
    nav.BtnClick(nbPrior); // at the first record
    nav.BtnClick(nbInsert);
    nav.BtnClick(nbNext);
    nav.BtnClick(nbLast);
    nav.BtnClick(nbEdit);
    nav.BtnClick(nbCancel);
    nav.SetVisibleButtons({nbFirst, nbPrior, nbNext, nbLast});
    nav.BtnClick(nbEdit);
    nav.SetEnabled(false);
    nav.BtnClick(nbPrior);
    EXPECT_EQ(target.calls, (std::vector<std::string>{"Delete", "Next", "Last", "Edit", "Cancel"}));
    EXPECT_EQ(clicked, (std::vector<TNavigateBtn>{nbNext, nbLast, nbEdit, nbCancel}));
}

} // namespace
} // namespace korvel
