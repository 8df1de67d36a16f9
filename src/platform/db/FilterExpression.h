#pragma once

#include "platform/db/FieldDefs.h"
#include "platform/db/Value.h"

#include <string>
#include <vector>

namespace korvel::db {

// A filter in the classic dataset syntax, compiled to an SQL condition with its parameters:
//   [Gruppen1]=3
//   ((Gruppen1=3) OR (Gruppen2=3)) AND (ElementName <> 'Fan*')
// Field names stand bare or in brackets; strings in single or double quotes (a doubled quote inside);
// operators = <> != < > <= >=, IS [NOT] NULL, AND, OR, NOT, parentheses; TRUE, FALSE, NULL.
// Literal values never become SQL text: every one is a bound parameter.
struct TCompiledFilter {
    std::string Sql;
    std::vector<TValue> Params;
};

struct TFilterCompileOptions {
    bool CaseInsensitive = false; // string comparisons fold Unicode case
    bool PartialCompare = true;   // a string literal ending in '*' matches by prefix with = and <>
};

// Throws EDatabaseError with the position of the fault for a malformed filter or an unknown field.
TCompiledFilter CompileFilter(const std::string& text, const TTableDef& def,
                              const TFilterCompileOptions& options);

} // namespace korvel::db
