#include "platform/db/Binding.h"

#include <sqlite3.h>
#include <type_traits>

namespace korvel::db {

void BindValue(TStatement& statement, int index, const TValue& value) {
    std::visit(
        [&](const auto& v) {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, std::monostate>) {
                statement.BindNull(index);
            } else if constexpr (std::is_same_v<V, TBytes>) {
                statement.BindBlob(index, v);
            } else {
                statement.Bind(index, v);
            }
        },
        value);
}

TValue ColumnValue(const TStatement& statement, int column) {
    switch (statement.ColumnType(column)) {
    case SQLITE_INTEGER:
        return statement.ColumnInt(column);
    case SQLITE_FLOAT:
        return statement.ColumnDouble(column);
    case SQLITE_TEXT:
        return statement.ColumnText(column);
    case SQLITE_BLOB:
        return statement.ColumnBlob(column);
    default:
        return std::monostate{};
    }
}

} // namespace korvel::db
