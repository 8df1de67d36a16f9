// Writes the seed corpus: one folder per fuzz target under the folder given, each with valid files of that
// target's kind, built by the same writers the tests use.

#include "formats/XlsWriter.h"
#include "sound/ElementFilter.h"
#include "support/LegacyFiles.h"
#include "support/LimiFileBuilder.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <zip.h>

using namespace korvel;
namespace fs = std::filesystem;

namespace {

fs::path gRoot;

void Write(const std::string& target, const std::string& name, const void* data, std::size_t size) {
    const fs::path dir = gRoot / target;
    fs::create_directories(dir);
    std::ofstream out(dir / name, std::ios::binary);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!out) {
        throw std::runtime_error("cannot write " + (dir / name).string());
    }
}
void Write(const std::string& target, const std::string& name, const TBlob& blob) {
    Write(target, name, blob.data(), blob.size());
}
void Write(const std::string& target, const std::string& name, const std::string& text) {
    Write(target, name, text.data(), text.size());
}

void DosSeeds() {
    // Texts in code page 850: "M\x81hle" is "Mühle", "Gebl\x84se" is "Gebläse".
    const formats::TDosIndexRecord a{"M\x81hle", 1, {1, 2, 0, 0, 0, 0, 0, 0, 0, 0}};
    const formats::TDosIndexRecord b{"Pumpe 3 kW", -5, {}};
    Write("dos_index", "two", test::Join({test::DosIndexBytes(a), test::DosIndexBytes(b)}));
    Write("dos_index", "one", test::DosIndexBytes(a));

    formats::TDosDataRecord d;
    d.Comment[0] = "Messung vom 3.4.1995";
    d.Comment[9] = "Schallleistung";
    for (int k = 0; k < formats::kDosThirdOctaves; ++k) {
        d.ThirdOctaves[static_cast<std::size_t>(k)] = 60.0f + static_cast<float>(k) * 0.5f;
    }
    d.ThirdOctaves[23] = -99.0f;
    d.KennChar = {'A', 'A', 0, 0};
    formats::TDosDataRecord e = d;
    e.KennChar = {'L', 'm', 0, 0};
    Write("dos_data", "two", test::Join({test::DosDataBytes(d), test::DosDataBytes(e)}));
    Write("dos_data", "one", test::DosDataBytes(d));

    Write("dos_group", "three",
          test::Join({test::DosGroupBytes("Industrie"), test::DosGroupBytes(""),
                      test::DosGroupBytes("Gebl\x84se")}));
}

void RiwisSeeds() {
    std::vector<float> ramp(36);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = -static_cast<float>(i) / 4.0f;
    }
    // "Gebl\x84se" is "Gebläse" in code page 850.
    Write("riwis", "two",
          test::Join({test::RiwisBytes("Gebl\x84se", ramp, 3), test::RiwisBytes("Rund", {})}));
    Write("riwis", "one-and-a-part", test::Join({test::RiwisBytes("Horn", ramp, -1), TBlob(40, 7)}));
}

void LimiSeeds() {
    std::array<float, 24> additions{};
    for (std::size_t h = 0; h < additions.size(); ++h)
        additions[h] = h < 6 || h >= 22 ? 6.0f : 0.0f;
    // "Gebl\x84se" is "Gebläse" in code page 850.
    Write("limi", "ranges",
          test::TLimiFileBuilder()
              .Header()
              .Name("Gebl\x84se  ")
              .Range("Tag", "T", 6, 22)
              .Usage(1, {50, 35, 65}, additions)
              .Range("Nacht", "N", 22, 6, 1)
              .Usage(25, {60, 45, 70})
              .Range("Rest", "R", 8, 8, 24)
              .Bytes());
    Write("limi", "plain",
          test::TLimiFileBuilder()
              .Record('Z', TBlob(9, 1))
              .Name("Wohngebiet")
              .Usage(3, {55, 40, 0})
              .Usage(4, {60, 45, 0}, additions)
              .Bytes());
}

void ClfSeeds() {
    Write("clf", "box.CF1", test::ClfBytes(test::ClfSample(1, 1, 8)));
    Write("clf", "box.CF2", test::ClfBytes(test::ClfSample(2, 1, 28)));
}

void ParadoxSeeds() {
    const fs::path dir = gRoot / "paradox";
    fs::create_directories(dir);
    std::vector<std::vector<test::TPxCell>> rows;
    for (int r = 0; r < 3; ++r) {
        const long day = test::ParadoxDay(1999, 12, 31) + r;
        rows.push_back({"Element " + std::to_string(r) + " M\x81hle", long{r + 1}, long{-r},
                        r == 2 ? test::TPxCell{} : test::TPxCell{60.5 + r}, long{r % 2},
                        r == 2 ? test::TPxCell{} : test::TPxCell{day}, 3600000L * (r + 1),
                        test::ParadoxDay(2003, 7, 14) * 86400000.0 + 1000.0 * r,
                        "memo " + std::to_string(r)});
    }
    test::WriteParadoxTable((dir / "EMIS.DB").string(),
                            {{"ElementName", pxfAlpha, 30},
                             {"Eintrag", pxfLong, 4},
                             {"Gruppe1", pxfShort, 2},
                             {"Level", pxfNumber, 8},
                             {"Aktiv", pxfLogical, 1},
                             {"Datum", pxfDate, 4},
                             {"Uhrzeit", pxfTime, 4},
                             {"Stempel", pxfTimestamp, 8},
                             {"Kommentar", pxfMemoBLOb, 20}},
                            rows, 850);
}

