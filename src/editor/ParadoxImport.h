#pragma once

// Table-level services of the editor frame: reading an old Paradox table of a library kind into a library,
// column by column on field names, and changing the length of a library's element-name field.

#include "platform/ui/UiTypes.h"

#include <string>

namespace korvel {

namespace db {
class TTableDef;
}

class TMyTable;
class TCustomLibForm;
class IUi;

// Imports every row of folder + fileName into the target's main table. The kind comes from the file name
// (GetLibType); an unknown kind shows "Unknown database type" and imports nothing. Columns are matched to
// the target's fields by name ignoring case; nameField carries the element name, the element number is
// never written. Name conflicts are asked through NameExistsAction and follow the answer; "Cancel" stops
// with the rows imported so far kept. Returns false for an unknown kind or a closed target table, true
// otherwise. A file that cannot be read throws EKorvelError before anything is written.
bool ImportParadox(IUi& ui, const std::string& nameField, TMyTable& target, const std::string& folder,
                   const std::string& fileName, int& imported, int& skipped);

// A Paradox table of the older generation (folder/NAME.DB) becomes the older-generation table NAME.abs beside
// it, laid out as def, through ImportParadox with nameField "ElementName". The new table is written under a
// temporary name and replaces one already there only once it is complete. Returns 1 when the table was read,
// 2 otherwise (an error is shown through ui).
int ImportParadoxAsOlderTable(IUi& ui, const std::string& fileName, const db::TTableDef& def, int& count,
                              int& duplicates);

// The menu command "Change length of element name field..": asks for the new length of the name field of the
// current tab's main table and restructures it. A text that is no number or a restructure the engine refuses
// (a name longer than the new length) is shown as an error and leaves the table as it was; the table is
// reopened in every case.
void ChangeNameFieldLength(TCustomLibForm& editor);

} // namespace korvel
