// korvellib convert run as a user runs it: a folder of the older generation becomes current sound libraries,
// the command reports what it created and removed, and a failed kind keeps its files and fails the run.

#include "CliRunner.h"
#include "platform/acoustic/LibSpectrum.h"
#include "sound/UpdateFixtures.h"
#include "support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace sound::test;

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

class CliConvert : public ::testing::Test {
protected:
    CliConvert() { fs::create_directories(root_.Path() / "old"); }
    std::string Folder() const { return (root_.Path() / "old").string() + "/"; }
    TCliResult Convert() {
        return RunKorvellib({"--config", (root_.Path() / "config").string(), "convert", Folder()});
    }
    TempDir root_;
};

TEST_F(CliConvert, ConvertsTheSoundKindsAndReportsCreatedAndRemovedFiles) {
    MakeOlderFile(acoustic::kEmissionLibType, Folder(),
                  {{{"Eintrag", Int(12)}, {"ElementName", Text("Fan")}, {"dBX", Text("A")}}},
                  {{{"GruppenName", Text("Roof")}}});
    MakeOlderFile(acoustic::kTransmissionLibType, Folder(), {{{"ElementName", Text("Wall")}}}, {});

    const TCliResult r = Convert();
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_NE(r.Out.find("Updating library \"" + Folder() + "Emis.abs\""), std::string::npos) << r.Out;
    EXPECT_NE(r.Out.find("Created \"" + Folder() + "EmisX.abs\""), std::string::npos) << r.Out;
    EXPECT_NE(r.Out.find("Created \"" + Folder() + "TransX.abs\""), std::string::npos) << r.Out;
    EXPECT_NE(r.Out.find("Removed \"" + Folder() + "Emis.abs\" (a copy is in \"" + Folder() + "backup/\")"),
              std::string::npos)
        << r.Out;
    EXPECT_NE(r.Out.find("Removed \"" + Folder() + "TransGrp.abs\""), std::string::npos) << r.Out;
    // Neither the new libraries nor the removed older files leave journal files behind.
    for (const auto& entry : fs::directory_iterator(Folder()))
        EXPECT_FALSE(entry.path().string().ends_with("-wal") || entry.path().string().ends_with("-shm"))
            << entry.path();

    const auto emission = FileRows(acoustic::kEmissionLibType, Folder());
    ASSERT_EQ(emission.size(), 1u);
    EXPECT_EQ(emission[0].at("Eintrag"), Int(12));
    EXPECT_EQ(emission[0].at("ElementName"), Text("Fan"));
    EXPECT_EQ(FileRows(acoustic::kTransmissionLibType, Folder()).size(), 1u);
    EXPECT_FALSE(fs::exists(Folder() + "Emis.abs"));
    EXPECT_TRUE(fs::exists(Folder() + "backup/TransGrp.abs"));

    // Run again: nothing is left to convert, and the backup is not replaced by nothing.
    const TCliResult again = Convert();
    EXPECT_EQ(again.ExitCode, 0) << Describe(again);
    EXPECT_NE(again.Out.find("No older library files to convert"), std::string::npos) << again.Out;
    EXPECT_TRUE(fs::exists(Folder() + "backup/Emis.abs"));
}

TEST_F(CliConvert, DamagedOlderFileFailsTheRunAndStays) {
    std::ofstream(Folder() + "Atten.abs", std::ios::binary) << "not a library";
    const TCliResult r = Convert();
    EXPECT_EQ(r.ExitCode, 1) << Describe(r);
    EXPECT_NE(r.Err.find("Error: Error while updating "), std::string::npos) << r.Err;
    EXPECT_TRUE(fs::exists(Folder() + "Atten.abs"));
    EXPECT_TRUE(fs::exists(Folder() + "backup/Atten.abs"));
}

} // namespace
} // namespace korvel::test
