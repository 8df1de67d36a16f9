#include "platform/base/StringListID.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(StringListIDTest, LooksUpIdsAndNamesAndFillsItems) {
    TStringListID list;
    EXPECT_EQ(list.GetID(0), -1);
    EXPECT_EQ(list.GetName(1), "");

    list.AddStringID("Pkw", 7);
    list.AddStringID("Lkw", 3);
    list.AddStringID("Lkw doppelt", 3);
    list.AddStringID("Krad", -5);
    for (auto [index, id] : {std::pair{0, 7}, {3, -5}, {4, -1}, {-1, -1}})
        EXPECT_EQ(list.GetID(index), id) << index;
    // An id given twice names its first entry.
    for (auto [id, name] : {std::pair{3, "Lkw"}, {-5, "Krad"}, {99, ""}})
        EXPECT_EQ(list.GetName(id), name) << id;
    EXPECT_EQ(list.IndexOfID(3), 1);
    EXPECT_EQ(list.IndexOfID(99), -1);

    // The items are replaced, in order.
    std::vector<std::string> items{"old"};
    list.InitItems(items);
    EXPECT_EQ(items, (std::vector<std::string>{"Pkw", "Lkw", "Lkw doppelt", "Krad"}));
    list.Clear();
    list.InitItems(items);
    EXPECT_TRUE(items.empty());
}

} // namespace
} // namespace korvel
