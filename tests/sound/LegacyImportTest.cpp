// Import of the older generations into the sound library editor: the DOS record files and the older table
// generation with its groups, numbers and directivities.

#include "platform/Errors.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/Blob.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Table.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/LegacySchema.h"
#include "sound/SoundEditors.h"
#include "sound/SoundSchema.h"
#include "sound/UpdateFixtures.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/LibFolders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sqlite3.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace sound::test;
namespace fs = std::filesystem;
using korvel::test::DosGroupBytes;
using korvel::test::LibFolders;
using korvel::test::WriteDosLibrary;

TBlob Index(const std::string& name, std::int16_t entry, std::array<std::uint8_t, 10> groups = {}) {
    return korvel::test::DosIndexBytes({name, entry, groups});
}

// Third octaves 50 Hz..10 kHz by band number 17..40; unlisted bands get the no-value level.
TBlob Data(const std::map<int, float>& bands, char weighting, char reference, float noValue,
           const std::vector<std::string>& comment = {}) {
    formats::TDosDataRecord r;
    r.ThirdOctaves.fill(noValue);
    for (const auto& [band, v] : bands)
        r.ThirdOctaves[static_cast<std::size_t>(band - 17)] = v;
    r.KennChar = {weighting, reference, ' ', ' '};
    std::copy(comment.begin(), comment.end(), r.Comment.begin());
    return korvel::test::DosDataBytes(r);
}

TBlob Spectrum(const std::map<int, float>& bands) {
    std::vector<float> v(kBandCount, static_cast<float>(kEmptyBandLevel));
    for (const auto& [band, value] : bands)
        v[static_cast<std::size_t>(band)] = value;
    return FloatsToBlob(v);
}

class LegacyImportTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::vector<std::string>& folders) {
        return OpenSoundEditor(f, libType, folders);
    }
    std::string Folder(const std::string& name) {
        const std::string folder = f.Root() + name + "/";
        fs::create_directories(folder);
        return folder;
    }
    std::string Old() { return Folder("old"); }
    // The tab's main table on the element of that name.
    db::TTable& At(TFormLibX& editor, const std::string& name, int tab = 0) {
        db::TTable& t = *editor.GetMainTable(tab);
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        return t;
    }
    // The stored element of that name, read as the editor reads it.
    std::unique_ptr<TCustomLibSpectrum> Element(TFormLibX& editor, const std::string& name, int tab = 0) {
        At(editor, name, tab);
        auto s = CreateLibSpectrum(editor.LibType());
        s->ReadFromLibrary(*editor.GetMyTable(tab), TAddPropDefList(editor.LibType()));
        return s;
    }
    std::unique_ptr<TEmisLibSpectrum> Emission(TFormLibX& editor, const std::string& name) {
        return std::unique_ptr<TEmisLibSpectrum>(
            dynamic_cast<TEmisLibSpectrum*>(Element(editor, name).release()));
    }
    std::string Field(TFormLibX& editor, const std::string& name, const char* field, int tab = 0) {
        return At(editor, name, tab).FieldByName(field).AsString();
    }
    // A temporary trigger refusing to store an element of that name, as a failing engine would.
    void RefuseElement(TFormLibX& editor, const std::string& name, int tab = 0) {
        editor.GetMyTable(tab)->Database().Connection().Exec(
            "CREATE TEMP TRIGGER refuse BEFORE INSERT ON main.\"" + editor.GetMainTable(tab)->TableName() +
            "\" WHEN NEW.ElementName = '" + name +
            "' BEGIN SELECT RAISE(ABORT, 'refused by the engine'); END");
    }
    // Whether one log entry holds every fragment, and is of that kind when one is given.
    bool Logged(const std::vector<std::string>& fragments, std::optional<TLogKind> kind = {}) {
        for (const TLogEntry& e : f.Host().Log().Entries())
            if ((!kind || e.Kind == *kind) && std::ranges::all_of(fragments, [&](const std::string& part) {
                    return e.Text.find(part) != std::string::npos;
                }))
                return true;
        return false;
    }
    // An update of tab 0 from file must fail loudly, or the older files would be taken as carried over, and
    // leave the library empty.
    void ExpectFailedUpdate(TFormLibX& editor, const std::string& file, const std::string& message) {
        try {
            editor.ImportV73(0, file, count, duplicates, true, true);
            ADD_FAILURE() << "the update must throw";
        } catch (const EKorvelError& e) {
            EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
        }
        EXPECT_EQ(count, 0);
        EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    }
    std::vector<std::string> Names(db::TTable& t) {
        std::vector<std::string> names;
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next())
            names.push_back(t.FieldByName("ElementName").AsString());
        return names;
    }

    LibFolders f;
    int count = -1, duplicates = -1;
};

