#include "platform/ui/Navigator.h"

#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "support/NavigatorText.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

// A record source over a count of records, enough to exercise the navigator's rules.
class FakeTarget : public INavigatorTarget {
public:
    int count = 3;
    int pos = 0;
    bool canModify = true;
    bool refusePost = false;
    TNavTargetState state = TNavTargetState::Browse;
    std::vector<std::string> calls;

    TNavTargetState State() const override { return state; }
    bool Bof() const override { return count == 0 || pos == 0; }
    bool Eof() const override { return count == 0 || pos == count - 1; }
    bool IsEmpty() const override { return count == 0; }
    bool CanModify() const override { return canModify; }
    void First() override { Call("First", pos = 0); }
    void Prior() override { Call("Prior", --pos); }
    void Next() override { Call("Next", ++pos); }
    void Last() override { Call("Last", pos = count - 1); }
    void Insert() override { Call("Insert", state = TNavTargetState::Insert); }
    void Delete() override { Call("Delete", --count); }
    void Edit() override { Call("Edit", state = TNavTargetState::Edit); }
    void Post() override {
        if (refusePost)
            throw EKorvelError("The name must not be empty");
        Call("Post", state = TNavTargetState::Browse);
    }
    void Cancel() override { Call("Cancel", state = TNavTargetState::Browse); }
    void Refresh() override { calls.push_back("Refresh"); }

private:
    template <class T> void Call(const char* name, T) { calls.push_back(name); }
};

using test::EnabledButtons;

class NavigatorTest : public ::testing::Test {
protected:
    test::TTestUi ui;
    TForm form{ui, "Form1"};
    TNavigator& nav = form.Add<TNavigator>("Navigator");
    FakeTarget target;
};

TEST_F(NavigatorTest, EnablingReflectsTheTargetState) {
    EXPECT_EQ(EnabledButtons(nav), "");
    nav.SetTarget(&target);
    EXPECT_EQ(EnabledButtons(nav), "Next Last Insert Delete Edit Refresh");
    nav.BtnClick(nbLast);
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Edit Refresh");
    nav.BtnClick(nbEdit);
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Post Cancel");

    target.state = TNavTargetState::Browse;
    target.canModify = false;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "First Prior Refresh");
    target.count = 0;
    target.canModify = true;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "Insert Refresh");
    target.state = TNavTargetState::Inactive;
    nav.UpdateButtons();
    EXPECT_EQ(EnabledButtons(nav), "");
}

TEST_F(NavigatorTest, ClicksOnDisabledOrHiddenButtonsDoNothing) {
    nav.SetTarget(&target);
    nav.BtnClick(nbPrior); // at the first record
    nav.SetVisibleButtons({nbFirst, nbPrior, nbNext, nbLast});
    nav.BtnClick(nbEdit);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls, (std::vector<std::string>{"Next"}));
    nav.SetEnabled(false);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls.size(), 1u);
}

TEST_F(NavigatorTest, DeleteAsksFirstAndBeforeActionMayAbort) {
    nav.SetTarget(&target);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrNo);
    nav.BtnClick(nbDelete);
    ui.ExpectMessage(mtConfirmation, "Delete record?", mrYes);
    nav.BtnClick(nbDelete);
    EXPECT_EQ(target.count, 2);

    std::vector<TNavigateBtn> clicked;
    nav.OnBeforeAction = [](TComponent&, TNavigateBtn b) {
        if (b == nbInsert)
            Abort();
    };
    nav.OnClick = [&](TComponent&, TNavigateBtn b) {
        clicked.push_back(b);
    };
    nav.BtnClick(nbInsert);
    nav.BtnClick(nbNext);
    EXPECT_EQ(target.calls, (std::vector<std::string>{"Delete", "Next"}));
    EXPECT_EQ(clicked, (std::vector<TNavigateBtn>{nbNext}));
}

TEST_F(NavigatorTest, RefusedPostIsShownAndKeepsEditing) {
    nav.SetTarget(&target);
    nav.BtnClick(nbEdit);
    target.refusePost = true;
    ui.ExpectMessage(mtError, "must not be empty", mrOk);
    nav.BtnClick(nbPost);
    EXPECT_EQ(target.state, TNavTargetState::Edit);
    EXPECT_TRUE(nav.ButtonEnabled(nbPost));
}

} // namespace
} // namespace korvel
