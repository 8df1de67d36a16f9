#include "gui/elementlist/ElementListModel.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"

#include <QMetaObject>
#include <algorithm>
#include <climits>

namespace korvel::gui {

namespace {

// Other programs and other cursors of the file store without telling this list; a cheap look now and then
// (two counters, one of them a pragma) brings their changes in.
constexpr int kPollMs = 1000;

int ToRow(std::int64_t row) {
    return static_cast<int>(std::clamp<std::int64_t>(row, -1, INT_MAX));
}

bool SameColumns(const std::vector<TLoadColumn>& a, const std::vector<TLoadColumn>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const TLoadColumn& x, const TLoadColumn& y) {
        return x.FieldName == y.FieldName && x.Type == y.Type;
    });
}

} // namespace

TElementListModel::TElementListModel(TDBElementList& list, QObject* parent)
    : QAbstractTableModel(parent), list_(&list) {
    watch_ = new TWatch(
        this, list, [this](const TChange& change) { OnListChange(change); }, [this] { OnListGone(); });
    QString error;
    const int rows = CountRows(error);
    Load(rows, std::move(error));
    UpdateCurrent(true);
    poll_.setInterval(kPollMs);
    connect(&poll_, &QTimer::timeout, this, &TElementListModel::Poll);
    poll_.start();
}

TElementListModel::~TElementListModel() {
    // Joins the loader's thread first: no answer may be posted to a model on its way out.
    loader_.reset();
}

TDBElementList* TElementListModel::List() const {
    return watch_ && watch_->Alive() ? list_ : nullptr;
}

db::TTable* TElementListModel::Table() const {
    TDBElementList* list = List();
    TDataSource* source = list ? list->DataSource() : nullptr;
    return source && source->Active() ? source->DataSet() : nullptr;
}

// --- Qt model

int TElementListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rowCount_;
}

int TElementListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columnCount_;
}

Qt::ItemFlags TElementListModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

QVariant TElementListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || section < 0)
        return {};
    if (orientation == Qt::Vertical)
        return section < rowCount_ ? QVariant(section + 1) : QVariant();
    TDBElementList* list = List();
    if (!list || section >= columnCount_ || section >= list->ColumnCount())
        return {};
    return ToQ(list->Columns()[static_cast<std::size_t>(section)].Title);
}

QVariant TElementListModel::data(const QModelIndex& index, int role) const {
    TDBElementList* list = List();
    if (!list || !index.isValid() || index.row() >= rowCount_ || index.column() >= columnCount_)
        return {};
    const std::int64_t row = index.row();
    const std::int64_t first = row / kWindowRows * kWindowRows;
    switch (role) {
    case Qt::DisplayRole: {
        bool stale = false;
        const TWindow* window = WindowOf(row);
        if (window == nullptr) {
            auto it = std::find_if(stale_.begin(), stale_.end(),
                                   [&](const TWindow& w) { return w.First == first; });
            window = it != stale_.end() ? &*it : nullptr;
            stale = true;
        }
        const auto offset = static_cast<std::size_t>(row - first);
        const db::TTable* table = Table();
        const bool editing = table && table->State() == db::TDataSetState::Edit;
        if (window == nullptr || offset >= window->RowIds.size())
            return editing && row == currentRow_ ? ListText(row, index.column()) : QString();
        // The record being edited shows what is typed; the current record of an old window may just have
        // been stored, so it is not shown from before.
        if (table && table->GetBookmark() == window->RowIds[offset] && (stale || editing))
            return ListText(row, index.column());
        return window->Texts[offset * static_cast<std::size_t>(columnCount_) +
                             static_cast<std::size_t>(index.column())];
    }
    case Qt::ToolTipRole: {
        try {
            const std::string hint = list->RowHint(row);
            return hint.empty() ? QVariant() : QVariant(ToQ(hint));
        } catch (const std::exception&) {
            return {};
        }
    }
    case SelectedRole: {
        // From a window's bookmark when there is one: no query per painted cell.
        for (const auto* windows : {&windows_, &stale_}) {
            auto it = std::find_if(windows->begin(), windows->end(),
                                   [&](const TWindow& w) { return w.First == first; });
            const auto offset = static_cast<std::size_t>(row - first);
            if (it != windows->end() && offset < it->RowIds.size())
                return list->IsBookmarkSelected(it->RowIds[offset]);
        }
        try {
            return list->IsSelected(row);
        } catch (const std::exception&) {
            return false;
        }
    }
    default:
        return {};
    }
}