// --- DOS generation

TEST_F(LegacyImportTest, DosEmissionValuesWeightingGroupsCommentAndRecordNumbers) {
    const std::string index = Folder("dos") + "EMISLIB.002";
    const float nv = -99.0f;
    const TBlob empty = Data({}, 'A', 'A', nv);
    WriteDosLibrary(index,
                    {Index("Pump", 1, {1, 3, 2, 0}), Index("Fan", -5), Index("Single", 2), Index("", 3),
                     Index("PUMP", 1), Index("Ghost", 99)},
                    {Data({{17, nv}, {18, 70.12345f}, {19, 70.0006f}, {25, 65}, {40, 60}}, 'A', 'A', nv,
                          {"L\x84rm der Pumpe", "line 2"}), // "Lärm" in code page 850
                     Data({{27, 88}}, 'B', 'A', nv), empty, empty, empty, empty,
                     Data({{21, 80}, {24, 81}, {27, 82}, {30, 83}}, 'C', 'm', nv)},
                    {DosGroupBytes("Pumps"), DosGroupBytes(""), DosGroupBytes("Fans")});
    std::ofstream(index, std::ios::app) << "partial"; // a trailing partial record ends the file

    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    ASSERT_EQ(editor.SetGroupValue(0, "Fans"), 1);
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(duplicates, 1); // "PUMP" after "Pump"; the empty name and the unreadable record are skipped
    EXPECT_EQ(Names(*editor.GetMainTable(0)), (std::vector<std::string>{"Pump", "Fan", "Single"}));

    auto pump = Emission(editor, "Pump");
    EXPECT_EQ(pump->SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(pump->Bmin(), 18);
    EXPECT_EQ(pump->Bmax(), 40);
    EXPECT_EQ(pump->GetValue(17), kEmptyBandLevel); // the no-value level
    EXPECT_NEAR(pump->GetValue(18), 70.123, 1e-5);  // stored as 32-bit floats
    EXPECT_NEAR(pump->GetValue(19), 70.001, 1e-5);
    EXPECT_EQ(pump->dBX(), 'A');
    EXPECT_EQ(pump->EmisRef, TEmisRef::PerUnit);
    // Groups by name: "Pumps" is new, "Fans" was there already, record 2 has no name.
    EXPECT_EQ(editor.GroupName(0, pump->Groups[0]), "Pumps");
    EXPECT_EQ(pump->Groups[1], 1);
    EXPECT_EQ(pump->Groups[2], 0);
    EXPECT_EQ(pump->Groups[3], 0);
    EXPECT_EQ(Field(editor, "Pump", "Kommentar"), "L\xC3\xA4rm der Pumpe\rline 2\r\r\r\r\r\r\r\r\r");

    // feintrag -5 reads at |-5 - 1| records into the file (record 6 counted from 0, as feintrag 7 would):
    // octave bands only, weighting C, level per metre.
    auto fan = Emission(editor, "Fan");
    EXPECT_EQ(fan->SpecType(), TSpecType::Octave);
    EXPECT_EQ(fan->Bmin(), 21);
    EXPECT_EQ(fan->Bmax(), 30);
    EXPECT_EQ(fan->GetValue(24), 81.0);
    EXPECT_EQ(fan->dBX(), 'C');
    EXPECT_EQ(fan->EmisRef, TEmisRef::PerLengthOrArea);

    auto single = Emission(editor, "Single");
    EXPECT_EQ(single->SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(single->SingleValue(), 88.0);
    EXPECT_EQ(single->dBX(), 'B');

    // A name stored already, in any case, is only counted: the element stays as it was.
    const std::string stamp = Field(editor, "Pump", "LastChangeDateTime");
    WriteDosLibrary(index, {Index("pump", 1)}, {Data({{30, 50}}, 'A', 'A', nv)});
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(duplicates, 1);
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 3);
    EXPECT_NEAR(Element(editor, "Pump")->GetValue(18), 70.123, 1e-5);
    EXPECT_EQ(Field(editor, "Pump", "LastChangeDateTime"), stamp);
}

TEST_F(LegacyImportTest, DosAbsorptionZeroIsEmptyAndTransmissionIsRated) {
    const std::string absor = Folder("dos") + "ABSLIB.001";
    WriteDosLibrary(absor, {Index("Panel", 1)},
                    {Data({{21, 0.0f}, {24, 0.35f}, {27, 0.6f}, {30, 0.0f}, {33, 0.9f}}, ' ', ' ', 0.0f)});
    TFormLibX& abs = Open(kAbsorptionLibType, {f.Project()});
    abs.ImportV42(absor, count, duplicates);
    ASSERT_EQ(count, 1);
    auto panel = Element(abs, "Panel");
    EXPECT_EQ(panel->GetValue(21), kEmptyBandLevel);
    EXPECT_EQ(panel->GetValue(30), kEmptyBandLevel);
    EXPECT_NEAR(panel->GetValue(24), 0.35, 1e-6);
    EXPECT_EQ(panel->Bmin(), 24);
    EXPECT_EQ(panel->Bmax(), 33);
    EXPECT_EQ(panel->SpecType(), TSpecType::Octave);

    // Half a decibel above the reference curve of 100..3150 Hz: Rw is 52 + 2.
    const std::array<float, 16> reference = {33, 36, 39, 42, 45, 48, 51, 52, 53, 54, 55, 56, 56, 56, 56, 56};
    std::map<int, float> bands;
    for (int k = 0; k < 16; ++k)
        bands[20 + k] = reference[static_cast<std::size_t>(k)] + 0.5f;
    const std::string trans = Folder("dos") + "TRANSLIB.003";
    WriteDosLibrary(trans, {Index("Wall", 1)}, {Data(bands, ' ', ' ', -99)});
    TFormLibX& tr = Open(kTransmissionLibType, {f.Project()});
    tr.ImportV42(trans, count, duplicates);
    ASSERT_EQ(count, 1);
    auto wall = Element(tr, "Wall");
    EXPECT_EQ(dynamic_cast<TTransLibSpectrum&>(*wall).Rw, 54.0);
    EXPECT_EQ(wall->Bmin(), 20);
    EXPECT_EQ(wall->Bmax(), 35);
}

TEST_F(LegacyImportTest, DosErrorsKeepTheStoredElementsAndReportAFailedCommit) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    f.Ui().ExpectMessage(mtError, "Error in import: ", mrOk);
    editor.ImportV42(Folder("dos") + "NONELIB.002", count, duplicates);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(duplicates, 0);
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());

    const std::string index = Folder("dos") + "EmisLib.002";
    WriteDosLibrary(index, {Index("Pump", 1), Index("Bad", 1), Index("Fan", 1)},
                    {Data({{30, 70}}, 'A', 'A', -99)});
    RefuseElement(editor, "Bad");
    f.Ui().ExpectMessage(mtError, "Error in import: ", mrOk);
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});

    // A commit refused by the engine takes the open batch with it; the message and the count say so.
    sqlite3* handle = editor.GetMyTable(0)->Database().Connection().Handle();
    sqlite3_commit_hook(
        handle, [](void*) { return 1; }, nullptr);
    WriteDosLibrary(index, {Index("Fan", 1), Index("Bad", 1)}, {Data({{30, 70}}, 'A', 'A', -99)});
    f.Ui().ExpectMessage(mtError, "1 of the imported elements could not be kept", mrOk);
    editor.ImportV42(index, count, duplicates);
    sqlite3_commit_hook(handle, nullptr, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_NE(f.Ui().Messages().back().find("refused by the engine"), std::string::npos);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});
}

