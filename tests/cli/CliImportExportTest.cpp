// korvellib import, run as a user runs it: text tables with their columns mapped by heading or by the command
// line, and name conflicts by policy.

#include "CliRunner.h"
#include "platform/acoustic/Directivity.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;
using testing::AllOf;
using testing::HasSubstr;

const std::string kEmission = std::to_string(kEmissionLibType);

class CliImportExport : public ::testing::Test {
protected:
    std::string Folder(const std::string& name) {
        fs::create_directories(root_.Path() / name);
        return (root_.Path() / name).string() + "/";
    }
    std::string File(const std::string& name, const std::string& text) {
        const std::string file = root_.File(name);
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }
    TCliResult Run(std::vector<std::string> args) {
        args.insert(args.begin(), {"--config", (root_.Path() / "config").string()});
        return RunKorvellib(args);
    }
    // The emission element of that name, read from the library file; the test fails without it.
    std::unique_ptr<TEmisLibSpectrum> Element(const std::string& folder, const std::string& name) {
        TMyTable lib(TableNames(kEmissionLibType));
        lib.InitLibX(folder, LibName(kEmissionLibType), TableNames(kEmissionLibType), true, true);
        lib.Open();
        if (!lib.GetTable()->Locate("ElementName", {db::TValue(name)}))
            throw std::runtime_error("no element \"" + name + "\"");
        auto e = std::make_unique<TEmisLibSpectrum>();
        e->ReadFromLibrary(lib, TAddPropDefList(kEmissionLibType));
        return e;
    }
    TempDir root_;
};

TEST_F(CliImportExport, TextTableColumnsMapByHeadingOrByTheCommandLineAndNamesByTheConflictOption) {
    const std::string lib = Folder("project");
    const std::string csv = File("levels.csv", "Element name;63Hz;125Hz;Weighting\n"
                                               "Fan;70;72;dB\n"
                                               "Pump;60;;dB(C)\n");
    TCliResult r = Run({"import", kEmission, lib, csv});
    ASSERT_TRUE(ExitedWith(r, 0));
    EXPECT_THAT(r.Out, AllOf(HasSubstr("2 elements imported"), HasSubstr("2 elements added")));
    auto fan = Element(lib, "Fan");
    EXPECT_EQ(std::pair(fan->dBX(), fan->GetValue(21)), std::pair(' ', 72.0));
    auto pump = Element(lib, "Pump");
    EXPECT_EQ(std::pair(pump->SpecType(), pump->dBX()), std::pair(TSpecType::SingleValue, 'C'));

    // Headings the import does not know: a heading, a letter and a number name the columns.
    const std::string other = File("other.csv", "Name;Level;Loud\nHorn;50;61\n");
    r = Run({"import", kEmission, lib, other, "--columns", "ElementName=name", "63Hz=B", "Band21=3",
             "Weighting=Level"});
    // "50" is no weighting: logged, and A is taken.
    ASSERT_TRUE(
        ExitedWith(r, 0, {"Line 1, Field \"Weighting\": Value \"50\" not valid using default dB(A)"}));
    auto horn = Element(lib, "Horn");
    EXPECT_EQ(horn->dBX(), 'A');
    EXPECT_NEAR(horn->GetdBXValue(18), 50.0, 1e-4);
    EXPECT_NEAR(horn->GetdBXValue(21), 61.0, 1e-4);

    // Wrong mappings are refused before anything is imported.
    EXPECT_TRUE(ExitedWith(Run({"import", kEmission, lib, other, "--columns", "Loudness=B"}), 2,
                           {"Unknown import field \"Loudness\""}));
    EXPECT_TRUE(ExitedWith(Run({"import", kEmission, lib, other, "--columns", "ElementName=Nope"}), 2));
    const std::string empty = Folder("empty");
    EXPECT_TRUE(ExitedWith(Run({"import", kEmission, empty, other, "--columns", "ElementName"}), 2));
    // So are a missing file and a loudspeaker file of no known version, and no library is made for them.
    EXPECT_TRUE(ExitedWith(Run({"import", kEmission, empty, root_.File("missing.csv")}), 1));
    std::string clf(5000, '\0');
    clf[0] = 7;
    EXPECT_TRUE(ExitedWith(Run({"import", kEmission, empty, File("bad.CF1", clf)}), 1,
                           {"Unknown version of CLF file"}));
    EXPECT_FALSE(LibraryExists(kEmissionLibType, empty));
    // The export writes workbooks only.
    EXPECT_TRUE(ExitedWith(Run({"export", kEmission, lib, root_.File("out.txt")}), 2, {".xlsx"}));

    // Names found already are counted, or overwritten when the option says so.
    const std::string again = File("b.csv", "Element name;1kHz\nFan;80\nPump;90\nBell;50\n");
    r = Run({"import", kEmission, lib, again});
    ASSERT_TRUE(ExitedWith(r, 0));
    EXPECT_THAT(r.Out, HasSubstr("1 elements imported, 2 element names are duplicate"));
    EXPECT_EQ(Element(lib, "Fan")->GetValue(21), 72.0);
    r = Run({"import", kEmission, lib, again, "--on-conflict", "overwrite"});
    ASSERT_TRUE(ExitedWith(r, 0));
    EXPECT_THAT(r.Out,
                AllOf(HasSubstr("3 elements imported"), HasSubstr("0 elements added, 4 elements in all")));
    EXPECT_EQ(Element(lib, "Fan")->GetValue(30), 80.0);
}

