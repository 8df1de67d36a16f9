// Import of the older generations into the sound library editor: the DOS record files and the older table
// generation with its groups, numbers and directivities.

#include "platform/Errors.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/Blob.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Table.h"
#include "platform/formats/DosLibFiles.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/LegacySchema.h"
#include "sound/SoundEditors.h"
#include "sound/SoundSchema.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
namespace fs = std::filesystem;
using test::LibFolders;

void WriteRecords(const std::string& file, const std::vector<TBlob>& records) {
    std::ofstream out(file, std::ios::binary);
    for (const TBlob& r : records)
        out.write(reinterpret_cast<const char*>(r.data()), static_cast<std::streamsize>(r.size()));
}

TBlob IndexRec(const std::string& name, std::int16_t entry, std::array<std::uint8_t, 10> groups = {}) {
    formats::TDosIndexRecord r;
    r.Name = name;
    r.Entry = entry;
    r.Groups = groups;
    return formats::EncodeDosIndexRecord(r);
}

// Third octaves 50 Hz..10 kHz by band number 17..40; unlisted bands get the no-value level.
TBlob DataRec(const std::map<int, float>& bands, char weighting, char reference, float noValue,
              std::vector<std::string> comment = {}) {
    formats::TDosDataRecord r;
    r.ThirdOctaves.fill(noValue);
    for (const auto& [band, v] : bands)
        r.ThirdOctaves[static_cast<std::size_t>(band - formats::kDosFirstBand)] = v;
    r.KennChar = {weighting, reference, ' ', ' '};
    for (std::size_t i = 0; i < comment.size(); ++i)
        r.Comment[i] = comment[i];
    return formats::EncodeDosDataRecord(r);
}

// An older table file with its single table, filled record by record.
class OldTable {
public:
    OldTable(const std::string& file, const db::TTableDef& def)
        : name_(LegacyTableName(file)), db_(std::make_shared<db::TDatabase>(file)) {
        db_->Open(true);
        db_->CreateTable(name_, def);
        table_ = std::make_unique<db::TTable>(db_, name_);
        table_->Open();
    }
    // Adds a record, numbered at least `number` when given; returns its number.
    int Add(const std::function<void(db::TTable&)>& fill, int number = 0) {
        if (number > 0)
            db_->RaiseNextAutoIncValue(name_, number);
        table_->Append();
        fill(*table_);
        table_->Post();
        return table_->FieldByName("Eintrag").AsInteger();
    }

private:
    std::string name_;
    std::shared_ptr<db::TDatabase> db_;
    std::unique_ptr<db::TTable> table_;
};

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
    // The stored element of that name, read as the editor reads it.
    std::unique_ptr<TCustomLibSpectrum> Element(TFormLibX& editor, const std::string& name, int tab = 0) {
        db::TTable& t = *editor.GetMainTable(tab);
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        auto s = CreateLibSpectrum(editor.LibType());
        s->ReadFromLibrary(*editor.GetMyTable(tab), TAddPropDefList(editor.LibType()));
        return s;
    }
    std::string Field(TFormLibX& editor, const std::string& name, const char* field, int tab = 0) {
        db::TTable& t = *editor.GetMainTable(tab);
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        return t.FieldByName(field).AsString();
    }
    // A temporary trigger refusing to store an element of that name, as a failing engine would.
    void RefuseElement(TFormLibX& editor, const std::string& name, int tab = 0) {
        editor.GetMyTable(tab)->Database().Connection().Exec(
            "CREATE TEMP TRIGGER refuse BEFORE INSERT ON main.\"" + editor.GetMainTable(tab)->TableName() +
            "\" WHEN NEW.ElementName = '" + name +
            "' BEGIN SELECT RAISE(ABORT, 'refused by the engine'); END");
    }
    bool Logged(const std::string& fragment) {
        for (const TLogEntry& e : f.Host().Log().Entries())
            if (e.Text.find(fragment) != std::string::npos)
                return true;
        return false;
    }
    std::vector<std::string> Names(db::TTable& t) {
        std::vector<std::string> names;
        t.SetIndexName("p");
        for (t.First(); !t.Eof(); t.Next())
            names.push_back(t.FieldByName("ElementName").AsString());
        return names;
    }

    LibFolders f;
};

