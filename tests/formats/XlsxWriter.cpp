#include "formats/XlsxWriter.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <zip.h>

namespace korvel::test {

namespace {

const std::string kRels =
    R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)";
const std::string kRelType = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";

std::string Relation(const std::string& id, const std::string& type, const std::string& target) {
    return R"(<Relationship Id=")" + id + R"(" Type=")" + kRelType + type + R"(" Target=")" + target +
           R"("/>)";
}

void Check(bool ok, zip_t* archive, const std::string& what) {
    if (!ok)
        throw std::runtime_error(what + ": " + (archive != nullptr ? zip_strerror(archive) : "no archive"));
}

// Feeds the generated part to libzip piece by piece.
struct TStreamState {
    explicit TStreamState(const TRowStream& stream) : Stream(stream) {}
    const TRowStream& Stream;
    std::size_t Next = 0;
    std::string Generated;
    std::string_view Piece;
    std::size_t Offset = 0;
    std::uint64_t Bytes = 0;
};

zip_int64_t StreamCallback(void* state, void* data, zip_uint64_t len, zip_source_cmd_t cmd) {
    auto& s = *static_cast<TStreamState*>(state);
    switch (cmd) {
    case ZIP_SOURCE_OPEN:
        s.Next = 0;
        s.Piece = s.Stream.Head;
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
                const std::size_t row = s.Next++;
                if (row < s.Stream.Rows && s.Stream.Row) {
                    s.Generated = s.Stream.Row(row);
                    s.Piece = s.Generated;
                } else {
                    s.Piece = row < s.Stream.Rows    ? std::string_view(s.Stream.Same)
                              : row == s.Stream.Rows ? std::string_view(s.Stream.Tail)
                                                     : std::string_view();
                }
            }
        }
        s.Bytes += done;
        return static_cast<zip_int64_t>(done);
    }
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
        return 0;
    case ZIP_SOURCE_STAT:
        zip_stat_init(static_cast<zip_stat_t*>(data));
        return sizeof(zip_stat_t);
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(nullptr, data, len);
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        return -1;
    }
}

zip_t* Create(const std::string& fileName, const TXlsxParts& parts) {
    int error = 0;
    zip_t* archive = zip_open(fileName.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    Check(archive != nullptr, nullptr, "cannot create " + fileName);
    for (const auto& [name, content] : parts) {
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        Check(source != nullptr && zip_file_add(archive, name.c_str(), source, ZIP_FL_OVERWRITE) >= 0,
              archive, name);
    }
    return archive;
}

} // namespace

std::string SheetXml(const std::string& rows) {
    return kXmlDecl + "<worksheet " + kSheetNs + "><sheetData>" + rows + "</sheetData></worksheet>";
}

TXlsxParts XlsxParts(const std::string& firstSheet, bool date1904) {
    return {
        {"_rels/.rels",
         kXmlDecl + kRels + Relation("rId1", "officeDocument", "xl/workbook.xml") + "</Relationships>"},
        {"xl/workbook.xml",
         kXmlDecl + "<workbook " + kSheetNs +
             R"( xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships">)" +
             (date1904 ? R"(<workbookPr date1904="1"/>)" : "") +
             R"(<sheets><sheet name="Levels" sheetId="1" r:id="rId1"/>)"
             R"(<sheet name="Zweite" sheetId="2" r:id="rId2"/></sheets></workbook>)"},
        {"xl/_rels/workbook.xml.rels", kXmlDecl + kRels +
                                           Relation("rId1", "worksheet", "worksheets/sheet1.xml") +
                                           Relation("rId2", "worksheet", "/xl/worksheets/other.xml") +
                                           Relation("rId3", "sharedStrings", "sharedStrings.xml") +
                                           Relation("rId4", "styles", "styles.xml") + "</Relationships>"},
        {"xl/sharedStrings.xml",
         kXmlDecl + "<sst " + kSheetNs + R"( count="3" uniqueCount="3">)" +
             R"(<si><t>Element name</t></si>)"
             R"(<si><r><rPr><b/></rPr><t>Lw</t></r><r><t xml:space="preserve"> 125 Hz</t></r><rPh><t>x</t></rPh></si>)"
             R"(<si><t>two_x000A_lines</t></si></sst>)"},
        {"xl/styles.xml",
         kXmlDecl + "<styleSheet " + kSheetNs + ">" +
             R"(<numFmts count="3"><numFmt numFmtId="164" formatCode="dd/mm/yyyy hh:mm"/>)"
             R"(<numFmt numFmtId="165" formatCode="0.0&quot; dB&quot;"/>)"
             R"(<numFmt numFmtId="166" formatCode="[h]:mm:ss"/></numFmts>)"
             R"(<cellXfs count="6"><xf numFmtId="0"/><xf numFmtId="14"/><xf numFmtId="164"/>)"
             R"(<xf numFmtId="21"/><xf numFmtId="165"/><xf numFmtId="166"/></cellXfs></styleSheet>)"},
        {kFirstSheetPart, firstSheet},
        {"xl/worksheets/other.xml",
         SheetXml(R"(<row r="1"><c r="A1" t="inlineStr"><is><t>Only</t></is></c></row>)")},
    };
}

void WriteZip(const std::string& fileName, const TXlsxParts& parts) {
    zip_t* archive = Create(fileName, parts);
    Check(zip_close(archive) == 0, archive, "cannot write " + fileName);
}

std::uint64_t WriteXlsx(const std::string& fileName, const TRowStream& firstSheet) {
    TXlsxParts parts = XlsxParts("");
    std::erase_if(parts, [](const auto& part) { return part.first == kFirstSheetPart; });
    zip_t* archive = Create(fileName, parts);
    TStreamState state(firstSheet);
    zip_source_t* source = zip_source_function(archive, &StreamCallback, &state);
    const zip_int64_t index = zip_file_add(archive, kFirstSheetPart, source, 0);
    Check(index >= 0, archive, kFirstSheetPart);
    // The fastest level: a generated sheet can be a gigabyte of repeated text.
    zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_DEFLATE, 1);
    Check(zip_close(archive) == 0, archive, "cannot write " + fileName);
    return state.Bytes;
}

} // namespace korvel::test