void XlsSeeds() {
    test::TXlsSheet sheet{"Spektren", {}};
    sheet.Text(0, 0, "ElementName").Text(0, 1, "63").Text(0, 2, "125");
    sheet
        .Text(1, 0,
              "L\xC3\xBC"
              "fter")
        .Number(1, 1, 61.5)
        .Number(1, 2, 58.25);
    sheet.Number(2, 0, 36000.5, test::TXlsStyle::DateTime).Number(2, 1, 0.25, test::TXlsStyle::Time);
    test::TXlsSheet other{"Leer", {}};
    Write("xls", "book.xls", test::XlsWorkbookBytes({sheet, other}));
    Write("xls", "book1904.xls", test::XlsWorkbookBytes({sheet}, true));
}

void XlsxSeeds() {
    const fs::path dir = gRoot / "xlsx";
    fs::create_directories(dir);
    const std::string path = (dir / "book.xlsx").string();
    int error = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (zip == nullptr) {
        throw std::runtime_error("cannot create " + path);
    }
    const std::pair<const char*, const char*>
        parts
            [] =
                {
                    {"[Content_Types].xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Default Extension="xml" ContentType="application/xml"/><Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/><Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/></Types>)"},
                    {"_rels/.rels",
                     R"(<?xml version="1.0" encoding="UTF-8"?><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/></Relationships>)"},
                    {"xl/workbook.xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?><workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><workbookPr date1904="0"/><sheets><sheet name="Spektren" sheetId="1" r:id="rId1"/></sheets></workbook>)"},
                    {"xl/_rels/workbook.xml.rels",
                     R"(<?xml version="1.0" encoding="UTF-8"?><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/><Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings" Target="sharedStrings.xml"/><Relationship Id="rId3" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/></Relationships>)"},
                    {"xl/sharedStrings.xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?><sst xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" count="3" uniqueCount="3"><si><t>ElementName</t></si><si><t>L&#252;fter</t></si><si><r><t>rich </t></r><r><t>text</t></r></si></sst>)"},
                    {"xl/styles.xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?><styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><numFmts count="1"><numFmt numFmtId="164" formatCode="yyyy-mm-dd hh:mm"/></numFmts><cellXfs count="3"><xf numFmtId="0"/><xf numFmtId="14" applyNumberFormat="1"/><xf numFmtId="164" applyNumberFormat="1"/></cellXfs></styleSheet>)"},
                    {"xl/worksheets/sheet1.xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?><worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><sheetData><row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="inlineStr"><is><t>63</t></is></c><c r="C1" t="str"><v>125</v></c></row><row r="2"><c r="A2" t="s"><v>1</v></c><c r="B2"><v>61.5</v></c><c r="C2" t="b"><v>1</v></c><c r="D2" s="1"><v>36000</v></c><c r="E2" s="2"><v>36000.75</v></c></row><row r="4"><c r="C4" t="s"><v>2</v></c><c r="AA4" t="e"><v>#DIV/0!</v></c></row></sheetData></worksheet>)"},
                };
    for (const auto& [name, text] : parts) {
        zip_source_t* source = zip_source_buffer(zip, text, std::strlen(text), 0);
        if (source == nullptr || zip_file_add(zip, name, source, ZIP_FL_ENC_UTF_8) < 0) {
            zip_source_free(source);
            throw std::runtime_error("cannot add " + std::string(name));
        }
    }
    if (zip_close(zip) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

void TextSeeds() {
    Write("text", "semicolon.csv",
          std::string("ElementName;63;125\nL\xFC"
                      "fter;61,5;58\n\"quoted; name\";1;2\n"));
    Write("text", "tab.txt", std::string("\xEF\xBB\xBFName\tLevel\r\nPumpe\t70.5\r\n\t\r\n"));
    Write("text", "comma.csv", std::string("a,b,\"c \"\"d\"\"\",e\n1,2,3\n"));
}

void FilterSeeds() {
    sound::TFilterRec rec;
    rec.SetEnabled(true);
    rec.SetGroup(0, "Industrie");
    rec.SetGroup(1, "L\xC3\xBC"
                    "fter");
    rec.SetMin(40.0f);
    rec.SetMax(95.5f);
    rec.UpdateActiveFlags();
    rec.SetOperator(sound::TLogOperator::And);
    rec.SetTextFilter("pumpe");
    Write("fil", "filter.fil", rec.Bytes().data(), rec.Bytes().size());
    sound::TFilterRec empty;
    Write("fil", "empty.fil", empty.Bytes().data(), empty.Bytes().size());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: fuzz_seeds <corpus folder>\n";
        return 2;
    }
    gRoot = argv[1];
    try {
        DosSeeds();
        RiwisSeeds();
        LimiSeeds();
        ClfSeeds();
        ParadoxSeeds();
        XlsSeeds();
        XlsxSeeds();
        TextSeeds();
        FilterSeeds();
    } catch (const std::exception& e) {
        std::cerr << "fuzz_seeds: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
