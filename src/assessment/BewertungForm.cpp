#include "assessment/BewertungForm.h"

#include "platform/Errors.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Schema.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/Ui.h"

#include <algorithm>

namespace korvel::assessment {

using acoustic::TZeitBereich;

TBewertungForm::TBewertungForm(TLibHost& host) : TCustomLibForm(host, "BewertungForm") {
    SetLibType(kAssessmentLibType);
    SetBounds(Left(), Top(), 1180, 760);
    DBList().SetColumns({{"Eintrag", "###", 48, true}, {"ElementName", "Assessments", 220, false}});
    BuildPages();
    DataSource().AddListener([this](db::TDataEvent event, const db::TField*) {
        if (event == db::TDataEvent::RecordChange || event == db::TDataEvent::DataSetChange)
            RecordChanged();
    });
    ReadDataSet();
}

TBewertungForm::~TBewertungForm() = default;

// --- libraries and tabs

const TUsages& TBewertungForm::Usages(int tabIndex) const {
    static const TUsages defaults = DefaultUsages();
    if (tabIndex < 0 || tabIndex >= static_cast<int>(usages_.size()))
        return defaults;
    return usages_[static_cast<std::size_t>(tabIndex)];
}

void TBewertungForm::SetUsages(int tabIndex, const TUsages& usages) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable || TabReadOnly(tabIndex))
        return;
    // Written first: the areas shown are always those in the folder.
    WriteUsagesToLib(myTable->Folder(), usages);
    if (static_cast<int>(usages_.size()) <= tabIndex) {
        usages_.resize(static_cast<std::size_t>(tabIndex) + 1, DefaultUsages());
        usagesDamaged_.resize(usages_.size(), false);
    }
    usages_[static_cast<std::size_t>(tabIndex)] = usages;
    usagesDamaged_[static_cast<std::size_t>(tabIndex)] = false;
    if (tabIndex == GetCurIndex()) {
        vgLimits_->Invalidate();
        vgAdditions_->Invalidate();
        vgUsages_->Invalidate();
    }
}

void TBewertungForm::ReadUsages(int tabIndex) {
    if (tabIndex < 0)
        return;
    if (static_cast<int>(usages_.size()) <= tabIndex) {
        usages_.resize(static_cast<std::size_t>(tabIndex) + 1, DefaultUsages());
        usagesDamaged_.resize(usages_.size(), false);
    }
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    const auto index = static_cast<std::size_t>(tabIndex);
    try {
        usages_[index] = ReadUsagesFromLib(myTable->Folder());
        usagesDamaged_[index] = false;
    } catch (const EKorvelError& e) {
        // The file stays as it is; the library shows the usual areas meanwhile and cannot change them.
        usages_[index] = DefaultUsages();
        usagesDamaged_[index] = true;
        Ui().MessageDlg(e.what(), mtWarning, {mbOK});
    }
}

void TBewertungForm::OpenLibrary(int tabIndex, const std::string& fileName) {
    TCustomLibForm::OpenLibrary(tabIndex, fileName);
    if (db::TTable* main = GetMainTable(tabIndex)) {
        main->PostFailed = [this](db::TTable& t) {
            TakeBackPost(t);
        };
        main->DeleteFailed = [this](db::TTable& t) {
            if (pendingDelete_ != &t)
                return;
            pendingDelete_ = nullptr;
            t.Database()->Rollback();
        };
    }
    ReadUsages(tabIndex);
    if (creatingTab_ == tabIndex) {
        // A new library starts from the areas of the location above it.
        TUsages usages = DefaultUsages();
        try {
            usages = GetPathType(tabIndex) == TLibPathType::Global ? ReadUsagesFromSystemLib()
                                                                   : ReadUsagesFromGlobalLib();
        } catch (const EKorvelError& e) {
            Ui().MessageDlg(e.what(), mtWarning, {mbOK});
        }
        SetUsages(tabIndex, usages);
    }
    const TLibPathType pathType = GetPathType(tabIndex);
    if ((pathType == TLibPathType::Global || pathType == TLibPathType::Project) && !TabReadOnly(tabIndex))
        CheckUpdate(tabIndex);
    ReadUsages(tabIndex);
}

