#include "platform/dbctrls/ElementList.h"

#include "platform/Errors.h"
#include "platform/dbctrls/FieldText.h"

#include <algorithm>
#include <climits>

namespace korvel {

namespace {

// Notices carry rows as int.
int NoticeRow(std::int64_t row) {
    return static_cast<int>(std::clamp<std::int64_t>(row, -1, INT_MAX));
}

std::string OneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return text;
}

} // namespace

TDBElementList::~TDBElementList() {
    if (TDataSource* source = DataSource())
        source->RemoveListener(listenerId_);
}

void TDBElementList::SetDataSource(TDataSource* source) {
    if (source == DataSource())
        return;
    if (TDataSource* old = DataSource())
        old->RemoveListener(listenerId_);
    source_ = source;
    sourceLife_ = source ? source->Lifetime() : std::weak_ptr<TDataSource*>{};
    listenerId_ = source ? source->AddListener([this](db::TDataEvent event, const db::TField* field) {
        DataEvent(event, field);
    })
                         : 0;
    table_ = source ? source->DataSet() : nullptr;
    selected_.clear();
    stamp_.reset();
    mapped_ = false;
    DropRows();
    Changed(TChangeKind::Items);
    Changed(TChangeKind::Selection);
}

// --- columns

void TDBElementList::SetColumns(std::vector<TListColumn> columns) {
    columns_ = std::move(columns);
    selectedIndex_ = columns_.empty() ? -1 : std::clamp(selectedIndex_, 0, ColumnCount() - 1);
    mapped_ = false;
    DropRows(); // the fields read per row changed
    Changed(TChangeKind::Items);
}

void TDBElementList::SetColumnTitle(int col, std::string title) {
    CheckColumn(col);
    auto& column = columns_[static_cast<std::size_t>(col)];
    if (column.Title != title) {
        column.Title = std::move(title);
        Changed(TChangeKind::Style, -1, col);
    }
}

void TDBElementList::SetColumnWidth(int col, int width) {
    CheckColumn(col);
    auto& column = columns_[static_cast<std::size_t>(col)];
    width = std::max(0, width);
    if (column.Width != width) {
        column.Width = width;
        Changed(TChangeKind::Style, -1, col);
    }
}

void TDBElementList::CheckColumn(int col) const {
    if (col < 0 || col >= ColumnCount())
        throw EKorvelError("TDBElementList \"" + Name() + "\": column " + std::to_string(col) +
                           " out of range (" + std::to_string(ColumnCount()) + " columns)");
}

// --- rows

db::TTable* TDBElementList::OpenTable() const {
    TDataSource* source = DataSource();
    return source && source->Active() ? source->DataSet() : nullptr;
}

TDBElementList::TStamp TDBElementList::MakeStamp() const {
    TStamp stamp;
    stamp.Table = OpenTable();
    if (stamp.Table == nullptr)
        return stamp;
    db::TTable& t = *stamp.Table;
    stamp.Active = true;
    stamp.Local = t.Database()->LocalChanges();
    stamp.External = t.Database()->ExternalVersion();
    stamp.Index = t.IndexName();
    stamp.Filter = t.Filter();
    stamp.Filtered = t.Filtered();
    stamp.Options = t.FilterOptions();
    stamp.PerRecord = t.HasFilterRecord();
    return stamp;
}

bool TDBElementList::CheckStamp() {
    TStamp now = MakeStamp();
    if (stamp_ && *stamp_ == now)
        return false;
    stamp_ = std::move(now);
    DropRows();
    selectionStale_ = true;
    return true;
}

db::TTable* TDBElementList::Prepare() {
    db::TTable* table = OpenTable();
    if (table == nullptr)
        return nullptr;
    // Stores by any cursor of the file are counted without a query; other programs are seen at the next
    // event or row count.
    if (!stamp_ || stamp_->Table != table || stamp_->Local != table->Database()->LocalChanges())
        CheckStamp();
    if (!mapped_)
        MapColumns(*table);
    return table;
}

void TDBElementList::DropRows() {
    cache_.Clear();
    count_.reset();
}

void TDBElementList::Invalidate() {
    stamp_.reset();
    DropRows();
    Changed(TChangeKind::Items);
}

