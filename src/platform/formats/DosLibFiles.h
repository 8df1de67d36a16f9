#pragma once

// The three fixed-record files of a DOS-generation sound library: the element index file ("...LIB.00d"),
// the data file "LibData.00d" and the group file "Gruppe.00d", d being the kind digit. Records are packed
// little-endian; texts are short strings in the OEM code page. Decoding works on bytes, so the importers and
// the fuzz targets share it.

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace korvel::formats {

inline constexpr std::size_t kDosIndexRecordSize = 62;
inline constexpr std::size_t kDosDataRecordSize = 832;
inline constexpr std::size_t kDosGroupRecordSize = 31;
inline constexpr int kDosCommentLines = 10;
inline constexpr int kDosThirdOctaves = 24; // 50 Hz .. 10 kHz, library bands 17..40
inline constexpr int kDosFirstBand = 17;

// bt_file_typ: one element of the index file.
struct TDosIndexRecord {
    std::string Name;                      // converted and trimmed
    std::int16_t Entry = 0;                // feintrag: data record number, 1-based
    std::array<std::uint8_t, 10> Groups{}; // fgruppe: group record numbers, 1-based, 0 = none
};

// bt_daten_tp: one element's data.
struct TDosDataRecord {
    std::array<std::string, kDosCommentLines> Comment; // converted and trimmed
    std::array<float, kDosThirdOctaves> ThirdOctaves{};
    std::array<char, 4> KennChar{}; // [0] weighting letter, [1] 'A' = level per unit
};

// Decoders of one whole record; the span must hold exactly one record (EKorvelError otherwise).
TDosIndexRecord DecodeDosIndexRecord(TByteSpan record, int codePage = kDefaultOemCodePage);
TDosDataRecord DecodeDosDataRecord(TByteSpan record, int codePage = kDefaultOemCodePage);
std::string DecodeDosGroupRecord(TByteSpan record, int codePage = kDefaultOemCodePage);

// Encoders, for tests and seed files; the inverse of the decoders (texts cut at their capacity).
TBlob EncodeDosIndexRecord(const TDosIndexRecord& rec, int codePage = kDefaultOemCodePage);
TBlob EncodeDosDataRecord(const TDosDataRecord& rec, int codePage = kDefaultOemCodePage);
TBlob EncodeDosGroupRecord(const std::string& name, int codePage = kDefaultOemCodePage);

// All complete index records of a file's bytes, in order; a trailing partial record ends the list.
std::vector<TDosIndexRecord> DecodeDosIndexFile(TByteSpan bytes, int codePage = kDefaultOemCodePage);
// All complete group records' names (converted, trimmed; empty names kept so that numbers stay aligned).
std::vector<std::string> DecodeDosGroupFile(TByteSpan bytes, int codePage = kDefaultOemCodePage);

// A file of fixed records kept open while many of its records are read. Read gives the record at
// |recordNumber - 1| * size, or nothing when the file did not open or holds no whole record there.
class TDosRecordFile {
public:
    TDosRecordFile(const std::string& fileName, std::size_t recordSize);
    std::optional<TBlob> Read(int recordNumber);

private:
    std::ifstream in_;
    std::size_t size_;
    std::streamoff next_ = 0; // where the stream stands after the last whole read; -1 when unknown
};

// Reading one record of a file: the record at |recordNumber - 1| * size. Returns 0 when the file opened,
// the seek worked and the whole record was read, else -1 (the record is then left zero-filled/empty). The
// forms taking a file name open and close it for the one record.
int ReadDosDataRecord(int recordNumber, TDosDataRecord& record, TDosRecordFile& file);
int ReadDosDataRecord(int recordNumber, TDosDataRecord& record, const std::string& fileName);
int ReadDosGroupRecord(int recordNumber, std::string& name, const std::string& fileName);

// The kind digit and the level that means "no value", by library type (120..123); others give "" and 0.
std::string DosKindDigit(int libType);
double DosNoValueLevel(int libType);
// Data and group file of an index file: same folder, "LibData.00" / "Gruppe.00" + kind digit.
std::string DosDataFileName(const std::string& indexFile, int libType);
std::string DosGroupFileName(const std::string& indexFile, int libType);
// Whether a file name (any case) ends in "LIB.00" followed by one more character.
bool IsDosIndexFileName(const std::string& fileName);

} // namespace korvel::formats
