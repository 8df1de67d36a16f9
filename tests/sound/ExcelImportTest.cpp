// Spreadsheet and text-table import into the sound libraries, and export to a workbook that imports back
// into the same elements.

#include "TinyBitmap.h"
#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/LibKinds.h"
#include "platform/formats/Workbook.h"
#include "platform/image/Picture.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace nlohmann::literals;
namespace fs = std::filesystem;

// Keeps what the import command shows in its log window.
class TRecordingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool modal) override {
        ++Shown;
        for (const TLogEntry& e : Log().Entries())
            Lines.push_back(e.Text);
        TLibHost::ShowLog(modal);
    }
    int Shown = 0;
    std::vector<std::string> Lines;
};

class ExcelImportTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::string& folder) {
        auto& editor = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, libType)));
        editor.OpenLibType({folder}, 0, libType, true);
        return editor;
    }
    std::string Sheet(const std::string& name, const std::string& text) {
        test::WriteAll(f.Root() + name, text);
        return f.Root() + name;
    }
    // Runs the import command; the person presses OK in the mapping dialog, after the dialogs that the
    // import will show are announced.
    void Import(TFormLibX& editor, const std::string& file, const std::function<void()>& announce = {}) {
        f.Ui().ExpectModal("Import", [&announce](TForm& form) {
            if (announce)
                announce();
            EXPECT_TRUE(form.PressDefault());
            return mrNone;
        });
        editor.ImportFile(file);
    }
    // The element of that name as the library holds it.
    std::unique_ptr<TCustomLibSpectrum> Element(TFormLibX& editor, const std::string& name) {
        const int tab = editor.GetCurIndex();
        if (!editor.GotoElementName(tab, name))
            return nullptr;
        std::unique_ptr<TCustomLibSpectrum> s = CreateLibSpectrum(editor.LibType());
        s->ReadFromLibrary(*editor.GetMyTable(tab), TAddPropDefList(editor.LibType()));
        return s;
    }
    static char Weighting(const TCustomLibSpectrum& emission) {
        return dynamic_cast<const TEmisLibSpectrum&>(emission).dBX();
    }
    test::LibFolders f;
    TRecordingHost host{f.Ui()};
};

TEST_F(ExcelImportTest, ConvertersTurnCellTextsIntoFieldValues) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    using TSetter = void (TFormLibX::*)(TFieldNameItem&, const std::string&);
    TFieldNameItem item;
    const auto check = [&](TSetter set, const char* caption,
                           const std::vector<std::pair<std::string, std::string>>& cellsAndValues) {
        item.Caption = caption;
        for (const auto& [cell, value] : cellsAndValues) {
            (editor.*set)(item, cell);
            EXPECT_EQ(item.Value, value) << caption << " " << cell;
        }
    };
    // A weighting in any spelling; Z or none is unweighted. Anything else takes the first choice and is
    // logged.
    check(&TFormLibX::SetWeightingValue, "Weighting",
          {{"dB(C)", "C"}, {" db(b) ", "B"}, {"dBD", "D"}, {"a", "A"}});
    check(&TFormLibX::SetWeightingValue, "Weighting", {{"dB", " "}, {"Z", " "}, {"dB(Z)", " "}, {"", " "}});
    check(&TFormLibX::SetWeightingValue, "Weighting", {{"dBX", "A"}, {"E", "A"}});
    // A reference by the start of a choice, an entry type by its text.
    check(&TFormLibX::SetReferenceValue, "Reference",
          {{"lw", "0"}, {"LW/M", "1"}, {" lp ", "2"}, {"Leq", "0"}});
    check(&TFormLibX::SetEntryTypeValue, "Entry type",
          {{"formula SPECTRUM", "2"}, {"Formula only", "3"}, {"Formula", "0"}});
    std::vector<std::string> logged;
    for (const TLogEntry& e : host.Log().Entries())
        logged.push_back(e.Text);
    EXPECT_EQ(logged, (std::vector<std::string>{
                          "Line 0, Field \"Weighting\": Value \"dBX\" not valid using default dB(A)",
                          "Line 0, Field \"Weighting\": Value \"E\" not valid using default dB(A)",
                          "Line 0, Field \"Reference\": Value \"Leq\" not valid using default Lw/unit"}));
    EXPECT_EQ(host.Log().ErrorCount(), 3);

    test::WriteAll(f.Root() + "pic.bmp", "x");
    item.Preset = f.Root();
    editor.SetBitMapFileName(item, "pic.bmp");
    EXPECT_EQ(fs::path(item.Value), fs::path(f.Root() + "pic.bmp"));
    // The folder alone is no picture.
    check(&TFormLibX::SetBitMapFileName, "Bitmap file name", {{"missing.bmp", ""}, {"", ""}});
}

