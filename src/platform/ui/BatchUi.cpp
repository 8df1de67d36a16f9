#include "platform/ui/BatchUi.h"

#include "platform/ui/Form.h"

namespace korvel {

namespace {

// The first of the preferred results that the box offers; else its harmless answer.
TModalResult Pick(TMsgDlgButtons buttons, std::initializer_list<TModalResult> preferred) {
    for (TModalResult r : preferred)
        if (OffersResult(buttons, r))
            return r;
    return SafeDefaultResult(buttons);
}

} // namespace

TBatchUi::TBatchUi(std::ostream& out, TBatchPolicy policy, std::ostream* err)
    : out_(out), err_(err ? *err : out), policy_(policy) {}

// One clipboard content at a time, text or picture, as on the desktop.
void TBatchUi::SetClipboardText(const std::string& text) {
    clipboard_ = text;
    clipboardPicture_.clear();
}

void TBatchUi::SetClipboardPicture(const std::vector<std::uint8_t>& png) {
    clipboardPicture_ = png;
    clipboard_.clear();
}

void TBatchUi::Cannot(const std::string& what) {
    err_ << "Warning: " << what << " needs the desktop program\n";
}

TModalResult TBatchUi::MessageDlg(const std::string& message, TMsgDlgType type, TMsgDlgButtons buttons) {
    // A carriage return alone would send a terminal back over the line it separates.
    const std::string text = uitext::JoinLines(uitext::SplitLines(message));
    const bool question = type == mtConfirmation || buttons.Contains(mbYes) || buttons.Contains(mbNo) ||
                          buttons.Contains(mbRetry);
    if (!question) {
        if (type == mtWarning || type == mtError)
            err_ << MsgDlgTypeName(type) << ": " << text << '\n';
        else if (!policy_.Quiet)
            out_ << text << '\n';
        return Pick(buttons, {mrOk});
    }
    // Retrying would repeat the same failure without a person to fix its cause.
    TModalResult answer =
        policy_.AnswerYes ? Pick(buttons, {mrYes, mrOk, mrIgnore}) : Pick(buttons, {mrNo, mrCancel, mrAbort});
    (type == mtWarning || type == mtError ? err_ : out_)
        << MsgDlgTypeName(type) << ": " << text << " -> " << ModalResultName(answer) << '\n';
    return answer;
}

bool TBatchUi::InputQuery(const std::string& caption, const std::string& prompt, std::string&) {
    Cannot("The question \"" + caption + ": " + prompt + "\"");
    return false;
}

std::vector<std::filesystem::path> TBatchUi::OpenDialog(const TOpenDialogOptions& options) {
    Cannot("Choosing a file (" + options.Title + ")");
    return {};
}

std::optional<std::filesystem::path> TBatchUi::SaveDialog(const TSaveDialogOptions& options) {
    Cannot("Choosing a file (" + options.Title + ")");
    return std::nullopt;
}

bool TBatchUi::ChooseColor(TColor&) {
    Cannot("Choosing a colour");
    return false;
}

TNameConflictAnswer TBatchUi::NameConflict(const TNameConflictQuery& query) {
    TNameConflictAnswer answer;
    const std::string name = "\"" + query.Name + "\"";
    switch (policy_.OnConflict) {
    case TConflictPolicy::Skip:
        answer.Action = query.AllowAll ? TneAction::SkipAll : TneAction::Skip;
        out_ << "Element " << name << " exists: skipped\n";
        break;
    case TConflictPolicy::Overwrite:
        answer.Action = query.AllowAll ? TneAction::OverwriteAll : TneAction::Overwrite;
        out_ << "Element " << name << " exists: overwritten\n";
        break;
    case TConflictPolicy::Rename:
        answer.NewName = ProposeNewName(query);
        if (answer.NewName.empty()) {
            err_ << "Error: element " << name << " exists and no free new name fits; cancelled\n";
        } else {
            answer.Action = TneAction::NewName;
            out_ << "Element " << name << " exists: stored as \"" << answer.NewName << "\"\n";
        }
        break;
    case TConflictPolicy::Cancel:
        err_ << "Error: element " << name << " exists; cancelled\n";
        break;
    }
    return answer;
}

TModalResult TBatchUi::ShowModal(TForm& form) {
    Cannot("The dialog \"" + (form.Caption().empty() ? form.Name() : form.Caption()) + "\"");
    return mrCancel;
}

void TBatchUi::ShowForm(TForm& form) {
    Cannot("The window \"" + (form.Caption().empty() ? form.Name() : form.Caption()) + "\"");
}

} // namespace korvel
