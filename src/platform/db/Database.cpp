#include "platform/db/Database.h"

#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/JournalMode.h"
#include "platform/db/Restructure.h"
#include "platform/db/Schema.h"
#include "platform/db/Table.h"
#include "platform/text/CaseFold.h"

#include <algorithm>
#include <filesystem>
#include <sqlite3.h>

namespace korvel::db {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRestructureTable = "korvel_restructure";

std::string TextArg(sqlite3_value* v) {
    const auto* text = sqlite3_value_text(v);
    return text
               ? std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(sqlite3_value_bytes(v)))
               : std::string();
}

// korvel_fold(text): case folding for case-insensitive filters. Registered per connection, never stored.
void FoldFunction(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    try {
        std::string folded = FoldCase(TextArg(argv[0]));
        sqlite3_result_text64(ctx, folded.data(), folded.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    } catch (const std::exception& e) {
        sqlite3_result_error(ctx, e.what(), -1);
    }
}

// korvel_ckey(text): the collation key kept beside case-insensitively indexed names.
void KeyFunction(sqlite3_context* ctx, int, sqlite3_value** argv) {
    try {
        auto key = CollationKey(TextArg(argv[0]));
        sqlite3_result_blob64(ctx, key.data(), key.size(), SQLITE_TRANSIENT);
    } catch (const std::exception& e) {
        sqlite3_result_error(ctx, e.what(), -1);
    }
}

void RegisterFunctions(sqlite3* db) {
    int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    sqlite3_create_function_v2(db, "korvel_fold", 1, flags, nullptr, FoldFunction, nullptr, nullptr, nullptr);
    sqlite3_create_function_v2(db, "korvel_ckey", 1, flags, nullptr, KeyFunction, nullptr, nullptr, nullptr);
}

bool IsInternalTable(const std::string& name) {
    return name.starts_with("sqlite_") || name.starts_with("korvel_");
}

} // namespace

TDatabase::TDatabase(std::string fileName) : fileName_(std::move(fileName)) {}

TDatabase::~TDatabase() {
    Close();
}

void TDatabase::SetFileName(std::string fileName) {
    if (Active()) {
        throw EDatabaseError("Cannot rename an open database");
    }
    fileName_ = std::move(fileName);
}

void TDatabase::SetReadOnly(bool readOnly) {
    if (readOnly == readOnly_) {
        return;
    }
    bool wasActive = Active();
    if (wasActive && transactionDepth_ > 0) {
        throw EDatabaseError("Cannot switch the read-only state during a transaction");
    }
    Close();
    readOnly_ = readOnly;
    if (wasActive) {
        Open(false);
    }
}

bool TDatabase::FileExists() const {
    std::error_code ec;
    return !fileName_.empty() && fs::is_regular_file(fileName_, ec);
}

void TDatabase::Open(bool create) {
    if (Active()) {
        return;
    }
    if (fileName_.empty()) {
        throw EDatabaseError("No library file name given");
    }
    if (!FileExists() && (!create || readOnly_)) {
        throw EDatabaseError("The library file \"" + fileName_ + "\" does not exist");
    }
    conn_ = TSqliteConnection(fileName_, readOnly_, create);
    try {
        // SQLite reads the header lazily; read the schema now so a damaged file is reported on open.
        conn_.Exec("SELECT count(*) FROM sqlite_master");
        RegisterFunctions(conn_.Handle());
        if (!readOnly_) {
            conn_.Exec("PRAGMA journal_mode=" + JournalModeForFolder(fileName_));
            conn_.Exec("PRAGMA synchronous=FULL");
            EnsureMetadata();
            RebuildCollationKeysIfStale();
        }
        dataVersion_ = std::make_unique<TStatement>(conn_.Handle(), "PRAGMA data_version");
        versionUnderWriteLock_ = false;
        sqlite3_commit_hook(conn_.Handle(), &TDatabase::OnTransactionEnd, this);
        sqlite3_rollback_hook(conn_.Handle(), &TDatabase::OnRollbackEnd, this);
    } catch (const EDatabaseError& e) {
        dataVersion_.reset();
        conn_.Close();
        throw EDatabaseError("Cannot open \"" + fileName_ + "\": " + e.what());
    }
}

void TDatabase::Close() {
    if (transactionDepth_ > 0 && conn_.IsOpen()) {
        try {
            conn_.Exec("ROLLBACK");
        } catch (...) {
            // Closing the connection rolls back whatever remains.
        }
    }
    transactionDepth_ = 0;
    dataVersion_.reset();
    cached_.clear();
    conn_.Close();
}

