#include "platform/ui/ListCtrls.h"

#include "platform/Errors.h"
#include "platform/ui/UiTypes.h"

#include <algorithm>

namespace korvel {

namespace {

void CheckIndex(const TControl& control, int index, std::size_t count) {
    if (index < -1 || index >= static_cast<int>(count))
        throw EKorvelError(std::string(control.ClassName()) + " \"" + control.Name() + "\": item index " +
                           std::to_string(index) + " out of range (" + std::to_string(count) + " items)");
}

} // namespace

// --- TComboBox ---

int TComboBox::IndexOf(std::string_view item) const {
    auto it = std::find(items_.begin(), items_.end(), item);
    return it == items_.end() ? -1 : static_cast<int>(it - items_.begin());
}

void TComboBox::SetItems(std::vector<std::string> items) {
    if (items == items_)
        return;
    items_ = std::move(items);
    Changed(TChangeKind::Items);
    int index = style_ == csDropDown ? IndexOf(text_) : -1;
    std::string text = style_ == csDropDown ? text_ : std::string();
    if (index != itemIndex_ || text != text_) {
        itemIndex_ = index;
        text_ = std::move(text);
        Changed(TChangeKind::Selection);
        Changed(TChangeKind::Value);
    }
}

void TComboBox::AddItem(std::string item) {
    items_.push_back(std::move(item));
    Changed(TChangeKind::Items, static_cast<int>(items_.size()) - 1);
}

void TComboBox::Select(int index, std::string text) {
    if (index == itemIndex_ && text == text_)
        return;
    bool indexChanged = index != itemIndex_;
    bool textChanged = text != text_;
    itemIndex_ = index;
    text_ = std::move(text);
    if (indexChanged)
        Changed(TChangeKind::Selection, index);
    if (textChanged)
        Changed(TChangeKind::Value);
    Fire(OnChange);
}

void TComboBox::SetItemIndex(int index) {
    CheckIndex(*this, index, items_.size());
    Select(index, index >= 0 ? items_[static_cast<std::size_t>(index)] : std::string());
}

void TComboBox::SetText(std::string text) {
    int index = IndexOf(text);
    if (style_ == csDropDownList) {
        if (index < 0)
            for (std::size_t i = 0; i < items_.size() && index < 0; ++i)
                if (uitext::EqualsNoCase(items_[i], text))
                    index = static_cast<int>(i);
        SetItemIndex(index);
        return;
    }
    Select(index, std::move(text));
}

void TComboBox::SetStyle(TComboBoxStyle style) {
    if (!Assign(style_, style, TChangeKind::Style))
        return;
    // A list shows only item texts.
    if (style_ == csDropDownList && itemIndex_ < 0 && !text_.empty()) {
        text_.clear();
        Changed(TChangeKind::Value);
    }
}

// --- TRadioGroup ---

void TRadioGroup::SetItems(std::vector<std::string> items) {
    if (!Assign(items_, std::move(items), TChangeKind::Items))
        return;
    if (itemIndex_ >= static_cast<int>(items_.size())) {
        itemIndex_ = -1;
        Changed(TChangeKind::Selection);
    }
}

void TRadioGroup::SetItemIndex(int index) {
    CheckIndex(*this, index, items_.size());
    if (index == itemIndex_)
        return;
    itemIndex_ = index;
    Changed(TChangeKind::Selection, index);
    Fire(OnClick);
}

void TRadioGroup::SetColumns(int columns) {
    Assign(columns_, std::max(1, columns), TChangeKind::Style);
}

// --- TListBox ---

void TListBox::Check(int index, bool allowNone) const {
    CheckIndex(*this, index, items_.size());
    if (!allowNone && index < 0)
        throw EKorvelError("TListBox \"" + Name() + "\": item index -1 has no selection state");
}

void TListBox::SetItems(std::vector<std::string> items) {
    if (!Assign(items_, std::move(items), TChangeKind::Items))
        return;
    selected_.assign(items_.size(), false);
    itemIndex_ = -1;
    Changed(TChangeKind::Selection);
}

void TListBox::SetItemIndex(int index) {
    Check(index, true);
    std::vector<bool> selection(items_.size(), false);
    if (index >= 0)
        selection[static_cast<std::size_t>(index)] = true;
    if (index == itemIndex_ && selection == selected_)
        return;
    itemIndex_ = index;
    selected_ = std::move(selection);
    Changed(TChangeKind::Selection, index);
    Fire(OnClick);
}

void TListBox::SetMultiSelect(bool multiSelect) {
    if (!Assign(multiSelect_, multiSelect, TChangeKind::Style) || multiSelect_)
        return;
    std::vector<bool> selection(items_.size(), false);
    if (itemIndex_ >= 0)
        selection[static_cast<std::size_t>(itemIndex_)] = true;
    if (selection != selected_) {
        selected_ = std::move(selection);
        Changed(TChangeKind::Selection);
    }
}

bool TListBox::Selected(int index) const {
    Check(index, false);
    return selected_[static_cast<std::size_t>(index)];
}

void TListBox::SetSelected(int index, bool selected) {
    Check(index, false);
    if (!multiSelect_) {
        if (selected)
            SetItemIndex(index);
        else if (index == itemIndex_)
            SetItemIndex(-1);
        return;
    }
    const auto slot = static_cast<std::size_t>(index);
    if (selected_[slot] == selected && (!selected || itemIndex_ == index))
        return;
    selected_[slot] = selected;
    if (selected)
        itemIndex_ = index;
    Changed(TChangeKind::Selection, index);
    Fire(OnClick);
}

int TListBox::SelCount() const {
    return static_cast<int>(std::count(selected_.begin(), selected_.end(), true));
}

std::vector<int> TListBox::SelectedIndexes() const {
    std::vector<int> indexes;
    for (std::size_t i = 0; i < selected_.size(); ++i)
        if (selected_[i])
            indexes.push_back(static_cast<int>(i));
    return indexes;
}

TColor TListBox::ItemColor(int index) const {
    Check(index, false);
    return static_cast<std::size_t>(index) < itemColors_.size() ? itemColors_[static_cast<std::size_t>(index)]
                                                                : clDefault;
}

void TListBox::DblClick() {
    if (itemIndex_ >= 0 && Reachable())
        Fire(OnDblClick);
}

void TListBox::ClearSelection() {
    if (SelCount() == 0 && itemIndex_ < 0)
        return;
    selected_.assign(items_.size(), false);
    itemIndex_ = -1;
    Changed(TChangeKind::Selection);
    Fire(OnClick);
}

} // namespace korvel
