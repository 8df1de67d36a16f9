#pragma once

// A virtual grid: it stores no cell text. The form supplies text, style and the store of edited text through
// callbacks, so a large grid costs nothing until the renderer asks for the cells it draws.

#include "platform/ui/Control.h"
#include "platform/ui/UiTypes.h"

#include <functional>
#include <string>
#include <vector>

namespace korvel {

struct TCellStyle {
    bool Editable = true; // fixed cells are never editable, whatever this says
    bool Bold = false;
    TColor Color = clDefault; // background
    TColor FontColor = clDefault;
    std::vector<std::string> PickList; // non-empty: the editor is a drop-down with these items
    bool CheckBox = false;             // text "1" is checked, anything else unchecked
};

using TGetCellTextEvent = std::function<std::string(int col, int row)>;
using TSetCellTextEvent = std::function<void(int col, int row, const std::string& text)>;
using TGetCellStyleEvent = std::function<void(int col, int row, TCellStyle& style)>;
using TSelectCellEvent = std::function<void(TComponent& sender, int col, int row, bool& canSelect)>;

class TValueGrid : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TValueGrid"; }

    int RowCount() const { return rowCount_; }
    int ColCount() const { return colCount_; }
    int FixedRows() const { return fixedRows_; }
    int FixedCols() const { return fixedCols_; }
    // Throw EKorvelError on negative counts or when fixed rows/columns would not leave room for one more.
    void SetRowCount(int rows);
    void SetColCount(int cols);
    void SetFixedRows(int rows);
    void SetFixedCols(int cols);

    int DefaultColWidth() const { return defaultColWidth_; }
    void SetDefaultColWidth(int width);
    int ColWidth(int col) const;
    void SetColWidth(int col, int width);
    int DefaultRowHeight() const { return defaultRowHeight_; }
    void SetDefaultRowHeight(int height);

    // The editing option: without it no cell is editable.
    bool Editing() const { return editing_; }
    void SetEditing(bool editing);

    // Cell access for the renderer. Out-of-range cells read as empty with the default style.
    std::string Cells(int col, int row) const;
    TCellStyle CellStyle(int col, int row) const;
    bool IsFixed(int col, int row) const { return col < fixedCols_ || row < fixedRows_; }
    bool InRange(int col, int row) const {
        return col >= 0 && row >= 0 && col < colCount_ && row < rowCount_;
    }
    bool CanEditCell(int col, int row) const;

    // The current cell; -1 when the grid has no non-fixed cell.
    int Col() const { return col_; }
    int Row() const { return row_; }
    // Moves to a non-fixed cell, committing an open editor first; OnSelectCell may refuse. Returns success.
    bool SetCurrentCell(int col, int row);

    bool EditorMode() const { return editorMode_; }
    // Opens the editor on the current cell when it is editable, with the cell's text. Returns whether it is
    // open.
    bool SetEditorMode(bool on);
    const std::string& EditText() const { return editText_; }
    // The user typing in the open editor; ignored when no editor is open.
    void SetEditText(std::string text);
    // Commits the editor text through OnSetText (only when it differs from the cell) and closes the editor.
    // When OnSetText refuses the text (an exception, shown by the form), the editor stays open and this
    // returns false.
    bool LeaveEditMode();
    // Closes the editor without storing.
    void CancelEdit();
    // Selects the cell, opens the editor, types the text and commits: a whole user edit.
    bool EditCell(int col, int row, const std::string& text);
    // A click on a check-box cell: stores "0" or "1" through OnSetText.
    bool ToggleCheck(int col, int row);

    // Tell the renderer that cells show new data.
    void InvalidateCell(int col, int row) { Changed(TChangeKind::Cell, row, col); }
    void InvalidateRow(int row) { Changed(TChangeKind::Cell, row, -1); }
    void Invalidate() { Changed(TChangeKind::Cell); }

    // Several cells are being taken over at once (a paste): forms may put per-cell work off until the
    // last one, when OnTakeOverEnd follows. Calls nest.
    bool TakingOver() const { return takingOver_ > 0; }
    void BeginTakeOver() { ++takingOver_; }
    void EndTakeOver();

    TGetCellTextEvent OnGetText;
    // The text the editor opens with, when it differs from the shown one (a number shown with its unit);
    // without it the editor opens with the cell's text.
    TGetCellTextEvent OnGetEditText;
    TSetCellTextEvent OnSetText;
    TGetCellStyleEvent OnGetCellStyle;
    TSelectCellEvent OnSelectCell;
    TNotifyEvent OnTakeOverEnd;

private:
    void CheckLayout(int rows, int cols, int fixedRows, int fixedCols) const;
    std::string EditTextOf(int col, int row) const;
    void FixCurrentCell();
    bool Store(int col, int row, const std::string& text);

    int rowCount_ = 5;
    int colCount_ = 5;
    int fixedRows_ = 1;
    int fixedCols_ = 1;
    int defaultColWidth_ = 64;
    int defaultRowHeight_ = 24;
    std::vector<int> colWidths_ = std::vector<int>(5, 64);
    bool editing_ = true;
    int col_ = 1;
    int row_ = 1;
    bool editorMode_ = false;
    std::string editText_;
    int takingOver_ = 0;
};

} // namespace korvel
