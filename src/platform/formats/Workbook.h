#pragma once

// Spreadsheet and text tables for the column-mapping import: ".xls" (freexl), ".xlsx" (libzip + pugixml)
// and ".txt"/".csv" (tab, semicolon or comma, detected; UTF-8 or the ANSI code page). Every cell arrives as
// text, the way the cell holds it: numbers in the shortest form that reads back exactly with '.' as decimal
// separator, dates as "YYYY-MM-DD" (with " HH:MM:SS" when there is a time of day), texts as they are.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::formats {

struct TSheet {
    std::string Name;
    std::vector<std::vector<std::string>> Rows; // ragged: trailing empty cells may be missing

    std::size_t ColumnCount() const;
    const std::string& Cell(std::size_t row, std::size_t col) const; // "" outside
};

struct TWorkbook {
    std::vector<TSheet> Sheets;
};

// Bounds that keep a hostile file from taking the machine: more cells, rows or columns, or more unpacked
// bytes than these, are refused with a message. Sheet parts and shared strings are streamed, so memory
// follows the cells kept: a cell slot costs 32 bytes plus its text beyond 15 bytes, so 20 million slots
// take about 640 MB plus their longer texts. Shared texts are kept as their bytes plus 8 per text and count
// as cells. Other parts (workbook, relations, styles) are parsed whole at about fifteen times their size,
// and so is a single row or shared text; a text table is held whole while it is read.
struct TWorkbookLimits {
    std::size_t MaxRows = 1'048'576;
    std::size_t MaxColumns = 16'384;
    std::size_t MaxCells = 20'000'000;
    std::size_t MaxCellBytes = 131'072; // 32,767 characters, the most a spreadsheet cell holds, in UTF-8
    std::size_t MaxSheetPartBytes = std::size_t{1} << 30;
    std::size_t MaxSharedStringsBytes = 256u * 1024u * 1024u;
    std::size_t MaxPartBytes = 16u * 1024u * 1024u; // other parts, and one row or shared text
    std::size_t MaxTextTableBytes = 256u * 1024u * 1024u;
};

// By extension (any case): ".xls", ".xlsx", else a text table. Throws EKorvelError naming the file for one
// that cannot be read.
TWorkbook ReadWorkbook(const std::string& fileName, const TWorkbookLimits& limits = {});
TWorkbook ReadXls(const std::string& fileName, const TWorkbookLimits& limits = {});
TWorkbook ReadXlsx(const std::string& fileName, const TWorkbookLimits& limits = {});
// A text table from bytes: one sheet named after the file stem. Separator: the one of tab, semicolon and
// comma that appears most often in the first line (tab wins ties, then semicolon); fields may be quoted
// with '"'. Bytes that are valid UTF-8 (a BOM is dropped) are taken as such, else decoded from ansiCodePage.
TWorkbook ReadTextTable(const std::string& bytes, const std::string& sheetName, int ansiCodePage = 1252,
                        const TWorkbookLimits& limits = {});
TWorkbook ReadXlsxBytes(const std::string& bytes, const TWorkbookLimits& limits = {});

// The column letters of a 0-based column ("A", "Z", "AA", ...) and back; nothing for text that is no
// column of the limits' range.
std::string ColumnLetters(std::size_t col);
std::optional<std::size_t> ColumnFromLetters(std::string_view letters, const TWorkbookLimits& limits = {});

// Shared by the readers.
namespace detail {

// Shortest text that reads back to the same double, '.' as decimal separator.
std::string NumberText(double value);
// A spreadsheet day number (1900 system with its leap-year slip, or the 1904 system) as "YYYY-MM-DD",
// with " HH:MM:SS" when there is a time of day; "HH:MM:SS" alone for a time format below one day. Nothing
// for a number outside the years 1900 (1904) to 9999.
std::optional<std::string> SerialDateText(double serial, bool date1904, bool timeOnly);

// Fills a sheet cell by cell and enforces the limits. Empty texts are not stored, so rows stay as short as
// their last text; cellsUsed counts the stored cell slots of the whole workbook.
class TSheetBuilder {
public:
    TSheetBuilder(TSheet& sheet, const TWorkbookLimits& limits, std::size_t& cellsUsed)
        : sheet_(sheet), limits_(limits), cellsUsed_(cellsUsed) {}
    void Set(std::size_t row, std::size_t col, std::string text);
    // Gives back the room a row grew into beyond its cells; readers that know where a row ends call it, since
    // growing cell by cell leaves up to twice the room.
    void FinishRow(std::size_t row);
    // Throws for a row or column index beyond the limits.
    void CheckPosition(std::size_t row, std::size_t col) const;

private:
    TSheet& sheet_;
    const TWorkbookLimits& limits_;
    std::size_t& cellsUsed_;
};

} // namespace detail

} // namespace korvel::formats
