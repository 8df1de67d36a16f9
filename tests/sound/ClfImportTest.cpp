// Loudspeaker files imported into the emission library: spectrum, directivity grids, warnings by license,
// and files that are refused without touching the library.

#include "platform/acoustic/Directivity.h"
#include "platform/base/LibKinds.h"
#include "platform/formats/ClfFile.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
namespace fs = std::filesystem;

class TCountingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool /*modal*/) override { ++Shown; }
    int Shown = 0;
};

// A level difference in 0..-32 dB, distinct for every point of one band and exact as a 32-bit number.
float BalloonOf(int b, int m, int p) {
    return static_cast<float>(-((b * 37 * 72 + m * 37 + p) % 4096) / 128.0);
}

formats::TClfFile MakeClf(int version, std::uint32_t minBand, std::uint32_t maxBand, bool axialGiven = true) {
    formats::TClfFile clf;
    clf.Version = version;
    clf.MinBand = minBand;
    clf.MaxBand = maxBand;
    clf.Header.ModelName = "Box 12";
    clf.Header.Manufacturer = "Acme Audio";
    clf.Header.LicenseType = 2;
    clf.Header.GivenFlags = axialGiven ? formats::kClfAxialGiven : 0;
    for (int b = 0; b < 30; ++b)
        clf.Header.AxialSpectrum[static_cast<std::size_t>(b)] = static_cast<float>(90 + b);
    clf.Balloon.resize(static_cast<std::size_t>(clf.Bands() * clf.Meridians() * clf.Parallels()));
    for (int b = 0; b < clf.Bands(); ++b)
        for (int m = 0; m < clf.Meridians(); ++m)
            for (int p = 0; p < clf.Parallels(); ++p)
                clf.Balloon[static_cast<std::size_t>((b * clf.Meridians() + m) * clf.Parallels() + p)] =
                    BalloonOf(b, m, p);
    return clf;
}

class ClfImportTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType = kEmissionLibType) {
        auto& editor = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, libType)));
        editor.OpenLibType({f.Project()}, 0, libType, true);
        return editor;
    }
    std::string Write(const std::string& name, const TBlob& bytes) {
        const std::string file = f.Root() + name;
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return file;
    }
    // The directivity the current element refers to, read from the folder's directivity library.
    TDirectivity StoredDirectivity(int number) {
        TMyTable lib(TableNames(kDirectivityLibType));
        lib.InitLibX(f.Project(), LibName(kDirectivityLibType), TableNames(kDirectivityLibType), true, true);
        lib.Open();
        TDirectivity d;
        EXPECT_TRUE(lib.GetTable()->Locate("Eintrag", {db::TValue(std::int64_t{number})}));
        d.ReadFromLibrary(*lib.GetTable(), -999);
        EXPECT_EQ(lib.GetTable()->FieldByName("ElementName").AsString(), "Box 12");
        return d;
    }
    void ExpectGrid(const TDirectivity& d, const formats::TClfFile& clf) {
        ASSERT_EQ(d.BandCount(), static_cast<int>(clf.MaxBand - clf.MinBand + 1));
        ASSERT_EQ(d.ThetaCount(), clf.Parallels());
        ASSERT_EQ(d.PhiCount(), clf.Meridians());
        int wrong = 0;
        for (auto b = clf.MinBand; b <= clf.MaxBand; ++b)
            for (int m = 0; m < clf.Meridians(); ++m)
                for (int p = 0; p < clf.Parallels(); ++p)
                    if (d.Value(static_cast<int>(b - clf.MinBand), p, m) !=
                        BalloonOf(static_cast<int>(b), m, p))
                        ++wrong;
        EXPECT_EQ(wrong, 0);
    }
    test::LibFolders f;
    TCountingHost host{f.Ui()};
};

TEST_F(ClfImportTest, OctaveFileGivesOctaveSpectrumAndTenDegreeDirectivity) {
    TFormLibX& editor = Open();
    const formats::TClfFile clf = MakeClf(1, 0, 9);
    editor.ImportFile(Write("box.CF1", formats::EncodeClf(clf)));

    EXPECT_EQ(host.Shown, 0); // no summary after a loudspeaker file
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 1);
    TEmisLibSpectrum& e = *editor.Emission();
    EXPECT_EQ(editor.GetElementName(0), "Box 12");
    EXPECT_EQ(e.SpecType(), TSpecType::Octave);
    EXPECT_EQ(e.Bmin(), 15);
    EXPECT_EQ(e.Bmax(), 42);
    EXPECT_EQ(e.Bands().size(), 10u);
    EXPECT_EQ(e.EmisRef, TEmisRef::SoundPressure);
    for (int k = 0; k < 10; ++k)
        EXPECT_EQ(e.GetValue(3 * k + 15), 90 + k) << k;
    const std::string comment = editor.GetMainTable(0)->FieldByName("Kommentar").AsString();
    EXPECT_NE(comment.find("Manufacturer"), std::string::npos);
    EXPECT_NE(comment.find("Acme Audio"), std::string::npos);
    EXPECT_NE(comment.find("\"box.CF1\""), std::string::npos);

    ASSERT_GT(e.Directivity, 0);
    const TDirectivity d = StoredDirectivity(e.Directivity);
    EXPECT_EQ(d.DirType(), TDirType::Full3D);
    EXPECT_EQ(d.SpecType(), TSpecType::Octave);
    EXPECT_EQ(d.StepH(), 10);
    EXPECT_EQ(d.StepV(), 10);
    EXPECT_EQ(d.GetBmin(), 15);
    EXPECT_EQ(d.GetBmax(), 42);
    ExpectGrid(d, clf);
    // The choice box offers the new directivity at once.
    EXPECT_EQ(editor.CBDirectivity().Text(), std::to_string(e.Directivity) + " Box 12");
}