TEST_F(CliImportExport, DirectivitiesComeFromTheDosFileAndFromSheetsWithTheirColumnsMapped) {
    const std::string lib = Folder("dirs");
    constexpr int kDirectivity = 119;
    const std::string kind = std::to_string(kDirectivity);
    const std::string dos = root_.File("RIWIS.DAT");
    WriteAll(dos, Join({RiwisBytes("Horn", std::vector<float>(36, -2.0f)), RiwisBytes("Dome", {-1.0f})}));
    ASSERT_TRUE(
        ExitedWith(Run({"import", kind, lib, dos, "--columns", "Freq=B"}), 0, {"--columns is left unused"}));

    // Values at 10..90 degrees under headings of its own, mapped by heading, letter and number.
    const std::string sheet = File("quarter.csv", "Name;f;a;b;c;d;e;g;h;i;j\nFan;1k;1;2;3;4;5;6;7;8;9\n");
    std::vector<std::string> args = {"import", kind, lib, sheet, "--columns", "ElementName=Name", "Freq=f"};
    for (int i = 1; i <= 9; ++i)
        args.push_back("Values" + std::to_string(i) + "=" + std::to_string(i + 2));
    const TCliResult r = Run(args);
    ASSERT_TRUE(ExitedWith(r, 0));
    EXPECT_THAT(r.Out, HasSubstr("1 elements imported"));

    TMyTable t(TableNames(kDirectivity));
    t.InitLibX(lib, LibName(kDirectivity), TableNames(kDirectivity), true, true);
    t.Open();
    acoustic::TDirectivity d;
    ASSERT_TRUE(t.GetTable()->Locate("ElementName", {db::TValue(std::string("Fan 1k Hz"))}));
    d.ReadFromLibrary(*t.GetTable());
    // 80 degrees mirrored to 100, 10 to 350; incomplete, as 180 and 360 are missing.
    EXPECT_EQ(std::tuple(d.Value(0, 0, 8), d.Value(0, 0, 10), d.Value(0, 0, 35)), std::tuple(8.0, 8.0, 1.0));
    EXPECT_EQ(t.GetTable()->FieldByName("Komplett").AsBoolean(), false);
    EXPECT_EQ(t.GetTable()->RecordCount(), 3);
}

} // namespace
} // namespace korvel::test
