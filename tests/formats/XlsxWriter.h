#pragma once

// .xlsx packages for reader tests, written part by part so that each test states the XML it feeds. The first
// sheet can also be generated row by row while the archive is written, so that sheets of hundreds of
// megabytes never sit in the test's memory.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvel::test {

// Part names and contents, stored in this order.
using TXlsxParts = std::vector<std::pair<std::string, std::string>>;

inline const std::string kXmlDecl = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";
inline const std::string kSheetNs = R"(xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main")";
inline constexpr const char* kFirstSheetPart = "xl/worksheets/sheet1.xml";

// A worksheet part with these rows of sheet data.
std::string SheetXml(const std::string& rows);

// A workbook of two sheets, "Levels" (the part given) and "Zweite" (one inline text, "Only", reached by an
// absolute target), with three shared texts ("Element name", "Lw 125 Hz" in rich runs with a phonetic hint,
// "two_x000A_lines") and the cell styles 0 general, 1 date, 2 date and time, 3 time, 4 a number with a
// quoted " dB", 5 elapsed hours; written the way spreadsheet programs lay out the parts.
TXlsxParts XlsxParts(const std::string& firstSheet, bool date1904 = false);

void WriteZip(const std::string& fileName, const TXlsxParts& parts);

// A part made of Head, Row(0) ... Row(Rows - 1), then Tail; without Row, Same is written Rows times. Same is
// never copied, so a gigabyte of it costs the writer no memory (under ASan every freed copy would be held).
struct TRowStream {
    std::string Head, Tail;
    std::function<std::string(std::size_t)> Row;
    std::string Same;
    std::size_t Rows = 0;
};

// The workbook of XlsxParts with its first sheet generated; returns the unpacked size of that sheet.
std::uint64_t WriteXlsx(const std::string& fileName, const TRowStream& firstSheet);

} // namespace korvel::test
