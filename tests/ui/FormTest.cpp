#include "platform/ui/Form.h"

#include "platform/Errors.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

// A small editor built the way the real ones are: controls made in code, behaviour in methods named after
// control and event.
class TLevelForm : public TForm {
public:
    explicit TLevelForm(IUi& ui) : TForm(ui, "LevelForm") {
        SetCaption("Sound power level");
        EditName = &Add<TEdit>("EditName");
        EditLevel = &Add<TEdit>("EditLevel");
        CBdBX = &Add<TComboBox>("CBdBX");
        CBdBX->SetStyle(csDropDownList);
        CBdBX->SetItems({"dB", "dB(A)"});
        auto& buttons = Add<TPanel>("PanelButtons");
        buttons.SetAlign(alBottom);
        ButtonOK = &buttons.Add<TButton>("ButtonOK");
        ButtonOK->SetModalResult(mrOk);
        ButtonOK->SetDefault(true);
        ButtonCancel = &buttons.Add<TButton>("ButtonCancel");
        ButtonCancel->SetModalResult(mrCancel);
        ButtonCancel->SetCancel(true);

        CBdBX->OnChange = Bind(&TLevelForm::CBdBXChange);
        OnCloseQuery = Bind(&TLevelForm::FormCloseQuery);
        OnShow = Bind(&TLevelForm::FormShow);
        Load("Fan", "90", 0);
    }

    void Load(const std::string& name, const std::string& level, int unit) {
        TSuspendEvents guard = SuspendTreeEvents(*this);
        EditName->SetText(name);
        EditLevel->SetText(level);
        CBdBX->SetItemIndex(unit);
        unit_ = unit;
    }

    TEdit* EditName;
    TEdit* EditLevel;
    TComboBox* CBdBX;
    TButton* ButtonOK;
    TButton* ButtonCancel;
    int shows = 0;

private:
    void CBdBXChange(TComponent&) {
        switch (Ui().MessageDlg("Convert the level to " + CBdBX->Text() + "?", mtConfirmation,
                                {mbYes, mbNo, mbCancel})) {
        case mrYes:
            EditLevel->SetText(CBdBX->ItemIndex() == 1 ? "88" : "90");
            break;
        case mrNo:
            break;
        default: {
            TSuspendEvents guard(*CBdBX);
            CBdBX->SetItemIndex(unit_);
            return;
        }
        }
        unit_ = CBdBX->ItemIndex();
    }
    void FormCloseQuery(TComponent&, bool& canClose) {
        if (ModalResult() == mrOk && EditName->Text().empty()) {
            Ui().MessageDlg("Enter a name.", mtWarning, {mbOK});
            canClose = false;
        }
    }
    void FormShow(TComponent&) { ++shows; }

    int unit_ = 0;
};

TEST(FormEvents, ComboChangeAsksAndActsOnTheAnswer) {
    test::TTestUi ui;
    TLevelForm form(ui);
    EXPECT_TRUE(ui.Shown().empty()); // loading ran with the handlers detached

    ui.ExpectMessage(mtConfirmation, "Convert the level to dB(A)?", mrYes);
    form.CBdBX->SetItemIndex(1);
    EXPECT_EQ(form.EditLevel->Text(), "88");

    ui.ExpectMessage("Convert the level to dB?", mrNo);
    form.CBdBX->SetText("dB");
    EXPECT_EQ(form.EditLevel->Text(), "88");

    ui.ExpectMessage("Convert", mrCancel);
    form.CBdBX->SetItemIndex(1);
    EXPECT_EQ(form.CBdBX->ItemIndex(), 0); // put back without asking again
    EXPECT_EQ(ui.Messages().size(), 3u);
}

TEST(FormModal, ButtonWithModalResultClosesTheForm) {
    test::TTestUi ui;
    TLevelForm form(ui);
    ui.ExpectModal("Sound power level", [](TForm& f) {
        EXPECT_TRUE(f.Visible());
        f.Find<TEdit>("EditName").SetText("Pump");
        f.Find<TButton>("ButtonOK").Click();
        EXPECT_FALSE(f.Modal());
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrOk);
    EXPECT_FALSE(form.Visible());
    EXPECT_EQ(form.shows, 1);
}

TEST(FormModal, CloseQueryKeepsTheFormOpenUntilTheInputIsValid) {
    test::TTestUi ui;
    TLevelForm form(ui);
    ui.ExpectModal("LevelForm", [&ui](TForm& f) {
        auto& self = static_cast<TLevelForm&>(f);
        self.EditName->SetText("");
        ui.ExpectMessage(mtWarning, "Enter a name.", mrOk);
        EXPECT_TRUE(f.PressDefault());
        EXPECT_TRUE(f.Modal());
        EXPECT_EQ(f.ModalResult(), mrNone);
        self.EditName->SetText("Pump");
        f.PressDefault();
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrOk);
}

TEST(FormModal, ClickHandlerMayResetTheResultAndEscapeCancels) {
    test::TTestUi ui;
    TLevelForm form(ui);
    form.ButtonOK->OnClick = [&](TComponent&) {
        form.SetModalResult(mrNone);
    };
    ui.ExpectModal("LevelForm", [](TForm& f) {
        f.PressDefault();
        EXPECT_TRUE(f.Modal());
        EXPECT_TRUE(f.PressCancel());
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrCancel);

    // A script may also just give the result, as if the window's close box was used.
    ui.ExpectModal("LevelForm", mrCancel);
    EXPECT_EQ(ui.ShowModal(form), mrCancel);
    EXPECT_EQ(form.shows, 2);
}

TEST(FormClose, NonModalFormAsksAndMayAskToBeFreed) {
    test::TTestUi ui;
    TForm form(ui, "Child");
    form.SetFormStyle(fsChild);
    bool allow = false;
    form.OnCloseQuery = [&](TComponent&, bool& canClose) {
        canClose = allow;
    };
    form.OnClose = [](TComponent&, TCloseAction& action) {
        action = caFree;
    };
    ui.ShowForm(form);
    EXPECT_TRUE(form.Visible());
    EXPECT_FALSE(form.Close());
    EXPECT_TRUE(form.Visible());
    allow = true;
    EXPECT_TRUE(form.Close());
    EXPECT_FALSE(form.Visible());
    EXPECT_TRUE(form.FreeRequested());
    EXPECT_TRUE(ui.WasShown("Child"));
}

TEST(FormClose, CloseFromAHandlerOfAModalFormCancelsIt) {
    test::TTestUi ui;
    TForm form(ui, "Dialog");
    auto& close = form.Add<TButton>("ButtonClose");
    close.OnClick = [&](TComponent&) {
        form.Close();
    };
    ui.ExpectModal("Dialog", [&](TForm&) {
        close.Click();
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrCancel);
    EXPECT_FALSE(form.Modal());
    EXPECT_THROW(
        {
            form.BeginModal();
            form.BeginModal();
        },
        EKorvelError);
}

} // namespace
} // namespace korvel
