#include "platform/formats/Workbook.h"

#include "formats/XlsWriter.h"
#include "formats/XlsxWriter.h"
#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/resource.h>
#include <vector>

namespace korvel::formats {
namespace {

using namespace test; // the workbook builders and file helpers
using ::testing::AllOf;
using ::testing::HasSubstr;
using TRow = std::vector<std::string>;
using TRows = std::vector<TRow>;

// The message of the error the call throws.
std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const EKorvelError& e) {
        return e.what();
    }
    return "no error";
}

// The default limits with one of them changed.
TWorkbookLimits Limit(std::size_t TWorkbookLimits::*field, std::size_t value) {
    TWorkbookLimits limits;
    limits.*field = value;
    return limits;
}

TXlsxParts Without(TXlsxParts parts, const std::vector<std::string>& names) {
    std::erase_if(parts, [&](const auto& part) { return std::ranges::count(names, part.first) > 0; });
    return parts;
}

const std::string kFirstSheet = SheetXml(
    R"(<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>1</v></c>)"
    R"(<c r="C1" t="inlineStr"><is><r><t>Com</t></r><r><t>ment</t></r></is></c></row>)"
    R"(<row r="2"><c r="A2" t="inlineStr"><is><t>Pump</t></is></c><c r="B2"><v>81.299999999999997</v></c>)"
    R"(<c r="C2" t="s"><v>2</v></c><c t="str"><f>A2</f><v>Pump</v></c><c t="b"><v>1</v></c></row>)"
    R"(<row r="4"><c r="B4" s="1"><v>45000</v></c><c r="C4" s="2"><v>45000.5</v></c>)"
    R"(<c r="D4" s="3"><v>0.25</v></c><c r="E4" s="4"><v>1.5</v></c><c r="F4" s="5"><v>1.75</v></c>)"
    R"(<c r="G4" t="e"><v>#DIV/0!</v></c><c r="H4"><v>1E-3</v></c></row>)");

TEST(XlsxReader, ReadsTextsNumbersDatesAndGapsOfEverySheet) {
    TempDir dir;
    const std::string file = dir.File("levels.xlsx");
    WriteZip(file, XlsxParts(kFirstSheet));
    const TWorkbook book = ReadWorkbook(file);

    ASSERT_EQ(book.Sheets.size(), 2u);
    // Rich runs are joined and the phonetic hint left out; the fourth cell of row 2 has no reference and
    // follows the previous one; row 3 is missing in the file. A quoted "d" in the number format of E4 is
    // no date; F4 counts elapsed hours from day 0.
    EXPECT_EQ(book.Sheets[0].Rows, (TRows{{"Element name", "Lw 125 Hz", "Comment"},
                                          {"Pump", "81.3", "two\nlines", "Pump", "TRUE"},
                                          {},
                                          {"", "2023-03-15", "2023-03-15 12:00:00", "06:00:00", "1.5",
                                           "1900-01-01 18:00:00", "#DIV/0!", "0.001"}}));
    EXPECT_EQ(std::tuple(book.Sheets[0].Name, book.Sheets[0].Cell(99, 99), book.Sheets[1].Name,
                         book.Sheets[1].Cell(0, 0)),
              std::tuple("Levels", "", "Zweite", "Only"));

    WriteZip(file, XlsxParts(kFirstSheet, true));
    EXPECT_EQ(ReadXlsxBytes(ReadAll(file)).Sheets[0].Cell(3, 1), "2027-03-16");
    // Without a styles part no number is a date.
    WriteZip(file, Without(XlsxParts(kFirstSheet), {"xl/styles.xml"}));
    EXPECT_EQ(ReadXlsx(file).Sheets[0].Cell(3, 1), "45000");
}

