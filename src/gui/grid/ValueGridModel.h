#pragma once

// A Qt table model over a value grid. It stores nothing: every cell is read from the grid when Qt asks, and
// every edit goes through the grid's own user path, so the form's callbacks run as they do in the core's
// tests. Fixed rows and columns are ordinary cells here, styled like headers and neither selectable nor
// editable, so the model's rows and columns are the grid's without any offset.

#include "platform/ui/ValueGrid.h"

#include <QAbstractTableModel>
#include <QStringList>

namespace korvel::gui {

class TWatch;

class TValueGridModel : public QAbstractTableModel {
public:
    // Extra data roles.
    enum : int {
        PickListRole = Qt::UserRole + 1, // QStringList; empty unless the cell edits with a drop-down
        FixedRole,                       // bool: a fixed (title) cell
    };

    explicit TValueGridModel(TValueGrid& grid, QObject* parent = nullptr);
    ~TValueGridModel() override;

    // The grid, or null once it has been destroyed.
    TValueGrid* Grid() const;
    // True while the model handles one of the grid's notices; the view must not call back into the grid
    // then (it would run the user's path in the middle of the grid's own change).
    bool Notifying() const { return notifying_ > 0; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    void multiData(const QModelIndex& index, QModelRoleDataSpan roleDataSpan) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // EditRole: a whole user edit (EditCell); a refused text is dropped and the old value shown again.
    // CheckStateRole: ToggleCheck when the state differs.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

private:
    bool Valid(const QModelIndex& index) const;
    QVariant RoleData(const QModelIndex& index, int role, const TCellStyle& style, bool fixed) const;
    void OnChange(const TChange& change);
    void OnGone();
    void SyncShape();

    TValueGrid& grid_;
    TWatch* watch_;
    int rows_ = 0;
    int cols_ = 0;
    int fixedRows_ = 0;
    int fixedCols_ = 0;
    bool editing_ = true;
    int notifying_ = 0;
};

// Runs a call into the grid from a Qt handler. A grid outside a form passes its handlers' exceptions on;
// Qt must never see them, so they are logged and count as a refusal.
bool GuardedGridCall(const std::function<bool()>& call);

} // namespace korvel::gui