bool TElementListModel::RowsReady(int first, int last) const {
    first = std::max(first, 0);
    last = std::min(last, rowCount_ - 1);
    for (std::int64_t w = first / kWindowRows * kWindowRows; w <= last; w += kWindowRows) {
        auto it =
            std::find_if(windows_.begin(), windows_.end(), [&](const TWindow& x) { return x.First == w; });
        if (it == windows_.end())
            return false;
    }
    return true;
}

// --- windows

TElementListModel::TWindow* TElementListModel::Fresh(std::int64_t first) const {
    auto it =
        std::find_if(windows_.begin(), windows_.end(), [&](const TWindow& w) { return w.First == first; });
    if (it == windows_.end())
        return nullptr;
    it->LastUse = ++clock_;
    return &*it;
}

const TElementListModel::TWindow* TElementListModel::WindowOf(std::int64_t row) const {
    const std::int64_t first = row / kWindowRows * kWindowRows;
    if (TWindow* window = Fresh(first))
        return window;
    Ask(first);
    return Fresh(first); // read here when the loader cannot serve
}

void TElementListModel::Ask(std::int64_t first) const {
    TDBElementList* list = List();
    if (!list || pending_.count(first) != 0)
        return;
    std::vector<db::TBookmark> ids;
    try {
        ids = list->RowIds(first, kWindowRows);
    } catch (const std::exception&) {
        ids.clear();
    }
    // An old window stands in only for the same records at the same positions.
    auto old = std::find_if(stale_.begin(), stale_.end(), [&](const TWindow& w) { return w.First == first; });
    if (old != stale_.end() && old->RowIds != ids)
        stale_.erase(old);
    if (ids.empty())
        return;
    if (ReadsHere()) {
        ReadHere(first, std::move(ids));
        return;
    }
    TRowRequest request;
    request.Generation = generation_;
    request.First = first;
    request.RowIds = std::move(ids);
    request.TableName = tableName_;
    request.Columns = columns_;
    pending_.insert(first);
    for (std::int64_t pushedOut : loader_->Request(std::move(request)))
        pending_.erase(pushedOut);
}

bool TElementListModel::ReadsHere() const {
    db::TTable* table = Table();
    if (!loader_ || !loadError_.isEmpty() || table == nullptr)
        return true;
    // The loader's connection cannot see what this one has not committed.
    try {
        db::TDatabase& database = *table->Database();
        return database.InTransaction() || database.Connection().InTransaction();
    } catch (const std::exception&) {
        return true;
    }
}

void TElementListModel::ReadHere(std::int64_t first, std::vector<db::TBookmark> rowIds) const {
    TWindow window;
    window.First = first;
    window.ReadHere = true;
    window.Texts.reserve(rowIds.size() * static_cast<std::size_t>(columnCount_));
    for (std::size_t i = 0; i < rowIds.size(); ++i)
        for (int c = 0; c < columnCount_; ++c)
            window.Texts.push_back(ListText(first + static_cast<std::int64_t>(i), c));
    window.RowIds = std::move(rowIds);
    rowsLoaded_ += window.RowIds.size();
    Keep(std::move(window));
}

void TElementListModel::Keep(TWindow window) const {
    std::erase_if(stale_, [&](const TWindow& w) { return w.First == window.First; });
    window.LastUse = ++clock_;
    if (TWindow* same = Fresh(window.First)) {
        *same = std::move(window);
    } else if (windows_.size() >= kKeptWindows) {
        auto oldest =
            std::min_element(windows_.begin(), windows_.end(),
                             [](const TWindow& a, const TWindow& b) { return a.LastUse < b.LastUse; });
        *oldest = std::move(window);
    } else {
        windows_.push_back(std::move(window));
    }
}

QString TElementListModel::ListText(std::int64_t row, int col) const {
    TDBElementList* list = List();
    if (!list)
        return {};
    try {
        return ToQ(list->CellText(row, col));
    } catch (const std::exception&) {
        return {}; // the list changed under the view; its notice is on the way
    }
}

