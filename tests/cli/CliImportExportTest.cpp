// korvellib import and export, run as a user runs them: text tables and workbooks with their columns mapped
// by heading or by the command line, name conflicts by policy, and export read back.

#include "CliRunner.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/formats/Workbook.h"
#include "support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;

const std::string kEmission = std::to_string(kEmissionLibType);

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

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
    // The emission element of that name, read from the library file.
    std::unique_ptr<TEmisLibSpectrum> Element(const std::string& folder, const std::string& name) {
        TMyTable lib(TableNames(kEmissionLibType));
        lib.InitLibX(folder, LibName(kEmissionLibType), TableNames(kEmissionLibType), true, true);
        lib.Open();
        if (!lib.GetTable()->Locate("ElementName", {db::TValue(name)}))
            return nullptr;
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
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_TRUE(Contains(r.Out, "2 elements imported")) << r.Out;
    EXPECT_TRUE(Contains(r.Out, "2 elements added")) << r.Out;
    auto fan = Element(lib, "Fan");
    ASSERT_TRUE(fan);
    EXPECT_EQ(fan->dBX(), ' ');
    EXPECT_EQ(fan->GetValue(21), 72.0);
    auto pump = Element(lib, "Pump");
    ASSERT_TRUE(pump);
    EXPECT_EQ(pump->SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(pump->dBX(), 'C');

    // Headings the import does not know: a heading, a letter and a number name the columns.
    const std::string other = File("other.csv", "Name;Level;Loud\nHorn;50;61\n");
    r = Run({"import", kEmission, lib, other, "--columns", "ElementName=name", "63Hz=B", "Band21=3",
             "Weighting=Level"});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    // "50" is no weighting: logged, and A is taken.
    EXPECT_TRUE(Contains(r.Err, "Line 1, Field \"Weighting\": Value \"50\" not valid using default dB(A)"))
        << r.Err;
    auto horn = Element(lib, "Horn");
    ASSERT_TRUE(horn);
    EXPECT_EQ(horn->dBX(), 'A');
    EXPECT_NEAR(horn->GetdBXValue(18), 50.0, 1e-4);
    EXPECT_NEAR(horn->GetdBXValue(21), 61.0, 1e-4);

    // Wrong mappings are refused before anything is imported.
    r = Run({"import", kEmission, lib, other, "--columns", "Loudness=B"});
    EXPECT_EQ(r.ExitCode, 2) << Describe(r);
    EXPECT_TRUE(Contains(r.Err, "Unknown import field \"Loudness\"")) << r.Err;
    r = Run({"import", kEmission, lib, other, "--columns", "ElementName=Nope"});
    EXPECT_EQ(r.ExitCode, 2) << Describe(r);
    const std::string empty = Folder("empty");
    r = Run({"import", kEmission, empty, other, "--columns", "ElementName"});
    EXPECT_EQ(r.ExitCode, 2) << Describe(r);
    // So are a missing file and a loudspeaker file of no known version, and no library is made for them.
    EXPECT_EQ(Run({"import", kEmission, empty, root_.File("missing.csv")}).ExitCode, 1);
    std::string clf(5000, '\0');
    clf[0] = 7;
    r = Run({"import", kEmission, empty, File("bad.CF1", clf)});
    EXPECT_EQ(r.ExitCode, 1) << Describe(r);
    EXPECT_TRUE(Contains(r.Err, "Unknown version of CLF file")) << r.Err;
    EXPECT_FALSE(LibraryExists(kEmissionLibType, empty));

    // Names found already are counted, or overwritten when the option says so.
    const std::string again = File("b.csv", "Element name;1kHz\nFan;80\nPump;90\nBell;50\n");
    r = Run({"import", kEmission, lib, again});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_TRUE(Contains(r.Out, "1 elements imported, 2 element names are duplicate")) << r.Out;
    EXPECT_EQ(Element(lib, "Fan")->GetValue(21), 72.0);
    r = Run({"import", kEmission, lib, again, "--on-conflict", "overwrite"});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_TRUE(Contains(r.Out, "3 elements imported")) << r.Out;
    EXPECT_TRUE(Contains(r.Out, "0 elements added, 4 elements in all")) << r.Out;
    EXPECT_EQ(Element(lib, "Fan")->GetValue(30), 80.0);
}

TEST_F(CliImportExport, ExportReadsBackAndImportsIntoAnotherLibrary) {
    const std::string lib = Folder("project");
    ASSERT_EQ(Run({"import", kEmission, lib,
                   File("a.csv", "Element name;63Hz;125Hz;250Hz;Weighting;Group(1)\n"
                                 "Fan;70;72;74;A;Roof\nPump;60;61;62;B;\n")})
                  .ExitCode,
              0);
    const std::string xlsx = root_.File("out.xlsx");
    TCliResult r = Run({"export", kEmission, lib, xlsx});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_TRUE(Contains(r.Out, "Exported 2 elements")) << r.Out;
    const formats::TWorkbook book = formats::ReadXlsx(xlsx);
    const formats::TSheet& sheet = book.Sheets.at(0);
    EXPECT_EQ(sheet.Cell(1, 0), "Fan");
    EXPECT_EQ(sheet.Cell(1, 19), "70");
    EXPECT_EQ(sheet.Cell(1, 53), "Roof");
    EXPECT_EQ(sheet.Cell(2, 46), "B");

    const std::string copy = Folder("copy");
    r = Run({"import", kEmission, copy, xlsx});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_TRUE(Contains(r.Out, "2 elements imported")) << r.Out;
    auto pump = Element(copy, "Pump");
    ASSERT_TRUE(pump);
    EXPECT_EQ(pump->dBX(), 'B');
    EXPECT_NEAR(pump->GetdBXValue(24), 62.0, 1e-4);

    EXPECT_EQ(Run({"export", kEmission, lib, root_.File("out.txt")}).ExitCode, 2);
    EXPECT_EQ(Run({"export", kEmission, Folder("none"), root_.File("none.xlsx")}).ExitCode, 5);
    EXPECT_FALSE(fs::exists(root_.File("none.xlsx")));
}

} // namespace
} // namespace korvel::test
