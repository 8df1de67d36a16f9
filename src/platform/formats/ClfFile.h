#pragma once

// The binary Common Loudspeaker Format, versions 1 (octave bands, 10 degree balloon, ".CF1") and 2
// (third octaves, 5 degree balloon, ".CF2"): a 52-byte file info, a 4572-byte header at offset 52 and the
// version's data record at offset 4624, all packed little-endian. Only the fields the importer uses are
// kept. Texts are zero-terminated 8-bit arrays in the ANSI code page.

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <cstdint>
#include <string>
#include <vector>

namespace korvel::formats {

inline constexpr std::uint32_t kClf1Id = 703808; // 0xABD40
inline constexpr std::uint32_t kClf2Id = 703809; // 0xABD41
inline constexpr std::size_t kClfInfoSize = 52;
inline constexpr std::size_t kClfHeaderSize = 4572;
inline constexpr std::size_t kClfDataOffset = kClfInfoSize + kClfHeaderSize; // 4624
inline constexpr std::size_t kClf1DataSize = 29168;
inline constexpr std::size_t kClf2DataSize = 329408;
inline constexpr std::uint32_t kClfAxialGiven = 0x400;

inline constexpr char kClfUnknownVersion[] = "Unknown version of CLF file!\n\rImport canceled.";
inline constexpr char kClfDemoWarning[] = "Caution: CLF demo file!";
inline constexpr char kClfResearchWarning[] = "CLF research file!\n\rPlease check data after import.";

struct TClfHeader {
    std::uint32_t LicenseType = 0;
    std::string ModelName, Manufacturer, Description, Colors, Mounting, WebSite, MeasContact, MeasEmail;
    std::string MeasDate, BinFileDate, TextFileDate, MeasNote, MeasEnv, TypeInfo;
    float Weight = 0;
    float MeasDistance = 0;
    std::uint32_t GivenFlags = 0;
    std::uint32_t LspType = 0;
    std::vector<float> AxialSpectrum = std::vector<float>(30); // indexed by the file's band index
    std::uint32_t Radiation = 0;
    std::uint32_t Symmetry = 0;
};

struct TClfFile {
    int Version = 1; // 1 or 2
    TClfHeader Header;
    std::uint32_t MinBand = 0; // file band indexes, 0-based
    std::uint32_t MaxBand = 0;
    // The whole balloon: (band * Meridians() + meridian) * Parallels() + parallel.
    std::vector<float> Balloon;

    int Bands() const { return Version == 1 ? 10 : 30; }
    int Meridians() const { return Version == 1 ? 36 : 72; }
    int Parallels() const { return Version == 1 ? 19 : 37; }
    int Step() const { return Version == 1 ? 10 : 5; }
    float BalloonValue(int band, int meridian, int parallel) const;
    // The library band (third-octave numbering, band n at 10^(n/10) Hz) of a file band index.
    int LibraryBand(int fileBand) const { return Version == 1 ? 3 * fileBand + 15 : fileBand + 14; }
};

// Reads the file info only: 1 or 2 for the two versions, 0 for any other identifier. A file shorter than
// 4 bytes throws EKorvelError.
int ClfVersion(TByteSpan bytes);

// Decodes a whole file. Throws EKorvelError with a clear message for an unknown identifier
// (kClfUnknownVersion), a file shorter than its records (naming the bytes found and expected), or a band
// range outside the version's bands or with min > max.
TClfFile DecodeClf(TByteSpan bytes, int codePage = kDefaultAnsiCodePage);

// The warning for a license type: demo for 0 and 5, research for 3 and 4, "" otherwise.
std::string ClfLicenseWarning(std::uint32_t licenseType);

// The element's description text, one labelled line per item ("Label: \tvalue"), lines joined by "\r\n";
// fileName is shown without its folder.
std::string ClfDescription(const TClfHeader& header, const std::string& fileName);

// Builds a file image, for tests and seed files: info, header and data record at their offsets, everything
// not given zero.
TBlob EncodeClf(const TClfFile& file, int codePage = kDefaultAnsiCodePage);

} // namespace korvel::formats
