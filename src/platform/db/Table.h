#pragma once

#include "platform/db/CursorSql.h"
#include "platform/db/Database.h"
#include "platform/db/Field.h"
#include "platform/db/FieldDefs.h"
#include "platform/db/FilterExpression.h"
#include "platform/db/Value.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace korvel::db {

enum class TDataSetState { Inactive, Browse, Edit, Insert };

// What a data-aware observer is told.
enum class TDataEvent { RecordChange, FieldChange, StateChange, DataSetChange };

enum TLocateOption : unsigned { loCaseInsensitive = 1, loPartialKey = 2 };
enum TFilterOption : unsigned { foCaseInsensitive = 1, foNoPartialCompare = 2 };

// One record as read from the file: its rowid, its field values and the key values of the cursor order.
struct TRecord {
    std::int64_t RowId = 0;
    std::vector<TValue> Values;
    std::vector<TValue> Keys;
};

using TBookmark = std::int64_t;

// A cursor over one table of a library, with the behaviour of a classic dataset: named indexes, navigation,
// edit states, events, filters and key searches. It never holds the table in memory: it keeps a small
// window of records around the current one and moves by keyset queries. Positional access (RecNo, rows
// for a list) uses the ordered rowids, read from the index on first need and dropped on any change.
class TTable {
public:
    using TNotify = std::function<void(TTable&)>;
    using TFilterRecord = std::function<bool(TTable&)>;
    using TObserver = std::function<void(TDataEvent, const TField*)>;

    TTable() = default;
    TTable(std::shared_ptr<TDatabase> database, std::string tableName);
    ~TTable();
    TTable(const TTable&) = delete;
    TTable& operator=(const TTable&) = delete;

    // --- binding and table maintenance
    void SetDatabase(std::shared_ptr<TDatabase> database);
    TDatabase* Database() const { return database_.get(); }
    const std::shared_ptr<TDatabase>& DatabasePtr() const { return database_; }
    const std::string& TableName() const { return tableName_; }
    void SetTableName(std::string name);

    // Field and index declarations: filled in before CreateTable, read from the file by Open.
    TTableDef& Defs() { return defs_; }
    const TTableDef& Defs() const { return defs_; }
    const std::vector<TIndexDef>& IndexDefs() const { return defs_.Indexes; }

    bool Exists() const;
    void CreateTable();
    void DeleteTable();
    void EmptyTable();

    // --- lifecycle and state
    void Open();
    void Close();
    bool Active() const { return state_ != TDataSetState::Inactive; }
    TDataSetState State() const { return state_; }
    bool CanModify() const;
    // In edit or insert state: a record is being written.
    bool Editing() const { return state_ == TDataSetState::Edit || state_ == TDataSetState::Insert; }
    bool Modified() const;

    int Tag = 0;

    // --- fields of the current record
    int FieldCount() const { return static_cast<int>(fields_.size()); }
    TField& Fields(int index);
    TField& FieldByName(std::string_view name);
    TField* FindField(std::string_view name);

    // --- order
    const std::string& IndexName() const { return indexName_; }
    // Switches the order; the current record stays current. An empty name orders by rowid.
    void SetIndexName(const std::string& name);

    // --- navigation
    void First();
    void Last();
    void Next();
    void Prior();
    int MoveBy(int distance);
    bool Bof() const { return bof_; }
    bool Eof() const { return eof_; }
    bool IsEmpty();
    std::int64_t RecordCount();
    // 1-based position of the current record in the cursor order; 0 when there is none.
    std::int64_t RecNo();
    void SetRecNo(std::int64_t recNo);
    void Refresh();
    // Called by the database after a rollback: the current record is read again, or the nearest one shown
    // when the rollback took it back. Never throws.
    void AfterRollback() noexcept;

    TBookmark GetBookmark() const;
    bool BookmarkValid(TBookmark bookmark);
    bool GotoBookmark(TBookmark bookmark);

    // --- editing
    void Edit();
    void Append();
    void Insert();
    // Stores the record. A before-post handler that throws EAbort refuses the store: the table stays in its
    // edit state and the EAbort reaches the caller.
    void Post();
    void Cancel();
    void Delete();

