// Imports of the directivity editor: the DOS file RIWIS.DAT, the older tables Riwi.abs and Riwi3D.abs (also
// as the update of an empty library), and spreadsheet rows completed by the mirror rules.

#include "directivity/FormRiwiX.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/Blob.h"
#include "platform/db/Database.h"
#include "platform/db/Restructure.h"
#include "service/LibService.h"
#include "sound/UpdateFixtures.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/LibFolders.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace korvel::directivity {
namespace {

using namespace acoustic;
using namespace sound::test;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

// 36 values 10..360 degrees: base + the angle index (1..36) / 10, so each angle is told apart.
std::vector<float> Ramp(float base) {
    std::vector<float> v(36);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = base + static_cast<float>(i + 1) / 10.0f;
    return v;
}

// Keeps every log entry, also those of logs the import command frees when it ends.
class TRecordingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    const std::vector<TLogEntry>& Entries() {
        if (HasLog())
            Take(Log());
        return entries_;
    }

protected:
    void LogFreeing(TLog& log) override {
        Take(log);
        seen_ = 0;
    }

private:
    void Take(const TLog& log) {
        for (; seen_ < log.Entries().size(); ++seen_)
            entries_.push_back(log.Entries()[seen_]);
    }
    std::vector<TLogEntry> entries_;
    std::size_t seen_ = 0;
};

class RiwiImportTest : public ::testing::Test {
protected:
    RiwiImportTest() { f.Ui().SetAnswerInformation(true); }

    TFormRiwiX& Open(const std::string& folder) {
        auto& editor = dynamic_cast<TFormRiwiX&>(host.Adopt(CreateLib(host, kDirectivityLibType)));
        editor.OpenFiles({folder}, 0, true, true);
        return editor;
    }
    std::string Folder(const std::string& name) {
        fs::create_directories(f.Root() + name);
        return f.Root() + name + "/";
    }
    // The directivity of that name, its record made current.
    TDirectivity Dir(TFormRiwiX& editor, const std::string& name) {
        TDirectivity d;
        db::TTable& t = *editor.GetMainTable(editor.GetCurIndex());
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        d.ReadFromLibrary(t);
        return d;
    }
    // Every element as "#number name", in number order.
    std::vector<std::string> Elements(TFormRiwiX& editor) {
        db::TTable& t = *editor.GetMainTable(editor.GetCurIndex());
        t.SetIndexName("p");
        std::vector<std::string> all;
        for (t.First(); !t.Eof(); t.Next())
            all.push_back("#" + t.FieldByName("Eintrag").AsString() + " " +
                          t.FieldByName("ElementName").AsString());
        return all;
    }
    std::vector<std::string> LogTexts() {
        std::vector<std::string> texts;
        for (const TLogEntry& e : host.Entries())
            texts.push_back(e.Text);
        return texts;
    }
    // Cuts of the older 2D table: name, number, step and values.
    void Riwi(const std::string& file,
              const std::vector<std::tuple<std::string, int, int, std::vector<float>>>& cuts) {
        std::vector<TRow> rows;
        for (const auto& [name, number, step, values] : cuts)
            rows.push_back({{"Eintrag", Int(number)},
                            {"ElementName", Text(name)},
                            {"Kommentar", Text("about " + name)},
                            {"Step", Int(step)},
                            {"Werte", FloatsToBlob(values)}});
        MakeTableFile(file, sound::LegacyRiwiTableDef(), rows);
    }
    void Riwi3D(const std::string& file, const std::vector<std::pair<std::string, float>>& grids) {
        std::vector<TRow> rows;
        for (const auto& [name, value] : grids)
            rows.push_back({{"ElementName", Text(name)},
                            {"StepH", Int(90)},
                            {"StepV", Int(90)},
                            {"Werte", FloatsToBlob(std::vector<float>(12, value))}});
        MakeTableFile(file, sound::LegacyRiwi3DTableDef(), rows);
    }
    // Runs the import command; the person presses OK in the mapping dialog.
    void ImportSheet(TFormRiwiX& editor, const std::string& file,
                     const std::function<void()>& announce = {}) {
        f.Ui().ExpectModal("Import", [&announce](TForm& form) {
            if (announce)
                announce();
            EXPECT_TRUE(form.PressDefault());
            return mrNone;
        });
        editor.ImportFile(file);
    }

