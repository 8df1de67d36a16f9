// What every control shares (observers, suspended events, handler errors, the control tree, layout by
// Align) and the forms that hold them: modal results, close questions.

#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>
#include <map>

namespace korvel {
namespace {

TNotifyEvent Count(int& calls) {
    return [&calls](TComponent&) {
        ++calls;
    };
}

using TUpdates = std::map<std::pair<std::string, TChangeKind>, int>;

// Stands in for the renderer: counts the updates it would make to the control's widget.
TSubscription CountUpdates(TComponent& control, TUpdates& updates) {
    return control.SubscribeScoped([&updates](TComponent& sender, const TChange& change) {
        ++updates[{sender.Name(), change.Kind}];
    });
}

TEST(Observers, RendererIsToldOfRealChangesOnly) {
    TEdit edit("Edit1");
    TComboBox combo("Combo1");
    TUpdates updates;
    std::vector<TSubscription> subscriptions;
    subscriptions.push_back(CountUpdates(edit, updates));
    subscriptions.push_back(CountUpdates(combo, updates));
    edit.SetText("abc");
    edit.SetText("abc");
    edit.SetEnabled(false);
    edit.SetEnabled(false);
    edit.SetReadOnly(true);
    edit.SetHint("Name of the element");
    combo.SetItems({"a", "b", "c"});
    combo.SetItemIndex(2); // the combo's text follows its selection
    using K = TChangeKind;
    EXPECT_EQ(updates, (TUpdates{{{"Edit1", K::Value}, 1},
                                 {{"Edit1", K::Enabled}, 1},
                                 {{"Edit1", K::ReadOnly}, 1},
                                 {{"Edit1", K::Hint}, 1},
                                 {{"Combo1", K::Items}, 1},
                                 {{"Combo1", K::Selection}, 1},
                                 {{"Combo1", K::Value}, 1}}));
}

TEST(Observers, UnsubscribeWorksEvenFromInsideANotification) {
    TCheckBox box("Box");
    int first = 0, second = 0;
    TObserverToken token1 = 0;
    token1 = box.Subscribe([&](TComponent& c, const TChange&) {
        ++first;
        c.Unsubscribe(token1);
    });
    TObserverToken token2 = box.Subscribe([&](TComponent&, const TChange&) { ++second; });
    box.SetChecked(true);
    box.SetChecked(false);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_TRUE(box.Unsubscribe(token2));
    EXPECT_FALSE(box.Unsubscribe(token2));
    box.SetChecked(true);
    EXPECT_EQ(second, 2);
}

TEST(Observers, ScopedSubscriptionSurvivesItsComponent) {
    TSubscription subscription;
    bool destroyingSeen = false;
    {
        TLabel label("Label1");
        subscription = label.SubscribeScoped([&](TComponent&, const TChange& change) {
            destroyingSeen |= change.Kind == TChangeKind::Destroying;
        });
        EXPECT_TRUE(subscription.Active());
    }
    EXPECT_TRUE(destroyingSeen);
    EXPECT_FALSE(subscription.Active());
    subscription.Reset(); // must not touch the dead label
}

TEST(SuspendEvents, HandlersStaySilentButTheRendererFollowsAndTreeGuardsOutliveTheControls) {
    TEdit edit("Edit1");
    TComboBox combo("Combo1");
    combo.SetItems({"a", "b"});
    int changes = 0;
    edit.OnChange = Count(changes);
    combo.OnChange = Count(changes);
    TUpdates updates;
    auto sub = CountUpdates(edit, updates);
    {
        TSuspendEvents guard(edit, combo);
        { TSuspendEvents nested(edit); }
        edit.SetText("loaded");
        combo.SetItemIndex(1);
    }
    EXPECT_EQ(changes, 0);
    EXPECT_EQ((updates[{"Edit1", TChangeKind::Value}]), 1);
    edit.SetText("typed");
    EXPECT_EQ(changes, 1);

    test::TTestUi ui;
    auto form = std::make_unique<TForm>(ui, "Form1");
    auto& box = form->Add<TPanel>("Panel1").Add<TCheckBox>("Check1");
    box.OnClick = Count(changes);
    {
        TSuspendEvents guard = SuspendTreeEvents(*form);
        box.SetChecked(true);
        EXPECT_TRUE(form->EventsSuspended());
        form.reset(); // the guard ends after the controls
    }
    EXPECT_EQ(changes, 1);
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

// Adds a control of the given size aligned in its host.
template <class C = TPanel> C& Docked(TControl& host, std::string name, TAlign align, int width, int height) {
    auto& control = host.Add<C>(std::move(name));
    control.SetBounds(0, 0, width, height);
    control.SetAlign(align);
    return control;
}

TEST(Align, EdgesThenClientInTheClassicOrderAndNestedContainers) {
    TPanel panel("Host");
    panel.SetBounds(0, 0, 200, 100);
    auto& client = Docked(panel, "Client", alClient, 0, 0);
    auto& top = Docked(panel, "Top", alTop, 0, 20);
    auto& bottom = Docked(panel, "Bottom", alBottom, 0, 10);
    auto& left = Docked(panel, "Left", alLeft, 30, 0);
    auto& right = Docked(panel, "Right", alRight, 40, 0);
    EXPECT_EQ(top.BoundsRect(), (TRect{0, 0, 200, 20}));
    EXPECT_EQ(bottom.BoundsRect(), (TRect{0, 90, 200, 10}));
    EXPECT_EQ(left.BoundsRect(), (TRect{0, 20, 30, 70}));
    EXPECT_EQ(right.BoundsRect(), (TRect{160, 20, 40, 70}));
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 20, 130, 70}));
    // Hiding an edge and resizing the host both lay the rest out again.
    top.SetVisible(false);
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 0, 130, 90}));
    panel.SetBounds(0, 0, 300, 100);
    EXPECT_EQ(client.BoundsRect(), (TRect{30, 0, 230, 90}));
    EXPECT_EQ(right.Left(), 260);

    // Stacked tops: a group box in the client takes its frame and caption as margin; the size of an edge
    // control is kept, so a taller first top pushes the next one down.
    auto& group = Docked<TGroupBox>(client, "Group", alTop, 0, 60);
    auto& inner = Docked<TEdit>(group, "Inner", alClient, 0, 0);
    auto& second = Docked(client, "Second", alTop, 0, 30);
    EXPECT_EQ(second.BoundsRect(), (TRect{0, 60, 230, 30}));
    EXPECT_EQ(inner.BoundsRect(),
              (TRect{TGroupBox::kFrame, TGroupBox::kFrame + TGroupBox::kCaptionHeight,
                     230 - 2 * TGroupBox::kFrame, 60 - 2 * TGroupBox::kFrame - TGroupBox::kCaptionHeight}));
    group.SetHeight(50);
    EXPECT_EQ(second.Top(), 50);
}

