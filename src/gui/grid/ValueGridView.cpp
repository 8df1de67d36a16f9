#include "gui/grid/ValueGridView.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/grid/ValueGridModel.h"
#include "platform/ui/Form.h"
#include "platform/ui/Ui.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFocusEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QStyledItemDelegate>
#include <QTimer>
#include <algorithm>

namespace korvel::gui {

class TValueGridDelegate : public QStyledItemDelegate {
public:
    TValueGridDelegate(TValueGridView& view, TValueGridModel& model)
        : QStyledItemDelegate(&view), view_(view), model_(model) {}

    QWidget* Editor() const { return editor_; }
    QModelIndex EditorIndex() const { return editorIndex_; }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex& index) const override {
        TValueGrid* grid = model_.Grid();
        if (grid == nullptr || model_.Notifying())
            return nullptr;
        const int col = index.column();
        const int row = index.row();
        bool open = false;
        GuardedGridCall([&] {
            view_.watch_->Apply([&] { open = grid->SetCurrentCell(col, row) && grid->SetEditorMode(true); });
            return open;
        });
        if (!open)
            return nullptr;
        if (view_.currentIndex() != index)
            view_.SyncLater();
        QWidget* editor = nullptr;
        const TCellStyle style = grid->CellStyle(col, row);
        if (!style.PickList.empty()) {
            auto* combo = new QComboBox(parent);
            combo->setFrame(false);
            for (const std::string& item : style.PickList)
                combo->addItem(ToQ(item));
            connect(combo, &QComboBox::currentTextChanged, combo,
                    [this](const QString& text) { Typed(text); });
            editor = combo;
        } else {
            auto* line = new QLineEdit(parent);
            line->setFrame(false);
            connect(line, &QLineEdit::textChanged, line, [this](const QString& text) { Typed(text); });
            editor = line;
        }
        editor_ = editor;
        editorIndex_ = index;
        return editor;
    }

    void setEditorData(QWidget* editor, const QModelIndex& index) const override {
        TValueGrid* grid = model_.Grid();
        if (grid == nullptr)
            return;
        const bool open = grid->EditorMode() && grid->Col() == index.column() && grid->Row() == index.row();
        const QString text = ToQ(open ? grid->EditText() : grid->Cells(index.column(), index.row()));
        ++showing_;
        if (auto* line = qobject_cast<QLineEdit*>(editor)) {
            if (line->text() != text)
                line->setText(text);
        } else if (auto* combo = qobject_cast<QComboBox*>(editor)) {
            int item = combo->findText(text);
            // A stored value outside the list stays choosable, so leaving the editor does not change it.
            if (item < 0 && !text.isEmpty()) {
                combo->insertItem(0, text);
                item = 0;
            }
            combo->setCurrentIndex(item);
        }
        --showing_;
    }

    // Qt commits here when it closes an editor on its own (the current index moved by code). The grid's
    // path has usually committed already; when it refuses now, the grid keeps its editor and the view opens
    // a new one on it.
    void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override {
        TValueGrid* grid = model_.Grid();
        if (grid == nullptr || !grid->EditorMode() || grid->Col() != index.column() ||
            grid->Row() != index.row())
            return;
        Typed(EditorText(editor));
        bool ok = false;
        GuardedGridCall([&] {
            view_.watch_->Apply([&] { ok = grid->LeaveEditMode(); });
            return ok;
        });
        if (!ok)
            view_.SyncLater();
    }

    void destroyEditor(QWidget* editor, const QModelIndex& index) const override {
        if (editor == editor_)
            editor_ = nullptr;
        QStyledItemDelegate::destroyEditor(editor, index);
    }

