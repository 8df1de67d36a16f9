#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>
#include <map>

namespace korvel {
namespace {

// Stands in for the renderer: counts the updates it would make to its widgets.
class FakeRenderer {
public:
    void Bind(TComponent& c) {
        subscriptions_.push_back(c.SubscribeScoped([this](TComponent& sender, const TChange& change) {
            ++updates[{sender.Name(), change.Kind}];
            last = change;
        }));
    }
    int Count(const std::string& name, TChangeKind kind) const {
        auto it = updates.find({name, kind});
        return it == updates.end() ? 0 : it->second;
    }
    std::map<std::pair<std::string, TChangeKind>, int> updates;
    TChange last{TChangeKind::Destroying};

private:
    std::vector<TSubscription> subscriptions_;
};

TEST(Observers, RendererIsToldOfRealChangesOnly) {
    TEdit edit("Edit1");
    TComboBox combo("Combo1");
    FakeRenderer renderer;
    renderer.Bind(edit);
    renderer.Bind(combo);

    edit.SetText("abc");
    edit.SetText("abc");
    edit.SetEnabled(false);
    edit.SetEnabled(false);
    edit.SetReadOnly(true);
    edit.SetHint("Name of the element");
    combo.SetItems({"a", "b", "c"});
    combo.SetItemIndex(2);

    EXPECT_EQ(renderer.Count("Edit1", TChangeKind::Value), 1);
    EXPECT_EQ(renderer.Count("Edit1", TChangeKind::Enabled), 1);
    EXPECT_EQ(renderer.Count("Edit1", TChangeKind::ReadOnly), 1);
    EXPECT_EQ(renderer.Count("Edit1", TChangeKind::Hint), 1);
    EXPECT_EQ(renderer.Count("Combo1", TChangeKind::Items), 1);
    EXPECT_EQ(renderer.Count("Combo1", TChangeKind::Selection), 1);
    EXPECT_EQ(renderer.last.Kind, TChangeKind::Value); // the combo's text follows its selection
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

TEST(SuspendEvents, HandlersStaySilentButRendererFollows) {
    TEdit edit("Edit1");
    TComboBox combo("Combo1");
    combo.SetItems({"a", "b"});
    int changes = 0;
    edit.OnChange = [&](TComponent&) {
        ++changes;
    };
    combo.OnChange = [&](TComponent&) {
        ++changes;
    };
    FakeRenderer renderer;
    renderer.Bind(edit);
    {
        TSuspendEvents guard(edit, combo);
        { TSuspendEvents nested(edit); }
        edit.SetText("loaded");
        combo.SetItemIndex(1);
    }
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(renderer.Count("Edit1", TChangeKind::Value), 1);
    edit.SetText("typed");
    EXPECT_EQ(changes, 1);
}

TEST(SuspendEvents, TreeGuardCoversEveryControlAndOutlivesThem) {
    test::TTestUi ui;
    auto form = std::make_unique<TForm>(ui, "Form1");
    auto& panel = form->Add<TPanel>("Panel1");
    auto& box = panel.Add<TCheckBox>("Check1");
    int clicks = 0;
    box.OnClick = [&](TComponent&) {
        ++clicks;
    };
    {
        TSuspendEvents guard = SuspendTreeEvents(*form);
        box.SetChecked(true);
        EXPECT_TRUE(form->EventsSuspended());
        form.reset(); // the guard ends after the controls
    }
    EXPECT_EQ(clicks, 0);
}

TEST(EventErrors, HandlerErrorsBecomeMessagesOnAForm) {
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& edit = form.Add<TEdit>("Edit1");
    edit.OnChange = [](TComponent&) {
        throw EKorvelError("Value out of range");
    };
    ui.ExpectMessage(mtError, "Value out of range", mrOk);
    edit.SetText("x");
    EXPECT_EQ(edit.Text(), "x");

    // An abort refuses silently.
    edit.OnChange = [](TComponent&) {
        Abort();
    };
    edit.SetText("y");
    EXPECT_EQ(ui.Messages().size(), 1u);
}

TEST(EventErrors, WithoutAFormTheCallerGetsTheException) {
    TEdit edit("Edit1");
    edit.OnChange = [](TComponent&) {
        throw EKorvelError("bad");
    };
    EXPECT_THROW(edit.SetText("x"), EKorvelError);
    edit.OnChange = [](TComponent&) {
        Abort();
    };
    EXPECT_NO_THROW(edit.SetText("y"));
}

} // namespace
} // namespace korvel
