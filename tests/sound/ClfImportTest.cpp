// Loudspeaker files imported into the emission library: spectrum, directivity
// grids, warnings by license, and files that are refused without touching the
// library.

#include "platform/acoustic/Directivity.h"
#include "platform/base/LibKinds.h"
#include "platform/formats/ClfFile.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;

class TCountingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool /*modal*/) override { ++Shown; }
    int Shown = 0;
};

formats::TClfFile MakeClf(int version, std::uint32_t minBand, std::uint32_t maxBand, bool axialGiven = true) {
    formats::TClfFile clf;
    clf.Version = version;
    clf.MinBand = minBand;
    clf.MaxBand = maxBand;
    clf.Header.ModelName = "Box 12";
    clf.Header.Manufacturer = "Acme Audio";
    clf.Header.LicenseType = 2;
    clf.Header.GivenFlags = axialGiven ? formats::kClfAxialGiven : 0;
    for (std::size_t b = 0; b < 30; ++b)
        clf.Header.AxialSpectrum[b] = static_cast<float>(90 + b);
    // Level differences in 0..-32 dB, distinct for every point of one band and
    // exact as 32-bit numbers.
    clf.Balloon.resize(static_cast<std::size_t>(clf.Bands() * clf.Meridians() * clf.Parallels()));
    for (std::size_t i = 0; i < clf.Balloon.size(); ++i)
        clf.Balloon[i] = -static_cast<float>(i % 4096) / 128.0f;
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
        korvel::test::WriteAll(f.Root() + name, bytes);
        return f.Root() + name;
    }
    // Imports the file into the editor: the new element must refer to a
    // directivity named after the model, holding the file's balloon at the file's
    // steps.
    TEmisLibSpectrum& Import(TFormLibX& editor, const std::string& name, const formats::TClfFile& clf) {
        editor.ImportFile(Write(name, korvel::test::ClfBytes(clf)));
        TEmisLibSpectrum& e = *editor.Emission();
        TMyTable lib(TableNames(kDirectivityLibType));
        lib.InitLibX(f.Project(), LibName(kDirectivityLibType), TableNames(kDirectivityLibType), true, true);
        lib.Open();
        EXPECT_TRUE(lib.GetTable()->Locate("Eintrag", {db::TValue(std::int64_t{e.Directivity})}));
        EXPECT_EQ(lib.GetTable()->FieldByName("ElementName").AsString(), "Box 12");
        TDirectivity d;
        d.ReadFromLibrary(*lib.GetTable(), -999);
        EXPECT_EQ(d.DirType(), TDirType::Full3D);
        EXPECT_EQ(d.StepH(), clf.Version == 1 ? 10 : 5);
        EXPECT_EQ(d.StepV(), clf.Version == 1 ? 10 : 5);
        EXPECT_EQ(d.GetBmin(), e.Bmin());
        EXPECT_EQ(d.GetBmax(), e.Bmax());
        EXPECT_EQ(d.SpecType(), clf.Version == 1 ? TSpecType::Octave : TSpecType::ThirdOctave);
        EXPECT_EQ(d.BandCount(), static_cast<int>(clf.MaxBand - clf.MinBand + 1));
        EXPECT_EQ(d.ThetaCount(), clf.Parallels());
        EXPECT_EQ(d.PhiCount(), clf.Meridians());
        int wrong = 0;
        for (auto b = clf.MinBand; b <= clf.MaxBand && d.BandCount() > 0; ++b)
            for (int m = 0; m < clf.Meridians(); ++m)
                for (int p = 0; p < clf.Parallels(); ++p)
                    wrong += d.Value(static_cast<int>(b - clf.MinBand), p, m) !=
                             clf.Balloon[(b * clf.Meridians() + m) * clf.Parallels() + p];
        EXPECT_EQ(wrong, 0);
        return e;
    }
    test::LibFolders f;
    TCountingHost host{f.Ui()};
};

