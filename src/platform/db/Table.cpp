#include "platform/db/Table.h"

#include "platform/Errors.h"
#include "platform/db/Binding.h"
#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Schema.h"

#include <algorithm>

namespace korvel::db {

namespace {

const TValue kNullValue{};

} // namespace

TTable::TTable(std::shared_ptr<TDatabase> database, std::string tableName)
    : database_(std::move(database)), tableName_(std::move(tableName)) {}

TTable::~TTable() {
    try {
        Close();
    } catch (...) {
        // Destruction must not throw; an unsaved edit is discarded.
    }
}

void TTable::SetDatabase(std::shared_ptr<TDatabase> database) {
    if (Active()) {
        throw EDatabaseError("Cannot change the database of an open table");
    }
    database_ = std::move(database);
}

void TTable::SetTableName(std::string name) {
    if (Active()) {
        throw EDatabaseError("Cannot change the name of an open table");
    }
    tableName_ = std::move(name);
}

bool TTable::Exists() const {
    if (!database_ || tableName_.empty()) {
        return false;
    }
    if (!database_->Active() && !database_->FileExists()) {
        return false;
    }
    return database_->TableExists(tableName_);
}

void TTable::CreateTable() {
    if (!database_) {
        throw EDatabaseError("The table \"" + tableName_ + "\" has no database");
    }
    if (!database_->Active()) {
        database_->Open(true);
    }
    database_->CreateTable(tableName_, defs_);
}

void TTable::DeleteTable() {
    if (Active()) {
        Close();
    }
    database_->DeleteTable(tableName_);
}

void TTable::EmptyTable() {
    CheckWritable();
    if (Editing()) {
        Cancel();
    }
    database_->Connection().Exec("DELETE FROM " + QuoteIdent(tableName_));
    database_->NoteLocalChange();
    Invalidate();
    ShowNothing();
    Notify(TDataEvent::DataSetChange);
}

void TTable::Open() {
    if (Active()) {
        return;
    }
    if (!database_) {
        throw EDatabaseError("The table \"" + tableName_ + "\" has no database");
    }
    Fire(BeforeOpen);
    database_->Open(false);
    defs_ = database_->ReadTableDef(tableName_);
    fields_.clear();
    fieldsByName_.clear();
    for (size_t i = 0; i < defs_.Fields.size(); ++i) {
        fields_.push_back(std::make_unique<TField>(*this, static_cast<int>(i), defs_.Fields[i]));
        fieldsByName_.emplace(fields_.back()->FieldName(), fields_.back().get()); // the first of a name wins
    }
    keyedFields_ = schema::KeyedFields(defs_);
    storesAsBound_ = schema::StoresValuesAsBound(database_->Connection(), tableName_, defs_);
    if (!indexName_.empty() && !defs_.FindIndex(indexName_)) {
        indexName_.clear();
    }
    compiledFilter_.reset();
    database_->RegisterCursor(*this);
    state_ = TDataSetState::Browse;
    try {
        RebuildSql();
        First();
    } catch (...) {
        database_->UnregisterCursor(*this);
        state_ = TDataSetState::Inactive;
        sql_.reset();
        statements_.clear();
        throw;
    }
    Notify(TDataEvent::DataSetChange);
    Fire(AfterOpen);
}

void TTable::Close() {
    if (!Active()) {
        return;
    }
    Fire(BeforeClose);
    // An open edit is discarded: closing never stores a record nobody confirmed.
    editBuffer_ = TRecord{};
    modified_.clear();
    statements_.clear();
    insertSql_.clear();
    sql_.reset();
    seekSql_.reset();
    window_.clear();
    Invalidate();
    database_->UnregisterCursor(*this);
    state_ = TDataSetState::Inactive;
    Notify(TDataEvent::DataSetChange);
    Fire(AfterClose);
}

bool TTable::CanModify() const {
    return Active() && database_ && !database_->ReadOnly();
}

bool TTable::Modified() const {
    return std::find(modified_.begin(), modified_.end(), true) != modified_.end();
}

void TTable::CheckActive() const {
    if (!Active()) {
        throw EDatabaseError("The table \"" + tableName_ + "\" is not open");
    }
}

void TTable::CheckWritable() const {
    CheckActive();
    if (!CanModify()) {
        throw EDatabaseError("The library \"" + database_->FileName() + "\" is read-only");
    }
}

TField& TTable::Fields(int index) {
    if (index < 0 || index >= FieldCount()) {
        throw EDatabaseError("Table \"" + tableName_ + "\" has no field " + std::to_string(index));
    }
    return *fields_[static_cast<size_t>(index)];
}

TField* TTable::FindField(std::string_view name) {
    const auto it = fieldsByName_.find(name);
    return it == fieldsByName_.end() ? nullptr : it->second;
}

TField& TTable::FieldByName(std::string_view name) {
    if (TField* f = FindField(name)) {
        return *f;
    }
    throw EDatabaseError("Table \"" + tableName_ + "\" has no field \"" + std::string(name) + "\"");
}

const TValue& TTable::ValueAt(int index) const {
    auto i = static_cast<size_t>(index);
    if (Editing()) {
        return i < editBuffer_.Values.size() ? editBuffer_.Values[i] : kNullValue;
    }
    if (candidate_) {
        return i < candidate_->Values.size() ? candidate_->Values[i] : kNullValue;
    }
    if (current_ < window_.size() && i < window_[current_].Values.size()) {
        return window_[current_].Values[i];
    }
    return kNullValue;
}

void TTable::SetValueAt(int index, TValue value) {
    if (!Editing()) {
        throw EDatabaseError("The table \"" + tableName_ + "\" is not in edit or insert mode");
    }
    auto i = static_cast<size_t>(index);
    if (defs_.Fields[i].DataType == TFieldType::AutoInc && state_ == TDataSetState::Edit) {
        throw EDatabaseError("The element number of a stored record cannot be changed");
    }
    if (editBuffer_.Values[i] == value) {
        return;
    }
    editBuffer_.Values[i] = std::move(value);
    modified_[i] = true;
    Notify(TDataEvent::FieldChange, fields_[i].get());
}

void TTable::SetState(TDataSetState state) {
    if (state_ != state) {
        state_ = state;
        Notify(TDataEvent::StateChange);
    }
}

void TTable::Fire(const TNotify& handler) {
    if (handler) {
        handler(*this);
    }
}

void TTable::FireFailed(const TNotify& handler) noexcept {
    try {
        Fire(handler);
    } catch (...) {
        // The failure that led here is the one to report.
    }
}

int TTable::AddObserver(TObserver observer) {
    int id = nextObserverId_++;
    observers_.emplace(id, std::move(observer));
    return id;
}

void TTable::RemoveObserver(int id) {
    observers_.erase(id);
}

void TTable::EnableControls() {
    if (controlsDisabled_ > 0 && --controlsDisabled_ == 0) {
        Notify(TDataEvent::DataSetChange);
    }
}

void TTable::Notify(TDataEvent event, const TField* field) {
    if (controlsDisabled_ > 0) {
        return;
    }
    // Observers may remove themselves while being told.
    auto copy = observers_;
    for (auto& [id, observer] : copy) {
        observer(event, field);
    }
}

void TTable::CheckBrowseMode() {
    CheckActive();
    if (Editing()) {
        if (Modified()) {
            Post();
        } else {
            Cancel();
        }
    }
}

void TTable::Edit() {
    CheckActive();
    if (Editing()) {
        return;
    }
    CheckWritable();
    if (current_ >= window_.size()) {
        Append();
        return;
    }
    Fire(BeforeEdit);
    editBuffer_ = window_[current_];
    editOriginal_ = window_[current_];
    modified_.assign(defs_.Fields.size(), false);
    SetState(TDataSetState::Edit);
    Fire(AfterEdit);
}

void TTable::Append() {
    Insert();
}

void TTable::Insert() {
    CheckBrowseMode();
    CheckWritable();
    Fire(BeforeInsert);
    editBuffer_ = TRecord{};
    editBuffer_.Values.assign(defs_.Fields.size(), TValue{});
    modified_.assign(defs_.Fields.size(), false);
    SetState(TDataSetState::Insert);
    try {
        Fire(OnNewRecord);
    } catch (...) {
        editBuffer_ = TRecord{};
        modified_.clear();
        SetState(TDataSetState::Browse);
        throw;
    }
    Notify(TDataEvent::RecordChange);
    Fire(AfterInsert);
}

void TTable::Post() {
    CheckActive();
    if (!Editing()) {
        return;
    }
    Fire(BeforePost); // EAbort from here keeps the edit state
    try {
        for (size_t i = 0; i < defs_.Fields.size(); ++i) {
            const auto& f = defs_.Fields[i];
            if (f.Required && f.DataType != TFieldType::AutoInc && IsNull(editBuffer_.Values[i])) {
                throw EDatabaseError("Field \"" + f.Name + "\" must have a value");
            }
        }
        WriteRecord();
    } catch (...) {
        FireFailed(PostFailed);
        throw;
    }
    editBuffer_ = TRecord{};
    editOriginal_ = TRecord{};
    modified_.clear();
    SetState(TDataSetState::Browse);
    Notify(TDataEvent::RecordChange);
    Fire(AfterPost);
}

void TTable::WriteRecord() {
    CheckWritable();
    auto& conn = database_->Connection();
    bool inserting = state_ == TDataSetState::Insert;
    // Which fields and sort keys are written ('1'): the text of an insert depends on nothing else, so it is
    // made once per such set rather than for every record.
    std::string written;
    std::vector<std::size_t> columns; // into defs_.Fields, then keyedFields_ after them
    std::vector<const TValue*> values;
    std::vector<TValue> keys;
    keys.reserve(keyedFields_.size()); // values point into it
    for (size_t i = 0; i < defs_.Fields.size(); ++i) {
        const auto& f = defs_.Fields[i];
        bool write =
            inserting ? (f.DataType != TFieldType::AutoInc || modified_[i]) && !IsNull(editBuffer_.Values[i])
                      : modified_[i];
        written.push_back(write ? '1' : '0');
        if (write) {
            columns.push_back(i);
            values.push_back(&editBuffer_.Values[i]);
        }
    }
    for (size_t k = 0; k < keyedFields_.size(); ++k) {
        int i = defs_.FieldIndex(keyedFields_[k]);
        const bool write = inserting || modified_[static_cast<size_t>(i)];
        written.push_back(write ? '1' : '0');
        if (write) {
            columns.push_back(defs_.Fields.size() + k);
            const TValue& v = editBuffer_.Values[static_cast<size_t>(i)];
            const auto* s = std::get_if<std::string>(&v);
            keys.push_back(CollationKey(s ? *s : std::string()));
            values.push_back(&keys.back());
        }
    }
    auto columnName = [&](std::size_t c) {
        return c < defs_.Fields.size() ? QuoteIdent(defs_.Fields[c].Name)
                                       : QuoteIdent(schema::KeyColumn(keyedFields_[c - defs_.Fields.size()]));
    };

    std::int64_t rowid = editBuffer_.RowId;
    if (inserting) {
        std::string& sql = insertSql_[written];
        if (sql.empty()) {
            sql = "INSERT INTO " + QuoteIdent(tableName_);
            if (columns.empty()) {
                sql += " DEFAULT VALUES";
            } else {
                std::string names, marks;
                for (size_t i = 0; i < columns.size(); ++i) {
                    names += (i ? ", " : "") + columnName(columns[i]);
                    marks += i ? ", ?" : "?";
                }
                sql += " (" + names + ") VALUES (" + marks + ")";
            }
        }
        TStatement& st = Prepared(sql);
        for (size_t i = 0; i < values.size(); ++i) {
            BindValue(st, static_cast<int>(i) + 1, *values[i]);
        }
        try {
            st.Run();
        } catch (const EDatabaseError& e) {
            st.Reset();
            std::string what = e.what();
            if (defs_.Fields[0].DataType == TFieldType::AutoInc && modified_[0] &&
                what.find("UNIQUE constraint failed: " + tableName_ + "." + defs_.Fields[0].Name) !=
                    std::string::npos) {
                throw EDatabaseError("The element number " + Fields(0).AsString() + " already exists");
            }
            throw;
        }
        st.Reset();
        rowid = conn.LastInsertRowId();
    } else if (!columns.empty()) {
        std::string sql = "UPDATE " + QuoteIdent(tableName_) + " SET ";
        for (size_t i = 0; i < columns.size(); ++i) {
            sql += (i ? ", " : "") + columnName(columns[i]) + " = ?";
        }
        // Only when the changed fields still hold what this edit started from: two programs editing the
        // same field of one element must not silently overwrite each other.
        sql += " WHERE rowid = ?";
        std::vector<const TValue*> guards;
        for (size_t i = 0; i < defs_.Fields.size(); ++i) {
            if (modified_[i] && i < editOriginal_.Values.size()) {
                sql += " AND " + QuoteIdent(defs_.Fields[i].Name) + " IS ?";
                guards.push_back(&editOriginal_.Values[i]);
            }
        }
        TStatement st(conn.Handle(), sql);
        int index = 1;
        for (const TValue* v : values) {
            BindValue(st, index++, *v);
        }
        st.Bind(index++, rowid);
        for (const TValue* v : guards) {
            BindValue(st, index++, *v);
        }
        st.Run();
        if (conn.Changes() == 0) {
            if (FetchByRowId(rowid)) {
                throw EDatabaseError("The record was changed by another program since editing began; it was "
                                     "not stored. Cancel the edit to see the stored values");
            }
            throw EDatabaseError("The record was deleted by another user; it cannot be stored");
        }
    }
    database_->NoteLocalChange();
    Invalidate();
    // Bulk work inserts many records in a row: reading each back costs as much as storing it.
    auto stored = inserting ? InsertedRecord(rowid, keys) : std::nullopt;
    if (!stored)
        stored = FetchByRowId(rowid);
    if (!stored) {
        return;
    }
    // An edit that leaves the record's place in the order keeps the page around it, so a loop that stores
    // and steps on does not read a new page for every record.
    if (!inserting && !OrderKeyModified() && current_ < window_.size() && window_[current_].RowId == rowid) {
        window_[current_] = std::move(*stored);
        Notify(TDataEvent::RecordChange);
        return;
    }
    ShowRecord(std::move(*stored), std::nullopt);
}

std::optional<TRecord> TTable::InsertedRecord(std::int64_t rowid, const std::vector<TValue>& keys) const {
    if (!storesAsBound_ || keys.size() != keyedFields_.size()) {
        return std::nullopt;
    }
    TRecord r;
    r.RowId = rowid;
    r.Values.reserve(defs_.Fields.size());
    for (size_t i = 0; i < defs_.Fields.size(); ++i) {
        const TFieldType type = defs_.Fields[i].DataType;
        const TValue& v = editBuffer_.Values[i];
        if (type == TFieldType::AutoInc) {
            r.Values.emplace_back(rowid); // the row number itself
        } else if (IsNull(v)) {
            r.Values.emplace_back();
        } else if (schema::KeepsKind(type, v)) {
            r.Values.push_back(v);
        } else {
            return std::nullopt;
        }
    }
    const TIndexDef* index = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
    if (index && !schema::IsRowIdIndex(defs_, *index)) {
        for (const std::string& field : index->Fields) {
            switch (schema::KeyKind(defs_, *index, field)) {
            case schema::TKeyKind::RowId:
                r.Keys.emplace_back(rowid);
                break;
            case schema::TKeyKind::CollationKey: {
                const auto k = std::find_if(keyedFields_.begin(), keyedFields_.end(),
                                            [&](const std::string& keyed) { return SameName(keyed, field); });
                if (k == keyedFields_.end()) {
                    return std::nullopt;
                }
                r.Keys.push_back(keys[static_cast<size_t>(k - keyedFields_.begin())]);
                break;
            }
            case schema::TKeyKind::Value: {
                const int i = defs_.FieldIndex(field);
                if (i < 0 || IsNull(r.Values[static_cast<size_t>(i)])) {
                    return std::nullopt; // the key stands in for NULL; read it as stored
                }
                r.Keys.push_back(r.Values[static_cast<size_t>(i)]);
                break;
            }
            }
        }
    }
    if (r.Keys.size() != sql_->KeyCount()) {
        return std::nullopt;
    }
    return r;
}

bool TTable::OrderKeyModified() const {
    const TIndexDef* index = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
    if (!index) {
        return false;
    }
    return std::any_of(index->Fields.begin(), index->Fields.end(), [&](const std::string& name) {
        int i = defs_.FieldIndex(name);
        return i < 0 || modified_[static_cast<size_t>(i)];
    });
}

void TTable::Cancel() {
    CheckActive();
    if (!Editing()) {
        return;
    }
    Fire(BeforeCancel);
    editBuffer_ = TRecord{};
    editOriginal_ = TRecord{};
    modified_.clear();
    SetState(TDataSetState::Browse);
    Notify(TDataEvent::RecordChange);
    Fire(AfterCancel);
}

void TTable::Delete() {
    CheckActive();
    if (state_ == TDataSetState::Insert) {
        Cancel();
        return;
    }
    if (state_ == TDataSetState::Edit) {
        Cancel();
    }
    CheckWritable();
    if (current_ >= window_.size()) {
        throw EDatabaseError("The table \"" + tableName_ + "\" has no record to delete");
    }
    Fire(BeforeDelete);
    TRecord gone = window_[current_];
    try {
        TStatement& st = Prepared("DELETE FROM " + QuoteIdent(tableName_) + " WHERE rowid = ?");
        st.Bind(1, gone.RowId);
        st.Run();
        st.Reset();
    } catch (...) {
        FireFailed(DeleteFailed);
        throw;
    }
    database_->NoteLocalChange();
    Invalidate();
    Reposition(gone);
    Notify(TDataEvent::DataSetChange);
    Fire(AfterDelete);
    Fire(AfterScroll);
}

std::string FieldString(TTable& table, std::string_view name) {
    TField* f = table.FindField(name);
    return f && !f->IsNull() ? f->AsString() : std::string();
}

int FieldInteger(TTable& table, std::string_view name) {
    TField* f = table.FindField(name);
    return f && !f->IsNull() ? f->AsInteger() : 0;
}

} // namespace korvel::db
