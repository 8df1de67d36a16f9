#pragma once

// Additional properties of a sound library element: named values such as the mass per area of a wall,
// chosen from definitions that belong to the library kind.

#include "platform/base/Blob.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::acoustic {

enum class TAddPropType : std::uint8_t { Integer = 0, Float = 1, Text = 2 };

struct TAddPropDef {
    std::string Name;
    std::string Unit;
    TAddPropType Type = TAddPropType::Float;
};

class TAddPropDefList {
public:
    TAddPropDefList() = default;
    // The definitions of a sound library kind (120..123); empty for other kinds.
    explicit TAddPropDefList(int libType);

    std::vector<TAddPropDef> Items;
    const TAddPropDef* Find(std::string_view name) const;
};

// One property of an element; the value is kept as text as the user typed it ("" = no value).
struct TAddProp {
    std::string Name;
    std::string Value;
    bool operator==(const TAddProp&) const = default;
};

class TAddPropList {
public:
    std::vector<TAddProp> Items;

    int IndexOf(std::string_view name) const;
    // Adds the property with the value when the element lacks it.
    void Ensure(std::string_view name, std::string_view value);
    void Remove(std::string_view name);

    // Layout: u16 count, then per property u16 byte length + UTF-8 name, u16 byte length + UTF-8 value. An
    // empty blob is an empty list; a damaged one throws EKorvelError and changes nothing.
    TBlob ToBlob() const;
    void FromBlob(TByteSpan blob);
    // Builds the list from the four numbers and names kept by the older library generation
    // (Kennwerte1..4, KennNames1..4), placing each on a property of the kind's definitions. Returns a text
    // of what could not be placed ("" when everything was), for the element's comment.
    std::string ReadFromKenn(const std::array<double, 4>& values, const std::array<std::string, 4>& names,
                             const TAddPropDefList& defs);

    bool operator==(const TAddPropList&) const = default;
};

// Whether a typed character may go into a value of the type: integers take '+', '-' and digits, floats also
// the decimal separator; control characters always pass.
bool AddPropCharAllowed(TAddPropType type, char c, char decimalSeparator = '.');

// Outside element types of building acoustics (transmission libraries), by id.
struct TOutsideElementType {
    int Id;
    std::string_view Name;
};
const std::vector<TOutsideElementType>& OutsideElementTypes();
// Solid constructions (ids 1..3) carry the mass per area and the flanking corrections.
inline constexpr bool OutsideTypeHasMassProps(int id) {
    return id >= 1 && id <= 3;
}
inline constexpr std::string_view kMassPerArea = "MassPerArea";
inline constexpr std::string_view kDRiw = "dRiw,w";
inline constexpr std::string_view kDRjw = "dRjw,w";

} // namespace korvel::acoustic
