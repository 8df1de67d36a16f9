#include "platform/formats/ParadoxTable.h"

#include "platform/Errors.h"
#include "support/TempDir.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

// pxlib's header declares C functions without C linkage.
extern "C" {
#include <paradox.h>
}

namespace korvel::formats {
namespace {

// One cell to write: null, a number (integers, dates, times, logicals), a double or bytes.
struct TCell {
    bool Null = false;
    long L = 0;
    double D = 0;
    std::string S;
};
TCell L(long v) {
    return {false, v, 0, {}};
}
TCell D(double v) {
    return {false, 0, v, {}};
}
TCell S(std::string v) {
    return {false, 0, 0, std::move(v)};
}
const TCell kNull{true, 0, 0, {}};

struct TFieldSpec {
    const char* Name;
    char Type;
    int Len;
};

// Writes a table with pxlib's own writer.
void CreateTable(const std::string& path, const std::vector<TFieldSpec>& specs,
                 const std::vector<std::vector<TCell>>& rows, int codePage) {
    pxdoc_t* doc = PX_new();
    ASSERT_NE(doc, nullptr);
    const auto n = static_cast<int>(specs.size());
    auto* fields = static_cast<pxfield_t*>(doc->malloc(doc, specs.size() * sizeof(pxfield_t), "test fields"));
    for (std::size_t i = 0; i < specs.size(); ++i) {
        fields[i].px_fname = PX_strdup(doc, specs[i].Name);
        fields[i].px_ftype = specs[i].Type;
        fields[i].px_flen = specs[i].Len;
        fields[i].px_fdc = 0;
    }
    ASSERT_EQ(PX_create_file(doc, fields, n, path.c_str(), pxfFileTypNonIndexDB), 0);
    if (codePage != 0) {
        ASSERT_EQ(PX_set_value(doc, "codepage", static_cast<float>(codePage)), 0);
    }
    for (const auto& row : rows) {
        std::vector<pxval_t> values(specs.size());
        std::vector<pxval_t*> pointers(specs.size());
        for (std::size_t i = 0; i < specs.size(); ++i) {
            pxval_t& v = values[i];
            std::memset(&v, 0, sizeof v);
            v.type = specs[i].Type;
            v.isnull = row[i].Null ? 1 : 0;
            v.value.lval = row[i].L;
            if (specs[i].Type == pxfNumber || specs[i].Type == pxfCurrency || specs[i].Type == pxfTimestamp) {
                v.value.dval = row[i].D;
            }
            if (specs[i].Type == pxfAlpha || specs[i].Type == pxfMemoBLOb) {
                v.value.str.val = const_cast<char*>(row[i].S.c_str());
                v.value.str.len = static_cast<int>(row[i].S.size());
            }
            pointers[i] = &v;
        }
        ASSERT_GE(PX_insert_record(doc, pointers.data()), 0);
    }
    PX_close(doc);
    PX_delete(doc);
}

long Day(int y, int m, int d) {
    return PX_GregorianToSdn(y, m, d) - 1721425;
}

const std::vector<TFieldSpec> kSpecs = {
    {"ElementName", pxfAlpha, 30}, {"Eintrag", pxfLong, 4},      {"Gruppe1", pxfShort, 2},
    {"Level", pxfNumber, 8},       {"Aktiv", pxfLogical, 1},     {"Datum", pxfDate, 4},
    {"Uhrzeit", pxfTime, 4},       {"Stempel", pxfTimestamp, 8}, {"Preis", pxfCurrency, 8},
};

class ParadoxTableTest : public ::testing::Test {
protected:
    test::TempDir Dir;
    std::string Path = Dir.File("EMIS.DB");

