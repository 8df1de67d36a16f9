#include "platform/dbctrls/FieldLinks.h"

#include "DbCtrlsFixture.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

namespace korvel {
namespace {

class FieldLinksTest : public test::DbCtrlsFixture {
protected:
    void SetUp() override {
        DbCtrlsFixture::SetUp();
        for (auto [n, lv, on] : {std::tuple{"Alpha", "0.00015", "True"}, {"Beta", "98", "False"}}) {
            Add(*elements, n, n[0] == 'A' ? 1 : 2);
            test::SetField(*elements, "Kommentar", std::string(n) + "\nsecond line");
            test::SetField(*elements, "Level", lv);
            test::StoreField(*elements, "Active", on);
        }
        Add(*others, "Gamma", 7);
        elements->First();
    }

    // Every handler counts its calls, so a test sees whether a link let one fire.
    template <class C> C& Counted(C& control, TNotifyEvent C::*event) {
        control.*event = [](TComponent& sender) {
            sender.SetTag(sender.Tag() + 1);
        };
        return control;
    }

    // Binds every control to its field: name, level, memo, active, group, combo in this order.
    std::vector<std::unique_ptr<TFieldLink>> BindAll() {
        std::vector<std::unique_ptr<TFieldLink>> links;
        links.push_back(BindField(name, source, "ElementName"));
        links.push_back(BindField(level, source, "Level"));
        links.push_back(BindField(memo, source, "Kommentar"));
        links.push_back(BindField(active, source, "Active"));
        links.push_back(BindField(group, source, "Gruppen1"));
        links.push_back(BindField(combo, source, "ElementName"));
        return links;
    }

    std::string Shown() {
        return name.Text() + "|" + level.Text() + "|" + memo.Text() + "|" +
               (active.Checked() ? "on" : "off") + "|" + std::to_string(group.Value()) + "|" + combo.Text();
    }

