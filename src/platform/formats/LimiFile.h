#pragma once

// The older version's binary assessment file "Limi.*": one assessment element as a sequence of records,
// each a 16-bit little-endian length L (what follows the length), a tag character and L - 1 bytes of body:
//
//   "A"  header (34 bytes); only its presence counts: the file brings its own time ranges ("B" records)
//   "H"  element name: a short string of 40 characters in the OEM code page
//   "D"  one usage area: byte 0 the area 1..25, singles at 46, 50, 54 = limit sets 1..3; unless L is 63,
//        24 more singles at 62 = the additions of hours 0-1 .. 23-24
//   "B"  time range: name and short (short strings of 5), begin hour, end hour, N loudest hours (bytes)
//   any other tag: skipped
//
// The file is one element, so a damaged file is refused whole (EKorvelError naming the file, the offset and
// what is wrong) rather than imported in part: a skipped "D" record would leave its usage area at zero
// limits, which reads as a strict limit rather than a missing one, and a range with made-up hours assesses
// the wrong hours. Refused are: a record running past the end of the file (a file cut short); a length of 0
// (there is no tag, so the framing is lost); an "H", "D" or "B" record shorter than its layout, or a "D"
// record long enough for part of the additions only (L between 64 and 158); a usage area outside 1..25; hours
// or N loudest outside 0..24; a limit or addition that is no finite number; a file without a name or with an
// empty one (nothing would identify the element).
//
// Tolerated, with a line in Warnings: a length byte above a text field's capacity (the field is read at its
// capacity, never beyond), an "A" record of another size than 34 bytes and a known record longer than its
// layout (the extra bytes are skipped), a second "H" record (the last name counts, as later records
// overwrite earlier ones). Several "D" records of one usage
// area are all kept in file order; LimitSet takes the last, as a pass over the file storing by area does.

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace korvel::formats {

inline constexpr int kLimiUsageAreas = 25;
inline constexpr int kLimiLimitSets = 3;
inline constexpr int kLimiHours = 24;
inline constexpr std::size_t kLimiNameCapacity = 40;
inline constexpr std::size_t kLimiRangeTextCapacity = 5;
// Body sizes after the tag.
inline constexpr std::size_t kLimiHeaderBody = 34;
inline constexpr std::size_t kLimiNameBody = 41;
inline constexpr std::size_t kLimiUsageBody = 62;
inline constexpr std::size_t kLimiAdditionsBody = 96;
inline constexpr std::size_t kLimiRangeBody = 15;
// Largest file ReadLimiFile accepts; a real one holds a few kilobytes.
inline constexpr std::size_t kLimiMaxFileSize = 16u << 20;

// A "D" record.
struct TLimiUsage {
    int Usage = 0;                                          // 1..25
    std::array<float, kLimiLimitSets> Limits{};             // limit sets 1, 2, 3
    std::optional<std::array<float, kLimiHours>> Additions; // hours 0-1 .. 23-24; none when L is 63
};

// A "B" record. Begin and End are hours 0..24; End <= Begin runs over midnight.
struct TLimiRange {
    std::string Name;  // converted and trimmed
    std::string Short; // converted and trimmed
    int Begin = 0;
    int End = 0;
    int LoudestN = 0; // 0..24
};

enum class TLimiRecordKind { Range, Usage };

// Where a "B" or "D" record stands in the file: Index into Ranges or Usages.
struct TLimiRecordRef {
    TLimiRecordKind Kind = TLimiRecordKind::Range;
    std::size_t Index = 0;
    bool operator==(const TLimiRecordRef&) const = default;
};

struct TLimiFile {
    bool HasHeader = false;            // an "A" record occurs
    std::string Name;                  // converted, trimmed, never empty, at most 40 characters
    std::vector<TLimiUsage> Usages;    // "D" records in file order
    std::vector<TLimiRange> Ranges;    // "B" records in file order
    std::vector<TLimiRecordRef> Order; // every "B" and "D" record in file order
    std::vector<std::string> Warnings; // what was read leniently, one line each, naming file and offset

    // Limit set 1..3 by usage area: [area] for 1..25, [0] unused, 0 for an area without "D" record; the last
    // "D" record of an area counts. Throws EKorvelError for a set outside 1..3.
    std::array<float, kLimiUsageAreas + 1> LimitSet(int set) const;
};

// Parses a file's bytes; sourceName names the file in messages and warnings. Throws EKorvelError for a
// damaged file (see above); reads nothing outside the span.
TLimiFile DecodeLimiFile(TByteSpan bytes, const std::string& sourceName, int codePage = kDefaultOemCodePage);
// Reads and parses a file; throws EKorvelError also when it cannot be read or exceeds kLimiMaxFileSize.
TLimiFile ReadLimiFile(const std::string& fileName, int codePage = kDefaultOemCodePage);

} // namespace korvel::formats
