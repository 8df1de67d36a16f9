#pragma once

// The assessment library of the previous version: three files of this engine beside each other in a folder,
// one table each, and the usage areas in the folder's project settings "Project.sp". The layouts are in
// docs/assessment.md.

#include "platform/base/Usages.h"
#include "platform/db/FieldDefs.h"

#include <string>

namespace korvel::assessment {

inline constexpr char kOlderMainFile[] = "Assess.abs";
inline constexpr char kOlderRangesFile[] = "ZBDef.abs";
inline constexpr char kOlderAdditionsFile[] = "Gebiete.abs";
inline constexpr char kOlderProjectFile[] = "Project.sp";

// Whether folder holds all three older files.
bool HasOlderLibrary(const std::string& folder);

// Declarations of the older tables (beside the current ones in AssessmentSchema.cpp): "BwNummer"/"BwName" in
// the main table, additions by usage short "Kzl".
db::TTableDef OlderMainTableDef();
db::TTableDef OlderRangesTableDef();
db::TTableDef OlderAdditionsTableDef();

// The usage areas of "Project.sp" in folder: section "usages", keys "<id>.Short" and "<id>.Descr" with the
// older usage ids (UsageIds). Areas the file does not name keep fallback's; nullopt when there is no file.
std::optional<TUsages> ReadOlderProjectUsages(const std::string& folder, const TUsages& fallback);

} // namespace korvel::assessment