TEST_F(ExcelImportTest, RowsBecomeOctaveThirdOctaveOrSingleValueElementsWithWeightingUndone) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    const std::string file =
        Sheet("levels.csv", "Element name;31.5Hz;63Hz;100Hz;125Hz;Weighting;Reference;Group(1);Comment\n"
                            "Octave;80;75;;70,5;dB(A);lp;Pumps;first\n"
                            "Third;;60;62;;dB;;Pumps;\n"
                            "Single;;;;90;C;;;\n"
                            "NoBands;;;;;dB(A);;Fans;lost\n"
                            ";50;;;;;;;no name\n"
                            "Odd;;;;55;dBX;;;\n");
    Import(editor, file);

    ASSERT_EQ(host.Shown, 1);
    EXPECT_EQ(host.Lines, (std::vector<std::string>{
                              "Line 6, Field \"Weighting\": Value \"dBX\" not valid using default dB(A)",
                              "4 elements imported"}));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 4); // not "NoBands" nor the row without a name

    auto octave = Element(editor, "Octave");
    ASSERT_TRUE(octave);
    auto* e = dynamic_cast<TEmisLibSpectrum*>(octave.get());
    EXPECT_EQ(std::tuple(e->SpecType(), e->Bmin(), e->Bmax(), e->dBX(), e->EmisRef),
              std::tuple(TSpecType::Octave, 15, 21, 'A', TEmisRef::SoundPressure));
    // Stored unweighted (as 32-bit numbers): the weighted view gives the cells back.
    EXPECT_NEAR(e->GetdBXValue(15), 80.0, 1e-4);
    EXPECT_NEAR(e->GetdBXValue(21), 70.5, 1e-4);
    EXPECT_NEAR(e->GetValue(15), 80.0 - WeightingOffset('A', 15), 1e-4);
    EXPECT_TRUE(IsEmptyBandLevel(e->GetValue(20)));
    EXPECT_EQ(editor.GetMainTable(0)->FieldByName("Kommentar").AsString(), "first"); // Element() went there

    auto third = Element(editor, "Third");
    ASSERT_TRUE(third);
    EXPECT_EQ(std::tuple(third->SpecType(), third->Bmin(), third->Bmax(), Weighting(*third)),
              std::tuple(TSpecType::ThirdOctave, 18, 20, ' '));
    EXPECT_EQ(third->GetValue(20), 62.0);
    // One group made by the first row, reused by the second.
    EXPECT_NE(octave->Groups[0], 0);
    EXPECT_EQ(third->Groups[0], octave->Groups[0]);
    EXPECT_EQ(editor.ReadGrTableToStringList(0), (std::vector<std::string>{"Fans", "Pumps"}));

    auto single = Element(editor, "Single");
    ASSERT_TRUE(single);
    EXPECT_EQ(std::tuple(single->SpecType(), single->SingleValue(), Weighting(*single)),
              std::tuple(TSpecType::SingleValue, 90.0, 'C'));
    EXPECT_EQ(Weighting(*Element(editor, "Odd")), 'A');
    EXPECT_FALSE(host.HasLog()); // released after the command
}

TEST_F(ExcelImportTest, TransmissionRatingsAndPicturesComeFromTheirColumns) {
    TFormLibX& editor = Open(kTransmissionLibType, f.Project());
    test::WriteTinyBitmap(f.Root() + "door.bmp", 3, 2, 200);
    const std::string file = Sheet("trans.csv", "Element name,500Hz,1kHz,C,Ctr,Bitmap file name\n"
                                                "Door,30,35,-1.5,-4,door.bmp\n"
                                                "Window,25,28,-1,-3,nothere.bmp\n");
    Import(editor, file);
    EXPECT_EQ(host.Lines.back(), "2 elements imported");
    auto door = Element(editor, "Door");
    ASSERT_TRUE(door);
    const auto& rated = dynamic_cast<TTransLibSpectrum&>(*door);
    EXPECT_EQ(std::pair(rated.C, rated.Ctr), std::pair(-1.5, -4.0));
    EXPECT_FALSE(editor.GetMainTable(0)->FieldByName("Graphic").IsNull());
    ASSERT_TRUE(Element(editor, "Window"));
    EXPECT_TRUE(editor.GetMainTable(0)->FieldByName("Graphic").IsNull());
}

