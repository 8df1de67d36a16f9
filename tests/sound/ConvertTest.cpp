// Converting a folder of the older generation: the four sound kinds become current libraries with their
// numbers and groups, the older files go to the backup folder and leave the folder, and a kind that could not
// be converted keeps its older files.

#include "platform/acoustic/LibSpectrum.h"
#include "platform/settings/ProgramSettings.h"
#include "service/LibService.h"
#include "sound/UpdateFixtures.h"
#include "support/LibFolders.h"
#include "support/SettingsSandbox.h"
#include "support/TempDir.h"
#include "support/TestUi.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace korvel::sound {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;
using namespace sound::test;

// Keeps what the log showed when the conversion presented it.
class RecordingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool modal) override {
        if (!modal)
            return;
        ++ModalShows;
        for (const auto& e : Log().Entries())
            Shown.push_back(e.Text);
    }
    int ModalShows = 0;
    std::vector<std::string> Shown;
};

std::string Content(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class ConvertTest : public ::testing::Test {
protected:
    ConvertTest() {
        fs::create_directories(root_.Path() / "old");
        SetGlobalLibPath((root_.Path() / "global").string());
    }
    // The folder with a trailing separator, as the libraries are located; the service takes it without.
    std::string Folder() const { return (root_.Path() / "old").string() + "/"; }
    std::string Bare() const { return (root_.Path() / "old").string(); }
    bool Shown(const std::string& fragment) const {
        for (const auto& text : host_.Shown)
            if (text.find(fragment) != std::string::npos)
                return true;
        return false;
    }
    std::string GroupName(int libType, std::int64_t number) {
        TMyTable lib(TableNames(libType));
        lib.InitLibX(Folder(), LibName(libType), TableNames(libType), true, true);
        lib.Open();
        db::TTable& groups = *lib.GetItem(1);
        std::string name;
        for (groups.First(); !groups.Eof(); groups.Next())
            if (groups.FieldByName("Eintrag").AsLargeInt() == number)
                name = groups.FieldByName("GruppenName").AsString();
        lib.Close();
        return name;
    }
    static std::vector<std::string> Names(const std::vector<TRow>& rows) {
        std::vector<std::string> names;
        for (const auto& row : rows)
            names.push_back(std::get<std::string>(row.at("ElementName")));
        return names;
    }

    korvel::test::SettingsSandbox settings_;
    korvel::test::TempDir root_;
    korvel::test::TTestUi ui_;
    RecordingHost host_{ui_};
};

TEST_F(ConvertTest, FolderOfTheOlderGenerationBecomesCurrentLibraries) {
    MakeOlderFile(
        kEmissionLibType, Folder(),
        {{{"Eintrag", Int(4)}, {"ElementName", Text("Fan")}, {"Gruppen1", Int(2)}, {"dBX", Text("A")}},
         {{"Eintrag", Int(9)}, {"ElementName", Text("Pump")}, {"dBX", Text("A")}}},
        {{{"GruppenName", Text("Roof")}}, {{"GruppenName", Text("Hall")}}});
    MakeOlderFile(kTransmissionLibType, Folder(),
                  {{{"Eintrag", Int(3)}, {"ElementName", Text("Wall")}, {"Rw", Num(52)}}}, {});
    MakeOlderFile(kAbsorptionLibType, Folder(), {{{"ElementName", Text("Foam")}}}, {});
    MakeOlderFile(kAttenuationLibType, Folder(), {{{"ElementName", Text("Silencer")}}}, {});
    MakeTableFile(Folder() + kLegacyRiwiFile, LegacyRiwiTableDef(), {});
    std::ofstream(Folder() + "Emis.fil", std::ios::binary) << "filter";
    const std::string emisBytes = Content(Folder() + "Emis.abs");

    ConvertLibrary(host_, Bare());

    const auto emission = FileRows(kEmissionLibType, Folder());
    ASSERT_EQ(emission.size(), 2u);
    EXPECT_EQ(emission[0].at("Eintrag"), Int(4));
    EXPECT_EQ(emission[1].at("Eintrag"), Int(9));
    EXPECT_EQ(Names(emission), (std::vector<std::string>{"Fan", "Pump"}));
    EXPECT_EQ(GroupName(kEmissionLibType, std::get<std::int64_t>(emission[0].at("Gruppen1"))), "Hall");
    const auto transmission = FileRows(kTransmissionLibType, Folder());
    ASSERT_EQ(transmission.size(), 1u);
    EXPECT_EQ(transmission[0].at("Eintrag"), Int(3));
    EXPECT_EQ(Names(FileRows(kAbsorptionLibType, Folder())), std::vector<std::string>{"Foam"});
    EXPECT_EQ(Names(FileRows(kAttenuationLibType, Folder())), std::vector<std::string>{"Silencer"});
    // The converted libraries are current: their layout came from the kind, not from the older file.
    EXPECT_NE(FileLayout(kTransmissionLibType, Folder()).FindField("AddProp"), nullptr);
    EXPECT_EQ(FileLayout(kEmissionLibType, Folder()).FindField("VarList"), nullptr);

    for (const char* old : {"Emis.abs", "EmisGrp.abs", "Emis.fil", "Riwi.abs", "Trans.abs", "TransGrp.abs",
                            "Absor.abs", "AbsorGrp.abs", "Atten.abs", "AttenGrp.abs"}) {
        EXPECT_FALSE(fs::exists(Folder() + old)) << old;
        EXPECT_TRUE(fs::exists(Folder() + "backup/" + old)) << old;
    }
    EXPECT_EQ(Content(Folder() + "backup/Emis.abs"), emisBytes);
    // The messages of the conversion were shown once, and the log is gone afterwards.
    EXPECT_EQ(host_.ModalShows, 1);
    EXPECT_TRUE(Shown("Updating library \"" + Folder() + "Emis.abs\""));
    EXPECT_TRUE(Shown("Updating library \"" + Folder() + "Atten.abs\""));
    EXPECT_FALSE(host_.HasLog());
}

TEST_F(ConvertTest, ExistingCurrentLibraryIsLeftAloneButTheOlderFilesStillGo) {
    korvel::test::LibFolders::MakeLibrary(kEmissionLibType, Folder(), {{{"ElementName", "Existing"}}});
    MakeOlderFile(kEmissionLibType, Folder(), {{{"ElementName", Text("Old")}, {"dBX", Text("A")}}}, {});

    ConvertLibrary(host_, Bare());

    EXPECT_EQ(Names(FileRows(kEmissionLibType, Folder())), std::vector<std::string>{"Existing"});
    EXPECT_FALSE(fs::exists(Folder() + "Emis.abs"));
    EXPECT_FALSE(fs::exists(Folder() + "EmisGrp.abs"));
    EXPECT_TRUE(fs::exists(Folder() + "backup/Emis.abs"));
    EXPECT_EQ(host_.ModalShows, 0);
}

TEST_F(ConvertTest, KindWhoseImportFailedKeepsItsOlderFilesOthersGoOn) {
    std::ofstream(Folder() + "Emis.abs", std::ios::binary) << "damaged beyond reading";
    MakeOlderFile(kTransmissionLibType, Folder(), {{{"ElementName", Text("Wall")}}}, {});

    ConvertLibrary(host_, Bare());

    EXPECT_EQ(host_.ModalShows, 1);
    EXPECT_TRUE(Shown("Error while updating "));
    // The damaged file stays for another attempt; the transmission kind was converted and cleaned up.
    EXPECT_TRUE(fs::exists(Folder() + "Emis.abs"));
    EXPECT_TRUE(fs::exists(Folder() + "backup/Emis.abs"));
    EXPECT_EQ(Names(FileRows(kTransmissionLibType, Folder())), std::vector<std::string>{"Wall"});
    EXPECT_FALSE(fs::exists(Folder() + "Trans.abs"));
}

TEST_F(ConvertTest, FolderWithoutOlderFilesGetsNoLibraries) {
    ConvertLibrary(host_, Bare());
    for (int type : {kEmissionLibType, kAbsorptionLibType, kTransmissionLibType, kAttenuationLibType})
        EXPECT_FALSE(fs::exists(Folder() + LibName(type))) << type;
    EXPECT_EQ(host_.ModalShows, 0);
}

} // namespace
} // namespace korvel::sound