void TDBElementList::MapColumns(db::TTable& table) {
    readFields_.clear();
    colField_.assign(columns_.size(), -1);
    colSlot_.assign(columns_.size(), -1);
    for (std::size_t c = 0; c < columns_.size(); ++c) {
        const db::TField* field = table.FindField(columns_[c].FieldName);
        if (field == nullptr)
            continue;
        colField_[c] = field->Index();
        auto it = std::find(readFields_.begin(), readFields_.end(), field->Index());
        colSlot_[c] = static_cast<int>(it - readFields_.begin());
        if (it == readFields_.end())
            readFields_.push_back(field->Index());
    }
    mapped_ = true;
    cache_.Clear(); // rows read with the old field list
}

std::int64_t TDBElementList::RowCount() {
    db::TTable* table = Prepare();
    if (table == nullptr)
        return 0;
    CheckStamp();
    if (!count_)
        count_ = table->RecordCount();
    return *count_;
}

void TDBElementList::CheckRow(std::int64_t row) {
    db::TTable* table = Prepare();
    if (!count_ && table)
        count_ = table->RecordCount();
    const std::int64_t count = table ? *count_ : 0;
    if (row < 0 || row >= count)
        throw EKorvelError("TDBElementList \"" + Name() + "\": row " + std::to_string(row) +
                           " out of range (" + std::to_string(count) + " rows)");
}

std::string TDBElementList::CellText(std::int64_t row, int col) {
    CheckColumn(col);
    CheckRow(row);
    db::TTable& table = *OpenTable();
    const int fieldIndex = colField_[static_cast<std::size_t>(col)];
    if (fieldIndex < 0)
        return {};
    const db::TTable::TRow* r = cache_.Row(table, readFields_, row);
    if (r == nullptr)
        return {};
    const db::TField& field = table.Fields(fieldIndex);
    const db::TValue* value = &r->Values[static_cast<std::size_t>(colSlot_[static_cast<std::size_t>(col)])];
    if (table.State() == db::TDataSetState::Edit && r->RowId == table.GetBookmark())
        value = &field.Value();
    return DisplayText(field.DataType(), *value);
}

std::string TDBElementList::DisplayText(db::TFieldType type, const db::TValue& value) {
    return OneLine(FieldValueText(type, value));
}

db::TBookmark TDBElementList::RowBookmark(std::int64_t row) {
    CheckRow(row);
    const auto ids = OpenTable()->RowIdsAt(row, 1);
    return ids.empty() ? 0 : ids.front();
}

std::vector<db::TBookmark> TDBElementList::RowIds(std::int64_t first, std::int64_t count) {
    db::TTable* table = Prepare();
    return table ? table->RowIdsAt(first, count) : std::vector<db::TBookmark>{};
}

// --- current row and column

std::int64_t TDBElementList::CurrentRow() {
    db::TTable* table = OpenTable();
    if (table == nullptr || table->State() == db::TDataSetState::Insert)
        return -1;
    return table->RecNo() - 1;
}

void TDBElementList::SetCurrentRow(std::int64_t row) {
    if (row == -1)
        return;
    CheckRow(row);
    if (row == CurrentRow())
        return; // a click on the current row must not store an edit
    db::TTable* table = OpenTable();
    Dispatch([&] { table->SetRecNo(row + 1); });
}

void TDBElementList::SetSelectedIndex(int col) {
    if (col != -1)
        CheckColumn(col);
    if (col != selectedIndex_) {
        selectedIndex_ = col;
        Changed(TChangeKind::Selection, -1, col);
    }
}

// --- selection

void TDBElementList::SetMultiSelect(bool multiSelect) {
    if (!Assign(multiSelect_, multiSelect, TChangeKind::Style))
        return;
    if (!selected_.empty()) {
        selected_.clear();
        Changed(TChangeKind::Selection);
    }
}

bool TDBElementList::IsSelected(std::int64_t row) {
    if (!multiSelect_) {
        CheckRow(row);
        return row == CurrentRow();
    }
    return selected_.count(RowBookmark(row)) != 0;
}

bool TDBElementList::IsBookmarkSelected(db::TBookmark bookmark) const {
    if (multiSelect_)
        return selected_.count(bookmark) != 0;
    const db::TTable* table = OpenTable();
    // An empty table's bookmark is 0, which no row has.
    return bookmark != 0 && table && table->State() != db::TDataSetState::Insert &&
           table->GetBookmark() == bookmark;
}

void TDBElementList::SetRowSelected(std::int64_t row, bool selected) {
    if (!multiSelect_) {
        if (selected)
            SetCurrentRow(row);
        else
            CheckRow(row);
        return;
    }
    const db::TBookmark bookmark = RowBookmark(row);
    const bool changed = selected ? selected_.insert(bookmark).second : selected_.erase(bookmark) != 0;
    if (changed)
        Changed(TChangeKind::Selection, NoticeRow(row));
}

