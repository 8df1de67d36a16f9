#include "sound/DirectivityList.h"

#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
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

std::unique_ptr<TMyTable> OpenDirectivityLibrary(const std::string& folder) {
    auto lib = std::make_unique<TMyTable>(TableNames(kDirectivityLibType));
    const bool exists = LibraryExists(kDirectivityLibType, folder, false);
    lib->InitLibX(folder, LibName(kDirectivityLibType), TableNames(kDirectivityLibType), false, true);
    if (!exists) {
        SetFieldIndexDefs(*lib, kDirectivityLibType, true);
        lib->CreateDBTable();
    }
    lib->Open();
    return lib;
}

} // namespace korvel::sound