void TElementListModel::Receive(TRowResult result) {
    if (result.Generation != generation_) {
        ++staleAnswers_;
        return;
    }
    pending_.erase(result.First);
    const auto n = static_cast<std::int64_t>(result.Rows.size());
    const auto cols = static_cast<std::size_t>(columnCount_);
    if (!result.Error.empty()) {
        // Read here from now on in this generation; the view asks again.
        loadError_ = ToQ(result.Error);
        emit loadFailed(loadError_);
        const std::int64_t end = std::min<std::int64_t>(result.First + kWindowRows, rowCount_);
        if (result.First < end && columnCount_ > 0)
            emit dataChanged(index(ToRow(result.First), 0), index(ToRow(end - 1), columnCount_ - 1),
                             {Qt::DisplayRole});
        return;
    }
    TWindow window;
    window.First = result.First;
    window.RowIds.reserve(result.Rows.size());
    window.Texts.reserve(result.Rows.size() * cols);
    for (auto& row : result.Rows) {
        window.RowIds.push_back(row.RowId);
        row.Texts.resize(cols);
        for (const auto& text : row.Texts)
            window.Texts.push_back(ToQ(text));
    }
    rowsLoaded_ += result.Rows.size();
    Keep(std::move(window));
    const std::int64_t last = std::min<std::int64_t>(result.First + n, rowCount_) - 1;
    if (result.First <= last && columnCount_ > 0)
        emit dataChanged(index(ToRow(result.First), 0), index(ToRow(last), columnCount_ - 1),
                         {Qt::DisplayRole});
}

// --- notices

void TElementListModel::Configure(TDBElementList& list) {
    db::TTable* table = Table();
    const std::string file = table && table->Database() ? table->Database()->FileName() : std::string();
    if (file.empty()) {
        loader_.reset();
    } else if (!loader_ || loader_->FileName() != file) {
        loader_.reset();
        // Answers come on the loader's thread and are handed to this one.
        loader_ = std::make_unique<TRowLoader>(file, [this](TRowResult result) {
            auto shared = std::make_shared<TRowResult>(std::move(result));
            QMetaObject::invokeMethod(
                this, [this, shared] { Receive(std::move(*shared)); }, Qt::QueuedConnection);
        });
    }
    tableName_ = table ? table->TableName() : std::string();
    columns_.clear();
    for (const auto& column : list.Columns()) {
        const db::TField* field = table ? table->FindField(column.FieldName) : nullptr;
        columns_.push_back(field ? TLoadColumn{column.FieldName, field->DataType()} : TLoadColumn{});
    }
}

int TElementListModel::CountRows(QString& error) {
    try {
        // Positions first: the count comes with them instead of costing a query of its own.
        list_->RowIds(0, 1);
        return ToRow(list_->RowCount());
    } catch (const std::exception& e) {
        error = ToQ(e.what());
        return 0;
    }
}

void TElementListModel::Load(int rows, QString error) {
    TDBElementList& list = *list_;
    ++generation_;
    pending_.clear();
    loadError_ = std::move(error);
    const std::string oldTable = tableName_;
    const std::string oldFile = loader_ ? loader_->FileName() : std::string();
    const std::vector<TLoadColumn> oldColumns = columns_;
    Configure(list);
    if (tableName_ == oldTable && (loader_ ? loader_->FileName() : std::string()) == oldFile &&
        SameColumns(columns_, oldColumns)) {
        // The windows just read first, then older ones not read again since.
        for (auto& w : stale_)
            if (std::none_of(windows_.begin(), windows_.end(),
                             [&](const TWindow& x) { return x.First == w.First; }))
                windows_.push_back(std::move(w));
        stale_ = std::move(windows_);
    } else {
        stale_.clear();
    }
    windows_.clear();
    // Rows read here during an edit that goes on hold its typed values too.
    const db::TTable* table = Table();
    editedRowId_ = table && table->State() == db::TDataSetState::Edit ? table->GetBookmark() : 0;

    rowCount_ = rows;
    columnCount_ = list.ColumnCount();
    if (table) {
        try {
            seenLocal_ = table->Database()->LocalChanges();
            seenExternal_ = table->Database()->ExternalVersion();
        } catch (const std::exception&) {
            // Compared again at the next poll.
        }
    }
}

