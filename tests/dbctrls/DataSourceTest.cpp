#include "DbCtrlsFixture.h"
#include "support/NavigatorText.h"

#include <vector>

namespace korvel {
namespace {

using test::EnabledButtons;

class DataSourceTest : public test::DbCtrlsFixture {
protected:
    void SetUp() override {
        DbCtrlsFixture::SetUp();
        Add(*elements, "Alpha");
        Add(*elements, "Beta");
        elements->First();
    }
};

TEST_F(DataSourceTest, ListenersHearTheTableAndSwitches) {
    std::vector<db::TDataEvent> heard;
    int second = 0;
    int id2 = 0;
    const int id1 = source.AddListener([&](db::TDataEvent e, const db::TField*) {
        heard.push_back(e);
        source.RemoveListener(id2); // removing another listener while being told
    });
    id2 = source.AddListener([&](db::TDataEvent, const db::TField*) { ++second; });

    source.Next();
    EXPECT_EQ(std::pair(heard, second), std::pair(std::vector{db::TDataEvent::RecordChange}, 0));

    source.SetDataSet(others.get());
    EXPECT_EQ(std::tuple(heard.back(), source.IsEmpty()), std::tuple(db::TDataEvent::DataSetChange, true));
    heard.clear();
    elements->Prior(); // no longer bound: not heard
    source.RemoveListener(id1);
    others->Append();
    EXPECT_TRUE(heard.empty());
    others->Cancel();

    source.SetDataSet(nullptr);
    EXPECT_EQ(std::pair(source.Active(), source.State()), std::pair(false, TNavTargetState::Inactive));
    EXPECT_THROW(source.Next(), EKorvelError);
}

TEST_F(DataSourceTest, NavigatorButtonsFollowTheTable) {
    auto& nav = form.Add<TNavigator>("Navigator");
    source.AttachNavigator(nav);
    EXPECT_EQ(nav.Target(), &source);
    EXPECT_EQ(EnabledButtons(nav), "Next Last Insert Delete Edit Refresh");

    elements->Last(); // moved by code, not by the navigator
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Edit Refresh");
    elements->Edit();
    EXPECT_EQ(EnabledButtons(nav), "First Prior Insert Delete Post Cancel");
    elements->Cancel();

    nav.BtnClick(nbFirst);
    EXPECT_EQ(test::ValueText(*elements), "Alpha");
    nav.BtnClick(nbInsert);
    EXPECT_EQ(elements->State(), db::TDataSetState::Insert);
    nav.BtnClick(nbCancel);

    source.SetDataSet(others.get()); // an empty table
    EXPECT_EQ(EnabledButtons(nav), "Insert Refresh");
    source.SetDataSet(nullptr);
    EXPECT_EQ(EnabledButtons(nav), "");
    source.DetachNavigator(nav);
    EXPECT_EQ(nav.Target(), nullptr);
}

} // namespace
} // namespace korvel
