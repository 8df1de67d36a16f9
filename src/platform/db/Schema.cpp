#include "platform/db/Schema.h"

#include "platform/db/DbErrors.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sqlite3.h>
#include <sstream>

namespace korvel::db::schema {

namespace {

// Below every real number, so a NULL orders first and still compares.
constexpr const char* kNumericNullKey = "-9e999";

const char* SqlType(TFieldType type) {
    switch (type) {
    case TFieldType::String:
    case TFieldType::Memo:
    case TFieldType::DateTime:
        return "TEXT";
    case TFieldType::Blob:
    case TFieldType::Graphic:
        return "BLOB";
    case TFieldType::Float:
        return "REAL";
    case TFieldType::Integer:
    case TFieldType::LargeInt:
    case TFieldType::Word:
    case TFieldType::Boolean:
    case TFieldType::AutoInc:
        return "INTEGER";
    }
    return "BLOB";
}

std::string OptionsText(unsigned options) {
    std::vector<std::string> parts;
    if (options & ixPrimary) {
        parts.emplace_back("primary");
    }
    if (options & ixUnique) {
        parts.emplace_back("unique");
    }
    if (options & ixCaseInsensitive) {
        parts.emplace_back("caseinsensitive");
    }
    if (options & ixDescending) {
        parts.emplace_back("descending");
    }
    std::string out;
    for (const auto& p : parts) {
        out += (out.empty() ? "" : ",") + p;
    }
    return out;
}

unsigned ParseOptions(const std::string& text) {
    unsigned options = 0;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) {
        if (part == "primary") {
            options |= ixPrimary;
        } else if (part == "unique") {
            options |= ixUnique;
        } else if (part == "caseinsensitive") {
            options |= ixCaseInsensitive;
        } else if (part == "descending") {
            options |= ixDescending;
        }
    }
    return options;
}

std::string JoinFields(const std::vector<std::string>& fields) {
    std::string out;
    for (const auto& f : fields) {
        out += (out.empty() ? "" : ";") + f;
    }
    return out;
}

std::vector<std::string> SplitFields(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ';')) {
        if (!part.empty()) {
            out.push_back(part);
        }
    }
    return out;
}

std::string Upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return s;
}

} // namespace

std::string KeyColumn(const std::string& fieldName) {
    return "_ck_" + fieldName;
}

std::vector<std::string> KeyedFields(const TTableDef& def) {
    std::vector<std::string> out;
    for (const auto& idx : def.Indexes) {
        if (!idx.Has(ixCaseInsensitive)) {
            continue;
        }
        for (const auto& name : idx.Fields) {
            const TFieldDef* f = def.FindField(name);
            bool known =
                std::any_of(out.begin(), out.end(), [&](const std::string& o) { return SameName(o, name); });
            if (f && f->DataType == TFieldType::String && !known) {
                out.push_back(f->Name);
            }
        }
    }
    return out;
}

std::string KeyExpression(const TTableDef& def, const TIndexDef& index, const std::string& fieldName) {
    const TFieldDef* f = def.FindField(fieldName);
    if (!f) {
        throw EDatabaseError("Index \"" + index.Name + "\" names the unknown field \"" + fieldName + "\"");
    }
    if (f->DataType == TFieldType::AutoInc) {
        return "rowid";
    }
    if (f->DataType == TFieldType::String && index.Has(ixCaseInsensitive)) {
        return QuoteIdent(KeyColumn(f->Name));
    }
    if (IsTextType(f->DataType) || f->DataType == TFieldType::DateTime) {
        return "coalesce(" + QuoteIdent(f->Name) + ", '')";
    }
    return "coalesce(" + QuoteIdent(f->Name) + ", " + kNumericNullKey + ")";
}

TKeyKind KeyKind(const TTableDef& def, const TIndexDef& index, const std::string& fieldName) {
    const TFieldDef* f = def.FindField(fieldName);
    if (f && f->DataType == TFieldType::AutoInc) {
        return TKeyKind::RowId;
    }
    if (f && f->DataType == TFieldType::String && index.Has(ixCaseInsensitive)) {
        return TKeyKind::CollationKey;
    }
    return TKeyKind::Value;
}