    // --- searches on the current index (FindKey, FindNearest) and on any fields (Locate)
    bool FindKey(const std::vector<TValue>& keyValues);
    void FindNearest(const std::vector<TValue>& keyValues);
    // FindKey on another index, without moving the cursor or changing its order: the bookmark of the first
    // record (filters included) whose key equals the values. A name check per stored element costs one query
    // instead of two switches of the order.
    std::optional<TBookmark> SeekKey(const std::string& indexName, const std::vector<TValue>& keyValues);
    // FindNearest on another index, likewise without moving: the first record at or after the values in
    // that order, else its last record; nothing for an empty table.
    std::optional<TBookmark> SeekNearest(const std::string& indexName, const std::vector<TValue>& keyValues);
    bool Locate(const std::string& fieldNames, const std::vector<TValue>& values, unsigned options = 0);

    // --- filtering
    const std::string& Filter() const { return filterText_; }
    void SetFilter(const std::string& text);
    bool Filtered() const { return filtered_; }
    void SetFiltered(bool filtered);
    unsigned FilterOptions() const { return filterOptions_; }
    void SetFilterOptions(unsigned options);
    // A per-record test applied on top of the filter expression while Filtered is on.
    void SetOnFilterRecord(TFilterRecord callback);
    bool HasFilterRecord() const { return static_cast<bool>(onFilterRecord_); }

    // --- rows for a list: a window of records by position, reading only the named fields
    struct TRow {
        std::int64_t RowId = 0;
        std::vector<TValue> Values;
    };
    std::vector<TRow> ReadRows(std::int64_t first, std::int64_t count, const std::vector<int>& fieldIndexes);
    // The rowids at positions first..first+count-1 (fewer at the end), from the positions alone: no record
    // is read, so a list can hand them to a reader of its own.
    std::vector<TBookmark> RowIdsAt(std::int64_t first, std::int64_t count);

    // Whole records read from the file so far; shows that a walk reads pages, not the table.
    std::uint64_t RecordsFetched() const { return recordsFetched_; }

    // --- events
    TNotify BeforeOpen, AfterOpen, BeforeClose, AfterClose;
    TNotify BeforeInsert, AfterInsert, OnNewRecord;
    TNotify BeforeEdit, AfterEdit;
    TNotify BeforePost, AfterPost;
    TNotify BeforeCancel, AfterCancel;
    TNotify BeforeDelete, AfterDelete;
    TNotify BeforeScroll, AfterScroll;
    // The store or the delete failed after BeforePost or BeforeDelete ran (a required value missing, the
    // write refused): what those began (a transaction) is taken back here. The error then reaches the
    // caller; one raised by these handlers gives way to it.
    TNotify PostFailed, DeleteFailed;

    // Data-aware observers (lists, bound controls); silenced between DisableControls and EnableControls.
    int AddObserver(TObserver observer);
    void RemoveObserver(int id);
    void DisableControls() { ++controlsDisabled_; }
    void EnableControls();
    bool ControlsDisabled() const { return controlsDisabled_ > 0; }

    // --- used by TField
    const TValue& ValueAt(int index) const;
    void SetValueAt(int index, TValue value);

private:
    enum class KeyKind { RowId, Collation, Text, Numeric };

    void CheckActive() const;
    void CheckWritable() const;
    void CheckBrowseMode();
    void SetState(TDataSetState state);
    void Notify(TDataEvent event, const TField* field = nullptr);
    void Fire(const TNotify& handler);
    void FireFailed(const TNotify& handler) noexcept;

