#include "platform/legacy/CodePages.h"

#include "platform/Errors.h"
#include "platform/legacy/Trim.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

std::string AllBytes() {
    std::string bytes;
    for (int b = 0; b < 256; ++b) {
        bytes += static_cast<char>(b);
    }
    return bytes;
}

TEST(CodePagesTest, UmlautsAndBoxCharactersOfTheDosPages) {
    const std::string umlauts = "\x84\x94\x81\x8E\x99\x9A\xE1"; // äöüÄÖÜß, the same bytes in 437 and 850
    EXPECT_EQ(OemToUtf8(umlauts, 437), "äöüÄÖÜß");
    EXPECT_EQ(OemToUtf8(umlauts, 850), "äöüÄÖÜß");
    EXPECT_EQ(OemToUtf8(umlauts), "äöüÄÖÜß");

    EXPECT_EQ(OemToUtf8("\xC9\xCD\xBB\xB3\xDB", 437), "╔═╗│█");
    EXPECT_EQ(Utf8ToOem("╔═╗│█", 850), "\xC9\xCD\xBB\xB3\xDB");
    EXPECT_EQ(Utf8ToOem("Lärm über Straße", 437), "L\x84rm \x81"
                                                  "ber Stra\xE1"
                                                  "e");
}

TEST(CodePagesTest, EveryByteOfTheDosPagesRoundTrips) {
    for (int page : {437, 850}) {
        const std::string utf8 = OemToUtf8(AllBytes(), page);
        EXPECT_EQ(Utf8ToOem(utf8, page), AllBytes()) << "code page " << page;
    }
}

TEST(CodePagesTest, PagesDifferWhereTheyShould) {
    // 0x9B is ¢ in 437 but ø in 850; 0xD5 is ╒ in 437 but a dotless i in 850.
    EXPECT_EQ(OemToUtf8("\x9B", 437), "¢");
    EXPECT_EQ(OemToUtf8("\x9B", 850), "ø");
    EXPECT_EQ(Utf8ToOem("ø", 437), "?");
    EXPECT_EQ(Utf8ToOem("╒", 850), "?");
}

TEST(CodePagesTest, MissingCharactersBecomeQuestionMarks) {
    EXPECT_EQ(Utf8ToOem("5 €", 850), "5 ?");
    EXPECT_EQ(Utf8ToAnsi("5 €"), "5 \x80");
    // No best-fit guesses: a fullwidth ！ is not quietly turned into !.
    EXPECT_EQ(Utf8ToAnsi("！Ａ", 1252), "??");
    EXPECT_EQ(Utf8ToOem("！", 850), "?");
    EXPECT_EQ(Utf8ToAnsi("ł", 1252), "?");
    EXPECT_EQ(Utf8ToOem("日本", 850), "??");
    // One character outside the BMP is one question mark, not two.
    EXPECT_EQ(Utf8ToOem("a😀b", 850), "a?b");
    // Invalid UTF-8 is replaced, never passed through.
    EXPECT_EQ(Utf8ToOem("a\xFF"
                        "b",
                        850),
              "a?b");
}

TEST(CodePagesTest, EasternPagesWhenAvailable) {
    ASSERT_TRUE(IsCodePageAvailable(852));
    ASSERT_TRUE(IsCodePageAvailable(866));
    EXPECT_EQ(OemToUtf8("\x88\x9D", 852), "łŁ");
    EXPECT_EQ(OemToUtf8("\x80\x86", 866), "АЖ");
    EXPECT_EQ(AnsiToUtf8("\xB3\xA3", 1250), "łŁ");
    EXPECT_EQ(Utf8ToAnsi("АЖ", 1251), "\xC0\xC6");
    EXPECT_EQ(AnsiToUtf8("Caf\xE9 \x8C"), "Café Œ");
}

TEST(CodePagesTest, EmbeddedZerosAndEmptyText) {
    EXPECT_EQ(OemToUtf8(std::string("a\0b", 3), 850), std::string("a\0b", 3));
    EXPECT_EQ(OemToUtf8("", 850), "");
    EXPECT_EQ(Utf8ToOem("", 850), "");
}

TEST(CodePagesTest, UnknownCodePageIsAClearError) {
    EXPECT_FALSE(IsCodePageAvailable(12345));
    try {
        OemToUtf8("x", 12345);
        FAIL() << "an unknown code page must throw";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("12345"), std::string::npos) << e.what();
    }
    EXPECT_THROW(Utf8ToAnsi("x", -1), EKorvelError);
}

TEST(TrimTest, RemovesBlanksControlsAndPaddingOnly) {
    EXPECT_EQ(TrimText(std::string("\0 \tName  \0\0", 11)), "Name");
    EXPECT_EQ(TrimText("  Grüße \r\n"), "Grüße");
    EXPECT_EQ(TrimText("Ä"), "Ä"); // the bytes of UTF-8 characters are above 0x20
    EXPECT_EQ(TrimText("   "), "");
    EXPECT_EQ(TrimLeftText("  a  "), "a  ");
    EXPECT_EQ(TrimRightText("  a  "), "  a");
}

} // namespace
} // namespace korvel
