// Import of the older generations into the sound library editor: the DOS record files and the older table
// generation with its groups, numbers and directivities.

#include "platform/Errors.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/Blob.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Table.h"
#include "service/LibService.h"
#include "sound/DirectivityList.h"
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
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
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
using namespace testing;

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
    // The first tab's main table on the element of that name.
    db::TTable& At(TFormLibX& editor, const std::string& name) {
        db::TTable& t = *editor.GetMainTable(0);
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        return t;
    }
    // The stored element of that name, read as the editor reads it.
    template <class T = TCustomLibSpectrum>
    std::unique_ptr<T> Element(TFormLibX& editor, const std::string& name) {
        At(editor, name);
        std::unique_ptr<TCustomLibSpectrum> s = CreateLibSpectrum(editor.LibType());
        s->ReadFromLibrary(*editor.GetMyTable(0), TAddPropDefList(editor.LibType()));
        return std::unique_ptr<T>(dynamic_cast<T*>(s.release()));
    }
    auto Emission(TFormLibX& e, const std::string& name) { return Element<TEmisLibSpectrum>(e, name); }
    std::string Field(TFormLibX& editor, const std::string& name, const char* field) {
        return At(editor, name).FieldByName(field).AsString();
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
        EXPECT_THAT([&] { editor.ImportV73(0, file, count, duplicates, true, true); },
                    testing::ThrowsMessage<EKorvelError>(HasSubstr(message)));
        EXPECT_EQ(count, 0);
        EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    }
    // One field of every element, in number order.
    std::vector<std::string> Names(db::TTable& t, const char* field = "ElementName") {
        std::vector<std::string> names;
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next())
            names.push_back(t.FieldByName(field).AsString());
        return names;
    }
    // Spectrum type and band range.
    static std::tuple<TSpecType, int, int> Shape(const TCustomLibSpectrum& s) {
        return {s.SpecType(), s.Bmin(), s.Bmax()};
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
    // "PUMP" after "Pump" is a duplicate; the empty name and the unreadable record are skipped.
    EXPECT_EQ(std::pair(count, duplicates), std::pair(3, 1));
    EXPECT_EQ(Names(*editor.GetMainTable(0)), (std::vector<std::string>{"Pump", "Fan", "Single"}));

    auto pump = Emission(editor, "Pump");
    EXPECT_EQ(std::tuple(Shape(*pump), pump->dBX(), pump->EmisRef),
              std::tuple(std::tuple(TSpecType::ThirdOctave, 18, 40), 'A', TEmisRef::PerUnit));
    // The no-value level is empty; the rest is stored as 32-bit floats.
    EXPECT_THAT((std::array{pump->GetValue(17), pump->GetValue(18), pump->GetValue(19)}),
                ElementsAre(kEmptyBandLevel, DoubleNear(70.123, 1e-5), DoubleNear(70.001, 1e-5)));
    // Groups by name: "Pumps" is new, "Fans" was there already, record 2 has no name.
    EXPECT_EQ(pump->Groups, (std::array{2, 1, 0, 0}));
    EXPECT_EQ(editor.GroupName(0, 2), "Pumps");
    EXPECT_EQ(Field(editor, "Pump", "Kommentar"), "L\xC3\xA4rm der Pumpe\rline 2\r\r\r\r\r\r\r\r\r");

    // feintrag -5 reads at |-5 - 1| records into the file (record 6 counted from 0, as feintrag 7 would):
    // octave bands only, weighting C, level per metre.
    auto fan = Emission(editor, "Fan");
    EXPECT_EQ(std::tuple(Shape(*fan), fan->dBX(), fan->EmisRef, fan->GetValue(24)),
              std::tuple(std::tuple(TSpecType::Octave, 21, 30), 'C', TEmisRef::PerLengthOrArea, 81.0));
    auto single = Emission(editor, "Single");
    EXPECT_EQ(std::tuple(single->SpecType(), single->SingleValue(), single->dBX()),
              std::tuple(TSpecType::SingleValue, 88.0, 'B'));

    // A name stored already, in any case, is only counted: the element stays as it was.
    const std::string stamp = Field(editor, "Pump", "LastChangeDateTime");
    WriteDosLibrary(index, {Index("pump", 1)}, {Data({{30, 50}}, 'A', 'A', nv)});
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(std::pair(count, duplicates), std::pair(0, 1));
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
    EXPECT_EQ(Shape(*panel), std::tuple(TSpecType::Octave, 24, 33));
    EXPECT_THAT((std::array{panel->GetValue(21), panel->GetValue(30), panel->GetValue(24)}),
                ElementsAre(kEmptyBandLevel, kEmptyBandLevel, DoubleNear(0.35, 1e-6)));

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
    EXPECT_EQ(Shape(*wall), std::tuple(TSpecType::ThirdOctave, 20, 35));
}

