// What every control shares (observers, suspended events, handler errors, the control tree) and the forms
// that hold them: modal results, close questions.

#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TNotifyEvent Count(int& calls) {
    return [&calls](TComponent&) {
        ++calls;
    };
}

TEST(Observers, UnsubscribeWorksFromInsideANotificationAndScopedSubscriptionsOutliveTheirComponent) {
    TSubscription kept;
    {
        TCheckBox box("Box");
        int first = 0, second = 0;
        TObserverToken token = 0;
        token = box.Subscribe([&](TComponent& c, const TChange&) {
            ++first;
            c.Unsubscribe(token);
        });
        TSubscription scoped = box.SubscribeScoped([&](TComponent&, const TChange&) { ++second; });
        box.SetChecked(true);
        box.SetChecked(false);
        EXPECT_EQ(std::pair(first, second), std::pair(1, 2));
        EXPECT_FALSE(box.Unsubscribe(token));
        TSubscription moved(std::move(scoped));
        kept = std::move(moved);
        EXPECT_TRUE(kept.Active());
    }
    EXPECT_FALSE(kept.Active());
    kept.Reset(); // must not touch the dead box
}

TEST(EventErrors, OnAFormHandlerErrorsBecomeMessagesElseTheCallerGetsThem) {
    const TNotifyEvent fail = [](TComponent&) {
        throw EKorvelError("Value out of range");
    };
    const TNotifyEvent abort = [](TComponent&) {
        Abort();
    };
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& edit = form.Add<TEdit>("Edit1");
    edit.OnChange = fail;
    ui.ExpectMessage(mtError, "Value out of range", mrOk);
    edit.SetText("x");
    EXPECT_EQ(edit.Text(), "x");
    edit.OnChange = abort; // an abort refuses silently
    edit.SetText("y");
    EXPECT_EQ(ui.Messages().size(), 1u);

    TEdit loose("Edit2");
    loose.OnChange = fail;
    EXPECT_THROW(loose.SetText("x"), EKorvelError);
    loose.OnChange = abort;
    EXPECT_NO_THROW(loose.SetText("y"));
}

TEST(ControlTree, NamesAreUniqueLookupsAreTypedAndHiddenOrDisabledParentsBlockTheUser) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& sheet = form.Add<TPageControl>("Pages").AddPage("SheetMain", "Main");
    sheet.Add<TEdit>("EditName");
    EXPECT_THROW(form.Add<TLabel>("EditName"), EKorvelError);
    EXPECT_EQ(&form.Find<TEdit>("EditName"), form.FindControl("EditName"));
    EXPECT_THROW(form.Find<TButton>("EditName"), EKorvelError);
    EXPECT_THROW(form.Find<TEdit>("Missing"), EKorvelError);
    EXPECT_EQ(std::tuple(form.FindOrNull<TButton>("EditName"), form.AllControls().size(),
                         form.Find<TEdit>("EditName").OwnerForm()),
              std::tuple(static_cast<TButton*>(nullptr), 3u, &form));

    EXPECT_TRUE(sheet.Remove(form.Find<TEdit>("EditName")));
    EXPECT_EQ(form.FindControl("EditName"), nullptr);
    EXPECT_THROW(sheet.Control(0), EKorvelError);

    // A disabled or hidden parent blocks the user, though the form itself need not be shown.
    auto& panel = form.Add<TPanel>("Panel1");
    auto& button = panel.Add<TButton>("Button1");
    auto& box = panel.Add<TCheckBox>("Check1");
    int clicks = 0;
    button.OnClick = Count(clicks);
    button.Click();
    panel.SetEnabled(false);
    button.Click();
    box.Toggle();
    EXPECT_EQ(std::tuple(clicks, box.Checked(), button.EnabledInTree()), std::tuple(1, false, false));
    panel.SetEnabled(true);
    panel.SetVisible(false);
    button.Click();
    EXPECT_EQ(std::pair(clicks, button.Showing()), std::pair(1, false));
}

TEST(FormClose, TheCloseQueryMayKeepAFormOpenAndCloseCancelsAModalOne) {
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
    EXPECT_FALSE(form.Close());
    EXPECT_TRUE(form.Visible());
    allow = true;
    EXPECT_TRUE(form.Close());
    EXPECT_EQ(std::tuple(form.Visible(), form.FreeRequested(), ui.WasShown("Child")),
              std::tuple(false, true, true));

    // Close from a handler of a modal form cancels it; a refusing close query leaves it open with no result.
    TForm dialog(ui, "Dialog");
    auto& close = dialog.Add<TButton>("ButtonClose");
    close.OnClick = [&](TComponent&) {
        dialog.Close();
    };
    dialog.OnCloseQuery = form.OnCloseQuery;
    allow = false;
    ui.ExpectModal("Dialog", [&](TForm& f) {
        close.Click();
        EXPECT_EQ(std::tuple(f.Modal(), f.ModalResult()), std::tuple(true, mrNone));
        allow = true;
        close.Click();
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(dialog), mrCancel);
    EXPECT_FALSE(dialog.Modal());
    dialog.BeginModal();
    EXPECT_THROW(dialog.BeginModal(), EKorvelError);
}

} // namespace
} // namespace korvel
