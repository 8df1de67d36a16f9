#include "platform/dbctrls/FieldLinks.h"

#include "platform/Errors.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

#include <algorithm>
#include <climits>

namespace korvel {

namespace {

// Sets a flag for a scope and restores its previous value, so nested uses compose.
class TFlagScope {
public:
    explicit TFlagScope(bool& flag) : flag_(flag), saved_(flag) { flag_ = true; }
    ~TFlagScope() { flag_ = saved_; }
    TFlagScope(const TFlagScope&) = delete;
    TFlagScope& operator=(const TFlagScope&) = delete;

private:
    bool& flag_;
    bool saved_;
};

std::string ValueText(const db::TField* field) {
    return field ? FieldValueText(field->DataType(), field->Value()) : std::string();
}

// A refusal by the record (read-only library, a handler's Abort) goes to the form as a message; EAbort stays
// silent; outside a form the caller gets it.
void Report(const TControl& control, std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const EAbort&) {
        return;
    } catch (...) {
    }
    IEventHost* host = control.EventHost();
    if (host == nullptr || !host->HandleEventException(error))
        std::rethrow_exception(error);
}

class TEditLink : public TFieldLink {
public:
    TEditLink(TEdit& edit, TDataSource& source, std::string fieldName)
        : TFieldLink(edit, source, std::move(fieldName)), edit_(edit), ownMaxLength_(edit.MaxLength()) {
        Start();
    }

protected:
    void Show(const db::TField* field) override {
        const bool sized = field && field->DataType() == db::TFieldType::String;
        edit_.SetMaxLength(sized ? field->Size() : ownMaxLength_);
        edit_.SetText(ValueText(field));
    }
    std::string Snapshot() const override { return edit_.Text(); }
    void Store(db::TField& field) override { StoreText(field, edit_.Text()); }

private:
    TEdit& edit_;
    int ownMaxLength_;
};

class TMemoLink : public TFieldLink {
public:
    TMemoLink(TMemo& memo, TDataSource& source, std::string fieldName)
        : TFieldLink(memo, source, std::move(fieldName)), memo_(memo) {
        Start();
    }

protected:
    void Show(const db::TField* field) override { memo_.SetText(ValueText(field)); }
    std::string Snapshot() const override { return memo_.Text(); }
    void Store(db::TField& field) override { StoreText(field, memo_.Text()); }

private:
    TMemo& memo_;
};

class TCheckBoxLink : public TFieldLink {
public:
    TCheckBoxLink(TCheckBox& check, TDataSource& source, std::string fieldName)
        : TFieldLink(check, source, std::move(fieldName)), check_(check) {
        Start();
    }

protected:
    void Show(const db::TField* field) override {
        bool checked = false;
        try {
            checked = field && field->AsBoolean();
        } catch (const EKorvelError&) {
            // A value that is no truth value shows unchecked.
        }
        check_.SetChecked(checked);
    }
    std::string Snapshot() const override { return check_.Checked() ? "1" : "0"; }
    void Store(db::TField& field) override { field.SetAsBoolean(check_.Checked()); }

private:
    TCheckBox& check_;
};

class TSpinEditLink : public TFieldLink {
public:
    TSpinEditLink(TSpinEdit& spin, TDataSource& source, std::string fieldName)
        : TFieldLink(spin, source, std::move(fieldName)), spin_(spin) {
        Start();
    }

protected:
    void Show(const db::TField* field) override {
        std::int64_t value = 0;
        try {
            if (field && !field->IsNull())
                value = field->AsLargeInt();
        } catch (const EKorvelError&) {
            // Text that is no number shows as 0.
        }
        spin_.SetValue(static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX)));
    }
    std::string Snapshot() const override { return std::to_string(spin_.Value()); }
    void Store(db::TField& field) override { field.SetValue(std::int64_t{spin_.Value()}); }
    // New limits clamp the value, which is the form's doing: show the field within them instead.
    TNotice Classify(const TChange& change) const override {
        if (change.Kind == TChangeKind::Style)
            return TNotice::ShowAgain;
        return TFieldLink::Classify(change);
    }

private:
    TSpinEdit& spin_;
};

class TComboBoxLink : public TFieldLink {
public:
    TComboBoxLink(TComboBox& combo, TDataSource& source, std::string fieldName)
        : TFieldLink(combo, source, std::move(fieldName)), combo_(combo) {
        Start();
    }

protected:
    void Show(const db::TField* field) override { combo_.SetText(ValueText(field)); }
    std::string Snapshot() const override { return combo_.Text(); }
    void Store(db::TField& field) override { StoreText(field, combo_.Text()); }
    TNotice Classify(const TChange& change) const override {
        const bool input = change.Kind == TChangeKind::Value || change.Kind == TChangeKind::Selection;
        if (combo_.Style() == csDropDownList) {
            // New items may now hold the value; a list without a selected item is the items' doing, not
            // the user's.
            if (change.Kind == TChangeKind::Items || (input && combo_.ItemIndex() < 0))
                return TNotice::ShowAgain;
        }
        return input ? TNotice::Input : TNotice::Ignore;
    }

private:
    TComboBox& combo_;
};

} // namespace

