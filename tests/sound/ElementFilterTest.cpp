#include "sound/ElementFilter.h"

#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/TempDir.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace korvel::sound {
namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> ReadAll(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::string& fileName, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(fileName, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A record with every field set, unused bytes included.
TFilterRec FullRecord() {
    TFilterRec rec;
    rec.SetEnabled(true);
    rec.SetGroup(0, "Fans");
    rec.SetGroup(1, "Lüfter");
    rec.SetGroup(2, "Pumps");
    rec.SetGroup(3, "Doors");
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
    EXPECT_EQ(b[0], 1);
    const auto shortAt = [&b](std::size_t offset) {
        return std::string(reinterpret_cast<const char*>(&b[offset + 1]), b[offset]);
    };
    EXPECT_EQ(shortAt(1), "Fans");
    EXPECT_EQ(shortAt(42), "L\xFC"
                           "fter"); // Windows-1252 on disk
    EXPECT_EQ(shortAt(83), "Pumps");
    EXPECT_EQ(shortAt(124), "Doors");
    EXPECT_EQ(b[165], 1);
    EXPECT_EQ(b[166], 1);
    EXPECT_EQ((std::vector<int>{b[167], b[168], b[169], b[170]}), (std::vector<int>{0x00, 0x00, 0xC0, 0x3F}));
    EXPECT_EQ((std::vector<int>{b[171], b[172], b[173], b[174]}), (std::vector<int>{0x00, 0x00, 0x00, 0xC0}));
    EXPECT_EQ(b[175], 1);
    EXPECT_EQ(b[176], 0xAB);
    EXPECT_EQ(b[177], 0xCD);
    EXPECT_EQ(shortAt(178), "roof \x80");

    // And the other way: raw bytes read through the accessors.
    TFilterRec raw;
    raw.Bytes() = b;
    EXPECT_TRUE(raw.Enabled());
    EXPECT_EQ(raw.Group(1), "Lüfter");
    EXPECT_EQ(raw.Group(3), "Doors");
    EXPECT_FLOAT_EQ(raw.Min(), 1.5f);
    EXPECT_FLOAT_EQ(raw.Max(), -2.0f);
    EXPECT_EQ(raw.Operator(), TLogOperator::And);
    EXPECT_EQ(raw.GetTextFilter(), "roof €");
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

TEST(FilterRec, ActiveFlagsFollowTheSmallestUsableBound) {
    TFilterRec rec;
    rec.SetMin(0.0005f);
    rec.SetMax(0.002f);
    rec.UpdateActiveFlags();
    EXPECT_FALSE(rec.MinActive());
    EXPECT_TRUE(rec.MaxActive());
    rec.SetMin(-5.0f);
    rec.SetMax(0.0f);
    rec.UpdateActiveFlags();
    EXPECT_TRUE(rec.MinActive());
    EXPECT_FALSE(rec.MaxActive());
}

class FilterFile : public ::testing::Test {
protected:
    test::TempDir dir;
    std::string library = dir.File("Emission.abs");
    std::string filterFile = dir.File("Emission.fil");
};

TEST_F(FilterFile, NameReplacesTheExtension) {
    EXPECT_EQ(FilterFileName(library), filterFile);
    EXPECT_EQ(FilterFileName("/lib.v2/Project"), "/lib.v2/Project.fil");
    EXPECT_EQ(FilterFileName(""), "");
}

TEST_F(FilterFile, RoundTripKeepsEveryByte) {
    TFilterRec rec = FullRecord();
    rec.Bytes()[30] = 0x7E; // padding behind group 1's text
    SaveFilter(library, rec);
    const auto stored = ReadAll(filterFile);
    ASSERT_EQ(stored.size(), kFilterRecSize);
    EXPECT_TRUE(std::equal(stored.begin(), stored.end(), rec.Bytes().begin()));

    TFilterRec loaded;
    LoadFilter(library, loaded);
    EXPECT_EQ(loaded, rec);
}

TEST_F(FilterFile, ShortOrMissingFileGivesAnEmptyDisabledRecord) {
    TFilterRec rec = FullRecord();
    WriteAll(filterFile, std::vector<std::uint8_t>(kFilterRecSize - 1, 1));
    LoadFilter(library, rec);
    EXPECT_EQ(rec, TFilterRec());
    EXPECT_FALSE(rec.Enabled());

    rec = FullRecord();
    fs::remove(filterFile);
    LoadFilter(library, rec);
    EXPECT_EQ(rec, TFilterRec());

    rec = FullRecord();
    LoadFilter("", rec);
    EXPECT_EQ(rec, TFilterRec());
}

TEST_F(FilterFile, WriteErrorThrowsAndKeepsWhatIsThere) {
    SaveFilter("", FullRecord()); // no library, nothing to do
    fs::create_directory(filterFile);
    EXPECT_THROW(SaveFilter(library, FullRecord()), EKorvelError);
    EXPECT_TRUE(fs::is_directory(filterFile));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 1);
}

TEST(FilterExpression, GroupPartReadsAsStored) {
    EXPECT_EQ(
        BuildGroupFilter(3, 7, TLogOperator::And),
        "(((Gruppen1=3) OR (Gruppen2=3) OR (Gruppen3=3) OR(Gruppen4=3)) AND ((Gruppen1=7) OR (Gruppen2=7) OR "
        "(Gruppen3=7) OR(Gruppen4=7)))");
    EXPECT_EQ(BuildGroupFilter(std::nullopt, -999, TLogOperator::Or),
              "(((Gruppen1=-999) OR (Gruppen2=-999) OR (Gruppen3=-999) OR(Gruppen4=-999)))");
    EXPECT_EQ(BuildGroupFilter(std::nullopt, std::nullopt, TLogOperator::And), "");
    EXPECT_EQ(JoinFilterParts({"", "(A=1)", "", "(B=2)"}), "(A=1) AND (B=2)");
    EXPECT_EQ(JoinFilterParts({"", ""}), "");
}

TEST(FilterExpression, RangePartFollowsTheActiveFlags) {
    TFilterRec rec;
    rec.SetMin(0.1f);
    rec.SetMax(85.25f);
    EXPECT_EQ(BuildRangeFilter(rec, "SumValue"), "");
    rec.SetMinActive(true);
    EXPECT_EQ(BuildRangeFilter(rec, "SumValue"), "(SumValue >= 0.1)");
    rec.SetMaxActive(true);
    EXPECT_EQ(BuildRangeFilter(rec, "SumValue"), "(SumValue >= 0.1) AND (SumValue <= 85.25)");
    rec.SetMin(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(BuildRangeFilter(rec, "SumValue"), "(SumValue <= 85.25)");
}

// The expressions as the table engine runs them, on a table shaped like a sound library's main table.
class FilterOnTable : public ::testing::Test {
protected:
    void SetUp() override {
        using db::TFieldType;
        db::TTableDef def;
        def.AddField("Nr", TFieldType::AutoInc).AddField("ElementName", TFieldType::String, 40);
        for (const char* field : {"Gruppen1", "Gruppen2", "Gruppen3", "Gruppen4"})
            def.AddField(field, TFieldType::Integer);
        def.AddField("SumValue", TFieldType::Float);
        def.AddIndex("p", {"Nr"}, db::ixPrimary);
        database = std::make_shared<db::TDatabase>(dir.File("Lib.abs"));
        database->Open(true);
        database->CreateTable("Elements", def);
        table = std::make_unique<db::TTable>(database, "Elements");
        table->Open();
        Add("fan", {3, 0, 0, 0}, 90.0);
        Add("fan+door", {0, 7, 0, 3}, 85.25);
        Add("door", {0, 0, 7, 0}, 60.5);
        Add("pump", {0, 0, 0, 0}, 85.26);
        Add("quiet", {0, 0, 0, 3}, 0.1);
    }

    void Add(const std::string& name, std::array<int, 4> groups, double sum) {
        table->Append();
        table->FieldByName("ElementName").SetAsString(name);
        for (int i = 0; i < 4; ++i)
            table->FieldByName("Gruppen" + std::to_string(i + 1))
                .SetAsInteger(groups[static_cast<std::size_t>(i)]);
        table->FieldByName("SumValue").SetAsFloat(sum);
        table->Post();
    }

    std::vector<std::string> Visible(const std::string& filter) {
        table->SetFilter(filter);
        table->SetFiltered(true);
        std::vector<std::string> names;
        for (table->First(); !table->Eof(); table->Next())
            names.push_back(table->FieldByName("ElementName").AsString());
        return names;
    }

    test::TempDir dir;
    std::shared_ptr<db::TDatabase> database;
    std::unique_ptr<db::TTable> table;
};

TEST_F(FilterOnTable, GroupsSelectAcrossAllFourFields) {
    using V = std::vector<std::string>;
    EXPECT_EQ(Visible(BuildGroupFilter(3, 7, TLogOperator::And)), V({"fan+door"}));
    EXPECT_EQ(Visible(BuildGroupFilter(3, 7, TLogOperator::Or)), V({"fan", "fan+door", "door", "quiet"}));
    EXPECT_EQ(Visible(BuildGroupFilter(3, std::nullopt, TLogOperator::Or)), V({"fan", "fan+door", "quiet"}));
    EXPECT_EQ(Visible(BuildGroupFilter(kUnknownGroupNo, std::nullopt, TLogOperator::Or)), V());
    EXPECT_EQ(Visible(BuildGroupFilter(kUnknownGroupNo, 7, TLogOperator::Or)), V({"fan+door", "door"}));
}

TEST_F(FilterOnTable, RangeJoinsTheGroupPart) {
    using V = std::vector<std::string>;
    TFilterRec rec;
    rec.SetMin(0.1f);
    rec.SetMax(85.25f);
    rec.UpdateActiveFlags();
    EXPECT_EQ(Visible(BuildRangeFilter(rec, "SumValue")), V({"fan+door", "door", "quiet"}));
    EXPECT_EQ(Visible(JoinFilterParts(
                  {BuildGroupFilter(3, 7, TLogOperator::Or), BuildRangeFilter(rec, "SumValue")})),
              V({"fan+door", "door", "quiet"}));
    rec.SetMin(85.25f);
    rec.SetMax(0);
    rec.UpdateActiveFlags();
    EXPECT_EQ(Visible(JoinFilterParts(
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