    test::LibFolders f;
    TRecordingHost host{f.Ui()};
};

// --- DOS file

TEST_F(RiwiImportTest, RiwisRecordsBecomeHorizontalDirectivitiesAndADamagedFileKeepsWhatCameBefore) {
    const TBlob box = test::RiwisBytes("  M\x81hle  ", Ramp(-10.0f), 7); // "Mühle" in code page 850
    const TBlob flat = test::RiwisBytes("Flat", std::vector<float>(36, 0.0f));
    std::vector<float> nan = Ramp(0);
    nan[4] = std::numeric_limits<float>::quiet_NaN();
    const TBlob two = test::Join({box, flat});
    const std::vector<std::tuple<std::string, TBlob, std::vector<std::string>, std::string>> cases = {
        {"354", two, {"#1 Mühle", "#2 Flat"}, ""},
        {"300", TBlob(two.begin(), two.begin() + 300), {"#1 Mühle"}, ""},
        {"176", TBlob(two.begin(), two.begin() + 176), {}, ""},
        {"nan",
         test::Join({box, test::RiwisBytes("Broken", nan), flat}),
         {"#1 Mühle"},
         "Record 2 of \"" + f.Root() +
             "nan/RIWIS.DAT\": value 5 (50 degrees) of the directivity \"Broken\" is no "
             "number"}};
    TFormRiwiX* first = nullptr;
    for (const auto& [name, bytes, elements, error] : cases) {
        SCOPED_TRACE(name);
        test::WriteAll(Folder(name) + "RIWIS.DAT", bytes);
        TFormRiwiX& editor = Open(Folder(name + "lib"));
        if (!error.empty())
            f.Ui().ExpectMessage(mtError, "Error in import: " + error, mrOk);
        editor.ImportFile(Folder(name) + "RIWIS.DAT");
        EXPECT_EQ(Elements(editor), elements);
        EXPECT_EQ(f.Ui().Messages().back(), std::to_string(elements.size()) + " elements imported");
        first = first ? first : &editor;
    }
    // Only a part of a record is reported, naming the file.
    EXPECT_THAT(LogTexts(), testing::Contains(HasSubstr("300/RIWIS.DAT\" ends with 123 bytes")));

    const TDirectivity d = Dir(*first, "Mühle");
    EXPECT_EQ(std::tuple(d.DirType(), d.SpecType(), d.GetBmin(), d.StepH(), d.PhiCount()),
              std::tuple(TDirType::Horizontal, TSpecType::SingleValue, 27, 10, 36));
    EXPECT_FLOAT_EQ(d.Value(0, 0, 0), -10.0f + 3.6f); // 360 degrees
    EXPECT_FLOAT_EQ(d.Value(0, 0, 1), -10.0f + 0.1f); // 10 degrees
    EXPECT_FLOAT_EQ(d.Value(0, 0, 35), -10.0f + 3.5f);
    EXPECT_NEAR(d.GetItem(0).dLtot, -8.1, 0.1); // computed, not left 0
    // The same file again: every name is there already.
    first->ImportFile(Folder("354") + "RIWIS.DAT");
    EXPECT_EQ(f.Ui().Messages().back(), "0 elements imported, 2 element names are duplicate");
}

// --- older tables

