#include "platform/db/Sqlite.h"

#include "platform/db/DbErrors.h"

#include <atomic>
#include <sqlite3.h>
#include <utility>

namespace korvel::db {

namespace {

// Waiting this long for another writer's lock before giving up with a clear message.
constexpr int kBusyTimeoutMs = 5000;

std::string Describe(sqlite3* db, int rc) {
    std::string text = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    if ((rc & 0xff) == SQLITE_BUSY || (rc & 0xff) == SQLITE_LOCKED) {
        return "The library is locked by another program; try again later (" + text + ")";
    }
    if ((rc & 0xff) == SQLITE_READONLY) {
        return "The library is read-only (" + text + ")";
    }
    if ((rc & 0xff) == SQLITE_NOTADB || (rc & 0xff) == SQLITE_CORRUPT) {
        return "The file is not a library or is damaged (" + text + ")";
    }
    return text;
}

} // namespace

TSqliteConnection::TSqliteConnection(const std::string& fileName, bool readOnly, bool create) {
    int flags = SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    flags |= readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (create && !readOnly) {
        flags |= SQLITE_OPEN_CREATE;
    }
    // A plain path, not a URI: keep '?' and '#' in folder names literal.
    int rc = sqlite3_open_v2(fileName.c_str(), &db_, flags & ~SQLITE_OPEN_URI, nullptr);
    if (rc != SQLITE_OK) {
        std::string msg = "Cannot open \"" + fileName + "\": " + Describe(db_, rc);
        sqlite3_close(db_);
        db_ = nullptr;
        throw EDatabaseError(msg);
    }
    sqlite3_extended_result_codes(db_, 1);
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
}

TSqliteConnection::~TSqliteConnection() {
    Close();
}

TSqliteConnection::TSqliteConnection(TSqliteConnection&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)) {}

TSqliteConnection& TSqliteConnection::operator=(TSqliteConnection&& other) noexcept {
    if (this != &other) {
        Close();
        db_ = std::exchange(other.db_, nullptr);
    }
    return *this;
}

void TSqliteConnection::Close() {
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

void TSqliteConnection::Exec(const std::string& sql) {
    char* err = nullptr;
    int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err);
    if (rc != SQLITE_OK) {
        sqlite3_free(err);
        throw EDatabaseError(Describe(db_, rc));
    }
}

std::int64_t TSqliteConnection::LastInsertRowId() const {
    return sqlite3_last_insert_rowid(db_);
}
int TSqliteConnection::Changes() const {
    return sqlite3_changes(db_);
}
bool TSqliteConnection::InTransaction() const {
    return db_ && sqlite3_get_autocommit(db_) == 0;
}
std::string TSqliteConnection::ErrorText() const {
    return db_ ? sqlite3_errmsg(db_) : std::string();
}

TStatement::TStatement(sqlite3* db, std::string_view sql) : db_(db) {
    int rc = sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                &stmt_, nullptr);
    if (rc != SQLITE_OK) {
        throw EDatabaseError(Describe(db, rc) + " in: " + std::string(sql));
    }
}

TStatement::~TStatement() {
    sqlite3_finalize(stmt_);
}

TStatement::TStatement(TStatement&& other) noexcept
    : stmt_(std::exchange(other.stmt_, nullptr)), db_(std::exchange(other.db_, nullptr)) {}

TStatement& TStatement::operator=(TStatement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        stmt_ = std::exchange(other.stmt_, nullptr);
        db_ = std::exchange(other.db_, nullptr);
    }
    return *this;
}

void TStatement::Fail(int rc) const {
    throw EDatabaseError(Describe(db_, rc));
}

void TStatement::BindNull(int index) {
    if (int rc = sqlite3_bind_null(stmt_, index); rc != SQLITE_OK) {
        Fail(rc);
    }
}

void TStatement::Bind(int index, std::int64_t value) {
    if (int rc = sqlite3_bind_int64(stmt_, index, value); rc != SQLITE_OK) {
        Fail(rc);
    }
}

void TStatement::Bind(int index, double value) {
    if (int rc = sqlite3_bind_double(stmt_, index, value); rc != SQLITE_OK) {
        Fail(rc);
    }
}

void TStatement::Bind(int index, std::string_view text) {
    if (int rc = sqlite3_bind_text64(stmt_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        rc != SQLITE_OK) {
        Fail(rc);
    }
}

void TStatement::BindBlob(int index, std::span<const std::uint8_t> bytes) {
    // A zero-length blob must stay a blob, not become NULL.
    static const std::uint8_t empty = 0;
    const void* data = bytes.empty() ? &empty : bytes.data();
    if (int rc = sqlite3_bind_blob64(stmt_, index, data, bytes.size(), SQLITE_TRANSIENT); rc != SQLITE_OK) {
        Fail(rc);
    }
}

bool TStatement::Step() {
    int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    std::string msg = Describe(db_, rc);
    sqlite3_reset(stmt_);
    throw EDatabaseError(msg);
}

void TStatement::Run() {
    while (Step()) {
    }
}

void TStatement::Reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

int TStatement::ColumnCount() const {
    return sqlite3_column_count(stmt_);
}
int TStatement::ColumnType(int col) const {
    return sqlite3_column_type(stmt_, col);
}
bool TStatement::IsNull(int col) const {
    return sqlite3_column_type(stmt_, col) == SQLITE_NULL;
}
std::int64_t TStatement::ColumnInt(int col) const {
    return sqlite3_column_int64(stmt_, col);
}
double TStatement::ColumnDouble(int col) const {
    return sqlite3_column_double(stmt_, col);
}

std::string TStatement::ColumnText(int col) const {
    const auto* text = sqlite3_column_text(stmt_, col);
    if (!text) {
        return {};
    }
    return std::string(reinterpret_cast<const char*>(text),
                       static_cast<size_t>(sqlite3_column_bytes(stmt_, col)));
}

std::vector<std::uint8_t> TStatement::ColumnBlob(int col) const {
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, col));
    auto size = static_cast<size_t>(sqlite3_column_bytes(stmt_, col));
    if (!data || size == 0) {
        return {};
    }
    return std::vector<std::uint8_t>(data, data + size);
}

std::string TStatement::ColumnName(int col) const {
    return sqlite3_column_name(stmt_, col);
}

TSavepoint::TSavepoint(TSqliteConnection& conn) : conn_(conn) {
    static std::atomic<unsigned> counter{0};
    name_ = "korvel_sp" + std::to_string(++counter);
    conn_.Exec("SAVEPOINT " + name_);
}

TSavepoint::~TSavepoint() {
    if (!done_) {
        try {
            conn_.Exec("ROLLBACK TO " + name_);
            conn_.Exec("RELEASE " + name_);
        } catch (...) {
            // A failed rollback leaves SQLite's own transaction rollback as the last line of defence.
        }
    }
}

void TSavepoint::Commit() {
    conn_.Exec("RELEASE " + name_);
    done_ = true;
}

std::string QuoteIdent(std::string_view name) {
    std::string out = "\"";
    for (char c : name) {
        out += c;
        if (c == '"') {
            out += '"';
        }
    }
    out += '"';
    return out;
}

} // namespace korvel::db
