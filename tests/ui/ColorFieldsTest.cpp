// Colour in the generic controls: a list box's item colours and its activation, the colour field, and a
// grid cell that shows one text and is edited as another.

#include "platform/Errors.h"
#include "platform/ui/ColorBox.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/ValueGrid.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(ListBoxColors, ItemsKeepTheirColoursAndActivationNeedsACurrentItem) {
    test::TTestUi ui;
    TForm form(ui, "Form");
    auto& list = form.Add<TListBox>("List");
    list.SetItems({"a", "b", "c"});
    list.SetItemColors({clRed, clDefault});
    EXPECT_EQ(list.ItemColor(0), clRed);
    EXPECT_EQ(list.ItemColor(1), clDefault);
    EXPECT_EQ(list.ItemColor(2), clDefault) << "an item beyond the colours given has none";
    EXPECT_THROW(list.ItemColor(3), EKorvelError);

    int activated = 0;
    list.OnDblClick = [&](TComponent&) {
        ++activated;
    };
    list.DblClick();
    EXPECT_EQ(activated, 0) << "no current item";
    list.SetItemIndex(1);
    list.DblClick();
    list.SetEnabled(false);
    list.DblClick();
    EXPECT_EQ(activated, 1);
}

TEST(ColorBox, AsksForAColourUnlessReadOnlyAndReportsOnlyAChange) {
    test::TTestUi ui;
    TForm form(ui, "Form");
    auto& box = form.Add<TColorBox>("Color");
    int changes = 0;
    box.OnChange = [&](TComponent&) {
        ++changes;
    };
    ui.ExpectColor(clBlue);
    box.Choose();
    EXPECT_EQ(box.Color(), clBlue);
    ui.ExpectColor(std::nullopt); // cancelled
    box.Choose();
    box.SetColor(clBlue);
    EXPECT_EQ(changes, 1);
    box.SetReadOnly(true);
    box.Choose(); // no dialog: the script would fail on one
    EXPECT_TRUE(ui.VerifyAllAnswered());
}

TEST(ValueGridEditText, TheEditorOpensWithTheEditTextAndStoresOnlyAChange) {
    TValueGrid grid("Grid");
    grid.SetColCount(2);
    grid.SetRowCount(2);
    double value = 52;
    int stores = 0;
    grid.OnGetText = [&](int, int row) {
        return row == 0 ? std::string("Limit") : std::to_string(static_cast<int>(value)) + " dB";
    };
    grid.OnGetEditText = [&](int, int) {
        return std::to_string(static_cast<int>(value));
    };
    grid.OnSetText = [&](int, int, const std::string& text) {
        ++stores;
        value = std::stod(text);
    };
    ASSERT_TRUE(grid.SetCurrentCell(1, 1));
    ASSERT_TRUE(grid.SetEditorMode(true));
    EXPECT_EQ(grid.EditText(), "52");
    EXPECT_TRUE(grid.LeaveEditMode());
    EXPECT_EQ(stores, 0) << "an unchanged edit text is no change";
    ASSERT_TRUE(grid.EditCell(1, 1, "55"));
    EXPECT_EQ(grid.Cells(1, 1), "55 dB");
    EXPECT_EQ(stores, 1);
}

} // namespace
} // namespace korvel
