#pragma once

#include "platform/db/FieldDefs.h"
#include "platform/db/Value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace korvel::db {

class TTable;

// Converts a value to a field's storage form (text to number, truncation of strings to the declared size,
// range checks); throws EDatabaseError naming the field when the value does not fit.
TValue ConvertToField(const TFieldDef& def, const TValue& value);

// Typed access to one field of the table's current record. Reading works in every state; writing needs
// the edit or insert state, as in any dataset.
class TField {
public:
    TField(TTable& table, int index, TFieldDef def);

    const std::string& FieldName() const { return def_.Name; }
    TFieldType DataType() const { return def_.DataType; }
    int Size() const { return def_.Size; }
    bool Required() const { return def_.Required; }
    int Index() const { return index_; }
    const TFieldDef& Def() const { return def_; }

    bool IsNull() const;
    void Clear();

    const TValue& Value() const;
    // Stores a value after converting it to the field's type; throws EDatabaseError when it does not fit.
    void SetValue(const TValue& value);

    std::string AsString() const;
    void SetAsString(std::string_view text);
    int AsInteger() const;
    void SetAsInteger(int value);
    std::int64_t AsLargeInt() const;
    void SetAsLargeInt(std::int64_t value);
    double AsFloat() const;
    void SetAsFloat(double value);
    bool AsBoolean() const;
    void SetAsBoolean(bool value);
    TDateTime AsDateTime() const;
    void SetAsDateTime(TDateTime value);
    TBytes AsBytes() const;
    void SetAsBytes(const TBytes& bytes);

    // Converts a value to the field's storage form; used by stores and searches alike.
    TValue Convert(const TValue& value) const;

private:
    [[noreturn]] void Fail(const std::string& what) const;

    TTable& table_;
    int index_;
    TFieldDef def_;
};

} // namespace korvel::db
