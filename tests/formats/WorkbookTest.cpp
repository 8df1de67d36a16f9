#include "platform/formats/Workbook.h"

#include "formats/XlsWriter.h"
#include "platform/Errors.h"
#include "support/TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <utility>
#include <vector>
#include <zip.h>

namespace korvel::formats {
namespace {

using TParts = std::vector<std::pair<std::string, std::string>>;

void WriteFile(const std::string& fileName, const std::string& bytes) {
    std::ofstream out(fileName, std::ios::binary);
    out << bytes;
}

std::string ReadFile(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void WriteZip(const std::string& fileName, const TParts& parts) {
    int error = 0;
    zip_t* archive = zip_open(fileName.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    ASSERT_NE(archive, nullptr);
    for (const auto& [name, content] : parts) {
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        ASSERT_NE(source, nullptr);
        ASSERT_GE(zip_file_add(archive, name.c_str(), source, ZIP_FL_OVERWRITE), 0);
    }
    ASSERT_EQ(zip_close(archive), 0);
}

const std::string kXml = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";
const std::string kMain = R"(xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main")";
const std::string kRel = R"(xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships")";

std::string SheetXml(const std::string& rows) {
    return kXml + "<worksheet " + kMain + "><sheetData>" + rows + "</sheetData></worksheet>";
}

// A workbook of two sheets, "Levels" and "Zweite", with shared and rich texts, inline texts, numbers,
// dates and a gap, written the way spreadsheet programs lay out the parts.
TParts SampleParts(const std::string& firstSheet, bool date1904 = false) {
    const std::string rels =
        R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)";
    return {
        {"_rels/.rels",
         kXml + rels +
             R"(<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/></Relationships>)"},
        {"xl/workbook.xml", kXml + "<workbook " + kMain + " " + kRel + ">" +
                                (date1904 ? R"(<workbookPr date1904="1"/>)" : "") +
                                R"(<sheets><sheet name="Levels" sheetId="1" r:id="rId1"/>)"
                                R"(<sheet name="Zweite" sheetId="2" r:id="rId2"/></sheets></workbook>)"},
        {"xl/_rels/workbook.xml.rels",
         kXml + rels +
             R"(<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/>)"
             R"(<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="/xl/worksheets/other.xml"/>)"
             R"(<Relationship Id="rId3" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings" Target="sharedStrings.xml"/>)"
             R"(<Relationship Id="rId4" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/></Relationships>)"},
        {"xl/sharedStrings.xml",
         kXml + "<sst " + kMain + R"( count="3" uniqueCount="3">)" +
             R"(<si><t>Element name</t></si>)"
             R"(<si><r><rPr><b/></rPr><t>Lw</t></r><r><t xml:space="preserve"> 125 Hz</t></r><rPh><t>x</t></rPh></si>)"
             R"(<si><t>two_x000A_lines</t></si></sst>)"},
        {"xl/styles.xml",
         kXml + "<styleSheet " + kMain + ">" +
             R"(<numFmts count="3"><numFmt numFmtId="164" formatCode="dd/mm/yyyy hh:mm"/>)"
             R"(<numFmt numFmtId="165" formatCode="0.0&quot; dB&quot;"/>)"
             R"(<numFmt numFmtId="166" formatCode="[h]:mm:ss"/></numFmts>)"
             R"(<cellXfs count="6"><xf numFmtId="0"/><xf numFmtId="14"/><xf numFmtId="164"/>)"
             R"(<xf numFmtId="21"/><xf numFmtId="165"/><xf numFmtId="166"/></cellXfs></styleSheet>)"},
        {"xl/worksheets/sheet1.xml", firstSheet},
        {"xl/worksheets/other.xml",
         SheetXml(R"(<row r="1"><c r="A1" t="inlineStr"><is><t>Only</t></is></c></row>)")},
    };
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
    test::TempDir dir;
    const std::string file = dir.File("levels.xlsx");
    WriteZip(file, SampleParts(kFirstSheet));
    const TWorkbook book = ReadWorkbook(file);

