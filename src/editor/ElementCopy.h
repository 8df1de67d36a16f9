#pragma once

// Copying elements between libraries of one kind: the name-conflict check shared by every copy and import,
// and the guards a copy holds on its target table.

#include "platform/base/LibTypes.h"
#include "platform/db/Table.h"

#include <string>

namespace korvel {

class IUi;
class TCustomLibForm;

// Resolves a name conflict in the target table and prepares the record to be written: looks name up on
// indexName (the element-name index "EN"), asks the person while it is found (unless the action already
// holds for all: cancel, overwrite all, skip all), and follows a new name until it is free. Returns whether
// the copy goes ahead; the table is then in edit state on the element to overwrite, or in insert state on a
// new record. name receives a new name the person typed.
bool CheckNameTwice(IUi& ui, db::TTable& table, const std::string& indexName, std::string& name,
                    TneAction& action);

// Marks a table as being filled by bulk work for the lifetime of the guard (editors skip screen work and
// questions then).
class TBulkTag {
public:
    explicit TBulkTag(db::TTable& table) : table_(table), previous_(table.Tag) { table_.Tag = kTagBulkWork; }
    ~TBulkTag() { table_.Tag = previous_ == kTagBulkWork ? kTagBulkWork : 0; }
    TBulkTag(const TBulkTag&) = delete;
    TBulkTag& operator=(const TBulkTag&) = delete;

private:
    db::TTable& table_;
    int previous_;
};

// Stores the prepared record; on failure the record is cancelled so no half element stays behind.
void PostOrCancel(db::TTable& table);

// While it lives, CheckNameTwice appends to the table without looking names up: a backup copies every
// element, whatever its name, even names that repeat.
class TAppendOnly {
public:
    explicit TAppendOnly(db::TTable& table);
    ~TAppendOnly();
    TAppendOnly(const TAppendOnly&) = delete;
    TAppendOnly& operator=(const TAppendOnly&) = delete;
    static bool Active(const db::TTable& table);

private:
    const db::TTable* table_;
};

// Bulk work on one tab of an editor for the lifetime of the guard (TCustomLibForm::BulkWorkBegins).
class TBulkWork {
public:
    TBulkWork(TCustomLibForm& form, int tabIndex);
    ~TBulkWork();
    TBulkWork(const TBulkWork&) = delete;
    TBulkWork& operator=(const TBulkWork&) = delete;

private:
    TCustomLibForm& form_;
    int tab_;
};

// Silences a table's observers (the element list, bound controls, the editor's element view) while bulk
// work moves through or stores many records; they are told once, when the guard goes away.
class TControlsOff {
public:
    explicit TControlsOff(db::TTable& table) : table_(table) { table_.DisableControls(); }
    ~TControlsOff() {
        try {
            table_.EnableControls();
        } catch (...) {
            // An observer that fails to refresh shows stale rows; the bulk work itself is done.
        }
    }
    TControlsOff(const TControlsOff&) = delete;
    TControlsOff& operator=(const TControlsOff&) = delete;

private:
    db::TTable& table_;
};

// Reads the source of a copy or backup inside one read transaction while the guard lives: every element
// comes from the same state of the file, and no statement takes a read lock of its own. Does nothing when the
// source is the target or is in a transaction already.
class TReadSnapshot {
public:
    TReadSnapshot(db::TDatabase& source, const db::TDatabase& target);
    ~TReadSnapshot();
    TReadSnapshot(const TReadSnapshot&) = delete;
    TReadSnapshot& operator=(const TReadSnapshot&) = delete;

private:
    db::TDatabase& source_;
    bool open_ = false;
};

// Drops a record still being written when the guard goes away, so an error between the start of a record and
// its store leaves nothing that a later store could pick up.
class TPendingRecord {
public:
    explicit TPendingRecord(db::TTable& table) : table_(table) {}
    ~TPendingRecord();
    TPendingRecord(const TPendingRecord&) = delete;
    TPendingRecord& operator=(const TPendingRecord&) = delete;

private:
    db::TTable& table_;
};

} // namespace korvel
