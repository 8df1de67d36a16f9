#pragma once

// A minimal writer of BIFF8 .xls workbooks, so that the reader can be fed real files without a spreadsheet
// program. Limits, on purpose: one compound file with a single "Workbook" stream (padded to at least 4096
// bytes, so no mini stream is needed) and at most 109 FAT sectors (about 6.9 MB); texts only through the
// shared string table, which must fit one record (no CONTINUE records, about 8 KB of text in all); numbers
// only as NUMBER records; no fonts, formulas, merged cells or column widths. Rows and columns are limited to
// 65536 and 256 as in the format.

#include <cstdint>
#include <string>
#include <vector>

namespace korvel::test {

// How a number cell is formatted: the built-in formats 14 (date), 22 (date and time) and 21 (time).
enum class TXlsStyle : std::uint8_t { General, Date, DateTime, Time };

struct TXlsCell {
    std::uint16_t Row = 0;
    std::uint16_t Col = 0;
    bool IsText = false;
    std::string Text; // UTF-8
    double Number = 0;
    TXlsStyle Style = TXlsStyle::General;
};

struct TXlsSheet {
    std::string Name;
    std::vector<TXlsCell> Cells;

    TXlsSheet& Text(std::uint16_t row, std::uint16_t col, std::string text);
    TXlsSheet& Number(std::uint16_t row, std::uint16_t col, double value,
                      TXlsStyle style = TXlsStyle::General);
};

// The bytes of the workbook; throws std::length_error beyond the limits above.
std::string XlsWorkbookBytes(const std::vector<TXlsSheet>& sheets, bool date1904 = false);
void WriteXlsWorkbook(const std::string& fileName, const std::vector<TXlsSheet>& sheets,
                      bool date1904 = false);

} // namespace korvel::test