TEST_F(LegacyImportTest, DosErrorsKeepTheStoredElementsAndReportAFailedCommit) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    f.Ui().ExpectMessage(mtError, "Error in import: ", mrOk);
    editor.ImportV42(Folder("dos") + "NONELIB.002", count, duplicates);
    EXPECT_EQ(std::pair(count, duplicates), std::pair(0, 0));
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

TEST_F(LegacyImportTest, TableElementsGroupsPropertiesDuplicatesAndMissingDirectivities) {
    std::vector<float> spectrum(kBandCount, static_cast<float>(kEmptyBandLevel));
    spectrum[21] = 80;
    spectrum[24] = 82;
    spectrum[27] = 84;
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
                    {"Spectrum", FloatsToBlob(spectrum)},
                    {"dBX", Text("C")},
                    {"EmisRef", Int(1)},
                    {"VarList", vars.ToBlob()},
                    {"Kennwerte1", Num(1.5)},
                    {"KennNames1", Text("Zzz unknown")}},
                   {{"ElementName", Text("existing")}},
                   {{"ElementName", Text("Horn")}, {"RiwiArt", Int(2)}, {"RichtwirkungenH1", Int(1)}},
                   {{"ElementName", Text("Bell")}, {"RiwiArt", Int(1)}, {"RichtwirkungenH1", Int(1)}}},
                  {{{"GruppenName", Text("Pumps")}}, {{"GruppenName", Text("Fans")}}});
    korvel::test::WriteAll(Old() + "Riwi.abs", "no library file"); // and no Riwi3D.abs
    const std::string file = Old() + LegacyLibFileName(kEmissionLibType);
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    ASSERT_EQ(editor.SetGroupValue(0, "Fans"), 1);
    editor.GetMainTable(0)->Append();
    editor.GetMainTable(0)->FieldByName("ElementName").SetAsString("Existing");
    editor.StoreCurrent();

    editor.ImportV73(0, file, count, duplicates, false, false);
    EXPECT_EQ(std::pair(count, duplicates), std::pair(3, 1));
    EXPECT_TRUE(Logged({"Import of \"" + file + "\""}));
    // Elements whose directivity file is missing or damaged come without their directivity.
    EXPECT_TRUE(Logged({"\"" + Old() + "Riwi.abs\" cannot be read"}));
    for (const auto& [number, riwi] : {std::pair{"3", "Riwi3D.abs"}, std::pair{"4", "Riwi.abs"}})
        EXPECT_TRUE(Logged({std::string("Unable to read directivity for element No. #") + number + ". File " +
                            Old() + riwi + " is missing"}))
            << riwi;
    EXPECT_EQ(std::pair(Emission(editor, "Horn")->Directivity, Emission(editor, "Bell")->Directivity),
              std::pair(0, 0));
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));

    // Groups: "Fans" by name, "Pumps" appended to the target, 7 (no such source group) kept.
    auto pump = Emission(editor, "Pump");
    EXPECT_EQ(pump->Groups, (std::array{1, 2, 7, 0}));
    EXPECT_EQ(editor.GroupName(0, 2), "Pumps");
    EXPECT_EQ(std::tuple(Shape(*pump), pump->dBX(), pump->EmisRef, pump->GetValue(24)),
              std::tuple(std::tuple(TSpecType::Octave, 21, 27), 'C', TEmisRef::PerLengthOrArea, 82.0));
    ASSERT_EQ(pump->VarsIn.Count(), 1);
    EXPECT_EQ(std::pair(pump->VarsIn.Items[0].Name, pump->VarsIn.Items[0].Value),
              std::pair(std::string("speed"), 1500.0));
    EXPECT_THAT(Field(editor, "Pump", "Kommentar"),
                AllOf(StartsWith("old comment\r\n"), HasSubstr("Zzz unknown")));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 4);
}