// --- DOS generation

TEST_F(LegacyImportTest, DosEmissionValuesWeightingGroupsCommentAndRecordNumbers) {
    const std::string dir = Folder("dos");
    const std::string index = dir + "EMISLIB.002";
    const float nv = -99.0f;
    WriteRecords(formats::DosGroupFileName(index, kEmissionLibType),
                 {formats::EncodeDosGroupRecord("Pumps"), formats::EncodeDosGroupRecord(""),
                  formats::EncodeDosGroupRecord("Fans")});
    WriteRecords(formats::DosDataFileName(index, kEmissionLibType),
                 {DataRec({{17, nv}, {18, 70.12345f}, {19, 70.0006f}, {25, 65}, {40, 60}}, 'A', 'A', nv,
                          {"L\xC3\xA4rm der Pumpe", "line 2"}),
                  DataRec({{27, 88}}, 'B', 'A', nv), DataRec({}, 'A', 'A', nv), DataRec({}, 'A', 'A', nv),
                  DataRec({}, 'A', 'A', nv), DataRec({}, 'A', 'A', nv),
                  DataRec({{21, 80}, {24, 81}, {27, 82}, {30, 83}}, 'C', 'm', nv)});
    WriteRecords(index, {IndexRec("Pump", 1, {1, 3, 2, 0}), IndexRec("Fan", -5), IndexRec("Single", 2),
                         IndexRec("", 3), IndexRec("PUMP", 1), IndexRec("Ghost", 99)});
    std::ofstream(index, std::ios::app) << "partial"; // a trailing partial record ends the file

    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    ASSERT_EQ(editor.SetGroupValue(0, "Fans"), 1);
    int count = -1, duplicates = -1;
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(duplicates, 1); // "PUMP" after "Pump"; the empty name and the unreadable record are skipped
    EXPECT_EQ(Names(*editor.GetMainTable(0)), (std::vector<std::string>{"Pump", "Fan", "Single"}));

    auto pump = Element(editor, "Pump");
    EXPECT_EQ(pump->SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(pump->Bmin(), 18);
    EXPECT_EQ(pump->Bmax(), 40);
    EXPECT_EQ(pump->GetValue(17), kEmptyBandLevel); // the no-value level
    EXPECT_NEAR(pump->GetValue(18), 70.123, 1e-5);  // stored as 32-bit floats
    EXPECT_NEAR(pump->GetValue(19), 70.001, 1e-5);
    EXPECT_EQ(pump->GetValue(20), kEmptyBandLevel);
    auto* e = dynamic_cast<TEmisLibSpectrum*>(pump.get());
    EXPECT_EQ(e->dBX(), 'A');
    EXPECT_EQ(e->EmisRef, TEmisRef::PerUnit);
    // Groups by name: "Pumps" is new, "Fans" was there already, record 2 has no name.
    EXPECT_EQ(editor.GroupName(0, pump->Groups[0]), "Pumps");
    EXPECT_EQ(pump->Groups[1], 1);
    EXPECT_EQ(pump->Groups[2], 0);
    EXPECT_EQ(pump->Groups[3], 0);
    EXPECT_EQ(Field(editor, "Pump", "Kommentar"), "L\xC3\xA4rm der Pumpe\rline 2\r\r\r\r\r\r\r\r\r");

    // feintrag -5 reads at |-5 - 1| records into the file (record 6 counted from 0, as feintrag 7 would):
    // octave bands only, weighting C, level per metre.
    auto fan = Element(editor, "Fan");
    EXPECT_EQ(fan->SpecType(), TSpecType::Octave);
    EXPECT_EQ(fan->Bmin(), 21);
    EXPECT_EQ(fan->Bmax(), 30);
    EXPECT_EQ(fan->GetValue(24), 81.0);
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*fan).dBX(), 'C');
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*fan).EmisRef, TEmisRef::PerLengthOrArea);

    auto single = Element(editor, "Single");
    EXPECT_EQ(single->SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(single->SingleValue(), 88.0);
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*single).dBX(), 'B');
}

