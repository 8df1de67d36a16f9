#include "platform/settings/IniStore.h"

#include "platform/Errors.h"
#include "platform/settings/KeyPath.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <climits>
#include <filesystem>
#include <gmock/gmock.h>

namespace korvel {
namespace {

namespace fs = std::filesystem;
using test::ReadAll;
using test::WriteAll;

class IniStoreTest : public ::testing::Test {
protected:
    test::TempDir dir;
    std::string file = dir.File("KorvelLib.ini");
    TIniStore store{file};
};

TEST_F(IniStoreTest, ValuesOfEveryTypeReadBackAsWritten) {
    store.WriteString("Bibliothek", "Ordner", "/home/jörg/Lärm/Flügel ½ — ok");
    store.WriteString("Bibliothek", "Leer", "");
    store.WriteString("Bibliothek", "Blanks", "  \"padded\"  "); // quoted, so the blanks survive
    store.WriteInteger("Numbers", "Min", INT_MIN);
    store.WriteBool("Numbers", "On", true);
    store.WriteBool("Numbers", "Off", false);
    store.WriteFloat("Numbers", "Third", 1.0 / 3.0);

    const TIniStore other(file); // a second store sees the file, not a cache
    EXPECT_EQ(other.ReadString("Bibliothek", "Ordner", "x"), "/home/jörg/Lärm/Flügel ½ — ok");
    EXPECT_EQ(other.ReadString("Bibliothek", "Leer", "x"), "");
    EXPECT_EQ(other.ReadString("Bibliothek", "Blanks", "x"), "  \"padded\"  ");
    EXPECT_EQ(other.ReadInteger("Numbers", "Min", 0), INT_MIN);
    EXPECT_TRUE(other.ReadBool("Numbers", "On", false));
    EXPECT_FALSE(other.ReadBool("Numbers", "Off", true));
    EXPECT_EQ(other.ReadFloat("Numbers", "Third", 0), 1.0 / 3.0);
    EXPECT_NE(ReadAll(file).find("Third=0.3333333333333333"), std::string::npos);
    EXPECT_EQ(TIniStore(file + "\\Scale").FileName(), dir.File("KorvelLib.Scale.ini"));
}

TEST_F(IniStoreTest, SectionAndKeyNamesIgnoreLetterCase) {
    store.WriteString("LastUsed", "EmisLib", "/a/");
    EXPECT_EQ(std::tuple(store.ReadString("LASTUSED", "emislib", ""), store.SectionExists("lastused"),
                         store.ValueExists("lastUSED", "EMISLIB")),
              std::tuple("/a/", true, true));

    // Overwriting under another spelling changes the existing line and keeps its spelling.
    store.WriteString("lastused", "EMISLIB", "/b/");
    EXPECT_EQ(ReadAll(file), "[LastUsed]\nEmisLib=/b/\n");

    // Unicode case folding, not just ASCII: ß folds to ss.
    store.WriteString("Maße", "GRÖSSE", "1");
    EXPECT_EQ(store.ReadString("MASSE", "größe", ""), "1");
}

TEST_F(IniStoreTest, RewriteKeepsCommentsUnknownSectionsAndLineEnds) {
    const std::string text = "\xEF\xBB\xBF; written by hand\r\n"
                             "[Other]\r\n"
                             "# keep me\r\n"
                             "Foo = bar\r\n"
                             "\r\n"
                             "[LastUsed]\r\n"
                             "Emis=/old/\r\n"
                             "; note on the next section\r\n"
                             "[Tail]\r\n"
                             "X=1\r\n";
    WriteAll(file, text);
    store.WriteString("LastUsed", "Emis", "/new/");
    store.WriteString("LastUsed", "Absor", "/abs/");
    store.WriteString("Fresh", "Y", "2");
    store.DeleteKey("Tail", "X");

    // A new key goes after the section's last entry, not after the comment that leads the next section.
    std::string expected = text;
    expected.replace(expected.find("Emis=/old/"), 10, "Emis=/new/\r\nAbsor=/abs/");
    expected.replace(expected.find("X=1"), 3, "\r\n[Fresh]\r\nY=2");
    EXPECT_EQ(ReadAll(file), expected);
    EXPECT_EQ(store.ReadString("Other", "foo", ""), "bar");
}

TEST_F(IniStoreTest, DamagedLinesAreSkippedAndKept) {
    const std::string text = "[Good]\n"
                             "A=1\n"
                             "this line has no equals sign\n"
                             "=no key\n"
                             "B=2\n"
                             "[Broken\n"
                             "C=3\n"
                             "[Good]\n"
                             "D=4\n";
    WriteAll(file, text);
    for (auto [key, value] : {std::pair{"A", 1}, {"B", 2}, {"D", 4}})
        EXPECT_EQ(store.ReadInteger("Good", key, 0), value) << key;
    // An entry below a broken header is not taken for the section above it.
    EXPECT_FALSE(store.ValueExists("Good", "C"));
    EXPECT_EQ(store.ReadSection("Good"), (std::vector<std::string>{"A", "B", "D"}));

    store.WriteString("Good", "A", "9");
    std::string expected = text;
    expected.replace(expected.find("A=1"), 3, "A=9");
    EXPECT_EQ(ReadAll(file), expected);
}

TEST_F(IniStoreTest, NumbersThatDoNotParseGiveTheDefault) {
    WriteAll(file, "[N]\nInt= 42 \nJunk=12abc\nHuge=99999999999\nComma=2,5\nExp=1.5e3\nWord=maybe\n"
                   "Yes=YES\nOff=off\nTwo=2\nInf=inf\n");
    for (auto [key, value] : {std::pair{"Int", 42}, {"Junk", -1}, {"Huge", -1}, {"Missing", -1}})
        EXPECT_EQ(store.ReadInteger("N", key, -1), value) << key;
    for (auto [key, value] : {std::pair{"Comma", 2.5}, {"Exp", 1500.0}, {"Word", 7.5}, {"Inf", 7.5}})
        EXPECT_EQ(store.ReadFloat("N", key, 7.5), value) << key;
    EXPECT_TRUE(store.ReadBool("N", "Yes", false));
    EXPECT_FALSE(store.ReadBool("N", "Off", true));
    EXPECT_TRUE(store.ReadBool("N", "Two", false));
    // A word that is no truth value gives the default, whichever it is.
    EXPECT_TRUE(store.ReadBool("N", "Word", true));
    EXPECT_FALSE(store.ReadBool("N", "Word", false));
}

TEST_F(IniStoreTest, SectionsListEraseAndDuplicates) {
    WriteAll(file, "[A]\nx=1\ny=2\n[B]\nz=3\n[a]\nX=overridden\nw=4\n");
    EXPECT_EQ(store.ReadSections(), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(store.ReadSection("A"), (std::vector<std::string>{"x", "y", "w"}));
    EXPECT_EQ(store.ReadString("A", "x", ""), "1"); // the first occurrence wins
    EXPECT_TRUE(store.ReadSection("Missing").empty());

    store.EraseSection("A");
    EXPECT_EQ(ReadAll(file), "[B]\nz=3\n");
}

TEST_F(IniStoreTest, RefusedInputLeavesTheFileAlone) {
    store.WriteString("S", "K", "v");
    const std::string before = ReadAll(file);
    for (auto [section, key, value] :
         {std::tuple{"S", "K", "two\nlines"}, {"S", "a=b", "v"}, {"S", "", "v"}, {"S]", "K", "v"}})
        EXPECT_THROW(store.WriteString(section, key, value), EKorvelError) << section << " " << key;
    EXPECT_THROW(store.WriteFloat("S", "K", std::numeric_limits<double>::quiet_NaN()), EKorvelError);
    EXPECT_EQ(ReadAll(file), before);
}

TEST_F(IniStoreTest, UnusableLocationsGiveAMessageNamingTheFile) {
    WriteAll(dir.File("plain"), "not a folder");
    const TIniStore underFile(dir.File("plain/KorvelLib.ini"));
    EXPECT_THAT([&] { underFile.WriteString("S", "K", "v"); },
                testing::ThrowsMessage<EKorvelError>(testing::HasSubstr(dir.File("plain/KorvelLib.ini"))));

    fs::create_directory(dir.File("folder.ini"));
    const TIniStore onFolder(dir.File("folder.ini"));
    EXPECT_THROW(onFolder.ReadString("S", "K", ""), EKorvelError);
    EXPECT_THROW(onFolder.WriteString("S", "K", "v"), EKorvelError);
    EXPECT_TRUE(fs::is_directory(dir.File("folder.ini")));
}

TEST(KeyPathTest, SubKeysNameASiblingFile) {
    EXPECT_EQ(IniFileNameForKeyPath("/cfg/KorvelLib.ini"), "/cfg/KorvelLib.ini");
    EXPECT_EQ(IniFileNameForKeyPath("/cfg/KorvelLib.ini\\Scale"), "/cfg/KorvelLib.Scale.ini");
    EXPECT_EQ(IniFileNameForKeyPath("/cfg/KorvelLib.INI/Scale"), "/cfg/KorvelLib.Scale.INI");
    EXPECT_EQ(IniFileNameForKeyPath("/cfg/KorvelLib.ini\\A\\\\B\\"), "/cfg/KorvelLib.A.B.ini");
    // A folder named like an INI file further up is not a split point.
    EXPECT_EQ(IniFileNameForKeyPath("/x.ini/KorvelLib.ini"), "/x.ini/KorvelLib.ini");
    EXPECT_EQ(IniFileNameForKeyPath("/x.ini/KorvelLib.ini\\Scale"), "/x.ini/KorvelLib.Scale.ini");
    EXPECT_EQ(IniFileNameForKeyPath("/cfg/settings.txt"), "/cfg/settings.txt");
}

} // namespace
} // namespace korvel
