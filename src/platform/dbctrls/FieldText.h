#pragma once

// Text of stored values as data-aware controls show it, and the user's text turned back into a value.

#include "platform/db/FieldDefs.h"
#include "platform/db/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace korvel {

// Shortest text that reads back as the same double, with '.' as decimal separator; plain decimals for
// everyday magnitudes (0.00015, 98), exponent form only for very small or very large ones.
std::string FloatText(double value);

// The value of a field of this type as a control shows it: integers plain, floats shortest, booleans
// True/False, date and time as "YYYY-MM-DD HH:MM:SS" (milliseconds only when there are some), null empty.
// Binary values show their size.
std::string FieldValueText(db::TFieldType type, const db::TValue& value);

// The user's text as a value of the field. An empty text clears a non-text field. Throws EKorvelError
// naming the text when the field cannot take it ("'abc' is not a valid number.").
db::TValue ParseFieldText(const db::TFieldDef& field, std::string_view text);

// A number typed into a grid or a spreadsheet cell, with '.' or ',' as decimal separator; nullopt for an
// empty (or blank) text. Anything else throws EKorvelError ("\"abc\" is not a number.").
std::optional<double> ParseDecimalText(const std::string& text);

} // namespace korvel