bool StoresValuesAsBound(TSqliteConnection& conn, const std::string& tableName, const TTableDef& def) {
    TStatement triggers(conn.Handle(),
                        "SELECT count(*) FROM sqlite_master WHERE type = 'trigger' AND tbl_name = ?");
    triggers.Bind(1, tableName);
    if (!triggers.Step() || triggers.ColumnInt(0) != 0) {
        return false;
    }
    std::size_t matched = 0;
    TStatement columns(conn.Handle(), "SELECT name, type, dflt_value, pk FROM pragma_table_info(?)");
    columns.Bind(1, tableName);
    while (columns.Step()) {
        const std::string name = columns.ColumnText(0);
        const TFieldDef* f = def.FindField(name);
        if (!f) {
            // A hidden key column is always written on insert; any other column must be NULL when left out.
            if (columns.ColumnType(2) != SQLITE_NULL && !name.starts_with("_ck_")) {
                return false;
            }
            continue;
        }
        std::string type = columns.ColumnText(1);
        std::transform(type.begin(), type.end(), type.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (type != SqlType(f->DataType) || columns.ColumnType(2) != SQLITE_NULL) {
            return false;
        }
        if (f->DataType == TFieldType::AutoInc && columns.ColumnInt(3) != 1) {
            return false;
        }
        ++matched;
    }
    return matched == def.Fields.size();
}

bool KeepsKind(TFieldType type, const TValue& value) {
    const std::string_view sql = SqlType(type);
    if (sql == "INTEGER") {
        return std::holds_alternative<std::int64_t>(value);
    }
    if (sql == "REAL") {
        // SQLite stores a NaN as NULL.
        const double* d = std::get_if<double>(&value);
        return d && !std::isnan(*d);
    }
    if (sql == "TEXT") {
        return std::holds_alternative<std::string>(value);
    }
    return std::holds_alternative<TBytes>(value);
}

bool IsRowIdIndex(const TTableDef& def, const TIndexDef& index) {
    if (index.Fields.size() != 1) {
        return false;
    }
    const TFieldDef* f = def.FindField(index.Fields.front());
    return f && f->DataType == TFieldType::AutoInc;
}

std::string CreateTableSql(const std::string& tableName, const TTableDef& def) {
    std::string sql = "CREATE TABLE " + QuoteIdent(tableName) + " (";
    for (size_t i = 0; i < def.Fields.size(); ++i) {
        const auto& f = def.Fields[i];
        sql += (i ? ", " : "") + QuoteIdent(f.Name) + " " + SqlType(f.DataType);
        if (f.DataType == TFieldType::AutoInc) {
            sql += " PRIMARY KEY AUTOINCREMENT";
        }
    }
    for (const auto& name : KeyedFields(def)) {
        sql += ", " + QuoteIdent(KeyColumn(name)) + " BLOB NOT NULL DEFAULT X''";
    }
    return sql + ")";
}

std::string SqlIndexName(const std::string& tableName, const std::string& indexName) {
    return tableName + "__" + indexName;
}

std::vector<std::string> CreateIndexSql(const std::string& tableName, const TTableDef& def) {
    std::vector<std::string> out;
    for (const auto& idx : def.Indexes) {
        if (IsRowIdIndex(def, idx)) {
            continue; // the table itself is ordered by element number
        }
        std::string sql =
            std::string("CREATE ") + (idx.Has(ixUnique) || idx.Has(ixPrimary) ? "UNIQUE " : "") + "INDEX " +
            QuoteIdent(SqlIndexName(tableName, idx.Name)) + " ON " + QuoteIdent(tableName) + " (";
        for (size_t i = 0; i < idx.Fields.size(); ++i) {
            sql += (i ? ", " : "") + KeyExpression(def, idx, idx.Fields[i]);
        }
        out.push_back(sql + ")");
    }
    return out;
}

void CreateMetadataTables(TSqliteConnection& conn) {
    conn.Exec(
        std::string("CREATE TABLE IF NOT EXISTS ") + kFieldsTable +
        " (tbl TEXT NOT NULL, pos INTEGER NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL,"
        " size INTEGER NOT NULL DEFAULT 0, required INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (tbl, pos))");
    conn.Exec(std::string("CREATE TABLE IF NOT EXISTS ") + kIndexesTable +
              " (tbl TEXT NOT NULL, pos INTEGER NOT NULL, name TEXT NOT NULL, fields TEXT NOT NULL,"
              " options TEXT NOT NULL DEFAULT '', PRIMARY KEY (tbl, pos))");
    conn.Exec(std::string("CREATE TABLE IF NOT EXISTS ") + kMetaTable +
              " (key TEXT PRIMARY KEY, value TEXT)");
}

void DeleteDeclarations(TSqliteConnection& conn, const std::string& tableName) {
    for (const char* meta : {kFieldsTable, kIndexesTable}) {
        TStatement del(conn.Handle(), std::string("DELETE FROM ") + meta + " WHERE tbl = ?");
        del.Bind(1, tableName);
        del.Run();
    }
}

void WriteDeclarations(TSqliteConnection& conn, const std::string& tableName, const TTableDef& def) {
    DeleteDeclarations(conn, tableName);
    TStatement field(conn.Handle(), std::string("INSERT INTO ") + kFieldsTable +
                                        " (tbl, pos, name, type, size, required) VALUES (?, ?, ?, ?, ?, ?)");
    for (size_t i = 0; i < def.Fields.size(); ++i) {
        const auto& f = def.Fields[i];
        field.Reset();
        field.Bind(1, tableName);
        field.Bind(2, static_cast<std::int64_t>(i));
        field.Bind(3, f.Name);
        field.Bind(4, FieldTypeName(f.DataType));
        field.Bind(5, static_cast<std::int64_t>(f.Size));
        field.Bind(6, static_cast<std::int64_t>(f.Required ? 1 : 0));
        field.Run();
    }
    TStatement index(conn.Handle(), std::string("INSERT INTO ") + kIndexesTable +
                                        " (tbl, pos, name, fields, options) VALUES (?, ?, ?, ?, ?)");
    for (size_t i = 0; i < def.Indexes.size(); ++i) {
        const auto& idx = def.Indexes[i];
        index.Reset();
        index.Bind(1, tableName);
        index.Bind(2, static_cast<std::int64_t>(i));
        index.Bind(3, idx.Name);
        index.Bind(4, JoinFields(idx.Fields));
        index.Bind(5, OptionsText(idx.Options));
        index.Run();
    }
}

bool ReadDeclarations(TSqliteConnection& conn, const std::string& tableName, TTableDef& def) {
    def = TTableDef{};
    TStatement fields(conn.Handle(), std::string("SELECT name, type, size, required FROM ") + kFieldsTable +
                                         " WHERE tbl = ? ORDER BY pos");
    fields.Bind(1, tableName);
    while (fields.Step()) {
        auto type = FieldTypeFromName(fields.ColumnText(1));
        if (!type) {
            throw EDatabaseError("Table \"" + tableName + "\": field \"" + fields.ColumnText(0) +
                                 "\" has the unknown type \"" + fields.ColumnText(1) + "\"");
        }
        def.AddField(fields.ColumnText(0), *type, static_cast<int>(fields.ColumnInt(2)),
                     fields.ColumnInt(3) != 0);
    }
    if (def.Fields.empty()) {
        return false;
    }
    TStatement indexes(conn.Handle(), std::string("SELECT name, fields, options FROM ") + kIndexesTable +
                                          " WHERE tbl = ? ORDER BY pos");
    indexes.Bind(1, tableName);
    while (indexes.Step()) {
        def.AddIndex(indexes.ColumnText(0), SplitFields(indexes.ColumnText(1)),
                     ParseOptions(indexes.ColumnText(2)));
    }
    return true;
}

TTableDef InferDeclarations(TSqliteConnection& conn, const std::string& tableName) {
    TTableDef def;
    bool autoIncrement = false;
    {
        TStatement sql(conn.Handle(), "SELECT sql FROM sqlite_master WHERE type = 'table' AND name = ?");
        sql.Bind(1, tableName);
        if (sql.Step()) {
            autoIncrement = Upper(sql.ColumnText(0)).find("AUTOINCREMENT") != std::string::npos;
        }
    }
    TStatement info(conn.Handle(), "SELECT name, type, pk FROM pragma_table_info(?)");
    info.Bind(1, tableName);
    while (info.Step()) {
        std::string name = info.ColumnText(0);
        if (name.starts_with("_ck_")) {
            continue;
        }
        std::string type = Upper(info.ColumnText(1));
        bool pk = info.ColumnInt(2) != 0;
        if (pk && type == "INTEGER" && autoIncrement && def.Fields.empty()) {
            def.AddField(name, TFieldType::AutoInc);
        } else if (type.find("INT") != std::string::npos) {
            def.AddField(name, TFieldType::LargeInt);
        } else if (type.find("REAL") != std::string::npos || type.find("FLOA") != std::string::npos ||
                   type.find("DOUB") != std::string::npos) {
            def.AddField(name, TFieldType::Float);
        } else if (type.find("BLOB") != std::string::npos || type.empty()) {
            def.AddField(name, TFieldType::Blob);
        } else if (auto open = type.find('('); open != std::string::npos) {
            int size = std::atoi(type.c_str() + open + 1);
            def.AddField(name, size > 0 ? TFieldType::String : TFieldType::Memo, size > 0 ? size : 0);
        } else {
            def.AddField(name, TFieldType::Memo);
        }
    }
    return def;
}

} // namespace korvel::db::schema