TEST_F(ExcelImportTest, NameConflictsFollowTheAnswerOnNamesAndGroupsCutToTheirFields) {
    const std::string stored = "Lüfter " + std::string(33, 'x'); // 40 characters, 41 bytes
    test::LibFolders::MakeLibrary(
        kAbsorptionLibType, f.Project(),
        {{{"ElementName", stored}}, {{"ElementName", "Floor"}}, {{"ElementName", "Roof"}}});
    TFormLibX& editor = Open(kAbsorptionLibType, f.Project());
    // Absorption tables were also saved under an older file name.
    EXPECT_TRUE(editor.GetImportFilter().starts_with("All import files (V7.3; *.xls?; *.txt)|Absor.abs; "
                                                     "Abso.abs; *.xls?; *.txt|Absorption library V7.3|"));
    // 45 characters; the 40th is two bytes long, so a cut by bytes would split it.
    const std::string group = std::string(39, 'g') + "ü-tail";
    const std::string file =
        Sheet("long.csv", "Element name;500Hz;1kHz;Group(1)\n" + stored + " one;0.5;0.5;" + group +
                              "\nCeiling;0.35;;\n" + stored + " two;0.6;0.6;" + group +
                              "\nFloor;0.1;0.2;\nRoof;0.9;0.9;\nOther;0.7;0.7;" + group + "\n");
    // Both long names are cut to the stored one; after "skip all" Floor and Roof are skipped without asking.
    Import(editor, file, [&] {
        f.Ui()
            .ExpectNameConflict(stored, TneAction::Overwrite)
            .ExpectNameConflict(stored, TneAction::SkipAll);
    });
    EXPECT_EQ(host.Lines.back(), "3 elements imported, 3 element names are duplicate");
    std::vector<std::string> asked;
    for (const TShownDialog& d : f.Ui().Shown())
        if (d.Kind == TDialogKind::NameConflict)
            asked.push_back(d.Text);
    EXPECT_EQ(asked, (std::vector<std::string>{stored, stored}));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 5);
    EXPECT_NEAR(Element(editor, stored)->GetValue(27), 0.5, 1e-6);
    // One band of a kind without single values is a one-band spectrum.
    const auto ceiling = Element(editor, "Ceiling");
    EXPECT_EQ(std::tuple(ceiling->SpecType(), ceiling->Bmin(), ceiling->Bmax()),
              std::tuple(TSpecType::ThirdOctave, 27, 27));
    EXPECT_NEAR(ceiling->GetValue(27), 0.35, 1e-6);
    EXPECT_EQ(editor.CBSpecType().ItemIndex(), static_cast<int>(TSpecType::ThirdOctave));
    for (const char* skipped : {"Roof", "Floor"})
        EXPECT_TRUE(IsEmptyBandLevel(Element(editor, skipped)->GetValue(27))) << skipped;

    const std::string groupStored = std::string(39, 'g') + "ü";
    EXPECT_EQ(editor.ReadGrTableToStringList(0), std::vector<std::string>{groupStored});
    const int number = editor.GetGroupNo(0, groupStored);
    EXPECT_NE(number, 0);
    EXPECT_EQ(std::pair(Element(editor, stored)->Groups[0], Element(editor, "Other")->Groups[0]),
              std::pair(number, number));
}

class ExportTest : public ExcelImportTest {
protected:
    void Add(TFormLibX& editor, const nlohmann::json& element) { AddElement(editor, element); }
    formats::TSheet Export(TFormLibX& editor, const std::string& file) {
        editor.ExportToExcel(file);
        formats::TWorkbook book = formats::ReadXlsx(file);
        EXPECT_EQ(book.Sheets.size(), 1u);
        return book.Sheets.at(0);
    }
    static std::vector<std::string> Row(const formats::TSheet& sheet, std::size_t row, std::size_t from,
                                        std::size_t count) {
        std::vector<std::string> cells;
        for (std::size_t c = from; c < from + count; ++c)
            cells.push_back(sheet.Cell(row, c));
        return cells;
    }
};

