#pragma once

#include "platform/db/FieldDefs.h"
#include "platform/db/Sqlite.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvel::db {

class TRestructure;
class TTable;

// One library file: a SQLite database holding the library's tables, the declarations of their fields and
// indexes, and nothing the stock sqlite3 tool cannot read.
class TDatabase {
public:
    explicit TDatabase(std::string fileName = {});
    ~TDatabase();
    TDatabase(const TDatabase&) = delete;
    TDatabase& operator=(const TDatabase&) = delete;

    const std::string& FileName() const { return fileName_; }
    void SetFileName(std::string fileName);

    // The database-wide read-only switch. A read-only database is opened read-only by SQLite itself, so no
    // code path can change the file. Switching an open database reopens it.
    bool ReadOnly() const { return readOnly_; }
    void SetReadOnly(bool readOnly);

    // Opens the file; with create, a missing file is made. Throws EDatabaseError with a clear text for a file
    // that is missing, locked, damaged or not a library.
    void Open(bool create = false);
    void Close();
    bool Active() const { return conn_.IsOpen(); }
    bool FileExists() const;

    // Closes the database and removes its file together with SQLite's journal files.
    void DeleteDatabase();

    bool TableExists(const std::string& tableName);
    std::vector<std::string> TableNames();
    void CreateTable(const std::string& tableName, const TTableDef& def);
    void DeleteTable(const std::string& tableName);
    // Declarations of a table: the stored ones, or ones read from SQLite's schema for a foreign table.
    TTableDef ReadTableDef(const std::string& tableName);

    // Applies a restructure in one transaction. On failure nothing has changed and the returned text says
    // why.
    std::optional<std::string> Restructure(const std::string& tableName, const TRestructure& change);

    // The number the next stored element of an autoincrement table will receive.
    std::int64_t NextAutoIncValue(const std::string& tableName);
    // Makes the next element number at least `next` (never lowers it): a copy that must keep its source's
    // number skips the gap in one step.
    void RaiseNextAutoIncValue(const std::string& tableName, std::int64_t next);

    // Explicit transactions for bulk work; nested calls are counted, only the outermost one commits.
    void StartTransaction();
    void Commit();
    void Rollback();
    bool InTransaction() const { return transactionDepth_ > 0; }

    // Switches the open file from WAL to SQLite's rollback journal. A file in WAL mode cannot be read from a
    // folder its reader may not write to, so libraries delivered read-only are finished this way once all
    // writing is done. Opening the file writable again returns it to WAL. Needs the only connection to the
    // file, no transaction and no cursor in the middle of a read.
    void SetJournalModeDelete();

    TSqliteConnection& Connection();

    // Changes by the cursors of this database (cheap to read) and by other connections to the file (one
    // query); cursors compare both with what they cached.
    std::uint64_t LocalChanges() const { return localChanges_; }
    std::uint64_t ExternalVersion();
    void NoteLocalChange() { ++localChanges_; }

    // Open cursors register themselves so a restructure can refuse to pull a table from under one and a
    // rollback can take back the records they show.
    void RegisterCursor(TTable& cursor);
    void UnregisterCursor(TTable& cursor);

private:
    TStatement& Cached(const std::string& sql);
    static int OnTransactionEnd(void* self);
    static void OnRollbackEnd(void* self);
    void EnsureMetadata();
    void RebuildCollationKeysIfStale();
    void ExecWrite(const std::string& sql);

    std::string fileName_;
    bool readOnly_ = false;
    TSqliteConnection conn_;
    std::unique_ptr<TStatement> dataVersion_;
    // Statements the database runs often itself (numbering), prepared once per connection.
    std::map<std::string, std::unique_ptr<TStatement>> cached_;
    std::uint64_t externalVersion_ = 0;
    bool versionUnderWriteLock_ = false;
    std::uint64_t localChanges_ = 0;
    int transactionDepth_ = 0;
    std::vector<TTable*> openCursors_;
};

// One explicit transaction for the lifetime of the guard: rolled back unless Keep commits it, so a program
// stopped half-way leaves none of its rows. Callers that must keep what was stored before an error call
// Keep on that path too; only an outer transaction then decides all or nothing.
class TTransaction {
public:
    explicit TTransaction(TDatabase& database) : database_(database) {
        database_.StartTransaction();
        open_ = true;
    }
    ~TTransaction() {
        if (open_)
            try {
                database_.Rollback();
            } catch (...) {
                // The error that led here is on its way already.
            }
    }
    TTransaction(const TTransaction&) = delete;
    TTransaction& operator=(const TTransaction&) = delete;
    void Keep() {
        if (!open_)
            return;
        open_ = false;
        database_.Commit();
    }

private:
    TDatabase& database_;
    bool open_ = false;
};

} // namespace korvel::db