TEST(XlsxReader, RefusesDamagedPartsWithAMessage) {
    TempDir dir;
    const std::string file = dir.File("bad.xlsx");
    const std::string notXml = "\"xl/worksheets/sheet1.xml\" is no well-formed XML";
    const std::vector<std::pair<TXlsxParts, std::string>> cases = {
        {XlsxParts(SheetXml(R"(<row r="1"><c r="A1" t="s"><v>7</v></c></row>)")),
         "shared text that does not exist"},
        {XlsxParts(SheetXml(R"(<row r="1"><c r="1A"><v>1</v></c></row>)")), "\"1A\" is invalid"},
        // Damage inside a row, around the rows, or a part that ends early.
        {XlsxParts("<worksheet><sheetData><row>"), notXml},
        {XlsxParts("<worksheet><sheetData><row><c><v>1</x></c></row></sheetData></worksheet>"), notXml},
        {XlsxParts("<worksheet><sheetData><row/></worksheet>"), notXml},
        {XlsxParts("<worksheet a=\"1><sheetData/></worksheet>"), notXml},
        {Without(XlsxParts(kFirstSheet), {kFirstSheetPart}), "is missing"},
        {Without(XlsxParts(kFirstSheet), {"_rels/.rels", "xl/workbook.xml"}), "no part \"xl/workbook.xml\""},
    };
    for (const auto& [parts, expected] : cases) {
        WriteZip(file, parts);
        EXPECT_THAT(ErrorOf([&] { ReadXlsx(file); }), AllOf(HasSubstr(expected), HasSubstr("bad.xlsx")));
    }
    EXPECT_THROW(ReadXlsxBytes("PK\x03\x04 not really a zip"), EKorvelError);
    EXPECT_THROW(ReadXlsx("/nonexistent/folder/book.xlsx"), EKorvelError);
}

TEST(XlsxReader, EnforcesTheLimits) {
    TempDir dir;
    const std::string file = dir.File("big.xlsx");
    const auto refusal = [&](const TXlsxParts& parts, const TWorkbookLimits& limits) {
        WriteZip(file, parts);
        return ErrorOf([&] { ReadXlsxBytes(ReadAll(file), limits); });
    };
    const std::string longRow =
        R"(<row><c t="inlineStr"><is><t>)" + std::string(5000, 'x') + "</t></is></c></row>";
    const std::vector<std::tuple<TWorkbookLimits, std::string, std::string>> cases = {
        {Limit(&TWorkbookLimits::MaxRows, 3), kFirstSheet, "The sheet \"Levels\" has more than 3 rows."},
        {Limit(&TWorkbookLimits::MaxColumns, 5), kFirstSheet,
         "The sheet \"Levels\" has more than 5 columns."},
        {Limit(&TWorkbookLimits::MaxCells, 10), kFirstSheet, "The workbook has more than 10 cells."},
        {{},
         SheetXml(R"(<row r="1"><c r="XFE1"><v>1</v></c></row>)"),
         "The sheet \"Levels\" has more than 16384 columns."},
        {Limit(&TWorkbookLimits::MaxCellBytes, 11), kFirstSheet,
         "The cell A1 of the sheet \"Levels\" holds more than 11 bytes."},
        // The three shared texts count as cells.
        {Limit(&TWorkbookLimits::MaxCells, 2), SheetXml(""), "The workbook has more than 2 shared texts."},
        {Limit(&TWorkbookLimits::MaxSharedStringsBytes, 100), kFirstSheet,
         "The part \"xl/sharedStrings.xml\" is larger than 100 bytes when unpacked."},
        // One row is parsed whole, so it is bound like a whole part.
        {Limit(&TWorkbookLimits::MaxPartBytes, 4000), SheetXml(longRow),
         "An element of the part \"xl/worksheets/sheet1.xml\" is larger than 4000 bytes."},
    };
    for (const auto& [limits, sheet, expected] : cases)
        EXPECT_EQ(refusal(XlsxParts(sheet), limits), expected);

    // A small archive that unpacks to far more than it is worth.
    const std::string rows =
        R"(<row r="1"><c r="A1" t="inlineStr"><is><t>)" + std::string(500000, 'x') + "</t></is></c></row>";
    const TWorkbookLimits limits = Limit(&TWorkbookLimits::MaxSheetPartBytes, 20000);
    const std::string tooLarge =
        "The part \"xl/worksheets/sheet1.xml\" is larger than 20000 bytes when unpacked.";
    EXPECT_EQ(refusal(XlsxParts(SheetXml(rows)), limits), tooLarge);
    EXPECT_LT(ReadAll(file).size(), 20000u);

    // The same archive claiming a small size for the part: reading stops all the same.
    std::string bytes = ReadAll(file);
    const std::string name = kFirstSheetPart;
    int patched = 0;
    for (std::size_t at = bytes.find(name); at != std::string::npos; at = bytes.find(name, at + 1)) {
        if (at >= 30 && bytes.compare(at - 30, 4, "PK\x03\x04") == 0) {
            bytes.replace(at - 30 + 22, 4, std::string("\x64\0\0\0", 4));
            ++patched;
        } else if (at >= 46 && bytes.compare(at - 46, 4, "PK\x01\x02") == 0) {
            bytes.replace(at - 46 + 24, 4, std::string("\x64\0\0\0", 4));
            ++patched;
        }
    }
    ASSERT_EQ(patched, 2);
    EXPECT_EQ(ErrorOf([&] { ReadXlsxBytes(bytes, limits); }), tooLarge);
}

