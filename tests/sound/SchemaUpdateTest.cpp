// Bringing sound libraries up to date on opening: the placing of the older four values on additional
// properties, filling an empty library from the older file beside it, and the field updates of libraries in
// an older layout.

#include "platform/acoustic/AddProp.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/db/Restructure.h"
#include "platform/db/Table.h"
#include "platform/formula/VarList.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "sound/UpdateFixtures.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace sound::test;
using korvel::test::LibFolders;

// --- the four values of the older generation

TEST(ReadFromKennTest, NamesFindTheirDefinitionIgnoringCaseBlanksAndUnit) {
    TAddPropList props;
    const std::string rest = props.ReadFromKenn({250.0, 3.5, 1500.0, 0.1},
                                                {"Mass per area [kg/m²]", "drjw,w", " Thickness (mm) ", "  "},
                                                TAddPropDefList(kTransmissionLibType));
    // The unnamed fourth slot holds a number: nothing may be lost.
    EXPECT_EQ(rest, "Value 4 = 0.1");
    ASSERT_EQ(props.Items.size(), 3u);
    EXPECT_EQ(props.Items[0], (TAddProp{"MassPerArea", "250"}));
    EXPECT_EQ(props.Items[1], (TAddProp{"dRjw,w", "3.5"}));
    EXPECT_EQ(props.Items[2], (TAddProp{"Thickness", "1500"}));
}

TEST(ReadFromKennTest, UnplacedValuesBecomeLinesAndEmptySlotsNothing) {
    TAddPropList props;
    props.Items = {{"Stale", "1"}};
    const std::string rest =
        props.ReadFromKenn({7.25, 0.0, 1e-7, 0.0}, {"Pressure drop", "", "Length", "length"},
                           TAddPropDefList(kAttenuationLibType));
    // A second slot naming a property already placed keeps its number in the text.
    EXPECT_EQ(rest, "Pressure drop = 7.25\r\nlength = 0");
    ASSERT_EQ(props.Items.size(), 1u);
    EXPECT_EQ(props.Items[0], (TAddProp{"Length", "1e-07"}));

    TAddPropList none;
    EXPECT_EQ(none.ReadFromKenn({0, 0, 0, 0}, {"", "", "", ""}, TAddPropDefList(kEmissionLibType)), "");
    EXPECT_TRUE(none.Items.empty());
    // A kind without definitions places nothing.
    EXPECT_EQ(none.ReadFromKenn({1, 0, 0, 0}, {"NominalPower", "", "", ""}, TAddPropDefList(5)),
              "NominalPower = 1");
}

// --- opening

class SchemaUpdateTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::vector<std::string>& folders) {
        return OpenSoundEditor(f, libType, folders);
    }
    void OpenAndClose(int libType, const std::string& folder) {
        TFormLibX& editor = Open(libType, {folder});
        f.Host().Destroy(editor);
    }
    static bool Has(const db::TTableDef& def, const char* field) { return def.FindField(field) != nullptr; }
    bool Logged(const std::string& fragment) {
        if (!f.Host().HasLog())
            return false;
        for (const auto& e : f.Host().Log().Entries())
            if (e.Text.find(fragment) != std::string::npos)
                return true;
        return false;
    }
    // Leaves the project library as a cut-off update would: field added, the first record filled.
    void AddBlobAndSetFirst(int libType, const std::string& field, const std::vector<std::uint8_t>& bytes,
                            const TRow& more) {
        auto database = std::make_shared<db::TDatabase>(f.Project() + LibName(libType));
        database->Open();
        const std::string name = TableNames(libType).front();
        ASSERT_FALSE(database->Restructure(name, db::TRestructure().AddField({field, db::TFieldType::Blob})));
        db::TTable t(database, name);
        t.Open();
        t.SetIndexName("p");
        t.First();
        t.Edit();
        t.FieldByName(field).SetAsBytes(bytes);
        for (const auto& [other, value] : more)
            t.FieldByName(other).SetValue(value);
        t.Post();
        t.Close();
    }
    static std::vector<std::uint8_t> Floats(const std::vector<float>& values) {
        std::vector<std::uint8_t> bytes;
        for (float v : values) {
            const auto* p = reinterpret_cast<const std::uint8_t*>(&v);
            bytes.insert(bytes.end(), p, p + sizeof v);
        }
        return bytes;
    }
    LibFolders f;
};