TEST_F(ClfImportTest, OctaveAndThirdOctaveFilesGiveTheirSpectrumAndDirectivity) {
    TFormLibX& editor = Open();
    const formats::TClfFile clf = MakeClf(1, 0, 9);
    TEmisLibSpectrum& e = Import(editor, "box.CF1", clf);
    EXPECT_EQ(host.Shown, 0); // no summary after a loudspeaker file
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 1);
    EXPECT_EQ(editor.GetElementName(0), "Box 12");
    EXPECT_EQ(e.SpecType(), TSpecType::Octave);
    EXPECT_EQ(e.Bmin(), 15);
    EXPECT_EQ(e.Bmax(), 42);
    EXPECT_EQ(e.Bands().size(), 10u);
    EXPECT_EQ(e.EmisRef, TEmisRef::SoundPressure);
    for (int k = 0; k < 10; ++k)
        EXPECT_EQ(e.GetValue(3 * k + 15), 90 + k) << k;
    EXPECT_EQ(editor.GetMainTable(0)->FieldByName("Kommentar").AsString(),
              formats::ClfDescription(clf.Header, "box.CF1"));
    // The choice box offers the new directivity at once.
    EXPECT_EQ(editor.CBDirectivity().Text(), std::to_string(e.Directivity) + " Box 12");

    // The editor makes a new spectrum object for each element shown: keep the
    // number, not the object.
    const int first = e.Directivity;
    TEmisLibSpectrum& third = Import(editor, "big.cf2", MakeClf(2, 0, 29));
    EXPECT_EQ(third.SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(third.Bmin(), 14);
    EXPECT_EQ(third.Bmax(), 43);
    EXPECT_EQ(third.GetValue(14), 90);
    EXPECT_EQ(third.GetValue(43), 119);
    EXPECT_NE(third.Directivity, first);

    // Items count from the first band given, the balloon from the file's band 0.
    // No axial spectrum in the file: zeros, the directivity all the same.
    TEmisLibSpectrum& part = Import(editor, "part.CF1", MakeClf(1, 3, 6, false));
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 3);
    EXPECT_EQ(part.Bmin(), 24);
    EXPECT_EQ(part.Bmax(), 33);
    for (int band : {24, 27, 30, 33})
        EXPECT_EQ(part.GetValue(band), 0.0) << band;
}

TEST_F(ClfImportTest, LicenseTypesWarnButImportAllTheSame) {
    TFormLibX& editor = Open();
    formats::TClfFile clf = MakeClf(1, 0, 9);
    clf.Header.LicenseType = 5;
    f.Ui().ExpectMessage(mtWarning, "Caution: CLF demo file!", mrOk);
    Import(editor, "demo.CF1", clf);
    clf.Header.LicenseType = 3;
    f.Ui().ExpectMessage(mtWarning, "CLF research file!", mrOk);
    Import(editor, "research.CF1", clf);
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
    EXPECT_EQ(editor.GetMainTable(0)->Tag, 0);
}

TEST_F(ClfImportTest, RefusedFilesLeaveTheLibraryAsItWas) {
    TFormLibX& editor = Open();
    TBlob unknown = korvel::test::ClfBytes(MakeClf(1, 0, 9));
    unknown[0] = 0x41; // 0xABD41 becomes another identifier
    unknown[1] = 0x41;
    f.Ui().ExpectMessage(mtError, "Unknown version of CLF file!", mrOk);
    editor.ImportFile(Write("odd.CF1", unknown));

    TBlob shortFile = korvel::test::ClfBytes(MakeClf(2, 0, 29));
    shortFile.resize(shortFile.size() - 1000);
    f.Ui().ExpectMessage(mtError, "", mrOk);
    editor.ImportFile(Write("cut.CF2", shortFile));

    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    EXPECT_EQ(editor.GetMainTable(0)->Tag, 0);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));

    // Other sound kinds take no loudspeaker files, nor does an editor with no
    // library open, which makes no directivity library either.
    const std::string box = Write("box.CF1", korvel::test::ClfBytes(MakeClf(1, 0, 9)));
    TFormLibX& absorption = Open(kAbsorptionLibType);
    EXPECT_FALSE(absorption.Import_CLF(box));
    EXPECT_TRUE(absorption.GetMainTable(0)->IsEmpty());
    auto& closed = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, kEmissionLibType)));
    bool imported = true;
    EXPECT_NO_THROW(imported = closed.Import_CLF(box));
    EXPECT_FALSE(imported);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));
}

} // namespace
} // namespace korvel::sound
