#pragma once

// The library files of the older table generation: this engine's own files, one table each (named like the
// file's stem), with the older sound-library schema. docs/legacy-libraries.md describes every field.

#include "platform/db/FieldDefs.h"

#include <memory>
#include <string>

namespace korvel {
class TMyTable;
}

namespace korvel::sound {

inline constexpr char kLegacyRiwiFile[] = "Riwi.abs";     // 2D directivities (polar cuts)
inline constexpr char kLegacyRiwi3DFile[] = "Riwi3D.abs"; // 3D directivities
// Bands with directivity fields RichtwirkungenH<i> / RichtwirkungenV<i>, i = 1..kLegacyDirBands.
inline constexpr int kLegacyDirBands = 44;

// "Emis.abs", "Absor.abs", "Trans.abs", "Atten.abs" for 120..123; "" for other types.
std::string LegacyLibFileName(int libType);
// The group table of an older library file: the extension replaced by "Grp.abs" (Emis.abs -> EmisGrp.abs).
std::string LegacyGroupFileName(const std::string& libFile);
// The table inside an older file: the file name's stem ("Emis" for ".../Emis.abs").
std::string LegacyTableName(const std::string& fileName);
// An older table file with its single table, opened read-only in the order of its numbers. Throws
// EKorvelError when the file holds no such table.
std::unique_ptr<TMyTable> OpenOlderTable(const std::string& fileName);

// Declarations of the older tables.
db::TTableDef LegacyLibTableDef(int libType);
db::TTableDef LegacyGroupTableDef();
db::TTableDef LegacyRiwiTableDef();
db::TTableDef LegacyRiwi3DTableDef();

} // namespace korvel::sound
