#pragma once

// Foreign and older files for the readers. DOS records and loudspeaker files are built byte by byte at the
// offsets of their layouts, not through the project's encoders: a decoder fed these shows an offset that its
// encoder got wrong in the same way. Their texts are written as the bytes given, so they must already be in
// the file's code page (850 in DOS files, 1252 in loudspeaker files). Paradox tables come from pxlib's own
// writer. The fuzz seed writer uses these too, so nothing here needs the test framework.

#include "platform/base/Blob.h"
#include "platform/formats/ClfFile.h"
#include "platform/formats/DosLibFiles.h"

#include <string>
#include <variant>
#include <vector>

// pxlib's header declares C functions without C linkage.
extern "C" {
#include <paradox.h>
}

namespace korvel::test {

TBlob Join(const std::vector<TBlob>& records);

// DOS index record (62 bytes): the name as a short string of 40 characters, the entry as a 16-bit number at
// 41 and ten group record numbers at 43.
TBlob DosIndexBytes(const formats::TDosIndexRecord& rec);
// DOS data record (832 bytes): ten comment lines as short strings of 58 characters, the 24 third octaves as
// 32-bit floats at 590 and the four characters at 702.
TBlob DosDataBytes(const formats::TDosDataRecord& rec);
// DOS group record (31 bytes): the name as a short string of 30 characters.
TBlob DosGroupBytes(const std::string& name);

// RIWIS.DAT record (177 bytes): the name as a short string of 30 characters, the 36 values (10, 20, ..., 360
// degrees) as 32-bit floats at 31 and the number as a 16-bit number at 175.
TBlob RiwisBytes(const std::string& name, const std::vector<float>& values, std::int16_t number = 0);

// A DOS library from whole records: the index file and next to it "LibData.00d" and, when there are groups,
// "Gruppe.00d", d being the last character of the index file's name.
void WriteDosLibrary(const std::string& indexFile, const std::vector<TBlob>& index,
                     const std::vector<TBlob>& data, const std::vector<TBlob>& groups = {});

// A loudspeaker file of the version's full size: the identifier, every header field at 52 + its offset
// (texts cut to their array only, so a 16-character date keeps no terminator), the band range at 4624 and
// the balloon at 4624 + 1768 (version 1) or 4624 + 9608 (version 2).
TBlob ClfBytes(const formats::TClfFile& file);
// A loudspeaker file with every header field set (texts in code page 1252, "Box \xE9" is "Box é"; the
// measurement date fills its array, so no terminator follows it), the axial spectrum 90, 91, .. dB and a
// balloon of values exact as floats, different at every point of a band.
formats::TClfFile ClfSample(int version, std::uint32_t minBand, std::uint32_t maxBand);

// A Paradox table written with pxlib's own writer. A cell is null, a number for the integer, logical, date
// and time types, a double for numbers, currency and timestamps, or text for alpha and memo fields.
struct TPxField {
    const char* Name;
    char Type;
    int Len;
};
using TPxCell = std::variant<std::monostate, long, double, std::string>;
void WriteParadoxTable(const std::string& path, const std::vector<TPxField>& fields,
                       const std::vector<std::vector<TPxCell>>& rows, int codePage = 0);
// Days since 1 January of year 1, as a Paradox date field holds them.
long ParadoxDay(int year, int month, int day);

} // namespace korvel::test