TEST_F(RiwiImportTest, OlderTablesGiveHorizontalOr3DElementsAndLeaveNamesTakenAndDamagedRecordsOut) {
    const std::string old = Folder("old");
    Riwi(old + "Riwi.abs", {{"Cut", 3, 10, Ramp(-5)},
                            {"cone", 4, 90, {1, 2, 3, 4}},
                            {"Short", 5, 10, {1, 2}},
                            {"Other", 9, 30, std::vector<float>(12, -1.0f)}});
    Riwi3D(old + "Riwi3D.abs", {{"Ball", 1.5f}, {"CUT", 0.0f}});
    TFormRiwiX& editor = Open(f.Project());
    int count = -1, duplicates = -1;

    editor.ImportFile(old + "Riwi.abs");
    EXPECT_THAT(Elements(editor), ElementsAre("#1 Cut", "#2 cone", "#3 Other"));
    EXPECT_EQ(f.Ui().Messages().back(), "3 elements imported");
    const TDirectivity cut = Dir(editor, "Cut");
    EXPECT_EQ(std::tuple(cut.DirType(), cut.SpecType(), cut.StepH()),
              std::tuple(TDirType::Horizontal, TSpecType::SingleValue, 10));
    EXPECT_FLOAT_EQ(cut.Value(0, 0, 1), -5.0f + 0.2f); // the table's first value is at 0 degrees
    EXPECT_EQ(editor.GetMainTable(0)->FieldByName("Kommentar").AsString(), "about Cut");
    EXPECT_EQ(Dir(editor, "Other").StepH(), 30);

    editor.ImportV73(0, old + "Riwi3D.abs", count, duplicates, false);
    EXPECT_EQ(std::pair(count, duplicates), std::pair(1, 1)); // "CUT" is "Cut", ignoring case
    const TDirectivity ball = Dir(editor, "Ball");
    EXPECT_EQ(std::tuple(ball.DirType(), ball.SpecType(), ball.GetBmin(), ball.ThetaCount()),
              std::tuple(TDirType::Full3D, TSpecType::SingleValue, 27, 3));
    EXPECT_FLOAT_EQ(ball.Value(0, 2, 3), 1.5f);
    EXPECT_EQ(ball.GetItem(0).dLtot, 1.5);

    const std::vector<std::string> log = LogTexts();
    EXPECT_EQ(log.front(), "Import of \"" + old + "Riwi.abs\"");
    EXPECT_THAT(log, testing::Contains("Element \"Cut\", #3 imported"));
    EXPECT_THAT(log, testing::Contains(HasSubstr("\"Short\" (#5) of table \"Riwi\" is damaged")));
    EXPECT_THAT(log, testing::Contains("Import of \"" + old + "Riwi3D.abs\""));
}

TEST_F(RiwiImportTest, KeepNumbersFollowsTheSourceWithItsGapsAndGivesUpWhenTheTargetIsAhead) {
    const std::string old = Folder("old");
    Riwi(old + "Riwi.abs", {{"A", 3, 10, Ramp(0)}, {"B", 7, 10, Ramp(0)}, {"C", 8, 10, Ramp(0)}});
    TFormRiwiX& editor = Open(f.Project());
    int count = 0, duplicates = 0;
    editor.ImportV73(0, old + "Riwi.abs", count, duplicates, true);
    EXPECT_THAT(Elements(editor), ElementsAre("#3 A", "#7 B", "#8 C"));

    // A library that used number 7 already cannot give 3 or 7 again: the import keeps the numbers it gets
    // and ends.
    TFormRiwiX& ahead = Open(Folder("ahead"));
    db::TTable& t = *ahead.GetMainTable(0);
    t.Database()->RaiseNextAutoIncValue(t.TableName(), 7);
    ahead.ImportV73(0, old + "Riwi.abs", count, duplicates, true);
    EXPECT_EQ(count, 3);
    EXPECT_THAT(Elements(ahead), ElementsAre("#7 A", "#8 B", "#9 C"));
    EXPECT_THAT(LogTexts(),
                testing::Contains(
                    "Element \"A\" has number #7 instead of #3: the library already uses higher numbers"));
    EXPECT_THAT(LogTexts(), testing::Contains("Element \"C\", #8 imported"));
}