TStatement& TDatabase::Cached(const std::string& sql) {
    auto it = cached_.find(sql);
    if (it == cached_.end()) {
        it = cached_.emplace(sql, std::make_unique<TStatement>(conn_.Handle(), sql)).first;
    }
    return *it->second;
}

void TDatabase::DeleteDatabase() {
    Close();
    std::error_code ec;
    for (const char* suffix : {"-wal", "-shm", "-journal"}) {
        fs::remove(fileName_ + suffix, ec);
    }
    if (!fs::remove(fileName_, ec) && ec) {
        throw EDatabaseError("Cannot delete \"" + fileName_ + "\": " + ec.message());
    }
}

void TDatabase::SetJournalModeDelete() {
    if (!Active() || readOnly_) {
        throw EDatabaseError("The library \"" + fileName_ +
                             "\" must be open for writing to change its journal");
    }
    if (transactionDepth_ > 0) {
        throw EDatabaseError("Cannot change the journal of \"" + fileName_ + "\" during a transaction");
    }
    TStatement pragma(conn_.Handle(), "PRAGMA journal_mode=DELETE");
    std::string mode = pragma.Step() ? pragma.ColumnText(0) : std::string();
    // SQLite answers with the mode in force; it keeps WAL when another connection holds the file.
    if (mode != "delete") {
        throw EDatabaseError("Cannot switch \"" + fileName_ +
                             "\" to the rollback journal (journal mode stays \"" + mode + "\")");
    }
}

TSqliteConnection& TDatabase::Connection() {
    if (!Active()) {
        Open(false);
    }
    return conn_;
}

void TDatabase::EnsureMetadata() {
    TStatement probe(conn_.Handle(), "SELECT count(*) FROM sqlite_master WHERE name = ?");
    probe.Bind(1, std::string(schema::kMetaTable));
    probe.Step();
    if (probe.ColumnInt(0) == 0) {
        schema::CreateMetadataTables(conn_);
    }
}

void TDatabase::RebuildCollationKeysIfStale() {
    std::string version = CollatorVersion();
    TStatement read(conn_.Handle(),
                    std::string("SELECT value FROM ") + schema::kMetaTable + " WHERE key = 'collation'");
    std::string stored = read.Step() ? read.ColumnText(0) : std::string();
    read.Reset();
    if (stored == version) {
        return;
    }
    TSavepoint sp(conn_);
    for (const auto& table : TableNames()) {
        TTableDef def = ReadTableDef(table);
        for (const auto& field : schema::KeyedFields(def)) {
            conn_.Exec("UPDATE " + QuoteIdent(table) + " SET " + QuoteIdent(schema::KeyColumn(field)) +
                       " = korvel_ckey(" + QuoteIdent(field) + ")");
        }
    }
    TStatement write(conn_.Handle(), std::string("INSERT OR REPLACE INTO ") + schema::kMetaTable +
                                         " (key, value) VALUES ('collation', ?)");
    write.Bind(1, version);
    write.Run();
    sp.Commit();
}

bool TDatabase::TableExists(const std::string& tableName) {
    TStatement q(Connection().Handle(),
                 "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ? COLLATE NOCASE");
    q.Bind(1, tableName);
    return q.Step() && !IsInternalTable(tableName);
}

