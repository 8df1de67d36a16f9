#include "platform/base/ExcelImportForm.h"

#include "formats/XlsWriter.h"
#include "platform/Errors.h"
#include "platform/log/Log.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>
#include <map>

namespace korvel {
namespace {

// What the line handler saw of one row.
struct TSeenRow {
    int LineNo = 0;
    std::map<std::string, std::string> Values;
};

class ExcelImportForm : public ::testing::Test {
protected:
    ExcelImportForm() {
        test::WriteAll(File(), " Element name ;63Hz;KOMMENTAR;Group(1);Picture\n"
                               "Pump; 81.5 ;\"two\nlines\";g1;pump.bmp\n"
                               ";;  ;;\n"
                               "Fan;70;  spaced  ;g2;\n"
                               "Grill;bad;x;g3;\n");
    }

    std::string File() const { return dir_.File("levels.csv"); }

    // The fields of an import: plain, multi-line, with a setter and with a preset.
    TFieldNameList Fields() {
        TFieldNameList fields;
        fields.Add("ElementName", "Element name");
        fields.Add("Band0", "63Hz", 0);
        fields.Add("Kommentar", "Comment").MultiLine = true;
        fields.Add("Gruppen1", "Group(1)", 0, [this](TFieldNameItem& item, const std::string& cell) {
            setterCells_.push_back(cell);
            item.Value = "#" + cell;
        });
        fields.Add("Graphic", "Bitmap file name").Preset = "/folder/";
        fields.Add("dBX", "Weighting").Preset = "A";
        return fields;
    }

    void Record(TExcelImportForm& form) {
        form.OnImportLine = [this](TExcelImportForm& sender, TImportLineAction&) {
            TSeenRow row;
            row.LineNo = sender.LineNo();
            for (const auto& item : sender.Fields().Items)
                row.Values[item.FieldName] = item.Value;
            seen_.push_back(row);
            ++sender.Imported;
        };
    }

    static int Column(TExcelImportForm& form, const std::string& fieldName) {
        return form.Fields().Find(fieldName)->Column;
    }
    // The mapped columns in the order of Fields(): ElementName, Band0, Kommentar, Gruppen1, Graphic, dBX.
    static std::vector<int> Columns(TExcelImportForm& form) {
        std::vector<int> columns;
        for (const auto& item : form.Fields().Items)
            columns.push_back(item.Column);
        return columns;
    }