    ASSERT_EQ(book.Sheets.size(), 2u);
    const TSheet& sheet = book.Sheets[0];
    EXPECT_EQ(sheet.Name, "Levels");
    EXPECT_EQ(sheet.Cell(0, 0), "Element name");
    EXPECT_EQ(sheet.Cell(0, 1), "Lw 125 Hz"); // rich runs joined, phonetic hint left out
    EXPECT_EQ(sheet.Cell(0, 2), "Comment");
    EXPECT_EQ(sheet.Cell(1, 0), "Pump");
    EXPECT_EQ(sheet.Cell(1, 1), "81.3");
    EXPECT_EQ(sheet.Cell(1, 2), "two\nlines");
    EXPECT_EQ(sheet.Cell(1, 3), "Pump"); // cells without a reference follow the previous one
    EXPECT_EQ(sheet.Cell(1, 4), "TRUE");
    EXPECT_TRUE(sheet.Rows[2].empty()); // row 3 is missing in the file
    EXPECT_EQ(sheet.Cell(3, 0), "");
    EXPECT_EQ(sheet.Cell(3, 1), "2023-03-15");
    EXPECT_EQ(sheet.Cell(3, 2), "2023-03-15 12:00:00");
    EXPECT_EQ(sheet.Cell(3, 3), "06:00:00");
    EXPECT_EQ(sheet.Cell(3, 4), "1.5"); // a quoted "d" in the format is no date
    EXPECT_EQ(sheet.Cell(3, 5), "1900-01-01 18:00:00");
    EXPECT_EQ(sheet.Cell(3, 6), "#DIV/0!");
    EXPECT_EQ(sheet.Cell(3, 7), "0.001");
    EXPECT_EQ(sheet.ColumnCount(), 8u);
    EXPECT_EQ(sheet.Cell(99, 99), "");
    EXPECT_EQ(book.Sheets[1].Name, "Zweite");
    EXPECT_EQ(book.Sheets[1].Cell(0, 0), "Only");

    const TWorkbook book1904 = ReadXlsxBytes(ReadFile([&] {
        WriteZip(file, SampleParts(kFirstSheet, true));
        return file;
    }()));
    EXPECT_EQ(book1904.Sheets[0].Cell(3, 1), "2027-03-16");
}

