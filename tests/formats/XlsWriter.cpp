#include "formats/XlsWriter.h"

#include <algorithm>
#include <bit>
#include <fstream>
#include <map>
#include <stdexcept>
#include <unicode/unistr.h>

namespace korvel::test {

namespace {

constexpr std::uint32_t kEndOfChain = 0xFFFFFFFEu;
constexpr std::uint32_t kFatSector = 0xFFFFFFFDu;
constexpr std::uint32_t kFree = 0xFFFFFFFFu; // a free sector, or no stream in a directory entry
constexpr std::size_t kSector = 512;

// The value's low bytes, little-endian.
std::string Le(std::uint64_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i)
        out += static_cast<char>((value >> (8 * i)) & 0xFF);
    return out;
}

std::string U16(std::uint64_t value) {
    return Le(value, 2);
}

std::string U32(std::uint64_t value) {
    return Le(value, 4);
}

// A text the way BIFF8 stores it uncompressed: the count of UTF-16 units in lengthBytes, flag 1, the units.
std::string Utf16Text(const std::string& utf8, int lengthBytes) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    std::string out = Le(static_cast<std::uint64_t>(text.length()), lengthBytes) + '\1';
    for (int i = 0; i < text.length(); ++i)
        out += U16(text.charAt(i));
    return out;
}

std::string Record(std::uint16_t type, const std::string& data) {
    if (data.size() > 8224)
        throw std::length_error("BIFF record too large");
    return U16(type) + U16(data.size()) + data;
}

// The start of the workbook globals (kind 5) or of a worksheet (kind 0x10), BIFF8.
std::string Bof(std::uint16_t kind) {
    return Record(0x0809, U16(0x0600) + U16(kind) + U16(0x0DBB) + U16(0x07CC) + U32(0) + U32(0x06));
}

// A cell XF with font 0 and the number format, locked, default alignment.
std::string Xf(std::uint16_t format) {
    return Record(0x00E0,
                  U16(0) + U16(format) + U16(0x0001) + U16(0x0020) + U16(0) + U32(0) + U32(0) + U16(0x20C0));
}

std::string WorkbookStream(const std::vector<TXlsSheet>& sheets, bool date1904) {
    // The shared strings, in order of first use.
    std::vector<std::string> strings;
    std::map<std::string, std::uint32_t> stringIndex;
    std::uint32_t textCells = 0;
    for (const auto& sheet : sheets)
        for (const auto& cell : sheet.Cells)
            if (cell.IsText) {
                ++textCells;
                if (stringIndex.emplace(cell.Text, static_cast<std::uint32_t>(strings.size())).second)
                    strings.push_back(cell.Text);
            }

    // Texts are UTF-16 (code page 1200); the XF records come in the order of TXlsStyle.
    std::string stream = Bof(0x0005) + Record(0x0042, U16(1200)) + Record(0x0022, U16(date1904 ? 1 : 0));
    for (std::uint16_t format : {0, 14, 22, 21})
        stream += Xf(format);
    std::vector<std::size_t> boundSheetAt;
    for (const auto& sheet : sheets) {
        // A visible worksheet; its place in the stream is set below, once known.
        boundSheetAt.push_back(stream.size() + 4);
        stream += Record(0x0085, U32(0) + std::string(2, '\0') + Utf16Text(sheet.Name, 1));
    }
    std::string sst = U32(textCells) + U32(strings.size());
    for (const auto& text : strings)
        sst += Utf16Text(text, 2);
    stream += Record(0x00FC, sst) + Record(0x000A, {});

    for (std::size_t s = 0; s < sheets.size(); ++s) {
        stream.replace(boundSheetAt[s], 4, U32(stream.size()));
        std::uint32_t rows = 0, cols = 0;
        for (const auto& cell : sheets[s].Cells) {
            rows = std::max<std::uint32_t>(rows, cell.Row + 1u);
            cols = std::max<std::uint32_t>(cols, cell.Col + 1u);
        }
        stream += Bof(0x0010) + Record(0x0200, U32(0) + U32(rows) + U16(0) + U16(cols) + U16(0));
        for (const auto& cell : sheets[s].Cells) {
            const std::string at = U16(cell.Row) + U16(cell.Col);
            if (cell.IsText)
                stream += Record(0x00FD, at + U16(0) + U32(stringIndex.at(cell.Text)));
            else // the XF records follow the styles
                stream += Record(0x0203, at + U16(static_cast<std::uint16_t>(cell.Style)) +
                                             Le(std::bit_cast<std::uint64_t>(cell.Number), 8));
        }
        stream += Record(0x000A, {});
    }
    // Zero bytes up to the mini-stream cutoff: readers take a zero record type and size as the end.
    if (stream.size() < 4096)
        stream.resize(4096, '\0');
    return stream;
}