// --- table generation

TEST_F(LegacyImportTest, TableElementsGroupsPropertiesAndDuplicates) {
    formula::TVarList vars;
    vars.Add({"speed", "rpm", "Speed", 1500, formula::TVarFlag::User, formula::TResType::Real, {}});
    MakeOlderFile(kEmissionLibType, Old(),
                  {{{"ElementName", Text("Pump")},
                    {"Kommentar", Text("old comment")},
                    {"Gruppen1", Int(2)},
                    {"Gruppen2", Int(1)},
                    {"Gruppen3", Int(7)},
                    {"SpecType", Int(1)},
                    {"BMin", Int(21)},
                    {"BMax", Int(27)},
                    {"Spectrum", Spectrum({{21, 80}, {24, 82}, {27, 84}})},
                    {"dBX", Text("C")},
                    {"EmisRef", Int(1)},
                    {"VarList", vars.ToBlob()},
                    {"Kennwerte1", Num(1.5)},
                    {"KennNames1", Text("Zzz unknown")}},
                   {{"ElementName", Text("existing")}}},
                  {{{"GruppenName", Text("Pumps")}}, {{"GruppenName", Text("Fans")}}});
    const std::string file = Old() + LegacyLibFileName(kEmissionLibType);
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    ASSERT_EQ(editor.SetGroupValue(0, "Fans"), 1);
    editor.GetMainTable(0)->Append();
    editor.GetMainTable(0)->FieldByName("ElementName").SetAsString("Existing");
    editor.StoreCurrent();

    editor.ImportV73(0, file, count, duplicates, false, false);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(duplicates, 1);
    EXPECT_TRUE(Logged({"Import of \"" + file + "\""}));

    auto pump = Emission(editor, "Pump");
    EXPECT_EQ(pump->Groups[0], 1);                            // "Fans" by name
    EXPECT_EQ(editor.GroupName(0, pump->Groups[1]), "Pumps"); // appended to the target
    EXPECT_EQ(pump->Groups[2], 7);                            // no such source group: kept
    EXPECT_EQ(pump->SpecType(), TSpecType::Octave);
    EXPECT_EQ(pump->GetValue(24), 82.0);
    EXPECT_EQ(pump->dBX(), 'C');
    EXPECT_EQ(pump->EmisRef, TEmisRef::PerLengthOrArea);
    ASSERT_EQ(pump->VarsIn.Count(), 1);
    EXPECT_EQ(pump->VarsIn.Items[0].Name, "speed");
    EXPECT_EQ(pump->VarsIn.Items[0].Value, 1500.0);
    const std::string comment = Field(editor, "Pump", "Kommentar");
    EXPECT_EQ(comment.rfind("old comment\r\n", 0), 0u) << comment;
    EXPECT_NE(comment.find("Zzz unknown"), std::string::npos) << comment;
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
}

