#pragma once

// A library record as JSON, for the command line and scripts: strings, numbers, booleans, time stamps as
// "YYYY-MM-DD HH:MM:SS.mmm", blobs as {"bytes": n, "base64": "..."}, null for empty fields.

#include <nlohmann/json_fwd.hpp>

namespace korvel::db {
class TTable;
class TField;
} // namespace korvel::db

namespace korvel {

nlohmann::json FieldToJson(const db::TField& field);
// Every field of the current record; the autoincrement number only when asked.
nlohmann::json RecordToJson(db::TTable& table, bool includeAutoInc);
// Sets one field from JSON; throws EKorvelError naming the field when the value does not fit it.
void JsonToField(const nlohmann::json& value, db::TField& field);
// Sets the members of an object on the fields of the same name (the record must be in edit state). An
// unknown name, the element number, or a value that does not fit is an error naming the member; nothing is
// changed then.
void JsonToRecord(const nlohmann::json& object, db::TTable& table);

} // namespace korvel
