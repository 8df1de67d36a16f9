#pragma once

#include "platform/db/FieldDefs.h"
#include "platform/db/FilterExpression.h"

#include <array>
#include <string>
#include <vector>

namespace korvel::db {

// The SQL a cursor runs for one ordering and one filter. Records are selected as
//   rowid, field 0 .. field n-1, key 0 .. key m-1
// and every step moves by keyset (WHERE (keys, rowid) > (...)), never by OFFSET, so a step costs the same
// at the millionth record as at the first.
class TCursorSql {
public:
    TCursorSql(const std::string& tableName, const TTableDef& def, const TIndexDef* index,
               const TCompiledFilter* filter);

    size_t KeyCount() const { return keys_.size(); }
    size_t SearchKeyCount() const { return searchKeys_.size(); }
    size_t FieldCount() const { return fieldCount_; }
    bool Descending() const { return descending_; }
    const std::vector<std::string>& KeyExpressions() const { return keys_; }
    const TCompiledFilter* Filter() const { return filter_; }

    // Records in cursor order from the start, or backwards from the end.
    std::string First(int limit) const;
    std::string Last(int limit) const;
    // Records after (before) a record given by its keys and rowid: parameters are filter params, then the
    // leading key once more for the index range, then all keys and the rowid.
    std::string After(int limit) const;
    std::string Before(int limit) const;
    // Number of records before a given record; same parameters as After.
    std::string CountBefore() const;
    std::string Count() const;
    // Rowids of all records in cursor order, with all columns when a per-record filter must see them.
    std::string RowIds(bool withColumns) const;
    std::string ByRowId() const;
    // The first record, in cursor order, matching a condition given as SQL with its own parameters
    // (bound after the filter's).
    std::string FirstWhere(const std::string& condition) const;
    // The first record at or after a key prefix of n keys (parameters: filter params, key values).
    std::string NearestKey(size_t n) const;
    // Kept once made: name checks of bulk work ask for it per element.
    const std::string& ExactKey(size_t n) const;
    // The row number alone of the first record at (exact) or after a key prefix of n keys; the index holds
    // it, so the record itself is not read.
    const std::string& KeyRowId(size_t n, bool exact) const;

private:
    std::string Select() const;
    std::string Where(const std::string& extra) const;
    std::string Order(bool reverse) const;
    std::string KeysetCondition(bool after) const;
    std::string KeyCondition(size_t n, bool exact) const;
    // The expressions a key search compares: the index keys, or the rowid for the element-number order.
    const std::vector<std::string>& SearchKeys() const { return searchKeys_; }

    std::string table_;
    std::string columns_;
    size_t fieldCount_ = 0;
    std::vector<std::string> keys_;
    std::vector<std::string> searchKeys_;
    bool descending_ = false;
    const TCompiledFilter* filter_ = nullptr;
    mutable std::vector<std::string> exactKeys_;                // by key count - 1
    mutable std::array<std::vector<std::string>, 2> rowIdKeys_; // [exact], by key count - 1
};

} // namespace korvel::db
