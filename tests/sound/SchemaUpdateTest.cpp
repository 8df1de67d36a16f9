// Bringing sound libraries up to date: on opening, the placing of the older four values on additional
// properties, filling an empty library from the older file beside it and the field updates of libraries in an
// older layout; and the conversion of a folder of the older generation.

#include "platform/Errors.h"
#include "platform/acoustic/AddProp.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/db/Restructure.h"
#include "platform/db/Table.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "sound/UpdateFixtures.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace sound::test;
using korvel::test::LibFolders;
using korvel::test::WriteAll;
namespace fs = std::filesystem;
using TNames = std::vector<std::string>;
using TProps = std::vector<TAddProp>;
using TValues = std::vector<db::TValue>;

// --- the four values of the older generation

TEST(ReadFromKennTest, NamesFindTheirDefinitionIgnoringCaseBlanksAndUnit) {
    TAddPropList props;
    const std::string rest = props.ReadFromKenn({250.0, 3.5, 1500.0, 0.1},
                                                {"Mass per area [kg/m²]", "drjw,w", " Thickness (mm) ", "  "},
                                                TAddPropDefList(kTransmissionLibType));
    // The unnamed fourth slot holds a number: nothing may be lost.
    EXPECT_EQ(rest, "Value 4 = 0.1");
    EXPECT_EQ(props.Items, (TProps{{"MassPerArea", "250"}, {"dRjw,w", "3.5"}, {"Thickness", "1500"}}));
}

TEST(ReadFromKennTest, UnplacedValuesBecomeLinesAndEmptySlotsNothing) {
    TAddPropList props;
    props.Items = {{"Stale", "1"}};
    const std::string rest =
        props.ReadFromKenn({7.25, 0.0, 1e-7, 0.0}, {"Pressure drop", "", "Length", "length"},
                           TAddPropDefList(kAttenuationLibType));
    // A second slot naming a property already placed keeps its number in the text.
    EXPECT_EQ(rest, "Pressure drop = 7.25\r\nlength = 0");
    EXPECT_EQ(props.Items, (TProps{{"Length", "1e-07"}}));

    TAddPropList none;
    EXPECT_EQ(none.ReadFromKenn({0, 0, 0, 0}, {"", "", "", ""}, TAddPropDefList(kEmissionLibType)), "");
    EXPECT_TRUE(none.Items.empty());
    // A kind without definitions places nothing.
    EXPECT_EQ(none.ReadFromKenn({1, 0, 0, 0}, {"NominalPower", "", "", ""}, TAddPropDefList(5)),
              "NominalPower = 1");
}

// --- opening

const TNames kKennFields = {"Kennwerte1", "Kennwerte2", "Kennwerte3", "Kennwerte4",
                            "KennNames1", "KennNames2", "KennNames3", "KennNames4"};

class SchemaUpdateTest : public ::testing::Test {
protected:
    void OpenAndClose(int libType, const std::string& folder) {
        f.Host().Destroy(OpenSoundEditor(f, libType, {folder}));
    }
    // Those of the fields that the kind's library in folder has.
    static TNames Present(int libType, const std::string& folder, TNames fields) {
        const db::TTableDef def = FileLayout(libType, folder);
        std::erase_if(fields, [&def](const std::string& name) { return def.FindField(name) == nullptr; });
        return fields;
    }
    bool Logged(const std::string& fragment) {
        if (!f.Host().HasLog())
            return false;
        for (const auto& e : f.Host().Log().Entries())
            if (e.Text.find(fragment) != std::string::npos)
                return true;
        return false;
    }
    // Leaves the project transmission library as a cut-off property step would: AddProp added, the first
    // record filled with an empty list and its value moved to the comment.
    void AddPropAndFillFirst() {
        db::TDatabase database(f.Project() + LibName(kTransmissionLibType));
        database.Open();
        ASSERT_FALSE(
            database.Restructure("TransX", db::TRestructure().AddField({"AddProp", db::TFieldType::Blob})));
        database.Connection().Exec("UPDATE TransX SET AddProp = x'', Kommentar = char(10, 13) || 'x = 3' "
                                   "WHERE Eintrag = 1");
    }
    static TProps Props(const TRow& row) {
        TAddPropList props;
        props.FromBlob(std::get<std::vector<std::uint8_t>>(row.at("AddProp")));
        return props.Items;
    }
    LibFolders f;
};

