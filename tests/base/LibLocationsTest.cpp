#include "platform/base/LibLocations.h"

#include "platform/base/LibKinds.h"
#include "platform/settings/ProgramSettings.h"
#include "support/ScopedEnv.h"
#include "support/SettingsSandbox.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace korvel::test {

namespace {

std::string MakeFolder(const TempDir& root, const std::string& name, bool withEmissionLibrary) {
    auto folder = root.Path() / name;
    std::filesystem::create_directories(folder);
    if (withEmissionLibrary) {
        std::ofstream(folder / LibName(120)) << "x";
    }
    return folder.string() + "/";
}

} // namespace

TEST(LibLocations, SystemFolderIsTheFirstConfiguredOneHoldingTheLibrary) {
    SettingsSandbox settings;
    TempDir root;
    std::string first = MakeFolder(root, "sys1", false);
    std::string second = MakeFolder(root, "sys2", true);
    std::string shipped = MakeFolder(root, "shipped/system/libs", true);
    ScopedEnv env("KORVEL_SYSTEM_LIBS", shipped.c_str());
    SetSystemLibPath1(first);
    SetSystemLibPath2(second);
    EXPECT_EQ(GetLastUsed(120, TLibPathType::System, ""), second);

    SetSystemLibPath2("");
    EXPECT_EQ(GetLastUsed(120, TLibPathType::System, ""), shipped);

    ScopedEnv none("KORVEL_SYSTEM_LIBS", MakeFolder(root, "empty", false).c_str());
    EXPECT_EQ(GetLastUsed(120, TLibPathType::System, ""), ""); // no System tab then
}

} // namespace korvel::test