TEST_F(ExportTest, EmissionRowsHoldWeightedLevelsFormulaRowsStayEmptyPicturesGoBesideTheWorkbook) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    Add(editor, R"({"name": "Fan", "bandType": 1, "bmin": 21, "bmax": 27, "weighting": "A", "reference": 2,
                    "heightAboveGround": 1.5, "groups": ["Pumps"], "comment": "roof",
                    "values": {"21": 80.0, "24": 75.0, "27": 70.0}})"_json);
    const TEmisLibSpectrum fan = *editor.Emission();
    Add(editor,
        R"({"name": "Level formula", "entryType": 1, "bmin": 21, "bmax": 21, "values": {"21": 1}})"_json);
    Add(editor,
        R"({"name": "Band formula", "entryType": 2, "bmin": 21, "bmax": 21, "values": {"21": 1}})"_json);
    Add(editor, R"({"name": "Single", "bandType": 2, "sum": 90.0, "weighting": ""})"_json);
    test::WriteTinyBitmap(f.Root() + "p.bmp", 3, 2, 200);
    db::TTable& table = *editor.GetMainTable(0);
    table.Edit();
    table.FieldByName("Graphic").SetAsBytes(LoadPictureFile(f.Root() + "p.bmp", 200));
    table.Post();
    const int singleNo = table.FieldByName("Eintrag").AsInteger();

    fs::create_directories(f.Root() + "out");
    const std::string file = f.Root() + "out/emission.xlsx";
    const formats::TSheet sheet = Export(editor, file);
    // The element shown before the export is shown after it.
    EXPECT_EQ(editor.GetElementName(0), "Single");

    EXPECT_EQ(Row(sheet, 0, 0, 2), (std::vector<std::string>{"Element name", "1Hz"}));
    EXPECT_EQ(Row(sheet, 0, 16, 1), (std::vector<std::string>{"31.5Hz"}));
    EXPECT_EQ(Row(sheet, 0, 44, 14),
              (std::vector<std::string>{"20kHz", "Comment", "Weighting", "Reference", "HeightAboveGround",
                                        "Sigma", "Sum", "DI", "Entry Type", "Group(1)", "Group(2)",
                                        "Group(3)", "Group(4)", "Bitmap file name"}));

    EXPECT_EQ(sheet.Cell(1, 0), "Fan");
    // Bands 21, 24 and 27 in columns 22, 25 and 28, as weighted levels; the bands between stay empty.
    for (int band : {21, 24, 27}) {
        ASSERT_FALSE(sheet.Cell(1, band + 1).empty()) << band;
        EXPECT_NEAR(std::stod(sheet.Cell(1, band + 1)), fan.GetdBXValue(band), 1e-4) << band;
        EXPECT_NE(fan.GetdBXValue(band), fan.GetValue(band));
    }
    EXPECT_EQ(sheet.Cell(1, 20) + sheet.Cell(1, 21) + sheet.Cell(1, 23) + sheet.Cell(1, 24), "");
    EXPECT_EQ(Row(sheet, 1, 45, 5), (std::vector<std::string>{"roof", "A", "Lp level", "1.5", ""}));
    EXPECT_NEAR(std::stod(sheet.Cell(1, 50)), fan.GetdBXValueSum(), 1e-4);
    EXPECT_EQ(Row(sheet, 1, 51, 3), (std::vector<std::string>{"", "Spectrum", "Pumps"}));

    // The reader stores no empty cell.
    EXPECT_TRUE(sheet.Rows.at(2).empty() && sheet.Rows.at(3).empty());

    // A single value sits in its band's column and in the sum; no weighting reads back as Z.
    const std::string picture = std::to_string(singleNo) + ".bmp";
    EXPECT_EQ(std::tuple(sheet.Cell(4, 0), sheet.Cell(4, 16), sheet.Cell(4, 46), sheet.Cell(4, 50),
                         sheet.Cell(4, 57)),
              std::tuple("Single", "90", "Z", "90", picture));
    const std::string bytes = test::ReadAll(f.Root() + "out/" + picture);
    EXPECT_TRUE(bytes.starts_with("BM"));
    EXPECT_EQ(ImageSizeOf({bytes.begin(), bytes.end()}), (TImageSize{3, 2}));
    EXPECT_FALSE(fs::exists(file + ".tmp"));
}

