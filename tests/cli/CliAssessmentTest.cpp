// The assessment library from the command line: an element as JSON both ways, the usage areas of a folder,
// and the import of an older binary file.

#include "CliRunner.h"
#include "support/FileBytes.h"
#include "support/LimiFileBuilder.h"
#include "support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int kUsage = 2;

class CliAssessment : public ::testing::Test {
protected:
    CliAssessment() { fs::create_directories(root_.Path() / "lib"); }
    std::string Lib() const { return root_.File("lib") + "/"; }
    TCliResult Run(std::vector<std::string> args) const {
        args.insert(args.begin(), {"--config", root_.File("config")});
        return RunKorvellib(args);
    }
    std::string WriteJson(const std::string& name, const json& j) const {
        WriteAll(root_.File(name), std::string_view(j.dump()));
        return root_.File(name);
    }
    json Show(int number, std::vector<std::string> extra = {}) {
        std::vector<std::string> args{"show", "135", Lib(), std::to_string(number), "--json"};
        args.insert(args.end(), extra.begin(), extra.end());
        const TCliResult r = Run(args);
        EXPECT_TRUE(ExitedWith(r, 0));
        return r.ExitCode == 0 ? json::parse(r.Out) : json();
    }
    TempDir root_;
};

TEST_F(CliAssessment, ElementJsonBothWaysWithItsChecks) {
    const json element = {
        {"name", "Works"},
        {"ranges",
         {{{"name", "Day"},
           {"short", "Lr,d"},
           {"type", 0},
           {"hours", " 6 - 22 "},
           {"Ta", 16},
           {"withPenalties", true},
           {"limits", {{"WA", 55}, {"wr", 50}}}},
          {{"name", "Night"},
           {"short", "Lr,n"},
           {"type", 0},
           {"hours", "22-6"},
           {"Ta", 1},
           {"loudestN", 1},
           {"limits", {{"WA", 40}}}},
          {{"name", "Room"}, {"short", "T"}, {"type", 13}, {"method", "T30"}}}},
        {"additions",
         {{"WA", json::array({0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 6, 6, 0, 0})}}}};
    TCliResult r = Run({"add", "135", Lib(), "--element-json", WriteJson("a.json", element)});
    ASSERT_TRUE(ExitedWith(r, 0));
    const int number = std::stoi(r.Out);

    const json shown = Show(number).at("element");
    ASSERT_EQ(shown.at("ranges").size(), 3u);
    EXPECT_EQ(shown["ranges"][0]["hours"], "6-22");
    EXPECT_EQ(shown["ranges"][0]["limits"], (json{{"WR", 50.0}, {"WA", 55.0}}));
    EXPECT_EQ(shown["ranges"][1]["hours"], "22-6");
    EXPECT_EQ(shown["ranges"][1]["loudestN"], 1);
    EXPECT_EQ(shown["ranges"][2]["method"], "T30");
    EXPECT_EQ(shown["ranges"][2]["typeName"], "Reverberation time T20/T30");
    EXPECT_EQ(shown["additions"]["WA"][20], 6.0);

    // A wrong hour or usage short is refused with the member named, and nothing changes.
    for (const json& bad :
         {json{{"ranges", {{{"hours", "25-3"}}}}}, json{{"ranges", {{{"limits", {{"QQ", 1}}}}}}}}) {
        r = Run({"set", "135", Lib(), std::to_string(number), "--element-json", WriteJson("b.json", bad)});
        EXPECT_TRUE(ExitedWith(r, kUsage, {"ranges[0]."}));
    }
    EXPECT_EQ(Show(number).at("element"), shown);

    // The shown object goes back in unchanged.
    r = Run({"set", "135", Lib(), std::to_string(number), "--element-json", WriteJson("c.json", shown)});
    EXPECT_TRUE(ExitedWith(r, 0));
    EXPECT_EQ(Show(number).at("element"), shown);
}

TEST_F(CliAssessment, UsageAreasOfTheFolder) {
    ASSERT_TRUE(
        ExitedWith(Run({"add", "135", Lib(), "--element-json", WriteJson("a.json", {{"name", "X"}})}), 0));
    TCliResult r = Run({"list", "135", Lib(), "--usages", "--json"});
    ASSERT_TRUE(ExitedWith(r, 0));
    const json usages = json::parse(r.Out);
    ASSERT_EQ(usages.size(), 25u);
    EXPECT_EQ(usages[1], (json{{"number", 2}, {"short", "WA"}, {"description", "General residential area"}}));
    EXPECT_EQ(Show(1, {"--usages"}).at("usages"), usages);
    r = Run({"list", "135", Lib(), "--usages"});
    EXPECT_NE(r.Out.find("WA       General residential area"), std::string::npos) << r.Out;
    EXPECT_TRUE(ExitedWith(Run({"list", "9", Lib(), "--usages"}), kUsage, {"type 135"}));
}

TEST_F(CliAssessment, ImportsAnOlderBinaryFile) {
    const std::string file = root_.File("Limi.007");
    WriteAll(file, TLimiFileBuilder().Name("Old plant").Usage(2, {55, 40, 0}).Bytes());
    TCliResult r = Run({"import", "135", Lib(), file});
    ASSERT_TRUE(ExitedWith(r, 0));
    EXPECT_NE(r.Out.find("1 element added"), std::string::npos) << r.Out;
    const json shown = Show(1).at("element");
    EXPECT_EQ(shown["name"], "Old plant");
    ASSERT_EQ(shown["ranges"].size(), 3u);
    EXPECT_EQ(shown["ranges"][1]["hours"], "22-6");
    EXPECT_EQ(shown["ranges"][1]["limits"], (json{{"WA", 40.0}}));

    // A file cut short: a clear failure and no element.
    TBlob cut = TLimiFileBuilder().Name("Cut").Usage(2, {1, 2, 3}).Bytes();
    cut.resize(cut.size() - 3);
    WriteAll(root_.File("Limi.008"), cut);
    r = Run({"import", "135", Lib(), root_.File("Limi.008")});
    EXPECT_NE(r.ExitCode, 0);
    EXPECT_NE(r.Err.find("Limi.008"), std::string::npos) << r.Err;
    r = Run({"list", "135", Lib(), "--json"});
    EXPECT_EQ(json::parse(r.Out).size(), 1u);
}

} // namespace
} // namespace korvel::test
