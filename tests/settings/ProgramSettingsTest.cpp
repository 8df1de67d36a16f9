#include "platform/settings/ProgramSettings.h"

#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/PathType.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

class ProgramSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { SetKorvelLibIniFileName(dir.File("KorvelLib.ini")); }
    void TearDown() override { SetKorvelLibIniFileName(""); }
    test::TempDir dir;
};

TEST_F(ProgramSettingsTest, FoldersAreStoredUnderTheirKeysAndReadWithASeparator) {
    EXPECT_EQ(GetGlobalLibPath(), "");
    EXPECT_EQ(GetSystemLibPath1(), "");

    SetGlobalLibPath("/data/global");
    SetSystemLibPath1("/opt/libs1/");
    SetSystemLibPath2("D:\\Korvel\\System\\Libs\\");

    EXPECT_EQ(GetGlobalLibPath(), "/data/global/");
    EXPECT_EQ(GetSystemLibPath1(), "/opt/libs1/");
    EXPECT_EQ(GetSystemLibPath2(), "D:\\Korvel\\System\\Libs\\");

    const TIniStore raw(dir.File("KorvelLib.ini"));
    EXPECT_EQ(raw.ReadString("Folders", "GlobalLib", ""), "/data/global");
    EXPECT_EQ(raw.ReadString("Folders", "SystemLib1", ""), "/opt/libs1/");
}

TEST(SystemLibPathDefaultTest, EnvironmentVariableWins) {
    test::ScopedEnv env("KORVEL_SYSTEM_LIBS", "/srv/korvel/system/libs");
    EXPECT_EQ(SystemLibPathDefault(), "/srv/korvel/system/libs/");
}

TEST(SystemLibPathDefaultTest, UninstalledProgramUsesTheBuildTreeFolderWhichCountsAsSystem) {
    test::ScopedEnv env("KORVEL_SYSTEM_LIBS", nullptr);
    const std::string folder = SystemLibPathDefault();
    EXPECT_TRUE(folder.ends_with("/system/libs/")) << folder;
    EXPECT_EQ(GetPathTypeByName(folder + "Emis.abs", "/"), TLibPathType::System);
}

} // namespace
} // namespace korvel