TEST_F(ClfImportTest, ThirdOctaveFileAndPartialBandRanges) {
    TFormLibX& editor = Open();
    const formats::TClfFile full = MakeClf(2, 0, 29);
    editor.ImportFile(Write("big.cf2", formats::EncodeClf(full)));
    TEmisLibSpectrum& e = *editor.Emission();
    EXPECT_EQ(e.SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(e.Bmin(), 14);
    EXPECT_EQ(e.Bmax(), 43);
    EXPECT_EQ(e.GetValue(14), 90);
    EXPECT_EQ(e.GetValue(43), 119);
    // The editor makes a new spectrum object for each element shown: keep the number, not the object.
    const int firstDirectivity = e.Directivity;
    const TDirectivity d = StoredDirectivity(firstDirectivity);
    EXPECT_EQ(d.StepH(), 5);
    EXPECT_EQ(d.StepV(), 5);
    ExpectGrid(d, full);

    // Items count from the first band given, the balloon from the file's band 0.
    const formats::TClfFile part = MakeClf(1, 3, 6, false);
    editor.ImportFile(Write("part.CF1", formats::EncodeClf(part)));
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
    TEmisLibSpectrum& p = *editor.Emission();
    EXPECT_EQ(p.Bmin(), 24);
    EXPECT_EQ(p.Bmax(), 33);
    // No axial spectrum in the file: zeros, the directivity all the same.
    for (int band : {24, 27, 30, 33})
        EXPECT_EQ(p.GetValue(band), 0.0) << band;
    EXPECT_NE(p.Directivity, firstDirectivity);
    ExpectGrid(StoredDirectivity(p.Directivity), part);
}

TEST_F(ClfImportTest, LicenseTypesWarnButImportAllTheSame) {
    TFormLibX& editor = Open();
    formats::TClfFile clf = MakeClf(1, 0, 9);
    clf.Header.LicenseType = 5;
    f.Ui().ExpectMessage(mtWarning, "Caution: CLF demo file!", mrOk);
    editor.ImportFile(Write("demo.CF1", formats::EncodeClf(clf)));
    clf.Header.LicenseType = 3;
    f.Ui().ExpectMessage(mtWarning, "CLF research file!", mrOk);
    editor.ImportFile(Write("research.CF1", formats::EncodeClf(clf)));
    clf.Header.LicenseType = 2; // no dialog: the test UI fails on any
    editor.ImportFile(Write("plain.CF1", formats::EncodeClf(clf)));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 3);
    EXPECT_EQ(editor.GetMainTable(0)->Tag, 0);
}

TEST_F(ClfImportTest, RefusedFilesLeaveTheLibraryAsItWas) {
    TFormLibX& editor = Open();
    TBlob unknown = formats::EncodeClf(MakeClf(1, 0, 9));
    unknown[0] = 0x41; // 0xABD41 becomes another identifier
    unknown[1] = 0x41;
    f.Ui().ExpectMessage(mtError, "Unknown version of CLF file!", mrOk);
    editor.ImportFile(Write("odd.CF1", unknown));

    TBlob shortFile = formats::EncodeClf(MakeClf(2, 0, 29));
    shortFile.resize(shortFile.size() - 1000);
    f.Ui().ExpectMessage(mtError, "", mrOk);
    editor.ImportFile(Write("cut.CF2", shortFile));

    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    EXPECT_EQ(editor.GetMainTable(0)->Tag, 0);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));

    // Other sound kinds take no loudspeaker files.
    TFormLibX& absorption = Open(kAbsorptionLibType);
    EXPECT_FALSE(absorption.Import_CLF(Write("box.CF1", formats::EncodeClf(MakeClf(1, 0, 9)))));
    EXPECT_TRUE(absorption.GetMainTable(0)->IsEmpty());

    // An editor with no library open takes nothing and makes no directivity library.
    auto& closed = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, kEmissionLibType)));
    bool imported = true;
    EXPECT_NO_THROW(imported = closed.Import_CLF(Write("box.CF1", formats::EncodeClf(MakeClf(1, 0, 9)))));
    EXPECT_FALSE(imported);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));
}

} // namespace
} // namespace korvel::sound
