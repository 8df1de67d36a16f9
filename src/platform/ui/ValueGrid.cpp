#include "platform/ui/ValueGrid.h"

#include "platform/Errors.h"

#include <algorithm>

namespace korvel {

void TValueGrid::CheckLayout(int rows, int cols, int fixedRows, int fixedCols) const {
    if (rows < 0 || cols < 0 || fixedRows < 0 || fixedCols < 0)
        throw EKorvelError("Grid \"" + Name() + "\": row and column counts must not be negative");
    // A header without data rows is allowed: an empty list still shows its titles.
    if (fixedRows > rows || fixedCols > cols)
        throw EKorvelError("Grid \"" + Name() + "\": more fixed rows or columns than rows or columns");
}

void TValueGrid::SetRowCount(int rows) {
    CheckLayout(rows, colCount_, fixedRows_, fixedCols_);
    if (rows == rowCount_)
        return;
    rowCount_ = rows;
    Changed(TChangeKind::Style);
    Invalidate();
    FixCurrentCell();
}

void TValueGrid::SetColCount(int cols) {
    CheckLayout(rowCount_, cols, fixedRows_, fixedCols_);
    if (cols == colCount_)
        return;
    colCount_ = cols;
    colWidths_.resize(static_cast<std::size_t>(cols), defaultColWidth_);
    Changed(TChangeKind::Style);
    Invalidate();
    FixCurrentCell();
}

void TValueGrid::SetFixedRows(int rows) {
    CheckLayout(rowCount_, colCount_, rows, fixedCols_);
    if (Assign(fixedRows_, rows, TChangeKind::Style))
        FixCurrentCell();
}

void TValueGrid::SetFixedCols(int cols) {
    CheckLayout(rowCount_, colCount_, fixedRows_, cols);
    if (Assign(fixedCols_, cols, TChangeKind::Style))
        FixCurrentCell();
}

void TValueGrid::SetDefaultColWidth(int width) {
    width = std::max(0, width);
    if (width == defaultColWidth_)
        return;
    // Columns still at the old default follow the new one.
    for (int& w : colWidths_)
        if (w == defaultColWidth_)
            w = width;
    defaultColWidth_ = width;
    Changed(TChangeKind::Style);
}

int TValueGrid::ColWidth(int col) const {
    if (col < 0 || col >= colCount_)
        return 0;
    return colWidths_[static_cast<std::size_t>(col)];
}

void TValueGrid::SetColWidth(int col, int width) {
    if (col < 0 || col >= colCount_)
        throw EKorvelError("Grid \"" + Name() + "\": column " + std::to_string(col) + " out of range");
    Assign(colWidths_[static_cast<std::size_t>(col)], std::max(0, width), TChangeKind::Style);
}

void TValueGrid::SetDefaultRowHeight(int height) {
    Assign(defaultRowHeight_, std::max(0, height), TChangeKind::Style);
}

void TValueGrid::SetEditing(bool editing) {
    if (!editing)
        CancelEdit();
    Assign(editing_, editing, TChangeKind::Style);
}

std::string TValueGrid::Cells(int col, int row) const {
    if (!InRange(col, row) || !OnGetText)
        return {};
    return OnGetText(col, row);
}

TCellStyle TValueGrid::CellStyle(int col, int row) const {
    TCellStyle style;
    if (!InRange(col, row))
        return style;
    if (OnGetCellStyle)
        OnGetCellStyle(col, row, style);
    if (IsFixed(col, row))
        style.Editable = false;
    return style;
}

bool TValueGrid::CanEditCell(int col, int row) const {
    return InRange(col, row) && !IsFixed(col, row) && editing_ && !ReadOnly() && OnSetText &&
           EnabledInTree() && CellStyle(col, row).Editable;
}

void TValueGrid::FixCurrentCell() {
    int col = -1;
    int row = -1;
    if (fixedRows_ < rowCount_ && fixedCols_ < colCount_) {
        col = std::clamp(col_, fixedCols_, colCount_ - 1);
        row = std::clamp(row_, fixedRows_, rowCount_ - 1);
    }
    if (col == col_ && row == row_)
        return;
    CancelEdit();
    col_ = col;
    row_ = row;
    Changed(TChangeKind::Selection, row_, col_);
}

bool TValueGrid::SetCurrentCell(int col, int row) {
    if (!InRange(col, row))
        throw EKorvelError("Grid \"" + Name() + "\": cell (" + std::to_string(col) + ", " +
                           std::to_string(row) + ") out of range");
    if (IsFixed(col, row))
        return false;
    if (col == col_ && row == row_)
        return true;
    if (!LeaveEditMode())
        return false;
    bool canSelect = true;
    if (!Fire(OnSelectCell, col, row, canSelect) || !canSelect)
        return false;
    col_ = col;
    row_ = row;
    Changed(TChangeKind::Selection, row_, col_);
    return true;
}

std::string TValueGrid::EditTextOf(int col, int row) const {
    return OnGetEditText && InRange(col, row) ? OnGetEditText(col, row) : Cells(col, row);
}

bool TValueGrid::SetEditorMode(bool on) {
    if (!on)
        return !LeaveEditMode();
    if (editorMode_)
        return true;
    if (col_ < 0 || !CanEditCell(col_, row_) || CellStyle(col_, row_).CheckBox)
        return false;
    editText_ = EditTextOf(col_, row_);
    editorMode_ = true;
    Changed(TChangeKind::Editor, row_, col_);
    return true;
}

void TValueGrid::SetEditText(std::string text) {
    if (editorMode_ && text != editText_) {
        editText_ = std::move(text);
        Changed(TChangeKind::Editor, row_, col_);
    }
}

bool TValueGrid::Store(int col, int row, const std::string& text) {
    bool ok = Dispatch([&] { OnSetText(col, row, text); });
    InvalidateCell(col, row);
    return ok;
}

bool TValueGrid::LeaveEditMode() {
    if (!editorMode_)
        return true;
    // Unchanged text is not stored, so merely visiting a cell does not modify the record.
    if (editText_ != EditTextOf(col_, row_) && !Store(col_, row_, editText_))
        return false;
    CancelEdit();
    return true;
}

void TValueGrid::CancelEdit() {
    if (!editorMode_)
        return;
    editorMode_ = false;
    editText_.clear();
    Changed(TChangeKind::Editor, row_, col_);
}

bool TValueGrid::EditCell(int col, int row, const std::string& text) {
    if (!SetCurrentCell(col, row) || !SetEditorMode(true))
        return false;
    SetEditText(text);
    return LeaveEditMode();
}

bool TValueGrid::ToggleCheck(int col, int row) {
    if (!SetCurrentCell(col, row) || !CanEditCell(col, row) || !CellStyle(col, row).CheckBox)
        return false;
    return Store(col, row, Cells(col, row) == "1" ? "0" : "1");
}

void TValueGrid::EndTakeOver() {
    if (takingOver_ > 0 && --takingOver_ == 0 && OnTakeOverEnd)
        Fire(OnTakeOverEnd);
}

} // namespace korvel
