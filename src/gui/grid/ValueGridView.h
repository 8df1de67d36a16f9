#pragma once

// The widget of a value grid: a table view over TValueGridModel whose cell editor mirrors the grid's own
// editor. Opening a Qt editor opens the grid's (SetEditorMode), typing is SetEditText, Enter, Tab or leaving
// the grid commits with LeaveEditMode, Escape cancels; a refused text keeps both editors open. The grid's
// current cell and the view's current index follow each other, and a refused OnSelectCell puts the view
// back. Ctrl+C copies the selected block as tab-separated text; Ctrl+V pastes such a block from the current
// cell on.

#include "platform/ui/ValueGrid.h"

#include <QTableView>

namespace korvel::gui {

class TValueGridModel;
class TValueGridDelegate;
class TWatch;

class TValueGridView : public QTableView {
public:
    explicit TValueGridView(TValueGrid& grid, QWidget* parent = nullptr);
    ~TValueGridView() override;

    TValueGridModel* GridModel() const { return model_; }
    // The open cell editor (a QLineEdit or, for pick lists, a QComboBox), or null.
    QWidget* CellEditor() const;

    // The selected block (or the current cell) as lines of tab-separated cells, as Ctrl+C copies it.
    QString SelectedText() const;
    // Writes a block of tab/newline-separated text from the current cell right and down, as Ctrl+V does.
    // Returns the number of cells stored. Cells that cannot be edited are passed over (the block keeps its
    // shape); text beyond the grid's last row or column is dropped. A cell whose text the form refuses stops
    // the paste there with the grid's editor open on that text, as if the person had typed it: cells before
    // it keep their new values, cells after it are left alone.
    int PasteText(const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    friend class TValueGridDelegate;

    TValueGrid* Grid() const;
    void OnChange(const TChange& change);
    void ApplySizes();
    void ApplyEditTriggers();
    // Moves the view's current index to the grid's current cell.
    void SyncCurrent();
    // Opens, updates or closes the Qt editor so that it matches the grid's editor.
    void SyncEditor();
    // Both, once the Qt handler under way has finished.
    void SyncLater();
    QString ClipboardText() const;
    void SetClipboardText(const QString& text);

    TValueGridModel* model_;
    TValueGridDelegate* delegate_;
    TWatch* watch_;
    int syncing_ = 0;
    bool syncQueued_ = false;
};

} // namespace korvel::gui
