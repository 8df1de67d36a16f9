#pragma once

// Controls that choose among items: combo box, radio group, list box. Item indexes run from 0; -1 means no
// item. An index outside -1..count-1 is a programming error and raises EKorvelError.

#include "platform/ui/Control.h"
#include "platform/ui/UiTypes.h"

#include <string>
#include <vector>

namespace korvel {

enum TComboBoxStyle : std::uint8_t { csDropDown, csDropDownList };

class TComboBox : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TComboBox"; }

    const std::vector<std::string>& Items() const { return items_; }
    // Replaces the items without raising OnChange. A drop-down list loses its selection; a drop-down keeps
    // its text and selects the item equal to it, if any.
    void SetItems(std::vector<std::string> items);
    void AddItem(std::string item);
    int ItemIndex() const { return itemIndex_; }
    // Selects an item (its text becomes the combo's text) and raises OnChange.
    void SetItemIndex(int index);
    const std::string& Text() const { return text_; }
    // Drop-down: free text, selecting the equal item if there is one. Drop-down list: selects the item with
    // this text (exact, else ignoring ASCII case), or none.
    void SetText(std::string text);
    TComboBoxStyle Style() const { return style_; }
    void SetStyle(TComboBoxStyle style);
    int IndexOf(std::string_view item) const;

    TNotifyEvent OnChange;

private:
    void Select(int index, std::string text);
    std::vector<std::string> items_;
    int itemIndex_ = -1;
    std::string text_;
    TComboBoxStyle style_ = csDropDown;
};

class TRadioGroup : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TRadioGroup"; }

    const std::vector<std::string>& Items() const { return items_; }
    // Keeps the selection when it is still in range.
    void SetItems(std::vector<std::string> items);
    int ItemIndex() const { return itemIndex_; }
    void SetItemIndex(int index);
    int Columns() const { return columns_; }
    // At least 1.
    void SetColumns(int columns);

    TNotifyEvent OnClick;

private:
    std::vector<std::string> items_;
    int itemIndex_ = -1;
    int columns_ = 1;
};

class TListBox : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TListBox"; }

    const std::vector<std::string>& Items() const { return items_; }
    // Clears the selection.
    void SetItems(std::vector<std::string> items);
    int Count() const { return static_cast<int>(items_.size()); }
    // The current item. Setting it selects that item alone, as a plain click does.
    int ItemIndex() const { return itemIndex_; }
    void SetItemIndex(int index);
    bool MultiSelect() const { return multiSelect_; }
    // Turning it off keeps only the current item selected.
    void SetMultiSelect(bool multiSelect);
    bool Selected(int index) const;
    // With MultiSelect, adds to or removes from the selection; without, selecting makes the item current.
    void SetSelected(int index, bool selected);
    int SelCount() const;
    std::vector<int> SelectedIndexes() const;
    void ClearSelection();

    // Background colour per item (clDefault: the list's own); items beyond the list given have none.
    TColor ItemColor(int index) const;
    void SetItemColors(std::vector<TColor> colors) {
        Assign(itemColors_, std::move(colors), TChangeKind::Items);
    }
    // The user's double click or Enter on the current item; ignored without one or when unreachable.
    void DblClick();

    TNotifyEvent OnClick;
    TNotifyEvent OnDblClick;

private:
    void Check(int index, bool allowNone) const;
    std::vector<std::string> items_;
    std::vector<TColor> itemColors_;
    std::vector<bool> selected_;
    int itemIndex_ = -1;
    bool multiSelect_ = false;
};

} // namespace korvel
