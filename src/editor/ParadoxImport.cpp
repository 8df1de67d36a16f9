#include "editor/ParadoxImport.h"

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/formats/ParadoxTable.h"
#include "platform/settings/PathText.h"
#include "platform/ui/Ui.h"

#include <filesystem>
#include <optional>

namespace korvel {

namespace {

// The index the target is searched on: the one led by the name field.
std::string NameIndex(const db::TTable& table, const std::string& nameField) {
    for (const db::TIndexDef& index : table.IndexDefs())
        if (!index.Fields.empty() && db::SameName(index.Fields.front(), nameField))
            return index.Name;
    throw EKorvelError("The library has no index on its name field \"" + nameField + "\".");
}

std::string CellText(const db::TValue& value) {
    if (const auto* s = std::get_if<std::string>(&value))
        return *s;
    if (const auto* i = std::get_if<std::int64_t>(&value))
        return std::to_string(*i);
    return {};
}

} // namespace

bool ImportParadox(IUi& ui, const std::string& nameField, TMyTable& target, const std::string& folder,
                   const std::string& fileName, int& imported, int& skipped) {
    imported = 0;
    skipped = 0;
    const int kind = GetLibType(fileName);
    if (kind < 0) {
        ui.MessageDlg("Unknown database type", mtError, {mbOK});
        return false;
    }
    db::TTable* table = target.GetTable();
    if (!table || !table->Active())
        return false;
    if (table->Editing())
        throw EKorvelError("Store or cancel the element being edited before importing.");

    const std::string path = folder.empty() ? fileName : IncludeTrailingSeparator(folder) + fileName;
    const formats::TForeignTable source = formats::ReadParadoxTable(path);
    const int nameColumn = source.ColumnIndex(nameField);
    if (nameColumn < 0)
        throw EKorvelError("The table \"" + path + "\" has no column \"" + nameField +
                           "\"; nothing was imported.");
    const std::string indexName = NameIndex(*table, nameField);
    // Names are cut to the name field's length before the lookup: a longer name would pass it in full and
    // then be cut by the store into a duplicate.
    std::size_t nameChars = 0;
    if (const db::TFieldDef* def = table->Defs().FindField(nameField);
        def && def->DataType == db::TFieldType::String && def->Size > 0)
        nameChars = static_cast<std::size_t>(def->Size);

    // Columns and the fields they fill; the element number is the target's own.
    struct TColumnField {
        std::size_t Column;
        std::string Field;
    };
    std::vector<TColumnField> mapped;
    for (std::size_t c = 0; c < source.Columns.size(); ++c) {
        if (static_cast<int>(c) == nameColumn)
            continue;
        const db::TFieldDef* def = table->Defs().FindField(source.Columns[c].Name);
        if (def && def->DataType != db::TFieldType::AutoInc)
            mapped.push_back({c, def->Name});
    }
    const int targetType = GetLibType(std::filesystem::path(target.FileName()).filename().string());
    const int libType = targetType >= 0 ? targetType : kind;

    TBulkTag bulk(*table);
    TneAction action = TneAction::NewName;
    std::size_t rowNo = 0;
    for (const auto& row : source.Rows) {
        if (action == TneAction::Cancel)
            break;
        ++rowNo;
        std::string name = CellText(row[static_cast<std::size_t>(nameColumn)]);
        if (nameChars > 0)
            name = db::TruncateCodePoints(name, nameChars);
        if (!CheckNameTwice(ui, *table, indexName, name, action)) {
            ++skipped;
            continue;
        }
        TPendingRecord pending(*table);
        const bool appended = table->State() == db::TDataSetState::Insert;
        // An editor fills its new records itself; a bare library gets the kind's defaults here.
        if (appended && !table->OnNewRecord)
            OnNewRecord(*table, libType, false);
        try {
            table->FieldByName(nameField).SetAsString(name);
            for (const TColumnField& m : mapped) {
                const db::TValue& value = row[m.Column];
                // A new element keeps its defaults where the old table had nothing.
                if (appended && std::holds_alternative<std::monostate>(value))
                    continue;
                table->FieldByName(m.Field).SetValue(value);
            }
            PostOrCancel(*table);
        } catch (const db::EDatabaseError& e) {
            throw EKorvelError("Row " + std::to_string(rowNo) + " of \"" + path + "\": " + e.what());
        }
        ++imported;
    }
    return true;
}

int ImportParadoxAsOlderTable(IUi& ui, const std::string& fileName, const db::TTableDef& def, int& count,
                              int& duplicates) {
    namespace fs = std::filesystem;
    count = 0;
    duplicates = 0;
    const fs::path path(fileName);
    const std::string folder = path.parent_path().string() + "/";
    const std::string stem = path.stem().string();
    const fs::path finalFile = path.parent_path() / (stem + ".abs");
    const std::string partName = stem + ".abs.part";
    const fs::path partFile = path.parent_path() / partName;
    auto removeDatabase = [](const fs::path& p) {
        std::error_code ec;
        for (const char* suffix : {"", "-wal", "-shm", "-journal"})
            fs::remove(p.string() + suffix, ec);
    };
    removeDatabase(partFile);
    try {
        bool ok = false;
        {
            TMyTable part(std::vector<std::string>{stem});
            part.InitLibX(folder, partName, {stem}, false, true);
            part.GetTable()->Defs() = def;
            part.CreateDBTable();
            part.Open();
            ok = ImportParadox(ui, "ElementName", part, folder, path.filename().string(), count, duplicates);
            part.Close();
        }
        if (!ok) {
            removeDatabase(partFile);
            return 2;
        }
        // The person's older table is replaced only now that its successor is complete.
        removeDatabase(finalFile);
        fs::rename(partFile, finalFile);
        return 1;
    } catch (const std::exception& e) {
        removeDatabase(partFile);
        ui.MessageDlg(e.what(), mtError, {mbOK});
        return 2;
    }
}

} // namespace korvel