    // Closes the Qt editor without touching the grid.
    void Drop() {
        if (editor_)
            emit closeEditor(editor_, NoHint);
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override {
        auto* editor = qobject_cast<QWidget*>(object);
        if (editor == nullptr || editor != editor_)
            return QStyledItemDelegate::eventFilter(object, event);
        if (event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            switch (key->key()) {
            case Qt::Key_Enter:
            case Qt::Key_Return:
                Commit(editor, NoHint);
                return true;
            case Qt::Key_Tab:
                Commit(editor, EditNextItem);
                return true;
            case Qt::Key_Backtab:
                Commit(editor, EditPreviousItem);
                return true;
            case Qt::Key_Escape:
                Cancel(editor);
                return true;
            default:
                return QStyledItemDelegate::eventFilter(object, event);
            }
        }
        if (event->type() == QEvent::FocusOut) {
            // Focus that goes to the view (a click on another cell) is left to the view: the current cell
            // moves through SetCurrentCell, which commits first. Pop-ups and window switches are no exit.
            const auto reason = static_cast<QFocusEvent*>(event)->reason();
            if (committing_ > 0 || reason == Qt::PopupFocusReason || reason == Qt::ActiveWindowFocusReason)
                return false;
            QWidget* focus = QApplication::focusWidget();
            if (focus != nullptr &&
                (editor->isAncestorOf(focus) || focus == &view_ || view_.isAncestorOf(focus)))
                return false;
            Commit(editor, NoHint);
            return false;
        }
        return QStyledItemDelegate::eventFilter(object, event);
    }

private:
    static QString EditorText(QWidget* editor) {
        if (auto* line = qobject_cast<QLineEdit*>(editor))
            return line->text();
        if (auto* combo = qobject_cast<QComboBox*>(editor))
            return combo->currentText();
        return {};
    }

    // The person typing: the grid's editor text follows.
    void Typed(const QString& text) const {
        TValueGrid* grid = model_.Grid();
        if (grid == nullptr || showing_ > 0 || !grid->EditorMode())
            return;
        view_.watch_->Apply([&] { grid->SetEditText(FromQ(text)); });
    }

    void Commit(QWidget* editor, EndEditHint hint) {
        TValueGrid* grid = model_.Grid();
        if (grid == nullptr) {
            emit closeEditor(editor, NoHint);
            return;
        }
        ++committing_;
        Typed(EditorText(editor));
        bool ok = false;
        GuardedGridCall([&] {
            view_.watch_->Apply([&] { ok = grid->LeaveEditMode(); });
            return ok;
        });
        --committing_;
        if (ok)
            emit closeEditor(editor, hint);
        else if (editor_ == editor)
            editor->setFocus();
    }

    void Cancel(QWidget* editor) {
        if (TValueGrid* grid = model_.Grid())
            view_.watch_->Apply([&] { grid->CancelEdit(); });
        emit closeEditor(editor, RevertModelCache);
    }

    TValueGridView& view_;
    TValueGridModel& model_;
    mutable QPointer<QWidget> editor_;
    mutable QPersistentModelIndex editorIndex_;
    mutable int showing_ = 0;
    int committing_ = 0;
};

TValueGridView::TValueGridView(TValueGrid& grid, QWidget* parent)
    : QTableView(parent), model_(new TValueGridModel(grid, this)),
      delegate_(new TValueGridDelegate(*this, *model_)),
      watch_(new TWatch(this, grid, [this](const TChange& change) { OnChange(change); })) {
    setObjectName(ToQ(grid.Name()));
    setModel(model_);
    setItemDelegate(delegate_);
    // Fixed rows and columns are drawn as cells, so Qt's own headers only keep the section sizes.
    horizontalHeader()->hide();
    verticalHeader()->hide();
    horizontalHeader()->setMinimumSectionSize(0);
    verticalHeader()->setMinimumSectionSize(0);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setSelectionMode(QAbstractItemView::ContiguousSelection);
    setSelectionBehavior(QAbstractItemView::SelectItems);
    setWordWrap(false);
    ApplySizes();
    ApplyEditTriggers();
    SyncCurrent();
}

TValueGridView::~TValueGridView() = default;

TValueGrid* TValueGridView::Grid() const {
    return model_->Grid();
}

QWidget* TValueGridView::CellEditor() const {
    return delegate_->Editor();
}

void TValueGridView::OnChange(const TChange& change) {
    switch (change.Kind) {
    case TChangeKind::Style:
        ApplySizes();
        ApplyEditTriggers();
        SyncCurrent();
        break;
    case TChangeKind::ReadOnly:
        ApplyEditTriggers();
        break;
    case TChangeKind::Selection:
        if (!watch_->Applying())
            SyncCurrent();
        break;
    case TChangeKind::Editor:
        if (!watch_->Applying())
            SyncEditor();
        break;
    case TChangeKind::Cell:
        // New data may bring titles of another height.
        if (change.Index < 0)
            ApplySizes();
        break;
    default:
        break;
    }
}

void TValueGridView::ApplySizes() {
    TValueGrid* grid = Grid();
    if (grid == nullptr)
        return;
    verticalHeader()->setDefaultSectionSize(grid->DefaultRowHeight());
    const int cols = std::min(grid->ColCount(), model_->columnCount());
    for (int col = 0; col < cols; ++col)
        if (horizontalHeader()->sectionSize(col) != grid->ColWidth(col))
            horizontalHeader()->resizeSection(col, grid->ColWidth(col));
    // A title row of several lines ("phi" over its range) is as tall as its lines.
    const int fixedRows = std::min(grid->FixedRows(), model_->rowCount());
    for (int row = 0; row < fixedRows; ++row) {
        int lines = 1;
        for (int col = 0; col < cols; ++col) {
            const std::string text = grid->Cells(col, row);
            lines = std::max(lines, 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n')));
        }
        const int height = grid->DefaultRowHeight() + (lines - 1) * fontMetrics().height();
        if (verticalHeader()->sectionSize(row) != height)
            verticalHeader()->resizeSection(row, height);
    }
}

void TValueGridView::ApplyEditTriggers() {
    TValueGrid* grid = Grid();
    if (grid == nullptr || grid->ReadOnly())
        setEditTriggers(NoEditTriggers);
    else
        setEditTriggers(DoubleClicked | EditKeyPressed | AnyKeyPressed);
}

void TValueGridView::SyncCurrent() {
    TValueGrid* grid = Grid();
    if (grid == nullptr || selectionModel() == nullptr)
        return;
    QModelIndex target;
    if (grid->Col() >= 0 && grid->Row() < model_->rowCount() && grid->Col() < model_->columnCount())
        target = model_->index(grid->Row(), grid->Col());
    if (currentIndex() == target)
        return;
    ++syncing_;
    selectionModel()->setCurrentIndex(target, QItemSelectionModel::ClearAndSelect);
    --syncing_;
    // Before the first layout the viewport has no size and any cell counts as out of view.
    if (target.isValid() && isVisible() && viewport()->width() > 0)
        scrollTo(target);
}

void TValueGridView::SyncEditor() {
    TValueGrid* grid = Grid();
    if (grid == nullptr)
        return;
    QWidget* editor = delegate_->Editor();
    if (!grid->EditorMode()) {
        if (editor != nullptr)
            delegate_->Drop();
        return;
    }
    const QModelIndex target = model_->index(grid->Row(), grid->Col());
    if (editor != nullptr && delegate_->EditorIndex() == target) {
        delegate_->setEditorData(editor, target);
        return;
    }
    if (editor != nullptr)
        delegate_->Drop();
    SyncCurrent();
    ++syncing_;
    if (edit(target, AllEditTriggers, nullptr) && delegate_->Editor() != nullptr)
        delegate_->Editor()->setFocus();
    --syncing_;
}

void TValueGridView::SyncLater() {
    if (syncQueued_)
        return;
    syncQueued_ = true;
    QTimer::singleShot(0, this, [this] {
        syncQueued_ = false;
        SyncCurrent();
        SyncEditor();
    });
}

void TValueGridView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    TValueGrid* grid = Grid();
    // Moves made by the grid itself, or while it reports a change, are followed, never sent back.
    if (syncing_ > 0 || grid == nullptr || model_->Notifying() || watch_->Applying() || !current.isValid()) {
        QTableView::currentChanged(current, previous);
        return;
    }
    bool moved = false;
    GuardedGridCall([&] {
        watch_->Apply([&] { moved = grid->SetCurrentCell(current.column(), current.row()); });
        return moved;
    });
    if (!moved) {
        // Refused (OnSelectCell, or a text the form would not store): the view goes back once the mouse or
        // key handler that moved it has finished, and the editor with the refused text stays open.
        SyncLater();
        return;
    }
    QTableView::currentChanged(current, previous);
    if (grid->Col() != current.column() || grid->Row() != current.row())
        SyncLater();
}

void TValueGridView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        SetClipboardText(SelectedText());
        event->accept();
        return;
    }
    if (event->matches(QKeySequence::Paste)) {
        PasteText(ClipboardText());
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

QString TValueGridView::SelectedText() const {
    TValueGrid* grid = Grid();
    if (grid == nullptr)
        return {};
    QModelIndexList cells = selectionModel()->selectedIndexes();
    if (cells.isEmpty() && currentIndex().isValid())
        cells << currentIndex();
    if (cells.isEmpty())
        return {};
    int top = cells.front().row();
    int bottom = top;
    int left = cells.front().column();
    int right = left;
    for (const QModelIndex& cell : cells) {
        top = std::min(top, cell.row());
        bottom = std::max(bottom, cell.row());
        left = std::min(left, cell.column());
        right = std::max(right, cell.column());
    }
    QStringList lines;
    for (int row = top; row <= bottom; ++row) {
        QStringList line;
        for (int col = left; col <= right; ++col)
            line << ToQ(grid->Cells(col, row));
        lines << line.join(QLatin1Char('\t'));
    }
    return lines.join(QLatin1Char('\n'));
}

int TValueGridView::PasteText(const QString& text) {
    TValueGrid* grid = Grid();
    if (grid == nullptr || grid->Col() < 0 || grid->ReadOnly() || text.isEmpty())
        return 0;
    QString normalized = text;
    normalized.remove(QLatin1Char('\r'));
    QStringList lines = normalized.split(QLatin1Char('\n'));
    // Spreadsheets end a copied block with a line break.
    if (lines.size() > 1 && lines.back().isEmpty())
        lines.pop_back();
    const int startCol = grid->Col();
    const int startRow = grid->Row();
    int stored = 0;
    int lastRow = startRow;
    int lastCol = startCol;
    bool stopped = false;
    GuardedGridCall([&] {
        watch_->Apply([&] {
            // The form hears of the whole paste once, also when a cell refuses its text.
            struct TTakeOver {
                TValueGrid& Grid;
                explicit TTakeOver(TValueGrid& g) : Grid(g) { Grid.BeginTakeOver(); }
                ~TTakeOver() { Grid.EndTakeOver(); }
            } takeOver(*grid);
            for (int i = 0; i < lines.size() && !stopped; ++i) {
                const int row = startRow + i;
                if (row >= grid->RowCount())
                    break;
                const QStringList cells = lines[i].split(QLatin1Char('\t'));
                for (int j = 0; j < cells.size(); ++j) {
                    const int col = startCol + j;
                    if (col >= grid->ColCount())
                        break;
                    if (!grid->CanEditCell(col, row))
                        continue;
                    lastRow = std::max(lastRow, row);
                    lastCol = std::max(lastCol, col);
                    const std::string value = FromQ(cells[j]);
                    bool ok = true;
                    if (grid->CellStyle(col, row).CheckBox) {
                        if ((value == "1") != (grid->Cells(col, row) == "1")) {
                            ok = grid->ToggleCheck(col, row);
                            // On the cell and still refused: the store said no.
                            stopped = !ok && grid->Col() == col && grid->Row() == row;
                        }
                    } else {
                        const std::string before = grid->Cells(col, row);
                        ok = grid->EditCell(col, row, value);
                        stopped = !ok && grid->EditorMode();
                        ok = ok && before != value;
                    }
                    if (stopped)
                        break;
                    if (ok)
                        ++stored;
                }
            }
            if (!stopped)
                grid->SetCurrentCell(startCol, startRow);
        });
        return true;
    });
    SyncCurrent();
    SyncEditor();
    if (!stopped && currentIndex().isValid())
        selectionModel()->select(
            QItemSelection(model_->index(startRow, startCol), model_->index(lastRow, lastCol)),
            QItemSelectionModel::ClearAndSelect);
    return stored;
}

QString TValueGridView::ClipboardText() const {
    // Inside a form the clipboard is the form's dialog service, as for every other copy and paste.
    TValueGrid* grid = Grid();
    if (grid != nullptr)
        if (TForm* form = grid->OwnerForm())
            return ToQ(form->Ui().ClipboardText());
    return QApplication::clipboard()->text();
}

void TValueGridView::SetClipboardText(const QString& text) {
    TValueGrid* grid = Grid();
    if (grid != nullptr)
        if (TForm* form = grid->OwnerForm()) {
            form->Ui().SetClipboardText(FromQ(text));
            return;
        }
    QApplication::clipboard()->setText(text);
}

} // namespace korvel::gui