    TEdit& name = Counted(form.Add<TEdit>("EditName"), &TEdit::OnChange);
    TEdit& level = Counted(form.Add<TEdit>("EditLevel"), &TEdit::OnChange);
    TMemo& memo = Counted(form.Add<TMemo>("MemoKommentar"), &TMemo::OnChange);
    TCheckBox& active = Counted(form.Add<TCheckBox>("CheckActive"), &TCheckBox::OnClick);
    TSpinEdit& group = Counted(form.Add<TSpinEdit>("SpinGroup"), &TSpinEdit::OnChange);
    TComboBox& combo = Counted(form.Add<TComboBox>("ComboName"), &TComboBox::OnChange);
};

TEST_F(FieldLinksTest, ControlsFollowScrollsAndTableSwitchesWithoutFiringHandlers) {
    const auto links = BindAll();
    EXPECT_EQ(name.MaxLength(), 40);
    EXPECT_EQ(memo.Lines(), (std::vector<std::string>{"Alpha", "second line"}));
    EXPECT_EQ(Shown(), "Alpha|0.00015|Alpha\nsecond line|on|1|Alpha");
    elements->Next();
    EXPECT_EQ(Shown(), "Beta|98|Beta\nsecond line|off|2|Beta");

    // The other table has a shorter name and no level: the level edit empties and its limit follows.
    source.SetDataSet(others.get());
    EXPECT_EQ(Shown(), "Gamma|||off|7|Gamma");
    EXPECT_EQ(name.MaxLength(), 20);
    EXPECT_EQ(links[1]->Field(), nullptr);
    source.SetDataSet(nullptr);
    EXPECT_EQ(Shown(), "|||off|0|");
    for (TControl* c : std::initializer_list<TControl*>{&name, &level, &memo, &active, &group, &combo})
        EXPECT_EQ(c->Tag(), 0) << c->Name() << " fired its handler";
    EXPECT_EQ(elements->State(), db::TDataSetState::Browse);
}

TEST_F(FieldLinksTest, UserInputEditsTheRecordAndKeepsTheFormsHandlers) {
    const auto links = BindAll();

    name.SetText("Alphorn");
    EXPECT_EQ(elements->State(), db::TDataSetState::Edit);
    active.Toggle();
    group.StepUp();
    memo.SetText("one\r\ntwo");
    level.SetText(""); // an emptied number box stores null
    EXPECT_EQ(std::tuple(name.Tag(), active.Tag(), group.Tag()),
              std::tuple(1, 1, 1)); // the form's handlers ran
    source.UpdateRecord();
    elements->Post();
    elements->First();
    std::vector<std::string> stored;
    for (const char* field : {"ElementName", "Active", "Gruppen1", "Kommentar", "Level"})
        stored.push_back(elements->FieldByName(field).IsNull() ? "null" : test::ValueText(*elements, field));
    EXPECT_EQ(stored, (std::vector<std::string>{"Alphorn", "False", "2", "one\ntwo", "null"}));

    // Cancelling puts the stored values back into the controls, quietly.
    name.SetText("Discarded");
    elements->Cancel();
    EXPECT_EQ(std::pair(name.Text(), name.Tag()), (std::pair<std::string, int>("Alphorn", 2)));
}

TEST_F(FieldLinksTest, InvalidNumberStaysPendingAndStopsTheStore) {
    const auto links = BindAll();
    TFieldLink* link = links[1].get();
    int posts = 0;
    elements->BeforePost = [&](db::TTable&) {
        ++posts;
    };

    level.SetText("1.");
    level.SetText("1.2x"); // the user's text is not taken away
    EXPECT_EQ(std::pair(elements->State(), level.Text()),
              std::pair(db::TDataSetState::Edit, std::string("1.2x")));
    EXPECT_DOUBLE_EQ(elements->FieldByName("Level").AsFloat(), 1.0);
    EXPECT_TRUE(link->HasPending());
    EXPECT_THROW(source.UpdateRecord(), EKorvelError);

    // The navigator's post reports the message and leaves the record in edit state, unstored.
    auto& nav = form.Add<TNavigator>("Navigator");
    source.AttachNavigator(nav);
    ui.ExpectMessage(mtError, "'1.2x' is not a valid number", mrOk);
    nav.BtnClick(nbPost);
    EXPECT_EQ(std::pair(posts, elements->State()), std::pair(0, db::TDataSetState::Edit));

    // Fixing the text clears it; the store goes through.
    level.SetText("1.25");
    EXPECT_FALSE(link->HasPending());
    nav.BtnClick(nbPost);
    EXPECT_EQ(posts, 1);

    // A record change drops pending text with the edit.
    level.SetText("abc");
    elements->Cancel();
    EXPECT_EQ(std::pair(link->HasPending(), level.Text()), std::pair(false, std::string("1.25")));
    EXPECT_NO_THROW(source.UpdateRecord());
}

TEST_F(FieldLinksTest, AFieldTheTableLacksIsNeverWritten) {
    auto missing = BindField(name, source, "NoSuchField");
    auto blob = BindField(level, source, "Spektrum");
    EXPECT_EQ(name.Text(), "");
    name.SetText("typed");
    level.SetText("1");
    EXPECT_EQ(std::pair(elements->State(), elements->Modified()),
              std::pair(db::TDataSetState::Browse, false));
    EXPECT_NO_THROW(source.UpdateRecord());

    // Rebinding to a real field shows it; the next record empties the unbound one again.
    missing->SetFieldName("ElementName");
    EXPECT_EQ(name.Text(), "Alpha");
    missing->SetFieldName("Nothing");
    EXPECT_EQ(name.Text(), "");
}

TEST_F(FieldLinksTest, RefusedEditShowsTheStoredValueAgain) {
    auto link = BindField(name, source, "ElementName");
    elements->BeforeEdit = [](db::TTable&) {
        throw EKorvelError("The element is locked.");
    };
    ui.ExpectMessage(mtError, "The element is locked.", mrOk);
    name.SetText("Other");
    EXPECT_EQ(name.Text(), "Alpha");

    elements->BeforeEdit = [](db::TTable&) {
        Abort();
    };
    name.SetText("Other");
    EXPECT_EQ(std::pair(name.Text(), elements->State()),
              std::pair(std::string("Alpha"), db::TDataSetState::Browse));
}

TEST_F(FieldLinksTest, SettingUpControlsAfterBindingNeverWrites) {
    auto spin = BindField(group, source, "Gruppen1");
    group.SetLimits(5, 10); // clamps the shown 1 to 5
    EXPECT_EQ(std::tuple(group.Value(), elements->State(), elements->FieldByName("Gruppen1").AsInteger()),
              std::tuple(5, db::TDataSetState::Browse, 1));

    combo.SetStyle(csDropDownList);
    auto link = BindField(combo, source, "ElementName");
    EXPECT_EQ(combo.ItemIndex(), -1); // not among the (no) items
    combo.SetItems({"Beta", "Alpha"});
    EXPECT_EQ(combo.ItemIndex(), 1);
    combo.SetItems({"Alpha", "Gamma"}); // the list loses and regains its item
    EXPECT_EQ(combo.Text(), "Alpha");
    combo.SetItems({"Gamma"});
    EXPECT_EQ(combo.Text(), "");
    EXPECT_EQ(elements->State(), db::TDataSetState::Browse);

    combo.SetItemIndex(0);
    EXPECT_EQ(std::pair(test::ValueText(*elements), combo.Tag()), (std::pair<std::string, int>("Gamma", 1)));
}

TEST_F(FieldLinksTest, LinksSurviveTheirControlOrSourceGoingFirst) {
    auto link = BindField(name, source, "ElementName");
    auto check = BindField(active, source, "Active");
    form.Remove(name);
    elements->Next(); // the link must not touch the dead edit
    EXPECT_NO_THROW(source.UpdateRecord());
    link.reset();

    std::unique_ptr<TFieldLink> spin;
    {
        TDataSource shortLived(elements.get());
        spin = BindField(group, shortLived, "Gruppen1");
        EXPECT_EQ(group.Value(), 2);
    }
    EXPECT_EQ(group.Value(), 0); // a source going away empties its controls
    group.StepUp();
    // The other link still follows: Beta is inactive.
    EXPECT_EQ(std::tuple(elements->State(), spin->Field() == nullptr, active.Checked()),
              std::tuple(db::TDataSetState::Browse, true, false));
}

} // namespace
} // namespace korvel