TEST(XlsxReader, StreamsRowsWhateverTheChunkBordersAndPrefixes) {
    // Rows of uneven length put every kind of markup across the borders where unpacking and parsing cut
    // the part: long attributes holding '>', comments and CDATA holding row ends, self-closed rows, rows
    // without a number, and a namespace prefix on every element.
    const auto expected = [](std::size_t row, std::size_t col) {
        if (row % 7 == 3)
            return std::string();
        return col == 0 ? "E" + std::to_string(row) + std::string(row % 300, 'x') + "</x:row>"
                        : std::to_string(row * 10 + col);
    };
    for (const std::string p : {"", "x:"}) {
        SCOPED_TRACE(p);
        TRowStream sheet;
        sheet.Head = kXmlDecl + "<" + p + "worksheet " +
                     (p.empty() ? kSheetNs
                                : R"(xmlns:x="http://schemas.openxmlformats.org/spreadsheetml/2006/main")") +
                     "><" + p + "dimension ref=\"A1:D3000\"/><" + p + "sheetData>" +
                     std::string(600'000, ' ');
        sheet.Tail = "</" + p + "sheetData><" + p + "pageMargins left=\"0.7\"/></" + p + "worksheet>";
        sheet.Rows = 3000;
        sheet.Row = [&](std::size_t row) {
            const std::string number = row % 5 == 1 ? "" : " r=\"" + std::to_string(row + 1) + "\"";
            if (row % 7 == 3)
                return "<" + p + "row" + number + " spans=\"1:4\"/>\n";
            std::string xml = "<" + p + "row" + number + " note=\"a > b '" + std::string(row % 1999, 'q') +
                              "\"><!-- </" + p + "row> --><" + p + "c t=\"inlineStr\"><" + p + "is><" + p +
                              "t><![CDATA[" + expected(row, 0) + "]]></" + p + "t></" + p + "is></" + p +
                              "c>";
            for (std::size_t col = 1; col < 4; ++col)
                xml += "<" + p + "c><" + p + "v>" + expected(row, col) + "</" + p + "v></" + p + "c>";
            return xml + "</" + p + "row>\r\n";
        };
        TempDir dir;
        const std::string file = dir.File("rows.xlsx");
        ASSERT_GT(WriteXlsx(file, sheet), 2u << 20); // several unpacking and parsing batches
        const TWorkbook book = ReadXlsx(file);
        const TSheet& read = book.Sheets[0];
        ASSERT_EQ(read.Rows.size(), 2999u); // the last row is empty
        std::size_t wrong = 0;
        for (std::size_t row = 0; row < 3000; ++row)
            for (std::size_t col = 0; col < 5; ++col)
                wrong += read.Cell(row, col) != (col < 4 ? expected(row, col) : "");
        EXPECT_EQ(wrong, 0u);
        EXPECT_EQ(book.Sheets[1].Cell(0, 0), "Only");
    }
}

TEST(XlsxReader, ReadsABigSheetInMemoryNearItsCells) {
    // 200,000 rows of 40 columns: the part unpacks to far more than one batch, and the reader must not
    // hold it, let alone a tree of it.
    constexpr std::size_t kRows = 200'000, kCols = 40;
    TRowStream sheet;
    sheet.Head = kXmlDecl + "<worksheet " + kSheetNs + "><sheetData>";
    sheet.Tail = "</sheetData></worksheet>";
    sheet.Rows = kRows;
    sheet.Row = [](std::size_t row) {
        const std::string n = std::to_string(row + 1);
        std::string xml = "<row r=\"" + n + "\" spans=\"1:40\"><c r=\"A" + n +
                          "\" t=\"inlineStr\"><is><t>Fan " + n + "</t></is></c>";
        for (std::size_t col = 1; col < kCols; ++col)
            xml += "<c r=\"" + ColumnLetters(col) + n + "\" s=\"4\"><v>" + std::to_string(col % 9) +
                   ".5</v></c>";
        return xml + "</row>";
    };
    TempDir dir;
    const std::string file = dir.File("big.xlsx");
    const std::uint64_t partBytes = WriteXlsx(file, sheet);

    // What the cells themselves take: every slot a string, every row a vector.
    const long cellsKiB = static_cast<long>(kRows * (sizeof(TRow) + kCols * sizeof(std::string)) / 1024);
    // Read in a child so that nothing else in this process counts.
    const auto readInChild = [&] {
        rusage before{}, after{};
        getrusage(RUSAGE_SELF, &before);
        const TWorkbook book = ReadXlsx(file);
        getrusage(RUSAGE_SELF, &after);
        const TSheet& read = book.Sheets[0];
        const long growth = after.ru_maxrss - before.ru_maxrss;
        std::cerr << "part " << partBytes / (1 << 20) << " MB, cells " << cellsKiB / 1024
                  << " MB, peak growth " << growth / 1024 << " MB\n";
        bool pass = read.Cell(kRows - 1, 0) == "Fan 200000" && read.Cell(123, 39) == "3.5" &&
                    read.Rows.size() == kRows && read.ColumnCount() == kCols;
        // The cells and a few batches; not under ASan, whose quarantine keeps freed batches alive.
#if !defined(__SANITIZE_ADDRESS__)
        pass = pass && growth < cellsKiB + 48 * 1024;
#endif
        std::exit(pass ? 0 : 1);
    };
    EXPECT_EXIT(readInChild(), ::testing::ExitedWithCode(0), "peak growth");
}

TEST(SerialDates, FollowTheSpreadsheetCalendar) {
    using detail::SerialDateText;
    // Day 60 is the day that never was.
    const std::vector<std::pair<double, std::string>> days = {{1, "1900-01-01"},     {59, "1900-02-28"},
                                                              {60, "1900-02-29"},    {61, "1900-03-01"},
                                                              {45000, "2023-03-15"}, {2958465, "9999-12-31"}};
    for (const auto& [serial, text] : days)
        EXPECT_EQ(SerialDateText(serial, false, false), text) << serial;
    for (double outside : {-1.0, 0.0, 2958466.0})
        EXPECT_EQ(SerialDateText(outside, false, false), std::nullopt) << outside;
    EXPECT_EQ(SerialDateText(45000.999999999, false, false), "2023-03-16"); // rounds to the next midnight
    EXPECT_EQ(std::tuple(SerialDateText(0, true, false), SerialDateText(43538, true, false)),
              std::tuple("1904-01-01", "2023-03-15"));
    EXPECT_EQ(std::tuple(SerialDateText(0.5, false, true), SerialDateText(1.5, false, true)),
              std::tuple("12:00:00", "1900-01-01 12:00:00"));

    const std::vector<std::pair<double, std::string>> numbers = {
        {0.1, "0.1"}, {-0.0, "0"}, {1e21, "1e+21"}, {123456789.125, "123456789.125"}};
    for (const auto& [value, text] : numbers)
        EXPECT_EQ(detail::NumberText(value), text);
}

TEST(ColumnLetters, RoundTripOverTheSheetWidth) {
    const std::vector<std::pair<std::size_t, std::string>> columns = {
        {0, "A"}, {25, "Z"}, {26, "AA"}, {51, "AZ"}, {701, "ZZ"}, {702, "AAA"}, {16383, "XFD"}};
    for (const auto& [col, letters] : columns) {
        EXPECT_EQ(ColumnLetters(col), letters);
        EXPECT_EQ(ColumnFromLetters(letters), col);
    }
    EXPECT_EQ(ColumnFromLetters("xfd"), 16383u);
    for (const char* wrong : {"XFE", "A1", ""})
        EXPECT_EQ(ColumnFromLetters(wrong), std::nullopt) << wrong;
}

TEST(XlsReader, ReadsSheetsTextsNumbersAndDates) {
    TempDir dir;
    TXlsSheet levels{"Levels", {}};
    levels.Text(0, 0, "Element name").Text(0, 1, "Größe").Text(0, 3, "63Hz");
    levels.Text(1, 0, "Pump").Number(1, 1, 81.3).Number(1, 3, 42);
    levels.Number(2, 1, 45000, TXlsStyle::Date).Number(2, 2, 45000.5, TXlsStyle::DateTime);
    levels.Number(2, 3, 45000, TXlsStyle::DateTime).Number(2, 4, 0.25, TXlsStyle::Time);
    levels.Number(4, 0, 0.1).Number(4, 1, -1e-7);
    TXlsSheet second{"Zweite", {}};
    second.Text(0, 0, "Pump");
    const std::string file = dir.File("levels.XLS");
    WriteXlsWorkbook(file, {levels, second});

    const TWorkbook book = ReadWorkbook(file);
    ASSERT_EQ(book.Sheets.size(), 2u);
    // A date-and-time format on a whole day shows no time of day.
    EXPECT_EQ(book.Sheets[0].Rows, (TRows{{"Element name", "Größe", "", "63Hz"},
                                          {"Pump", "81.3", "", "42"},
                                          {"", "2023-03-15", "2023-03-15 12:00:00", "2023-03-15", "06:00:00"},
                                          {},
                                          {"0.1", "-1e-07"}}));
    EXPECT_EQ(std::tuple(book.Sheets[0].Name, book.Sheets[1].Name, book.Sheets[1].Cell(0, 0)),
              std::tuple("Levels", "Zweite", "Pump"));

    TXlsSheet dates{"Dates", {}};
    dates.Number(0, 0, 43538, TXlsStyle::Date);
    WriteXlsWorkbook(file, {dates}, true);
    EXPECT_EQ(ReadXls(file).Sheets[0].Cell(0, 0), "2023-03-15");
}

TEST(XlsReader, RefusesDamagedFilesAndLimits) {
    TempDir dir;
    TXlsSheet sheet{"Data", {}};
    for (std::uint16_t row = 0; row < 10; ++row)
        sheet.Text(row, 0, "Name " + std::to_string(row)).Number(row, 1, row);
    const std::string good = dir.File("good.xls");
    WriteXlsWorkbook(good, {sheet});
    WriteAll(dir.File("garbage.xls"), std::string(2000, 'x'));
    WriteAll(dir.File("truncated.xls"), ReadAll(good).substr(0, 1024));
    const std::vector<std::tuple<std::string, TWorkbookLimits, std::string>> cases = {
        {"garbage.xls", {}, "garbage.xls"},
        {"truncated.xls", {}, "truncated.xls"},
        {"missing.xls", {}, "cannot be opened"},
        {"good.xls", Limit(&TWorkbookLimits::MaxRows, 9), "more than 9 rows"},
        {"good.xls", Limit(&TWorkbookLimits::MaxCells, 19), "more than 19 cells"},
    };
    for (const auto& [name, limits, expected] : cases)
        EXPECT_THAT(ErrorOf([&] { ReadXls(dir.File(name), limits); }), HasSubstr(expected)) << name;
    EXPECT_EQ(ReadXls(good, Limit(&TWorkbookLimits::MaxCells, 20)).Sheets[0].Cell(9, 0), "Name 9");
}

TEST(TextTable, DetectsTheSeparatorAndReadsQuotesLineBreaksAndEncodings) {
    const std::vector<std::pair<std::string, TRow>> firstRows = {
        {"a\tb;c,d\n", {"a", "b;c,d"}},
        {"a;b;c,d\n", {"a", "b", "c,d"}},
        {"a,b,c;d\n", {"a", "b", "c;d"}},
        {"a;b,c\tx\n", {"a;b,c", "x"}},    // tab wins ties
        {"a;b,c\n", {"a", "b,c"}},         // then semicolon
        {"\"x;y;z\",b\n", {"x;y;z", "b"}}, // quoted ones do not count
        {"single\n", {"single"}},
        {"12\" pipe;b\n", {"12\" pipe", "b"}},         // a quote inside a field is text
        {"Gr\xFC\xDF\x65\tWert\n", {"Grüße", "Wert"}}, // not UTF-8: the ANSI code page
        {"Größe\n", {"Größe"}},
    };
    for (const auto& [text, first] : firstRows)
        EXPECT_EQ(ReadTextTable(text, "t").Sheets[0].Rows[0], first) << text;
    EXPECT_EQ(ReadTextTable("Gr\xFC\xDF\x65\n", "a", 1251).Sheets[0].Cell(0, 0), "GrьЯe");
    EXPECT_TRUE(ReadTextTable("", "empty").Sheets[0].Rows.empty());

    const TWorkbook book = ReadTextTable("\xEF\xBB\xBFName;Comment\r\n"
                                         "\"Pump \"\"A\"\"\";\"two\r\nlines\"\r\n"
                                         "\r\n"
                                         "Fan;\"\";\r"
                                         "Grill;  spaced  ",
                                         "levels");
    ASSERT_EQ(book.Sheets.size(), 1u);
    EXPECT_EQ(book.Sheets[0].Name, "levels");
    // The BOM is no part of the first heading.
    EXPECT_EQ(
        book.Sheets[0].Rows,
        (TRows{{"Name", "Comment"}, {"Pump \"A\"", "two\r\nlines"}, {}, {"Fan"}, {"Grill", "  spaced  "}}));
    EXPECT_EQ(ErrorOf([] { ReadTextTable("a;b\nc;\"open\nstill open\n", "t"); }),
              "The quote opened in line 2 is not closed.");
}

TEST(TextTable, EnforcesLimitsAndNamesTheFile) {
    const TWorkbookLimits twoRows = Limit(&TWorkbookLimits::MaxRows, 2);
    EXPECT_NO_THROW(ReadTextTable("a\nb\n\n\n", "t", 1252, twoRows)); // trailing empty lines hold nothing
    const std::vector<std::pair<std::string, TWorkbookLimits>> tooLarge = {
        {"a\nb\nc\n", twoRows},
        {"a;b;c;d\n", Limit(&TWorkbookLimits::MaxColumns, 3)},
        {"a;b;c\nd;e;f\n", Limit(&TWorkbookLimits::MaxCells, 5)},
    };
    for (const auto& [text, limits] : tooLarge)
        EXPECT_THROW(ReadTextTable(text, "t", 1252, limits), EKorvelError) << text;

    TempDir dir;
    const std::string file = dir.File("Levels.CSV");
    WriteAll(file, "a,b\n1,2\n");
    const TWorkbook book = ReadWorkbook(file);
    EXPECT_EQ(std::tuple(book.Sheets[0].Name, book.Sheets[0].Cell(1, 1)), std::tuple("Levels", "2"));
    EXPECT_THAT(ErrorOf([&] { ReadWorkbook(file, Limit(&TWorkbookLimits::MaxTextTableBytes, 7)); }),
                HasSubstr("more than the 7 a text table may have"));
    WriteAll(file, "\"never closed");
    EXPECT_THAT(ErrorOf([&] { ReadWorkbook(file); }), HasSubstr("Levels.CSV"));
    EXPECT_THROW(ReadWorkbook(dir.File("missing.txt")), EKorvelError);
}

} // namespace
} // namespace korvel::formats