// A directory entry of the compound file.
std::string Entry(const std::string& name, std::uint8_t type, std::uint32_t child, std::uint32_t start,
                  std::uint32_t size) {
    std::string e;
    for (char c : name)
        e += std::string{c, '\0'};
    e.resize(64, '\0');
    e += U16(name.empty() ? 0 : 2 * (name.size() + 1)) + static_cast<char>(type) + '\1'; // black
    return e + U32(kFree) + U32(kFree) + U32(child) + std::string(36, '\0') + U32(start) + U32(size) + U32(0);
}

} // namespace

TXlsSheet& TXlsSheet::Text(std::uint16_t row, std::uint16_t col, std::string text) {
    Cells.push_back({.Row = row, .Col = col, .IsText = true, .Text = std::move(text)});
    return *this;
}

TXlsSheet& TXlsSheet::Number(std::uint16_t row, std::uint16_t col, double value, TXlsStyle style) {
    Cells.push_back({.Row = row, .Col = col, .IsText = false, .Text = {}, .Number = value, .Style = style});
    return *this;
}

std::string XlsWorkbookBytes(const std::vector<TXlsSheet>& sheets, bool date1904) {
    std::string stream = WorkbookStream(sheets, date1904);
    const std::size_t streamBytes = stream.size();
    const std::size_t streamSectors = (streamBytes + kSector - 1) / kSector;
    // Stream sectors, then one directory sector, then the FAT sectors that map them all.
    std::size_t fatSectors = 1;
    while (fatSectors * (kSector / 4) < streamSectors + 1 + fatSectors)
        ++fatSectors;
    if (fatSectors > 109)
        throw std::length_error("workbook too large for the header's FAT list");
    const std::size_t directorySector = streamSectors;
    const std::size_t firstFat = streamSectors + 1;

    // Version 3 with 512-byte sectors and 64-byte mini sectors; no mini FAT and no FAT list beyond the
    // header.
    std::string file = std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(16, '\0') +
                       U16(0x003E) + U16(0x0003) + U16(0xFFFE) + U16(9) + U16(6) + std::string(10, '\0') +
                       U32(fatSectors) + U32(directorySector) + U32(0) + U32(4096) + U32(kEndOfChain) +
                       U32(0) + U32(kEndOfChain) + U32(0);
    for (std::size_t i = 0; i < 109; ++i)
        file += U32(i < fatSectors ? firstFat + i : kFree);
    stream.resize(streamSectors * kSector, '\0');
    file += stream;
    file += Entry("Root Entry", 5, 1, kEndOfChain, 0) + Entry("Workbook", 2, kFree, 0, streamBytes) +
            Entry("", 0, kFree, 0, 0) + Entry("", 0, kFree, 0, 0);

    std::vector<std::uint32_t> fat(fatSectors * (kSector / 4), kFree);
    for (std::size_t i = 0; i < streamSectors; ++i)
        fat[i] = i + 1 < streamSectors ? static_cast<std::uint32_t>(i + 1) : kEndOfChain;
    fat[directorySector] = kEndOfChain;
    for (std::size_t i = 0; i < fatSectors; ++i)
        fat[firstFat + i] = kFatSector;
    for (std::uint32_t value : fat)
        file += U32(value);
    return file;
}

void WriteXlsWorkbook(const std::string& fileName, const std::vector<TXlsSheet>& sheets, bool date1904) {
    const std::string bytes = XlsWorkbookBytes(sheets, date1904);
    std::ofstream out(fileName, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + fileName);
}

} // namespace korvel::test