TEST_F(LegacyImportTest, TableKeepNumbersFollowsTheSourceUpToTheBound) {
    const std::string file = Old() + "Trans.abs";
    MakeTableFile(file, LegacyLibTableDef(kTransmissionLibType),
                  {{{"ElementName", Text("Wall")}, {"Eintrag", Int(3)}},
                   {{"ElementName", Text("Door")}, {"Eintrag", Int(7)}}});
    TFormLibX& editor = Open(kTransmissionLibType, {f.Project(), f.Project2()});
    editor.ImportV73(0, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(Field(editor, "Wall", "Eintrag", 0), "3");
    EXPECT_EQ(Field(editor, "Door", "Eintrag", 0), "7");

    // The second library already uses number 10: the source numbers cannot be had, the target's are kept.
    db::TTable& second = *editor.GetMainTable(1);
    WriteRows(second, {{{"ElementName", Text("Window")}, {"Eintrag", Int(10)}}});
    editor.ImportV73(1, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(Field(editor, "Wall", "Eintrag", 1), "11");
    EXPECT_EQ(Field(editor, "Door", "Eintrag", 1), "12");
    EXPECT_TRUE(Logged({"\"Wall\" has number #11 instead of #3"}));
}

TEST_F(LegacyImportTest, TableCancelledUpdateLeavesTheLibraryEmptyAPlainImportKeepsWhatWasStored) {
    const std::string file = Old() + "Atten.abs";
    MakeTableFile(Old() + "AttenGrp.abs", LegacyGroupTableDef(), {{{"GruppenName", Text("Barriers")}}});
    MakeTableFile(file, LegacyLibTableDef(kAttenuationLibType),
                  {{{"ElementName", Text("A")}}, {{"ElementName", Text("B")}}, {{"ElementName", Text("C")}}});
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project(), f.Project2()});
    TLog& log = f.Host().Log();
    // The person presses Cancel while the second record is read.
    log.AddObserver([](const TLog& l, TLogChange change) {
        if (change == TLogChange::Progress && l.Progress() >= 50 && !l.Cancelled())
            const_cast<TLog&>(l).Cancel();
    });
    ExpectFailedUpdate(editor, file, "The import was cancelled.");
    db::TTable& groups = *editor.GetMyTable(0)->GetItem(1);
    EXPECT_TRUE(groups.IsEmpty());                               // the groups went back too
    EXPECT_EQ(groups.FieldByName("GruppenName").AsString(), ""); // and the cursor shows none of them

    log.ResetCancel();
    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Names(*editor.GetMainTable(1)), std::vector<std::string>{"A"});
}

