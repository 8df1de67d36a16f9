#pragma once

#include "platform/db/FieldDefs.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Value.h"

#include <string>
#include <vector>

// How a table's declarations become SQL: columns, the hidden collation-key columns of case-insensitive
// indexes, and the index key expressions that cursors order and search by.
namespace korvel::db::schema {

inline constexpr const char* kFieldsTable = "korvel_fields";
inline constexpr const char* kIndexesTable = "korvel_indexes";
inline constexpr const char* kMetaTable = "korvel_meta";

// Hidden column with the collation key of a case-insensitively indexed string field.
std::string KeyColumn(const std::string& fieldName);

// Fields that carry a hidden key column.
std::vector<std::string> KeyedFields(const TTableDef& def);

// SQL expression by which an index orders a field; never NULL, so keyset comparisons see every row.
std::string KeyExpression(const TTableDef& def, const TIndexDef& index, const std::string& fieldName);

// Whether the index orders exactly like the row number (the primary index on the autoincrement field).
bool IsRowIdIndex(const TTableDef& def, const TIndexDef& index);

// What KeyExpression gives for a field of a stored record: the row number, the field's hidden collation
// key, or the field's own value (a NULL value giving a stand-in).
enum class TKeyKind { RowId, CollationKey, Value };
TKeyKind KeyKind(const TTableDef& def, const TIndexDef& index, const std::string& fieldName);

// Whether SQLite stores every value of the declared kind (INTEGER an integer, REAL a real, TEXT a text,
// BLOB bytes) exactly as bound into the table, and a column left out as NULL: each column has the type
// CreateTableSql gives its field, no default, the autoincrement field is the row number, and no trigger
// changes what is stored. A record just inserted is then known without reading it back.
bool StoresValuesAsBound(TSqliteConnection& conn, const std::string& tableName, const TTableDef& def);
// Whether a value keeps its kind in a column of that field type (see StoresValuesAsBound).
bool KeepsKind(TFieldType type, const TValue& value);

std::string CreateTableSql(const std::string& tableName, const TTableDef& def);
std::string SqlIndexName(const std::string& tableName, const std::string& indexName);
std::vector<std::string> CreateIndexSql(const std::string& tableName, const TTableDef& def);

void CreateMetadataTables(TSqliteConnection& conn);
void WriteDeclarations(TSqliteConnection& conn, const std::string& tableName, const TTableDef& def);
void DeleteDeclarations(TSqliteConnection& conn, const std::string& tableName);
bool ReadDeclarations(TSqliteConnection& conn, const std::string& tableName, TTableDef& def);
// Declarations inferred from SQLite's own schema, for a table the engine did not create.
TTableDef InferDeclarations(TSqliteConnection& conn, const std::string& tableName);

} // namespace korvel::db::schema