void TBewertungForm::CreateNewLibrary(int tabIndex, const std::string& fileName) {
    creatingTab_ = tabIndex;
    try {
        TCustomLibForm::CreateNewLibrary(tabIndex, fileName);
    } catch (...) {
        creatingTab_ = -1;
        throw;
    }
    creatingTab_ = -1;
}

void TBewertungForm::SetCurIndex(int tabIndex) {
    links_.clear();
    TCustomLibForm::SetCurIndex(tabIndex);
    links_ = BindNameAndComment(*editName_, *memo_);
    db::TTable* table = CurrentTable();
    const db::TField* comment = table ? table->FindField("Kommentar") : nullptr;
    const bool hasComment = comment && comment->DataType() == db::TFieldType::Memo;
    if (!hasComment && pages_->ActivePage() == pageComment_)
        pages_->SetActivePage(*pageDefine_);
    pageComment_->SetTabVisible(hasComment);
    ReadDataSet();
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TBewertungForm::SetReadOnly(int tabIndex, bool readOnly) {
    TCustomLibForm::SetReadOnly(tabIndex, readOnly);
    if (tabIndex == GetCurIndex())
        UpdateCommands();
}

void TBewertungForm::UpdateCommands() {
    const bool writable = !CurrentReadOnly() && CurrentTable() != nullptr;
    const int tab = GetCurIndex();
    buttonAdd_->SetEnabled(writable);
    buttonDelete_->SetEnabled(writable && data_.Ranges.size() > 1);
    tabRanges_->SetTabsMovable(writable);
    const TZeitBereich* range = CurrentRange();
    cbPenalties_->SetEnabled(writable && range && range->AssessType == 0);
    vgLimits_->SetEditing(writable);
    vgAdditions_->SetEditing(writable);
    vgUsages_->SetEditing(writable && tab >= 0 && tab < static_cast<int>(usagesDamaged_.size()) &&
                          !usagesDamaged_[static_cast<std::size_t>(tab)]);
}

db::TTable* TBewertungForm::CurrentItem(int item) const {
    TMyTable* myTable = GetMyTable(GetCurIndex());
    db::TTable* table = myTable ? myTable->GetItem(item) : nullptr;
    return table && table->Active() ? table : nullptr;
}

int TBewertungForm::TabOf(const db::TTable& table) const {
    for (int i = 0; i < TabCount(); ++i)
        if (GetMainTable(i) == &table)
            return i;
    return -1;
}

int TBewertungForm::SaveQuestion() {
    return DefaultSaveQuestion("Save assessment", "");
}

std::string TBewertungForm::GetFilterName() {
    return GetCaptionString() + "|" + LibName(kAssessmentLibType);
}

bool TBewertungForm::CanCloseEditor() {
    if (!hoursInvalid_)
        return true;
    ShowInvalidHours();
    return false;
}

// --- the element

void TBewertungForm::RecordChanged() {
    const db::TTable* table = CurrentTable();
    // The editor's own stores and copies show what they wrote already; an edit keeps what it changed.
    if (table && (table->Tag == kTagBulkWork || table->Tag == kTagStoreClose || table->Editing()))
        return;
    ReadDataSet();
}

void TBewertungForm::ReadDataSet() {
    TBewertungDataSet fresh;
    db::TTable* main = CurrentTable();
    db::TTable* ranges = CurrentItem(kRangesItem);
    db::TTable* additions = CurrentItem(kAdditionsItem);
    if (main && ranges && additions && !main->IsEmpty()) {
        try {
            fresh.Read(*main, *ranges, *additions);
        } catch (const EKorvelError& e) {
            Ui().MessageDlg(e.what(), mtWarning, {mbOK});
        }
    }
    fresh.EnsureRange();
    data_ = std::move(fresh);
    RebuildRangeTabs();
    RebuildGrids();
    SelectRange(0);
}

void TBewertungForm::WriteDataSet() {
    db::TTable* main = CurrentTable();
    db::TTable* ranges = CurrentItem(kRangesItem);
    db::TTable* additions = CurrentItem(kAdditionsItem);
    if (!main || !ranges || !additions)
        throw EKorvelError("The assessment library is not open");
    data_.EnsureRange();
    data_.Write(*main, *ranges, *additions);
    data_.ElementNumber = main->FieldByName("Eintrag").AsInteger();
    data_.HasNumber = true;
    data_.ElementName = db::FieldString(*main, "ElementName");
}

bool TBewertungForm::MarkModified() {
    return !showing_ && EnsureEditing();
}

void TBewertungForm::RefreshElement() {
    if (db::TTable* table = CurrentTable(); table && !table->Editing())
        table->Refresh();
    ReadDataSet();
}

TZeitBereich* TBewertungForm::CurrentRange() {
    const int index = CurrentRangeIndex();
    return index < 0 ? nullptr : data_.Ranges[static_cast<std::size_t>(index)].get();
}

int TBewertungForm::CurrentRangeIndex() const {
    const int count = static_cast<int>(data_.Ranges.size());
    if (count == 0)
        return -1;
    return std::clamp(tabRanges_->TabIndex(), 0, count - 1);
}

// --- storing

bool TBewertungForm::NameTakenByOther(db::TTable& table, const std::string& name) {
    const std::vector<std::string> keyed = db::schema::KeyedFields(table.Defs());
    const bool hasKey = std::find(keyed.begin(), keyed.end(), "ElementName") != keyed.end();
    // The name index compares by the stored sort key, which ignores case as the element list does.
    const std::string sql = "SELECT 1 FROM " + db::QuoteIdent(table.TableName()) + " WHERE " +
                            (hasKey ? db::QuoteIdent(db::schema::KeyColumn("ElementName")) + " = ?"
                                    : db::QuoteIdent("ElementName") + " = ? COLLATE NOCASE") +
                            " AND rowid <> ? LIMIT 1";
    db::TStatement st(table.Database()->Connection().Handle(), sql);
    if (hasKey) {
        const std::vector<std::uint8_t> key = db::CollationKey(name);
        st.BindBlob(1, key);
    } else {
        st.Bind(1, name);
    }
    st.Bind(2, table.State() == db::TDataSetState::Insert ? std::int64_t{-1} : table.GetBookmark());
    return st.Step();
}

void TBewertungForm::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    if (table.Tag == kTagBulkWork || &table != CurrentTable())
        return;
    const std::string name = TrimText(db::FieldString(table, "ElementName"));
    // A nameless assessment is not stored; the empty name field shows why.
    if (name.empty())
        Abort();
    if (NameTakenByOther(table, name)) {
        Ui().MessageDlg("\"" + name + "\" exists already!", mtWarning, {mbOK});
        if (DBList().Reachable())
            SetActiveControl(&DBList());
        Abort();
    }
    TPendingPost pending;
    pending.Table = &table;
    pending.Inserting = table.State() == db::TDataSetState::Insert;
    for (int i = 0; i < table.FieldCount(); ++i)
        pending.Values.push_back(table.Fields(i).Value());
    table.Tag = kTagStoreClose;
    // The element row and its child rows go in together or not at all.
    table.Database()->StartTransaction();
    pendingPost_ = std::move(pending);
}

