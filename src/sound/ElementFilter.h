#pragma once

// The element filter of the sound library editor: the record kept next to a project library in a ".fil" file,
// and the pieces the editor builds the table filter from. Layout and expressions are in
// docs/element-filter.md.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::sound {

// How the two group terms are combined.
enum class TLogOperator : std::uint8_t { Or = 0, And = 1 };
inline constexpr std::array<std::string_view, 2> LogOperatorStr = {"OR", "AND"};

inline constexpr std::size_t kFilterRecSize = 259;
inline constexpr int kFilterGroupSlots = 4;
inline constexpr std::size_t kFilterGroupChars = 40;
inline constexpr std::size_t kFilterTextChars = 80;
// Below this magnitude a minimum or maximum counts as not set.
inline constexpr double kFilterRangeEpsilon = 0.001;

// Byte offsets within the record.
namespace filter_offset {
inline constexpr std::size_t Enabled = 0;
inline constexpr std::size_t Group1 = 1; // group i at Group1 + 41 * i
inline constexpr std::size_t MinActive = 165;
inline constexpr std::size_t MaxActive = 166;
inline constexpr std::size_t Min = 167;
inline constexpr std::size_t Max = 171;
inline constexpr std::size_t Operator = 175;
inline constexpr std::size_t Unused = 176;
inline constexpr std::size_t TextFilter = 178;
} // namespace filter_offset

// The 259-byte record, held exactly as the file stores it. Strings are single-byte Windows-1252 on disk and
// UTF-8 at the accessors; the getters trim, the setters cut at the field's capacity. Bytes no accessor
// writes (the two unused ones, padding after a string) stay as they were read.
class TFilterRec {
public:
    using TBytes = std::array<std::uint8_t, kFilterRecSize>;

    TFilterRec() { Clear(); }

    // All bytes zero: disabled, no groups, no range, OR, no text.
    void Clear() { bytes_.fill(0); }

    const TBytes& Bytes() const { return bytes_; }
    TBytes& Bytes() { return bytes_; }

    bool Enabled() const { return bytes_[filter_offset::Enabled] == 1; }
    void SetEnabled(bool enabled) { bytes_[filter_offset::Enabled] = enabled ? 1 : 0; }

    // Group slot 0..3; another index throws EKorvelError.
    std::string Group(int slot) const;
    void SetGroup(int slot, std::string_view name);

    bool MinActive() const { return bytes_[filter_offset::MinActive] == 1; }
    void SetMinActive(bool active) { bytes_[filter_offset::MinActive] = active ? 1 : 0; }
    bool MaxActive() const { return bytes_[filter_offset::MaxActive] == 1; }
    void SetMaxActive(bool active) { bytes_[filter_offset::MaxActive] = active ? 1 : 0; }
    float Min() const;
    void SetMin(float value);
    float Max() const;
    void SetMax(float value);
    // Sets both active flags from the stored bounds: a bound is active when its magnitude exceeds 0.001.
    void UpdateActiveFlags();

    // Any byte other than 1 reads as OR.
    TLogOperator Operator() const;
    void SetOperator(TLogOperator op) { bytes_[filter_offset::Operator] = static_cast<std::uint8_t>(op); }

    std::string GetTextFilter() const;
    void SetTextFilter(std::string_view text);

    bool operator==(const TFilterRec&) const = default;

private:
    TBytes bytes_{};
};

// The library file name with its extension replaced by ".fil"; "" for an empty name.
std::string FilterFileName(const std::string& libraryFile);

// Clears the record and reads the library's filter file if there is one. A file shorter than the record
// (or one that cannot be read) leaves the record cleared.
void LoadFilter(const std::string& libraryFile, TFilterRec& rec);
// Writes the record to the library's filter file in one step; nothing for an empty name. A write error throws
// EKorvelError naming the file, and the old file stays as it was.
void SaveFilter(const std::string& libraryFile, const TFilterRec& rec);

// The term selecting elements that carry the group in any of their four group fields.
std::string GroupFilterTerm(int groupNo);
// The group part of the table filter: the terms of the groups given (group 1 first), combined by the
// operator and enclosed in parentheses; "" when neither is given. A group name the caller cannot resolve is
// passed as -999, which no element carries.
std::string BuildGroupFilter(std::optional<int> group1, std::optional<int> group2, TLogOperator op);
inline constexpr int kUnknownGroupNo = -999;

// The range part: bounds on the over-all value in the named field, each only while its flag is active;
// "" when neither is. A bound that is not a finite number is left out.
std::string BuildRangeFilter(const TFilterRec& rec, const std::string& sumField);

// The non-empty parts joined with " AND ".
std::string JoinFilterParts(const std::vector<std::string>& parts);

// The per-record text test: accepts everything while the trimmed filter is empty, else accepts when the
// filter occurs, ignoring case, in the comment immediately followed by the name.
bool TextFilterAccepts(std::string_view filterText, std::string_view comment, std::string_view name);

} // namespace korvel::sound
