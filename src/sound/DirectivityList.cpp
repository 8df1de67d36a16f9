#include "sound/DirectivityList.h"

#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "platform/text/CaseFold.h"
#include "sound/SoundSchema.h"

namespace korvel::sound {

void TDirectivityList::Open(const std::string& folder) {
    folder_ = folder;
    std::vector<TDirectivityEntry> entries{{0, kNotDefined}};
    if (!folder.empty() && LibraryExists(kDirectivityLibType, folder, true)) {
        TMyTable lib(TableNames(kDirectivityLibType));
        lib.InitLibX(folder, LibName(kDirectivityLibType), TableNames(kDirectivityLibType), true, true);
        lib.Open();
        db::TTable& t = *lib.GetTable();
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next()) {
            db::TField* name = t.FindField("ElementName");
            entries.push_back({t.Fields(0).AsInteger(), name ? name->AsString() : std::string()});
        }
        lib.Close();
    }
    entries_ = std::move(entries);
}

int TDirectivityList::IndexOfNumber(int number) const {
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (entries_[i].Number == number)
            return static_cast<int>(i);
    return -1;
}

int TDirectivityList::NumberOfName(const std::string& name) const {
    const std::string key = FoldCase(name);
    for (const auto& e : entries_)
        if (e.Number != 0 && FoldCase(e.Name) == key)
            return e.Number;
    return 0;
}

std::string TDirectivityList::NameOfNumber(int number) const {
    const int i = IndexOfNumber(number);
    return i < 0 ? std::string() : entries_[static_cast<std::size_t>(i)].Name;
}

} // namespace korvel::sound