TEST_F(LegacyImportTest, TableUnreadableRecordFailsAnUpdateAndIsLeftOutOfAPlainImport) {
    const std::string file = Old() + "Atten.abs";
    MakeTableFile(file, LegacyLibTableDef(kAttenuationLibType),
                  {{{"ElementName", Text("A")}},
                   {{"ElementName", Text("B")}, {"Spectrum", TBlob{1, 2, 3}}}, // no whole float
                   {{"ElementName", Text("C")}}});
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project(), f.Project2()});
    ExpectFailedUpdate(editor, file, "1 element of");
    EXPECT_TRUE(Logged({"Element No. #2 \"B\" cannot be read"}));

    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(Names(*editor.GetMainTable(1)), (std::vector<std::string>{"A", "C"}));
}

TEST_F(LegacyImportTest, TableWithMissingOrDamagedDirectivityFileIsImportedAndTheFailureLogged) {
    const std::string file = Old() + "Emis.abs";
    std::vector<TRow> rows;
    for (auto [name, art] : {std::pair{"Horn", 2}, std::pair{"Bell", 1}, std::pair{"Plain", 0}})
        rows.push_back({{"ElementName", Text(name)},
                        {"RiwiArt", Int(art)},
                        {"OneForAll", Int(1)},
                        {"RichtwirkungenH1", Int(1)}});
    MakeTableFile(file, LegacyLibTableDef(kEmissionLibType), rows);
    korvel::test::WriteAll(Old() + "Riwi.abs", "no library file");
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    editor.ImportV73(0, file, count, duplicates, false, false);
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(
        Logged({"Unable to read directivity for element No. #1. File " + Old() + "Riwi3D.abs is missing"}));
    EXPECT_TRUE(Logged({"\"" + Old() + "Riwi.abs\" cannot be read"}));
    EXPECT_TRUE(
        Logged({"Unable to read directivity for element No. #2. File " + Old() + "Riwi.abs is missing"}));
    EXPECT_EQ(Emission(editor, "Horn")->Directivity, 0);
    EXPECT_EQ(Emission(editor, "Bell")->Directivity, 0);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));
}

TEST_F(LegacyImportTest, FailedParadoxReadKeepsTheOlderTable) {
    korvel::test::WriteAll(Old() + "Emis.DB", "this is no Paradox table");
    korvel::test::WriteAll(Old() + "Emis.abs", "keep me");
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    f.Ui().ExpectMessage("", mrOk);
    EXPECT_EQ(editor.ImportV64(Old() + "Emis.DB", count, duplicates), 2);
    EXPECT_EQ(korvel::test::ReadAll(Old() + "Emis.abs"), "keep me");
    EXPECT_FALSE(fs::exists(Old() + "Emis.abs.part"));
}