TEST_F(LegacyImportTest, DosDuplicatesOnlyCountAndLeaveTheLibraryUnchanged) {
    const std::string dir = Folder("dos");
    const std::string index = dir + "EmisLib.002";
    WriteRecords(formats::DosDataFileName(index, kEmissionLibType), {DataRec({{30, 70}}, 'A', 'A', -99)});
    WriteRecords(index, {IndexRec("Pump", 1)});
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    int count = 0, duplicates = 0;
    editor.ImportV42(index, count, duplicates);
    ASSERT_EQ(count, 1);
    const std::string stamp = Field(editor, "Pump", "LastChangeDateTime");

    WriteRecords(formats::DosDataFileName(index, kEmissionLibType), {DataRec({{30, 50}}, 'A', 'A', -99)});
    WriteRecords(index, {IndexRec("pump", 1)});
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(duplicates, 1);
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 1);
    EXPECT_EQ(Element(editor, "Pump")->SingleValue(), 70.0);
    EXPECT_EQ(Field(editor, "Pump", "LastChangeDateTime"), stamp);
}

TEST_F(LegacyImportTest, DosAbsorptionZeroIsEmptyAndTransmissionIsRated) {
    const std::string dir = Folder("dos");
    const std::string absor = dir + "ABSLIB.001";
    WriteRecords(formats::DosDataFileName(absor, kAbsorptionLibType),
                 {DataRec({{21, 0.0f}, {24, 0.35f}, {27, 0.6f}, {30, 0.0f}, {33, 0.9f}}, ' ', ' ', 0.0f)});
    WriteRecords(absor, {IndexRec("Panel", 1)});
    TFormLibX& abs = Open(kAbsorptionLibType, {f.Project()});
    int count = 0, duplicates = 0;
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
    const std::string trans = dir + "TRANSLIB.003";
    WriteRecords(formats::DosDataFileName(trans, kTransmissionLibType), {DataRec(bands, ' ', ' ', -99)});
    WriteRecords(trans, {IndexRec("Wall", 1)});
    TFormLibX& tr = Open(kTransmissionLibType, {f.Project()});
    tr.ImportV42(trans, count, duplicates);
    ASSERT_EQ(count, 1);
    auto wall = Element(tr, "Wall");
    EXPECT_EQ(dynamic_cast<TTransLibSpectrum&>(*wall).Rw, 54.0);
    EXPECT_EQ(wall->Bmin(), 20);
    EXPECT_EQ(wall->Bmax(), 35);
}

TEST_F(LegacyImportTest, DosMissingIndexFileShowsTheErrorAndImportsNothing) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    f.Ui().ExpectMessage(mtError, "Error in import: ", mrOk);
    int count = -1, duplicates = -1;
    editor.ImportV42(Folder("dos") + "NONELIB.002", count, duplicates);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(duplicates, 0);
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
}

