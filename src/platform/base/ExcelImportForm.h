#pragma once

// The column-mapping import dialog: a spreadsheet or text table is read, the person picks the sheet and
// the header row and maps columns to the target fields of a library kind; OK then hands each data row to
// the kind's line handler with the mapped cells converted by the fields' setters.

#include "platform/formats/Workbook.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/ValueGrid.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace korvel {

namespace db {
class TDatabase;
}

class TLog;
class TExcelImportForm;
struct TFieldNameItem;

// Converts the cell text of one row into the item's Value (or leaves Value empty: not stored).
using TFieldSetter = std::function<void(TFieldNameItem& item, const std::string& cellText)>;

// One target field of the import.
struct TFieldNameItem {
    std::string FieldName;
    std::string Caption;
    int Tag = 0;            // band number for band fields
    TFieldSetter Setter;    // none: the cell text is the value
    bool MultiLine = false; // a long text (comment): line breaks in cells are kept
    std::string Preset;     // the value before a row's cell is converted (e.g. a folder)
    std::string Value;      // the converted text of the current row
    int Column = -1;        // mapped column, 0-based; -1 = not mapped
};

class TFieldNameList {
public:
    TFieldNameItem& Add(std::string fieldName, std::string caption, int tag = 0, TFieldSetter setter = {});
    std::vector<TFieldNameItem> Items;
    TFieldNameItem* Find(const std::string& fieldName); // case-insensitive
};

// What the line handler may do with the import: go on, or stop after this row.
enum class TImportLineAction { Continue, Stop };
using TImportLineHandler = std::function<void(TExcelImportForm& sender, TImportLineAction& action)>;

class TExcelImportForm : public TForm {
public:
    // Reads the file (EKorvelError for one that cannot be read) and maps columns automatically.
    TExcelImportForm(IUi& ui, const std::string& fileName, TFieldNameList fields);
    std::string_view ClassName() const override { return "TExcelImportForm"; }

    const formats::TWorkbook& Workbook() const { return workbook_; }
    TFieldNameList& Fields() { return fields_; }

    // Sheet and header row (0-based row of the headings; data rows follow it). Changing either maps again.
    int SheetIndex() const { return sheet_; }
    void SetSheetIndex(int index);
    int HeaderRow() const { return headerRow_; }
    void SetHeaderRow(int row);
    // Maps every field whose caption or field name equals a heading (trimmed, case-insensitive); fields
    // without such a heading are unmapped.
    void AutoMap();
    // Maps a field to a column (-1 = none). Throws EKorvelError for an unknown field or column.
    void MapColumn(const std::string& fieldName, int column);
    std::vector<std::string> Headings() const;

    // Runs the import: for each data row, the items' values are set (Preset, then the cell converted by
    // the setter) and the handler called. Returns the number of data rows handed over.
    int RunImport();

    TImportLineHandler OnImportLine;

    // For the handler: the current data row (1-based, counted from the first data row), the number of data
    // rows, and the counters the handler increases.
    int LineNo() const { return lineNo_; }
    int LineCount() const;
    int Imported = 0;
    int Duplicates = 0;
    // Where a row that fails with EKorvelError is reported ("Line %d: ..."); the import goes on with the
    // next row. Without a log such rows are passed over silently.
    TLog* Log = nullptr;
    // When set, the rows of one import are stored in one transaction of it; what was stored before an error
    // that ends the import is kept.
    db::TDatabase* Database = nullptr;

    // What the mapping grid shows for a column: its trimmed heading, else its letter; "" for -1.
    std::string ColumnLabel(int column) const;
    // A heading (exact, then ignoring case), a column letter or a 1-based column number as a column; -1
    // for an empty text. Throws EKorvelError for anything else.
    int ColumnOf(const std::string& text) const;

    TComboBox& CBSheet() const { return *cbSheet_; }
    TEdit& EditHeaderRow() const { return *editHeaderRow_; }
    TValueGrid& VGMapping() const { return *vgMapping_; }
    TValueGrid& VGPreview() const { return *vgPreview_; }

private:
    int ImportRows();
    // Builds the controls (sheet box, header row, mapping grid: field caption and column heading, preview
    // of the first rows, OK/Cancel); OK runs the import.
    void BuildControls();
    void ButtonOKClick(TComponent& sender);
    void CBSheetChange(TComponent& sender);
    void EditHeaderRowChange(TComponent& sender);
    void EditHeaderRowExit(TComponent& sender);
    // Shows sheet, header row, mapping and preview after a change of the sheet or header row.
    void Refresh();
    const formats::TSheet& Sheet() const { return workbook_.Sheets[static_cast<std::size_t>(sheet_)]; }
    int ColumnCount() const;

    formats::TWorkbook workbook_;
    TFieldNameList fields_;
    int sheet_ = 0;
    int headerRow_ = 0;
    int lineNo_ = 0;
    TComboBox* cbSheet_ = nullptr;
    TEdit* editHeaderRow_ = nullptr;
    TValueGrid* vgMapping_ = nullptr;
    TValueGrid* vgPreview_ = nullptr;
};

} // namespace korvel
