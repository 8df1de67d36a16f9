#include "platform/settings/ProgramSettings.h"

#include "platform/settings/ConfigLocation.h"
#include "platform/settings/PathType.h"
#include "support/ScopedEnv.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

using test::ScopedEnv;

TEST(ConfigLocationTest, TheFirstUsableOfConfigDirXdgAndHomeHoldsTheSettings) {
    ScopedEnv home("HOME", "/home/ann");
    struct Row {
        const char* configDir;
        const char* xdg;
        const char* file;
    };
    const Row rows[] = {
        {"/tmp/kcfg", "/tmp/xdg", "/tmp/kcfg/KorvelLib.ini"},
        {"", "/tmp/xdg/", "/tmp/xdg/korvel/KorvelLib.ini"},
        {nullptr, nullptr, "/home/ann/.config/korvel/KorvelLib.ini"},
        // The XDG rules call a relative folder invalid.
        {nullptr, "relative/cfg", "/home/ann/.config/korvel/KorvelLib.ini"},
    };
    for (const Row& row : rows) {
        ScopedEnv config("KORVEL_CONFIG_DIR", row.configDir);
        ScopedEnv xdg("XDG_CONFIG_HOME", row.xdg);
        EXPECT_EQ(KorvelLibIniFileName(), row.file)
            << (row.configDir ? row.configDir : "-") << " " << (row.xdg ? row.xdg : "-");
    }
    ScopedEnv config("KORVEL_CONFIG_DIR", "/tmp/kcfg");
    EXPECT_EQ(KorvelConfigDir(), "/tmp/kcfg/");
    // An override in this process beats the environment until cleared.
    SetKorvelLibIniFileName("/elsewhere/Test.ini");
    EXPECT_EQ(KorvelLibIniFileName(), "/elsewhere/Test.ini");
    SetKorvelLibIniFileName("");
    EXPECT_EQ(KorvelLibIniFileName(), "/tmp/kcfg/KorvelLib.ini");
}

TEST(ProgramSettingsTest, ShippedSystemFolderIsTheEnvironmentsElseTheBuildTreesWhichCountsAsSystem) {
    {
        ScopedEnv env("KORVEL_SYSTEM_LIBS", "/srv/korvel/system/libs");
        EXPECT_EQ(SystemLibPathDefault(), "/srv/korvel/system/libs/");
    }
    ScopedEnv env("KORVEL_SYSTEM_LIBS", nullptr);
    const std::string folder = SystemLibPathDefault();
    EXPECT_TRUE(folder.ends_with("/system/libs/")) << folder;
    EXPECT_EQ(GetPathTypeByName(folder + "Emis.abs", "/"), TLibPathType::System);
}

constexpr auto kSystem = TLibPathType::System;
constexpr auto kGlobal = TLibPathType::Global;
constexpr auto kProject = TLibPathType::Project;

struct Case {
    const char* name;
    const char* global;
    TLibPathType expected;
};

TEST(PathTypeTest, FolderPartDecides) {
    const Case cases[] = {
        // No folder at all.
        {"Emis.abs", "/data/global/", kSystem},
        {"", "/data/global/", kSystem},
        // The system/libs segment, any case, either separator, even mixed.
        {"/usr/share/korvel/system/libs/Emis.abs", "/data/global/", kSystem},
        {"C:\\Korvel\\SYSTEM\\Libs\\Emis.abs", "/data/global/", kSystem},
        {"/opt/System\\libs/Emis.abs", "/data/global/", kSystem},
        {"/opt/system/libs/", "", kSystem},
        // Segments must be whole: no partial names on either side.
        {"/opt/system/libsx/Emis.abs", "/data/global/", kProject},
        {"/opt/mysystem/libs/Emis.abs", "/data/global/", kProject},
        // A folder without trailing separator is taken as a file name; its parent is the folder.
        {"/opt/system/libs", "/data/global/", kProject},
        // Below the global folder, in any case and either separator.
        {"/data/global/Emis.abs", "/data/global/", kGlobal},
        {"/DATA/Global/sub/Emis.abs", "/data/global/", kGlobal},
        {"\\data\\global\\Emis.abs", "/data/global/", kGlobal},
        {"/data/globalX/Emis.abs", "/data/global/", kProject},
        // The system segment beats the global folder.
        {"/data/global/system/libs/Emis.abs", "/data/global/", kSystem},
        // Without a global folder everything else is a project.
        {"/data/global/Emis.abs", "", kProject},
        {"/home/ann/project/Emis.abs", "/data/global/", kProject},
        {"/home/Änne/PROJEKT/Emis.abs", "/home/änne/projekt/", kGlobal},
    };
    for (const Case& c : cases)
        EXPECT_EQ(GetPathTypeByName(c.name, c.global), c.expected) << c.name << " with global " << c.global;
}

} // namespace
} // namespace korvel
