#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace korvel::db {

// Owns one SQLite connection. Every failure becomes an EDatabaseError with SQLite's own text.
class TSqliteConnection {
public:
    TSqliteConnection() = default;
    TSqliteConnection(const std::string& fileName, bool readOnly, bool create);
    ~TSqliteConnection();
    TSqliteConnection(const TSqliteConnection&) = delete;
    TSqliteConnection& operator=(const TSqliteConnection&) = delete;
    TSqliteConnection(TSqliteConnection&& other) noexcept;
    TSqliteConnection& operator=(TSqliteConnection&& other) noexcept;

    bool IsOpen() const { return db_ != nullptr; }
    sqlite3* Handle() const { return db_; }
    void Close();

    void Exec(const std::string& sql);
    std::int64_t LastInsertRowId() const;
    int Changes() const;
    bool InTransaction() const;
    std::string ErrorText() const;

private:
    sqlite3* db_ = nullptr;
};

// One prepared statement; finalized on destruction. Parameters are 1-based, columns 0-based.
class TStatement {
public:
    TStatement() = default;
    TStatement(sqlite3* db, std::string_view sql);
    ~TStatement();
    TStatement(const TStatement&) = delete;
    TStatement& operator=(const TStatement&) = delete;
    TStatement(TStatement&& other) noexcept;
    TStatement& operator=(TStatement&& other) noexcept;

    bool IsPrepared() const { return stmt_ != nullptr; }

    void BindNull(int index);
    void Bind(int index, std::int64_t value);
    void Bind(int index, double value);
    void Bind(int index, std::string_view text);
    void BindBlob(int index, std::span<const std::uint8_t> bytes);

    // Advances to the next row; false when the statement is done.
    bool Step();
    // Runs a statement that returns no rows.
    void Run();
    void Reset();

    int ColumnCount() const;
    int ColumnType(int col) const; // SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL
    bool IsNull(int col) const;
    std::int64_t ColumnInt(int col) const;
    double ColumnDouble(int col) const;
    std::string ColumnText(int col) const;
    std::vector<std::uint8_t> ColumnBlob(int col) const;
    std::string ColumnName(int col) const;

private:
    [[noreturn]] void Fail(int rc) const;
    sqlite3_stmt* stmt_ = nullptr;
    sqlite3* db_ = nullptr;
};

// A savepoint that rolls back unless committed; nests freely, so bulk work and single stores compose.
class TSavepoint {
public:
    explicit TSavepoint(TSqliteConnection& conn);
    ~TSavepoint();
    TSavepoint(const TSavepoint&) = delete;
    TSavepoint& operator=(const TSavepoint&) = delete;

    void Commit();

private:
    TSqliteConnection& conn_;
    std::string name_;
    bool done_ = false;
};

// Quotes an identifier for SQL text ("name" with inner quotes doubled).
std::string QuoteIdent(std::string_view name);

} // namespace korvel::db