TEST_F(RiwiImportTest,
       OpeningAnEmptyLibraryTakesRiwiAbsOverButNotRiwi3DLeavesFilledOnesAloneAndRetriesAFailure) {
    Riwi(f.Global() + "Riwi.abs", {{"Kept", 4, 10, Ramp(0)}, {"Gap", 9, 10, Ramp(1)}});
    Riwi3D(f.Global() + "Riwi3D.abs", {{"Ball", 1.0f}});
    // An older library in the project: it holds an element, and lacks the fields the spreadsheet import adds.
    test::LibFolders::MakeLibrary(kDirectivityLibType, f.Project(), {{{"ElementName", "Mine"}}});
    {
        TMyTable lib(TableNames(kDirectivityLibType));
        lib.InitLibX(f.Project(), LibName(kDirectivityLibType), TableNames(kDirectivityLibType), false, true);
        lib.Open();
        lib.GetTable()->Close();
        EXPECT_EQ(lib.Database().Restructure(lib.GetTable()->TableName(),
                                             db::TRestructure().DropField("Komplett").DropField("Values0")),
                  std::nullopt);
        lib.Close();
    }
    Riwi(f.Project() + "Riwi.abs", {{"Not taken", 1, 10, Ramp(0)}});
    // A failed update leaves its library empty, so that the next opening tries again.
    test::WriteAll(f.Project2() + "Riwi.abs", "no table file");

    auto& editor = dynamic_cast<TFormRiwiX&>(host.Adopt(CreateLib(host, kDirectivityLibType)));
    editor.OpenFiles({f.Global(), f.Project(), f.Project2()}, 2, true, true);
    EXPECT_THAT(LogTexts(), ElementsAre("Updating library \"" + f.Global() + "Riwi.abs\"",
                                        "Import of \"" + f.Global() + "Riwi.abs\"",
                                        "Element \"Kept\", #4 imported", "Element \"Gap\", #9 imported",
                                        "Updating library \"" + f.Project2() + "Riwi.abs\"",
                                        "Import of \"" + f.Project2() + "Riwi.abs\"",
                                        HasSubstr("Error while updating ")));
    EXPECT_TRUE(editor.GetMainTable(2)->IsEmpty());
    editor.TabLibs().SetTabIndex(0);
    EXPECT_THAT(Elements(editor), ElementsAre("#4 Kept", "#9 Gap"));
    editor.TabLibs().SetTabIndex(1);
    EXPECT_THAT(Elements(editor), ElementsAre("#1 Mine"));
    EXPECT_TRUE(editor.GetMainTable(1)->FindField("Komplett") &&
                editor.GetMainTable(1)->FindField("Values0"));
}

// --- spreadsheets

TEST_F(RiwiImportTest, FrequencyCellsBecomeTheTextOfTheirThirdOctaveBand) {
    TFormRiwiX& editor = Open(f.Project());
    TFieldNameItem item;
    const std::vector<std::pair<std::string, std::string>> cells = {
        {"1k", "1k Hz"},      {"1,25 kHz", "1.25k Hz"},
        {"500 Hz", "500 Hz"}, {"1000", "1k Hz"},
        {"990", "1k Hz"},     {"2.5", ""},
        {"abc", ""},          {"0", ""},
        {"50k", ""}};
    for (const auto& [cell, text] : cells) {
        SCOPED_TRACE(cell);
        editor.SetFreqValue(item, cell);
        EXPECT_EQ(item.Value, text);
    }
}