TEST_F(SchemaUpdateTest, EmptyProjectLibraryIsFilledFromTheOlderFileAndUpdatedAtTheNextOpening) {
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(), {});
    std::vector<float> values(44, -199.0f);
    values[20] = 80.0f;
    values[21] = 82.5f;
    const std::vector<std::uint8_t> spectrum = Floats(values);
    MakeOlderFile(kEmissionLibType, f.Project(),
                  {{{"Eintrag", Int(4)},
                    {"ElementName", Text("Fan")},
                    {"Gruppen1", Int(2)},
                    {"SpecType", Int(0)},
                    {"BMin", Int(20)},
                    {"BMax", Int(21)},
                    {"Spectrum", db::TValue(spectrum)},
                    {"dBX", Text("A")},
                    {"EmisRef", Int(0)}},
                   {{"Eintrag", Int(9)}, {"ElementName", Text("Pump")}, {"dBX", Text("A")}}},
                  {{{"GruppenName", Text("Roof")}}, {{"GruppenName", Text("Hall")}}});

    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    EXPECT_TRUE(Logged("Updating library \"" + f.Project() + "Emis.abs\""));
    ASSERT_TRUE(editor.GotoElementNo(0, 4));
    EXPECT_EQ(editor.GetElementName(0), "Fan");
    EXPECT_DOUBLE_EQ(editor.Spectrum().GetValue(21), 82.5);
    EXPECT_EQ(editor.GroupName(0, editor.GetMainTable(0)->FieldByName("Gruppen1").AsInteger()), "Hall");
    ASSERT_TRUE(editor.GotoElementNo(0, 9));
    EXPECT_EQ(editor.GetElementName(0), "Pump");
    f.Host().Destroy(editor);
    // That opening only filled the library: its layout is still the older one.
    db::TTableDef layout = FileLayout(kEmissionLibType, f.Project());
    EXPECT_TRUE(Has(layout, "VarList"));
    EXPECT_FALSE(Has(layout, "AddProp"));
    EXPECT_FALSE(Has(layout, "Color"));

    // Now the library holds elements, so the fields are brought up to date although Emis.abs is still there.
    f.Host().FreeLog();
    OpenAndClose(kEmissionLibType, f.Project());
    EXPECT_FALSE(Logged("Updating library"));
    layout = FileLayout(kEmissionLibType, f.Project());
    EXPECT_FALSE(Has(layout, "VarList"));
    for (const char* field : {"VarListIn", "VarListOut", "VarlistLoc", "HeightAboveGround", "Sigma",
                              "EmisEntrytype", "Formula", "AddProp", "Color"})
        EXPECT_TRUE(Has(layout, field)) << field;
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("Eintrag"), Int(4));
    EXPECT_EQ(rows[1].at("Eintrag"), Int(9));
}

TEST_F(SchemaUpdateTest, EmissionVariablesMoveToTheInputListAndTheOldFieldGoes) {
    formula::TVarList list;
    formula::TVariable speed;
    speed.Name = "Speed";
    speed.Value = 12.5;
    list.Add(speed);
    const std::vector<std::uint8_t> vars = list.ToBlob();
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(),
                           {{{"ElementName", Text("With variables")}, {"VarList", db::TValue(vars)}},
                            {{"ElementName", Text("Without")}}});
    OpenAndClose(kEmissionLibType, f.Project());
    const db::TTableDef layout = FileLayout(kEmissionLibType, f.Project());
    EXPECT_FALSE(Has(layout, "VarList"));
    EXPECT_EQ(layout.FindField("VarListIn")->DataType, db::TFieldType::Blob);
    EXPECT_EQ(layout.FindField("EmisEntrytype")->DataType, db::TFieldType::Word);
    EXPECT_EQ(layout.FindField("Formula")->DataType, db::TFieldType::Memo);
    EXPECT_EQ(layout.FindField("HeightAboveGround")->DataType, db::TFieldType::Float);
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("VarListIn"), db::TValue(vars));
    EXPECT_EQ(rows[1].at("VarListIn"), db::TValue());
}

