// Bringing a directivity library up to date when it is opened: the fields later versions added are added,
// and an empty library is filled from the older table Riwi.abs beside it, with its numbers, because older
// sound libraries refer to those directivities by number.

#include "directivity/FormRiwiX.h"
#include "platform/db/Database.h"
#include "platform/db/Restructure.h"
#include "platform/db/Table.h"
#include "platform/log/Log.h"
#include "platform/ui/Ui.h"
#include "sound/LegacySchema.h"

#include <filesystem>

namespace korvel::directivity {

namespace fs = std::filesystem;

void TFormRiwiX::CheckUpdate(int tabIndex) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable || GetPathType(tabIndex) == TLibPathType::System || TabReadOnly(tabIndex))
        return;
    db::TTable* table = myTable->GetTable();
    if (!table || !table->Active())
        return;

    // Whether a spreadsheet row was complete, and its energetic mean, came with the spreadsheet import.
    db::TRestructure add;
    if (!table->Defs().FindField("Komplett"))
        add.AddField({"Komplett", db::TFieldType::Boolean});
    if (!table->Defs().FindField("Values0"))
        add.AddField({"Values0", db::TFieldType::Float});
    // The library works without them; the spreadsheet import then leaves them out.
    if (!add.Empty())
        RestructureMainTable(tabIndex, add);

    // Riwi3D.abs is not taken over: no older sound library refers to its numbers in this library.
    const std::string older = myTable->Folder() + sound::kLegacyRiwiFile;
    std::error_code ec;
    if (!table->IsEmpty() || !fs::is_regular_file(older, ec))
        return;
    Host().Log().AddInformation("Updating library \"" + older + "\"");
    // All or nothing: a failed update leaves the library empty, so the next opening tries again.
    RunLibraryUpdate(tabIndex, [&] {
        int count = 0;
        int duplicates = 0;
        ImportV73(tabIndex, older, count, duplicates, true);
    });
}

} // namespace korvel::directivity
