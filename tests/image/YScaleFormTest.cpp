#include "platform/base/YScaleForm.h"

#include "platform/settings/ConfigLocation.h"
#include "support/SettingsSandbox.h"
#include "support/TestUi.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel {
namespace {

TFormYScale& Dialog(TForm& form) {
    return dynamic_cast<TFormYScale&>(form);
}

TEST(YScaleForm, OkStoresAFixedRange) {
    test::SettingsSandbox sandbox;
    test::TTestUi ui;
    ui.ExpectModal("y-Scale", [](TForm& f) {
        EXPECT_TRUE(Dialog(f).CBAuto->Checked());
        EXPECT_EQ(Dialog(f).EditMax->Text(), "1"); // absorption default
        EXPECT_FALSE(Dialog(f).EditMax->Reachable());
        f.Find<TCheckBox>("CBAuto").Toggle();
        EXPECT_TRUE(Dialog(f).EditMax->Reachable());
        f.Find<TEdit>("EditMin").SetText("0.1");
        f.Find<TEdit>("EditMax").SetText("0,9"); // as typed with a decimal comma
        f.Find<TButton>("ButtonOK").Click();
        return mrNone;
    });
    EXPECT_TRUE(EditYScale(ui, 121));
    EXPECT_EQ(ReadYScale(121), (TYScaleFmt{false, 0.1, 0.9}));
}

TEST(YScaleForm, BadNumbersKeepTheFormOpen) {
    test::SettingsSandbox sandbox;
    test::TTestUi ui;
    ui.ExpectModal("y-Scale", [&ui](TForm& f) {
        auto& form = Dialog(f);
        form.CBAuto->Toggle();
        form.EditMin->SetText("low");
        ui.ExpectMessage(mtError, "\"low\" is not a number", mrOk);
        form.PressDefault();
        EXPECT_TRUE(form.Modal());

        form.EditMin->SetText("10");
        form.EditMax->SetText("1e9");
        ui.ExpectMessage(mtError, "maximum of the y-scale must lie between", mrOk);
        form.PressDefault();
        EXPECT_TRUE(form.Modal());

        form.EditMax->SetText("20");
        form.PressDefault();
        return mrNone;
    });
    EXPECT_TRUE(EditYScale(ui, 120));
    EXPECT_EQ(ReadYScale(120), (TYScaleFmt{false, 10, 20}));
}

TEST(YScaleForm, EmptyRangeTurnsAutoscaleOn) {
    test::SettingsSandbox sandbox;
    WriteYScale(120, {false, 0, 50});
    test::TTestUi ui;
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

TEST(YScaleForm, CancelWritesNothing) {
    test::SettingsSandbox sandbox;
    test::TTestUi ui;
    ui.ExpectModal("y-Scale", [](TForm& f) {
        Dialog(f).CBAuto->Toggle();
        Dialog(f).EditMax->SetText("70");
        f.PressCancel();
        return mrNone;
    });
    EXPECT_FALSE(EditYScale(ui, 120));
    EXPECT_FALSE(std::filesystem::exists(sandbox.Dir().File("KorvelLib.Scale.ini")));
}

} // namespace
} // namespace korvel
