// The directivity editor: the sample wizard, its grids and settings, normalisation, storing and the element
// view.

#include "directivity/FormRiwiX.h"

#include "directivity/DirectivityJson.h"
#include "directivity/SampleWizard.h"
#include "platform/Errors.h"
#include "platform/ui/ChartJson.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::directivity {
namespace {

using acoustic::TDirectivity;
using acoustic::TDirType;
using test::LibFolders;

int CountAt(const std::vector<TSampleDirection>& dirs, double phi) {
    return static_cast<int>(std::count_if(dirs.begin(), dirs.end(), [&](auto d) { return d.Phi == phi; }));
}

TEST(SampleWizardTest, DefaultsTheCutAndTheLattice) {
    // Rotationally symmetric defaults: theta 0..180 at phi 0; phi 360 is not reached.
    const auto symmetric =
        WizardDirections(TDirType::RotationallySymmetric, WizardDefaults(TDirType::RotationallySymmetric));
    ASSERT_EQ(symmetric.size(), 7u);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(symmetric[static_cast<std::size_t>(i)], (TSampleDirection{30.0 * i, 0}));

    // The cut: the poles once, on the phi 270 arc.
    const auto cut = WizardDirections(TDirType::Full3D, WizardDefaults(TDirType::Full3D));
    EXPECT_EQ(cut.size(), 22u);
    EXPECT_EQ(CountAt(cut, 270), 7);
    for (double phi : {90.0, 0.0, 180.0})
        EXPECT_EQ(CountAt(cut, phi), 5) << phi;
    EXPECT_EQ(cut[7], (TSampleDirection{150, 90}));  // the phi 90 arc walks down
    EXPECT_EQ(cut[12], (TSampleDirection{30, 0}));   // the phi 0 arc walks up
    EXPECT_EQ(cut[21], (TSampleDirection{30, 180})); // and phi 180 down again
    // An offset within 0.1 degree of 0 is 0.
    EXPECT_EQ(WizardDirections(TDirType::Full3D, {30, 0, 90, 0}), cut);

    // Without the cut every phi gets its thetas, and a pole only the first phi.
    const auto lattice = WizardDirections(TDirType::Full3D, {90, 0, 120, 10});
    const std::vector<TSampleDirection> expected = {{0, 10}, {90, 10}, {180, 10}, {90, 130}, {90, 250}};
    EXPECT_EQ(lattice, expected);
    // Horizontal: theta does not count, so no point is a pole.
    EXPECT_EQ(WizardDirections(TDirType::Horizontal, WizardDefaults(TDirType::Horizontal)).size(), 12u);
}

TEST(SampleWizardTest, TheCutBoxLocksPhi) {
    TScriptedUi ui;
    TFormSampleWizard wizard(ui, TDirType::Full3D);
    wizard.SEPhiStep().SetValue(45);
    wizard.SEPhiOffset().SetValue(5);
    wizard.CBHorVert().Toggle();
    EXPECT_EQ(wizard.Pattern().PhiStep, 90);
    EXPECT_EQ(wizard.Pattern().PhiOffset, 0);
    EXPECT_FALSE(wizard.SEPhiStep().Enabled());
    TFormSampleWizard horizontal(ui, TDirType::Horizontal);
    EXPECT_FALSE(horizontal.GroupTheta().Visible());
    EXPECT_FALSE(horizontal.CBHorVert().Visible());
}

class FormRiwiXTest : public ::testing::Test {
protected:
    TFormRiwiX& Open(const std::vector<std::string>& folders) {
        auto& editor = static_cast<TFormRiwiX&>(f.Host().Adopt(CreateLib(f.Host(), kDirectivityLibType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    LibFolders f;
};

TEST_F(FormRiwiXTest, WizardGridsAndSettingsEditTheDirectivity) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Horn"}}});
    TFormRiwiX& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    ASSERT_EQ(editor.Directivity().DirType(), TDirType::RotationallySymmetric);
    EXPECT_EQ(editor.LabelInterpolation().Caption(), "Not enough samples");
    EXPECT_FALSE(editor.Panel2D().Visible());

    f.Ui().ExpectModal("Sample wizard", mrOk);
    editor.ButtonWizard().Click();
    ASSERT_EQ(editor.Directivity().Samples.size(), 7u);
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    EXPECT_TRUE(editor.Panel2D().Visible());
    EXPECT_FALSE(editor.Panel3D().Visible());
    EXPECT_EQ(editor.VGSamples().RowCount(), 8);
    EXPECT_EQ(editor.VGSamples().Cells(0, 0), "theta\n0..180°");
    EXPECT_EQ(editor.VGSamples().Cells(0, 3), "60.0");

    // One value per theta: an edit sets the whole row.
    TValueGrid& vg = editor.VGDir();
    EXPECT_EQ(vg.RowCount(), 1 + 37);
    ASSERT_TRUE(vg.EditCell(5, 3, "-3,5"));
    for (int c = 0; c < editor.Directivity().PhiCount(); ++c)
        EXPECT_EQ(editor.Directivity().Value(0, 2, c), -3.5);
    EXPECT_EQ(vg.Cells(1, 3), "-3.5");
    EXPECT_LT(editor.Directivity().GetItem(0).dLtot, 0);
    EXPECT_NEAR(std::stod(editor.VGLtot().Cells(1, 1)), editor.Directivity().GetItem(0).dLtot, 0.05);

    // Full 3D: the poles are one direction, other rows take single cells.
    editor.RGDirType().SetItemIndex(2);
    ASSERT_EQ(editor.Directivity().DirType(), TDirType::Full3D);
    ASSERT_TRUE(vg.EditCell(3, 1, "2"));
    ASSERT_TRUE(vg.EditCell(3, 2, "1"));
    const TDirectivity& d = editor.Directivity();
    EXPECT_EQ(d.Value(0, 0, 0), 2);
    EXPECT_EQ(d.Value(0, 0, d.PhiCount() - 1), 2);
    EXPECT_EQ(d.Value(0, 1, 2), 1);
    EXPECT_EQ(d.Value(0, 1, 3), 0);
    // The command line sees the charts shown: all bands' series, the colour map for full 3D only.
    const nlohmann::json charts = ChartsToJson(editor);
    ASSERT_EQ(charts.size(), 3u);
    EXPECT_EQ(charts[0]["name"], "ChartMap");
    EXPECT_EQ(charts[0]["series"][0]["style"], "colormap");
    EXPECT_EQ(charts[0]["series"][0]["points"].size(), 37u * 72u);
    editor.RGDirType().SetItemIndex(1);
    EXPECT_EQ(ChartsToJson(editor).size(), 1u);
    editor.RGDirType().SetItemIndex(2);

    // The band resolution keeps the range; the step reshapes the grid.
    editor.RGFreqRes().SetItemIndex(0);
    EXPECT_EQ(d.BandCount(), 1);
    editor.CBBmax().SetItemIndex(33);
    EXPECT_EQ(d.BandCount(), 7); // 500 Hz .. 2 kHz in third octaves
    EXPECT_EQ(editor.TabBands().Tabs().front(), "500 Hz");
    EXPECT_EQ(editor.VGSamples().ColCount(), 3 + 7);
    editor.RGStep().SetItemIndex(1);
    EXPECT_EQ(vg.RowCount(), 1 + 19);
    EXPECT_EQ(vg.ColCount(), 1 + 36);
    EXPECT_EQ(vg.Cells(2, 0), "10°");

    editor.StoreCurrent();
    TDirectivity stored;
    stored.ReadFromLibrary(t);
    EXPECT_EQ(stored.DirType(), TDirType::Full3D);
    EXPECT_EQ(stored.Samples.size(), 7u);
    EXPECT_EQ(stored.BandCount(), 7);
    EXPECT_GT(t.FieldByName("LastChangeDateTime").AsDateTime(), db::EncodeDateTime(2020, 1, 1));
    EXPECT_TRUE(f.Ui().VerifyAllAnswered());
}

TEST_F(FormRiwiXTest, SamplesComeFromAnEmptyListAndTheNavigatorKeepsTheLast) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Fan"}}});
    TFormRiwiX& editor = Open({f.Project()});
    editor.RGDirType().SetItemIndex(0);
    TValueGrid& vg = editor.VGSamples();
    EXPECT_EQ(vg.Cells(0, 0), "phi\n0..360°");
    ASSERT_TRUE(vg.EditCell(1, 1, "-2"));
    ASSERT_EQ(editor.Directivity().Samples.size(), 1u);
    EXPECT_EQ(editor.Directivity().Samples[0].Values, std::vector<double>{-2});
    f.Ui().ExpectMessage("is not a number", mrOk);
    EXPECT_FALSE(vg.EditCell(0, 1, "ten")); // refused, nothing changes
    vg.CancelEdit();

    editor.NavSamples().BtnClick(nbInsert);
    ASSERT_EQ(editor.Directivity().Samples.size(), 2u);
    EXPECT_EQ(editor.Directivity().Samples[1].Values, std::vector<double>{-2}); // inserted before
    editor.NavSamples().BtnClick(nbDelete);
    editor.NavSamples().BtnClick(nbDelete);
    EXPECT_EQ(editor.Directivity().Samples.size(), 1u);
}

TEST_F(FormRiwiXTest, NormalisingTwiceChangesNothingTheSecondTime) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Box"}}});
    TFormRiwiX& editor = Open({f.Project()});
    editor.RGDirType().SetItemIndex(0);
    ASSERT_TRUE(editor.VGDir().EditCell(1, 1, "6"));
    ASSERT_TRUE(editor.VGSamples().EditCell(1, 1, "6"));
    const double before = editor.Directivity().GetItem(0).dLtot;
    ASSERT_GT(before, 0);
    editor.ButtonNormalize().Click();
    const TDirectivity once = editor.Directivity();
    EXPECT_NEAR(once.GetItem(0).dLtot, 0, 1e-9);
    EXPECT_NEAR(once.Value(0, 0, 0), 6 - before, 1e-9);
    EXPECT_NEAR(once.Samples[0].Values[0], 6 - before, 1e-9);
    editor.ButtonNormalize().Click();
    for (int c = 0; c < once.PhiCount(); ++c)
        EXPECT_NEAR(editor.Directivity().Value(0, 0, c), once.Value(0, 0, c), 1e-9);
}

TEST_F(FormRiwiXTest, SystemLibrariesOnlyShowAndNamelessElementsAreNotStored) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.System(), {{{"ElementName", "Shipped"}}});
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Mine"}}});
    TFormRiwiX& editor = Open({f.System(), f.Project()});
    editor.TabLibs().SetTabIndex(0);
    EXPECT_FALSE(editor.VGDir().Editing());
    EXPECT_FALSE(editor.ButtonWizard().Enabled());
    EXPECT_FALSE(editor.Panel2D().Visible());
    EXPECT_EQ(editor.LabelInterpolation().Caption(), "");

