#include "sound/ElementFilter.h"

#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace korvel::sound {
namespace {

namespace fs = std::filesystem;
using test::ReadAll;
using test::WriteAll;
using namespace std::string_literals;

// A record with every field set, unused bytes included.
TFilterRec FullRecord() {
    TFilterRec rec;
    rec.SetEnabled(true);
    const char* groups[] = {"Fans", "Lüfter", "Pumps", "Doors"};
    for (int slot = 0; slot < 4; ++slot)
        rec.SetGroup(slot, groups[slot]);
    rec.SetMinActive(true);
    rec.SetMaxActive(true);
    rec.SetMin(1.5f);
    rec.SetMax(-2.0f);
    rec.SetOperator(TLogOperator::And);
    rec.Bytes()[filter_offset::Unused] = 0xAB;
    rec.Bytes()[filter_offset::Unused + 1] = 0xCD;
    rec.SetTextFilter("roof €");
    return rec;
}

TEST(FilterRec, FieldsSitAtTheirOffsets) {
    const TFilterRec rec = FullRecord();
    const auto& b = rec.Bytes();
    const auto shortAt = [&b](std::size_t offset) {
        return std::string(reinterpret_cast<const char*>(&b[offset + 1]), b[offset]);
    };
    EXPECT_EQ(b[0], 1);
    EXPECT_EQ(shortAt(1), "Fans");
    EXPECT_EQ(shortAt(42), "L\xFC"
                           "fter"); // Windows-1252 on disk
    EXPECT_EQ(shortAt(83), "Pumps");
    EXPECT_EQ(shortAt(124), "Doors");
    // Both flags, the two floats, the operator and the unused bytes.
    EXPECT_EQ(std::vector<int>(b.begin() + 165, b.begin() + 178),
              (std::vector<int>{1, 1, 0x00, 0x00, 0xC0, 0x3F, 0x00, 0x00, 0x00, 0xC0, 1, 0xAB, 0xCD}));
    EXPECT_EQ(shortAt(178), "roof \x80");

    // And the other way: raw bytes read through the accessors.
    TFilterRec raw;
    raw.Bytes() = b;
    EXPECT_EQ(std::tuple(raw.Enabled(), raw.Group(1), raw.Group(3), raw.Min(), raw.Max(), raw.Operator(),
                         raw.GetTextFilter()),
              std::tuple(true, "Lüfter"s, "Doors"s, 1.5f, -2.0f, TLogOperator::And, "roof €"s));
    raw.Bytes()[filter_offset::Operator] = 7;
    EXPECT_EQ(raw.Operator(), TLogOperator::Or);
    EXPECT_THROW(raw.Group(4), EKorvelError);
    EXPECT_THROW(raw.SetGroup(-1, "x"), EKorvelError);
}

TEST(FilterRec, LongTextsAreCutWithoutTouchingTheNextField) {
    TFilterRec rec;
    rec.SetGroup(1, "second");
    rec.SetGroup(0, std::string(50, 'g'));
    EXPECT_EQ(rec.Group(0), std::string(40, 'g'));
    EXPECT_EQ(rec.Bytes()[1], 40);
    EXPECT_EQ(rec.Group(1), "second");

    rec.Bytes()[filter_offset::Unused + 1] = 0x55;
    rec.SetTextFilter(std::string(100, 't'));
    EXPECT_EQ(rec.GetTextFilter(), std::string(80, 't'));
    EXPECT_EQ(rec.Bytes()[178], 80);
    EXPECT_EQ(rec.Bytes()[177], 0x55);
    // Characters count, not UTF-8 bytes: each 'ä' is one byte on disk.
    std::string umlauts;
    for (int i = 0; i < 90; ++i)
        umlauts += "ä";
    rec.SetTextFilter(umlauts);
    EXPECT_EQ(rec.Bytes()[178], 80);
    EXPECT_EQ(rec.GetTextFilter(), umlauts.substr(0, 160));
}

TEST(FilterFile, RoundTripKeepsEveryByteAndAShortOrMissingFileReadsAsEmpty) {
    test::TempDir dir;
    const std::string library = dir.File("Emission.abs");
    const std::string filterFile = dir.File("Emission.fil");
    EXPECT_EQ(FilterFileName(library), filterFile);
    EXPECT_EQ(FilterFileName("/lib.v2/Project"), "/lib.v2/Project.fil");
    EXPECT_EQ(FilterFileName(""), "");

    TFilterRec rec = FullRecord();
    rec.Bytes()[30] = 0x7E; // padding behind group 1's text
    SaveFilter(library, rec);
    EXPECT_EQ(ReadAll(filterFile), std::string(rec.Bytes().begin(), rec.Bytes().end()));
    TFilterRec loaded;
    LoadFilter(library, loaded);
    EXPECT_EQ(loaded, rec);

    WriteAll(filterFile, std::string(kFilterRecSize - 1, '\x01'));
    LoadFilter(library, loaded);
    EXPECT_EQ(loaded, TFilterRec());
    EXPECT_FALSE(loaded.Enabled());
    for (const std::string& name : {library, std::string()}) {
        fs::remove(filterFile);
        loaded = FullRecord();
        LoadFilter(name, loaded);
        EXPECT_EQ(loaded, TFilterRec()) << name;
    }

    // No library, nothing to do; a write error throws and keeps what is there.
    SaveFilter("", FullRecord());
    fs::create_directory(filterFile);
    EXPECT_THROW(SaveFilter(library, FullRecord()), EKorvelError);
    EXPECT_TRUE(fs::is_directory(filterFile));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 1);
}