TEST(ControlTree, NamesAreUniqueAndLookupsAreTyped) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& sheet = form.Add<TPageControl>("Pages").AddPage("SheetMain", "Main");
    sheet.Add<TEdit>("EditName");
    EXPECT_THROW(form.Add<TLabel>("EditName"), EKorvelError);
    EXPECT_EQ(&form.Find<TEdit>("EditName"), form.FindControl("EditName"));
    EXPECT_THROW(form.Find<TButton>("EditName"), EKorvelError);
    EXPECT_THROW(form.Find<TEdit>("Missing"), EKorvelError);
    EXPECT_EQ(form.FindOrNull<TButton>("EditName"), nullptr);
    EXPECT_EQ(form.AllControls().size(), 3u);
    EXPECT_EQ(form.Find<TEdit>("EditName").OwnerForm(), &form);

    EXPECT_TRUE(sheet.Remove(form.Find<TEdit>("EditName")));
    EXPECT_EQ(form.FindControl("EditName"), nullptr);
    EXPECT_THROW(sheet.Control(0), EKorvelError);
}

TEST(ControlTree, DisabledOrHiddenParentsBlockTheUser) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& panel = form.Add<TPanel>("Panel1");
    auto& button = panel.Add<TButton>("Button1");
    auto& box = panel.Add<TCheckBox>("Check1");
    int clicks = 0;
    button.OnClick = Count(clicks);

    // The form itself is not shown yet; its controls can still be driven.
    button.Click();
    EXPECT_EQ(clicks, 1);
    panel.SetEnabled(false);
    button.Click();
    box.Toggle();
    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(box.Checked());
    EXPECT_FALSE(button.EnabledInTree());
    panel.SetEnabled(true);
    panel.SetVisible(false);
    button.Click();
    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(button.Showing());
}

// A small dialog built the way the real ones are: controls made in code, behaviour in methods named after
// control and event.
class TNameForm : public TForm {
public:
    explicit TNameForm(IUi& ui) : TForm(ui, "NameForm") {
        SetCaption("Element name");
        auto& buttons = Add<TPanel>("PanelButtons");
        ButtonOK = &buttons.Add<TButton>("ButtonOK");
        ButtonOK->SetModalResult(mrOk);
        ButtonOK->SetDefault(true);
        auto& cancel = buttons.Add<TButton>("ButtonCancel");
        cancel.SetModalResult(mrCancel);
        cancel.SetCancel(true);
        OnCloseQuery = Bind(&TNameForm::FormCloseQuery);
        OnShow = Bind(&TNameForm::FormShow);
    }

    TEdit* EditName = &Add<TEdit>("EditName");
    TButton* ButtonOK = nullptr;
    int shows = 0;

private:
    void FormCloseQuery(TComponent&, bool& canClose) {
        if (ModalResult() == mrOk && EditName->Text().empty()) {
            Ui().MessageDlg("Enter a name.", mtWarning, {mbOK});
            canClose = false;
        }
    }
    void FormShow(TComponent&) { ++shows; }
};

TEST(FormModal, CloseQueryKeepsTheFormOpenUntilTheInputIsValid) {
    test::TTestUi ui;
    TNameForm form(ui);
    ui.ExpectModal("Element name", [&ui](TForm& f) {
        EXPECT_TRUE(f.Visible());
        f.Find<TEdit>("EditName").SetText("");
        ui.ExpectMessage(mtWarning, "Enter a name.", mrOk);
        EXPECT_TRUE(f.PressDefault());
        EXPECT_TRUE(f.Modal());
        EXPECT_EQ(f.ModalResult(), mrNone);
        f.Find<TEdit>("EditName").SetText("Pump");
        f.Find<TButton>("ButtonOK").Click();
        EXPECT_FALSE(f.Modal());
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrOk);
    EXPECT_FALSE(form.Visible());
    EXPECT_EQ(form.shows, 1);
}

TEST(FormModal, ClickHandlerMayResetTheResultAndEscapeCancels) {
    test::TTestUi ui;
    TNameForm form(ui);
    form.ButtonOK->OnClick = [&](TComponent&) {
        form.SetModalResult(mrNone);
    };
    ui.ExpectModal("NameForm", [](TForm& f) {
        f.PressDefault();
        EXPECT_TRUE(f.Modal());
        EXPECT_TRUE(f.PressCancel());
        return mrNone;
    });
    EXPECT_EQ(ui.ShowModal(form), mrCancel);

    // A script may also just give the result, as if the window's close box was used.
    ui.ExpectModal("NameForm", mrCancel);
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
    form.BeginModal();
    EXPECT_THROW(form.BeginModal(), EKorvelError);
}

} // namespace
} // namespace korvel
