#pragma once

// The element list of a library editor: a grid over the rows of a data source's table that reads only what
// is shown. Rows come in windows by position (TRowCache); the current row is the table's current record,
// and the multi-selection is a set of bookmarks, so it survives re-sorting.

#include "platform/dbctrls/DataSource.h"
#include "platform/dbctrls/RowCache.h"
#include "platform/ui/Control.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace korvel {

// Default initialisers let a column be written as {"Nr"} or {"Nr", "No."}.
struct TListColumn {
    std::string FieldName{};
    std::string Title{};
    int Width = 64;
    bool ReadOnly = false;
};

using TColumnEvent = std::function<void(TComponent& sender, int col)>;

class TDBElementList : public TControl {
public:
    explicit TDBElementList(std::string name) : TControl(std::move(name)) {}
    ~TDBElementList() override;
    std::string_view ClassName() const override { return "TDBElementList"; }

    // Not owned; safe when the source goes away first.
    TDataSource* DataSource() const { return sourceLife_.expired() ? nullptr : source_; }
    void SetDataSource(TDataSource* source);

    // --- columns (notified as Items; title and width as Style with Col)
    const std::vector<TListColumn>& Columns() const { return columns_; }
    int ColumnCount() const { return static_cast<int>(columns_.size()); }
    void SetColumns(std::vector<TListColumn> columns);
    void SetColumnTitle(int col, std::string title);
    void SetColumnWidth(int col, int width);

    // --- rows, 0-based in cursor order. A row or column outside the range raises EKorvelError.
    // 0 when no open table is bound.
    std::int64_t RowCount();
    // Integers plain, floats shortest, date and time readable, null and absent fields empty; line breaks
    // become spaces. The current row shows the values being edited.
    std::string CellText(std::int64_t row, int col);
    db::TBookmark RowBookmark(std::int64_t row);
    // The bookmarks of rows first..first+count-1 (fewer at the end) from the positions alone, without
    // reading a record: for a renderer that reads the rows elsewhere.
    std::vector<db::TBookmark> RowIds(std::int64_t first, std::int64_t count);
    // A value of a field of this type as a cell shows it (CellText's formatting).
    static std::string DisplayText(db::TFieldType type, const db::TValue& value);
    // Drops the cached rows; for changes the list cannot see (a replaced per-record filter).
    void Invalidate();

    // --- the current row is the table's current record; -1 when there is none (or while inserting)
    std::int64_t CurrentRow();
    // The user's click: moves the table (storing or cancelling an edit first). -1 does nothing.
    void SetCurrentRow(std::int64_t row);

    // --- the selected column; -1 without columns
    int SelectedIndex() const { return selectedIndex_; }
    void SetSelectedIndex(int col);

    // --- selection by bookmark. Without MultiSelect the selection is the current row alone, and selecting
    // a row makes it current. The selection is cleared when the source switches tables; rows that left the
    // cursor (deleted, filtered out) drop out of it.
    bool MultiSelect() const { return multiSelect_; }
    // Turning it off clears the selection.
    void SetMultiSelect(bool multiSelect);
    bool IsSelected(std::int64_t row);
    // IsSelected for a row whose bookmark the caller already has; no query, so a renderer can ask per cell.
    bool IsBookmarkSelected(db::TBookmark bookmark) const;
    void SetRowSelected(std::int64_t row, bool selected);
    // Adds the rows from..to (either order), as a shift-click does.
    void SelectRange(std::int64_t from, std::int64_t to);
    // In cursor order.
    std::vector<db::TBookmark> SelectedBookmarks();
    std::int64_t SelectedCount();
    void ClearSelection();
    // Reads the row ids only, in a few statements; no record is visited.
    void SelectAll();

    // --- title clicks and hints
    // Ignored when the list cannot be reached.
    void TitleClick(int col);
    TColumnEvent OnTitleClick;
    std::function<std::string(std::int64_t row)> OnGetHint;
    std::string RowHint(std::int64_t row);

    // Rows fetched from the table so far: a screenful costs a window, not the table.
    std::uint64_t RowsRead() const { return cache_.RowsRead(); }

private:
    // What the cached rows depend on; any difference drops them.
    struct TStamp {
        db::TTable* Table = nullptr;
        bool Active = false;
        std::uint64_t Local = 0;
        std::uint64_t External = 0;
        std::string Index;
        std::string Filter;
        bool Filtered = false;
        unsigned Options = 0;
        bool PerRecord = false;
        bool operator==(const TStamp&) const = default;
    };

    db::TTable* OpenTable() const;
    TStamp MakeStamp() const;
    // Compares with the file (one query); drops the rows when anything changed. Returns whether it did.
    bool CheckStamp();
    // The open table with a current stamp and mapped columns; the cheap check without a query.
    db::TTable* Prepare();
    void DropRows();
    void MapColumns(db::TTable& table);
    void CheckColumn(int col) const;
    void CheckRow(std::int64_t row);
    void DataEvent(db::TDataEvent event, const db::TField* field);
    void PruneSelection();
    // Adds rows by position without a notice.
    void AddRange(std::int64_t first, std::int64_t count);

    TDataSource* source_ = nullptr;
    std::weak_ptr<TDataSource*> sourceLife_;
    int listenerId_ = 0;
    // The table the rows and the selection belong to.
    db::TTable* table_ = nullptr;

    std::vector<TListColumn> columns_;
    int selectedIndex_ = -1;
    bool mapped_ = false;
    std::vector<int> readFields_; // field indexes read per row
    std::vector<int> colField_;   // per column: field index, -1 when the table lacks it
    std::vector<int> colSlot_;    // per column: position in readFields_

    TRowCache cache_;
    std::optional<TStamp> stamp_;
    std::optional<std::int64_t> count_;

    bool multiSelect_ = false;
    std::set<db::TBookmark> selected_;
    bool selectionStale_ = false;
};

} // namespace korvel
