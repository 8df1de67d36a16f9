#pragma once

// The table view of an element list. Rows have one height, so a million rows cost no more than a screenful.
// The selection is not the view's: the core keeps it as bookmarks (select all on a million rows is one set),
// the view paints it from the model's SelectedRole and turns clicks and keys into the core's calls.

#include <QTableView>
#include <optional>
#include <utility>

namespace korvel::gui {

class TElementListModel;

class TElementListView : public QTableView {
    Q_OBJECT
public:
    explicit TElementListView(QWidget* parent = nullptr);

    // Follows a TElementListModel; other models are shown as they are.
    void setModel(QAbstractItemModel* model) override;
    TElementListModel* ListModel() const { return model_; }

    // A click on a row: it becomes current (storing an edit first) and the column selected; with
    // multi-selection Shift adds the rows from the anchor, Ctrl toggles the row, a plain click selects it
    // alone.
    void ClickRow(int row, int col, Qt::KeyboardModifiers modifiers);
    // Rows a page key moves.
    int PageRows() const;
    // First and last row in the viewport (-1, -1 when empty).
    std::pair<int, int> VisibleRows() const;

    // A search by typing would read every row on its way; the editors have their own jump-to.
    void keyboardSearch(const QString&) override {}

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Scrolls to the core's current row as it moved (or keeps its place after a reset).
    void FollowCurrent(int row, int col);
    // The view's current index on the core's current row, without scrolling.
    QModelIndex MarkCurrent(int row, int col);
    void ApplyWidths();
    void BeforeReset();

    TElementListModel* model_ = nullptr;
    int anchor_ = -1;
    bool applyingWidths_ = false;
    bool resetting_ = false;
    // Where the current row was in the viewport before a reset, to put it there again.
    std::optional<int> currentTop_;
};

} // namespace korvel::gui