TEST_F(ExportTest, TransmissionAndAbsorptionColumns) {
    TFormLibX& trans = Open(kTransmissionLibType, f.Project());
    Add(trans, R"({"name": "Wall", "bmin": 16, "bmax": 40, "groups": ["", "Heavy"],
                   "values": {"16": 20, "20": 30, "24": 35, "28": 40, "32": 45, "36": 50, "40": 55}})"_json);
    // Copied: the export shows the elements again, each in a new spectrum object.
    const TTransLibSpectrum t = *trans.Transmission();
    const formats::TSheet sheet = Export(trans, f.Root() + "trans.xlsx");
    EXPECT_EQ(Row(sheet, 0, 45, 9),
              (std::vector<std::string>{"Comment", "C", "Ctr", "Rw", "Group(1)", "Group(2)", "Group(3)",
                                        "Group(4)", "Bitmap file name"}));
    EXPECT_EQ(sheet.Cell(1, 21), "30");
    for (const auto& [column, rating] : {std::pair{46, t.C}, {47, t.Ctr}, {48, t.Rw}})
        EXPECT_NEAR(std::stod(sheet.Cell(1, column)), rating, 1e-4) << column;
    EXPECT_EQ(Row(sheet, 1, 49, 2), (std::vector<std::string>{"", "Heavy"}));

    TFormLibX& abso = Open(kAbsorptionLibType, f.Project());
    Add(abso, R"({"name": "Foam", "bmin": 27, "bmax": 30, "values": {"27": 0.5, "30": 0.75}})"_json);
    const formats::TSheet absoSheet = Export(abso, f.Root() + "abso.xlsx");
    EXPECT_EQ(Row(absoSheet, 0, 45, 6),
              (std::vector<std::string>{"Comment", "Group(1)", "Group(2)", "Group(3)", "Group(4)",
                                        "Bitmap file name"}));
    EXPECT_EQ(Row(absoSheet, 1, 28, 4), (std::vector<std::string>{"0.5", "", "", "0.75"}));
}

TEST_F(ExportTest, ExportedWorkbookImportsBackIntoTheSameElements) {
    TFormLibX& source = Open(kEmissionLibType, f.Project());
    Add(source,
        R"({"name": "Compressor", "bmin": 20, "bmax": 24, "weighting": "C", "reference": 1, "sigma": 2.5,
                    "groups": ["Outdoor", "", "Loud"],
                    "values": {"20": 70.25, "21": 72, "22": 74, "23": 73, "24": 71}})"_json);
    const std::string file = f.Root() + "round.xlsx";
    source.ExportToExcel(file);

    TFormLibX& target = Open(kEmissionLibType, f.Project2());
    Import(target, file);
    ASSERT_EQ(target.GetMainTable(0)->RecordCount(), 1);
    TEmisLibSpectrum* a = source.Emission();
    TEmisLibSpectrum* b = target.Emission();
    EXPECT_EQ(std::tuple(b->SpecType(), b->Bmin(), b->Bmax(), b->dBX(), b->EmisRef, b->Sigma),
              std::tuple(TSpecType::ThirdOctave, 20, 24, 'C', TEmisRef::PerLengthOrArea, 2.5));
    for (int band = 20; band <= 24; ++band)
        EXPECT_NEAR(b->GetValue(band), a->GetValue(band), 1e-4) << band;
    EXPECT_EQ(std::tuple(target.GroupName(0, b->Groups[0]), b->Groups[1], target.GroupName(0, b->Groups[2])),
              std::tuple("Outdoor", 0, "Loud"));
}

TEST_F(ExportTest, MenuCommandAsksForTheFileAndAFailedExportLeavesNothing) {
    TFormLibX& editor = Open(kAttenuationLibType, f.Project());
    Add(editor, R"({"name": "Muffler", "bmin": 30, "bmax": 30, "values": {"30": 12}})"_json);
    TMenuItem* item = editor.FindMenuItem("ExcelExport1");
    ASSERT_NE(item, nullptr);
    const std::string file = f.Root() + "menu.xlsx";
    f.Ui().ExpectSave("Export", fs::path(file));
    item->Click();
    EXPECT_EQ(formats::ReadXlsx(file).Sheets.at(0).Cell(1, 0), "Muffler");

    const std::string missing = f.Root() + "nowhere/atten.xlsx";
    EXPECT_THROW(editor.ExportToExcel(missing), EKorvelError);
    EXPECT_FALSE(fs::exists(f.Root() + "nowhere"));
}

} // namespace
} // namespace korvel::sound
