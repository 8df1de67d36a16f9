// The hours text decides which hours a range rates: every piece of it is checked both ways.

#include "platform/acoustic/TimeRange.h"

#include <gtest/gtest.h>

namespace korvel::acoustic {
namespace {

using THours = std::array<bool, kHoursPerDay + 1>;

THours HoursOf(std::initializer_list<int> flags) {
    THours h{};
    for (int k : flags)
        h[static_cast<std::size_t>(k)] = true;
    return h;
}

THours Parse(std::string_view text) {
    auto h = HoursFromText(text);
    EXPECT_TRUE(h.has_value()) << text;
    return h.value_or(THours{});
}

TEST(HoursText, OverMidnightIsOnePieceBothWays) {
    const THours night = Parse("22-6");
    EXPECT_EQ(night, HoursOf({23, 24, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(HoursToText(night), "22-6");
    // Runs that touch midnight from one side only are not joined.
    EXPECT_EQ(HoursToText(HoursOf({23, 24})), "22-24");
    EXPECT_EQ(HoursToText(HoursOf({1, 2})), "0-2");
    // A run over midnight among other pieces is written first, in place of the leading run.
    EXPECT_EQ(HoursToText(Parse("20-22;23-1;6-7")), "23-1;6-7;20-22");
}

TEST(HoursText, WholeDayEmptyAndEqualEnds) {
    const THours all = Parse("0-24");
    for (int k = 1; k <= kHoursPerDay; ++k)
        EXPECT_TRUE(all[static_cast<std::size_t>(k)]) << k;
    EXPECT_EQ(HoursToText(all), "0-24");
    EXPECT_EQ(Parse("8-8"), THours{});
    EXPECT_EQ(HoursToText(THours{}), "");
    EXPECT_EQ(Parse("24-0"), THours{}) << "from the end of the day to its start holds no hour";
    EXPECT_EQ(Parse(""), THours{}) << "an emptied edit means no hours";
}

TEST(HoursText, BlanksAreIgnoredAndTheTextComesBackNormal) {
    const THours h = Parse(" 8 - 13 ; 15-20 ");
    EXPECT_EQ(h, HoursOf({9, 10, 11, 12, 13, 16, 17, 18, 19, 20}));
    EXPECT_EQ(HoursToText(h), "8-13;15-20");
    EXPECT_EQ(HoursToText(Parse("6-7;7-8")), "6-8") << "adjacent pieces merge";
}

TEST(HoursText, InvalidTexts) {
    for (std::string_view bad :
         {"25-3", "8", "x-y", "-3", "3-", "8-13;", "1-2-3", "-1-3", "8.5-9", "8-9x", ";"})
        EXPECT_FALSE(HoursFromText(bad).has_value()) << bad;
}

TEST(TimeRange, KindsKeepTheirControlRules) {
    // Kinds that the combo does not offer.
    for (int t : {5, 6, 10, 11, 22, 24})
        EXPECT_FALSE(AssessTypeOffered(t)) << t;
    int offered = 0;
    for (int t = 0; t < kAssessmentTypeCount; ++t)
        offered += AssessTypeOffered(t) ? 1 : 0;
    EXPECT_EQ(offered, 19);
    // Room-acoustic kinds are not compared with the usage areas' limits.
    for (int t = 13; t <= 20; ++t)
        EXPECT_FALSE(AssessTypeHasLimits(t)) << t;
    EXPECT_TRUE(AssessTypeHasLimits(0));
    EXPECT_EQ(MethodItems(13).size(), 2u);
    EXPECT_EQ(MethodItems(15), (std::vector<std::string>{"C80", "C50"}));
    EXPECT_EQ(MethodItems(20).size(), 3u);
    EXPECT_TRUE(MethodItems(0).empty());

    TZeitBereich r;
    r.SetAssessType(20);
    EXPECT_TRUE(r.SetMethodIndex(2));
    EXPECT_EQ(r.GetSTIType(), TSTIType::Mean);
    EXPECT_FALSE(r.SetMethodIndex(3));
    r.SetAssessType(7);
    EXPECT_EQ(r.MethodIndex(), -1);
    r.withPenalties = true;
    r.SetAssessType(0);
    EXPECT_TRUE(r.withPenalties) << "the rating level keeps its switch";
    r.SetAssessType(1);
    EXPECT_FALSE(r.withPenalties) << "additions count only for the rating level";
}

} // namespace
} // namespace korvel::acoustic