TEST_F(SchemaUpdateTest, TransmissionGainsPropertiesFromTheFourValuesAndTheRestGoesToTheComment) {
    MakeOlderLayoutLibrary(
        kTransmissionLibType, f.Project(),
        {{{"ElementName", Text("Wall")},
          {"Kommentar", Text("Brick")},
          {"Kennwerte1", Num(250)},
          {"KennNames1", Text("Mass per area")},
          {"Kennwerte2", Num(12.5)},
          {"KennNames2", Text("Porosity")}},
         {{"ElementName", Text("Door")}, {"Kennwerte3", Num(40)}, {"KennNames3", Text("thickness")}}});
    OpenAndClose(kTransmissionLibType, f.Project());
    const db::TTableDef layout = FileLayout(kTransmissionLibType, f.Project());
    EXPECT_TRUE(Has(layout, "AddProp"));
    EXPECT_EQ(layout.FindField("BauteilTyp")->DataType, db::TFieldType::Integer);
    for (int i = 1; i <= 4; ++i) {
        EXPECT_FALSE(Has(layout, ("Kennwerte" + std::to_string(i)).c_str()));
        EXPECT_FALSE(Has(layout, ("KennNames" + std::to_string(i)).c_str()));
    }
    const auto rows = FileRows(kTransmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    TAddPropList wall;
    wall.FromBlob(std::get<std::vector<std::uint8_t>>(rows[0].at("AddProp")));
    EXPECT_EQ(wall.Items, (std::vector<TAddProp>{{"MassPerArea", "250"}}));
    EXPECT_EQ(rows[0].at("Kommentar"), Text("Brick\n\rPorosity = 12.5"));
    TAddPropList door;
    door.FromBlob(std::get<std::vector<std::uint8_t>>(rows[1].at("AddProp")));
    EXPECT_EQ(door.Items, (std::vector<TAddProp>{{"Thickness", "40"}}));
    // Everything placed: the comment stays as it was.
    EXPECT_EQ(rows[1].at("Kommentar"), db::TValue());
    for (const auto& row : rows) {
        const auto color = static_cast<std::uint32_t>(std::get<std::int64_t>(row.at("Color")));
        EXPECT_LE(color >> 16, 254u);
        EXPECT_LE((color >> 8) & 0xFF, 254u);
        EXPECT_LE(color & 0xFF, 254u);
        EXPECT_EQ(color >> 24, 0u);
    }
}

// An earlier opening added AddProp but its fill was rolled back (all null), or the fill went through (the
// first record) and the removal of the older fields was refused: the next opening finishes the move.
TEST_F(SchemaUpdateTest, InterruptedPropertyStepIsFinishedWithoutRepeatingTheComment) {
    MakeOlderLayoutLibrary(
        kTransmissionLibType, f.Project(),
        {{{"ElementName", Text("Wall")}, {"Kennwerte1", Num(3)}, {"KennNames1", Text("x")}},
         {{"ElementName", Text("Door")},
          {"Kommentar", Text("Oak")},
          {"Kennwerte1", Num(40)},
          {"KennNames1", Text("Thickness")},
          {"Kennwerte2", Num(7)},
          {"KennNames2", Text("y")}}});
    // Its only value went to the comment, so the list it got is empty.
    AddBlobAndSetFirst(kTransmissionLibType, "AddProp", {}, {{"Kommentar", Text("\n\rx = 3")}});
    OpenAndClose(kTransmissionLibType, f.Project());
    const db::TTableDef layout = FileLayout(kTransmissionLibType, f.Project());
    EXPECT_TRUE(Has(layout, "BauteilTyp"));
    for (int i = 1; i <= 4; ++i) {
        EXPECT_FALSE(Has(layout, ("Kennwerte" + std::to_string(i)).c_str()));
        EXPECT_FALSE(Has(layout, ("KennNames" + std::to_string(i)).c_str()));
    }
    const auto rows = FileRows(kTransmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("Kommentar"), Text("\n\rx = 3"));
    EXPECT_EQ(rows[0].at("AddProp"), db::TValue(std::vector<std::uint8_t>{}));
    TAddPropList door;
    door.FromBlob(std::get<std::vector<std::uint8_t>>(rows[1].at("AddProp")));
    EXPECT_EQ(door.Items, (std::vector<TAddProp>{{"Thickness", "40"}}));
    EXPECT_EQ(rows[1].at("Kommentar"), Text("Oak\n\ry = 7"));
}

// The variables were copied and may have been edited since, but the older field could not be removed.
TEST_F(SchemaUpdateTest, LeftoverVariableFieldOnlyFillsEmptyInputLists) {
    formula::TVarList oldList;
    formula::TVariable speed;
    speed.Name = "Speed";
    speed.Value = 12.5;
    oldList.Add(speed);
    formula::TVarList edited = oldList;
    speed.Name = "Load";
    edited.Add(speed);
    const std::vector<std::uint8_t> oldVars = oldList.ToBlob();
    const std::vector<std::uint8_t> editedVars = edited.ToBlob();
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(),
                           {{{"ElementName", Text("Edited")}, {"VarList", db::TValue(oldVars)}},
                            {{"ElementName", Text("Not copied")}, {"VarList", db::TValue(oldVars)}}});
    AddBlobAndSetFirst(kEmissionLibType, "VarListIn", editedVars, {});
    OpenAndClose(kEmissionLibType, f.Project());
    EXPECT_FALSE(Has(FileLayout(kEmissionLibType, f.Project()), "VarList"));
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("VarListIn"), db::TValue(editedVars));
    EXPECT_EQ(rows[1].at("VarListIn"), db::TValue(oldVars));
}

