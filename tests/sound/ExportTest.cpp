// Export of the sound libraries to a workbook: columns and headings per kind, weighted levels, formula
// entries, pictures beside the workbook, and a workbook that imports back into the same elements.

#include "TinyBitmap.h"
#include "platform/Errors.h"
#include "platform/formats/Workbook.h"
#include "platform/image/Picture.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::sound {
namespace {

using namespace acoustic;
using nlohmann::json;
namespace fs = std::filesystem;

class ExportTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::string& folder) { return OpenSoundEditor(f, libType, {folder}); }
    void Add(TFormLibX& editor, const json& element) { AddElement(editor, element); }
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
    static bool RowEmpty(const formats::TSheet& sheet, std::size_t row) {
        for (std::size_t c = 0; c < 64; ++c)
            if (!sheet.Cell(row, c).empty())
                return false;
        return true;
    }
    test::LibFolders f;
};

TEST_F(ExportTest, EmissionRowsHoldWeightedLevelsFormulaRowsStayEmptyPicturesGoBesideTheWorkbook) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    Add(editor, {{"name", "Fan"},
                 {"bandType", 1},
                 {"bmin", 21},
                 {"bmax", 27},
                 {"weighting", "A"},
                 {"reference", 2},
                 {"heightAboveGround", 1.5},
                 {"groups", {"Pumps"}},
                 {"comment", "roof"},
                 {"values", {{"21", 80.0}, {"24", 75.0}, {"27", 70.0}}}});
    const TEmisLibSpectrum fan = *editor.Emission();
    Add(editor,
        {{"name", "Level formula"}, {"entryType", 1}, {"bmin", 21}, {"bmax", 21}, {"values", {{"21", 1}}}});
    Add(editor,
        {{"name", "Band formula"}, {"entryType", 2}, {"bmin", 21}, {"bmax", 21}, {"values", {{"21", 1}}}});
    Add(editor, {{"name", "Single"}, {"bandType", 2}, {"sum", 90.0}, {"weighting", ""}});
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
    EXPECT_EQ(Row(sheet, 1, 20, 2), (std::vector<std::string>{"", ""}));
    EXPECT_EQ(Row(sheet, 1, 23, 2), (std::vector<std::string>{"", ""}));
    EXPECT_EQ(Row(sheet, 1, 45, 5), (std::vector<std::string>{"roof", "A", "Lp level", "1.5", ""}));
    EXPECT_NEAR(std::stod(sheet.Cell(1, 50)), fan.GetdBXValueSum(), 1e-4);
    EXPECT_EQ(Row(sheet, 1, 51, 3), (std::vector<std::string>{"", "Spectrum", "Pumps"}));

    EXPECT_TRUE(RowEmpty(sheet, 2));
    EXPECT_TRUE(RowEmpty(sheet, 3));

    // A single value sits in its band's column and in the sum; no weighting reads back as Z.
    EXPECT_EQ(sheet.Cell(4, 0), "Single");
    EXPECT_EQ(sheet.Cell(4, 16), "90");
    EXPECT_EQ(sheet.Cell(4, 46), "Z");
    EXPECT_EQ(sheet.Cell(4, 50), "90");
    const std::string picture = std::to_string(singleNo) + ".bmp";
    EXPECT_EQ(sheet.Cell(4, 57), picture);
    std::ifstream in(f.Root() + "out/" + picture, std::ios::binary);
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    ASSERT_GT(bytes.size(), 2u);
    EXPECT_EQ(bytes[0], 'B');
    EXPECT_EQ(bytes[1], 'M');
    EXPECT_EQ(ImageSizeOf(bytes), (TImageSize{3, 2}));
    EXPECT_FALSE(fs::exists(file + ".tmp"));
}