TEST_F(RiwiImportTest, SpreadsheetRowsAreMirroredCheckedForCompletenessAndStoredAsDirectivities) {
    std::string header = "Element name;Freq;Comment";
    for (int i = 1; i <= 36; ++i)
        header += ";" + std::to_string(i * 10) + " [deg]";
    // Cells by angle index 1..36; the rest of the row stays empty.
    auto row = [](const std::string& lead, const std::vector<std::pair<int, std::string>>& cells) {
        std::vector<std::string> v(36);
        for (const auto& [i, text] : cells)
            v[static_cast<std::size_t>(i - 1)] = text;
        std::string line = lead;
        for (const std::string& c : v)
            line += ";" + c;
        return line;
    };
    std::vector<std::pair<int, std::string>> quarter, full, three;
    for (int i = 1; i <= 9; ++i)
        quarter.emplace_back(i, std::to_string(-i));
    for (int i = 1; i <= 36; ++i)
        full.emplace_back(i, i == 36 ? "-3,5" : std::to_string(i % 7 - 6));
    three = {{9, "-1"}, {18, "-2"}, {36, "-199"}}; // 270 degrees by mirroring
    const std::string file = f.Root() + "rows.csv";
    test::WriteAll(file, header + "\n" + row("Quarter;;mirrored", quarter) + "\n" + row("Box;1k;", full) +
                             "\n" + row("Three;;", three) + "\n" + row("Bad;;", {{5, "x"}}) + "\n" +
                             row(";;", full) + "\n");
    TFormRiwiX& editor = Open(f.Project());
    ImportSheet(editor, file);
    EXPECT_EQ(f.Ui().Messages().back(), "3 elements imported");
    EXPECT_THAT(Elements(editor), ElementsAre("#1 Quarter", "#2 Box 1k Hz", "#3 Three"));

    db::TTable& t = *editor.GetMainTable(0);
    // 10..90 given: 100..170 from 80..10, 190..350 from 170..10; 180 and 360 stay missing.
    const TDirectivity q = Dir(editor, "Quarter");
    EXPECT_EQ(std::tuple(t.FieldByName("Komplett").AsBoolean(), t.FieldByName("Values0").AsFloat(),
                         t.FieldByName("Kommentar").AsString()),
              std::tuple(false, -199.0, std::string("mirrored")));
    EXPECT_EQ(q.Samples.size(), 34u);
    for (const auto& [col, value] :
         {std::pair(9, -9.0), {10, -8.0}, {17, -1.0}, {19, -1.0}, {27, -9.0}, {35, -1.0}}) {
        SCOPED_TRACE(col * 10);
        EXPECT_EQ(q.Value(0, 0, col), value);
    }
    EXPECT_TRUE(std::none_of(q.Samples.begin(), q.Samples.end(),
                             [](const TSampleItem& s) { return s.Phi() == 0.0 || s.Phi() == 180.0; }));
    // The missing angles are interpolated between their neighbours.
    EXPECT_GT(q.Value(0, 0, 18), -2.0);
    EXPECT_LT(q.Value(0, 0, 18), 0.0);

    // Complete: the mean is energetic, and 360 degrees is the grid's first column.
    const TDirectivity box = Dir(editor, "Box 1k Hz");
    double sum = 0;
    for (const auto& [i, text] : full)
        sum += std::pow(10.0, (i == 36 ? -3.5 : i % 7 - 6) / 10.0);
    EXPECT_EQ(t.FieldByName("Komplett").AsBoolean(), true);
    EXPECT_NEAR(t.FieldByName("Values0").AsFloat(), 10 * std::log10(sum / 36), 1e-9);
    EXPECT_EQ(std::pair(box.Value(0, 0, 0), box.Value(0, 0, 1)), std::pair(-3.5, -5.0));
    EXPECT_NEAR(box.GetItem(0).dLtot, t.FieldByName("Values0").AsFloat(), 1e-5);

    // -199 is no value; three samples are too few to interpolate, the rest stays 0 dB.
    const TDirectivity few = Dir(editor, "Three");
    EXPECT_EQ(few.Samples.size(), 3u);
    EXPECT_EQ(std::tuple(few.Value(0, 0, 9), few.Value(0, 0, 18), few.Value(0, 0, 27), few.Value(0, 0, 0),
                         few.Value(0, 0, 5)),
              std::tuple(-1.0, -2.0, -1.0, 0.0, 0.0));
    EXPECT_THAT(LogTexts(), testing::Contains(HasSubstr("Field \"50 [deg]\": \"x\" is not a number")));

    // Imported again, every name is found as stored (with the frequency) and skipped.
    ImportSheet(editor, file, [this] { f.Ui().ExpectNameConflict("Quarter", TneAction::SkipAll); });
    EXPECT_EQ(f.Ui().Messages().back(), "0 elements imported, 3 element names are duplicate");
}

} // namespace
} // namespace korvel::directivity