TEST_F(LegacyImportTest, DosErrorKeepsTheStoredElementsAndReportsAFailedCommit) {
    const std::string index = Folder("dos") + "EmisLib.002";
    WriteRecords(formats::DosDataFileName(index, kEmissionLibType), {DataRec({{30, 70}}, 'A', 'A', -99)});
    WriteRecords(index, {IndexRec("Pump", 1), IndexRec("Bad", 1), IndexRec("Fan", 1)});
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    RefuseElement(editor, "Bad");
    f.Ui().ExpectMessage(mtError, "Error in import: ", mrOk);
    int count = 0, duplicates = 0;
    editor.ImportV42(index, count, duplicates);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});

    // A commit refused by the engine takes the open batch with it; the message and the count say so.
    sqlite3* handle = editor.GetMyTable(0)->Database().Connection().Handle();
    sqlite3_commit_hook(
        handle, [](void*) { return 1; }, nullptr);
    WriteRecords(index, {IndexRec("Fan", 1), IndexRec("Bad", 1)});
    f.Ui().ExpectMessage(mtError, "1 of the imported elements could not be kept", mrOk);
    editor.ImportV42(index, count, duplicates);
    sqlite3_commit_hook(handle, nullptr, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_NE(f.Ui().Messages().back().find("refused by the engine"), std::string::npos);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});
}

// --- table generation

class TableImportTest : public LegacyImportTest {
protected:
    std::string Old() { return Folder("old"); }
};

TEST_F(TableImportTest, ElementsGroupsPropertiesAndDuplicates) {
    const std::string file = Old() + "Emis.abs";
    {
        OldTable groups(Old() + "EmisGrp.abs", LegacyGroupTableDef());
        groups.Add([](db::TTable& t) { t.FieldByName("GruppenName").SetAsString("Pumps"); });
        groups.Add([](db::TTable& t) { t.FieldByName("GruppenName").SetAsString("Fans"); });
        formula::TVarList vars;
        vars.Add({"speed", "rpm", "Speed", 1500, formula::TVarFlag::User, formula::TResType::Real, {}});
        OldTable lib(file, LegacyLibTableDef(kEmissionLibType));
        lib.Add([&](db::TTable& t) {
            t.FieldByName("ElementName").SetAsString("Pump");
            t.FieldByName("Kommentar").SetAsString("old comment");
            t.FieldByName("Gruppen1").SetAsInteger(2);
            t.FieldByName("Gruppen2").SetAsInteger(1);
            t.FieldByName("Gruppen3").SetAsInteger(7);
            t.FieldByName("SpecType").SetAsInteger(1);
            t.FieldByName("BMin").SetAsInteger(21);
            t.FieldByName("BMax").SetAsInteger(27);
            t.FieldByName("Spectrum").SetAsBytes(Spectrum({{21, 80}, {24, 82}, {27, 84}}));
            t.FieldByName("dBX").SetAsString("C");
            t.FieldByName("EmisRef").SetAsInteger(1);
            t.FieldByName("VarList").SetAsBytes(vars.ToBlob());
            t.FieldByName("Kennwerte1").SetAsFloat(1.5);
            t.FieldByName("KennNames1").SetAsString("Zzz unknown");
        });
        lib.Add([](db::TTable& t) { t.FieldByName("ElementName").SetAsString("existing"); });
    }
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    ASSERT_EQ(editor.SetGroupValue(0, "Fans"), 1);
    editor.GetMainTable(0)->Append();
    editor.GetMainTable(0)->FieldByName("ElementName").SetAsString("Existing");
    editor.StoreCurrent();

    int count = -1, duplicates = -1;
    editor.ImportV73(0, file, count, duplicates, false, false);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(duplicates, 1);
    EXPECT_TRUE(Logged("Import of \"" + file + "\""));

    auto pump = Element(editor, "Pump");
    EXPECT_EQ(pump->Groups[0], 1);                            // "Fans" by name
    EXPECT_EQ(editor.GroupName(0, pump->Groups[1]), "Pumps"); // appended to the target
    EXPECT_EQ(pump->Groups[2], 7);                            // no such source group: kept
    EXPECT_EQ(pump->SpecType(), TSpecType::Octave);
    EXPECT_EQ(pump->GetValue(24), 82.0);
    auto& e = dynamic_cast<TEmisLibSpectrum&>(*pump);
    EXPECT_EQ(e.dBX(), 'C');
    EXPECT_EQ(e.EmisRef, TEmisRef::PerLengthOrArea);
    ASSERT_EQ(e.VarsIn.Count(), 1);
    EXPECT_EQ(e.VarsIn.Items[0].Name, "speed");
    EXPECT_EQ(e.VarsIn.Items[0].Value, 1500.0);
    const std::string comment = Field(editor, "Pump", "Kommentar");
    EXPECT_EQ(comment.rfind("old comment\r\n", 0), 0u) << comment;
    EXPECT_NE(comment.find("Zzz unknown"), std::string::npos) << comment;
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
}