    editor.TabLibs().SetTabIndex(1);
    db::TTable& t = *editor.GetMainTable(1);
    editor.Pages().SetActivePage(editor.PageDiagram());
    t.Append();
    EXPECT_EQ(editor.Pages().ActivePage(), &editor.PageSettings());
    TDirectivity fresh;
    fresh.CalcLtot();
    EXPECT_EQ(editor.Directivity(), fresh);
    t.FieldByName("ElementName").SetAsString("  ");
    EXPECT_THROW(t.Post(), EAbort);
    t.Cancel();
    EXPECT_EQ(t.RecordCount(), 1);
}

TEST_F(FormRiwiXTest, TheElementViewGoesBothWaysThroughTheEditor) {
    LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Box"}}});
    TFormRiwiX& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    t.Edit();
    editor.ApplyElementView(nlohmann::json::parse(R"({"dirType": 0, "stepH": 90,
        "bands": {"27": {"grid": [[0, -10, -20, -10]]}}, "comment": "four sides"})"));
    editor.StoreCurrent();
    const nlohmann::json view = editor.ElementView();
    EXPECT_EQ(view["dirType"], 0);
    EXPECT_EQ(view["comment"], "four sides");
    EXPECT_EQ(view["bands"]["27"]["grid"][0][2], -20.0);
    // dLtot is derived: 10 lg((1 + 0.1 + 0.01 + 0.1) / 4).
    EXPECT_NEAR(view["bands"]["27"]["dLtot"].get<double>(), 10 * std::log10(1.21 / 4), 1e-6);
    EXPECT_EQ(editor.Directivity().GetItem(0).Values, (std::vector<double>{0, -10, -20, -10}));
}

} // namespace
} // namespace korvel::directivity
