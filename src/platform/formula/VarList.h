#pragma once

// Variables of formula-defined spectra: inputs the user fills in, outputs the formula sets and locals that
// hold one value per band.

#include "platform/base/Bands.h"
#include "platform/base/Blob.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::formula {

// 0 for a variable the user added; a predefined one keeps the flag it was offered with.
enum class TVarFlag : std::uint8_t { User = 0, Input = 1, Output = 3, Local = 5 };

// What a variable holds. Integers are used rounded; the others are plain numbers with a meaning for the user.
enum class TResType : std::uint8_t {
    None = 0,
    Integer = 1,
    Real = 2,
    Boolean = 3,
    Level = 6,      // a level in dB
    Frequency = 7,  // Hz
    Percentage = 8, // 0..100
};
// Name of a result type ("Integer", "Real", ...); empty for an unknown one.
std::string_view ResTypeStr(TResType type);
// The types the type box offers, in its order.
inline constexpr std::array<TResType, 5> OfferedResTypes = {
    TResType::Real, TResType::Integer, TResType::Level, TResType::Frequency, TResType::Percentage};

struct TVariable {
    std::string Name;
    std::string Unit;
    std::string Description;
    double Value = 0;
    TVarFlag Flag = TVarFlag::User;
    TResType ResType = TResType::Real;
    // Locals: one value per band (empty for inputs and outputs).
    std::vector<double> BandValues;

    bool operator==(const TVariable&) const = default;
};

class TVarList {
public:
    std::vector<TVariable> Items;

    int Count() const { return static_cast<int>(Items.size()); }
    // Index of the variable of that name (ignoring ASCII case), or -1.
    int IndexOf(std::string_view name) const;
    TVariable* Find(std::string_view name);
    const TVariable* Find(std::string_view name) const;
    void Add(TVariable v) { Items.push_back(std::move(v)); }
    void Delete(int index);

    // Little-endian blob; layout in docs/formula.md. An empty blob is an empty list; a damaged blob throws
    // EKorvelError and leaves the list unchanged.
    TBlob ToBlob() const;
    void FromBlob(TByteSpan blob);

    bool operator==(const TVarList&) const = default;
};

// The variables a list may be offered for its flag. Outputs depend on the context (the weighting and
// reference texts joined by "/"); isEntryType2 selects the per-band output "Lwf" instead of "Lw".
TVarList GetPreDefinedVars(TVarFlag flag, bool isEntryType2, std::string_view context);

} // namespace korvel::formula