// Cuts, grids and an element for every case of the older directivities.
class DirectivityImportTest : public LegacyImportTest {
protected:
    void SetUp() override {
        std::vector<float> vertical(36, -2.0f);
        vertical[9] = -10.0f; // straight up
        std::vector<TRow> cuts;
        for (const auto& [name, values] : {std::pair{"H flat", std::vector<float>(36, 4.0f)}, // #1
                                           std::pair{"V", vertical},                          // #2
                                           std::pair{"Broken cut", std::vector<float>(35)}})  // #3: one short
            cuts.push_back({{"ElementName", Text(name)}, {"Step", Int(10)}, {"Werte", FloatsToBlob(values)}});
        MakeTableFile(Old() + "Riwi.abs", LegacyRiwiTableDef(), cuts);

        std::vector<TRow> grids;
        // Every value the same, or the row number when none is given.
        auto grid = [&](const std::string& name, int stepH, int stepV, std::optional<float> value) {
            std::vector<float> values;
            for (int r = 0; r <= 180 / stepV; ++r)
                for (int c = 0; c < 360 / stepH; ++c)
                    values.push_back(value.value_or(static_cast<float>(r)));
            grids.push_back({{"ElementName", Text(name)},
                             {"StepH", Int(stepH)},
                             {"StepV", Int(stepV)},
                             {"Werte", FloatsToBlob(values)}});
        };
        grid("Ball", 30, 45, 1.5f);               // #1
        grid("Cone", 10, 10, {});                 // #2
        grid(std::string(40, 'G'), 90, 90, 0.0f); // #3
        grid("BALL", 90, 90, 0.0f);               // #4
        MakeTableFile(Old() + "Riwi3D.abs", LegacyRiwi3DTableDef(), grids);

        std::vector<TRow> elements;
        auto element = [&](const std::string& name, int art, int oneForAll, std::vector<int> h,
                           std::vector<int> v, int specType = 0, int bmin = 15, int bmax = 40) {
            TRow row = {{"ElementName", Text(name)}, {"RiwiArt", Int(art)}, {"OneForAll", Int(oneForAll)},
                        {"SpecType", Int(specType)}, {"BMin", Int(bmin)},   {"BMax", Int(bmax)}};
            for (std::size_t i = 0; i < h.size(); ++i)
                row["RichtwirkungenH" + std::to_string(i + 1)] = Int(h[i]);
            for (std::size_t i = 0; i < v.size(); ++i)
                row["RichtwirkungenV" + std::to_string(i + 1)] = Int(v[i]);
            elements.push_back(row);
        };
        element("Pump", 1, 1, {1}, {2});
        element("Fan", 1, 0, {0}, {2});
        element("Motor", 1, 1, {1}, {0});
        element("Spec2D", 1, 2, {1, 0, 1}, {2, 0, 0}, 1, 21, 27);
        element("Big3D", 2, 1, {1}, {});
        element("Spec3D", 2, 2, {0, 2, 1}, {}, 0, 26, 28);
        element("Broken", 1, 1, {3}, {0});
        element("None", 0, 0, {1}, {2});
        element("Again3D", 2, 1, {1}, {});
        element("Upper3D", 2, 1, {4}, {});
        element("Long1", 2, 1, {3}, {});
        element("Long2", 2, 1, {3}, {});
        MakeTableFile(Old() + "Emis.abs", LegacyLibTableDef(kEmissionLibType), elements);
    }

    std::unique_ptr<TMyTable> OpenTargetDirectivities() {
        auto lib = std::make_unique<TMyTable>(TableNames(kDirectivityLibType));
        lib->InitLibX(f.Project(), LibName(kDirectivityLibType), TableNames(kDirectivityLibType), true, true);
        lib->Open();
        return lib;
    }
    // The directivity the element refers to; its name must be the expected one.
    TDirectivity DirectivityOf(TFormLibX& editor, TMyTable& dirs, const std::string& element,
                               const std::string& name) {
        const int number = Emission(editor, element)->Directivity;
        TDirectivity d;
        db::TTable& t = *dirs.GetTable();
        EXPECT_TRUE(t.Locate("Eintrag", {db::TValue(std::int64_t{number})})) << element;
        EXPECT_EQ(t.FieldByName("ElementName").AsString(), name) << element;
        d.ReadFromLibrary(t);
        return d;
    }
};