TEST_F(SchemaUpdateTest, EmptyProjectLibraryIsFilledFromTheOlderFileAndUpdatedAtTheNextOpening) {
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(), {});
    std::vector<float> values(44, -199.0f);
    values[20] = 80.0f;
    values[21] = 82.5f;
    std::vector<std::uint8_t> spectrum(values.size() * sizeof(float));
    std::memcpy(spectrum.data(), values.data(), spectrum.size());
    std::vector<TRow> older = Rows(R"([{"Eintrag": 4, "ElementName": "Fan", "Gruppen1": 2, "SpecType": 0,
                                         "BMin": 20, "BMax": 21, "dBX": "A", "EmisRef": 0},
                                        {"Eintrag": 9, "ElementName": "Pump", "dBX": "A"}])");
    older[0]["Spectrum"] = db::TValue(spectrum);
    MakeOlderFile(kEmissionLibType, f.Project(), older,
                  Rows(R"([{"GruppenName": "Roof"}, {"GruppenName": "Hall"}])"));

    TFormLibX& editor = OpenSoundEditor(f, kEmissionLibType, {f.Project()});
    EXPECT_TRUE(Logged("Updating library \"" + f.Project() + "Emis.abs\""));
    ASSERT_TRUE(editor.GotoElementNo(0, 4));
    EXPECT_EQ(editor.GetElementName(0), "Fan");
    EXPECT_DOUBLE_EQ(editor.Spectrum().GetValue(21), 82.5);
    EXPECT_EQ(editor.GroupName(0, editor.GetMainTable(0)->FieldByName("Gruppen1").AsInteger()), "Hall");
    ASSERT_TRUE(editor.GotoElementNo(0, 9));
    EXPECT_EQ(editor.GetElementName(0), "Pump");
    f.Host().Destroy(editor);
    // That opening only filled the library: its layout is still the older one.
    EXPECT_EQ(Present(kEmissionLibType, f.Project(), {"VarList", "AddProp", "Color"}), TNames{"VarList"});

    // Now the library holds elements, so the fields are brought up to date although Emis.abs is still there.
    f.Host().FreeLog();
    OpenAndClose(kEmissionLibType, f.Project());
    EXPECT_FALSE(Logged("Updating library"));
    const TNames current = {"VarListIn",         "VarListOut", "VarlistLoc",
                            "HeightAboveGround", "Sigma",      "EmisEntrytype",
                            "Formula",           "AddProp",    "Color"};
    EXPECT_EQ(Present(kEmissionLibType, f.Project(), current), current);
    EXPECT_TRUE(Present(kEmissionLibType, f.Project(), {"VarList"}).empty());
    EXPECT_EQ(Column(kEmissionLibType, f.Project(), "Eintrag"), (TValues{Int(4), Int(9)}));
}

// An earlier opening added AddProp but its fill was rolled back (all null), or the fill went through (the
// first record) and the removal of the older fields was refused: the next opening finishes the move.
TEST_F(SchemaUpdateTest, InterruptedPropertyStepIsFinishedWithoutRepeatingTheComment) {
    MakeOlderLayoutLibrary(kTransmissionLibType, f.Project(),
                           Rows(R"([{"ElementName": "Wall", "Kennwerte1": 3.0, "KennNames1": "x"},
                                    {"ElementName": "Door", "Kommentar": "Oak", "Kennwerte1": 40.0,
                                     "KennNames1": "Thickness", "Kennwerte2": 7.0, "KennNames2": "y"}])"));
    // Its only value went to the comment, so the list it got is empty.
    AddPropAndFillFirst();
    OpenAndClose(kTransmissionLibType, f.Project());
    TNames fields = kKennFields;
    fields.push_back("BauteilTyp");
    EXPECT_EQ(Present(kTransmissionLibType, f.Project(), fields), TNames{"BauteilTyp"});
    const auto rows = FileRows(kTransmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("Kommentar"), Text("\n\rx = 3"));
    EXPECT_EQ(rows[0].at("AddProp"), db::TValue(std::vector<std::uint8_t>{}));
    EXPECT_EQ(Props(rows[1]), (TProps{{"Thickness", "40"}}));
    EXPECT_EQ(rows[1].at("Kommentar"), Text("Oak\n\ry = 7"));
}

