#include "gui/grid/ValueGridModel.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"

#include <QBrush>
#include <QFont>
#include <QGuiApplication>
#include <QPalette>
#include <QtDebug>
#include <exception>
#include <optional>

namespace korvel::gui {

bool GuardedGridCall(const std::function<bool()>& call) {
    try {
        return call();
    } catch (const std::exception& e) {
        qWarning("Value grid: %s", e.what());
    } catch (...) {
        qWarning("Value grid: unknown error");
    }
    return false;
}

TValueGridModel::TValueGridModel(TValueGrid& grid, QObject* parent)
    : QAbstractTableModel(parent), grid_(grid),
      watch_(new TWatch(
          this, grid, [this](const TChange& change) { OnChange(change); }, [this] { OnGone(); })) {
    rows_ = grid.RowCount();
    cols_ = grid.ColCount();
    fixedRows_ = grid.FixedRows();
    fixedCols_ = grid.FixedCols();
    editing_ = grid.Editing();
}

TValueGridModel::~TValueGridModel() = default;

// Qt asks about the invalid index on purpose; checkIndex would warn about it.
bool TValueGridModel::Valid(const QModelIndex& index) const {
    return index.isValid() && index.model() == this && index.row() < rows_ && index.column() < cols_ &&
           watch_->Alive();
}

TValueGrid* TValueGridModel::Grid() const {
    return watch_->Alive() ? &grid_ : nullptr;
}

int TValueGridModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int TValueGridModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : cols_;
}

QVariant TValueGridModel::RoleData(const QModelIndex& index, int role, const TCellStyle& style,
                                   bool fixed) const {
    const QPalette palette = QGuiApplication::palette();
    // Titles show their text, whatever editor their column has.
    const bool checkBox = style.CheckBox && !fixed;
    switch (role) {
    case Qt::DisplayRole:
        // A check box shows its state, not the "0"/"1" behind it.
        if (checkBox)
            return {};
        return ToQ(grid_.Cells(index.column(), index.row()));
    case Qt::EditRole:
        return ToQ(grid_.Cells(index.column(), index.row()));
    case Qt::CheckStateRole:
        if (!checkBox)
            return {};
        return grid_.Cells(index.column(), index.row()) == "1" ? Qt::Checked : Qt::Unchecked;
    case Qt::FontRole:
        if (!style.Bold)
            return {};
        {
            // Only the weight is set, so the view's own font supplies the rest.
            QFont font;
            font.setBold(true);
            return font;
        }
    case Qt::BackgroundRole:
        if (QColor c = ToQColor(style.Color); c.isValid())
            return QBrush(c);
        if (fixed)
            return palette.button();
        return {};
    case Qt::ForegroundRole:
        if (QColor c = ToQColor(style.FontColor); c.isValid())
            return QBrush(c);
        if (fixed)
            return palette.buttonText();
        return {};
    case PickListRole: {
        QStringList items;
        if (!fixed)
            for (const std::string& item : style.PickList)
                items << ToQ(item);
        return items;
    }
    case FixedRole:
        return fixed;
    default:
        return {};
    }
}

QVariant TValueGridModel::data(const QModelIndex& index, int role) const {
    if (!Valid(index))
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::CheckStateRole:
    case Qt::FontRole:
    case Qt::BackgroundRole:
    case Qt::ForegroundRole:
    case PickListRole:
    case FixedRole:
        return RoleData(index, role, grid_.CellStyle(index.column(), index.row()),
                        grid_.IsFixed(index.column(), index.row()));
    default:
        return {};
    }
}

// The delegate asks for a dozen roles per painted cell; the form's style callback runs once for them all.
void TValueGridModel::multiData(const QModelIndex& index, QModelRoleDataSpan roleDataSpan) const {
    if (!Valid(index)) {
        for (QModelRoleData& roleData : roleDataSpan)
            roleData.clearData();
        return;
    }
    std::optional<TCellStyle> style;
    const bool fixed = grid_.IsFixed(index.column(), index.row());
    for (QModelRoleData& roleData : roleDataSpan) {
        const int role = roleData.role();
        if (role == Qt::DisplayRole || role == Qt::EditRole || role == Qt::CheckStateRole ||
            role == Qt::FontRole || role == Qt::BackgroundRole || role == Qt::ForegroundRole ||
            role == PickListRole || role == FixedRole) {
            if (!style)
                style = grid_.CellStyle(index.column(), index.row());
            roleData.setData(RoleData(index, role, *style, fixed));
        } else {
            roleData.clearData();
        }
    }
}

