// What decides a verdict on the data path: the ranges and additions written and read back per element, the
// older tables' fallbacks, the usage mapping between libraries, the element JSON and the usage-area files.

#include "AssessmentFixtures.h"
#include "assessment/AssessmentDataSet.h"
#include "assessment/AssessmentJson.h"
#include "assessment/AssessmentLegacy.h"
#include "platform/Errors.h"
#include "platform/base/Blob.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace korvel::assessment {
namespace {

using acoustic::TZeitBereich;
using test::Range;

TBewertungDataSet Sample() {
    TBewertungDataSet d;
    d.ElementName = "Sample";
    d.Ranges.push_back(std::make_unique<TZeitBereich>(Range("Lr,d", "6-22", 55)));
    auto night = std::make_unique<TZeitBereich>(Range("Lr,n", "22-6", 40));
    night->SetAssessType(0);
    night->loudestN = 1;
    night->TBewert = 1;
    night->withPenalties = true;
    night->SetAssessType(13);
    night->SetMethodIndex(1);
    d.Ranges.push_back(std::move(night));
    d.Additions[1][6] = 6; // WA, hour 6-7
    d.Additions[24][23] = -1.5f;
    return d;
}

// A library of kind 135 in a temporary folder, open.
struct TLib : korvel::test::TempDir, test::TAssessmentLib {
    TLib() : TAssessmentLib(Path().string() + "/") {}
};

void ExpectSame(const TBewertungDataSet& a, const TBewertungDataSet& b) {
    EXPECT_EQ(a.ElementName, b.ElementName);
    ASSERT_EQ(a.Ranges.size(), b.Ranges.size());
    for (std::size_t i = 0; i < a.Ranges.size(); ++i)
        EXPECT_EQ(*a.Ranges[i], *b.Ranges[i]) << "range " << i;
    EXPECT_EQ(a.Additions, b.Additions);
}

TEST(AssessmentDataSet, ElementsKeepTheirOwnRangesInOrder) {
    TLib lib;
    const TBewertungDataSet first = Sample();
    TBewertungDataSet second;
    second.ElementName = "Second";
    second.Ranges.push_back(std::make_unique<TZeitBereich>(Range("A", "0-24", 70)));
    const int n1 = lib.Add(first);
    const int n2 = lib.Add(second);
    ExpectSame(lib.Read(n1), first);
    ExpectSame(lib.Read(n2), second);
    EXPECT_EQ(lib.Additions().RecordCount(), 25) << "the filter shows one element's rows only";

    // Rewriting with the ranges swapped keeps the new order and the other element's rows.
    TBewertungDataSet swapped = lib.Read(n1);
    std::swap(swapped.Ranges[0], swapped.Ranges[1]);
    swapped.Additions[1][6] = 3;
    swapped.WriteFor(n1, lib.Ranges(), lib.Additions());
    ExpectSame(lib.Read(n1), swapped);
    ExpectSame(lib.Read(n2), second);
    lib.Additions().SetFiltered(false);
    EXPECT_EQ(lib.Additions().RecordCount(), 50) << "rewriting edits the 25 rows, never adds";

    DeleteElementRows(lib.Ranges(), lib.Additions(), n1);
    EXPECT_TRUE(lib.Read(n1).Ranges.empty());
    ExpectSame(lib.Read(n2), second);
}

TEST(AssessmentDataSet, DamagedLimitsReadAsZeroNotHalf) {
    TLib lib;
    const int n = lib.Add(Sample());
    FilterToElement(lib.Ranges(), n);
    lib.Ranges().First();
    lib.Ranges().Edit();
    lib.Ranges().FieldByName("Limits").SetAsBytes(db::TBytes(99, 0x41));
    lib.Ranges().FieldByName("loudestN").SetAsInteger(200);
    lib.Ranges().Post();
    const TBewertungDataSet d = lib.Read(n);
    for (float v : d.Ranges[0]->Limits)
        EXPECT_EQ(v, 0.0f);
    EXPECT_EQ(d.Ranges[0]->loudestN, 24);
    EXPECT_EQ(d.Ranges[1]->Limits[2], 40.0f) << "the other range is untouched";
}

TEST(AssessmentDataSet, OlderTablesFindAdditionsByUsageShort) {
    korvel::test::TempDir dir;
    TMyTable lib({"Assess", "ZBDef", "Gebiete"});
    lib.InitLibX(dir.Path().string() + "/", "Older.abs", {"Assess", "ZBDef", "Gebiete"}, false, true);
    lib.GetItem(0)->Defs() = OlderMainTableDef();
    lib.GetItem(1)->Defs() = OlderRangesTableDef();
    lib.GetItem(2)->Defs() = OlderAdditionsTableDef();
    lib.CreateDBTable();
    lib.Open();
    db::TTable& main = *lib.GetItem(0);
    main.Append();
    main.FieldByName("BwName").SetAsString("Older");
    main.Post();
    const int n = main.FieldByName("BwNummer").AsInteger();
    db::TTable& add = *lib.GetItem(2);
    auto row = [&](const std::string& kzl, float z7) {
        add.Append();
        add.FieldByName("BwNummer").SetAsInteger(n);
        add.FieldByName("Kzl").SetAsString(kzl);
        add.FieldByName("Z7").SetAsFloat(z7);
        add.Post();
    };
    row("wa", 6); // case does not matter
    row("GI", 2); // area 11
    row("XX", 9); // no such short: ignored
    add.Append(); // another element's row
    add.FieldByName("BwNummer").SetAsInteger(n + 1);
    add.FieldByName("Kzl").SetAsString("WR");
    add.FieldByName("Z1").SetAsFloat(5);
    add.Post();
    db::TTable& ranges = *lib.GetItem(1);
    ranges.Append();
    TZeitBereich r = Range("Lr", "22-6", 45);
    r.WriteToTable(ranges, n);
    ranges.Post();

    main.First();
    TBewertungDataSet d;
    d.Read(main, ranges, add);
    EXPECT_EQ(d.ElementNumber, n);
    EXPECT_EQ(d.ElementName, "Older");
    EXPECT_EQ(d.Additions[1][6], 6.0f);
    EXPECT_EQ(d.Additions[10][6], 2.0f);
    EXPECT_EQ(d.Additions[0][0], 0.0f) << "WR of another element";
    ASSERT_EQ(d.Ranges.size(), 1u);
    EXPECT_EQ(d.Ranges[0]->Limits[2], 45.0f);
    EXPECT_EQ(acoustic::HoursToText(d.Ranges[0]->Hours), "22-6");
    EXPECT_EQ(d.Ranges[0]->AssessType, 1) << "fields the older table lacks keep their defaults";
}

TUsages UsagesWith(std::initializer_list<std::pair<int, std::string>> shorts) {
    TUsages u;
    for (const auto& [i, s] : shorts)
        u[static_cast<std::size_t>(i - 1)] = {s, "area " + s};
    return u;
}

TEST(AssessmentDataSet, CopyMapsAreasByShortIgnoringCase) {
    const TUsages source = UsagesWith({{1, "WR"}, {2, "wa"}, {3, "MI"}});
    const TUsages target = UsagesWith({{1, "WA"}, {2, "GE"}, {5, "Wr"}});
    TBewertungDataSet d;
    d.Ranges.push_back(std::make_unique<TZeitBereich>());
    d.Ranges[0]->Limits = {0, 50, 55, 60};
    d.Additions[0][0] = 1;
    d.Additions[1][0] = 2;
    d.Additions[2][0] = 3;
    const TBewertungDataSet m = MapToUsages(d, source, target);
    EXPECT_EQ(m.Ranges[0]->Limits[1], 55.0f) << "WA from source area 2";
    EXPECT_EQ(m.Ranges[0]->Limits[2], 0.0f) << "GE is missing in the source";
    EXPECT_EQ(m.Ranges[0]->Limits[5], 50.0f) << "Wr from source area 1";
    EXPECT_EQ(m.Additions[0][0], 2.0f);
    EXPECT_EQ(m.Additions[1][0], 0.0f);
    EXPECT_EQ(m.Additions[4][0], 1.0f);
    EXPECT_EQ(d.Ranges[0]->Limits[1], 50.0f) << "the source is untouched";
    // MI has no target area; the empty shorts of both sides match each other.
    EXPECT_EQ(MissingUsages(source, target), std::vector<std::string>{"MI: area MI"});
}

TEST(AssessmentJson, RoundTripAndMemberErrors) {
    const TUsages usages = DefaultUsages();
    const TBewertungDataSet d = Sample();
    const nlohmann::json j = AssessmentToJson(d, "note", usages);
    EXPECT_EQ(j["ranges"][1]["hours"], "22-6");
    EXPECT_EQ(j["ranges"][1]["method"], "T30");
    EXPECT_EQ(j["ranges"][0]["limits"], (nlohmann::json{{"WA", 55.0}}));
    EXPECT_EQ(j["additions"]["WA"][6], 6.0);
    TBewertungDataSet back;
    std::string comment;
    AssessmentFromJson(j, usages, back, comment);
    ExpectSame(back, d);
    EXPECT_EQ(comment, "note");

    auto fails = [&](nlohmann::json object, const std::string& member) {
        TBewertungDataSet target = Sample();
        std::string c = "kept";
        try {
            AssessmentFromJson(object, usages, target, c);
            ADD_FAILURE() << "accepted " << object.dump();
        } catch (const EKorvelError& e) {
            EXPECT_NE(std::string(e.what()).find("\"" + member + "\""), std::string::npos) << e.what();
        }
        ExpectSame(target, Sample());
        EXPECT_EQ(c, "kept");
    };
    fails({{"ranges", {{{"hours", "25-3"}}}}}, "ranges[0].hours");
    fails({{"ranges", {{{"limits", {{"ZZ", 50}}}}}}}, "ranges[0].limits.ZZ");
    fails({{"ranges", nlohmann::json::array()}}, "ranges");
    fails({{"ranges", {{{"type", 1}, {"withPenalties", true}}}}}, "ranges[0].withPenalties");
    fails({{"ranges", {{{"type", 15}, {"method", "T30"}}}}}, "ranges[0].method");
    fails({{"additions", {{"WA", {1, 2}}}}}, "additions.WA");
    fails({{"colour", 1}}, "colour");

    // Areas with the same short are told apart by number.
    TUsages twice = usages;
    twice[3].Short = "WA";
    TBewertungDataSet one;
    one.Ranges.push_back(std::make_unique<TZeitBereich>());
    one.Ranges[0]->Limits[4] = 61;
    const nlohmann::json k = AssessmentToJson(one, "", twice);
    EXPECT_EQ(k["ranges"][0]["limits"], (nlohmann::json{{"#4", 61.0}}));
    TBewertungDataSet again;
    AssessmentFromJson(k, twice, again, comment);
    EXPECT_EQ(again.Ranges[0]->Limits[4], 61.0f);
}

TEST(Usages, FolderFileBothWaysAndItsDamage) {
    korvel::test::TempDir dir;
    const std::string folder = dir.Path().string() + "/";
    EXPECT_EQ(ReadUsagesFromLib(folder), DefaultUsages()) << "a folder without the file";
    TUsages u = DefaultUsages();
    u[0] = {"WR", "Reines Wohngebiet \xC3\xA4"};
    WriteUsagesToLib(folder, u);
    EXPECT_EQ(ReadUsagesFromLib(folder), u);
    EXPECT_EQ(FindUsageByShort(u, "kur"), 13);

    korvel::test::WriteAll(dir.Path() / kUsagesFileName,
                           std::string_view(R"({"usages": [{"short": "WR"}]})"));
    try {
        ReadUsagesFromLib(folder);
        ADD_FAILURE() << "a damaged file was read";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find(kUsagesFileName), std::string::npos) << e.what();
    }

    korvel::test::WriteAll(dir.Path() / kOlderProjectFile,
                           std::string_view("[General]\nx=1\n[usages]\nWA.Short=W-A\nWA.Descr=Allgemein\n"));
    const auto older = ReadOlderProjectUsages(folder, DefaultUsages());
    ASSERT_TRUE(older.has_value());
    EXPECT_EQ((*older)[1], (TUsage{"W-A", "Allgemein"}));
    EXPECT_EQ((*older)[0], DefaultUsages()[0]);
}

} // namespace
} // namespace korvel::assessment