TEST_F(SchemaUpdateTest, AbsorptionGainsScatteringAndColourAttenuationNoColour) {
    MakeOlderLayoutLibrary(kAbsorptionLibType, f.Project(), {{{"ElementName", Text("Foam")}}});
    MakeOlderLayoutLibrary(kAttenuationLibType, f.Project(), {{{"ElementName", Text("Silencer")}}});
    OpenAndClose(kAbsorptionLibType, f.Project());
    OpenAndClose(kAttenuationLibType, f.Project());
    const TNames fields = {"ScatValues", "Color", "AddProp", "BauteilTyp"};
    EXPECT_EQ(Present(kAbsorptionLibType, f.Project(), fields), (TNames{"ScatValues", "Color", "AddProp"}));
    EXPECT_EQ(Present(kAttenuationLibType, f.Project(), fields), TNames{"AddProp"});
}

// A dialog service that keeps a cursor open on the library during the first restructure, so the engine
// refuses it, and lets go of it when the error is shown.
class BlockingUi : public korvel::test::TTestUi {
public:
    std::function<void()> OnWait;
    std::function<void()> OnError;

protected:
    void BeginWaitCursor() override {
        TTestUi::BeginWaitCursor();
        if (OnWait)
            OnWait();
    }

public:
    TModalResult MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) override {
        if (type == mtError && OnError)
            OnError();
        return TTestUi::MessageDlg(text, type, buttons);
    }
};

TEST(SchemaUpdateFailureTest, RefusedRestructureIsShownAndTheOtherStepsRun) {
    korvel::test::SettingsSandbox settings;
    korvel::test::TempDir root;
    const std::string folder = root.Path().string() + "/";
    SetGlobalLibPath((root.Path() / "global").string());
    BlockingUi ui;
    TLibHost host(ui);
    MakeOlderLayoutLibrary(
        kTransmissionLibType, folder,
        Rows(R"([{"ElementName": "Wall", "Kennwerte1": 250.0, "KennNames1": "MassPerArea"}])"));

    auto& editor = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, kTransmissionLibType)));
    std::unique_ptr<db::TTable> reader;
    bool blocked = false;
    ui.OnWait = [&] {
        db::TTable* main = editor.TabCount() > 0 ? editor.GetMainTable(0) : nullptr;
        if (blocked || !main || !main->Active())
            return;
        blocked = true;
        reader = std::make_unique<db::TTable>(editor.GetMyTable(0)->DatabasePtr(), "TransX");
        reader->Open();
    };
    ui.OnError = [&] {
        reader.reset();
    };
    ui.ExpectMessage(mtError, "is open; close it before restructuring", mrOk);
    editor.OpenLibType({folder}, 0, kTransmissionLibType, true);
    host.Destroy(editor);

    // The property step was refused and keeps the four values; the colour step after it ran.
    const db::TTableDef layout = FileLayout(kTransmissionLibType, folder);
    EXPECT_EQ(layout.FindField("AddProp"), nullptr);
    EXPECT_NE(layout.FindField("Kennwerte1"), nullptr);
    EXPECT_NE(layout.FindField("Color"), nullptr);
    EXPECT_EQ(FileRows(kTransmissionLibType, folder).at(0).at("Kennwerte1"), Num(250));
}

