#include "platform/db/CursorSql.h"

#include "platform/db/Schema.h"
#include "platform/db/Sqlite.h"

namespace korvel::db {

TCursorSql::TCursorSql(const std::string& tableName, const TTableDef& def, const TIndexDef* index,
                       const TCompiledFilter* filter)
    : table_(QuoteIdent(tableName)), fieldCount_(def.Fields.size()), filter_(filter) {
    columns_ = "rowid";
    for (const auto& f : def.Fields) {
        columns_ += ", " + QuoteIdent(f.Name);
    }
    if (index && !schema::IsRowIdIndex(def, *index)) {
        for (const auto& field : index->Fields) {
            keys_.push_back(schema::KeyExpression(def, *index, field));
        }
    }
    if (index) {
        descending_ = index->Has(ixDescending);
    }
    for (const auto& k : keys_) {
        columns_ += ", " + k;
    }
    searchKeys_ = keys_.empty() ? std::vector<std::string>{"rowid"} : keys_;
}

std::string TCursorSql::Select() const {
    return "SELECT " + columns_ + " FROM " + table_;
}

std::string TCursorSql::Where(const std::string& extra) const {
    std::string cond;
    if (filter_) {
        cond = filter_->Sql;
    }
    if (!extra.empty()) {
        cond += (cond.empty() ? "" : " AND ") + extra;
    }
    return cond.empty() ? std::string() : " WHERE " + cond;
}

std::string TCursorSql::Order(bool reverse) const {
    bool desc = descending_ != reverse;
    std::string dir = desc ? " DESC" : "";
    std::string out = " ORDER BY ";
    for (const auto& k : keys_) {
        out += k + dir + ", ";
    }
    return out + "rowid" + dir;
}

std::string TCursorSql::KeysetCondition(bool after) const {
    bool greater = after != descending_;
    if (keys_.empty()) {
        return std::string("rowid ") + (greater ? ">" : "<") + " ?";
    }
    // The leading key alone gives SQLite the index range; the row value then places the exact start.
    std::string cond = keys_.front() + (greater ? " >= ?" : " <= ?") + " AND (";
    for (const auto& k : keys_) {
        cond += k + ", ";
    }
    cond += std::string("rowid) ") + (greater ? ">" : "<") + " (";
    for (size_t i = 0; i < keys_.size(); ++i) {
        cond += "?, ";
    }
    return cond + "?)";
}

std::string TCursorSql::First(int limit) const {
    return Select() + Where("") + Order(false) + " LIMIT " + std::to_string(limit);
}

std::string TCursorSql::Last(int limit) const {
    return Select() + Where("") + Order(true) + " LIMIT " + std::to_string(limit);
}

std::string TCursorSql::After(int limit) const {
    return Select() + Where(KeysetCondition(true)) + Order(false) + " LIMIT " + std::to_string(limit);
}

std::string TCursorSql::Before(int limit) const {
    return Select() + Where(KeysetCondition(false)) + Order(true) + " LIMIT " + std::to_string(limit);
}

std::string TCursorSql::CountBefore() const {
    return "SELECT count(*) FROM " + table_ + Where(KeysetCondition(false));
}

std::string TCursorSql::Count() const {
    return "SELECT count(*) FROM " + table_ + Where("");
}

std::string TCursorSql::RowIds(bool withColumns) const {
    return (withColumns ? Select() : "SELECT rowid FROM " + table_) + Where("") + Order(false);
}

std::string TCursorSql::ByRowId() const {
    return Select() + " WHERE rowid = ?";
}

std::string TCursorSql::FirstWhere(const std::string& condition) const {
    return Select() + Where(condition) + Order(false);
}

std::string TCursorSql::KeyCondition(size_t n, bool exact) const {
    const auto& keys = SearchKeys();
    std::string cond;
    if (exact) {
        for (size_t i = 0; i < n; ++i) {
            cond += (i ? " AND " : "") + keys[i] + " = ?";
        }
    } else if (n == 1) {
        cond = keys.front() + (descending_ ? " <= ?" : " >= ?");
    } else {
        cond = "(";
        for (size_t i = 0; i < n; ++i) {
            cond += (i ? ", " : "") + keys[i];
        }
        cond += std::string(") ") + (descending_ ? "<=" : ">=") + " (";
        for (size_t i = 0; i < n; ++i) {
            cond += i ? ", ?" : "?";
        }
        cond += ")";
    }
    return cond;
}

std::string TCursorSql::NearestKey(size_t n) const {
    return Select() + Where(KeyCondition(n, false)) + Order(false) + " LIMIT 1";
}

const std::string& TCursorSql::ExactKey(size_t n) const {
    if (exactKeys_.size() < n) {
        exactKeys_.resize(n);
    }
    std::string& sql = exactKeys_[n - 1];
    if (sql.empty()) {
        sql = Select() + Where(KeyCondition(n, true)) + Order(false);
    }
    return sql;
}

const std::string& TCursorSql::KeyRowId(size_t n, bool exact) const {
    auto& cache = rowIdKeys_[exact ? 1 : 0];
    if (cache.size() < n) {
        cache.resize(n);
    }
    std::string& sql = cache[n - 1];
    if (sql.empty()) {
        sql = "SELECT rowid FROM " + table_ + Where(KeyCondition(n, exact)) + Order(false) + " LIMIT 1";
    }
    return sql;
}

} // namespace korvel::db
