#include "platform/settings/ConfigLocation.h"

#include "support/ScopedEnv.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

using test::ScopedEnv;

TEST(ConfigLocationTest, KorvelConfigDirWins) {
    ScopedEnv config("KORVEL_CONFIG_DIR", "/tmp/kcfg");
    ScopedEnv xdg("XDG_CONFIG_HOME", "/tmp/xdg");
    EXPECT_EQ(KorvelConfigDir(), "/tmp/kcfg/");
    EXPECT_EQ(KorvelLibIniFileName(), "/tmp/kcfg/KorvelLib.ini");
}

TEST(ConfigLocationTest, XdgConfigHomeComesNext) {
    ScopedEnv config("KORVEL_CONFIG_DIR", "");
    ScopedEnv xdg("XDG_CONFIG_HOME", "/tmp/xdg/");
    EXPECT_EQ(KorvelLibIniFileName(), "/tmp/xdg/korvel/KorvelLib.ini");
}

TEST(ConfigLocationTest, HomeIsTheLastResort) {
    ScopedEnv config("KORVEL_CONFIG_DIR", nullptr);
    ScopedEnv home("HOME", "/home/ann");
    {
        ScopedEnv xdg("XDG_CONFIG_HOME", nullptr);
        EXPECT_EQ(KorvelLibIniFileName(), "/home/ann/.config/korvel/KorvelLib.ini");
    }
    {
        // The XDG rules call a relative folder invalid.
        ScopedEnv xdg("XDG_CONFIG_HOME", "relative/cfg");
        EXPECT_EQ(KorvelLibIniFileName(), "/home/ann/.config/korvel/KorvelLib.ini");
    }
}

TEST(ConfigLocationTest, InProcessOverrideBeatsTheEnvironmentUntilCleared) {
    ScopedEnv config("KORVEL_CONFIG_DIR", "/tmp/kcfg");
    SetKorvelLibIniFileName("/elsewhere/Test.ini");
    EXPECT_EQ(KorvelLibIniFileName(), "/elsewhere/Test.ini");
    SetKorvelLibIniFileName("");
    EXPECT_EQ(KorvelLibIniFileName(), "/tmp/kcfg/KorvelLib.ini");
}

} // namespace
} // namespace korvel
