#include "platform/dbctrls/FieldText.h"

#include "platform/Errors.h"

#include <charconv>
#include <gmock/gmock.h>

namespace korvel {
namespace {

using db::TFieldType;

db::TFieldDef Def(TFieldType type, int size = 0) {
    return db::TFieldDef{"F", type, size, false};
}

TEST(FieldText, FloatsAreShortestWithPointAndReadBackExactly) {
    for (auto [value, text] : {std::pair{0.00015, "0.00015"},
                               {98.0, "98"},
                               {-0.0, "0"},
                               {0.1 + 0.2, "0.30000000000000004"},
                               {1e-7, "1e-07"}})
        EXPECT_EQ(FloatText(value), text);
    for (double d : {1.0 / 3, 2e-6, 6.02214076e23, 1e15 - 0.5, -7.25e-9}) {
        const std::string text = FloatText(d);
        double back = 0;
        std::from_chars(text.data(), text.data() + text.size(), back);
        EXPECT_EQ(back, d) << text;
    }
}

TEST(FieldText, ParsingTakesWhatTheFieldHolds) {
    EXPECT_EQ(ParseFieldText(Def(TFieldType::Float), " +1.5e3 "), db::TValue{1500.0});
    EXPECT_EQ(ParseFieldText(Def(TFieldType::Integer), "-7"), db::TValue{std::int64_t{-7}});
    EXPECT_EQ(ParseFieldText(Def(TFieldType::Boolean), "false"), db::TValue{std::int64_t{0}});
    EXPECT_EQ(ParseFieldText(Def(TFieldType::DateTime), "2024-03-05 14:07"),
              db::TValue{std::string("2024-03-05 14:07:00.000")});
    // Empty clears numbers but is a value for text; text is kept as typed.
    EXPECT_TRUE(db::IsNull(ParseFieldText(Def(TFieldType::Float), "  ")));
    EXPECT_EQ(ParseFieldText(Def(TFieldType::String, 10), ""), db::TValue{std::string()});
    EXPECT_EQ(ParseFieldText(Def(TFieldType::String, 10), " a "), db::TValue{std::string(" a ")});
}

TEST(FieldText, BadTextIsNamedInTheMessage) {
    const std::tuple<TFieldType, std::string, std::string> rows[] = {
        {TFieldType::Float, "abc", "is not a valid number."},
        {TFieldType::Float, "inf", "is not a valid number."},
        {TFieldType::Integer, "1.5", "is not a valid whole number."},
        {TFieldType::Word, "70000", "is outside the range 0..65535."},
        {TFieldType::Integer, "3000000000", "is outside the range -2147483648..2147483647."},
        {TFieldType::LargeInt, "99999999999999999999", "is outside the range of whole numbers."},
        {TFieldType::Boolean, "maybe", "is not a valid truth value (True or False)."},
        {TFieldType::DateTime, "yesterday", "is not a valid date and time (YYYY-MM-DD HH:MM:SS)."},
    };
    for (const auto& [type, text, message] : rows)
        EXPECT_THAT([&] { ParseFieldText(Def(type), text); },
                    testing::ThrowsMessage<EKorvelError>(testing::StrEq("'" + text + "' " + message)));
}

} // namespace
} // namespace korvel
