#include "gui/elementlist/ElementListView.h"

#include "gui/elementlist/ElementListModel.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <algorithm>

namespace korvel::gui {

namespace {

// Paints a row as selected when the core says so; the view itself selects nothing.
class TSelectionDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        if (index.data(TElementListModel::SelectedRole).toBool())
            option->state |= QStyle::State_Selected;
        else
            option->state &= ~QStyle::State_Selected;
    }
};

} // namespace

TElementListView::TElementListView(QWidget* parent) : QTableView(parent) {
    setItemDelegate(new TSelectionDelegate(this));
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTabKeyNavigation(false);
    setAutoScroll(false); // the view scrolls to the core's current row itself, not on every index change
    setSortingEnabled(false);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    // One height for every row: positions are arithmetic, never a walk over a million rows.
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setMinimumSectionSize(1);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setSectionsClickable(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);

    connect(horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int col) {
        TDBElementList* list = model_ ? model_->List() : nullptr;
        if (list && col >= 0 && col < list->ColumnCount())
            list->TitleClick(col);
        // The header moved the view's current index to its column; the core's current row stays.
        if (model_)
            MarkCurrent(model_->CurrentRow(), model_->CurrentColumn());
    });
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this](int col, int, int width) {
        TDBElementList* list = model_ ? model_->List() : nullptr;
        // Only the user's drags: a reset lays the sections out anew before the widths are applied again.
        if (!applyingWidths_ && !resetting_ && list && col < list->ColumnCount())
            list->SetColumnWidth(col, width);
    });
}

void TElementListView::setModel(QAbstractItemModel* model) {
    if (model == this->model())
        return;
    if (model_)
        disconnect(model_, nullptr, this, nullptr);
    QTableView::setModel(model);
    model_ = qobject_cast<TElementListModel*>(model);
    anchor_ = -1;
    if (!model_)
        return;
    // setModel connected the view's own slots; these come after them, so they see the reset view.
    connect(model_, &QAbstractItemModel::modelAboutToBeReset, this, &TElementListView::BeforeReset);
    connect(model_, &QAbstractItemModel::layoutAboutToBeChanged, this, &TElementListView::BeforeReset);
    connect(model_, &QAbstractItemModel::modelReset, this, &TElementListView::ApplyWidths);
    connect(model_, &QAbstractItemModel::layoutChanged, this, &TElementListView::ApplyWidths);
    connect(model_, &TElementListModel::currentChanged, this, &TElementListView::FollowCurrent);
    connect(model_, &TElementListModel::columnStyleChanged, this, &TElementListView::ApplyWidths);
    ApplyWidths();
    FollowCurrent(model_->CurrentRow(), model_->CurrentColumn());
}

void TElementListView::ApplyWidths() {
    TDBElementList* list = model_ ? model_->List() : nullptr;
    if (!list)
        return;
    applyingWidths_ = true;
    const int count = std::min(list->ColumnCount(), model_->columnCount());
    for (int c = 0; c < count; ++c)
        horizontalHeader()->resizeSection(c, list->Columns()[static_cast<std::size_t>(c)].Width);
    applyingWidths_ = false;
}

void TElementListView::BeforeReset() {
    currentTop_.reset();
    const int row = model_ ? model_->CurrentRow() : -1;
    if (row >= 0 && row < model_->rowCount()) {
        const int y = rowViewportPosition(row);
        if (y >= 0 && y < viewport()->height())
            currentTop_ = y;
    }
    resetting_ = true;
}

void TElementListView::FollowCurrent(int row, int col) {
    const bool afterReset = std::exchange(resetting_, false);
    const QModelIndex index = MarkCurrent(row, col);
    if (!index.isValid())
        return;
    if (!afterReset) {
        scrollTo(index);
        return;
    }
    // After a re-sort or a store the current record keeps its place on the screen when it had one;
    // otherwise the view stays where the user left it.
    if (currentTop_) {
        verticalScrollBar()->setValue(verticalHeader()->sectionPosition(row) - *currentTop_);
        currentTop_.reset();
    }
}

QModelIndex TElementListView::MarkCurrent(int row, int col) {
    if (!model_ || !selectionModel())
        return {};
    const QModelIndex index = row >= 0 ? model_->index(row, std::max(col, 0)) : QModelIndex();
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    return index;
}

int TElementListView::PageRows() const {
    const int height = std::max(1, verticalHeader()->defaultSectionSize());
    return std::max(1, viewport()->height() / height - 1);
}

