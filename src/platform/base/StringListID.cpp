#include "platform/base/StringListID.h"

namespace korvel {

void TStringListID::AddStringID(std::string_view text, int id) {
    entries_.push_back(TEntry{std::string(text), id});
}

int TStringListID::GetID(int index) const {
    if (index < 0 || index >= Count()) {
        return -1;
    }
    return entries_[static_cast<std::size_t>(index)].Id;
}

std::string TStringListID::GetName(int id) const {
    const int index = IndexOfID(id);
    return index < 0 ? std::string() : entries_[static_cast<std::size_t>(index)].Text;
}

int TStringListID::IndexOfID(int id) const {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].Id == id) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void TStringListID::InitItems(std::vector<std::string>& items) const {
    items.clear();
    items.reserve(entries_.size());
    for (const TEntry& e : entries_) {
        items.push_back(e.Text);
    }
}

} // namespace korvel
