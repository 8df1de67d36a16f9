#include "platform/base/ExcelImportForm.h"

#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/log/Log.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace korvel {

namespace {

constexpr int kPreviewRows = 20;

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

std::string Trim(std::string_view text) {
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsSpace(text.back()))
        text.remove_suffix(1);
    return std::string(text);
}

// A single-line field takes a cell's line breaks as spaces.
std::string SingleLine(const std::string& cell) {
    std::string text;
    text.reserve(cell.size());
    for (std::size_t i = 0; i < cell.size(); ++i) {
        if (cell[i] == '\r' && i + 1 < cell.size() && cell[i + 1] == '\n')
            continue;
        text += cell[i] == '\r' || cell[i] == '\n' ? ' ' : cell[i];
    }
    return Trim(text);
}

bool ParseInt(std::string_view text, int& value) {
    const std::string trimmed = Trim(text);
    const auto [end, ec] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    return !trimmed.empty() && ec == std::errc() && end == trimmed.data() + trimmed.size();
}

bool RowIsEmpty(const std::vector<std::string>& row) {
    return std::all_of(row.begin(), row.end(), [](const std::string& cell) { return Trim(cell).empty(); });
}

} // namespace

TFieldNameItem& TFieldNameList::Add(std::string fieldName, std::string caption, int tag,
                                    TFieldSetter setter) {
    TFieldNameItem& item = Items.emplace_back();
    item.FieldName = std::move(fieldName);
    item.Caption = std::move(caption);
    item.Tag = tag;
    item.Setter = std::move(setter);
    return item;
}

TFieldNameItem* TFieldNameList::Find(const std::string& fieldName) {
    for (auto& item : Items)
        if (uitext::EqualsNoCase(item.FieldName, fieldName))
            return &item;
    return nullptr;
}

TExcelImportForm::TExcelImportForm(IUi& ui, const std::string& fileName, TFieldNameList fields)
    : TForm(ui, "ExcelImportForm"), workbook_(formats::ReadWorkbook(fileName)), fields_(std::move(fields)) {
    if (workbook_.Sheets.empty())
        throw EKorvelError("The file \"" + fileName + "\" has no sheet.");
    SetCaption("Import " + std::filesystem::path(fileName).filename().string());
    BuildControls();
    AutoMap();
    Refresh();
}

void TExcelImportForm::BuildControls() {
    SetBounds(0, 0, 820, 520);

    auto& top = Add<TPanel>("PanelTop");
    top.SetAlign(alTop);
    top.SetHeight(2 * kRowHeight);
    cbSheet_ = &AddLabelledRow<TComboBox>(top, "CBSheet", "Sheet", 100);
    cbSheet_->SetStyle(csDropDownList);
    std::vector<std::string> names;
    for (const auto& sheet : workbook_.Sheets)
        names.push_back(sheet.Name);
    cbSheet_->SetItems(std::move(names));
    editHeaderRow_ = &AddLabelledRow<TEdit>(top, "EditHeaderRow", "Header row", 100);
    editHeaderRow_->SetHint("Row of the column headings; the data follow it");

    auto& bottom = Add<TPanel>("PanelButtons");
    bottom.SetAlign(alBottom);
    bottom.SetHeight(44);
    const TDialogButtons buttons = AddOkCancelButtons(bottom, 620, 716, 8, 90, 27);

    vgMapping_ = &Add<TValueGrid>("VGMapping");
    vgMapping_->SetAlign(alLeft);
    vgMapping_->SetWidth(320);
    vgMapping_->SetColCount(2);
    vgMapping_->SetFixedCols(1);
    vgMapping_->SetFixedRows(1);
    vgMapping_->SetRowCount(std::max<int>(2, static_cast<int>(fields_.Items.size()) + 1));
    vgMapping_->SetColWidth(0, 150);
    vgMapping_->SetColWidth(1, 160);
    vgMapping_->OnGetText = [this](int col, int row) -> std::string {
        if (row == 0)
            return col == 0 ? "Field" : "Column";
        const auto index = static_cast<std::size_t>(row - 1);
        if (index >= fields_.Items.size())
            return {};
        const TFieldNameItem& item = fields_.Items[index];
        return col == 0 ? item.Caption : ColumnLabel(item.Column);
    };
    vgMapping_->OnGetCellStyle = [this](int col, int row, TCellStyle& style) {
        if (col != 1 || row < 1 || static_cast<std::size_t>(row - 1) >= fields_.Items.size()) {
            style.Editable = false;
            return;
        }
        style.PickList.push_back({});
        // The count walks every row of the sheet: once, not per column.
        const int count = ColumnCount();
        for (int c = 0; c < count; ++c)
            style.PickList.push_back(ColumnLabel(c));
    };
    vgMapping_->OnSetText = [this](int col, int row, const std::string& text) {
        const auto index = static_cast<std::size_t>(row - 1);
        if (col != 1 || row < 1 || index >= fields_.Items.size())
            return;
        fields_.Items[index].Column = ColumnOf(text);
        vgMapping_->InvalidateRow(row);
    };

    vgPreview_ = &Add<TValueGrid>("VGPreview");
    vgPreview_->SetAlign(alClient);
    vgPreview_->SetReadOnly(true);
    vgPreview_->SetEditing(false);
    vgPreview_->OnGetText = [this](int col, int row) -> std::string {
        if (col == 0)
            return row == 0 ? std::string() : std::to_string(headerRow_ + row + 1);
        if (row == 0)
            return ColumnLabel(col - 1);
        return Sheet().Cell(static_cast<std::size_t>(headerRow_ + row), static_cast<std::size_t>(col - 1));
    };

    cbSheet_->OnChange = Bind(&TExcelImportForm::CBSheetChange);
    editHeaderRow_->OnChange = Bind(&TExcelImportForm::EditHeaderRowChange);
    editHeaderRow_->OnExit = Bind(&TExcelImportForm::EditHeaderRowExit);
    buttons.Ok->OnClick = Bind(&TExcelImportForm::ButtonOKClick);
}

