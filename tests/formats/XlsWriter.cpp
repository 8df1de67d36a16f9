#include "formats/XlsWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <map>
#include <stdexcept>

namespace korvel::test {

namespace {

constexpr std::uint32_t kEndOfChain = 0xFFFFFFFEu;
constexpr std::uint32_t kFatSector = 0xFFFFFFFDu;
constexpr std::uint32_t kFreeSector = 0xFFFFFFFFu;
constexpr std::uint32_t kNoStream = 0xFFFFFFFFu;
constexpr std::size_t kSector = 512;

void Put16(std::string& out, std::uint32_t value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>((value >> 8) & 0xFF);
}

void Put32(std::string& out, std::uint32_t value) {
    Put16(out, value & 0xFFFF);
    Put16(out, value >> 16);
}

void Set32(std::string& out, std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out[at + static_cast<std::size_t>(i)] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

// UTF-8 to UTF-16LE code units (the tests write valid UTF-8 only).
std::u16string Utf16(const std::string& utf8) {
    std::u16string out;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto b = static_cast<unsigned char>(utf8[i]);
        std::uint32_t cp = b;
        std::size_t extra = 0;
        if (b >= 0xF0) {
            cp = b & 0x07u;
            extra = 3;
        } else if (b >= 0xE0) {
            cp = b & 0x0Fu;
            extra = 2;
        } else if (b >= 0xC0) {
            cp = b & 0x1Fu;
            extra = 1;
        }
        for (std::size_t k = 1; k <= extra && i + k < utf8.size(); ++k)
            cp = (cp << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3Fu);
        i += extra + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (cp >> 10));
            out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
    }
    return out;
}

void PutUtf16Chars(std::string& out, const std::u16string& text) {
    for (char16_t c : text)
        Put16(out, c);
}

void Record(std::string& stream, std::uint16_t type, const std::string& data) {
    if (data.size() > 8224)
        throw std::length_error("BIFF record too large");
    Put16(stream, type);
    Put16(stream, static_cast<std::uint32_t>(data.size()));
    stream += data;
}

std::string Bof(std::uint16_t kind) {
    std::string d;
    Put16(d, 0x0600); // BIFF8
    Put16(d, kind);
    Put16(d, 0x0DBB);
    Put16(d, 0x07CC);
    Put32(d, 0);
    Put32(d, 0x06);
    return d;
}

std::string Xf(std::uint16_t format) {
    std::string d;
    Put16(d, 0);      // font
    Put16(d, format); // number format
    Put16(d, 0x0001); // locked, cell XF
    Put16(d, 0x0020); // alignment
    Put16(d, 0);
    Put32(d, 0);
    Put32(d, 0);
    Put16(d, 0x20C0);
    return d;
}

std::uint16_t XfIndex(TXlsStyle style) {
    return static_cast<std::uint16_t>(style);
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

    std::string globals;
    Record(globals, 0x0809, Bof(0x0005));
    {
        std::string d;
        Put16(d, 1200); // texts are UTF-16
        Record(globals, 0x0042, d);
    }
    {
        std::string d;
        Put16(d, date1904 ? 1 : 0);
        Record(globals, 0x0022, d);
    }
    for (std::uint16_t format : {0, 14, 22, 21})
        Record(globals, 0x00E0, Xf(format));
    std::vector<std::size_t> boundSheetAt;
    for (const auto& sheet : sheets) {
        const std::u16string name = Utf16(sheet.Name);
        std::string d;
        Put32(d, 0); // set below, once the sheet's place is known
        d += '\0';   // visible
        d += '\0';   // worksheet
        d += static_cast<char>(name.size());
        d += '\1'; // UTF-16
        PutUtf16Chars(d, name);
        boundSheetAt.push_back(globals.size() + 4);
        Record(globals, 0x0085, d);
    }
    {
        std::string d;
        Put32(d, textCells);
        Put32(d, static_cast<std::uint32_t>(strings.size()));
        for (const auto& text : strings) {
            const std::u16string chars = Utf16(text);
            Put16(d, static_cast<std::uint32_t>(chars.size()));
            d += '\1';
            PutUtf16Chars(d, chars);
        }
        Record(globals, 0x00FC, d);
    }
    Record(globals, 0x000A, {});

    std::string stream = globals;
    for (std::size_t s = 0; s < sheets.size(); ++s) {
        Set32(stream, boundSheetAt[s], static_cast<std::uint32_t>(stream.size()));
        const auto& cells = sheets[s].Cells;
        Record(stream, 0x0809, Bof(0x0010));
        std::uint32_t rows = 0;
        std::uint16_t cols = 0;
        for (const auto& cell : cells) {
            rows = std::max<std::uint32_t>(rows, cell.Row + 1u);
            cols = std::max<std::uint16_t>(cols, static_cast<std::uint16_t>(cell.Col + 1u));
        }
        {
            std::string d;
            Put32(d, 0);
            Put32(d, rows);
            Put16(d, 0);
            Put16(d, cols);
            Put16(d, 0);
            Record(stream, 0x0200, d);
        }
        for (const auto& cell : cells) {
            std::string d;
            Put16(d, cell.Row);
            Put16(d, cell.Col);
            if (cell.IsText) {
                Put16(d, 0);
                Put32(d, stringIndex.at(cell.Text));
                Record(stream, 0x00FD, d);
            } else {
                Put16(d, XfIndex(cell.Style));
                const auto bits = std::bit_cast<std::uint64_t>(cell.Number);
                Put32(d, static_cast<std::uint32_t>(bits));
                Put32(d, static_cast<std::uint32_t>(bits >> 32));
                Record(stream, 0x0203, d);
            }
        }
        Record(stream, 0x000A, {});
    }
    // Zero bytes up to the mini-stream cutoff: readers take a zero record type and size as the end.
    if (stream.size() < 4096)
        stream.resize(4096, '\0');
    return stream;
}

} // namespace

