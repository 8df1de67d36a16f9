#include "platform/legacy/CodePages.h"

#include "platform/Errors.h"

#include <gmock/gmock.h>

namespace korvel {
namespace {

TEST(CodePagesTest, CharactersOfEveryPageConvertBothWays) {
    const std::string umlauts = "\x84\x94\x81\x8E\x99\x9A\xE1"; // äöüÄÖÜß, the same bytes in 437 and 850
    const std::tuple<std::string, int, std::string> rows[] = {
        {umlauts, 437, "äöüÄÖÜß"},
        {umlauts, 850, "äöüÄÖÜß"},
        {"\xC9\xCD\xBB\xB3\xDB", 437, "╔═╗│█"},
        {"L\x84rm Gr\x81\xE1", 437, "Lärm Grüß"},
        // 0x9B is ¢ in 437 but ø in 850.
        {"\x9B", 437, "¢"},
        {"\x9B", 850, "ø"},
        {"\x88\x9D", 852, "łŁ"},
        {"\x80\x86", 866, "АЖ"},
        {"\xB3\xA3", 1250, "łŁ"},
        {"\xC0\xC6", 1251, "АЖ"},
        {"Caf\xE9 \x8C \x80", 1252, "Café Œ €"},
        {std::string("a\0b", 3), 850, std::string("a\0b", 3)},
        {"", 850, ""},
    };
    for (const auto& [legacy, page, utf8] : rows) {
        EXPECT_EQ(CodePageToUtf8(legacy, page), utf8) << page;
        EXPECT_EQ(Utf8ToCodePage(utf8, page), legacy) << utf8;
    }
    // The default pages are the DOS and Windows pages of Western Europe.
    EXPECT_EQ(OemToUtf8(umlauts), "äöüÄÖÜß");
    EXPECT_EQ(AnsiToUtf8("Caf\xE9 \x8C"), "Café Œ");
    std::string all;
    for (int b = 0; b < 256; ++b)
        all += static_cast<char>(b);
    for (int page : {437, 850}) {
        EXPECT_EQ(Utf8ToOem(OemToUtf8(all, page), page), all) << "code page " << page;
    }
}

TEST(CodePagesTest, WhatAPageLacksBecomesOneQuestionMarkEachAndAnUnknownPageIsAClearError) {
    // No best-fit guesses (a fullwidth ！ is not quietly turned into !); one mark also for a character
    // outside the BMP and for invalid UTF-8.
    EXPECT_EQ(Utf8ToCodePage("5 € ╒ ！ 日本 a😀b", 850), "5 ? ? ? ?? a?b");
    EXPECT_EQ(Utf8ToOem(std::string("a\xFF") + "b", 850), "a?b");
    EXPECT_FALSE(IsCodePageAvailable(12345));
    EXPECT_THAT([] { OemToUtf8("x", 12345); },
                testing::ThrowsMessage<EKorvelError>(testing::HasSubstr("12345")));
    EXPECT_THROW(Utf8ToAnsi("x", -1), EKorvelError);
}

} // namespace
} // namespace korvel