TEST_F(LegacyImportTest, TableKeepNumbersFollowsTheSourceUpToTheBound) {
    const std::string file = Old() + "Trans.abs";
    MakeTableFile(file, LegacyLibTableDef(kTransmissionLibType),
                  {{{"ElementName", Text("Wall")}, {"Eintrag", Int(3)}},
                   {{"ElementName", Text("Door")}, {"Eintrag", Int(7)}}});
    TFormLibX& editor = Open(kTransmissionLibType, {f.Project(), f.Project2()});
    editor.ImportV73(0, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(Names(*editor.GetMainTable(0), "Eintrag"), (std::vector<std::string>{"3", "7"}));

    // The second library already uses number 10: the source numbers cannot be had, the target's are kept.
    db::TTable& second = *editor.GetMainTable(1);
    WriteRows(second, {{{"ElementName", Text("Window")}, {"Eintrag", Int(10)}}});
    editor.ImportV73(1, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(Names(second, "Eintrag"), (std::vector<std::string>{"10", "11", "12"}));
    EXPECT_TRUE(Logged({"\"Wall\" has number #11 instead of #3"}));
}

TEST_F(LegacyImportTest, TableUpdateFailsWholeOnCancelOrAnUnreadableRecordAPlainImportKeepsWhatItCan) {
    const std::string file = Old() + "Atten.abs";
    MakeTableFile(Old() + "AttenGrp.abs", LegacyGroupTableDef(), {{{"GruppenName", Text("Barriers")}}});
    MakeTableFile(file, LegacyLibTableDef(kAttenuationLibType),
                  {{{"ElementName", Text("A")}},
                   {{"ElementName", Text("B")}, {"Spectrum", TBlob{1, 2, 3}}}, // no whole float
                   {{"ElementName", Text("C")}}});
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project(), f.Project2()});
    TLog& log = f.Host().Log();
    // The person presses Cancel while the second record is read, in the first two imports.
    auto cancel = std::make_shared<bool>(true);
    log.AddObserver([cancel](const TLog& l, TLogChange change) {
        if (*cancel && change == TLogChange::Progress && l.Progress() >= 50 && !l.Cancelled())
            const_cast<TLog&>(l).Cancel();
    });
    ExpectFailedUpdate(editor, file, "The import was cancelled.");
    db::TTable& groups = *editor.GetMyTable(0)->GetItem(1);
    EXPECT_TRUE(groups.IsEmpty());                               // the groups went back too
    EXPECT_EQ(groups.FieldByName("GruppenName").AsString(), ""); // and the cursor shows none of them
    log.ResetCancel();
    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(Names(*editor.GetMainTable(1)), std::vector<std::string>{"A"});

    *cancel = false;
    log.ResetCancel();
    ExpectFailedUpdate(editor, file, "1 element of");
    EXPECT_TRUE(Logged({"Element No. #2 \"B\" cannot be read"}));
    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(std::pair(count, duplicates), std::pair(1, 1));
    EXPECT_EQ(Names(*editor.GetMainTable(1)), (std::vector<std::string>{"A", "C"}));
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
        auto cut = [&](const char* name, int step, const std::vector<float>& values) {
            cuts.push_back(
                {{"ElementName", Text(name)}, {"Step", Int(step)}, {"Werte", FloatsToBlob(values)}});
        };
        cut("H flat", 10, std::vector<float>(36, 4.0f)); // #1
        cut("V", 10, vertical);                          // #2
        // Damaged: one value short, a step that does not divide the circle, a value that is no number.
        cut("Broken cut", 10, std::vector<float>(35));                    // #3
        cut("Odd step", 7, std::vector<float>(51));                       // #4
        cut("Nan", 180, {0.0f, std::numeric_limits<float>::quiet_NaN()}); // #5
        MakeTableFile(Old() + "Riwi.abs", LegacyRiwiTableDef(), cuts);

        std::vector<TRow> grids;
        // Every value the same, or the row number when none is given.
        auto grid = [&](const std::string& name, int stepH, int stepV, std::optional<float> value,
                        std::size_t extra = 0) {
            std::vector<float> values(extra);
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
        grid("Long", 90, 90, 0.0f, 1);            // #5: one value too many
        grid("Wide", 100, 90, 0.0f);              // #6: a step that does not divide the circle
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
        element("OddCut", 1, 1, {4}, {0});
        element("NanCut", 1, 1, {5}, {0});
        element("LongGrid", 2, 1, {5}, {});
        element("WideGrid", 2, 1, {6}, {});
        MakeTableFile(Old() + "Emis.abs", LegacyLibTableDef(kEmissionLibType), elements);
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
    EXPECT_EQ(count, 16); // those with damaged directivities too, without them
    auto dirs = OpenDirectivityLibrary(f.Project());

    // How the cuts combine is LegacyCut's; here each must land where it belongs. Names taken already get a
    // number, ignoring case; a 40-character name makes room for it.
    using TCase = std::tuple<const char*, std::string, TDirType, int, int, int, double>; // band, row, column
    const TCase cases[] = {
        {"Pump", "Pump v", TDirType::Full3D, 0, 9, 7, 4.0},   // horizontal plane: H
        {"Pump", "Pump v", TDirType::Full3D, 0, 0, 0, -10.0}, // straight up: V at 90
        {"Fan", "Fan vh", TDirType::RotationallySymmetric, 0, 0, 5, -10.0},
        {"Motor", "Motor h", TDirType::Horizontal, 0, 0, 3, 4.0},
        {"Spec2D", "Spec2D", TDirType::Full3D, 0, 0, 0, -10.0},
        {"Spec2D", "Spec2D", TDirType::Full3D, 2, 9, 4, 4.0}, // only H: the horizontal plane holds it
        {"Big3D", "Ball", TDirType::Full3D, 0, 2, 5, 1.5},
        {"Spec3D", "Spec3D", TDirType::Full3D, 1, 7, 3, 7.0},
        {"Spec3D", "Spec3D", TDirType::Full3D, 2, 7, 3, 1.5},
        {"Again3D", "Ball(1)", TDirType::Full3D, 0, 2, 5, 1.5},
        {"Upper3D", "BALL(2)", TDirType::Full3D, 0, 1, 1, 0.0},
        {"Long1", std::string(40, 'G'), TDirType::Full3D, 0, 1, 1, 0.0},
        {"Long2", std::string(37, 'G') + "(1)", TDirType::Full3D, 0, 1, 1, 0.0}};
    for (const auto& [element, name, type, band, row, column, value] : cases) {
        const TDirectivity d = DirectivityOf(editor, *dirs, element, name);
        EXPECT_EQ(d.DirType(), type) << element;
        EXPECT_NEAR(d.Value(band, row, column), value, 1e-6) << element;
    }
    TDirectivity pump = DirectivityOf(editor, *dirs, "Pump", "Pump v");
    EXPECT_EQ(std::pair(pump.SpecType(), pump.GetBmin()), std::pair(TSpecType::SingleValue, 27));
    TDirectivity spec2D = DirectivityOf(editor, *dirs, "Spec2D", "Spec2D");
    EXPECT_EQ(std::pair(spec2D.SpecType(), spec2D.BandCount()), std::pair(TSpecType::Octave, 3));
    EXPECT_TRUE(std::ranges::all_of(spec2D.GetItem(1).Values, [](double v) { return v == 0.0; })); // no pair
    const TDirectivity big = DirectivityOf(editor, *dirs, "Big3D", "Ball");
    EXPECT_EQ(std::pair(big.StepH(), big.StepV()), std::pair(30, 45));
    TDirectivity spec3D = DirectivityOf(editor, *dirs, "Spec3D", "Spec3D");
    // Steps from "Cone", the first found.
    EXPECT_EQ(std::pair(spec3D.BandCount(), spec3D.StepH()), std::pair(3, 10));
    EXPECT_TRUE(std::ranges::all_of(spec3D.GetItem(0).Values, [](double v) { return v == 0.0; }));
    for (const char* line :
         {"Non-spectral 2D-directivity \"Pump v\", #1 created", "Spectral 2D-directivity \"Spec2D\"",
          "Non-spectral 3D-directivity \"Ball\"", "Spectral 3D-directivity \"Spec3D\""})
        EXPECT_TRUE(Logged({line})) << line;
    EXPECT_EQ(Emission(editor, "None")->Directivity, 0);
    // The editor offers the new directivities at once.
    const auto& items = editor.CBDirectivity().Items();
    EXPECT_NE(std::find(items.begin(), items.end(), "1 Pump v"), items.end());

    // Damaged records are reported with their names and numbers, and leave nothing half written.
    const std::vector<std::string> damaged[] = {
        {"Broken", "element No. #7", "\"Broken cut\" (#3)", "its values take 140 bytes"},
        {"OddCut", "element No. #13", "\"Odd step\"", "does not divide 360"},
        {"NanCut", "element No. #14", "\"Nan\"", "value 2 is no number"},
        {"LongGrid", "element No. #15", "\"Long\"", "take 52 bytes"},
        {"WideGrid", "element No. #16", "\"Wide\"", "do not divide 360 and 180"}};
    for (const auto& d : damaged) {
        EXPECT_EQ(Emission(editor, d[0])->Directivity, 0) << d[0];
        EXPECT_TRUE(Logged({d.begin() + 1, d.end()}, TLogKind::Error)) << d[0];
    }
    EXPECT_EQ(dirs->GetTable()->RecordCount(), 10);
}

TEST_F(DirectivityImportTest, RefusedElementTakesItsDirectivityBack) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    RefuseElement(editor, "Fan");
    EXPECT_THROW(editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false), EKorvelError);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});
    // No "Fan vh" left behind.
    EXPECT_EQ(Names(*OpenDirectivityLibrary(f.Project())->GetTable()), std::vector<std::string>{"Pump v"});
}

} // namespace
} // namespace korvel::sound