TEST_F(TableImportTest, KeepNumbersFollowsTheSourceUpToTheBound) {
    const std::string file = Old() + "Trans.abs";
    {
        OldTable lib(file, LegacyLibTableDef(kTransmissionLibType));
        for (auto [name, number] : {std::pair{"Wall", 3}, std::pair{"Door", 7}})
            lib.Add([&](db::TTable& t) { t.FieldByName("ElementName").SetAsString(name); }, number);
    }
    TFormLibX& editor = Open(kTransmissionLibType, {f.Project(), f.Project2()});
    int count = 0, duplicates = 0;
    editor.ImportV73(0, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(std::stoi(Field(editor, "Wall", "Eintrag", 0)), 3);
    EXPECT_EQ(std::stoi(Field(editor, "Door", "Eintrag", 0)), 7);

    // The second library already uses number 10: the source numbers cannot be had, the target's are kept.
    db::TTable& second = *editor.GetMainTable(1);
    second.Database()->RaiseNextAutoIncValue(second.TableName(), 10);
    second.Append();
    second.FieldByName("ElementName").SetAsString("Window");
    second.Post();
    editor.ImportV73(1, file, count, duplicates, true, false);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(std::stoi(Field(editor, "Wall", "Eintrag", 1)), 11);
    EXPECT_EQ(std::stoi(Field(editor, "Door", "Eintrag", 1)), 12);
    EXPECT_TRUE(Logged("\"Wall\" has number #11 instead of #3"));
}

TEST_F(TableImportTest, CancelledUpdateLeavesTheLibraryEmptyAPlainImportKeepsWhatWasStored) {
    const std::string file = Old() + "Atten.abs";
    {
        OldTable groups(Old() + "AttenGrp.abs", LegacyGroupTableDef());
        groups.Add([](db::TTable& t) { t.FieldByName("GruppenName").SetAsString("Barriers"); });
        OldTable lib(file, LegacyLibTableDef(kAttenuationLibType));
        for (const char* name : {"A", "B", "C"})
            lib.Add([&](db::TTable& t) { t.FieldByName("ElementName").SetAsString(name); });
    }
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project(), f.Project2()});
    TLog& log = f.Host().Log();
    // The person presses Cancel while the second record is read.
    log.AddObserver([](const TLog& l, TLogChange change) {
        if (change == TLogChange::Progress && l.Progress() >= 50 && !l.Cancelled())
            const_cast<TLog&>(l).Cancel();
    });
    int count = -1, duplicates = -1;
    // The update must fail loudly, or the older files would be taken as carried over.
    try {
        editor.ImportV73(0, file, count, duplicates, true, true);
        ADD_FAILURE() << "a cancelled update must throw";
    } catch (const EKorvelError& e) {
        EXPECT_STREQ(e.what(), "The import was cancelled.");
    }
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    db::TTable& groups = *editor.GetMyTable(0)->GetItem(1);
    EXPECT_TRUE(groups.IsEmpty());                               // the groups went back too
    EXPECT_EQ(groups.FieldByName("GruppenName").AsString(), ""); // and the cursor shows none of them

    log.ResetCancel();
    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Names(*editor.GetMainTable(1)), std::vector<std::string>{"A"});
}

