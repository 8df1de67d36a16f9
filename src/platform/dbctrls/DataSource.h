#pragma once

// The link between one table cursor and the data-aware controls of a form: it passes the table's data events
// on to its listeners, collects pending texts before a store, keeps bound navigators up to date and is
// itself the navigators' record source.

#include "platform/db/Table.h"
#include "platform/ui/Navigator.h"

#include <functional>
#include <memory>
#include <vector>

namespace korvel {

class TDataSource : public INavigatorTarget {
public:
    using TListener = std::function<void(db::TDataEvent event, const db::TField* field)>;
    // Checks or writes one control's pending input; throws EKorvelError when the record cannot take it.
    using TRecordWriter = std::function<void()>;

    TDataSource() : self_(std::make_shared<TDataSource*>(this)) {}
    explicit TDataSource(db::TTable* table) : TDataSource() { SetDataSet(table); }
    ~TDataSource() override;
    TDataSource(const TDataSource&) = delete;
    TDataSource& operator=(const TDataSource&) = delete;

    // Not owned. A bound table may be closed or destroyed only after SetDataSet(nullptr) or a switch to
    // another table. Switching tells the listeners with DataSetChange.
    db::TTable* DataSet() const { return table_; }
    void SetDataSet(db::TTable* table);
    // A table is bound and open.
    bool Active() const { return table_ != nullptr && table_->Active(); }

    // Listeners may add and remove listeners (themselves too) while being told.
    int AddListener(TListener listener);
    void RemoveListener(int id);
    // Drops every listener and record writer without telling them; for an owner going away whose listeners
    // may already be gone.
    void RemoveAllListeners();

    // Bound controls register how their pending input reaches the record.
    int AddRecordWriter(TRecordWriter writer);
    void RemoveRecordWriter(int id);
    // Writes the pending input of the bound controls into the record; the editor calls it before a store.
    // Throws EKorvelError naming the text when a control holds text its field cannot take.
    void UpdateRecord();

    // The navigator drives this source and gets UpdateButtons() after every scroll, state or data change.
    // Safe when the navigator is destroyed first; the source detaches it when it goes away.
    void AttachNavigator(TNavigator& navigator);
    void DetachNavigator(TNavigator& navigator);

    // Expires when the source is destroyed, so bound controls may outlive it safely.
    std::weak_ptr<TDataSource*> Lifetime() const { return self_; }

    // INavigatorTarget, on the bound table. Post writes pending input first; Insert appends.
    TNavTargetState State() const override;
    bool Bof() const override { return !Active() || table_->Bof(); }
    bool Eof() const override { return !Active() || table_->Eof(); }
    bool IsEmpty() const override { return !Active() || table_->IsEmpty(); }
    bool CanModify() const override { return Active() && table_->CanModify(); }
    void First() override { Table().First(); }
    void Prior() override { Table().Prior(); }
    void Next() override { Table().Next(); }
    void Last() override { Table().Last(); }
    void Insert() override { Table().Append(); }
    void Delete() override { Table().Delete(); }
    void Edit() override { Table().Edit(); }
    void Post() override;
    void Cancel() override { Table().Cancel(); }
    void Refresh() override { Table().Refresh(); }

private:
    template <class F> struct TEntry {
        int Id;
        F Call;
        bool Removed = false;
    };
    struct TNavEntry {
        TNavigator* Navigator;
        std::weak_ptr<TComponent*> Life;
    };

    db::TTable& Table() const;
    void TableEvent(db::TDataEvent event, const db::TField* field);
    void UpdateNavigators();

    db::TTable* table_ = nullptr;
    int observerId_ = 0;
    int nextId_ = 1;
    // Shared, so a call in progress survives its own removal.
    std::vector<std::shared_ptr<TEntry<TListener>>> listeners_;
    std::vector<std::shared_ptr<TEntry<TRecordWriter>>> writers_;
    std::vector<TNavEntry> navigators_;
    std::shared_ptr<TDataSource*> self_;
};

} // namespace korvel
