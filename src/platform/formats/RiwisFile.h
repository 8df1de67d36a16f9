#pragma once

// The DOS generation's directivity file RIWIS.DAT: a plain sequence of packed 177-byte records, each a
// horizontal directivity in 10 degree steps. The name is a short string in the OEM code page.

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace korvel::formats {

inline constexpr std::size_t kRiwisRecordSize = 177;
inline constexpr int kRiwisValues = 36;

// riwityp: name at 0 (capacity 30), werte at 31 (36 singles, dB at 10, 20, ..., 360 degrees), nummer at 175.
struct TRiwisRecord {
    std::string Name; // converted and trimmed
    std::array<float, kRiwisValues> Werte{};
    std::int16_t Nummer = 0; // not used by the import
};

// The span must hold exactly one record. Both throw EKorvelError for a record of another size or a value
// that is no number.
TRiwisRecord DecodeRiwisRecord(TByteSpan record, int codePage = kDefaultOemCodePage);
// For tests and seeds: the inverse of the decoder (the name cut at its capacity).
TBlob EncodeRiwisRecord(const TRiwisRecord& rec, int codePage = kDefaultOemCodePage);

// Every whole record of a file's bytes, in order; what follows the last whole record is left out.
std::vector<TRiwisRecord> DecodeRiwisFile(TByteSpan bytes, int codePage = kDefaultOemCodePage);

} // namespace korvel::formats