// --- converting a folder: the older files go to the backup folder and leave the folder, and a kind that
// could not be converted keeps them

// Keeps what the log showed when the conversion presented it.
class RecordingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool modal) override {
        if (!modal)
            return;
        ++ModalShows;
        for (const auto& e : Log().Entries())
            Shown += e.Text + "\n";
    }
    int ModalShows = 0;
    std::string Shown;
};

// An editor whose conversion fails, standing in for a kind's converter.
class TFailingConverter : public TCustomLibForm {
public:
    explicit TFailingConverter(TLibHost& host) : TCustomLibForm(host, "FailingConverter") {
        SetLibType(kAbsorptionLibType);
    }
    void OpenForConversion(const std::string&) override { throw EKorvelError("the old file is damaged"); }
};

class ConvertTest : public ::testing::Test {
protected:
    ConvertTest() {
        fs::create_directories(root_.Path() / "old");
        SetGlobalLibPath((root_.Path() / "global").string());
    }
    // The folder with a trailing separator, as the libraries are located; the service takes it without.
    void Convert() { ConvertLibrary(host_, folder_.substr(0, folder_.size() - 1)); }
    // Whether each file is in the folder and in its backup folder.
    void ExpectFiles(const TNames& files, bool inFolder) const {
        for (const std::string& file : files) {
            EXPECT_EQ(fs::exists(folder_ + file), inFolder) << file;
            EXPECT_TRUE(fs::exists(folder_ + "backup/" + file)) << file;
        }
    }

    korvel::test::SettingsSandbox settings_;
    korvel::test::TempDir root_;
    korvel::test::TTestUi ui_;
    RecordingHost host_{ui_};
    const std::string folder_ = (root_.Path() / "old").string() + "/";
};

// A kind with a current library is left alone but its older files go; a kind whose import or converter
// failed keeps them for another attempt, and the others go on.
TEST_F(ConvertTest, KindsThatWereNotConvertedKeepTheirOlderFilesOnlyWhenTheyFailed) {
    korvel::test::LibFolders::MakeLibrary(kEmissionLibType, folder_, {{{"ElementName", "Existing"}}});
    MakeOlderFile(kEmissionLibType, folder_, {{{"ElementName", Text("Old")}, {"dBX", Text("A")}}}, {});
    WriteAll(folder_ + "Emis.fil", "filter");
    WriteAll(folder_ + "Trans.abs", "damaged beyond reading");
    MakeOlderFile(kAttenuationLibType, folder_, {{{"ElementName", Text("Silencer")}}}, {});
    for (const char* name : {"Absor.abs", "Absor.fil", "AbsorGrp.abs"})
        WriteAll(folder_ + name, std::string("old ") + name);
    TScopedLibEditor converter(kAbsorptionLibType,
                               [](TLibHost& host, int) -> std::unique_ptr<TCustomLibForm> {
                                   return std::make_unique<TFailingConverter>(host);
                               });

    Convert();

    EXPECT_EQ(Column(kEmissionLibType, folder_, "ElementName"), TValues{Text("Existing")});
    ExpectFiles({"Emis.abs", "EmisGrp.abs", "Emis.fil"}, false);
    ExpectFiles({"Trans.abs", "Absor.abs", "Absor.fil", "AbsorGrp.abs"}, true);
    EXPECT_FALSE(fs::exists(folder_ + LibName(kAbsorptionLibType)));
    EXPECT_EQ(Column(kAttenuationLibType, folder_, "ElementName"), TValues{Text("Silencer")});
    ExpectFiles({"Atten.abs", "AttenGrp.abs"}, false);
    EXPECT_EQ(host_.ModalShows, 1);
    EXPECT_NE(host_.Shown.find("Error while updating "), std::string::npos) << host_.Shown;
    EXPECT_NE(host_.Shown.find("the old file is damaged"), std::string::npos) << host_.Shown;
    EXPECT_EQ(host_.Shown.find("Emis"), std::string::npos) << host_.Shown;
}

} // namespace
} // namespace korvel::sound
