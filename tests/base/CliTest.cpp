#include "platform/base/LibKinds.h"
#include "support/RunProcess.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::test {

namespace {

RunResult RunCli(const std::string& args) {
    return RunProgram(KORVELLIB_EXE, args);
}

} // namespace

TEST(Cli, KindsJsonListsEveryTypeWithItsEditorFileAndTables) {
    RunResult r = RunCli("kinds --json");
    ASSERT_EQ(r.ExitCode, 0) << r.Out;
    auto list = nlohmann::json::parse(r.Out);
    ASSERT_EQ(list.size(), AllLibKinds().size());
    for (const auto& entry : list) {
        const TLibKindInfo* kind = FindLibKind(entry.at("type").get<int>());
        ASSERT_NE(kind, nullptr) << entry.dump();
        EXPECT_EQ(entry.at("editor"), kind->EditorClass);
        EXPECT_EQ(entry.at("caption"), kind->Caption);
        EXPECT_EQ(entry.at("file"), kind->FileName);
        EXPECT_EQ(entry.at("tables").get<std::vector<std::string>>(), kind->Tables);
        EXPECT_TRUE(entry.at("implemented").is_boolean());
    }
    EXPECT_EQ(list.front().at("type"), 5);
    EXPECT_EQ(list.front().at("editor"), "TTgForm");
}

TEST(Cli, VersionAndUsageErrors) {
    RunResult version = RunCli("--version");
    EXPECT_EQ(version.ExitCode, 0);
    EXPECT_NE(version.Out.find("SQLite"), std::string::npos) << version.Out;

    EXPECT_NE(RunCli("no-such-command").ExitCode, 0);
    EXPECT_NE(RunCli("").ExitCode, 0);
}

} // namespace korvel::test