// The expressions as the table engine runs them, on a table shaped like a sound library's main table.
TEST(FilterOnTable, GroupsSelectAcrossAllFourFieldsAndJoinTheRange) {
    test::TempDir dir;
    db::TTableDef def;
    def.AddField("Nr", db::TFieldType::AutoInc).AddField("ElementName", db::TFieldType::String, 40);
    for (const char* field : {"Gruppen1", "Gruppen2", "Gruppen3", "Gruppen4"})
        def.AddField(field, db::TFieldType::Integer);
    def.AddField("SumValue", db::TFieldType::Float).AddIndex("p", {"Nr"}, db::ixPrimary);
    auto database = std::make_shared<db::TDatabase>(dir.File("Lib.abs"));
    database->Open(true);
    database->CreateTable("Elements", def);
    db::TTable table(database, "Elements");
    table.Open();
    struct Row {
        const char* Name;
        std::vector<int> Groups;
        double Sum;
    };
    for (const Row& row : std::vector<Row>{{"fan", {3, 0, 0, 0}, 90.0},
                                           {"fan+door", {0, 7, 0, 3}, 85.25},
                                           {"door", {0, 0, 7, 0}, 60.5},
                                           {"pump", {0, 0, 0, 0}, 85.26},
                                           {"quiet", {0, 0, 0, 3}, 0.1}}) {
        table.Append();
        table.FieldByName("ElementName").SetAsString(row.Name);
        for (int i = 0; i < 4; ++i)
            table.FieldByName("Gruppen" + std::to_string(i + 1)).SetAsInteger(row.Groups[i]);
        table.FieldByName("SumValue").SetAsFloat(row.Sum);
        table.Post();
    }
    using V = std::vector<std::string>;
    const auto visible = [&table](const std::string& filter) {
        table.SetFilter(filter);
        table.SetFiltered(true);
        V names;
        for (table.First(); !table.Eof(); table.Next())
            names.push_back(table.FieldByName("ElementName").AsString());
        return names;
    };
    EXPECT_EQ(visible(BuildGroupFilter(3, 7, TLogOperator::And)), V({"fan+door"}));
    EXPECT_EQ(visible(BuildGroupFilter(3, 7, TLogOperator::Or)), V({"fan", "fan+door", "door", "quiet"}));
    EXPECT_EQ(visible(BuildGroupFilter(3, std::nullopt, TLogOperator::Or)), V({"fan", "fan+door", "quiet"}));
    EXPECT_EQ(visible(BuildGroupFilter(kUnknownGroupNo, std::nullopt, TLogOperator::Or)), V());
    EXPECT_EQ(visible(BuildGroupFilter(kUnknownGroupNo, 7, TLogOperator::Or)), V({"fan+door", "door"}));

    TFilterRec rec;
    rec.SetMin(0.1f);
    rec.SetMax(85.25f);
    rec.UpdateActiveFlags();
    EXPECT_EQ(visible(BuildRangeFilter(rec, "SumValue")), V({"fan+door", "door", "quiet"}));
    EXPECT_EQ(visible(JoinFilterParts(
                  {BuildGroupFilter(3, 7, TLogOperator::Or), BuildRangeFilter(rec, "SumValue")})),
              V({"fan+door", "door", "quiet"}));
    // A bound that is no number is left out; parts that are empty are too.
    rec.SetMin(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(visible(JoinFilterParts({"", BuildGroupFilter(std::nullopt, std::nullopt, TLogOperator::And),
                                       BuildRangeFilter(rec, "SumValue")})),
              V({"fan+door", "door", "quiet"}));
    rec.SetMin(85.25f);
    rec.SetMax(0);
    rec.UpdateActiveFlags();
    EXPECT_EQ(visible(JoinFilterParts(
                  {BuildGroupFilter(3, std::nullopt, TLogOperator::Or), BuildRangeFilter(rec, "SumValue")})),
              V({"fan", "fan+door"}));
}

TEST(TextFilter, MatchesCommentFollowedByName) {
    EXPECT_TRUE(TextFilterAccepts("", "anything", "at all"));
    EXPECT_TRUE(TextFilterAccepts("  \t", "", ""));
    EXPECT_TRUE(TextFilterAccepts("roof", "On the ROOF", "Fan 1"));
    EXPECT_TRUE(TextFilterAccepts(" fan ", "", "Fan 1")); // the filter is trimmed
    // The comment runs straight into the name, without a separator.
    EXPECT_TRUE(TextFilterAccepts("rooffan", "on the roof", "Fan 1"));
    EXPECT_FALSE(TextFilterAccepts("roof fan", "on the roof", "Fan 1"));
    EXPECT_FALSE(TextFilterAccepts("pump", "on the roof", "Fan 1"));
    EXPECT_TRUE(TextFilterAccepts("lüfter", "", "DACHLÜFTER"));
}

} // namespace
} // namespace korvel::sound
