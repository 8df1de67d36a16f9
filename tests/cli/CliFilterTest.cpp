// list with the element filter of the sound libraries: groups (OR, AND) and the text over comment and name.

#include "CliRunner.h"
#include "sound/ElementFilter.h"
#include "support/TempDir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int kUsage = 2;
const std::string kEmission = "120";

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

class CliFilter : public ::testing::Test {
protected:
    void SetUp() override {
        lib_ = (root_.Path() / "project").string() + "/";
        fs::create_directories(lib_);
        // number: name, comment, groups
        Add(R"({"name": "Fan A", "comment": "Roof fan", "groups": ["Fans", "Roof"], "values": {"30": 80}})");
        Add(R"({"name": "Pump", "comment": "Basement", "groups": ["Pumps"], "values": {"30": 70}})");
        Add(R"({"name": "Fan B", "comment": "Wall fan", "groups": ["fans"], "values": {"30": 75}})");
        Add(R"({"name": "Chiller", "comment": "Roof unit", "groups": ["Roof", "Pumps"], "values": {"30": 85}})");
        Add(R"({"name": "DACHLÜFTER", "comment": "", "values": {"30": 60}})");
    }

    TCliResult Run(std::vector<std::string> args, const std::string& input = {}) {
        args.insert(args.begin(), {"--config", (root_.Path() / "config").string()});
        return RunKorvellib(args, input);
    }

    void Add(const std::string& element) {
        TCliResult r = Run({"add", kEmission, lib_, "--element-json", "-"}, element);
        ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    }

    // The numbers listed with the options, from the JSON list.
    std::vector<int> Listed(const std::vector<std::string>& options) {
        std::vector<std::string> args{"list", kEmission, lib_, "--json"};
        args.insert(args.end(), options.begin(), options.end());
        TCliResult r = Run(args);
        EXPECT_EQ(r.ExitCode, 0) << Describe(r);
        std::vector<int> numbers;
        if (r.ExitCode == 0)
            for (const json& row : json::parse(r.Out))
                numbers.push_back(row.at("number").get<int>());
        return numbers;
    }

    TempDir root_;
    std::string lib_;
};

using TNumbers = std::vector<int>;

} // namespace

TEST_F(CliFilter, GroupsCombineByOrOrAndIgnoringLetterCase) {
    EXPECT_EQ(Listed({}), (TNumbers{1, 2, 3, 4, 5}));
    // "fans" was given to Fan B: the group table finds the group by name whatever its case.
    EXPECT_EQ(Listed({"--filter-group", "Fans"}), (TNumbers{1, 3}));
    EXPECT_EQ(Listed({"--filter-group", "FANS"}), (TNumbers{1, 3}));
    EXPECT_EQ(Listed({"--filter-group", "Fans", "--filter-group", "Pumps"}), (TNumbers{1, 2, 3, 4}));
    EXPECT_EQ(Listed({"--filter-group", "Roof", "--filter-group", "Pumps", "--filter-and"}), (TNumbers{4}));
    EXPECT_EQ(Listed({"--filter-group", "Fans", "--filter-group", "Roof", "--filter-and"}), (TNumbers{1}));

    // A group the library lacks matches nothing, and says so; with OR the other group still counts.
    TCliResult unknown = Run({"list", kEmission, lib_, "--filter-group", "Valves"});
    EXPECT_EQ(unknown.ExitCode, 0) << Describe(unknown);
    EXPECT_EQ(unknown.Out, "");
    EXPECT_NE(unknown.Err.find("\"Valves\""), std::string::npos) << unknown.Err;
    EXPECT_EQ(Listed({"--filter-group", "Valves", "--filter-group", "Pumps"}), (TNumbers{2, 4}));

    // The text list prints the same elements.
    TCliResult text = Run({"list", kEmission, lib_, "--filter-group", "Pumps"});
    ASSERT_EQ(text.ExitCode, 0) << Describe(text);
    EXPECT_EQ(text.Out, "     2  Pump\n     4  Chiller\n");
}

TEST_F(CliFilter, TextSearchesCommentFollowedByNameAndCombinesWithGroups) {
    EXPECT_EQ(Listed({"--filter-text", "roof"}), (TNumbers{1, 4}));
    // Comment and name are one text: "Roof fan" + "Fan A" holds "fanfan".
    EXPECT_EQ(Listed({"--filter-text", "fanfan"}), (TNumbers{1, 3}));
    EXPECT_EQ(Listed({"--filter-text", "lüfter"}), (TNumbers{5}));
    EXPECT_EQ(Listed({"--filter-text", "nothing like it"}), (TNumbers{}));
    EXPECT_EQ(Listed({"--filter-group", "Fans", "--filter-text", "wall"}), (TNumbers{3}));
    EXPECT_EQ(Listed({"--filter-group", "Roof", "--filter-text", "fan"}), (TNumbers{1}));
    // A filter holds for its own run only: nothing is kept beside the library.
    EXPECT_EQ(Listed({}), (TNumbers{1, 2, 3, 4, 5}));
    EXPECT_FALSE(fs::exists(lib_ + "EmisX.fil"));

    // A filter the editor kept switched on beside the library does not narrow a plain list.
    sound::TFilterRec kept;
    kept.SetEnabled(true);
    kept.SetTextFilter("nothing like it");
    sound::SaveFilter(lib_ + "EmisX.abs", kept);
    EXPECT_EQ(Listed({}), (TNumbers{1, 2, 3, 4, 5}));
}

TEST_F(CliFilter, WrongFilterOptionsAreUsageErrors) {
    struct Case {
        std::vector<std::string> Args;
        std::string Expected;
    };
    const std::vector<Case> cases = {
        {{"list", "9", lib_, "--filter-text", "x"},
         "Filters exist for the sound libraries (types 120 to 123) only"},
        {{"list", kEmission, lib_, "--filter-group", "A", "--filter-group", "B", "--filter-group", "C"},
         "at most twice"},
        {{"list", kEmission, lib_, "--filter-group", "Fans", "--filter-and"}, "two --filter-group"},
        {{"list", kEmission, lib_, "--filter-group", ""}, "group name"},
        {{"list", kEmission, lib_, "--filter-group", std::string(41, 'g')}, "40 characters"},
        {{"list", kEmission, lib_, "--filter-text", std::string(81, 't')}, "80 characters"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Args.back());
        TCliResult r = Run(c.Args);
        EXPECT_EQ(r.ExitCode, kUsage) << Describe(r);
        EXPECT_EQ(r.Out, "");
        EXPECT_NE(r.Err.find(c.Expected), std::string::npos) << r.Err;
    }
}

} // namespace korvel::test
