#include "platform/formats/ParadoxTable.h"

#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel::formats {
namespace {

using test::ParadoxDay;
using Row = std::vector<db::TValue>;

const std::vector<test::TPxField> kFields = {
    {"ElementName", pxfAlpha, 30}, {"Eintrag", pxfLong, 4},      {"Gruppe1", pxfShort, 2},
    {"Level", pxfNumber, 8},       {"Aktiv", pxfLogical, 1},     {"Datum", pxfDate, 4},
    {"Uhrzeit", pxfTime, 4},       {"Stempel", pxfTimestamp, 8}, {"Preis", pxfCurrency, 8},
};

class ParadoxTableTest : public ::testing::Test {
protected:
    void WriteSample() {
        const double stamp = (ParadoxDay(2003, 7, 14) * 86400.0 + 3600.0 * 13 + 60 * 5 + 9) * 1000.0;
        test::WriteParadoxTable(Path, kFields,
                                {{"M\x81hle", 1L, -3L, 61.25, 1L, ParadoxDay(1999, 12, 31),
                                  (8 * 3600L + 30 * 60 + 15) * 1000, stamp, 19.99},
                                 {"Pumpe", 70000L, {}, {}, 0L, {}, {}, {}, {}}},
                                850);
    }
    std::string MessageOf(const std::string& path) {
        try {
            ReadParadoxTable(path);
        } catch (const EKorvelError& e) {
            return e.what();
        }
        return "no error";
    }
    // A copy of the sample with a little-endian value of 1, 2 or 4 bytes put at offset.
    std::string Patched(const std::string& name, std::size_t offset, std::uint32_t value, int bytes) {
        std::string content = test::ReadAll(Path);
        for (int i = 0; i < bytes; ++i)
            content.at(offset + static_cast<std::size_t>(i)) = static_cast<char>(value >> (8 * i));
        test::WriteAll(Dir.File(name), content);
        return Dir.File(name);
    }

    test::TempDir Dir;
    std::string Path = Dir.File("EMIS.DB");
};

TEST_F(ParadoxTableTest, ColumnsAndValuesOfEveryType) {
    WriteSample();
    const TForeignTable t = ReadParadoxTable(Path);
    std::vector<std::string> types;
    for (const TForeignColumn& c : t.Columns)
        types.push_back(c.Type);
    EXPECT_EQ(types, (std::vector<std::string>{"Text", "Integer", "Integer", "Float", "Boolean", "Date",
                                               "Time", "Timestamp", "Float"}));
    EXPECT_EQ(std::pair(t.Columns[0].Name, t.Columns[0].Size), std::pair(std::string("ElementName"), 30));

    ASSERT_EQ(t.Rows.size(), 2u);
    // The table says code page 850, which wins over the caller's default. False is a value, not an empty
    // cell.
    EXPECT_EQ(t.Rows[0], (Row{"M\xC3\xBChle", std::int64_t{1}, std::int64_t{-3}, 61.25, std::int64_t{1},
                              "1999-12-31", "08:30:15", "2003-07-14 13:05:09", 19.99}));
    EXPECT_EQ(t.Rows[1], (Row{"Pumpe", std::int64_t{70000}, {}, {}, std::int64_t{0}, {}, {}, {}, {}}));

    EXPECT_EQ(std::tuple(t.ColumnIndex("elementname"), t.ColumnIndex("EINTRAG"), t.ColumnIndex("Preis"),
                         t.ColumnIndex("Missing")),
              std::tuple(0, 1, 8, -1));
}

TEST_F(ParadoxTableTest, CallersCodePageMemosInTheRecordAndEmptyTables) {
    test::WriteParadoxTable(Path, {{"Name", pxfAlpha, 10}}, {{"\xC4pfel"}}); // "Äpfel" in code page 1252
    EXPECT_EQ(ReadParadoxTable(Path, 1252).Rows, (std::vector<Row>{{"\xC3\x84pfel"}}));

    // Without the blob file only a memo that fits into the record's leading part is known.
    test::WriteParadoxTable(Dir.File("MEMO.DB"), {{"Kommentar", pxfMemoBLOb, 30}, {"Nr", pxfLong, 4}},
                            {{"kurz: M\x81hle", 1L}, {{}, 2L}}, 850);
    const TForeignTable t = ReadParadoxTable(Dir.File("MEMO.DB"));
    EXPECT_EQ(std::pair(t.Columns[0].Type, t.Rows),
              std::pair(std::string("Memo"),
                        std::vector<Row>{{"kurz: M\xC3\xBChle", std::int64_t{1}}, {{}, std::int64_t{2}}}));

    test::WriteParadoxTable(Dir.File("EMPTY.DB"), kFields, {}, 850);
    const TForeignTable empty = ReadParadoxTable(Dir.File("EMPTY.DB"));
    EXPECT_EQ(std::pair(empty.Columns.size(), empty.Rows.size()), std::pair(kFields.size(), std::size_t{0}));
}

TEST_F(ParadoxTableTest, MissingForeignAndDamagedFilesAreRefused) {
    test::WriteAll(Dir.File("TEXT.DB"), "ElementName;Level\nA;1\n");
    test::WriteAll(Dir.File("EMPTY.DB"), "");
    for (const auto& [name, part] : {std::pair{"NONE.DB", "does not exist"}, std::pair{"TEXT.DB", "TEXT.DB"},
                                     std::pair{"EMPTY.DB", "EMPTY.DB"}})
        EXPECT_NE(MessageOf(Dir.File(name)).find(part), std::string::npos) << MessageOf(Dir.File(name));

    // A real table cut after its header, and one with garbage in its records' place: refused or read,
    // never a crash, and a refusal names the file.
    WriteSample();
    const auto size = std::filesystem::file_size(Path);
    for (std::uintmax_t keep : {std::uintmax_t{40}, std::uintmax_t{120}, size / 2, size - 1}) {
        const std::string cut = Dir.File("CUT" + std::to_string(keep) + ".DB");
        std::filesystem::copy_file(Path, cut);
        std::filesystem::resize_file(cut, keep);
        const std::string message = MessageOf(cut);
        EXPECT_TRUE(message == "no error" || message.find("CUT") != std::string::npos) << message;
    }
    EXPECT_NE(MessageOf(Dir.File("CUT40.DB")), "no error");
}

TEST_F(ParadoxTableTest, BrokenBlockChainsAndProtectedTablesAreRefused) {
    WriteSample();
    const std::string bytes = test::ReadAll(Path);
    const std::size_t headerSize =
        static_cast<std::uint8_t>(bytes[2]) | (static_cast<std::uint8_t>(bytes[3]) << 8);
    // Name, offset, value, its bytes and the reason the message must give.
    const std::tuple<const char*, std::size_t, std::uint32_t, int, const char*> cases[] = {
        // The first data block naming itself as the next one would keep the reader going round for ever.
        {"LOOP.DB", headerSize, 1, 2, "chained twice"},
        {"BEYOND.DB", headerSize, 500, 2, "beyond the end"},
        // A number field claiming 30 bytes: pxlib would copy them into an eight-byte number.
        {"WIDE.DB", 0x78 + 3 * 2 + 1, 30, 1, "cannot be 30 bytes long"},
        // A table with a password: its blocks are scrambled, so it is refused with the reason.
        {"LOCKED.DB", 0x5C, 0x20, 4, "password"},
    };
    for (const auto& [name, offset, value, width, reason] : cases) {
        const std::string message = MessageOf(Patched(name, offset, value, width));
        EXPECT_NE(message.find(reason), std::string::npos) << name << ": " << message;
    }
}

} // namespace
} // namespace korvel::formats