TEST_F(TableImportTest, UnreadableRecordFailsAnUpdateAndIsLeftOutOfAPlainImport) {
    const std::string file = Old() + "Atten.abs";
    {
        OldTable lib(file, LegacyLibTableDef(kAttenuationLibType));
        lib.Add([](db::TTable& t) { t.FieldByName("ElementName").SetAsString("A"); });
        lib.Add([](db::TTable& t) {
            t.FieldByName("ElementName").SetAsString("B");
            t.FieldByName("Spectrum").SetAsBytes(TBlob{1, 2, 3}); // no whole float
        });
        lib.Add([](db::TTable& t) { t.FieldByName("ElementName").SetAsString("C"); });
    }
    TFormLibX& editor = Open(kAttenuationLibType, {f.Project(), f.Project2()});
    int count = -1, duplicates = -1;
    try {
        editor.ImportV73(0, file, count, duplicates, true, true);
        ADD_FAILURE() << "an update that drops an element must throw";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("1 element of"), std::string::npos) << e.what();
    }
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
    EXPECT_TRUE(Logged("Element No. #2 \"B\" cannot be read"));

    editor.ImportV73(1, file, count, duplicates, false, false);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(Names(*editor.GetMainTable(1)), (std::vector<std::string>{"A", "C"}));
}