void TElementListModel::Reset() {
    QString error;
    const int rows = CountRows(error);
    // The same shape is announced as a new layout: a reset would rebuild Qt's state for every row (about
    // 25 ms on a million), a layout change keeps it. Rows are positions, so no persistent index moves.
    const bool sameShape = rows == rowCount_ && list_->ColumnCount() == columnCount_;
    if (sameShape)
        emit layoutAboutToBeChanged();
    else
        beginResetModel();
    Load(rows, std::move(error));
    if (sameShape) {
        emit layoutChanged();
        if (columnCount_ > 0)
            emit headerDataChanged(Qt::Horizontal, 0, columnCount_ - 1);
    } else {
        endResetModel();
    }
    UpdateCurrent(true);
}

void TElementListModel::UpdateCurrent(bool force) {
    TDBElementList* list = List();
    int row = -1;
    int col = -1;
    if (list) {
        try {
            row = ToRow(list->CurrentRow());
        } catch (const std::exception&) {
            row = -1;
        }
        col = list->SelectedIndex();
    }
    if (row >= rowCount_)
        row = -1;
    if (force || row != currentRow_ || col != currentCol_) {
        currentRow_ = row;
        currentCol_ = col;
        emit currentChanged(row, col);
    }
}

void TElementListModel::EndOfEdit() {
    const db::TTable* table = Table();
    if (table && table->State() == db::TDataSetState::Edit) {
        editedRowId_ = table->GetBookmark();
        return;
    }
    if (editedRowId_ == 0)
        return;
    const db::TBookmark ended = editedRowId_;
    editedRowId_ = 0;
    // A cancel must not leave the typed values on the screen.
    std::erase_if(windows_, [&](const TWindow& w) {
        return w.ReadHere && std::find(w.RowIds.begin(), w.RowIds.end(), ended) != w.RowIds.end();
    });
    AllRowsChanged({Qt::DisplayRole});
}

void TElementListModel::AllRowsChanged(const QList<int>& roles) {
    if (rowCount_ > 0 && columnCount_ > 0)
        emit dataChanged(index(0, 0), index(rowCount_ - 1, columnCount_ - 1), roles);
}

void TElementListModel::OnListChange(const TChange& change) {
    switch (change.Kind) {
    case TChangeKind::Items:
        Reset();
        break;
    case TChangeKind::Selection:
        EndOfEdit();
        UpdateCurrent(false);
        AllRowsChanged({SelectedRole});
        break;
    case TChangeKind::Cell:
        if (change.Index >= 0 && change.Index < rowCount_ && columnCount_ > 0)
            emit dataChanged(index(change.Index, 0), index(change.Index, columnCount_ - 1),
                             {Qt::DisplayRole});
        else
            AllRowsChanged({Qt::DisplayRole});
        break;
    case TChangeKind::Style:
        if (change.Col >= 0 && change.Col < columnCount_)
            emit headerDataChanged(Qt::Horizontal, change.Col, change.Col);
        else if (columnCount_ > 0)
            emit headerDataChanged(Qt::Horizontal, 0, columnCount_ - 1);
        if (change.Col < 0)
            AllRowsChanged({SelectedRole}); // the selection mode
        emit columnStyleChanged(change.Col);
        break;
    default:
        break;
    }
}

void TElementListModel::OnListGone() {
    poll_.stop();
    loader_.reset();
    beginResetModel();
    windows_.clear();
    stale_.clear();
    pending_.clear();
    rowCount_ = 0;
    columnCount_ = 0;
    currentRow_ = -1;
    endResetModel();
}

void TElementListModel::Poll() {
    db::TTable* table = Table();
    if (table == nullptr)
        return;
    try {
        db::TDatabase& database = *table->Database();
        if (database.LocalChanges() != seenLocal_ || database.ExternalVersion() != seenExternal_)
            List()->Invalidate(); // its Items notice starts a new generation
    } catch (const std::exception&) {
        // The file went away; the next read says so.
    }
}

} // namespace korvel::gui