    // query plumbing
    void Invalidate();
    // Drops counts, positions and the window beyond the current record when the file changed; the
    // external check costs a query and is made only where a query follows anyway.
    void CheckStamp(bool external = true);
    void RebuildSql();
    TStatement& Prepared(const std::string& sql);
    void BindFilter(TStatement& st, int& index) const;
    void BindKeyset(TStatement& st, int& index, const TRecord& from) const;
    TRecord ReadRecord(TStatement& st) const;
    bool Accepts(const TRecord& record);
    std::vector<TRecord> FetchPage(bool forward, const TRecord* from, int limit);
    std::optional<TRecord> FetchOne(const std::string& sql, const std::vector<TValue>& params);
    std::optional<TRecord> FetchByRowId(std::int64_t rowid);
    // The first row number a query of one column (rowid) gives, the filter's parameters bound first.
    std::optional<std::int64_t> FetchRowId(const std::string& sql, const std::vector<TValue>& params);
    // The record the edit buffer became when inserted as rowid, keys holding the collation keys written for
    // keyedFields_; nothing when SQLite may have stored something else than was bound.
    std::optional<TRecord> InsertedRecord(std::int64_t rowid, const std::vector<TValue>& keys) const;
    void ShowRecord(TRecord record, std::optional<std::int64_t> position);
    // Makes a record current with the scroll events around it.
    void ScrollTo(TRecord record, std::optional<std::int64_t> position);
    void ShowNothing();
    // Compiles the changed filter and starts at the first record again, when the filter is in force.
    void ReapplyFilter();
    bool MoveTo(bool forward);
    void EnsureRowIds();
    std::vector<KeyKind> SearchKeyKinds() const;
    TValue KeyValue(KeyKind kind, const TValue& value, const TFieldDef* field) const;
    std::vector<TValue> KeyParams(const std::vector<TValue>& keyValues, const char* operation) const;
    void Reposition(const TRecord& gone);
    // Reads the current record again; when it is gone or filtered out, shows its neighbour.
    void ShowCurrentAgain();
    std::optional<TBookmark> SeekOnIndex(const std::string& indexName, const std::vector<TValue>& keyValues,
                                         bool nearest);
    // Whether the edit changed a field of the current order's key.
    bool OrderKeyModified() const;
    void WriteRecord();

    std::shared_ptr<TDatabase> database_;
    std::string tableName_;
    TTableDef defs_;
    std::vector<std::unique_ptr<TField>> fields_;
    std::unordered_map<std::string, TField*, TNameHash, TNameEqual> fieldsByName_; // looked up per record
    std::vector<std::string> keyedFields_;
    bool storesAsBound_ = false; // schema::StoresValuesAsBound, read on opening
    TDataSetState state_ = TDataSetState::Inactive;

    std::string indexName_;
    std::string filterText_;
    bool filtered_ = false;
    unsigned filterOptions_ = 0;
    TFilterRecord onFilterRecord_;
    std::optional<TCompiledFilter> compiledFilter_;
    std::unique_ptr<TCursorSql> sql_;
    std::unique_ptr<TCursorSql>
        seekSql_; // the last index SeekKey/SeekNearest searched other than the order's
    std::string seekIndex_;
    std::map<std::string, std::unique_ptr<TStatement>> statements_;
    std::unordered_map<std::string, std::string> insertSql_; // by the written fields, see WriteRecord

    // The window of records around the current one, in cursor order.
    std::vector<TRecord> window_;
    size_t current_ = 0;
    bool bof_ = true;
    bool eof_ = true;
    std::optional<std::int64_t> position_;
    std::uint64_t localStamp_ = 0;
    std::uint64_t externalStamp_ = 0;
    std::optional<std::int64_t> count_;
    std::optional<std::vector<std::int64_t>> rowIds_;
    // The positions of the order last switched away from, while the file stays unchanged: "Jump to" from the
    // number order switches to the name order and back, which must not read every position again.
    struct TSavedPositions {
        std::string Index;
        std::vector<std::int64_t> RowIds;
        std::uint64_t Local = 0;
        std::uint64_t External = 0;
    };
    std::optional<TSavedPositions> savedPositions_;
    // The connection the prepared statements belong to: they are keyed by their text, so those of other
    // orders and filters stay valid across switches on the same connection.
    const void* statementsConnection_ = nullptr;

    // The record being edited or inserted, and which fields were changed.
    TRecord editBuffer_;
    // The record as it was when editing began: a store is refused when another program changed a field
    // this edit changes too.
    TRecord editOriginal_;
    std::vector<bool> modified_;
    const TRecord* candidate_ = nullptr;

    std::map<int, TObserver> observers_;
    int nextObserverId_ = 1;
    int controlsDisabled_ = 0;
    mutable std::uint64_t recordsFetched_ = 0;
};

// A field of the current record as text or as a whole number: "" or 0 when the table has no such field or the
// field is null. For readers of tables whose layout varies between generations.
std::string FieldString(TTable& table, std::string_view name);
int FieldInteger(TTable& table, std::string_view name);

} // namespace korvel::db
