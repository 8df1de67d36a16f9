#pragma once

#include "platform/db/FieldDefs.h"

#include <functional>
#include <string>

namespace korvel {

namespace db {
class TTable;
}
class TMyTable;

// How a kind's library is laid out and how its new elements start. Each subsystem registers its kinds
// beside its editor, so adding a kind never touches a central list:
//
//   KORVEL_REGISTER_LIB_SCHEMA(9, PollutantsSchema());
struct TLibSchema {
    // Fills the declarations of every table of the library (TMyTable::GetItem(i)->Defs()).
    std::function<void(TMyTable&)> FieldIndexDefs;
    // Sets the defaults of a new element beyond the common ones (optional).
    std::function<void(db::TTable&)> NewRecord;
};

bool RegisterLibSchema(int libType, TLibSchema schema);
const TLibSchema* FindLibSchema(int libType);

// Defines fields and indexes of a new library of the kind; with clearFirst, declarations already present are
// replaced. Throws EKorvelError "Not yet implemented for this library type!" for a kind without a layout.
void SetFieldIndexDefs(TMyTable& myTable, int libType, bool clearFirst);

// Fills a new record: the change time is stamped unless the record is a copy (copies carry their own), then
// the kind's own defaults apply. The element number is assigned when the record is stored.
void OnNewRecord(db::TTable& table, int libType, bool copying);

// The fields every main table starts with: element number "Eintrag", the name field, "Kommentar",
// "LastChangeDateTime"; index "p" by number and "EN" by name, the name index ignoring letter case.
void AddElementFields(db::TTableDef& def, const std::string& nameField, int nameSize = 40);

// Replaces a kind's registration for the lifetime of the object; for tests.
class TScopedLibSchema {
public:
    TScopedLibSchema(int libType, TLibSchema schema);
    ~TScopedLibSchema();
    TScopedLibSchema(const TScopedLibSchema&) = delete;
    TScopedLibSchema& operator=(const TScopedLibSchema&) = delete;

private:
    int libType_;
    bool had_ = false;
    TLibSchema previous_;
};

} // namespace korvel

#define KORVEL_CONCAT_INNER(a, b) a##b
#define KORVEL_CONCAT(a, b) KORVEL_CONCAT_INNER(a, b)
#define KORVEL_REGISTER_LIB_SCHEMA(libType, schema)                                                          \
    static const bool KORVEL_CONCAT(korvelLibSchemaRegistered, __LINE__) =                                   \
        ::korvel::RegisterLibSchema(libType, schema)
