#include "platform/ui/UiTypes.h"

#include "platform/Errors.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(FileFilter, ParsesClassicFormWithSeveralPatterns) {
    auto filters = ParseFileFilter("Libraries (*.abs;*.ABS)|*.abs; *.ABS|All (*.*)|*.*");
    ASSERT_EQ(filters.size(), 2u);
    EXPECT_EQ(filters[0].Description, "Libraries (*.abs;*.ABS)");
    EXPECT_EQ(filters[0].Patterns, (std::vector<std::string>{"*.abs", "*.ABS"}));
    EXPECT_EQ(filters[1].Patterns, (std::vector<std::string>{"*.*"}));
    EXPECT_TRUE(ParseFileFilter("").empty());
}

TEST(FileFilter, RejectsDescriptionWithoutPattern) {
    EXPECT_THROW(ParseFileFilter("Text (*.txt)|*.txt|All"), EKorvelError);
    EXPECT_THROW(ParseFileFilter("Text (*.txt)| ; "), EKorvelError);
}

TEST(FileFilter, MatchesWildcardsIgnoringCase) {
    EXPECT_TRUE(MatchesPattern("Data.TXT", "*.txt"));
    EXPECT_FALSE(MatchesPattern("data.txt.bak", "*.txt"));
    EXPECT_TRUE(MatchesPattern("a1.csv", "a?.csv"));
    EXPECT_FALSE(MatchesPattern("a12.csv", "a?.csv"));
    EXPECT_TRUE(MatchesPattern("README", "*.*"));
    EXPECT_TRUE(MatchesPattern("x.tar.gz", "*.gz"));
}

TEST(FileFilter, DefaultExtensionOnlyWhenMissing) {
    EXPECT_EQ(ApplyDefaultExt("/tmp/out", "xlsx"), std::filesystem::path("/tmp/out.xlsx"));
    EXPECT_EQ(ApplyDefaultExt("/tmp/out", ".xlsx"), std::filesystem::path("/tmp/out.xlsx"));
    EXPECT_EQ(ApplyDefaultExt("/tmp/out.csv", "xlsx"), std::filesystem::path("/tmp/out.csv"));
    EXPECT_EQ(ApplyDefaultExt("/tmp/out", ""), std::filesystem::path("/tmp/out"));
}

TEST(Colors, ClassicByteOrder) {
    constexpr TColor c = RGBToColor(0x12, 0x34, 0x56);
    EXPECT_EQ(c, 0x563412u);
    EXPECT_EQ(RedOf(c), 0x12);
    EXPECT_EQ(GreenOf(c), 0x34);
    EXPECT_EQ(BlueOf(c), 0x56);
    EXPECT_EQ(RGBToColor(255, 0, 0), clRed);
}

TEST(MessageButtons, SafeDefaultPrefersTheHarmlessAnswer) {
    EXPECT_EQ(SafeDefaultResult({mbYes, mbNo, mbCancel}), mrCancel);
    EXPECT_EQ(SafeDefaultResult({mbYes, mbNo}), mrNo);
    EXPECT_EQ(SafeDefaultResult({mbAbort, mbRetry, mbIgnore}), mrAbort);
    EXPECT_EQ(SafeDefaultResult({mbOK}), mrOk);
    EXPECT_EQ(SafeDefaultResult({}), mrOk);
    EXPECT_TRUE(OffersResult({mbYes, mbYesToAll}, mrYesToAll));
    EXPECT_FALSE(OffersResult({mbYes, mbNo}, mrOk));
    EXPECT_EQ((TMsgDlgButtons{mbCancel, mbNo, mbYes}.List()),
              (std::vector<TMsgDlgBtn>{mbYes, mbNo, mbCancel}));
    EXPECT_EQ(ModalResultName(mrNoToAll), "NoToAll");
    EXPECT_EQ(ModalResultName(42), "42");
}

TEST(NewName, CheckedAgainstLimitsAndExistingNames) {
    TNameConflictQuery q{"Flügel", true, 10, [](const std::string& n) {
                             return n == "Taken";
                         }};
    EXPECT_EQ(CheckNewName(q, "Other"), "");
    EXPECT_NE(CheckNewName(q, ""), "");
    EXPECT_NE(CheckNewName(q, " Lead"), "");
    EXPECT_NE(CheckNewName(q, "Flügel"), "");
    EXPECT_NE(CheckNewName(q, "Taken"), "");
    // Ten characters, twelve bytes: the limit counts characters.
    EXPECT_EQ(CheckNewName(q, "Flügel 123"), "");
    EXPECT_NE(CheckNewName(q, "Flügel 1234"), "");
}

TEST(NewName, ProposalSkipsTakenNamesAndFitsTheLimit) {
    TNameConflictQuery q{"Flügel", true, 0, [](const std::string& n) {
                             return n == "Flügel (2)";
                         }};
    EXPECT_EQ(ProposeNewName(q), "Flügel (3)");
    q.MaxNameLength = 8;
    q.NameExists = nullptr;
    EXPECT_EQ(ProposeNewName(q), "Flüg (2)");
    q.MaxNameLength = 3;
    EXPECT_EQ(ProposeNewName(q), "");
}

TEST(Utf8Text, CountsAndCutsWholeCharacters) {
    EXPECT_EQ(uitext::Length("Flügel"), 6u);
    EXPECT_EQ(uitext::Left("Flügel", 3), "Flü");
    EXPECT_EQ(uitext::Left("ab", 5), "ab");
    EXPECT_EQ(uitext::SplitLines("a\r\nb\rc\n"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(uitext::SplitLines("a\n\nb"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_TRUE(uitext::SplitLines("").empty());
    EXPECT_EQ(uitext::JoinLines({"a", "", "b"}), "a\n\nb");
    EXPECT_TRUE(uitext::EqualsNoCase("Leq", "LEQ"));
    EXPECT_FALSE(uitext::EqualsNoCase("Leq", "Leq2"));
}

} // namespace
} // namespace korvel
