#pragma once

#include "platform/Errors.h"
#include "platform/db/Collation.h"
#include "platform/db/Table.h"

#include <string>

namespace korvel::tools {

// Sets a text field of an element object's record. The engine would cut a long text to the declared size;
// a delivered library keeps every character of its source, so a text too long is refused, naming the member.
inline void SetElementText(db::TTable& table, const std::string& fieldName, const std::string& member,
                           const std::string& text) {
    db::TField* field = table.FindField(fieldName);
    if (!field)
        return;
    const db::TFieldDef& def = field->Def();
    const std::size_t length = db::CodePointCount(text);
    if (def.DataType == db::TFieldType::String && length > static_cast<std::size_t>(def.Size))
        throw EKorvelError("member \"" + member + "\" is " + std::to_string(length) +
                           " characters long; the field holds at most " + std::to_string(def.Size));
    field->SetAsString(text);
}

// A reader's "Member ..." message, to go on after the element's label.
inline std::string ContinuedMessage(std::string text) {
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z')
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text;
}

} // namespace korvel::tools