int TExcelImportForm::ColumnCount() const {
    return static_cast<int>(Sheet().ColumnCount());
}

std::vector<std::string> TExcelImportForm::Headings() const {
    std::vector<std::string> headings;
    const int count = ColumnCount();
    for (int c = 0; c < count; ++c)
        headings.push_back(Sheet().Cell(static_cast<std::size_t>(headerRow_), static_cast<std::size_t>(c)));
    return headings;
}

std::string TExcelImportForm::ColumnLabel(int column) const {
    if (column < 0)
        return {};
    std::string heading =
        Trim(Sheet().Cell(static_cast<std::size_t>(headerRow_), static_cast<std::size_t>(column)));
    return heading.empty() ? formats::ColumnLetters(static_cast<std::size_t>(column)) : heading;
}

int TExcelImportForm::ColumnOf(const std::string& text) const {
    const std::string wanted = Trim(text);
    if (wanted.empty())
        return -1;
    const int count = ColumnCount();
    for (int c = 0; c < count; ++c)
        if (ColumnLabel(c) == wanted)
            return c;
    for (int c = 0; c < count; ++c)
        if (SameTextIgnoringCase(ColumnLabel(c), wanted))
            return c;
    if (const auto column = formats::ColumnFromLetters(wanted); column && static_cast<int>(*column) < count)
        return static_cast<int>(*column);
    int number = 0;
    if (ParseInt(wanted, number) && number >= 1 && number <= count)
        return number - 1;
    throw EKorvelError("\"" + wanted +
                       "\" is no column of the sheet. Pick a heading, or enter a column letter or number.");
}

void TExcelImportForm::SetSheetIndex(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= workbook_.Sheets.size())
        throw EKorvelError("The workbook has no sheet " + std::to_string(index + 1) + ".");
    sheet_ = index;
    if (headerRow_ > 0 && static_cast<std::size_t>(headerRow_) >= Sheet().Rows.size())
        headerRow_ = 0;
    AutoMap();
    Refresh();
}

void TExcelImportForm::SetHeaderRow(int row) {
    const std::size_t rows = Sheet().Rows.size();
    if (row < 0 || (row > 0 && static_cast<std::size_t>(row) >= rows))
        throw EKorvelError("The header row must lie between 1 and " +
                           std::to_string(std::max<std::size_t>(rows, 1)) + ".");
    headerRow_ = row;
    AutoMap();
    Refresh();
}