class DirectivityImportTest : public TableImportTest {
protected:
    void SetUp() override {
        OldTable cuts(Old() + "Riwi.abs", LegacyRiwiTableDef());
        auto cut = [&](const std::string& name, int step, std::vector<float> v) {
            cuts.Add([&](db::TTable& t) {
                t.FieldByName("ElementName").SetAsString(name);
                t.FieldByName("Step").SetAsInteger(step);
                t.FieldByName("Werte").SetAsBytes(FloatsToBlob(v));
            });
        };
        cut("H flat", 10, std::vector<float>(36, 4.0f)); // #1
        std::vector<float> vertical(36, -2.0f);
        vertical[9] = -10.0f;                          // straight up
        cut("V", 10, vertical);                        // #2
        cut("Broken cut", 10, std::vector<float>(35)); // #3: one value short

        OldTable grids(Old() + "Riwi3D.abs", LegacyRiwi3DTableDef());
        auto grid = [&](const std::string& name, int stepH, int stepV, auto value) {
            grids.Add([&](db::TTable& t) {
                std::vector<float> values;
                for (int r = 0; r <= 180 / stepV; ++r)
                    for (int c = 0; c < 360 / stepH; ++c)
                        values.push_back(value(r, c));
                t.FieldByName("ElementName").SetAsString(name);
                t.FieldByName("StepH").SetAsInteger(stepH);
                t.FieldByName("StepV").SetAsInteger(stepV);
                t.FieldByName("Werte").SetAsBytes(FloatsToBlob(values));
            });
        };
        grid("Ball", 30, 45, [](int, int) { return 1.5f; });                    // #1
        grid("Cone", 10, 10, [](int r, int) { return static_cast<float>(r); }); // #2
        grid(std::string(40, 'G'), 90, 90, [](int, int) { return 0.0f; });      // #3
        grid("BALL", 90, 90, [](int, int) { return 0.0f; });                    // #4

        OldTable lib(Old() + "Emis.abs", LegacyLibTableDef(kEmissionLibType));
        auto element = [&](const std::string& name, int art, int oneForAll, std::vector<int> h,
                           std::vector<int> v, int specType = 0, int bmin = 15, int bmax = 40) {
            lib.Add([&](db::TTable& t) {
                t.FieldByName("ElementName").SetAsString(name);
                t.FieldByName("RiwiArt").SetAsInteger(art);
                t.FieldByName("OneForAll").SetAsInteger(oneForAll);
                t.FieldByName("SpecType").SetAsInteger(specType);
                t.FieldByName("BMin").SetAsInteger(bmin);
                t.FieldByName("BMax").SetAsInteger(bmax);
                for (std::size_t i = 0; i < h.size(); ++i)
                    t.FieldByName("RichtwirkungenH" + std::to_string(i + 1)).SetAsInteger(h[i]);
                for (std::size_t i = 0; i < v.size(); ++i)
                    t.FieldByName("RichtwirkungenV" + std::to_string(i + 1)).SetAsInteger(v[i]);
            });
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
        const int number = dynamic_cast<TEmisLibSpectrum&>(*Element(editor, element)).Directivity;
        TDirectivity d;
        db::TTable& t = *dirs.GetTable();
        EXPECT_TRUE(t.Locate("Eintrag", {db::TValue(std::int64_t{number})})) << element;
        EXPECT_EQ(t.FieldByName("ElementName").AsString(), name) << element;
        d.ReadFromLibrary(t);
        return d;
    }
};

TEST_F(DirectivityImportTest, EveryCaseBuildsItsDirectivityWithAFreeName) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    int count = 0, duplicates = 0;
    editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false);
    EXPECT_EQ(count, 12);
    auto dirs = OpenTargetDirectivities();

    TDirectivity pump = DirectivityOf(editor, *dirs, "Pump", "Pump v");
    EXPECT_EQ(pump.DirType(), TDirType::Full3D);
    EXPECT_EQ(pump.SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(pump.GetBmin(), 27);
    EXPECT_NEAR(pump.Value(0, 9, 7), 4.0, 1e-6);   // horizontal plane: H
    EXPECT_NEAR(pump.Value(0, 0, 0), -10.0, 1e-6); // straight up: V at 90
    EXPECT_NEAR(pump.Value(0, 9, 0), 1.0, 1e-6);   // front: the mean of 4 and -2
    EXPECT_TRUE(Logged("Non-spectral 2D-directivity \"Pump v\", #1 created"));

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
    for (double v : spec2D.GetItem(1).Values)
        ASSERT_EQ(v, 0.0);                         // octave 2 has no pair
    EXPECT_NEAR(spec2D.Value(2, 9, 4), 4.0, 1e-6); // only H: the horizontal plane holds it
    EXPECT_NEAR(spec2D.Value(2, 0, 0), 0.0, 1e-6); // and the missing V counts as 0 dB
    EXPECT_TRUE(Logged("Spectral 2D-directivity \"Spec2D\""));

    TDirectivity big = DirectivityOf(editor, *dirs, "Big3D", "Ball");
    EXPECT_EQ(big.StepH(), 30);
    EXPECT_EQ(big.StepV(), 45);
    EXPECT_NEAR(big.Value(0, 2, 5), 1.5, 1e-6);
    EXPECT_TRUE(Logged("Non-spectral 3D-directivity \"Ball\""));

    TDirectivity spec3D = DirectivityOf(editor, *dirs, "Spec3D", "Spec3D");
    ASSERT_EQ(spec3D.BandCount(), 3);
    EXPECT_EQ(spec3D.StepH(), 10); // from "Cone", the first record found
    for (double v : spec3D.GetItem(0).Values)
        ASSERT_EQ(v, 0.0);
    EXPECT_NEAR(spec3D.Value(1, 7, 3), 7.0, 1e-6);
    EXPECT_NEAR(spec3D.Value(2, 7, 3), 1.5, 1e-6);
    EXPECT_TRUE(Logged("Spectral 3D-directivity \"Spec3D\""));

    // Names taken already get a number, ignoring case; a 40-character name makes room for it.
    DirectivityOf(editor, *dirs, "Again3D", "Ball(1)");
    DirectivityOf(editor, *dirs, "Upper3D", "BALL(2)");
    DirectivityOf(editor, *dirs, "Long1", std::string(40, 'G'));
    DirectivityOf(editor, *dirs, "Long2", std::string(37, 'G') + "(1)");

    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*Element(editor, "None")).Directivity, 0);
    // The editor offers the new directivities at once.
    const auto& items = editor.CBDirectivity().Items();
    EXPECT_NE(std::find(items.begin(), items.end(), "1 Pump v"), items.end());
}

