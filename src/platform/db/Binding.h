#pragma once

#include "platform/db/Sqlite.h"
#include "platform/db/Value.h"

namespace korvel::db {

// Binds a value with its own storage class; a blob stays a blob even when empty.
void BindValue(TStatement& statement, int index, const TValue& value);

// Reads a column back in the storage class SQLite holds it in.
TValue ColumnValue(const TStatement& statement, int column);

} // namespace korvel::db