std::pair<int, int> TElementListView::VisibleRows() const {
    if (!model() || model()->rowCount() == 0)
        return {-1, -1};
    const int first = std::max(0, rowAt(0));
    int last = rowAt(viewport()->height() - 1);
    if (last < 0)
        last = model()->rowCount() - 1;
    return {first, last};
}

void TElementListView::ClickRow(int row, int col, Qt::KeyboardModifiers modifiers) {
    TDBElementList* list = model_ ? model_->List() : nullptr;
    if (!list || row < 0 || row >= model_->rowCount())
        return;
    try {
        if (col >= 0 && col < list->ColumnCount())
            list->SetSelectedIndex(col);
        const int current = model_->CurrentRow();
        const int from =
            anchor_ >= 0 && anchor_ < model_->rowCount() ? anchor_ : (current >= 0 ? current : row);
        list->SetCurrentRow(row);
        if (list->CurrentRow() != row)
            return; // an edit that could not be stored keeps its row
        const bool shift = modifiers.testFlag(Qt::ShiftModifier);
        const bool ctrl = modifiers.testFlag(Qt::ControlModifier);
        if (!list->MultiSelect()) {
            anchor_ = row;
        } else if (shift) {
            if (!ctrl)
                list->ClearSelection();
            list->SelectRange(from, row);
        } else if (ctrl) {
            list->SetRowSelected(row, !list->IsSelected(row));
            anchor_ = row;
        } else {
            list->ClearSelection();
            list->SetRowSelected(row, true);
            anchor_ = row;
        }
    } catch (const std::exception&) {
        // The rows changed under the click; the list's notice brings the view up to date.
    }
}

void TElementListView::mousePressEvent(QMouseEvent* event) {
    // Other buttons leave the core's row alone; the pop-up menu comes with its own event.
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index.isValid())
        ClickRow(index.row(), index.column(), event->modifiers());
    event->accept();
}

void TElementListView::mouseMoveEvent(QMouseEvent* event) {
    // No rubber-band selection: the core's selection changes by clicks and keys only.
    if (event->buttons() & Qt::LeftButton) {
        event->accept();
        return;
    }
    QTableView::mouseMoveEvent(event);
}

void TElementListView::keyPressEvent(QKeyEvent* event) {
    TDBElementList* list = model_ ? model_->List() : nullptr;
    if (!list) {
        QTableView::keyPressEvent(event);
        return;
    }
    const int count = model_->rowCount();
    const int current = model_->CurrentRow();
    const int col = model_->CurrentColumn();
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    const bool ctrl = modifiers.testFlag(Qt::ControlModifier);
    try {
        if (event->matches(QKeySequence::SelectAll)) {
            list->SelectAll();
            return;
        }
        int target = -1;
        switch (event->key()) {
        case Qt::Key_Up:
            target = current - 1;
            break;
        case Qt::Key_Down:
            target = current + 1;
            break;
        case Qt::Key_PageUp:
            target = current - PageRows();
            break;
        case Qt::Key_PageDown:
            target = current < 0 ? PageRows() : current + PageRows();
            break;
        case Qt::Key_Home:
            target = 0;
            break;
        case Qt::Key_End:
            target = count - 1;
            break;
        case Qt::Key_Left:
        case Qt::Key_Right:
            if (list->ColumnCount() > 0)
                list->SetSelectedIndex(
                    std::clamp(col + (event->key() == Qt::Key_Left ? -1 : 1), 0, list->ColumnCount() - 1));
            return;
        case Qt::Key_Space:
            if (ctrl && list->MultiSelect() && current >= 0) {
                list->SetRowSelected(current, !list->IsSelected(current));
                anchor_ = current;
                return;
            }
            event->ignore();
            return;
        default:
            event->ignore(); // Tab, Enter, Escape ... belong to the form
            return;
        }
        if (count == 0)
            return;
        target = std::clamp(target, 0, count - 1);
        if (ctrl && !modifiers.testFlag(Qt::ShiftModifier) && list->MultiSelect())
            list->SetCurrentRow(target); // moves without touching the selection, for Ctrl+Space
        else
            ClickRow(target, col, modifiers & (Qt::ShiftModifier | Qt::ControlModifier));
    } catch (const std::exception&) {
        // As for clicks: the list's notice follows.
    }
}

} // namespace korvel::gui