TEST_F(DirectivityImportTest, EveryCaseBuildsItsDirectivityWithAFreeNameAndADamagedOneNone) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false);
    EXPECT_EQ(count, 12); // "Broken" too, without its directivity
    auto dirs = OpenTargetDirectivities();

    TDirectivity pump = DirectivityOf(editor, *dirs, "Pump", "Pump v");
    EXPECT_EQ(pump.DirType(), TDirType::Full3D);
    EXPECT_EQ(pump.SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(pump.GetBmin(), 27);
    EXPECT_NEAR(pump.Value(0, 9, 7), 4.0, 1e-6);   // horizontal plane: H
    EXPECT_NEAR(pump.Value(0, 0, 0), -10.0, 1e-6); // straight up: V at 90
    EXPECT_NEAR(pump.Value(0, 9, 0), 1.0, 1e-6);   // front: the mean of 4 and -2
    EXPECT_TRUE(Logged({"Non-spectral 2D-directivity \"Pump v\", #1 created"}));

    TDirectivity fan = DirectivityOf(editor, *dirs, "Fan", "Fan vh");
    EXPECT_EQ(fan.DirType(), TDirType::RotationallySymmetric);
    EXPECT_NEAR(fan.Value(0, 0, 5), -10.0, 1e-6);
    EXPECT_NEAR(fan.Value(0, 9, 5), -2.0, 1e-6);

    TDirectivity motor = DirectivityOf(editor, *dirs, "Motor", "Motor h");
    EXPECT_EQ(motor.DirType(), TDirType::Horizontal);
    EXPECT_NEAR(motor.Value(0, 0, 3), 4.0, 1e-6);

    TDirectivity spec2D = DirectivityOf(editor, *dirs, "Spec2D", "Spec2D");
    EXPECT_EQ(spec2D.SpecType(), TSpecType::Octave);
    ASSERT_EQ(spec2D.BandCount(), 3);
    EXPECT_NEAR(spec2D.Value(0, 0, 0), -10.0, 1e-6);
    EXPECT_TRUE(std::ranges::all_of(spec2D.GetItem(1).Values, [](double v) { return v == 0.0; })); // no pair
    EXPECT_NEAR(spec2D.Value(2, 9, 4), 4.0, 1e-6); // only H: the horizontal plane holds it
    EXPECT_NEAR(spec2D.Value(2, 0, 0), 0.0, 1e-6); // and the missing V counts as 0 dB
    EXPECT_TRUE(Logged({"Spectral 2D-directivity \"Spec2D\""}));

    TDirectivity big = DirectivityOf(editor, *dirs, "Big3D", "Ball");
    EXPECT_EQ(big.StepH(), 30);
    EXPECT_EQ(big.StepV(), 45);
    EXPECT_NEAR(big.Value(0, 2, 5), 1.5, 1e-6);
    EXPECT_TRUE(Logged({"Non-spectral 3D-directivity \"Ball\""}));

    TDirectivity spec3D = DirectivityOf(editor, *dirs, "Spec3D", "Spec3D");
    ASSERT_EQ(spec3D.BandCount(), 3);
    EXPECT_EQ(spec3D.StepH(), 10); // from "Cone", the first record found
    EXPECT_TRUE(std::ranges::all_of(spec3D.GetItem(0).Values, [](double v) { return v == 0.0; }));
    EXPECT_NEAR(spec3D.Value(1, 7, 3), 7.0, 1e-6);
    EXPECT_NEAR(spec3D.Value(2, 7, 3), 1.5, 1e-6);
    EXPECT_TRUE(Logged({"Spectral 3D-directivity \"Spec3D\""}));

    // Names taken already get a number, ignoring case; a 40-character name makes room for it.
    DirectivityOf(editor, *dirs, "Again3D", "Ball(1)");
    DirectivityOf(editor, *dirs, "Upper3D", "BALL(2)");
    DirectivityOf(editor, *dirs, "Long1", std::string(40, 'G'));
    DirectivityOf(editor, *dirs, "Long2", std::string(37, 'G') + "(1)");
    EXPECT_EQ(Emission(editor, "None")->Directivity, 0);
    // The editor offers the new directivities at once.
    const auto& items = editor.CBDirectivity().Items();
    EXPECT_NE(std::find(items.begin(), items.end(), "1 Pump v"), items.end());

    // A damaged cut is reported and leaves nothing half written.
    EXPECT_EQ(Emission(editor, "Broken")->Directivity, 0);
    EXPECT_TRUE(Logged({"element No. #7", "\"Broken cut\"", "damaged"}, TLogKind::Error));
    for (const std::string& name : Names(*dirs->GetTable()))
        EXPECT_EQ(name.find("Broken"), std::string::npos) << name;
    EXPECT_EQ(dirs->GetTable()->RecordCount(), 10);
}

TEST_F(DirectivityImportTest, RefusedElementTakesItsDirectivityBack) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    RefuseElement(editor, "Fan");
    EXPECT_THROW(editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false), EKorvelError);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});
    auto dirs = OpenTargetDirectivities();
    EXPECT_EQ(Names(*dirs->GetTable()), std::vector<std::string>{"Pump v"}); // no "Fan vh" left behind
}

} // namespace
} // namespace korvel::sound
