#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// A list of texts that each carry an integer id, such as element names with their element numbers behind
// a choice box: the box shows the texts, the program stores the ids.
class TStringListID {
public:
    void AddStringID(std::string_view text, int id);

    // The id of the entry at the index, -1 when the index is out of range.
    int GetID(int index) const;
    // The text of the first entry with the id; empty when no entry has it.
    std::string GetName(int id) const;
    // The index of the first entry with the id, -1 when none has it.
    int IndexOfID(int id) const;
    // Replaces the items with all texts, in order.
    void InitItems(std::vector<std::string>& items) const;

    int Count() const { return static_cast<int>(entries_.size()); }
    void Clear() { entries_.clear(); }

private:
    struct TEntry {
        std::string Text;
        int Id;
    };
    std::vector<TEntry> entries_;
};

} // namespace korvel
