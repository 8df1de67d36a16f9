// Bringing a sound library up to the current layout when it is opened: an empty library is filled from the
// older generation's file beside it, otherwise fields that later versions added are added one restructure
// at a time and filled from the fields they replace.

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/acoustic/AddProp.h"
#include "platform/db/Restructure.h"
#include "platform/ui/Ui.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/LegacySchema.h"
#include "sound/SoundSchema.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace korvel::sound {

using namespace acoustic;

namespace {

bool HasField(db::TTable& table, std::string_view name) {
    return table.Defs().FindField(name) != nullptr;
}

// Rewrites every record of the table through fill, in one transaction: an interrupted update either
// filled all records or none.
void ForEachRecord(TMyTable& myTable, db::TTable& table, const std::function<void(db::TTable&)>& fill) {
    TBulkTag bulk(table);
    table.DisableControls();
    db::TDatabase& database = myTable.Database();
    database.StartTransaction();
    try {
        for (table.First(); !table.Eof(); table.Next()) {
            table.Edit();
            fill(table);
            table.Post();
        }
        database.Commit();
    } catch (...) {
        if (table.Editing())
            table.Cancel();
        database.Rollback();
        table.EnableControls();
        throw;
    }
    table.EnableControls();
}

} // namespace

void TFormLibX::CheckUpdate(int tabIndex) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable || GetPathType(tabIndex) == TLibPathType::System || TabReadOnly(tabIndex))
        return;
    db::TTable* table = myTable->GetTable();
    if (!table || !table->Active())
        return;
    const std::string folder = myTable->Folder();
    const std::string old = folder + LegacyLibFileName(LibType());
    std::error_code ec;
    const bool hasOld = fs::exists(old, ec);
    const bool hasRiwi = LibType() == kEmissionLibType && fs::exists(folder + kLegacyRiwiFile, ec);

    // Only an empty library is filled from the older generation; one that holds elements is brought up to
    // date whatever older files still lie beside it.
    if ((hasOld || hasRiwi) && table->IsEmpty()) {
        TLog& log = Host().Log();
        char text[1024];
        std::snprintf(text, sizeof text, "Updating library \"%s\"", old.c_str());
        log.AddInformation(text);
        Host().ShowLog(false);
        try {
            if (LibType() == kEmissionLibType) {
                // The directivities are carried over too; an editor showing them would hold stale data.
                int dirTab = -1;
                TCustomLibForm* dirEditor = nullptr;
                if (LibAlreadyOpen(Host(), folder, kDirectivityLibType, dirTab, dirEditor) && dirEditor)
                    Host().CloseWindow(*dirEditor);
            }
            if (hasOld) {
                int count = 0;
                int duplicates = 0;
                ImportV73(tabIndex, old, count, duplicates, true, true);
            }
        } catch (const std::exception& e) {
            log.AddError(std::string(kUpdateFailedPrefix) + e.what());
        }
        Host().ShowLog(false);
        // The field updates wait for the next opening.
        return;
    }

    // One restructure of the tab's main table; the engine's reason is shown and the caller carries on.
    auto restructure = [&](const db::TRestructure& change) {
        return RestructureMainTable(tabIndex, change);
    };
    auto addMissing = [&](db::TRestructure& change, const char* name, db::TFieldType type) {
        if (!HasField(*table, name))
            change.AddField({name, type});
    };
    auto dropPresent = [&](db::TRestructure& change, const std::string& name) {
        if (HasField(*table, name))
            change.DropField(name);
    };

    if (LibType() == kEmissionLibType && HasField(*table, "VarList")) {
        db::TRestructure add;
        addMissing(add, "VarListIn", db::TFieldType::Blob);
        addMissing(add, "VarListOut", db::TFieldType::Blob);
        // Without the new field the old one keeps the only copy of the variables.
        if (add.Empty() || restructure(add)) {
            bool copied = false;
            try {
                // A copy that went through before the old field could be removed may have been edited
                // since; only records still without input variables take the old list.
                ForEachRecord(*myTable, *table, [](db::TTable& t) {
                    db::TField& in = t.FieldByName("VarListIn");
                    if (in.IsNull() || in.AsBytes().empty())
                        in.SetValue(t.FieldByName("VarList").Value());
                });
                copied = true;
            } catch (const std::exception& e) {
                Ui().MessageDlg(e.what(), mtError, {mbOK});
            }
            if (copied)
                restructure(db::TRestructure().DropField("VarList"));
        }
    }

    if (LibType() == kEmissionLibType) {
        db::TRestructure add;
        addMissing(add, "HeightAboveGround", db::TFieldType::Float);
        addMissing(add, "Sigma", db::TFieldType::Float);
        addMissing(add, "EmisEntrytype", db::TFieldType::Word);
        addMissing(add, "VarListIn", db::TFieldType::Blob);
        addMissing(add, "VarListOut", db::TFieldType::Blob);
        addMissing(add, "VarlistLoc", db::TFieldType::Blob);
        addMissing(add, "Formula", db::TFieldType::Memo);
        if (!add.Empty())
            restructure(add);
    }

    // The four older values move as long as any of their fields is left, so a fill that was rolled back or a
    // removal that was refused is finished at the next opening.
    std::vector<std::string> kennFields;
    for (int i = 1; i <= 4; ++i)
        for (const char* stem : {"Kennwerte", "KennNames"})
            if (const std::string name = stem + std::to_string(i); HasField(*table, name))
                kennFields.push_back(name);
    if (!HasField(*table, "AddProp") || !kennFields.empty()) {
        db::TRestructure add;
        addMissing(add, "AddProp", db::TFieldType::Blob);
        if (LibType() == kTransmissionLibType)
            addMissing(add, "BauteilTyp", db::TFieldType::Integer);
        if (add.Empty() || restructure(add)) {
            const TAddPropDefList defs(LibType());
            bool filled = false;
            try {
                ForEachRecord(*myTable, *table, [&](db::TTable& t) {
                    // A record filled by an earlier run already carries its rest in the comment.
                    db::TField& addProp = t.FieldByName("AddProp");
                    if (!addProp.IsNull())
                        return;
                    std::array<double, 4> values{};
                    std::array<std::string, 4> names;
                    for (std::size_t i = 0; i < 4; ++i) {
                        const std::string n = std::to_string(i + 1);
                        if (db::TField* f = t.FindField("Kennwerte" + n); f && !f->IsNull())
                            values[i] = f->AsFloat();
                        if (db::TField* f = t.FindField("KennNames" + n))
                            names[i] = f->AsString();
                    }
                    TAddPropList props;
                    const std::string rest = props.ReadFromKenn(values, names, defs);
                    if (!rest.empty()) {
                        db::TField& comment = t.FieldByName("Kommentar");
                        comment.SetAsString(comment.AsString() + "\n\r" + rest);
                    }
                    addProp.SetAsBytes(props.ToBlob());
                });
                filled = true;
            } catch (const std::exception& e) {
                Ui().MessageDlg(e.what(), mtError, {mbOK});
            }
            db::TRestructure drop;
            for (const std::string& name : kennFields)
                dropPresent(drop, name);
            if (filled && !drop.Empty())
                restructure(drop);
        }
    }

    if (LibType() == kAbsorptionLibType && !HasField(*table, "ScatValues"))
        restructure(db::TRestructure().AddField({"ScatValues", db::TFieldType::Blob}));

    if (LibType() != kAttenuationLibType && !HasField(*table, "Color")) {
        if (restructure(db::TRestructure().AddField({"Color", db::TFieldType::Integer}))) {
            try {
                ForEachRecord(*myTable, *table, [](db::TTable& t) {
                    t.FieldByName("Color").SetAsInteger(static_cast<int>(RandomElementColor()));
                });
            } catch (const std::exception& e) {
                Ui().MessageDlg(e.what(), mtError, {mbOK});
            }
            table->First();
        }
    }
}

} // namespace korvel::sound