void TDBElementList::AddRange(std::int64_t first, std::int64_t count) {
    db::TTable* table = OpenTable();
    if (table == nullptr || count <= 0)
        return;
    // Sorted first, the set is built in one pass instead of a search per row: select-all on a million rows.
    std::vector<db::TBookmark> ids;
    ids.reserve(static_cast<std::size_t>(count));
    cache_.ScanRowIds(*table, first, count, [&](std::int64_t, db::TBookmark id) { ids.push_back(id); });
    std::sort(ids.begin(), ids.end());
    selected_.insert(ids.begin(), ids.end());
}

void TDBElementList::SelectRange(std::int64_t from, std::int64_t to) {
    CheckRow(from);
    CheckRow(to);
    if (!multiSelect_) {
        SetCurrentRow(to);
        return;
    }
    AddRange(std::min(from, to), std::abs(to - from) + 1);
    Changed(TChangeKind::Selection);
}

void TDBElementList::SelectAll() {
    if (!multiSelect_)
        return;
    // Exactly the rows of the cursor: bookmarks that left it go too.
    selected_.clear();
    selectionStale_ = false;
    AddRange(0, RowCount());
    Changed(TChangeKind::Selection);
}

void TDBElementList::ClearSelection() {
    if (selected_.empty())
        return;
    selected_.clear();
    Changed(TChangeKind::Selection);
}

std::vector<db::TBookmark> TDBElementList::SelectedBookmarks() {
    std::vector<db::TBookmark> out;
    if (!multiSelect_) {
        db::TTable* table = OpenTable();
        if (table && table->State() != db::TDataSetState::Insert && !table->IsEmpty())
            out.push_back(table->GetBookmark());
        return out;
    }
    if (selected_.empty())
        return out;
    db::TTable* table = Prepare();
    if (table != nullptr) {
        cache_.ScanRowIds(*table, 0, RowCount(), [&](std::int64_t, db::TBookmark id) {
            if (selected_.count(id) != 0)
                out.push_back(id);
        });
    }
    selected_ = std::set<db::TBookmark>(out.begin(), out.end());
    selectionStale_ = false;
    return out;
}

void TDBElementList::PruneSelection() {
    Prepare();
    if (selectionStale_ && !selected_.empty())
        SelectedBookmarks();
}

std::int64_t TDBElementList::SelectedCount() {
    if (!multiSelect_)
        return static_cast<std::int64_t>(SelectedBookmarks().size());
    PruneSelection();
    return static_cast<std::int64_t>(selected_.size());
}

// --- title clicks and hints

void TDBElementList::TitleClick(int col) {
    CheckColumn(col);
    if (Reachable())
        Fire(OnTitleClick, col);
}

std::string TDBElementList::RowHint(std::int64_t row) {
    if (!OnGetHint)
        return {};
    std::string hint;
    Dispatch([&] { hint = OnGetHint(row); });
    return hint;
}

// --- data events

void TDBElementList::DataEvent(db::TDataEvent event, const db::TField*) {
    TDataSource* source = DataSource();
    db::TTable* table = source ? source->DataSet() : nullptr;
    if (table != table_) {
        table_ = table;
        selected_.clear();
        selectionStale_ = false;
        stamp_.reset();
        mapped_ = false;
        DropRows();
        Changed(TChangeKind::Items);
        Changed(TChangeKind::Selection);
        return;
    }
    switch (event) {
    case db::TDataEvent::FieldChange:
        // The current row shows the values being typed.
        if (table != nullptr && table->State() == db::TDataSetState::Edit)
            Changed(TChangeKind::Cell, NoticeRow(CurrentRow()));
        break;
    case db::TDataEvent::DataSetChange:
        // Refreshed, re-sorted, reopened (perhaps restructured) or re-enabled.
        stamp_.reset();
        mapped_ = false;
        DropRows();
        selectionStale_ = true;
        Changed(TChangeKind::Items);
        Changed(TChangeKind::Selection);
        break;
    case db::TDataEvent::RecordChange:
    case db::TDataEvent::StateChange:
        if (OpenTable() != nullptr && CheckStamp())
            Changed(TChangeKind::Items);
        Changed(TChangeKind::Selection);
        break;
    }
}

} // namespace korvel