TEST_F(DirectivityImportTest, DamagedRecordIsReportedAndNothingHalfWritten) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    int count = 0, duplicates = 0;
    editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false);
    EXPECT_EQ(count, 12); // the element itself is imported
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*Element(editor, "Broken")).Directivity, 0);
    bool reported = false;
    for (const TLogEntry& e : f.Host().Log().Entries())
        if (e.Kind == TLogKind::Error && e.Text.find("element No. #7") != std::string::npos &&
            e.Text.find("\"Broken cut\"") != std::string::npos && e.Text.find("damaged") != std::string::npos)
            reported = true;
    EXPECT_TRUE(reported);
    auto dirs = OpenTargetDirectivities();
    for (const std::string& name : Names(*dirs->GetTable()))
        EXPECT_EQ(name.find("Broken"), std::string::npos) << name;
    EXPECT_EQ(dirs->GetTable()->RecordCount(), 10);
}

TEST_F(DirectivityImportTest, RefusedElementTakesItsDirectivityBack) {
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    RefuseElement(editor, "Fan");
    int count = 0, duplicates = 0;
    EXPECT_THROW(editor.ImportV73(0, Old() + "Emis.abs", count, duplicates, false, false), EKorvelError);
    EXPECT_EQ(Names(*editor.GetMainTable(0)), std::vector<std::string>{"Pump"});
    auto dirs = OpenTargetDirectivities();
    EXPECT_EQ(Names(*dirs->GetTable()), std::vector<std::string>{"Pump v"}); // no "Fan vh" left behind
}

TEST_F(TableImportTest, MissingOrDamagedDirectivityFileIsLoggedAndTheElementsImported) {
    const std::string file = Old() + "Emis.abs";
    {
        OldTable lib(file, LegacyLibTableDef(kEmissionLibType));
        for (auto [name, art] : {std::pair{"Horn", 2}, std::pair{"Bell", 1}, std::pair{"Plain", 0}})
            lib.Add([&](db::TTable& t) {
                t.FieldByName("ElementName").SetAsString(name);
                t.FieldByName("RiwiArt").SetAsInteger(art);
                t.FieldByName("OneForAll").SetAsInteger(1);
                t.FieldByName("RichtwirkungenH1").SetAsInteger(1);
            });
    }
    std::ofstream(Old() + "Riwi.abs") << "no library file";
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    int count = 0, duplicates = 0;
    editor.ImportV73(0, file, count, duplicates, false, false);
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(
        Logged("Unable to read directivity for element No. #1. File " + Old() + "Riwi3D.abs is missing"));
    EXPECT_TRUE(Logged("\"" + Old() + "Riwi.abs\" cannot be read"));
    EXPECT_TRUE(
        Logged("Unable to read directivity for element No. #2. File " + Old() + "Riwi.abs is missing"));
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*Element(editor, "Horn")).Directivity, 0);
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*Element(editor, "Bell")).Directivity, 0);
    EXPECT_FALSE(LibraryExists(kDirectivityLibType, f.Project()));
}

TEST_F(TableImportTest, FailedParadoxReadKeepsTheOlderTable) {
    const std::string dir = Old();
    std::ofstream(dir + "Emis.DB") << "this is no Paradox table";
    std::ofstream(dir + "Emis.abs") << "keep me";
    TFormLibX& editor = Open(kEmissionLibType, {f.Project()});
    f.Ui().ExpectMessage("", mrOk);
    int count = -1, duplicates = -1;
    EXPECT_EQ(editor.ImportV64(dir + "Emis.DB", count, duplicates), 2);
    std::ifstream in(dir + "Emis.abs");
    std::string text;
    std::getline(in, text);
    EXPECT_EQ(text, "keep me");
    EXPECT_FALSE(fs::exists(dir + "Emis.abs.part"));
}

} // namespace
} // namespace korvel::sound