    void WriteSample() {
        const double stamp =
            (static_cast<double>(Day(2003, 7, 14)) * 86400.0 + 3600.0 * 13 + 60 * 5 + 9) * 1000.0;
        CreateTable(Path, kSpecs,
                    {{S("L\x81"
                        "fter"),
                      L(1), L(-3), D(61.25), L(1), L(Day(1999, 12, 31)), L((8 * 3600 + 30 * 60 + 15) * 1000),
                      D(stamp), D(19.99)},
                     {S("Pumpe"), L(70000), kNull, kNull, L(0), kNull, kNull, kNull, kNull}},
                    850);
    }
};

TEST_F(ParadoxTableTest, ColumnsAndValuesOfEveryType) {
    WriteSample();
    const TForeignTable t = ReadParadoxTable(Path);
    ASSERT_EQ(t.Columns.size(), kSpecs.size());
    EXPECT_EQ(t.Columns[0].Name, "ElementName");
    EXPECT_EQ(t.Columns[0].Type, "Text");
    EXPECT_EQ(t.Columns[0].Size, 30);
    EXPECT_EQ(t.Columns[1].Type, "Integer");
    EXPECT_EQ(t.Columns[2].Type, "Integer");
    EXPECT_EQ(t.Columns[3].Type, "Float");
    EXPECT_EQ(t.Columns[4].Type, "Boolean");
    EXPECT_EQ(t.Columns[5].Type, "Date");
    EXPECT_EQ(t.Columns[6].Type, "Time");
    EXPECT_EQ(t.Columns[7].Type, "Timestamp");
    EXPECT_EQ(t.Columns[8].Type, "Float");

    ASSERT_EQ(t.Rows.size(), 2u);
    const auto& r = t.Rows[0];
    // The table says code page 850, which wins over the caller's default.
    EXPECT_EQ(std::get<std::string>(r[0]), "L\xC3\xBC"
                                           "fter");
    EXPECT_EQ(std::get<std::int64_t>(r[1]), 1);
    EXPECT_EQ(std::get<std::int64_t>(r[2]), -3);
    EXPECT_DOUBLE_EQ(std::get<double>(r[3]), 61.25);
    EXPECT_EQ(std::get<std::int64_t>(r[4]), 1);
    EXPECT_EQ(std::get<std::string>(r[5]), "1999-12-31");
    EXPECT_EQ(std::get<std::string>(r[6]), "08:30:15");
    EXPECT_EQ(std::get<std::string>(r[7]), "2003-07-14 13:05:09");
    EXPECT_DOUBLE_EQ(std::get<double>(r[8]), 19.99);

    const auto& s = t.Rows[1];
    EXPECT_EQ(std::get<std::string>(s[0]), "Pumpe");
    EXPECT_EQ(std::get<std::int64_t>(s[1]), 70000);
    EXPECT_EQ(std::get<std::int64_t>(s[4]), 0); // false is a value, not an empty cell
    for (std::size_t i : {2u, 3u, 5u, 6u, 7u, 8u}) {
        EXPECT_TRUE(db::IsNull(s[i])) << t.Columns[i].Name;
    }

    EXPECT_EQ(t.ColumnIndex("elementname"), 0);
    EXPECT_EQ(t.ColumnIndex("EINTRAG"), 1);
    EXPECT_EQ(t.ColumnIndex("Preis"), 8);
    EXPECT_EQ(t.ColumnIndex("Missing"), -1);
}

TEST_F(ParadoxTableTest, CallersCodePageServesTablesWithoutOne) {
    CreateTable(Path, {{"Name", pxfAlpha, 10}},
                {{S("Gr\xF6\xDF"
                    "e")}},
                0); // "Größe" in code page 1252
    const TForeignTable t = ReadParadoxTable(Path, 1252);
    ASSERT_EQ(t.Rows.size(), 1u);
    EXPECT_EQ(std::get<std::string>(t.Rows[0][0]), "Gr\xC3\xB6\xC3\x9F"
                                                   "e");
}

TEST_F(ParadoxTableTest, MemosKeptInTheRecordAreRead) {
    // Without the blob file only a memo that fits into the record's leading part is known.
    CreateTable(Path, {{"Kommentar", pxfMemoBLOb, 30}, {"Nr", pxfLong, 4}},
                {{S("kurz: L\x81"
                    "fter"),
                  L(1)},
                 {kNull, L(2)}},
                850);
    const TForeignTable t = ReadParadoxTable(Path);
    ASSERT_EQ(t.Rows.size(), 2u);
    EXPECT_EQ(t.Columns[0].Type, "Memo");
    EXPECT_EQ(std::get<std::string>(t.Rows[0][0]), "kurz: L\xC3\xBC"
                                                   "fter");
    EXPECT_TRUE(db::IsNull(t.Rows[1][0]));
    EXPECT_EQ(std::get<std::int64_t>(t.Rows[1][1]), 2);
}

TEST_F(ParadoxTableTest, EmptyTableHasColumnsAndNoRows) {
    CreateTable(Path, kSpecs, {}, 850);
    const TForeignTable t = ReadParadoxTable(Path);
    EXPECT_EQ(t.Columns.size(), kSpecs.size());
    EXPECT_TRUE(t.Rows.empty());
}

std::string MessageOf(const std::string& path) {
    try {
        ReadParadoxTable(path);
    } catch (const EKorvelError& e) {
        return e.what();
    }
    return "no error";
}

TEST_F(ParadoxTableTest, MissingForeignAndDamagedFilesAreRefused) {
    EXPECT_NE(MessageOf(Dir.File("NONE.DB")).find("does not exist"), std::string::npos);

    const std::string text = Dir.File("TEXT.DB");
    std::ofstream(text) << "ElementName;Level\nA;1\n";
    EXPECT_NE(MessageOf(text).find("TEXT.DB"), std::string::npos) << MessageOf(text);

    const std::string empty = Dir.File("EMPTY.DB");
    std::ofstream{empty};
    EXPECT_NE(MessageOf(empty).find("EMPTY.DB"), std::string::npos) << MessageOf(empty);

    // A real table cut after its header, and one with garbage in its records' place: refused or read,
    // never a crash, and a refusal names the file.
    WriteSample();
    const auto size = std::filesystem::file_size(Path);
    for (std::uintmax_t keep : {std::uintmax_t{40}, std::uintmax_t{120}, size / 2, size - 1}) {
        const std::string cut = Dir.File("CUT" + std::to_string(keep) + ".DB");
        std::filesystem::copy_file(Path, cut);
        std::filesystem::resize_file(cut, keep);
        const std::string message = MessageOf(cut);
        if (message != "no error") {
            EXPECT_NE(message.find("CUT"), std::string::npos) << message;
        }
    }
    EXPECT_NE(MessageOf(Dir.File("CUT40.DB")), "no error");
}

// Patches little-endian 16- or 32-bit values into a copy of a file.
std::string Patched(const std::string& from, const std::string& to, std::size_t offset, std::uint32_t value,
                    int bytes) {
    std::filesystem::copy_file(from, to);
    std::fstream f(to, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(static_cast<std::streamoff>(offset));
    for (int i = 0; i < bytes; ++i) {
        f.put(static_cast<char>(value >> (8 * i)));
    }
    return to;
}

TEST_F(ParadoxTableTest, BrokenBlockChainsAndProtectedTablesAreRefused) {
    WriteSample();
    std::ifstream in(Path, std::ios::binary);
    unsigned char head[4] = {};
    in.read(reinterpret_cast<char*>(head), 4);
    const std::size_t headerSize = head[2] | (head[3] << 8);

    // The first data block naming itself as the next one would keep the reader going round for ever.
    const std::string loop = Patched(Path, Dir.File("LOOP.DB"), headerSize, 1, 2);
    EXPECT_NE(MessageOf(loop).find("chained twice"), std::string::npos) << MessageOf(loop);
    const std::string beyond = Patched(Path, Dir.File("BEYOND.DB"), headerSize, 500, 2);
    EXPECT_NE(MessageOf(beyond).find("beyond the end"), std::string::npos) << MessageOf(beyond);

    // A number field claiming 30 bytes: pxlib would copy them into an eight-byte number.
    const std::string wide = Patched(Path, Dir.File("WIDE.DB"), 0x78 + 3 * 2 + 1, 30, 1);
    EXPECT_NE(MessageOf(wide).find("cannot be 30 bytes long"), std::string::npos) << MessageOf(wide);

    // A table with a password: its blocks are scrambled, so it is refused with the reason.
    const std::string locked = Patched(Path, Dir.File("LOCKED.DB"), 0x5C, 0x20, 4);
    EXPECT_NE(MessageOf(locked).find("password"), std::string::npos) << MessageOf(locked);
}

} // namespace
} // namespace korvel::formats
