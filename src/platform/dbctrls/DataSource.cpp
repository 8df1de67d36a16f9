#include "platform/dbctrls/DataSource.h"

#include "platform/Errors.h"

#include <algorithm>

namespace korvel {

namespace {

template <class List> void MarkRemoved(List& list, int id) {
    auto it = std::find_if(list.begin(), list.end(), [&](const auto& e) { return e->Id == id; });
    if (it != list.end()) {
        (*it)->Removed = true;
        list.erase(it);
    }
}

} // namespace

TDataSource::~TDataSource() {
    SetDataSet(nullptr); // bound controls show nothing from here on
    for (auto& entry : navigators_)
        if (!entry.Life.expired() && entry.Navigator->Target() == this)
            entry.Navigator->SetTarget(nullptr);
    self_.reset();
}

void TDataSource::SetDataSet(db::TTable* table) {
    if (table == table_)
        return;
    if (table_ != nullptr)
        table_->RemoveObserver(observerId_);
    observerId_ = 0;
    table_ = table;
    if (table_ != nullptr)
        observerId_ = table_->AddObserver(
            [this](db::TDataEvent event, const db::TField* field) { TableEvent(event, field); });
    TableEvent(db::TDataEvent::DataSetChange, nullptr);
}

int TDataSource::AddListener(TListener listener) {
    const int id = nextId_++;
    listeners_.push_back(std::make_shared<TEntry<TListener>>(TEntry<TListener>{id, std::move(listener)}));
    return id;
}

void TDataSource::RemoveListener(int id) {
    MarkRemoved(listeners_, id);
}

void TDataSource::RemoveAllListeners() {
    for (auto& e : listeners_)
        e->Removed = true;
    listeners_.clear();
    for (auto& e : writers_)
        e->Removed = true;
    writers_.clear();
}

int TDataSource::AddRecordWriter(TRecordWriter writer) {
    const int id = nextId_++;
    writers_.push_back(std::make_shared<TEntry<TRecordWriter>>(TEntry<TRecordWriter>{id, std::move(writer)}));
    return id;
}

void TDataSource::RemoveRecordWriter(int id) {
    MarkRemoved(writers_, id);
}

void TDataSource::UpdateRecord() {
    const auto writers = writers_;
    for (const auto& w : writers)
        if (!w->Removed && w->Call)
            w->Call();
}

void TDataSource::AttachNavigator(TNavigator& navigator) {
    std::erase_if(navigators_,
                  [&](const TNavEntry& e) { return e.Life.expired() || e.Navigator == &navigator; });
    navigators_.push_back({&navigator, navigator.Lifetime()});
    if (navigator.Target() == this)
        navigator.UpdateButtons();
    else
        navigator.SetTarget(this);
}

void TDataSource::DetachNavigator(TNavigator& navigator) {
    std::erase_if(navigators_,
                  [&](const TNavEntry& e) { return e.Life.expired() || e.Navigator == &navigator; });
    if (navigator.Target() == this)
        navigator.SetTarget(nullptr);
}

TNavTargetState TDataSource::State() const {
    if (!Active())
        return TNavTargetState::Inactive;
    switch (table_->State()) {
    case db::TDataSetState::Browse:
        return TNavTargetState::Browse;
    case db::TDataSetState::Edit:
        return TNavTargetState::Edit;
    case db::TDataSetState::Insert:
        return TNavTargetState::Insert;
    case db::TDataSetState::Inactive:
        break;
    }
    return TNavTargetState::Inactive;
}

void TDataSource::Post() {
    db::TTable& table = Table();
    UpdateRecord();
    table.Post();
}

db::TTable& TDataSource::Table() const {
    if (table_ == nullptr)
        throw EKorvelError("No table is bound to the data source");
    return *table_;
}

void TDataSource::TableEvent(db::TDataEvent event, const db::TField* field) {
    const auto listeners = listeners_;
    for (const auto& l : listeners)
        if (!l->Removed && l->Call)
            l->Call(event, field);
    // Typing changes no button; everything else may.
    if (event != db::TDataEvent::FieldChange)
        UpdateNavigators();
}

void TDataSource::UpdateNavigators() {
    std::erase_if(navigators_, [](const TNavEntry& e) { return e.Life.expired(); });
    const auto navigators = navigators_;
    for (const auto& entry : navigators)
        if (!entry.Life.expired() && entry.Navigator->Target() == this)
            entry.Navigator->UpdateButtons();
}

} // namespace korvel