TXlsSheet& TXlsSheet::Text(std::uint16_t row, std::uint16_t col, std::string text) {
    TXlsCell& cell = Cells.emplace_back();
    cell.Row = row;
    cell.Col = col;
    cell.IsText = true;
    cell.Text = std::move(text);
    return *this;
}

TXlsSheet& TXlsSheet::Number(std::uint16_t row, std::uint16_t col, double value, TXlsStyle style) {
    TXlsCell& cell = Cells.emplace_back();
    cell.Row = row;
    cell.Col = col;
    cell.Number = value;
    cell.Style = style;
    return *this;
}

std::string XlsWorkbookBytes(const std::vector<TXlsSheet>& sheets, bool date1904) {
    const std::string stream = WorkbookStream(sheets, date1904);
    const std::size_t streamSectors = (stream.size() + kSector - 1) / kSector;
    // Stream sectors, then one directory sector, then the FAT sectors that map them all.
    std::size_t fatSectors = 1;
    while (fatSectors * (kSector / 4) < streamSectors + 1 + fatSectors)
        ++fatSectors;
    if (fatSectors > 109)
        throw std::length_error("workbook too large for the header's FAT list");
    const std::size_t directorySector = streamSectors;
    const std::size_t firstFat = streamSectors + 1;

    std::string file;
    file += std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
    file += std::string(16, '\0');
    Put16(file, 0x003E);
    Put16(file, 0x0003);
    Put16(file, 0xFFFE);
    Put16(file, 9); // 512-byte sectors
    Put16(file, 6); // 64-byte mini sectors
    file += std::string(6, '\0');
    Put32(file, 0); // directory sectors (version 3: 0)
    Put32(file, static_cast<std::uint32_t>(fatSectors));
    Put32(file, static_cast<std::uint32_t>(directorySector));
    Put32(file, 0);
    Put32(file, 4096); // mini stream cutoff
    Put32(file, kEndOfChain);
    Put32(file, 0);
    Put32(file, kEndOfChain);
    Put32(file, 0);
    for (std::size_t i = 0; i < 109; ++i)
        Put32(file, i < fatSectors ? static_cast<std::uint32_t>(firstFat + i) : kFreeSector);

    std::string padded = stream;
    padded.resize(streamSectors * kSector, '\0');
    file += padded;

    std::string directory;
    auto entry = [&directory](const std::string& name, std::uint8_t type, std::uint32_t child,
                              std::uint32_t start, std::uint32_t size) {
        std::string e(128, '\0');
        for (std::size_t i = 0; i < name.size(); ++i)
            e[2 * i] = name[i];
        const auto nameBytes = static_cast<std::uint16_t>(name.empty() ? 0 : 2 * (name.size() + 1));
        e[64] = static_cast<char>(nameBytes & 0xFF);
        e[65] = static_cast<char>(nameBytes >> 8);
        e[66] = static_cast<char>(type);
        e[67] = 1; // black
        Set32(e, 68, kNoStream);
        Set32(e, 72, kNoStream);
        Set32(e, 76, child);
        Set32(e, 116, start);
        Set32(e, 120, size);
        directory += e;
    };
    entry("Root Entry", 5, 1, kEndOfChain, 0);
    entry("Workbook", 2, kNoStream, 0, static_cast<std::uint32_t>(stream.size()));
    entry("", 0, kNoStream, 0, 0);
    entry("", 0, kNoStream, 0, 0);
    file += directory;

    std::vector<std::uint32_t> fat(fatSectors * (kSector / 4), kFreeSector);
    for (std::size_t i = 0; i < streamSectors; ++i)
        fat[i] = i + 1 < streamSectors ? static_cast<std::uint32_t>(i + 1) : kEndOfChain;
    fat[directorySector] = kEndOfChain;
    for (std::size_t i = 0; i < fatSectors; ++i)
        fat[firstFat + i] = kFatSector;
    for (std::uint32_t value : fat)
        Put32(file, value);
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