void TExcelImportForm::AutoMap() {
    const std::vector<std::string> headings = Headings();
    for (auto& item : fields_.Items) {
        item.Column = -1;
        const std::string caption = Trim(item.Caption);
        const std::string fieldName = Trim(item.FieldName);
        for (std::size_t c = 0; c < headings.size(); ++c) {
            const std::string heading = Trim(headings[c]);
            if (!heading.empty() &&
                (SameTextIgnoringCase(heading, caption) || SameTextIgnoringCase(heading, fieldName))) {
                item.Column = static_cast<int>(c);
                break;
            }
        }
    }
    if (vgMapping_ != nullptr)
        vgMapping_->Invalidate();
}

void TExcelImportForm::MapColumn(const std::string& fieldName, int column) {
    TFieldNameItem* item = fields_.Find(fieldName);
    if (item == nullptr)
        throw EKorvelError("The import has no field \"" + fieldName + "\".");
    if (column < -1 || column >= ColumnCount())
        throw EKorvelError("The sheet has no column " + std::to_string(column + 1) + ".");
    item->Column = column;
    vgMapping_->Invalidate();
}

void TExcelImportForm::Refresh() {
    {
        TSuspendEvents guard(*cbSheet_, *editHeaderRow_);
        cbSheet_->SetItemIndex(sheet_);
        editHeaderRow_->SetText(std::to_string(headerRow_ + 1));
    }
    vgPreview_->SetColCount(std::max(2, ColumnCount() + 1));
    vgPreview_->SetRowCount(std::max(2, 1 + std::min(kPreviewRows, LineCount())));
    vgPreview_->Invalidate();
    vgMapping_->Invalidate();
}

int TExcelImportForm::LineCount() const {
    const auto rows = static_cast<int>(Sheet().Rows.size());
    return std::max(0, rows - headerRow_ - 1);
}

void TExcelImportForm::CBSheetChange(TComponent&) {
    const int index = cbSheet_->ItemIndex();
    if (index >= 0 && index != sheet_)
        SetSheetIndex(index);
}

void TExcelImportForm::EditHeaderRowChange(TComponent&) {
    // Typing passes through texts that are no row yet; those wait for the next key or the exit.
    int row = 0;
    if (!ParseInt(editHeaderRow_->Text(), row) || row - 1 == headerRow_)
        return;
    const auto rows = static_cast<int>(Sheet().Rows.size());
    if (row >= 1 && (row == 1 || row <= rows))
        SetHeaderRow(row - 1);
}

void TExcelImportForm::EditHeaderRowExit(TComponent&) {
    int row = 0;
    if (ParseInt(editHeaderRow_->Text(), row) && row - 1 == headerRow_)
        return;
    TSuspendEvents guard(*editHeaderRow_);
    editHeaderRow_->SetText(std::to_string(headerRow_ + 1));
}

int TExcelImportForm::RunImport() {
    TWaitCursor wait(Ui());
    Imported = 0;
    Duplicates = 0;
    if (Database == nullptr)
        return ImportRows();
    Database->StartTransaction();
    int handed = 0;
    try {
        handed = ImportRows();
    } catch (...) {
        try {
            Database->Commit();
        } catch (...) {
            // The error that ended the import travels on.
        }
        throw;
    }
    Database->Commit();
    return handed;
}

int TExcelImportForm::ImportRows() {
    int handed = 0;
    const formats::TSheet& sheet = Sheet();
    const int count = LineCount();
    for (int line = 1; line <= count; ++line) {
        if (Log != nullptr && Log->Cancelled())
            break;
        if (line % 64 == 0)
            Ui().ProcessEvents();
        const auto row = static_cast<std::size_t>(headerRow_ + line);
        if (row >= sheet.Rows.size() || RowIsEmpty(sheet.Rows[row]))
            continue;
        lineNo_ = line;
        TImportLineAction action = TImportLineAction::Continue;
        try {
            for (auto& item : fields_.Items) {
                item.Value = item.Preset;
                if (item.Column < 0)
                    continue;
                const std::string& cell = sheet.Cell(row, static_cast<std::size_t>(item.Column));
                if (item.Setter)
                    item.Setter(item, cell);
                else
                    item.Value = item.MultiLine ? cell : SingleLine(cell);
            }
            if (OnImportLine)
                OnImportLine(*this, action);
            ++handed;
        } catch (const EKorvelError& e) {
            if (Log != nullptr)
                Log->AddError("Line " + std::to_string(line) + ": " + e.what());
        }
        if (action == TImportLineAction::Stop)
            break;
    }
    return handed;
}

void TExcelImportForm::ButtonOKClick(TComponent&) {
    RunImport();
}

} // namespace korvel
