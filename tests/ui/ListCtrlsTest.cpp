#include "platform/ui/ListCtrls.h"

#include "platform/Errors.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(ComboBox, IndexAndTextMoveTogether) {
    TComboBox combo("CBdBX");
    combo.SetItems({"dB", "dB(A)", "dB(C)"});
    std::vector<std::string> seen;
    combo.OnChange = [&](TComponent& s) {
        seen.push_back(static_cast<TComboBox&>(s).Text());
    };

    combo.SetItemIndex(1);
    combo.SetItemIndex(1);
    EXPECT_EQ(combo.Text(), "dB(A)");
    combo.SetText("dB(C)");
    EXPECT_EQ(combo.ItemIndex(), 2);
    combo.SetText("free text");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_EQ(seen, (std::vector<std::string>{"dB(A)", "dB(C)", "free text"}));
    EXPECT_THROW(combo.SetItemIndex(3), EKorvelError);
    EXPECT_THROW(combo.SetItemIndex(-2), EKorvelError);
}

TEST(ComboBox, DropDownListOffersOnlyItsItems) {
    TComboBox combo("CBKind");
    combo.SetStyle(csDropDownList);
    combo.SetItems({"Point", "Line", "Area"});
    combo.SetText("LINE");
    EXPECT_EQ(combo.ItemIndex(), 1);
    EXPECT_EQ(combo.Text(), "Line");
    combo.SetText("Volume");
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_EQ(combo.Text(), "");
}

TEST(ComboBox, NewItemsDoNotRaiseChange) {
    TComboBox combo("CB");
    int changes = 0;
    combo.OnChange = [&](TComponent&) {
        ++changes;
    };
    combo.SetText("Line");
    combo.SetItems({"Point", "Line"});
    EXPECT_EQ(combo.ItemIndex(), 1); // a drop-down keeps its text and finds it among the items
    combo.SetStyle(csDropDownList);
    combo.SetItems({"Area"});
    EXPECT_EQ(combo.ItemIndex(), -1);
    EXPECT_EQ(combo.Text(), "");
    EXPECT_EQ(changes, 1);
}

TEST(RadioGroup, SelectionSurvivesItemsWhileInRange) {
    TRadioGroup group("RGMode");
    group.SetItems({"A", "B", "C"});
    int clicks = 0;
    group.OnClick = [&](TComponent&) {
        ++clicks;
    };
    group.SetItemIndex(1);
    group.SetItems({"X", "Y"});
    EXPECT_EQ(group.ItemIndex(), 1);
    group.SetItems({"X"});
    EXPECT_EQ(group.ItemIndex(), -1);
    group.SetColumns(0);
    EXPECT_EQ(group.Columns(), 1);
    EXPECT_EQ(clicks, 1);
}

TEST(ListBox, SingleSelectionFollowsTheCurrentItem) {
    TListBox list("List");
    list.SetItems({"a", "b", "c"});
    list.SetSelected(1, true);
    EXPECT_EQ(list.ItemIndex(), 1);
    list.SetSelected(2, true);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2}));
    list.SetSelected(2, false);
    EXPECT_EQ(list.ItemIndex(), -1);
    EXPECT_EQ(list.SelCount(), 0);
    EXPECT_THROW(list.Selected(3), EKorvelError);
}

TEST(ListBox, MultiSelectAddsAndDropsBackToOne) {
    TListBox list("List");
    list.SetItems({"a", "b", "c", "d"});
    list.SetMultiSelect(true);
    int clicks = 0;
    list.OnClick = [&](TComponent&) {
        ++clicks;
    };
    list.SetItemIndex(0);
    list.SetSelected(2, true);
    list.SetSelected(3, true);
    list.SetSelected(0, false);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{2, 3}));
    EXPECT_EQ(list.ItemIndex(), 3);
    EXPECT_EQ(clicks, 4);

    list.SetMultiSelect(false);
    EXPECT_EQ(list.SelectedIndexes(), (std::vector<int>{3}));
    list.SetItems({"x"});
    EXPECT_EQ(list.SelCount(), 0);
    EXPECT_EQ(list.ItemIndex(), -1);
}

} // namespace
} // namespace korvel
