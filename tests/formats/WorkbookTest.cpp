#include "platform/formats/Workbook.h"

#include "formats/XlsWriter.h"
#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <zip.h>

namespace korvel::formats {
namespace {

using TParts = std::vector<std::pair<std::string, std::string>>;
using test::ReadAll;
using test::WriteAll;

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

    const TWorkbook book1904 = ReadXlsxBytes(ReadAll([&] {
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
    // Damage inside a row, around the rows, or a part that ends early.
    for (const std::string sheet :
         {"<worksheet><sheetData><row>",
          "<worksheet><sheetData><row><c><v>1</x></c></row></sheetData></worksheet>",
          "<worksheet><sheetData><row/></worksheet>", "<worksheet a=\"1><sheetData/></worksheet>"}) {
        parts = SampleParts(sheet);
        EXPECT_NE(message(parts).find("\"xl/worksheets/sheet1.xml\" is no well-formed XML"),
                  std::string::npos)
            << sheet << ": " << message(parts);
    }
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
            ReadXlsxBytes(ReadAll(file), limits);
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
    limits.MaxCellBytes = 11;
    EXPECT_EQ(refusal(SampleParts(kFirstSheet), limits),
              "The cell A1 of the sheet \"Levels\" holds more than 11 bytes.");
    limits = {};
    limits.MaxCells = 2; // the three shared texts count as cells
    EXPECT_EQ(refusal(SampleParts(SheetXml("")), limits), "The workbook has more than 2 shared texts.");
    limits = {};
    limits.MaxSharedStringsBytes = 100;
    EXPECT_EQ(refusal(SampleParts(kFirstSheet), limits),
              "The part \"xl/sharedStrings.xml\" is larger than 100 bytes when unpacked.");
    limits = {};
    limits.MaxPartBytes = 4000; // one row is parsed whole, so it is bound like a whole part
    const std::string longRow =
        R"(<row><c t="inlineStr"><is><t>)" + std::string(5000, 'x') + "</t></is></c></row>";
    EXPECT_EQ(refusal(SampleParts(SheetXml(longRow)), limits),
              "An element of the part \"xl/worksheets/sheet1.xml\" is larger than 4000 bytes.");
    limits = {};

    // A small archive that unpacks to far more than it is worth.
    const std::string rows =
        R"(<row r="1"><c r="A1" t="inlineStr"><is><t>)" + std::string(500000, 'x') + "</t></is></c></row>";
    const TParts bomb = SampleParts(SheetXml(rows));
    limits.MaxSheetPartBytes = 20000;
    EXPECT_EQ(refusal(bomb, limits),
              "The part \"xl/worksheets/sheet1.xml\" is larger than 20000 bytes when unpacked.");
    EXPECT_LT(ReadAll(file).size(), 20000u);

    // The same archive claiming a small size for the part: reading stops all the same.
    std::string bytes = ReadAll(file);
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

// A sheet part produced row by row while the archive is written, so that big sheets never sit in memory.
struct TRowSource {
    std::string Head, Tail;
    std::function<std::string(std::size_t)> Row;
    std::size_t Rows = 0;
    std::size_t Next = 0;
    std::string Piece;
    std::size_t Offset = 0;
    std::uint64_t Bytes = 0;
};

zip_int64_t RowCallback(void* state, void* data, zip_uint64_t len, zip_source_cmd_t cmd) {
    auto& s = *static_cast<TRowSource*>(state);
    switch (cmd) {
    case ZIP_SOURCE_OPEN:
        s.Next = 0;
        s.Piece = s.Head;
        s.Offset = 0;
        s.Bytes = 0;
        return 0;
    case ZIP_SOURCE_READ: {
        zip_uint64_t done = 0;
        while (done < len && !s.Piece.empty()) {
            const std::size_t n = std::min<std::size_t>(s.Piece.size() - s.Offset, len - done);
            std::memcpy(static_cast<char*>(data) + done, s.Piece.data() + s.Offset, n);
            done += n;
            s.Offset += n;
            if (s.Offset == s.Piece.size()) {
                s.Offset = 0;
                s.Piece = s.Next < s.Rows ? s.Row(s.Next++) : s.Next++ == s.Rows ? s.Tail : std::string();
            }
        }
        s.Bytes += done;
        return static_cast<zip_int64_t>(done);
    }
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
        return 0;
    case ZIP_SOURCE_STAT: {
        auto* st = static_cast<zip_stat_t*>(data);
        zip_stat_init(st);
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(nullptr, data, len);
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        return -1;
    }
}

// The sample workbook with its first sheet generated; returns the unpacked size of that sheet.
std::uint64_t WriteGeneratedZip(const std::string& fileName, TRowSource& sheet) {
    TParts parts = SampleParts("");
    parts.erase(parts.begin() + 5);
    WriteZip(fileName, parts);
    int error = 0;
    zip_t* archive = zip_open(fileName.c_str(), 0, &error);
    EXPECT_NE(archive, nullptr);
    zip_source_t* source = zip_source_function(archive, &RowCallback, &sheet);
    const zip_int64_t index = zip_file_add(archive, "xl/worksheets/sheet1.xml", source, 0);
    EXPECT_GE(index, 0);
    zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_DEFLATE, 1);
    EXPECT_EQ(zip_close(archive), 0);
    return sheet.Bytes;
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
    for (const std::string prefix : {"", "x:"}) {
        SCOPED_TRACE(prefix);
        TRowSource sheet;
        sheet.Head =
            kXml + "<" + prefix + "worksheet " +
            (prefix.empty() ? kMain
                            : R"(xmlns:x="http://schemas.openxmlformats.org/spreadsheetml/2006/main")") +
            "><" + prefix + "dimension ref=\"A1:D3000\"/><" + prefix + "sheetData>" +
            std::string(600'000, ' ');
        sheet.Tail =
            "</" + prefix + "sheetData><" + prefix + "pageMargins left=\"0.7\"/></" + prefix + "worksheet>";
        sheet.Rows = 3000;
        sheet.Row = [&](std::size_t row) {
            const std::string number = row % 5 == 1 ? "" : " r=\"" + std::to_string(row + 1) + "\"";
            if (row % 7 == 3)
                return "<" + prefix + "row" + number + " spans=\"1:4\"/>\n";
            std::string xml = "<" + prefix + "row" + number + " note=\"a > b '" +
                              std::string(row % 1999, 'q') + "\"><!-- </" + prefix + "row> --><" + prefix +
                              "c t=\"inlineStr\"><" + prefix + "is><" + prefix + "t><![CDATA[" +
                              expected(row, 0) + "]]></" + prefix + "t></" + prefix + "is></" + prefix + "c>";
            for (std::size_t col = 1; col < 4; ++col)
                xml += "<" + prefix + "c><" + prefix + "v>" + expected(row, col) + "</" + prefix + "v></" +
                       prefix + "c>";
            return xml + "</" + prefix + "row>\r\n";
        };
        test::TempDir dir;
        const std::string file = dir.File("rows.xlsx");
        ASSERT_GT(WriteGeneratedZip(file, sheet), 2u << 20); // several unpacking and parsing batches
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
    // hold it, let alone a tree of it. Measured in a child so that nothing else in this process counts.
    TRowSource sheet;
    sheet.Head = kXml + "<worksheet " + kMain + "><sheetData>";
    sheet.Tail = "</sheetData></worksheet>";
    sheet.Rows = 200'000;
    sheet.Row = [](std::size_t row) {
        const std::string n = std::to_string(row + 1);
        std::string xml = "<row r=\"" + n + "\" spans=\"1:40\"><c r=\"A" + n +
                          "\" t=\"inlineStr\"><is><t>Fan " + n + "</t></is></c>";
        for (std::size_t col = 1; col < 40; ++col)
            xml += "<c r=\"" + ColumnLetters(col) + n + "\" s=\"4\"><v>" + std::to_string(col % 9) +
                   ".5</v></c>";
        return xml + "</row>";
    };
    test::TempDir dir;
    const std::string file = dir.File("big.xlsx");
    const std::uint64_t partBytes = WriteGeneratedZip(file, sheet);

    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        close(pipeFds[0]);
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        long result[3] = {-1, 0, 0};
        try {
            const TWorkbook book = ReadXlsx(file);
            const TSheet& read = book.Sheets[0];
            rusage after{};
            getrusage(RUSAGE_SELF, &after);
            result[0] = after.ru_maxrss - before.ru_maxrss;
            result[1] = read.Cell(199'999, 0) == "Fan 200000" && read.Cell(123, 39) == "3.5" &&
                        read.Rows.size() == 200'000 && read.ColumnCount() == 40;
            // What the cells themselves take: every slot a string, every row a vector.
            result[2] = static_cast<long>(
                (read.Rows.size() * (sizeof(std::vector<std::string>) + 40 * sizeof(std::string))) / 1024);
        } catch (const std::exception&) {
        }
        [[maybe_unused]] const auto written = write(pipeFds[1], result, sizeof result);
        _exit(0);
    }
    close(pipeFds[1]);
    long result[3] = {-1, 0, 0};
    const auto got = read(pipeFds[0], result, sizeof result);
    close(pipeFds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_EQ(got, static_cast<ssize_t>(sizeof result));
    ASSERT_GE(result[0], 0) << "the sheet was not read";
    EXPECT_EQ(result[1], 1) << "cells read wrong";
    const long partKiB = static_cast<long>(partBytes / 1024);
    std::cout << "[ measured ] part " << partKiB / 1024 << " MB, cells " << result[2] / 1024
              << " MB, peak growth " << result[0] / 1024 << " MB\n";
#if !defined(__SANITIZE_ADDRESS__) // its quarantine keeps freed batches alive
    EXPECT_LT(result[0], result[2] + 48 * 1024) << "more than the cells and a few batches";
#endif
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
    WriteAll(garbage, std::string(2000, 'x'));
    EXPECT_NE(refusal(garbage).find("garbage.xls"), std::string::npos) << refusal(garbage);

    test::TXlsSheet sheet{"Data", {}};
    for (std::uint16_t row = 0; row < 10; ++row)
        sheet.Text(row, 0, "Name " + std::to_string(row)).Number(row, 1, row);
    const std::string good = dir.File("good.xls");
    test::WriteXlsWorkbook(good, {sheet});
    const std::string bytes = ReadAll(good);
    const std::string truncated = dir.File("truncated.xls");
    WriteAll(truncated, bytes.substr(0, 1024));
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
    WriteAll(file, "a,b\n1,2\n");
    const TWorkbook book = ReadWorkbook(file);
    EXPECT_EQ(book.Sheets[0].Name, "Levels");
    EXPECT_EQ(book.Sheets[0].Cell(1, 1), "2");
    WriteAll(file, "\"never closed");
    try {
        ReadWorkbook(file);
        FAIL() << "no error";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("Levels.CSV"), std::string::npos) << e.what();
    }
    EXPECT_THROW(ReadWorkbook(dir.File("missing.txt")), EKorvelError);
    limits = {};
    limits.MaxTextTableBytes = 7;
    WriteAll(file, "a,b\n1,2\n");
    try {
        ReadWorkbook(file, limits);
        FAIL() << "no error";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("more than the 7 a text table may have"), std::string::npos)
            << e.what();
    }
}

} // namespace
} // namespace korvel::formats