std::vector<std::string> TDatabase::TableNames() {
    std::vector<std::string> names;
    TStatement q(Connection().Handle(), "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
    while (q.Step()) {
        std::string name = q.ColumnText(0);
        if (!IsInternalTable(name)) {
            names.push_back(name);
        }
    }
    return names;
}

void TDatabase::ExecWrite(const std::string& sql) {
    if (readOnly_) {
        throw EDatabaseError("The library \"" + fileName_ + "\" is read-only");
    }
    Connection().Exec(sql);
}

void TDatabase::CreateTable(const std::string& tableName, const TTableDef& def) {
    if (readOnly_) {
        throw EDatabaseError("The library \"" + fileName_ + "\" is read-only");
    }
    ValidateTableDef(def);
    if (tableName.empty() || IsInternalTable(tableName)) {
        throw EDatabaseError("\"" + tableName + "\" is not a valid table name");
    }
    if (TableExists(tableName)) {
        throw EDatabaseError("The table \"" + tableName + "\" already exists");
    }
    TSavepoint sp(Connection());
    ExecWrite(schema::CreateTableSql(tableName, def));
    for (const auto& sql : schema::CreateIndexSql(tableName, def)) {
        ExecWrite(sql);
    }
    schema::WriteDeclarations(conn_, tableName, def);
    sp.Commit();
    NoteLocalChange();
}

void TDatabase::DeleteTable(const std::string& tableName) {
    if (!TableExists(tableName)) {
        throw EDatabaseError("The table \"" + tableName + "\" does not exist");
    }
    TSavepoint sp(Connection());
    ExecWrite("DROP TABLE " + QuoteIdent(tableName));
    schema::DeleteDeclarations(conn_, tableName);
    sp.Commit();
    NoteLocalChange();
}

TTableDef TDatabase::ReadTableDef(const std::string& tableName) {
    if (!TableExists(tableName)) {
        throw EDatabaseError("The table \"" + tableName + "\" does not exist in \"" + fileName_ + "\"");
    }
    TTableDef def;
    TStatement probe(conn_.Handle(), "SELECT 1 FROM sqlite_master WHERE name = ?");
    probe.Bind(1, std::string(schema::kFieldsTable));
    if (probe.Step() && schema::ReadDeclarations(conn_, tableName, def)) {
        return def;
    }
    return schema::InferDeclarations(conn_, tableName);
}

std::optional<std::string> TDatabase::Restructure(const std::string& tableName, const TRestructure& change) {
    try {
        if (readOnly_) {
            throw EDatabaseError("The library \"" + fileName_ + "\" is read-only");
        }
        if (std::any_of(openCursors_.begin(), openCursors_.end(),
                        [&](const TTable* t) { return SameName(t->TableName(), tableName); })) {
            throw EDatabaseError("The table \"" + tableName + "\" is open; close it before restructuring");
        }
        TTableDef oldDef = ReadTableDef(tableName);
        TTableDef newDef = change.Apply(oldDef);

        for (const auto& f : newDef.Fields) {
            const TFieldDef* old = oldDef.FindField(f.Name);
            if (old && f.DataType == TFieldType::String && old->Size > f.Size) {
                TStatement longer(conn_.Handle(), "SELECT count(*) FROM " + QuoteIdent(tableName) +
                                                      " WHERE length(" + QuoteIdent(old->Name) + ") > ?");
                longer.Bind(1, static_cast<std::int64_t>(f.Size));
                longer.Step();
                if (auto n = longer.ColumnInt(0); n > 0) {
                    throw EDatabaseError(std::to_string(n) + " values of the field \"" + f.Name +
                                         "\" are longer than " + std::to_string(f.Size) + " characters");
                }
            }
        }

        std::int64_t sequence = 0;
        {
            TStatement seq(conn_.Handle(), "SELECT seq FROM sqlite_sequence WHERE name = ?");
            try {
                seq.Bind(1, tableName);
                if (seq.Step()) {
                    sequence = seq.ColumnInt(0);
                }
            } catch (const EDatabaseError&) {
                // No autoincrement table in this file yet.
            }
        }

        TSavepoint sp(conn_);
        conn_.Exec("DROP TABLE IF EXISTS " + std::string(kRestructureTable));
        conn_.Exec(schema::CreateTableSql(kRestructureTable, newDef));
        std::string columns;
        for (const auto& f : newDef.Fields) {
            if (const TFieldDef* old = oldDef.FindField(f.Name)) {
                columns += (columns.empty() ? "" : ", ") + QuoteIdent(old->Name);
            }
        }
        if (!columns.empty()) {
            conn_.Exec("INSERT INTO " + std::string(kRestructureTable) + " (" + columns + ") SELECT " +
                       columns + " FROM " + QuoteIdent(tableName));
        }
        for (const auto& field : schema::KeyedFields(newDef)) {
            conn_.Exec("UPDATE " + std::string(kRestructureTable) + " SET " +
                       QuoteIdent(schema::KeyColumn(field)) + " = korvel_ckey(" + QuoteIdent(field) + ")");
        }
        conn_.Exec("DROP TABLE " + QuoteIdent(tableName));
        conn_.Exec("ALTER TABLE " + std::string(kRestructureTable) + " RENAME TO " + QuoteIdent(tableName));
        if (!newDef.Fields.empty() && newDef.Fields.front().DataType == TFieldType::AutoInc) {
            // Numbers are never reused, not even across a restructure.
            conn_.Exec("DELETE FROM sqlite_sequence WHERE name = '" + std::string(kRestructureTable) + "'");
            TStatement upd(conn_.Handle(), "UPDATE sqlite_sequence SET seq = max(seq, ?) WHERE name = ?");
            upd.Bind(1, sequence);
            upd.Bind(2, tableName);
            upd.Run();
            if (conn_.Changes() == 0) {
                TStatement ins(conn_.Handle(), "INSERT INTO sqlite_sequence (name, seq) SELECT ?, max(?, "
                                               "coalesce(max(rowid), 0)) FROM " +
                                                   QuoteIdent(tableName));
                ins.Bind(1, tableName);
                ins.Bind(2, sequence);
                ins.Run();
            }
        }
        for (const auto& sql : schema::CreateIndexSql(tableName, newDef)) {
            conn_.Exec(sql);
        }
        schema::WriteDeclarations(conn_, tableName, newDef);
        sp.Commit();
        NoteLocalChange();
        return std::nullopt;
    } catch (const std::exception& e) {
        return std::string(e.what());
    }
}

std::int64_t TDatabase::NextAutoIncValue(const std::string& tableName) {
    std::int64_t seq = 0;
    try {
        Connection();
        TStatement& q = Cached("SELECT seq FROM sqlite_sequence WHERE name = ?");
        q.Bind(1, tableName);
        if (q.Step()) {
            seq = q.ColumnInt(0);
        }
        q.Reset();
    } catch (const EDatabaseError&) {
        // No autoincrement table has stored anything yet.
    }
    TStatement& max = Cached("SELECT coalesce(max(rowid), 0) FROM " + QuoteIdent(tableName));
    max.Step();
    const std::int64_t highest = max.ColumnInt(0);
    max.Reset();
    return std::max(seq, highest) + 1;
}

void TDatabase::RaiseNextAutoIncValue(const std::string& tableName, std::int64_t next) {
    if (next <= NextAutoIncValue(tableName))
        return;
    TStatement& update = Cached("UPDATE sqlite_sequence SET seq = ? WHERE name = ?");
    update.Bind(1, next - 1);
    update.Bind(2, tableName);
    update.Run();
    update.Reset();
    if (sqlite3_changes(conn_.Handle()) == 0) {
        TStatement& insert = Cached("INSERT INTO sqlite_sequence (name, seq) VALUES (?, ?)");
        insert.Bind(1, tableName);
        insert.Bind(2, next - 1);
        insert.Run();
        insert.Reset();
    }
    NoteLocalChange();
}

void TDatabase::StartTransaction() {
    if (readOnly_) {
        throw EDatabaseError("The library \"" + fileName_ + "\" is read-only");
    }
    if (transactionDepth_ == 0) {
        Connection().Exec("BEGIN IMMEDIATE");
    }
    ++transactionDepth_;
}

void TDatabase::Commit() {
    if (transactionDepth_ == 0) {
        throw EDatabaseError("No transaction to commit");
    }
    if (transactionDepth_ == 1) {
        conn_.Exec("COMMIT");
    }
    --transactionDepth_;
}

void TDatabase::Rollback() {
    if (transactionDepth_ == 0) {
        return;
    }
    transactionDepth_ = 0;
    conn_.Exec("ROLLBACK");
    NoteLocalChange();
    // A cursor may show a record the rollback took back: an insert that is gone or an edit undone.
    for (TTable* cursor : std::vector<TTable*>(openCursors_)) {
        cursor->AfterRollback();
    }
}

int TDatabase::OnTransactionEnd(void* self) {
    static_cast<TDatabase*>(self)->versionUnderWriteLock_ = false;
    return 0; // let the commit go ahead
}

void TDatabase::OnRollbackEnd(void* self) {
    static_cast<TDatabase*>(self)->versionUnderWriteLock_ = false;
}

std::uint64_t TDatabase::ExternalVersion() {
    if (!dataVersion_) {
        return 0;
    }
    // While this connection holds the write lock no other program can commit: the answer read under the
    // same lock still holds, which spares bulk work a query per record. The hooks end it with the lock.
    if (versionUnderWriteLock_ && sqlite3_txn_state(conn_.Handle(), "main") == SQLITE_TXN_WRITE) {
        return externalVersion_;
    }
    dataVersion_->Reset();
    externalVersion_ = dataVersion_->Step() ? static_cast<std::uint64_t>(dataVersion_->ColumnInt(0)) : 0;
    dataVersion_->Reset();
    versionUnderWriteLock_ = sqlite3_txn_state(conn_.Handle(), "main") == SQLITE_TXN_WRITE;
    return externalVersion_;
}

void TDatabase::RegisterCursor(TTable& cursor) {
    openCursors_.push_back(&cursor);
}

void TDatabase::UnregisterCursor(TTable& cursor) {
    auto it = std::find(openCursors_.begin(), openCursors_.end(), &cursor);
    if (it != openCursors_.end()) {
        openCursors_.erase(it);
    }
}

} // namespace korvel::db
