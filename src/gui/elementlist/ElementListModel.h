#pragma once

// The element list of an editor as a Qt item model. It never reads on the GUI thread what a loader can read
// elsewhere: the positions (order, filter) come from the core's list, the texts of a window of rows from a
// TRowLoader with its own connection. A few windows are kept; a missing one is asked for and shows empty
// until it arrives. Any change of the list starts a new generation, and answers of an older one are dropped.

#include "platform/dbctrls/ElementList.h"
#include "platform/dbctrls/RowLoader.h"

#include <QAbstractTableModel>
#include <QString>
#include <QTimer>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace korvel::gui {

class TWatch;

class TElementListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // bool: the core counts the row as selected (the view paints it so; it keeps no selection of its own).
    static constexpr int SelectedRole = Qt::UserRole + 1;
    static constexpr std::int64_t kWindowRows = 256;
    static constexpr std::size_t kKeptWindows = 8;

    explicit TElementListModel(TDBElementList& list, QObject* parent = nullptr);
    ~TElementListModel() override;

    // nullptr once the control is gone.
    TDBElementList* List() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // The list's current row (-1: none), as of its last notice.
    int CurrentRow() const { return currentRow_; }
    int CurrentColumn() const { return currentCol_; }

    // Whether rows first..last show their texts (nothing is waiting for the loader).
    bool RowsReady(int first, int last) const;
    // Rows whose texts came in, from the loader or read here when the loader cannot serve.
    std::uint64_t RowsLoaded() const { return rowsLoaded_; }
    // Rows the loader read from the file, answers dropped on the way included.
    std::uint64_t LoaderRowsRead() const { return loader_ ? loader_->RowsRead() : 0; }
    std::uint64_t Generation() const { return generation_; }
    // Answers dropped because they belonged to an older generation.
    std::uint64_t StaleAnswers() const { return staleAnswers_; }
    // The last loader error of this generation; empty when it reads fine.
    const QString& LoadError() const { return loadError_; }

signals:
    // The list's current row or column changed (also after every reset); the view follows.
    void currentChanged(int row, int col);
    // A column's title or width changed (-1: all columns, or the selection mode).
    void columnStyleChanged(int col);
    void loadFailed(const QString& message);

private:
    struct TWindow {
        std::int64_t First = 0;
        std::vector<db::TBookmark> RowIds;
        std::vector<QString> Texts; // row by row, columnCount_ per row
        std::uint64_t LastUse = 0;
        // Read through the list, so the record being edited holds its typed values.
        bool ReadHere = false;
    };

    void OnListChange(const TChange& change);
    void OnListGone();
    // A new generation: a model reset, or a layout change when the number of rows and columns stays.
    void Reset();
    // The list's rows, reading its positions; 0 with the error text when the file cannot say.
    int CountRows(QString& error);
    // The state of a new generation, without the signals.
    void Load(int rows, QString error);
    // Picks up the file, table and columns the rows come from; makes a loader for a new file.
    void Configure(TDBElementList& list);
    void UpdateCurrent(bool force);
    // Drops the windows read here that hold the record whose edit just ended: they hold its typed values.
    void EndOfEdit();
    void Poll();
    void Receive(TRowResult result);

    db::TTable* Table() const;
    // The window of the row, asked for (or read here) when missing; nullptr while it is on its way.
    const TWindow* WindowOf(std::int64_t row) const;
    TWindow* Fresh(std::int64_t first) const;
    void Ask(std::int64_t first) const;
    // Without a usable loader (a transaction open on the GUI's connection, a read error): through the list.
    bool ReadsHere() const;
    void ReadHere(std::int64_t first, std::vector<db::TBookmark> rowIds) const;
    void Keep(TWindow window) const;
    QString ListText(std::int64_t row, int col) const;
    void AllRowsChanged(const QList<int>& roles);

    TDBElementList* list_;
    TWatch* watch_ = nullptr;
    std::unique_ptr<TRowLoader> loader_;
    std::string tableName_;
    std::vector<TLoadColumn> columns_;
    int rowCount_ = 0;
    int columnCount_ = 0;
    int currentRow_ = -1;
    int currentCol_ = -1;
    db::TBookmark editedRowId_ = 0;
    std::uint64_t generation_ = 1;
    std::uint64_t seenLocal_ = 0;
    std::uint64_t seenExternal_ = 0;
    QTimer poll_;
    QString loadError_;

    // The cache is filled from const data(): a view asks, the model fetches.
    mutable std::vector<TWindow> windows_;
    // The previous generation's windows, shown until the fresh one comes only when its rows are the same
    // records at the same positions: a store does not blank the screen for a moment.
    mutable std::vector<TWindow> stale_;
    mutable std::set<std::int64_t> pending_;
    mutable std::uint64_t clock_ = 0;
    mutable std::uint64_t rowsLoaded_ = 0;
    std::uint64_t staleAnswers_ = 0;
};

} // namespace korvel::gui