TEST_F(ExportTest, TransmissionAndAbsorptionColumns) {
    TFormLibX& trans = Open(kTransmissionLibType, f.Project());
    Add(trans,
        {{"name", "Wall"},
         {"bmin", 16},
         {"bmax", 40},
         {"groups", {"", "Heavy"}},
         {"values", {{"16", 20}, {"20", 30}, {"24", 35}, {"28", 40}, {"32", 45}, {"36", 50}, {"40", 55}}}});
    // Copied: the export shows the elements again, each in a new spectrum object.
    const TTransLibSpectrum t = *trans.Transmission();
    const formats::TSheet sheet = Export(trans, f.Root() + "trans.xlsx");
    EXPECT_EQ(Row(sheet, 0, 45, 9),
              (std::vector<std::string>{"Comment", "C", "Ctr", "Rw", "Group(1)", "Group(2)", "Group(3)",
                                        "Group(4)", "Bitmap file name"}));
    EXPECT_EQ(sheet.Cell(1, 21), "30");
    EXPECT_NEAR(std::stod(sheet.Cell(1, 46)), t.C, 1e-4);
    EXPECT_NEAR(std::stod(sheet.Cell(1, 47)), t.Ctr, 1e-4);
    EXPECT_NEAR(std::stod(sheet.Cell(1, 48)), t.Rw, 1e-4);
    EXPECT_EQ(Row(sheet, 1, 49, 2), (std::vector<std::string>{"", "Heavy"}));

    TFormLibX& abso = Open(kAbsorptionLibType, f.Project());
    Add(abso, {{"name", "Foam"}, {"bmin", 27}, {"bmax", 30}, {"values", {{"27", 0.5}, {"30", 0.75}}}});
    const formats::TSheet absoSheet = Export(abso, f.Root() + "abso.xlsx");
    EXPECT_EQ(Row(absoSheet, 0, 45, 6),
              (std::vector<std::string>{"Comment", "Group(1)", "Group(2)", "Group(3)", "Group(4)",
                                        "Bitmap file name"}));
    EXPECT_EQ(Row(absoSheet, 1, 28, 4), (std::vector<std::string>{"0.5", "", "", "0.75"}));
}

TEST_F(ExportTest, ExportedWorkbookImportsBackIntoTheSameElements) {
    TFormLibX& source = Open(kEmissionLibType, f.Project());
    Add(source, {{"name", "Compressor"},
                 {"bmin", 20},
                 {"bmax", 24},
                 {"weighting", "C"},
                 {"reference", 1},
                 {"sigma", 2.5},
                 {"groups", {"Outdoor", "", "Loud"}},
                 {"values", {{"20", 70.25}, {"21", 72}, {"22", 74}, {"23", 73}, {"24", 71}}}});
    const std::string file = f.Root() + "round.xlsx";
    source.ExportToExcel(file);

    TFormLibX& target = Open(kEmissionLibType, f.Project2());
    f.Ui().ExpectModal("Import", [](TForm& form) {
        EXPECT_TRUE(form.PressDefault());
        return mrNone;
    });
    target.ImportFile(file);
    ASSERT_EQ(target.GetMainTable(0)->RecordCount(), 1);
    TEmisLibSpectrum* a = source.Emission();
    TEmisLibSpectrum* b = target.Emission();
    EXPECT_EQ(b->SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(b->Bmin(), 20);
    EXPECT_EQ(b->Bmax(), 24);
    EXPECT_EQ(b->dBX(), 'C');
    EXPECT_EQ(b->EmisRef, TEmisRef::PerLengthOrArea);
    EXPECT_EQ(b->Sigma, 2.5);
    for (int band = 20; band <= 24; ++band)
        EXPECT_NEAR(b->GetValue(band), a->GetValue(band), 1e-4) << band;
    EXPECT_EQ(target.GroupName(0, b->Groups[0]), "Outdoor");
    EXPECT_EQ(b->Groups[1], 0);
    EXPECT_EQ(target.GroupName(0, b->Groups[2]), "Loud");
}

TEST_F(ExportTest, MenuCommandAsksForTheFileAndAFailedExportLeavesNothing) {
    TFormLibX& editor = Open(kAttenuationLibType, f.Project());
    Add(editor, {{"name", "Muffler"}, {"bmin", 30}, {"bmax", 30}, {"values", {{"30", 12}}}});
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
