// Copying elements between the tabs of an editor and between editors of the same kind.

#include "editor/ElementCopy.h"

#include "editor/CustomLibForm.h"
#include "editor/NameExistsForm.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Sqlite.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <optional>

namespace korvel {

namespace {

// Looks a name up without moving the table the copy works on.
bool NameTaken(db::TTable& table, const std::string& indexName, const std::string& name) {
    return table.SeekKey(indexName, {db::TValue(name)}).has_value();
}

} // namespace

namespace {

std::vector<const db::TTable*>& AppendOnlyTables() {
    static std::vector<const db::TTable*> tables;
    return tables;
}

} // namespace

TAppendOnly::TAppendOnly(db::TTable& table) : table_(&table) {
    AppendOnlyTables().push_back(table_);
}

TAppendOnly::~TAppendOnly() {
    auto& tables = AppendOnlyTables();
    tables.erase(std::find(tables.begin(), tables.end(), table_));
}

bool TAppendOnly::Active(const db::TTable& table) {
    const auto& tables = AppendOnlyTables();
    return std::find(tables.begin(), tables.end(), &table) != tables.end();
}

TBulkWork::TBulkWork(TCustomLibForm& form, int tabIndex) : form_(form), tab_(tabIndex) {
    form_.BulkWorkBegins(tab_);
}

TBulkWork::~TBulkWork() {
    try {
        form_.BulkWorkEnds(tab_);
    } catch (...) {
        // What the kind put off until the end (a filter shown again) waits for the next refresh.
    }
}

TReadSnapshot::TReadSnapshot(db::TDatabase& source, const db::TDatabase& target) : source_(source) {
    if (&source == &target || !source.Active() || source.Connection().InTransaction())
        return;
    source.Connection().Exec("BEGIN");
    open_ = true;
}

TReadSnapshot::~TReadSnapshot() {
    if (!open_ || !source_.Active() || !source_.Connection().InTransaction())
        return;
    try {
        source_.Connection().Exec("COMMIT");
    } catch (...) {
        // Ending a read changes nothing; the connection gives the snapshot up when it closes.
    }
}

TPendingRecord::~TPendingRecord() {
    if (table_.Editing()) {
        try {
            table_.Cancel();
        } catch (...) {
            // Cancelling only drops the buffer; nothing to report from a destructor.
        }
    }
}

bool CheckNameTwice(IUi& ui, db::TTable& table, const std::string& indexName, std::string& name,
                    TneAction& action) {
    if (TAppendOnly::Active(table)) {
        table.Append();
        return true;
    }
    int maxLength = 0;
    if (const db::TIndexDef* index = table.Defs().FindIndex(indexName); index && !index->Fields.empty())
        if (const db::TFieldDef* field = table.Defs().FindField(index->Fields.front()))
            maxLength = field->Size;
    // Names are looked up without switching the table's order: one query per element of a bulk copy.
    std::optional<db::TBookmark> found;
    bool conflict = false;
    while ((found = table.SeekKey(indexName, {db::TValue(name)}))) {
        conflict = true;
        if (action != TneAction::Cancel && action != TneAction::OverwriteAll &&
            action != TneAction::SkipAll) {
            std::string newName = name;
            action = NameExistsAction(ui, name, 4, newName, maxLength, [&](const std::string& candidate) {
                return NameTaken(table, indexName, candidate);
            });
            if (action == TneAction::NewName)
                name = newName;
        }
        if (action != TneAction::NewName)
            break;
    }
    // The found element becomes current, as a search would leave it.
    if (conflict && found)
        table.GotoBookmark(*found);
    if (conflict &&
        (action == TneAction::Cancel || action == TneAction::Skip || action == TneAction::SkipAll))
        return false;
    if (conflict && (action == TneAction::Overwrite || action == TneAction::OverwriteAll))
        table.Edit();
    else
        table.Append();
    return true;
}

void PostOrCancel(db::TTable& table) {
    try {
        table.Post();
    } catch (...) {
        table.Cancel();
        throw;
    }
}

// --- the frame's copy of one element

std::optional<TCustomLibForm::TCopyEnds>
TCustomLibForm::CopyEnds(int srcTab, int dstTab, TCustomLibForm& target, TneAction action) const {
    if (action == TneAction::Cancel || target.LibType() != LibType())
        return std::nullopt;
    db::TTable* src = GetMainTable(srcTab);
    db::TTable* dst = target.GetMainTable(dstTab);
    if (!src || !src->Active() || src->IsEmpty() || !dst || !dst->Active())
        return std::nullopt;
    return TCopyEnds{*src, *dst};
}

void TCustomLibForm::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                       TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    if (!ends)
        return;
    db::TTable* src = &ends->Src;
    db::TTable* dst = &ends->Dst;
    std::vector<std::pair<std::string, db::TValue>> values;
    for (int i = 0; i < src->FieldCount(); ++i) {
        const db::TField& f = src->Fields(i);
        if (f.DataType() != db::TFieldType::AutoInc)
            values.emplace_back(f.FieldName(), f.Value());
    }
    const std::string nameField = NameFieldName(libType_);
    std::string name = src->FieldByName(nameField).AsString();

    TBulkTag bulk(*dst);
    if (!CheckNameTwice(Ui(), *dst, "EN", name, action))
        return;
    // An overwrite replaces every field of the existing element; its number stays.
    for (const auto& [fieldName, value] : values) {
        db::TField* f = dst->FindField(fieldName);
        if (f && f->DataType() != db::TFieldType::AutoInc)
            f->SetValue(value);
    }
    dst->FieldByName(nameField).SetAsString(name);
    PostOrCancel(*dst);
}

// --- copy runs

