// The y-scale of a kind's printout: where it is stored, what damage in the scale file reads as, and the
// dialog that edits it; and the window placement's refusal of an unusable window.

#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/YScaleForm.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/WindowPlacement.h"
#include "support/SettingsSandbox.h"
#include "support/TestUi.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel {
namespace {

class YScale : public ::testing::Test {
protected:
    test::SettingsSandbox sandbox;
    test::TTestUi ui;
};

TEST_F(YScale, StoresThousandthsInTheScaleFilePerKindWithDefaultsByKind) {
    EXPECT_EQ(ReadYScale(120), (TYScaleFmt{true, 0, 100}));
    EXPECT_THROW(ReadYScale(9999), EKorvelError);
    EXPECT_THROW(WriteYScale(9999, {}), EKorvelError);
    WriteYScale(120, {false, -12.3456, 80.5});
    EXPECT_EQ(ReadYScale(120), (TYScaleFmt{false, -12.346, 80.5}));
    EXPECT_EQ(ReadYScale(121), (TYScaleFmt{true, 0, 1}));

    const std::string file = sandbox.Dir().File("KorvelLib.Scale.ini");
    EXPECT_FALSE(std::filesystem::exists(KorvelLibIniFileName())); // nothing in the main settings file
    const TIniStore ini(file);
    EXPECT_EQ(ini.ReadInteger(RegLibName(120), "YMin", 0), -12346);
    EXPECT_EQ(ini.ReadInteger(RegLibName(120), "YMax", 0), 80500);
    EXPECT_FALSE(ini.ReadBool(RegLibName(120), "YAuto", true));

    // Hand-edited damage: an unreadable value takes the default, an empty range turns automatic.
    ini.WriteString(RegLibName(120), "YMax", "lots");
    EXPECT_EQ(ReadYScale(120), (TYScaleFmt{false, -12.346, 100}));
    ini.WriteInteger(RegLibName(120), "YMax", -20000);
    EXPECT_TRUE(ReadYScale(120).Auto);

    // A limit the store cannot hold is refused without touching what is stored.
    WriteYScale(121, {false, 0.25, 0.75});
    EXPECT_THROW(WriteYScale(121, {true, 0, 3e6}), EKorvelError);
    EXPECT_EQ(ReadYScale(121), (TYScaleFmt{false, 0.25, 0.75}));
}

TFormYScale& Dialog(TForm& form) {
    return dynamic_cast<TFormYScale&>(form);
}

TEST_F(YScale, TheDialogKeepsBadNumbersOpenAndStoresAFixedRangeOnOk) {
    ui.ExpectModal("y-Scale", [this](TForm& f) {
        auto& form = Dialog(f);
        EXPECT_TRUE(form.CBAuto->Checked());
        EXPECT_EQ(form.EditMax->Text(), "1"); // absorption default
        EXPECT_FALSE(form.EditMax->Reachable());
        f.Find<TCheckBox>("CBAuto").Toggle();
        EXPECT_TRUE(form.EditMax->Reachable());

        form.EditMin->SetText("low");
        ui.ExpectMessage(mtError, "\"low\" is not a number", mrOk);
        form.PressDefault();
        EXPECT_TRUE(form.Modal());
        f.Find<TEdit>("EditMin").SetText("0.1");
        form.EditMax->SetText("1e9");
        ui.ExpectMessage(mtError, "maximum of the y-scale must lie between", mrOk);
        form.PressDefault();
        EXPECT_TRUE(form.Modal());
        f.Find<TEdit>("EditMax").SetText("0,9"); // as typed with a decimal comma
        f.Find<TButton>("ButtonOK").Click();
        return mrNone;
    });
    EXPECT_TRUE(EditYScale(ui, 121));
    EXPECT_EQ(ReadYScale(121), (TYScaleFmt{false, 0.1, 0.9}));
}

TEST_F(YScale, TheDialogTurnsAnEmptyRangeAutomaticAndCancelWritesNothing) {
    ui.ExpectModal("y-Scale", [](TForm& f) {
        Dialog(f).CBAuto->Toggle();
        Dialog(f).EditMax->SetText("70");
        f.PressCancel();
        return mrNone;
    });
    EXPECT_FALSE(EditYScale(ui, 120));
    EXPECT_FALSE(std::filesystem::exists(sandbox.Dir().File("KorvelLib.Scale.ini")));

    WriteYScale(120, {false, 0, 50});
    ui.ExpectModal("y-Scale", [](TForm& f) {
        auto& form = Dialog(f);
        EXPECT_FALSE(form.CBAuto->Checked());
        form.EditMin->SetText("50");
        form.ButtonOK->Click();
        EXPECT_TRUE(form.CBAuto->Checked());
        EXPECT_FALSE(form.EditMin->Reachable());
        return mrNone;
    });
    EXPECT_TRUE(EditYScale(ui, 120));
    EXPECT_TRUE(ReadYScale(120).Auto);
}

// What is not a usable window is neither read nor written.
using WindowPlacement = YScale;
TEST_F(WindowPlacement, AnUnusableOneIsNeitherReadNorWritten) {
    EXPECT_THROW(SaveWindowSettings("Lib120", {10, 10, 0, 480}), EKorvelError);
    SaveWindowSettings("Lib120", {10, 10, 640, 480});
    TIniStore(KorvelLibIniFileName()).WriteString("Lib120", "Width", "100001");
    EXPECT_FALSE(LoadWindowSettings("Lib120"));
}

} // namespace
} // namespace korvel