void TBewertungForm::MainTableAfterPost(db::TTable& table) {
    TCustomLibForm::MainTableAfterPost(table);
    if (!pendingPost_ || pendingPost_->Table != &table)
        return;
    try {
        WriteDataSet();
        table.Database()->Commit();
    } catch (...) {
        TakeBackPost(table);
        throw;
    }
    pendingPost_.reset();
    table.Tag = 0;
}

void TBewertungForm::TakeBackPost(db::TTable& table) {
    if (!pendingPost_ || pendingPost_->Table != &table)
        return;
    const TPendingPost pending = std::move(*pendingPost_);
    pendingPost_.reset();
    try {
        // A child row the write left half made goes with the rest.
        if (TMyTable* myTable = GetMyTable(TabOf(table)))
            for (int item : {kRangesItem, kAdditionsItem})
                if (db::TTable* child = myTable->GetItem(item); child && child->Editing())
                    child->Cancel();
        table.Database()->Rollback();
        // A write that failed after the row was stored left the table browsing: the record is opened again
        // with what it held, so nothing typed is lost.
        if (table.State() == db::TDataSetState::Browse) {
            restoring_ = true;
            if (pending.Inserting)
                table.Append();
            else
                table.Edit();
            for (int i = 0; i < table.FieldCount() && i < static_cast<int>(pending.Values.size()); ++i)
                if (table.Fields(i).DataType() != db::TFieldType::AutoInc)
                    table.Fields(i).SetValue(pending.Values[static_cast<std::size_t>(i)]);
            restoring_ = false;
        }
    } catch (...) {
        restoring_ = false;
        // The write's own failure is the one reported.
    }
    table.Tag = 0;
}