TEST_F(SchemaUpdateTest, AbsorptionGainsScatteringAndColourAttenuationNoColour) {
    MakeOlderLayoutLibrary(kAbsorptionLibType, f.Project(), {{{"ElementName", Text("Foam")}}});
    MakeOlderLayoutLibrary(kAttenuationLibType, f.Project(), {{{"ElementName", Text("Silencer")}}});
    OpenAndClose(kAbsorptionLibType, f.Project());
    OpenAndClose(kAttenuationLibType, f.Project());
    const db::TTableDef absorption = FileLayout(kAbsorptionLibType, f.Project());
    EXPECT_TRUE(Has(absorption, "ScatValues"));
    EXPECT_TRUE(Has(absorption, "Color"));
    EXPECT_TRUE(Has(absorption, "AddProp"));
    EXPECT_FALSE(Has(absorption, "BauteilTyp"));
    const db::TTableDef attenuation = FileLayout(kAttenuationLibType, f.Project());
    EXPECT_TRUE(Has(attenuation, "AddProp"));
    EXPECT_FALSE(Has(attenuation, "Color"));
    EXPECT_FALSE(Has(attenuation, "ScatValues"));
}

TEST_F(SchemaUpdateTest, SecondOpeningChangesNothingAndSystemLibrariesAreNeverTouched) {
    MakeOlderLayoutLibrary(
        kTransmissionLibType, f.Global(),
        {{{"ElementName", Text("Wall")}, {"Kennwerte1", Num(3)}, {"KennNames1", Text("x")}}});
    OpenAndClose(kTransmissionLibType, f.Global());
    const db::TTableDef layout = FileLayout(kTransmissionLibType, f.Global());
    const auto rows = FileRows(kTransmissionLibType, f.Global());
    OpenAndClose(kTransmissionLibType, f.Global());
    EXPECT_EQ(FieldNames(FileLayout(kTransmissionLibType, f.Global())), FieldNames(layout));
    // The colours are drawn once: the rows, comment and colour included, stay as they are.
    EXPECT_EQ(FileRows(kTransmissionLibType, f.Global()), rows);
    EXPECT_EQ(rows.at(0).at("Kommentar"), Text("\n\rx = 3"));

    MakeOlderLayoutLibrary(kTransmissionLibType, f.System(), {{{"ElementName", Text("Old")}}});
    const db::TTableDef system = FileLayout(kTransmissionLibType, f.System());
    OpenAndClose(kTransmissionLibType, f.System());
    EXPECT_EQ(FieldNames(FileLayout(kTransmissionLibType, f.System())), FieldNames(system));
}

TEST_F(SchemaUpdateTest, DirectivityFileBesideANonEmptyLibraryDoesNotStopTheUpdate) {
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(), {{{"ElementName", Text("Fan")}}});
    MakeTableFile(f.Project() + kLegacyRiwiFile, LegacyRiwiTableDef(), {});
    OpenAndClose(kEmissionLibType, f.Project());
    EXPECT_FALSE(Logged("Updating library"));
    const db::TTableDef layout = FileLayout(kEmissionLibType, f.Project());
    EXPECT_FALSE(Has(layout, "VarList"));
    EXPECT_TRUE(Has(layout, "Color"));
    EXPECT_TRUE(std::filesystem::exists(f.Project() + kLegacyRiwiFile));
}

TEST_F(SchemaUpdateTest, EmptyLibraryWithOnlyTheDirectivityFileIsLeftForTheNextOpening) {
    MakeOlderLayoutLibrary(kEmissionLibType, f.Project(), {});
    MakeTableFile(f.Project() + kLegacyRiwiFile, LegacyRiwiTableDef(), {});
    OpenAndClose(kEmissionLibType, f.Project());
    EXPECT_TRUE(Logged("Updating library"));
    EXPECT_TRUE(Has(FileLayout(kEmissionLibType, f.Project()), "VarList"));
}

TEST_F(SchemaUpdateTest, DamagedOlderFileIsLoggedAndTheLibraryStaysEmpty) {
    MakeOlderLayoutLibrary(kAbsorptionLibType, f.Project(), {});
    std::ofstream(f.Project() + "Absor.abs", std::ios::binary) << "this is not a library file";
    TFormLibX& editor = Open(kAbsorptionLibType, {f.Project()});
    EXPECT_TRUE(Logged("Error while updating "));
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    f.Host().Destroy(editor);
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
        {{{"ElementName", Text("Wall")}, {"Kennwerte1", Num(250)}, {"KennNames1", Text("MassPerArea")}}});

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

} // namespace
} // namespace korvel::sound