void TCustomLibForm::CopyElement(TCustomLibForm& target, int dstTab) {
    if (target.LibType() != LibType() || !CheckCopyElementAllowed(target, dstTab))
        return;
    db::TTable* src = CurrentTable();
    db::TTable* dst = target.GetMainTable(dstTab);
    if (!src || src->IsEmpty() || !dst || !dst->Active() || target.TabReadOnly(dstTab))
        return;
    StoreCurrent();
    const int srcTab = GetCurIndex();
    std::vector<db::TBookmark> rows = dbList_->SelectedBookmarks();
    if (rows.empty())
        rows.push_back(src->GetBookmark());
    const db::TBookmark here = src->GetBookmark();

    host_.ProcessMessages();
    if (target.GetCurIndex() != dstTab) {
        // The target's own save question may refuse the change of tab; then nothing is copied.
        if (!target.TabLibs().SetTabIndex(dstTab))
            return;
    } else if (&target != this && !target.FinishEditing()) {
        return; // the target's own edit is settled first, by its save question
    }

    db::TDatabase& targetDb = target.GetMyTable(dstTab)->Database();
    TneAction action = TneAction::Overwrite;
    targetDb.StartTransaction();
    try {
        TReadSnapshot snapshot(GetMyTable(srcTab)->Database(), targetDb);
        TControlsOff quietSource(*src);
        TControlsOff quietTarget(*dst);
        TBulkWork bulkSource(*this, srcTab);
        TBulkWork bulkTarget(target, dstTab);
        int done = 0;
        for (db::TBookmark row : rows) {
            if (!src->GotoBookmark(row))
                continue;
            try {
                // Each element is whole or absent, whatever fails in the middle of it.
                db::TSavepoint element(targetDb.Connection());
                TPendingRecord pending(*dst);
                CopySingleElement(srcTab, dstTab, target, false, action);
                element.Commit();
            } catch (const db::EDatabaseError&) {
                throw; // the target library itself failed: the run stops
            } catch (const EKorvelError& e) {
                // An element that cannot be read is reported (the kind's copy names it) and left out; the
                // others are copied.
                target.BulkWorkUndone(dstTab);
                Ui().MessageDlg(e.what(), mtError, {mbOK});
            }
            if (action == TneAction::Cancel)
                break;
            if (++done % 100 == 0)
                host_.ProcessMessages();
        }
    } catch (...) {
        // What was copied before the failure stays.
        targetDb.Commit();
        dst->Refresh();
        throw;
    }
    targetDb.Commit();
    target.RefreshElement();
    if (!(&target == this && GetCurIndex() == dstTab))
        src->GotoBookmark(here);
}

void TCustomLibForm::CreateCopyToMenu(TMenuItem& copyTo) {
    while (copyTo.Count() > 0)
        copyTo.Remove(copyTo.Item(copyTo.Count() - 1));
    std::vector<TCustomLibForm*> editors;
    if (FormStyle() == fsChild) {
        for (TForm* window : host_.MDIChildren())
            editors.push_back(dynamic_cast<TCustomLibForm*>(window));
    } else {
        editors.push_back(this);
    }
    int entry = 0;
    for (size_t e = 0; e < editors.size(); ++e) {
        TCustomLibForm* editor = editors[e];
        if (!editor || editor->LibType() != LibType())
            continue;
        for (int tab = 0; tab < editor->TabCount(); ++tab) {
            if (editor->GetPathType(tab) == TLibPathType::System)
                continue;
            const std::string caption = editor->TabLibs().Tabs()[static_cast<size_t>(tab)];
            TMenuItem& item = copyTo.Add("CopyToX" + std::to_string(++entry), "Copy to > " + caption);
            item.SetTag(editor == this ? -tab : static_cast<int>(e) * 1000 + tab);
            // The entry keeps its editor: a code alone cannot tell this editor's first tab (0) from the
            // first tab of the first child window.
            std::weak_ptr<TComponent*> alive = editor->Lifetime();
            item.OnClick = [this, editor, alive, tab](TComponent&) {
                if (!alive.expired())
                    CopyElement(*editor, tab);
            };
        }
    }
    copyTo.SetEnabled(entry > 0);
}

void TCustomLibForm::EnsureGlobalTab(TButton& button) {
    const std::string global = GetGlobalLibPath();
    if (global.empty()) {
        Ui().MessageDlg("No global library folder is set.", mtError, {mbOK});
        return;
    }
    const int previous = GetCurIndex();
    std::vector<int> selected;
    for (db::TBookmark mark : dbList_->SelectedBookmarks())
        if (db::TTable* t = CurrentTable(); t && t->GotoBookmark(mark))
            selected.push_back(static_cast<int>(t->Fields(0).AsInteger()));
    const int current = GetElementNo(previous);
    StoreCurrent();
    OpenFiles({global}, 0, true, true);
    if (button.Tag() < 0)
        return; // the library could not be opened; OpenFiles said why
    if (previous >= 0) {
        SetCurIndex(previous);
        for (int number : selected)
            if (GotoElementNo(previous, number))
                dbList_->SetRowSelected(dbList_->CurrentRow(), true);
        GotoElementNo(previous, current);
    }
}

void TCustomLibForm::CopyButtonClick(TComponent& sender) {
    auto& button = static_cast<TButton&>(sender);
    if (button.Tag() == -1)
        EnsureGlobalTab(button);
    if (button.Tag() >= 0)
        CopyElement(*this, button.Tag());
}

void TCustomLibForm::AcceptClick(TComponent& /*sender*/) {
    const int p = GetFirstProjIndex();
    if (p > -1 && p != GetCurIndex())
        CopyElement(*this, p);
}

} // namespace korvel