TFieldLink::TFieldLink(TControl& control, TDataSource& source, std::string fieldName)
    : control_(control), controlLife_(control.Lifetime()), source_(&source), sourceLife_(source.Lifetime()),
      fieldName_(std::move(fieldName)) {}

TFieldLink::~TFieldLink() {
    if (TDataSource* source = Source()) {
        source->RemoveListener(listenerId_);
        source->RemoveRecordWriter(writerId_);
    }
}

void TFieldLink::Start() {
    subscription_ = control_.SubscribeScoped([this](TComponent&, const TChange& change) {
        if (change.Kind != TChangeKind::Destroying)
            ControlChanged(change);
    });
    listenerId_ = source_->AddListener(
        [this](db::TDataEvent event, const db::TField* field) { DataEvent(event, field); });
    writerId_ = source_->AddRecordWriter([this] { CheckPending(); });
    ShowField();
}

void TFieldLink::SetFieldName(std::string fieldName) {
    fieldName_ = std::move(fieldName);
    ShowField();
}

db::TField* TFieldLink::Field() const {
    TDataSource* source = Source();
    if (source == nullptr || !source->Active())
        return nullptr;
    db::TField* field = source->DataSet()->FindField(fieldName_);
    return field && !db::IsBlobType(field->DataType()) ? field : nullptr;
}

void TFieldLink::Refresh() {
    ShowField();
}

void TFieldLink::StoreText(db::TField& field, const std::string& text) {
    try {
        field.SetValue(ParseFieldText(field.Def(), text));
        pendingError_.clear();
    } catch (const EKorvelError& e) {
        pendingError_ = e.what();
    }
}

void TFieldLink::ShowField() {
    pendingError_.clear();
    if (!ControlAlive())
        return;
    TSuspendEvents quiet(control_);
    TFlagScope busy(busy_);
    try {
        Show(Field());
    } catch (const std::exception&) {
        // A value the control cannot show leaves it empty rather than failing a scroll.
        try {
            Show(nullptr);
        } catch (const std::exception&) {
        }
    }
    snapshot_ = Snapshot();
}

void TFieldLink::ControlChanged(const TChange& change) {
    if (busy_)
        return;
    switch (Classify(change)) {
    case TNotice::Ignore:
        return;
    case TNotice::ShowAgain:
        ShowField();
        return;
    case TNotice::Input:
        break;
    }
    std::string now = Snapshot();
    if (now == snapshot_)
        return;
    snapshot_ = std::move(now);
    if (Field() == nullptr)
        return; // nothing to write to; the next record shows the control empty again
    std::exception_ptr error;
    {
        TFlagScope busy(busy_);
        try {
            db::TTable& table = *Source()->DataSet();
            if (table.State() == db::TDataSetState::Browse)
                table.Edit();
            // Edit handlers may have switched or closed the table.
            if (db::TField* field = Field())
                Store(*field);
        } catch (...) {
            error = std::current_exception();
        }
    }
    if (error) {
        ShowField(); // the record keeps its value
        Report(control_, error);
    }
}

void TFieldLink::DataEvent(db::TDataEvent event, const db::TField* field) {
    if (busy_)
        return;
    switch (event) {
    case db::TDataEvent::FieldChange:
        if (field == nullptr || field == Field())
            ShowField();
        break;
    case db::TDataEvent::StateChange:
        break; // the values follow with a record change
    case db::TDataEvent::RecordChange:
    case db::TDataEvent::DataSetChange:
        ShowField();
        break;
    }
}

void TFieldLink::CheckPending() const {
    if (HasPending() && ControlAlive())
        throw EKorvelError(pendingError_);
}

std::unique_ptr<TFieldLink> BindField(TEdit& edit, TDataSource& source, std::string fieldName) {
    return std::make_unique<TEditLink>(edit, source, std::move(fieldName));
}

std::unique_ptr<TFieldLink> BindField(TMemo& memo, TDataSource& source, std::string fieldName) {
    return std::make_unique<TMemoLink>(memo, source, std::move(fieldName));
}

std::unique_ptr<TFieldLink> BindField(TCheckBox& check, TDataSource& source, std::string fieldName) {
    return std::make_unique<TCheckBoxLink>(check, source, std::move(fieldName));
}

std::unique_ptr<TFieldLink> BindField(TSpinEdit& spin, TDataSource& source, std::string fieldName) {
    return std::make_unique<TSpinEditLink>(spin, source, std::move(fieldName));
}

std::unique_ptr<TFieldLink> BindField(TComboBox& combo, TDataSource& source, std::string fieldName) {
    return std::make_unique<TComboBoxLink>(combo, source, std::move(fieldName));
}

} // namespace korvel