    test::TempDir dir_;
    test::TTestUi ui_;
    std::vector<TSeenRow> seen_;
    std::vector<std::string> setterCells_;
};

TEST_F(ExcelImportForm, MapsHeadingsToCaptionsOrFieldNames) {
    TExcelImportForm form(ui_, File(), Fields());
    EXPECT_EQ(form.Caption(), "Import levels.csv");
    // The name's heading is trimmed; the comment is found by its field name, in another case.
    EXPECT_EQ(Columns(form), (std::vector<int>{0, 1, 2, 3, -1, -1}));
    EXPECT_EQ(form.Headings().size(), 5u);
    EXPECT_EQ(form.LineCount(), 4);

    TValueGrid& mapping = form.VGMapping();
    EXPECT_EQ(std::tuple(mapping.RowCount(), mapping.Cells(0, 3), mapping.Cells(1, 3), mapping.Cells(1, 5)),
              std::tuple(7, "Comment", "KOMMENTAR", ""));
    EXPECT_EQ(mapping.CellStyle(1, 5).PickList,
              (std::vector<std::string>{"", "Element name", "63Hz", "KOMMENTAR", "Group(1)", "Picture"}));
    EXPECT_FALSE(mapping.CanEditCell(0, 1));
    // The preview's first column holds the sheet's own row numbers.
    TValueGrid& preview = form.VGPreview();
    EXPECT_EQ(std::tuple(preview.RowCount(), preview.ColCount(), preview.Cells(1, 0), preview.Cells(0, 1),
                         preview.Cells(1, 3)),
              std::tuple(5, 6, "Element name", "2", "Fan"));
}

TEST_F(ExcelImportForm, MappingCellTakesHeadingLetterOrNumber) {
    TExcelImportForm form(ui_, File(), Fields());
    TValueGrid& mapping = form.VGMapping();
    const int graphicRow = 5;
    // A heading in any case, a column letter or a 1-based number; empty unmaps.
    const std::vector<std::tuple<std::string, int, std::string>> typed = {
        {"picture", 4, "Picture"}, {"b", 1, "63Hz"}, {" 3 ", 2, "KOMMENTAR"}, {"", -1, ""}};
    for (const auto& [text, column, shown] : typed) {
        EXPECT_TRUE(mapping.EditCell(1, graphicRow, text)) << text;
        EXPECT_EQ(Column(form, "Graphic"), column) << text;
        EXPECT_EQ(mapping.Cells(1, graphicRow), shown) << text;
    }
    for (const std::string wrong : {"nonsense", "F"}) {
        ui_.ExpectMessage(mtError, "\"" + wrong + "\" is no column", mrOk);
        EXPECT_FALSE(mapping.EditCell(1, graphicRow, wrong));
        mapping.CancelEdit();
        EXPECT_EQ(Column(form, "Graphic"), -1);
    }

    form.MapColumn("graphic", 4);
    EXPECT_EQ(Column(form, "Graphic"), 4);
    for (const auto& [field, column] : {std::pair{"Nope", 0}, {"Graphic", 5}, {"Graphic", -2}})
        EXPECT_THROW(form.MapColumn(field, column), EKorvelError) << field << column;
}

TEST_F(ExcelImportForm, ImportHandsOverConvertedRowsAndSkipsEmptyOnes) {
    TExcelImportForm form(ui_, File(), Fields());
    Record(form);
    EXPECT_EQ(form.RunImport(), 3);
    ASSERT_EQ(seen_.size(), 3u);
    // Line 2 holds only blanks.
    EXPECT_EQ(std::tuple(seen_[0].LineNo, seen_[1].LineNo, seen_[2].LineNo), std::tuple(1, 3, 4));
    // Unmapped fields keep their preset.
    EXPECT_EQ(seen_[0].Values, (std::map<std::string, std::string>{{"ElementName", "Pump"},
                                                                   {"Band0", "81.5"},
                                                                   {"Kommentar", "two\nlines"},
                                                                   {"Gruppen1", "#g1"},
                                                                   {"Graphic", "/folder/"},
                                                                   {"dBX", "A"}}));
    EXPECT_EQ(std::tuple(seen_[1].Values["Kommentar"], seen_[2].Values["Band0"]),
              std::tuple("  spaced  ", "bad"));
    EXPECT_EQ(setterCells_, (std::vector<std::string>{"g1", "g2", "g3"}));

    // A single-line field takes line breaks as spaces.
    seen_.clear();
    form.MapColumn("ElementName", 2);
    form.RunImport();
    EXPECT_EQ(std::tuple(seen_.at(0).Values["ElementName"], seen_.at(1).Values["ElementName"]),
              std::tuple("two lines", "spaced"));
}

TEST_F(ExcelImportForm, FailingRowIsLoggedAndTheRestImportedUnlessTheHandlerStops) {
    TFieldNameList fields = Fields();
    fields.Find("Band0")->Setter = [](TFieldNameItem& item, const std::string& cell) {
        if (cell.find_first_not_of(" .0123456789") != std::string::npos)
            throw EKorvelError("\"" + cell + "\" is no number.");
        item.Value = cell;
    };
    TExcelImportForm form(ui_, File(), std::move(fields));
    TLog log;
    form.Log = &log;
    form.OnImportLine = [this](TExcelImportForm& sender, TImportLineAction&) {
        if (sender.Fields().Find("ElementName")->Value == "Fan")
            throw EKorvelError("Fan refused");
        seen_.push_back({sender.LineNo(), {}});
    };
    EXPECT_EQ(form.RunImport(), 1);
    ASSERT_EQ(seen_.size(), 1u);
    EXPECT_EQ(seen_[0].LineNo, 1);
    ASSERT_EQ(log.ErrorCount(), 2);
    EXPECT_EQ(std::tuple(log.Entries()[0].Text, log.Entries()[1].Text),
              std::tuple("Line 3: Fan refused", "Line 4: \"bad\" is no number."));

    form.Log = nullptr; // without a log the rows are passed over quietly
    seen_.clear();
    EXPECT_EQ(form.RunImport(), 1);
    EXPECT_EQ(log.Entries().size(), 2u);

    // Stop ends the import after the row.
    seen_.clear();
    form.OnImportLine = [this](TExcelImportForm& sender, TImportLineAction& action) {
        seen_.push_back({sender.LineNo(), {}});
        if (sender.LineNo() == 3)
            action = TImportLineAction::Stop;
    };
    EXPECT_EQ(form.RunImport(), 2);
    ASSERT_EQ(seen_.size(), 2u);
    EXPECT_EQ(seen_[1].LineNo, 3);
}

TEST_F(ExcelImportForm, SheetAndHeaderRowChangesMapAgain) {
    test::TXlsSheet titled{"Titled", {}};
    titled.Text(0, 0, "Levels of 2024");
    titled.Text(1, 0, "Element name").Text(1, 1, "63Hz");
    titled.Text(2, 0, "Pump").Number(2, 1, 81.5);
    titled.Text(3, 0, "Fan").Number(3, 1, 70);
    test::TXlsSheet other{"Other", {}};
    other.Text(0, 0, "Comment").Text(0, 1, "Element name");
    const std::string file = dir_.File("two sheets.xls");
    test::WriteXlsWorkbook(file, {titled, other});

    TExcelImportForm form(ui_, file, Fields());
    EXPECT_EQ(form.CBSheet().Items(), (std::vector<std::string>{"Titled", "Other"}));
    EXPECT_EQ(std::tuple(form.CBSheet().ItemIndex(), form.EditHeaderRow().Text()), std::tuple(0, "1"));
    EXPECT_EQ(Columns(form), (std::vector<int>{-1, -1, -1, -1, -1, -1}));

    form.EditHeaderRow().SetText("2");
    EXPECT_EQ(Columns(form), (std::vector<int>{0, 1, -1, -1, -1, -1}));
    EXPECT_EQ(std::tuple(form.HeaderRow(), form.LineCount(), form.VGPreview().RowCount(),
                         form.VGPreview().Cells(2, 1)),
              std::tuple(1, 2, 3, "81.5"));

    form.EditHeaderRow().SetText("x"); // typing: nothing changes until the text is a row
    form.EditHeaderRow().SetText("9");
    EXPECT_EQ(form.HeaderRow(), 1);
    form.EditHeaderRow().DoExit();
    EXPECT_EQ(form.EditHeaderRow().Text(), "2");

    form.CBSheet().SetItemIndex(1);
    // The other sheet has no second row.
    EXPECT_EQ(std::tuple(form.SheetIndex(), form.HeaderRow(), form.EditHeaderRow().Text(), form.LineCount()),
              std::tuple(1, 0, "1", 0));
    EXPECT_EQ(Columns(form), (std::vector<int>{1, -1, 0, -1, -1, -1}));

    form.SetSheetIndex(0);
    EXPECT_EQ(form.CBSheet().ItemIndex(), 0);
    EXPECT_THROW(form.SetSheetIndex(2), EKorvelError);
    for (int row : {4, -1})
        EXPECT_THROW(form.SetHeaderRow(row), EKorvelError) << row;
    form.SetHeaderRow(3);
    EXPECT_EQ(form.LineCount(), 0);
    Record(form);
    EXPECT_EQ(form.RunImport(), 0);
}

TEST_F(ExcelImportForm, OkImportsAndCancelImportsNothing) {
    for (const bool ok : {true, false}) {
        SCOPED_TRACE(ok ? "OK" : "Cancel");
        seen_.clear();
        TExcelImportForm form(ui_, File(), Fields());
        Record(form);
        ui_.ExpectModal("Import levels.csv", [ok](TForm& f) {
            if (ok)
                f.Find<TButton>("ButtonOK").Click();
            else
                f.PressCancel();
            return mrNone;
        });
        EXPECT_EQ(ui_.ShowModal(form), ok ? mrOk : mrCancel);
        EXPECT_EQ(std::tuple(seen_.size(), form.Imported), std::tuple(ok ? 3u : 0u, ok ? 3 : 0));
    }
    EXPECT_THROW(TExcelImportForm(ui_, dir_.File("missing.xlsx"), Fields()), EKorvelError);
}

} // namespace
} // namespace korvel