Qt::ItemFlags TValueGridModel::flags(const QModelIndex& index) const {
    if (!Valid(index))
        return Qt::NoItemFlags;
    const int col = index.column();
    const int row = index.row();
    // Fixed cells are titles: not enabled, so keyboard moves and clicks pass them by.
    if (grid_.IsFixed(col, row))
        return Qt::NoItemFlags;
    Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (grid_.CanEditCell(col, row))
        result |= grid_.CellStyle(col, row).CheckBox ? Qt::ItemIsUserCheckable : Qt::ItemIsEditable;
    return result;
}

bool TValueGridModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!Valid(index))
        return false;
    const int col = index.column();
    const int row = index.row();
    if (role == Qt::CheckStateRole) {
        const bool wanted = value.toInt() == Qt::Checked;
        if (wanted == (grid_.Cells(col, row) == "1"))
            return true;
        return GuardedGridCall([&] { return grid_.ToggleCheck(col, row); });
    }
    if (role != Qt::EditRole)
        return false;
    const bool ok = GuardedGridCall([&] { return grid_.EditCell(col, row, FromQ(value.toString())); });
    // The form has shown why the text was refused; without an editor to keep it in, the cell returns to its
    // stored value. An editor left open on another cell is not ours to close.
    if (!ok && watch_->Alive() && grid_.EditorMode() && grid_.Col() == col && grid_.Row() == row)
        grid_.CancelEdit();
    return ok;
}

void TValueGridModel::OnChange(const TChange& change) {
    ++notifying_;
    struct TDone {
        int& n;
        ~TDone() { --n; }
    } done{notifying_};
    if (change.Kind == TChangeKind::Style) {
        SyncShape();
        return;
    }
    if (change.Kind != TChangeKind::Cell || rows_ == 0 || cols_ == 0)
        return;
    int top = 0;
    int bottom = rows_ - 1;
    int left = 0;
    int right = cols_ - 1;
    if (change.Index >= 0) {
        if (change.Index >= rows_)
            return;
        top = bottom = change.Index;
    }
    if (change.Col >= 0) {
        if (change.Col >= cols_)
            return;
        left = right = change.Col;
    }
    emit dataChanged(index(top, left), index(bottom, right));
}

void TValueGridModel::SyncShape() {
    const int rows = grid_.RowCount();
    const int cols = grid_.ColCount();
    // Rows and columns come and go at the end, so the view keeps its scroll position and current cell.
    if (rows > rows_) {
        beginInsertRows({}, rows_, rows - 1);
        rows_ = rows;
        endInsertRows();
    } else if (rows < rows_) {
        beginRemoveRows({}, rows, rows_ - 1);
        rows_ = rows;
        endRemoveRows();
    }
    if (cols > cols_) {
        beginInsertColumns({}, cols_, cols - 1);
        cols_ = cols;
        endInsertColumns();
    } else if (cols < cols_) {
        beginRemoveColumns({}, cols, cols_ - 1);
        cols_ = cols;
        endRemoveColumns();
    }
    // Fixed counts and the editing option change flags and colours of any cell.
    if (fixedRows_ != grid_.FixedRows() || fixedCols_ != grid_.FixedCols() || editing_ != grid_.Editing()) {
        fixedRows_ = grid_.FixedRows();
        fixedCols_ = grid_.FixedCols();
        editing_ = grid_.Editing();
        if (rows_ > 0 && cols_ > 0)
            emit dataChanged(index(0, 0), index(rows_ - 1, cols_ - 1));
    }
}

void TValueGridModel::OnGone() {
    beginResetModel();
    rows_ = 0;
    cols_ = 0;
    endResetModel();
}

} // namespace korvel::gui
