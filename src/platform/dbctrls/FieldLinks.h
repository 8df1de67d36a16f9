#pragma once

// Bindings of plain control models to one field of a data source's current table. A link shows the field's
// value whenever the record, the table or the field changes, with the control's events suspended, and
// writes the user's changes into the record (putting a browsing table into edit state first).

#include "platform/dbctrls/DataSource.h"
#include "platform/ui/Control.h"

#include <memory>
#include <string>

namespace korvel {

class TEdit;
class TMemo;
class TCheckBox;
class TSpinEdit;
class TComboBox;

class TFieldLink {
public:
    virtual ~TFieldLink();
    TFieldLink(const TFieldLink&) = delete;
    TFieldLink& operator=(const TFieldLink&) = delete;

    const std::string& FieldName() const { return fieldName_; }
    // Binds to another field and shows its value.
    void SetFieldName(std::string fieldName);
    // The bound field of the current table; nullptr when the table is missing, closed or lacks the field,
    // or when the field holds binary data. Without a field the control shows nothing and nothing is written.
    db::TField* Field() const;

    // Text the field could not take (an unparsable number); it stays in the control, the field keeps its
    // last good value, and UpdateRecord throws this message until the text is fixed or the record changes.
    bool HasPending() const { return !pendingError_.empty(); }
    const std::string& PendingError() const { return pendingError_; }

    // Shows the field's value again, dropping pending text.
    void Refresh();

protected:
    TFieldLink(TControl& control, TDataSource& source, std::string fieldName);
    // Subscribes and shows the first value; called once the derived link is complete.
    void Start();

    // Puts the field's value into the control; field is nullptr when there is none. Runs with the control's
    // events suspended.
    virtual void Show(const db::TField* field) = 0;
    // The control's state as text, to tell the user's changes from echoes of the link's own.
    virtual std::string Snapshot() const = 0;
    // Stores the control's value into the field (edit or insert state). Throws when the record refuses it.
    virtual void Store(db::TField& field) = 0;
    // What a notice of the control means to the link: nothing, the user's input, or a state no user enters
    // (a drop-down list that lost its item when its items were replaced), after which the field is shown
    // again.
    enum class TNotice { Ignore, Input, ShowAgain };
    virtual TNotice Classify(const TChange& change) const {
        return change.Kind == TChangeKind::Value ? TNotice::Input : TNotice::Ignore;
    }

    // Text controls: parses text into the field, or keeps it pending.
    void StoreText(db::TField& field, const std::string& text);

private:
    void ControlChanged(const TChange& change);
    void DataEvent(db::TDataEvent event, const db::TField* field);
    void ShowField();
    void CheckPending() const;
    TDataSource* Source() const { return sourceLife_.expired() ? nullptr : source_; }
    bool ControlAlive() const { return !controlLife_.expired(); }

    TControl& control_;
    std::weak_ptr<TComponent*> controlLife_;
    TDataSource* source_;
    std::weak_ptr<TDataSource*> sourceLife_;
    std::string fieldName_;
    TSubscription subscription_;
    int listenerId_ = 0;
    int writerId_ = 0;
    std::string snapshot_;
    std::string pendingError_;
    // Set while the link itself changes the control or the record, so it ignores the echoes.
    bool busy_ = false;
};

// The text of the edit; MaxLength follows a string field's size (the edit's own limit otherwise).
std::unique_ptr<TFieldLink> BindField(TEdit& edit, TDataSource& source, std::string fieldName);
std::unique_ptr<TFieldLink> BindField(TMemo& memo, TDataSource& source, std::string fieldName);
// Checked for a true (non-zero) value; unchecked for false and null.
std::unique_ptr<TFieldLink> BindField(TCheckBox& check, TDataSource& source, std::string fieldName);
// The whole-number value; null shows as 0 (within the spin limits).
std::unique_ptr<TFieldLink> BindField(TSpinEdit& spin, TDataSource& source, std::string fieldName);
// The combo's text. A drop-down list selects the item equal to the value; replacing its items never writes.
std::unique_ptr<TFieldLink> BindField(TComboBox& combo, TDataSource& source, std::string fieldName);

} // namespace korvel
