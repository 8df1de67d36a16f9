#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::db {

// Declared field types. The declaration is kept beside the table so sizes and kinds survive a round trip
// through the file, the way a typed table engine keeps them.
enum class TFieldType : std::uint8_t {
    String,   // text of at most Size characters
    Memo,     // text without a size limit
    Blob,     // bytes
    Graphic,  // bytes of an image
    Integer,  // 32-bit signed
    LargeInt, // 64-bit signed
    Word,     // small unsigned, 0..65535
    Float,    // 64-bit floating point
    Boolean,  // stored as 0 or 1
    DateTime, // local date and time, stored as ISO 8601 text
    AutoInc,  // element number: assigned on store, never reused; only as the first field
};

std::string_view FieldTypeName(TFieldType type);
std::optional<TFieldType> FieldTypeFromName(std::string_view name);
bool IsTextType(TFieldType type);
bool IsBlobType(TFieldType type);

struct TFieldDef {
    std::string Name;
    TFieldType DataType = TFieldType::String;
    int Size = 0; // characters, for String only
    bool Required = false;
};

enum TIndexOption : unsigned {
    ixPrimary = 1,
    ixUnique = 2,
    ixCaseInsensitive = 4,
    ixDescending = 8,
};

struct TIndexDef {
    std::string Name;
    std::vector<std::string> Fields;
    unsigned Options = 0;

    bool Has(TIndexOption option) const { return (Options & option) != 0; }
};

// Field and index declarations of one table, in order.
struct TTableDef {
    std::vector<TFieldDef> Fields;
    std::vector<TIndexDef> Indexes;

    const TFieldDef* FindField(std::string_view name) const;
    const TIndexDef* FindIndex(std::string_view name) const;
    int FieldIndex(std::string_view name) const; // -1 when absent

    TTableDef& AddField(std::string name, TFieldType type, int size = 0, bool required = false);
    TTableDef& AddIndex(std::string name, std::vector<std::string> fields, unsigned options = 0);
};

// Throws EDatabaseError when the declarations cannot make a table (duplicate names, bad sizes, an index on an
// unknown field, an autoincrement field that is not the first one).
void ValidateTableDef(const TTableDef& def);

// Name comparison of fields, indexes and tables: ASCII letters without regard to case, as in SQL.
bool SameName(std::string_view a, std::string_view b);
// Hash and equality of names as SameName compares them, for look-up tables keyed by name.
struct TNameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept;
};
struct TNameEqual {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const noexcept { return SameName(a, b); }
};

} // namespace korvel::db
