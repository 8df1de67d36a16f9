// The save question, storing, closing, and the per-library index settings of the editor frame.

#include "editor/CustomLibForm.h"
#include "editor/RecordJson.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Table.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/legacy/Trim.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/WindowPlacement.h"
#include "platform/ui/Ui.h"

#include <nlohmann/json.hpp>

namespace korvel {

int TCustomLibForm::DefaultSaveQuestion(std::string question, std::string name) {
    const std::string elementName = TrimText(GetElementName(GetCurIndex()));
    if (elementName.empty()) {
        Ui().MessageDlg("No element name entered, please enter a name first!", mtError, {mbOK});
        return mrCancel;
    }
    if (question.empty())
        question = "Save element";
    if (name.empty())
        name = elementName;
    return Ui().MessageDlg(question + " \"" + name + "\"?", mtConfirmation, {mbYes, mbNo, mbCancel});
}

void TCustomLibForm::DoDefaultSaveAction(int answer) {
    db::TTable* table = CurrentTable();
    if (answer == mrCancel) {
        if (table)
            table->Tag = 0;
        Abort();
    }
    if ((answer == mrYes || answer == mrNo) && table)
        table->Tag = kTagStoreClose;
}

void TCustomLibForm::StoreCurrent() {
    db::TTable* table = CurrentTable();
    if (!table || !table->Editing())
        return;
    LeaveGridEditModes();
    dataSource_.UpdateRecord();
    table->Post();
}

void TCustomLibForm::FormCloseQuery(TComponent& /*sender*/, bool& canClose) {
    if (!CanCloseEditor()) {
        canClose = false;
        return;
    }
    LeaveGridEditModes();
    db::TTable* table = CurrentTable();
    if (table) {
        table->Tag = kTagStoreClose;
        if (table->Editing()) {
            const int answer = SaveQuestion();
            if (answer == mrCancel) {
                table->Tag = 0;
                canClose = false;
                return;
            }
            try {
                if (answer == mrYes) {
                    dataSource_.UpdateRecord();
                    table->Post();
                } else {
                    // An unsaved new element is not validated or asked about again; it is discarded.
                    if (table->State() == db::TDataSetState::Insert)
                        table->BeforePost = nullptr;
                    table->Cancel();
                }
            } catch (...) {
                table->Tag = 0;
                canClose = false;
                throw;
            }
        }
    }
    lastSelectedElementNos_.clear();
    const int p = GetFirstProjIndex();
    if (p >= 0) {
        lastElementNo_ = GetElementNo(p);
        if (GetCurIndex() == p && dbList_->SelectedCount() > 0)
            lastSelectedElementNos_ = SelectedElementNos();
    } else {
        lastElementNo_ = -1;
    }
}

bool TCustomLibForm::LibraryEmpty(TMyTable& myTable) {
    for (int i = 0; i < myTable.GetCount(); ++i) {
        db::TTable* t = myTable.GetItem(i);
        if (!t->Active())
            continue;
        t->SetFiltered(false);
        if (!t->IsEmpty())
            return false;
    }
    return true;
}

void TCustomLibForm::FormClose(TComponent& /*sender*/, TCloseAction& action) {
    LibrariesClosing();
    dataSource_.SetDataSet(nullptr);
    for (int tab = 0; tab < TabCount(); ++tab) {
        TMyTable& myTable = *GetMyTable(tab);
        db::TTable* main = myTable.GetTable();
        if (!main || !main->Active())
            continue;
        // The delivered libraries are never removed, empty or not.
        const bool deletable = GetPathType(tab) != TLibPathType::System && !myTable.GetReadOnly();
        bool empty = false;
        try {
            empty = deletable && LibraryEmpty(myTable);
            if (!empty)
                WriteLibSettings(myTable);
        } catch (const std::exception&) {
            empty = false; // a library that cannot be read is kept as it is
        }
        try {
            main->Close();
            if (empty) {
                myTable.Close();
                myTable.Database().DeleteDatabase();
            }
        } catch (const std::exception&) {
            // A library that cannot be removed just stays.
        }
    }
    if (FormStyle() != fsChild)
        SaveWindowSettings("Lib" + std::to_string(libType_),
                           TWindowPlacement{Left(), Top(), Width(), Height(), false});
    action = caFree;
}

std::string TCustomLibForm::LibSettingsKey(const TMyTable& myTable) const {
    const char* prefix = "LibPrj";
    switch (GetPathTypeByName(myTable.FileName())) {
    case TLibPathType::System:
        prefix = "LibSys";
        break;
    case TLibPathType::Global:
        prefix = "LibGlb";
        break;
    case TLibPathType::Project:
        break;
    }
    return prefix + std::to_string(libType_);
}

void TCustomLibForm::ReadLibSettings(TMyTable& myTable) {
    db::TTable* table = myTable.GetTable();
    if (!table || !table->Active() || table->IndexDefs().empty())
        return;
    const std::string stored =
        TIniStore(KorvelLibIniFileName()).ReadString("IndexNames", LibSettingsKey(myTable), "");
    const db::TIndexDef* index = stored.empty() ? nullptr : table->Defs().FindIndex(stored);
    table->SetIndexName(index ? index->Name : table->IndexDefs().front().Name);
}

void TCustomLibForm::WriteLibSettings(TMyTable& myTable) {
    db::TTable* table = myTable.GetTable();
    if (!table || !table->Active())
        return;
    TIniStore(KorvelLibIniFileName()).WriteString("IndexNames", LibSettingsKey(myTable), table->IndexName());
}

// --- element views

nlohmann::json TCustomLibForm::ElementView() {
    db::TTable* table = CurrentTable();
    if (!table)
        return nlohmann::json::object();
    return RecordToJson(*table, false);
}

void TCustomLibForm::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    if (!table)
        throw EKorvelError("No library is open");
    JsonToRecord(view, *table);
}

void TCustomLibForm::RefreshElement() {
    if (db::TTable* table = CurrentTable())
        table->Refresh();
}

// --- hints

std::string TCustomLibForm::GetElementHint() {
    db::TTable* table = CurrentTable();
    if (!table || table->IsEmpty())
        return {};
    std::string changed;
    if (db::TField* f = table->FindField("LastChangeDateTime"))
        changed = FieldValueText(f->DataType(), f->Value());
    return "Element #" + table->Fields(0).AsString() + "; changed on " + changed;
}

std::string TCustomLibForm::RowHint(std::int64_t row) {
    db::TTable* table = CurrentTable();
    if (!table)
        return {};
    db::TField* changed = table->FindField("LastChangeDateTime");
    std::vector<int> fields{0};
    if (changed)
        fields.push_back(changed->Index());
    std::vector<db::TTable::TRow> rows = table->ReadRows(row, 1, fields);
    if (rows.empty() || db::IsNull(rows.front().Values[0]))
        return {};
    const std::string when = changed && rows.front().Values.size() > 1
                                 ? FieldValueText(changed->DataType(), rows.front().Values[1])
                                 : "";
    return "Element #" + FieldValueText(db::TFieldType::Integer, rows.front().Values[0]) + "; changed on " +
           when;
}

bool TCustomLibForm::CurrentReadOnly() const {
    const int tab = GetCurIndex();
    return tab < 0 || TabReadOnly(tab);
}

bool TCustomLibForm::EnsureEditing() {
    db::TTable* table = CurrentTable();
    if (!table || !table->Active() || CurrentReadOnly())
        return false;
    if (table->State() == db::TDataSetState::Browse) {
        if (table->IsEmpty())
            return false;
        table->Edit();
    }
    return true;
}

} // namespace korvel