TEST(XlsxReader, RefusesDamagedPartsWithAMessage) {
    const auto message = [](const TParts& parts) {
        test::TempDir dir;
        const std::string file = dir.File("bad.xlsx");
        WriteZip(file, parts);
        try {
            ReadXlsx(file);
        } catch (const EKorvelError& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    auto parts = SampleParts(SheetXml(R"(<row r="1"><c r="A1" t="s"><v>7</v></c></row>)"));
    EXPECT_NE(message(parts).find("shared text that does not exist"), std::string::npos) << message(parts);
    parts = SampleParts(SheetXml(R"(<row r="1"><c r="1A"><v>1</v></c></row>)"));
    EXPECT_NE(message(parts).find("\"1A\" is invalid"), std::string::npos) << message(parts);
    parts = SampleParts("<worksheet><sheetData><row>");
    EXPECT_NE(message(parts).find("no well-formed XML"), std::string::npos) << message(parts);
    parts = SampleParts(kFirstSheet);
    parts.erase(parts.begin() + 5); // the first sheet's part
    EXPECT_NE(message(parts).find("is missing"), std::string::npos) << message(parts);
    parts = SampleParts(kFirstSheet);
    parts.erase(parts.begin(), parts.begin() + 2); // no package relations, no workbook part
    const std::string noWorkbook = message(parts);
    EXPECT_NE(noWorkbook.find("bad.xlsx"), std::string::npos) << noWorkbook;
    EXPECT_NE(noWorkbook.find("no part \"xl/workbook.xml\""), std::string::npos) << noWorkbook;

    EXPECT_THROW(ReadXlsxBytes("PK\x03\x04 not really a zip"), EKorvelError);
    EXPECT_THROW(ReadXlsx("/nonexistent/folder/book.xlsx"), EKorvelError);
}

TEST(XlsxReader, EnforcesTheLimits) {
    test::TempDir dir;
    const std::string file = dir.File("big.xlsx");
    const auto refusal = [&](const TParts& parts, const TWorkbookLimits& limits) {
        WriteZip(file, parts);
        try {
            ReadXlsxBytes(ReadFile(file), limits);
        } catch (const EKorvelError& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    TWorkbookLimits limits;
    limits.MaxRows = 3;
    EXPECT_EQ(refusal(SampleParts(kFirstSheet), limits), "The sheet \"Levels\" has more than 3 rows.");
    limits = {};
    limits.MaxColumns = 5;
    EXPECT_EQ(refusal(SampleParts(kFirstSheet), limits), "The sheet \"Levels\" has more than 5 columns.");
    limits = {};
    limits.MaxCells = 10;
    EXPECT_EQ(refusal(SampleParts(kFirstSheet), limits), "The workbook has more than 10 cells.");
    limits = {};
    EXPECT_EQ(refusal(SampleParts(SheetXml(R"(<row r="1"><c r="XFE1"><v>1</v></c></row>)")), limits),
              "The sheet \"Levels\" has more than 16384 columns.");

    // A small archive that unpacks to far more than it is worth.
    const std::string rows =
        R"(<row r="1"><c r="A1" t="inlineStr"><is><t>)" + std::string(500000, 'x') + "</t></is></c></row>";
    const TParts bomb = SampleParts(SheetXml(rows));
    limits.MaxPartBytes = 20000;
    EXPECT_EQ(refusal(bomb, limits),
              "The part \"xl/worksheets/sheet1.xml\" is larger than 20000 bytes when unpacked.");
    EXPECT_LT(ReadFile(file).size(), 20000u);

    // The same archive claiming a small size for the part: reading stops all the same.
    std::string bytes = ReadFile(file);
    const std::string name = "xl/worksheets/sheet1.xml";
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
    try {
        ReadXlsxBytes(bytes, limits);
        ADD_FAILURE() << "the part was read";
    } catch (const EKorvelError& e) {
        EXPECT_STREQ(e.what(),
                     "The part \"xl/worksheets/sheet1.xml\" is larger than 20000 bytes when unpacked.");
    }
}

TEST(SerialDates, FollowTheSpreadsheetCalendar) {
    using detail::SerialDateText;
    EXPECT_EQ(SerialDateText(1, false, false), "1900-01-01");
    EXPECT_EQ(SerialDateText(59, false, false), "1900-02-28");
    EXPECT_EQ(SerialDateText(60, false, false), "1900-02-29"); // the day that never was
    EXPECT_EQ(SerialDateText(61, false, false), "1900-03-01");
    EXPECT_EQ(SerialDateText(45000, false, false), "2023-03-15");
    EXPECT_EQ(SerialDateText(2958465, false, false), "9999-12-31");
    EXPECT_EQ(SerialDateText(0, true, false), "1904-01-01");
    EXPECT_EQ(SerialDateText(43538, true, false), "2023-03-15");
    EXPECT_EQ(SerialDateText(45000.999999999, false, false), "2023-03-16"); // rounds to the next midnight
    EXPECT_EQ(SerialDateText(0.5, false, true), "12:00:00");
    EXPECT_EQ(SerialDateText(1.5, false, true), "1900-01-01 12:00:00");
    EXPECT_EQ(SerialDateText(-1, false, false), std::nullopt);
    EXPECT_EQ(SerialDateText(0, false, false), std::nullopt);
    EXPECT_EQ(SerialDateText(2958466, false, false), std::nullopt);

    EXPECT_EQ(detail::NumberText(0.1), "0.1");
    EXPECT_EQ(detail::NumberText(-0.0), "0");
    EXPECT_EQ(detail::NumberText(1e21), "1e+21");
    EXPECT_EQ(detail::NumberText(123456789.125), "123456789.125");
}

TEST(ColumnLetters, RoundTripOverTheSheetWidth) {
    EXPECT_EQ(ColumnLetters(0), "A");
    EXPECT_EQ(ColumnLetters(25), "Z");
    EXPECT_EQ(ColumnLetters(26), "AA");
    EXPECT_EQ(ColumnLetters(51), "AZ");
    EXPECT_EQ(ColumnLetters(16383), "XFD");
    for (std::size_t col : {0u, 25u, 26u, 701u, 702u, 16383u})
        EXPECT_EQ(ColumnFromLetters(ColumnLetters(col)), col);
    EXPECT_EQ(ColumnFromLetters("xfd"), 16383u);
    EXPECT_EQ(ColumnFromLetters("XFE"), std::nullopt);
    EXPECT_EQ(ColumnFromLetters("A1"), std::nullopt);
    EXPECT_EQ(ColumnFromLetters(""), std::nullopt);
}

TEST(XlsReader, ReadsSheetsTextsNumbersAndDates) {
    test::TempDir dir;
    test::TXlsSheet levels{"Levels", {}};
    levels.Text(0, 0, "Element name").Text(0, 1, "Größe").Text(0, 3, "63Hz");
    levels.Text(1, 0, "Pump").Number(1, 1, 81.3).Number(1, 3, 42);
    levels.Number(2, 1, 45000, test::TXlsStyle::Date).Number(2, 2, 45000.5, test::TXlsStyle::DateTime);
    levels.Number(2, 3, 45000, test::TXlsStyle::DateTime).Number(2, 4, 0.25, test::TXlsStyle::Time);
    levels.Number(4, 0, 0.1).Number(4, 1, -1e-7);
    test::TXlsSheet second{"Zweite", {}};
    second.Text(0, 0, "Pump");
    const std::string file = dir.File("levels.XLS");
    test::WriteXlsWorkbook(file, {levels, second});

    const TWorkbook book = ReadWorkbook(file);
    ASSERT_EQ(book.Sheets.size(), 2u);
    const TSheet& sheet = book.Sheets[0];
    EXPECT_EQ(sheet.Name, "Levels");
    EXPECT_EQ(sheet.Cell(0, 1), "Größe");
    EXPECT_EQ(sheet.Cell(0, 2), "");
    EXPECT_EQ(sheet.Cell(0, 3), "63Hz");
    EXPECT_EQ(sheet.Cell(1, 1), "81.3");
    EXPECT_EQ(sheet.Cell(1, 3), "42");
    EXPECT_EQ(sheet.Cell(2, 1), "2023-03-15");
    EXPECT_EQ(sheet.Cell(2, 2), "2023-03-15 12:00:00");
    EXPECT_EQ(sheet.Cell(2, 3), "2023-03-15"); // no time of day, none shown
    EXPECT_EQ(sheet.Cell(2, 4), "06:00:00");
    EXPECT_TRUE(sheet.Rows[3].empty());
    EXPECT_EQ(sheet.Cell(4, 0), "0.1");
    EXPECT_EQ(sheet.Cell(4, 1), "-1e-07");
    EXPECT_EQ(sheet.Rows.size(), 5u);
    EXPECT_EQ(book.Sheets[1].Name, "Zweite");
    EXPECT_EQ(book.Sheets[1].Cell(0, 0), "Pump");

    test::TXlsSheet dates{"Dates", {}};
    dates.Number(0, 0, 43538, test::TXlsStyle::Date);
    test::WriteXlsWorkbook(file, {dates}, true);
    EXPECT_EQ(ReadXls(file).Sheets[0].Cell(0, 0), "2023-03-15");
}

TEST(XlsReader, RefusesDamagedFilesAndLimits) {
    test::TempDir dir;
    const auto refusal = [](const std::string& file, const TWorkbookLimits& limits = {}) {
        try {
            ReadXls(file, limits);
        } catch (const EKorvelError& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    const std::string garbage = dir.File("garbage.xls");
    WriteFile(garbage, std::string(2000, 'x'));
    EXPECT_NE(refusal(garbage).find("garbage.xls"), std::string::npos) << refusal(garbage);

    test::TXlsSheet sheet{"Data", {}};
    for (std::uint16_t row = 0; row < 10; ++row)
        sheet.Text(row, 0, "Name " + std::to_string(row)).Number(row, 1, row);
    const std::string good = dir.File("good.xls");
    test::WriteXlsWorkbook(good, {sheet});
    const std::string bytes = ReadFile(good);
    const std::string truncated = dir.File("truncated.xls");
    WriteFile(truncated, bytes.substr(0, 1024));
    EXPECT_NE(refusal(truncated).find("truncated.xls"), std::string::npos);

    TWorkbookLimits limits;
    limits.MaxRows = 9;
    EXPECT_NE(refusal(good, limits).find("more than 9 rows"), std::string::npos) << refusal(good, limits);
    limits = {};
    limits.MaxCells = 19;
    EXPECT_NE(refusal(good, limits).find("more than 19 cells"), std::string::npos) << refusal(good, limits);
    limits.MaxCells = 20;
    EXPECT_EQ(ReadXls(good, limits).Sheets[0].Cell(9, 0), "Name 9");
    EXPECT_NE(refusal(dir.File("missing.xls")).find("cannot be opened"), std::string::npos);
}

TEST(TextTable, DetectsTheSeparatorInTheFirstLine) {
    const auto first = [](const std::string& text) {
        return ReadTextTable(text, "t").Sheets[0].Rows[0];
    };
    EXPECT_EQ(first("a\tb;c,d\n"), (std::vector<std::string>{"a", "b;c,d"}));
    EXPECT_EQ(first("a;b;c,d\n"), (std::vector<std::string>{"a", "b", "c,d"}));
    EXPECT_EQ(first("a,b,c;d\n"), (std::vector<std::string>{"a", "b", "c;d"}));
    EXPECT_EQ(first("a;b,c\tx\n"), (std::vector<std::string>{"a;b,c", "x"}));    // tab wins ties
    EXPECT_EQ(first("a;b,c\n"), (std::vector<std::string>{"a", "b,c"}));         // then semicolon
    EXPECT_EQ(first("\"x;y;z\",b\n"), (std::vector<std::string>{"x;y;z", "b"})); // quoted ones do not count
    EXPECT_EQ(first("single\n"), (std::vector<std::string>{"single"}));
    EXPECT_EQ(first("12\" pipe;b\n"),
              (std::vector<std::string>{"12\" pipe", "b"})); // a quote inside a field is text
}

TEST(TextTable, ReadsQuotesLineBreaksAndEncodings) {
    const TWorkbook book = ReadTextTable("\xEF\xBB\xBFName;Comment\r\n"
                                         "\"Pump \"\"A\"\"\";\"two\r\nlines\"\r\n"
                                         "\r\n"
                                         "Fan;\"\";\r"
                                         "Grill;  spaced  ",
                                         "levels");
    ASSERT_EQ(book.Sheets.size(), 1u);
    const TSheet& sheet = book.Sheets[0];
    EXPECT_EQ(sheet.Name, "levels");
    ASSERT_EQ(sheet.Rows.size(), 5u);
    EXPECT_EQ(sheet.Cell(0, 0), "Name"); // the BOM is no part of the first heading
    EXPECT_EQ(sheet.Cell(1, 0), "Pump \"A\"");
    EXPECT_EQ(sheet.Cell(1, 1), "two\r\nlines");
    EXPECT_TRUE(sheet.Rows[2].empty());
    EXPECT_EQ(sheet.Rows[3], (std::vector<std::string>{"Fan"}));
    EXPECT_EQ(sheet.Cell(4, 1), "  spaced  ");

    // Not UTF-8: the ANSI code page.
    const TSheet ansi = ReadTextTable("Gr\xFC\xDF"
                                      "e\tWert\n",
                                      "a")
                            .Sheets[0];
    EXPECT_EQ(ansi.Cell(0, 0), "Grüße");
    EXPECT_EQ(ReadTextTable("Gr\xFC\xDF"
                            "e\n",
                            "a", 1251)
                  .Sheets[0]
                  .Cell(0, 0),
              "GrьЯe");
    EXPECT_EQ(ReadTextTable("Größe\n", "u").Sheets[0].Cell(0, 0), "Größe");
    EXPECT_TRUE(ReadTextTable("", "empty").Sheets[0].Rows.empty());

    try {
        ReadTextTable("a;b\nc;\"open\nstill open\n", "t");
        FAIL() << "an open quote was accepted";
    } catch (const EKorvelError& e) {
        EXPECT_STREQ(e.what(), "The quote opened in line 2 is not closed.");
    }
}

TEST(TextTable, EnforcesLimitsAndNamesTheFile) {
    TWorkbookLimits limits;
    limits.MaxRows = 2;
    EXPECT_NO_THROW(ReadTextTable("a\nb\n\n\n", "t", 1252, limits)); // trailing empty lines hold nothing
    EXPECT_THROW(ReadTextTable("a\nb\nc\n", "t", 1252, limits), EKorvelError);
    limits = {};
    limits.MaxColumns = 3;
    EXPECT_THROW(ReadTextTable("a;b;c;d\n", "t", 1252, limits), EKorvelError);
    limits = {};
    limits.MaxCells = 5;
    EXPECT_THROW(ReadTextTable("a;b;c\nd;e;f\n", "t", 1252, limits), EKorvelError);

    test::TempDir dir;
    const std::string file = dir.File("Levels.CSV");
    WriteFile(file, "a,b\n1,2\n");
    const TWorkbook book = ReadWorkbook(file);
    EXPECT_EQ(book.Sheets[0].Name, "Levels");
    EXPECT_EQ(book.Sheets[0].Cell(1, 1), "2");
    WriteFile(file, "\"never closed");
    try {
        ReadWorkbook(file);
        FAIL() << "no error";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("Levels.CSV"), std::string::npos) << e.what();
    }
    EXPECT_THROW(ReadWorkbook(dir.File("missing.txt")), EKorvelError);
}

} // namespace
} // namespace korvel::formats
