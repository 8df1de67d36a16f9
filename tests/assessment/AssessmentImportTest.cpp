// Older assessments coming in through the editor: the binary "Limi.*" files, the conversion of the previous
// version's tables, and copies between libraries whose usage areas differ.

#include "AssessmentFixtures.h"
#include "assessment/AssessmentLegacy.h"
#include "assessment/BewertungForm.h"
#include "platform/Errors.h"
#include "service/LibService.h"
#include "sound/UpdateFixtures.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"
#include "support/LimiFileBuilder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel::assessment {
namespace {

namespace fs = std::filesystem;
using acoustic::HoursToText;
using korvel::test::LibFolders;
using korvel::test::TLimiFileBuilder;
using test::Range;

class AssessmentImportTest : public ::testing::Test {
protected:
    AssessmentImportTest() { f.Ui().SetAnswerInformation(true); }

    TBewertungForm& Open(const std::vector<std::string>& folders) {
        auto& editor = dynamic_cast<TBewertungForm&>(f.Host().Adopt(CreateLib(f.Host(), kAssessmentLibType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    std::string WriteFile(const std::string& name, const TLimiFileBuilder& b) {
        const std::string file = f.Root() + name;
        korvel::test::WriteAll(file, b.Bytes());
        return file;
    }
    LibFolders f;
};

std::array<float, 24> Hourly(float base) {
    std::array<float, 24> a{};
    for (std::size_t h = 0; h < a.size(); ++h)
        a[h] = base + static_cast<float>(h) / 10;
    return a;
}

TEST_F(AssessmentImportTest, FileWithoutHeaderGivesDayNightAndSpecial) {
    {
        test::TAssessmentLib lib(f.Project());
        lib.Add(test::Assessment("Factory", {Range("L", "0-24", 0)}));
        lib.Add(test::Assessment("factory*", {Range("L", "0-24", 0)}));
    }
    TBewertungForm& editor = Open({f.Project()});
    const std::string file = WriteFile(
        "Limi.001", TLimiFileBuilder().Name("Factory  ").Usage(2, {55, 40, 70}).Usage(11, {70, 70, 0}));
    editor.ImportFile(file);

    test::TAssessmentLib lib(f.Project());
    const int n = lib.Find("Factory**");
    ASSERT_GT(n, 0) << "the name exists twice already (in any case)";
    const TBewertungDataSet d = lib.Read(n);
    ASSERT_EQ(d.Ranges.size(), 3u);
    const char* names[] = {"Day", "Night", "Special"};
    const char* hours[] = {"6-22", "22-6", "0-24"};
    const float ta[] = {16, 8, 24};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(d.Ranges[i]->Name, names[i]);
        EXPECT_EQ(HoursToText(d.Ranges[i]->Hours), hours[i]);
        EXPECT_EQ(d.Ranges[i]->TBewert, ta[i]);
    }
    EXPECT_EQ(d.Ranges[0]->Limits[2], 55.0f);
    EXPECT_EQ(d.Ranges[1]->Limits[2], 40.0f);
    EXPECT_EQ(d.Ranges[2]->Limits[2], 70.0f);
    EXPECT_EQ(d.Ranges[1]->Limits[11], 70.0f);
    EXPECT_EQ(d.Ranges[0]->Limits[1], 0.0f) << "an area without a record has no limit";
    lib.Additions().SetFiltered(false);
    FilterToElement(lib.Additions(), n);
    EXPECT_EQ(lib.Additions().RecordCount(), 25);
}

TEST_F(AssessmentImportTest, FileWithHeaderTakesItsRangesAndAdditionsInOrder) {
    TBewertungForm& editor = Open({f.Project()});
    const std::string file = WriteFile("LIMI.ABC", TLimiFileBuilder()
                                                       .Header()
                                                       .Name("Plant")
                                                       .Range("Night", "Ln", 22, 6, 1)
                                                       .Usage(2, {40, 45, 50}, Hourly(1))
                                                       .Range("Hour", "", 8, 9)
                                                       .Usage(3, {35, 36, 37})
                                                       .Range("Day", "Ld", 6, 22)
                                                       .Range("Extra", "Lx", 0, 24));
    editor.ImportFile(file);
    test::TAssessmentLib lib(f.Project());
    const TBewertungDataSet d = lib.Read(lib.Find("Plant"));
    ASSERT_EQ(d.Ranges.size(), 4u);
    EXPECT_EQ(HoursToText(d.Ranges[0]->Hours), "22-6");
    EXPECT_EQ(d.Ranges[0]->TBewert, 8.0f);
    EXPECT_EQ(d.Ranges[0]->loudestN, 1);
    EXPECT_TRUE(d.Ranges[0]->withPenalties);
    EXPECT_EQ(HoursToText(d.Ranges[1]->Hours), "8-9");
    EXPECT_EQ(d.Ranges[1]->TBewert, 1.0f);
    EXPECT_EQ(d.Ranges[1]->Short, "Hour") << "a range without a short shows its name";
    // The k-th range takes limit set k; a fourth has none.
    EXPECT_EQ(d.Ranges[0]->Limits[2], 40.0f);
    EXPECT_EQ(d.Ranges[1]->Limits[3], 36.0f);
    EXPECT_EQ(d.Ranges[2]->Limits[2], 50.0f);
    EXPECT_EQ(d.Ranges[3]->Limits[2], 0.0f);
    EXPECT_EQ(d.Additions[1], Hourly(1));
    EXPECT_EQ(d.Additions[2], (std::array<float, 24>{})) << "a record of 63 bytes carries no additions";
}

TEST_F(AssessmentImportTest, DamagedFileChangesNothing) {
    {
        test::TAssessmentLib lib(f.Project());
        lib.Add(test::Assessment("Kept", {Range("L", "0-24", 50)}));
    }
    TBewertungForm& editor = Open({f.Project()});
    TBlob cut = TLimiFileBuilder().Name("Broken").Usage(2, {1, 2, 3}).Bytes();
    cut.resize(cut.size() - 5);
    const std::string file = f.Root() + "Limi.bad";
    korvel::test::WriteAll(file, cut);
    try {
        editor.ImportFile(file);
        ADD_FAILURE() << "a cut file was imported";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("Limi.bad"), std::string::npos) << e.what();
    }
    test::TAssessmentLib lib(f.Project());
    EXPECT_EQ(lib.Main().RecordCount(), 1);
    EXPECT_EQ(lib.Find("Broken"), 0);
}

// The previous version's three tables and its project settings in a folder.
void MakeOlderLibrary(const std::string& folder, bool withProjectFile) {
    using namespace sound::test;
    MakeTableFile(folder + kOlderMainFile, OlderMainTableDef(),
                  {{{"BwNummer", Int(4)}, {"BwName", Text("Old night")}, {"Kommentar", Text("from 7.4")}},
                   {{"BwNummer", Int(9)}, {"BwName", Text("Old day")}},
                   {{"BwNummer", Int(12)}, {"BwName", Text("old NIGHT")}}});
    db::TTableDef rangesDef = OlderRangesTableDef();
    std::vector<TRow> ranges;
    for (auto [number, hours] : {std::pair{4, "22-6"}, std::pair{9, "6-22"}, std::pair{4, "0-1"}}) {
        TRow row{{"BwNummer", Int(number)}, {"ZbName", Text(hours)}, {"Bezeichner", Text("L")}};
        const auto flags = *acoustic::HoursFromText(hours);
        for (int k = 1; k <= 24; ++k)
            row["h" + std::to_string(k)] = Int(flags[static_cast<std::size_t>(k)] ? 1 : 0);
        std::vector<float> limits(25, 0);
        limits[0] = static_cast<float>(number);
        row["Limits"] = db::TValue(FloatsToBlob(limits));
        ranges.push_back(row);
    }
    MakeTableFile(folder + kOlderRangesFile, rangesDef, ranges);
    MakeTableFile(folder + kOlderAdditionsFile, OlderAdditionsTableDef(),
                  {{{"BwNummer", Int(4)}, {"Kzl", Text("wr")}, {"Z23", db::TValue(10.0)}},
                   {{"BwNummer", Int(9)}, {"Kzl", Text("GE")}, {"Z7", db::TValue(6.0)}}});
    if (withProjectFile)
        korvel::test::WriteAll(folder + kOlderProjectFile,
                               std::string_view("[usages]\nWR.Short=R\nWR.Descr=Residential\n"));
}

TEST_F(AssessmentImportTest, PreviousVersionIsConvertedWhenTheLibraryIsOpened) {
    MakeOlderLibrary(f.Project(), true);
    TBewertungForm& editor = Open({f.Project()});
    EXPECT_EQ(editor.Usages(0)[0], (TUsage{"R", "Residential"}));
    EXPECT_EQ(ReadUsagesFromLib(f.Project())[0], (TUsage{"R", "Residential"}))
        << "written beside the library";
    editor.Close();

    test::TAssessmentLib lib(f.Project());
    EXPECT_EQ(lib.Main().RecordCount(), 2) << "the second \"old night\" is left out";
    const TBewertungDataSet night = lib.Read(lib.Find("Old night"));
    ASSERT_EQ(night.Ranges.size(), 2u);
    EXPECT_EQ(HoursToText(night.Ranges[0]->Hours), "22-6");
    EXPECT_EQ(HoursToText(night.Ranges[1]->Hours), "0-1");
    EXPECT_EQ(night.Ranges[0]->Limits[1], 4.0f);
    EXPECT_EQ(night.Additions[0][22], 10.0f) << "found by the older usage id in Kzl";
    const TBewertungDataSet day = lib.Read(lib.Find("Old day"));
    EXPECT_EQ(day.Additions[9][6], 6.0f);
    EXPECT_EQ(day.Ranges[0]->Limits[1], 9.0f);
}

TEST_F(AssessmentImportTest, AbortedConversionLeavesTheLibraryEmpty) {
    MakeOlderLibrary(f.Project(), false);
    f.Ui().SetProcessEventsHook([this] {
        if (f.Host().HasLog())
            f.Host().Log().Cancel();
    });
    TBewertungForm& editor = Open({f.Project()});
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 0);
    EXPECT_TRUE(fs::exists(f.Project() + kOlderMainFile));
    editor.Close();
}

TEST_F(AssessmentImportTest, CopyMapsUsageAreasAfterAsking) {
    TUsages target = DefaultUsages();
    target[1].Short = "wa"; // the same area, another case
    target[6] = {"X", "Not in the source"};
    WriteUsagesToLib(f.Project2(), target);
    {
        test::TAssessmentLib lib(f.Project());
        TBewertungDataSet d = test::Assessment("Shop", {Range("Ld", "6-22", 55)});
        d.Ranges[0]->Limits[7] = 60; // MI: missing in the target
        d.Additions[1][6] = 6;
        lib.Add(d);
        test::TAssessmentLib other(f.Project2());
    }
    TBewertungForm& editor = Open({f.Project(), f.Project2()});
    ASSERT_EQ(editor.TabCount(), 2);
    ASSERT_TRUE(editor.TabLibs().SetTabIndex(0));
    ASSERT_TRUE(editor.GotoElementName(0, "Shop"));

    f.Ui().ExpectMessage("The following usages are missing in target project:\rMI: Mixed area\r", mrNo);
    editor.CopyElement(editor, 1);
    EXPECT_EQ(editor.GetMainTable(1)->RecordCount(), 0) << "No stops the copy";

    ASSERT_TRUE(editor.TabLibs().SetTabIndex(0));
    f.Ui().ExpectMessage("Usage area shorts differ in between both assessment libraries!\r", mrYes);
    editor.CopyElement(editor, 1);
    editor.Close();
    test::TAssessmentLib lib(f.Project2());
    const TBewertungDataSet copy = lib.Read(lib.Find("Shop"));
    ASSERT_EQ(copy.Ranges.size(), 1u);
    EXPECT_EQ(copy.Ranges[0]->Limits[2], 55.0f) << "wa takes WA";
    EXPECT_EQ(copy.Ranges[0]->Limits[7], 0.0f) << "X has no source area";
    EXPECT_EQ(copy.Additions[1][6], 6.0f);
    const std::vector<std::string> shown = f.Ui().Messages();
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back(), "Usage area shorts differ in between both assessment libraries!\r"
                            "Additions and limits will be assigned according the respective usage shorts.\r"
                            "The following usages are missing in target project:\r"
                            "MI: Mixed area\r"
                            "If needed add them as additional usage area first.\r"
                            "Continue?");
}

} // namespace
} // namespace korvel::assessment
