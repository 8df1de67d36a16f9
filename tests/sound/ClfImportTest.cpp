// Loudspeaker files imported into the emission library: spectrum, directivity grids, warnings by license,
// and files that are refused without touching the library.

#include "platform/acoustic/Directivity.h"
#include "platform/base/LibKinds.h"
#include "platform/formats/ClfFile.h"
#include "service/LibService.h"
#include "sound/DirectivityList.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
using korvel::test::ClfBytes;
using korvel::test::ClfSample;

class TCountingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool /*modal*/) override { ++Shown; }
    int Shown = 0;
};

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
    // Imports the file into the editor: the new element must refer to a directivity named after the model,
    // holding the file's balloon at the file's steps.
    TEmisLibSpectrum& Import(TFormLibX& editor, const std::string& name, const formats::TClfFile& clf) {
        editor.ImportFile(Write(name, ClfBytes(clf)));
        TEmisLibSpectrum& e = *editor.Emission();
        const auto lib = OpenDirectivityLibrary(f.Project());
        db::TTable& dirs = *lib->GetTable();
        EXPECT_TRUE(dirs.Locate("Eintrag", {db::TValue(std::int64_t{e.Directivity})}));
        EXPECT_EQ(dirs.FieldByName("ElementName").AsString(), kModel);
        TDirectivity d;
        d.ReadFromLibrary(dirs, -999);
        const int step = clf.Version == 1 ? 10 : 5;
        EXPECT_EQ(std::tuple(d.DirType(), d.SpecType(), d.StepH(), d.StepV(), d.GetBmin(), d.GetBmax()),
                  std::tuple(TDirType::Full3D, clf.Version == 1 ? TSpecType::Octave : TSpecType::ThirdOctave,
                             step, step, e.Bmin(), e.Bmax()));
        EXPECT_EQ(
            std::tuple(d.BandCount(), d.ThetaCount(), d.PhiCount()),
            std::tuple(static_cast<int>(clf.MaxBand - clf.MinBand + 1), clf.Parallels(), clf.Meridians()));
        int wrong = 0;
        for (auto b = clf.MinBand; b <= clf.MaxBand && d.BandCount() > 0; ++b)
            for (int m = 0; m < clf.Meridians(); ++m)
                for (int p = 0; p < clf.Parallels(); ++p)
                    wrong += d.Value(static_cast<int>(b - clf.MinBand), p, m) !=
                             clf.Balloon[(b * clf.Meridians() + m) * clf.Parallels() + p];
        EXPECT_EQ(wrong, 0);
        return e;
    }
    static constexpr const char* kModel = "Box \xC3\xA9";
    test::LibFolders f;
    TCountingHost host{f.Ui()};
};

TEST_F(ClfImportTest, OctaveAndThirdOctaveFilesGiveTheirSpectrumAndDirectivity) {
    TFormLibX& editor = Open();
    const formats::TClfFile clf = ClfSample(1, 0, 9);
    TEmisLibSpectrum& e = Import(editor, "box.CF1", clf);
    EXPECT_EQ(host.Shown, 0); // no summary after a loudspeaker file
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 1);
    EXPECT_EQ(editor.GetElementName(0), kModel);
    EXPECT_EQ(std::tuple(e.SpecType(), e.Bmin(), e.Bmax(), e.EmisRef),
              std::tuple(TSpecType::Octave, 15, 42, TEmisRef::SoundPressure));
    EXPECT_EQ(e.Bands().size(), 10u);
    for (int k = 0; k < 10; ++k)
        EXPECT_EQ(e.GetValue(3 * k + 15), 90 + k) << k;
    EXPECT_EQ(editor.GetMainTable(0)->FieldByName("Kommentar").AsString(),
              formats::ClfDescription(formats::DecodeClf(ClfBytes(clf)).Header, "box.CF1"));
    // The choice box offers the new directivity at once.
    EXPECT_EQ(editor.CBDirectivity().Text(), std::to_string(e.Directivity) + " " + kModel);

    // The editor makes a new spectrum object for each element shown: keep the number, not the object.
    // Research and demo files warn, and are imported all the same.
    const int first = e.Directivity;
    formats::TClfFile research = ClfSample(2, 0, 29);
    research.Header.LicenseType = 3;
    f.Ui().ExpectMessage(mtWarning, "CLF research file!", mrOk);
    TEmisLibSpectrum& third = Import(editor, "big.cf2", research);
    EXPECT_EQ(
        std::tuple(third.SpecType(), third.Bmin(), third.Bmax(), third.GetValue(14), third.GetValue(43)),
        std::tuple(TSpecType::ThirdOctave, 14, 43, 90.0, 119.0));
    EXPECT_NE(third.Directivity, first);

    // Items count from the first band given, the balloon from the file's band 0.
    // No axial spectrum in the file: zeros, the directivity all the same.
    formats::TClfFile demo = ClfSample(1, 3, 6);
    demo.Header.GivenFlags = 0;
    demo.Header.LicenseType = 5;
    f.Ui().ExpectMessage(mtWarning, "Caution: CLF demo file!", mrOk);
    TEmisLibSpectrum& part = Import(editor, "part.CF1", demo);
    ASSERT_EQ(editor.GetMainTable(0)->RecordCount(), 3);
    EXPECT_EQ(std::pair(part.Bmin(), part.Bmax()), std::pair(24, 33));
    for (int band : {24, 27, 30, 33})
        EXPECT_EQ(part.GetValue(band), 0.0) << band;
    EXPECT_EQ(editor.GetMainTable(0)->Tag, 0);
}

// A file of no known version is refused by the import command (CliImportExport); other sound kinds take no
// loudspeaker files, nor does an editor with no library open, which makes no directivity library either.
TEST_F(ClfImportTest, OtherKindsAndAClosedEditorTakeNoLoudspeakerFiles) {
    const std::string box = Write("box.CF1", ClfBytes(ClfSample(1, 0, 9)));
    TFormLibX& absorption = Open(kAbsorptionLibType);
    EXPECT_FALSE(absorption.Import_CLF(box));
    EXPECT_TRUE(absorption.GetMainTable(0)->IsEmpty());
    auto& closed = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, kEmissionLibType)));
    EXPECT_FALSE(closed.Import_CLF(box));
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));
}

} // namespace
} // namespace korvel::sound