void TBewertungForm::MainTableNewRecord(db::TTable& table) {
    TCustomLibForm::MainTableNewRecord(table);
    if (restoring_ || table.Tag == kTagBulkWork || &table != CurrentTable())
        return;
    // A new assessment starts with one range and no additions; they are written with its first store.
    data_ = TBewertungDataSet();
    data_.EnsureRange();
    hoursInvalid_ = false;
    RebuildRangeTabs();
    RebuildGrids();
    SelectRange(0);
}

void TBewertungForm::MainTableAfterCancel(db::TTable& table) {
    TCustomLibForm::MainTableAfterCancel(table);
    // A "No" to the save question cancels under the store flag, which kept the change of record from
    // showing the element as stored: shown here instead, so no discarded change stays on the pages.
    if (!restoring_ && table.Tag == kTagStoreClose && &table == CurrentTable())
        ReadDataSet();
}

void TBewertungForm::MainTableBeforeDelete(db::TTable& table) {
    TCustomLibForm::MainTableBeforeDelete(table);
    const int tab = TabOf(table);
    TMyTable* myTable = GetMyTable(tab);
    if (!myTable)
        return;
    db::TTable* ranges = myTable->GetItem(kRangesItem);
    db::TTable* additions = myTable->GetItem(kAdditionsItem);
    db::TField* number = table.FindField("Eintrag");
    if (!number)
        number = table.FindField("BwNummer");
    if (!ranges || !additions || !ranges->Active() || !additions->Active() || !number || number->IsNull())
        return;
    db::TDatabase& database = *table.Database();
    database.StartTransaction();
    pendingDelete_ = &table;
    try {
        DeleteElementRows(*ranges, *additions, number->AsInteger());
    } catch (...) {
        pendingDelete_ = nullptr;
        database.Rollback();
        throw;
    }
}

void TBewertungForm::MainTableAfterDelete(db::TTable& table) {
    if (pendingDelete_ == &table) {
        pendingDelete_ = nullptr;
        try {
            table.Database()->Commit();
        } catch (...) {
            table.Database()->Rollback();
            throw;
        }
    }
    TCustomLibForm::MainTableAfterDelete(table);
}

} // namespace korvel::assessment

namespace {

KORVEL_REGISTER_LIB_EDITOR(korvel::assessment::kAssessmentLibType, [](korvel::TLibHost& host, int) {
    return std::unique_ptr<korvel::TCustomLibForm>(
        std::make_unique<korvel::assessment::TBewertungForm>(host));
});

} // namespace
