#include "platform/ui/ScriptedUi.h"

#include "platform/Errors.h"
#include "platform/ui/Form.h"

namespace korvel {

namespace {

std::string Quote(const std::string& s) {
    return "\"" + s + "\"";
}

std::string FormText(const TForm& form) {
    return form.Caption().empty() ? form.Name() : form.Name() + " " + Quote(form.Caption());
}

std::string ActionName(TneAction action) {
    switch (action) {
    case TneAction::Cancel:
        return "Cancel";
    case TneAction::Overwrite:
        return "Overwrite";
    case TneAction::OverwriteAll:
        return "OverwriteAll";
    case TneAction::Skip:
        return "Skip";
    case TneAction::SkipAll:
        return "SkipAll";
    case TneAction::NewName:
        return "NewName";
    }
    return "?";
}

} // namespace

std::string DialogKindName(TDialogKind kind) {
    switch (kind) {
    case TDialogKind::Message:
        return "message box";
    case TDialogKind::Input:
        return "input box";
    case TDialogKind::Open:
        return "open dialog";
    case TDialogKind::Save:
        return "save dialog";
    case TDialogKind::Color:
        return "colour dialog";
    case TDialogKind::NameConflict:
        return "name conflict question";
    case TDialogKind::Modal:
        return "modal form";
    case TDialogKind::Form:
        return "form";
    }
    return "dialog";
}

// --- expectations ---

TScriptedUi& TScriptedUi::Expect(TExpectation expectation) {
    expected_.push_back(std::move(expectation));
    return *this;
}

TScriptedUi& TScriptedUi::ExpectMessage(std::string fragment, TModalResult answer) {
    TExpectation e(TDialogKind::Message, std::move(fragment));
    e.Result = answer;
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectMessage(TMsgDlgType type, std::string fragment, TModalResult answer) {
    TExpectation e(TDialogKind::Message, std::move(fragment));
    e.Type = type;
    e.Result = answer;
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectInput(std::string fragment, std::optional<std::string> answer) {
    TExpectation e(TDialogKind::Input, std::move(fragment));
    e.Text = std::move(answer);
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectOpen(std::string fragment, std::vector<std::filesystem::path> files) {
    TExpectation e(TDialogKind::Open, std::move(fragment));
    e.Files = std::move(files);
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectSave(std::string fragment, std::optional<std::filesystem::path> file) {
    TExpectation e(TDialogKind::Save, std::move(fragment));
    if (file)
        e.Files.push_back(std::move(*file));
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectColor(std::optional<TColor> color) {
    TExpectation e(TDialogKind::Color, {});
    e.Color = color;
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectNameConflict(std::string fragment, TneAction action, std::string newName) {
    TExpectation e(TDialogKind::NameConflict, std::move(fragment));
    e.Conflict = {action, std::move(newName)};
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectModal(std::string fragment, TFormScript script) {
    TExpectation e(TDialogKind::Modal, std::move(fragment));
    e.Script = std::move(script);
    return Expect(std::move(e));
}

TScriptedUi& TScriptedUi::ExpectModal(std::string fragment, TModalResult result) {
    TExpectation e(TDialogKind::Modal, std::move(fragment));
    e.Result = result;
    return Expect(std::move(e));
}

// --- bookkeeping ---

void TScriptedUi::Fail(const std::string& message) {
    failures_.push_back(message);
    if (onUnexpected_)
        onUnexpected_(message);
}

std::size_t TScriptedUi::Record(TDialogKind kind, std::string text) {
    shown_.push_back({kind, std::move(text), {}});
    return shown_.size() - 1;
}

std::optional<TScriptedUi::TExpectation> TScriptedUi::Take(TDialogKind kind, const std::string& text,
                                                           std::optional<TMsgDlgType> type) {
    std::string what = DialogKindName(kind);
    if (type)
        what += " (" + MsgDlgTypeName(*type) + ")";
    if (expected_.empty()) {
        Fail("Unexpected " + what + ": " + Quote(text));
        return std::nullopt;
    }
    const TExpectation& next = expected_.front();
    bool fits = next.Kind == kind && text.find(next.Fragment) != std::string::npos &&
                (!next.Type || !type || *next.Type == *type);
    if (!fits) {
        Fail("Unexpected " + what + ": " + Quote(text) + "; the next expected is a " +
             DialogKindName(next.Kind) + " with " + Quote(next.Fragment));
        return std::nullopt;
    }
    TExpectation taken = std::move(expected_.front());
    expected_.pop_front();
    return taken;
}

std::vector<std::string> TScriptedUi::Messages() const {
    std::vector<std::string> texts;
    for (const auto& d : shown_)
        if (d.Kind == TDialogKind::Message)
            texts.push_back(d.Text);
    return texts;
}

bool TScriptedUi::WasShown(std::string_view fragment) const {
    for (const auto& d : shown_)
        if (d.Text.find(fragment) != std::string::npos)
            return true;
    return false;
}

bool TScriptedUi::VerifyAllAnswered() {
    bool none = expected_.empty();
    while (!expected_.empty()) {
        Fail("Expected " + DialogKindName(expected_.front().Kind) + " with " +
             Quote(expected_.front().Fragment) + " was never shown");
        expected_.pop_front();
    }
    return none;
}

// --- IUi ---

TModalResult TScriptedUi::MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) {
    std::size_t record = Record(TDialogKind::Message, text);
    TModalResult answer = SafeDefaultResult(buttons);
    if (answerInformation_ && type == mtInformation && (buttons.Empty() || buttons == TMsgDlgButtons{mbOK})) {
        answer = mrOk;
    } else if (auto e = Take(TDialogKind::Message, text, type)) {
        if (OffersResult(buttons, e->Result))
            answer = e->Result;
        else
            Fail("The answer " + ModalResultName(e->Result) + " is not offered by the message box " +
                 Quote(text));
    }
    shown_[record].Answer = ModalResultName(answer);
    return answer;
}

bool TScriptedUi::InputQuery(const std::string& caption, const std::string& prompt, std::string& value) {
    std::string text = caption + ": " + prompt;
    std::size_t record = Record(TDialogKind::Input, text);
    auto e = Take(TDialogKind::Input, text);
    if (!e || !e->Text) {
        shown_[record].Answer = "Cancel";
        return false;
    }
    value = *e->Text;
    shown_[record].Answer = Quote(value);
    return true;
}

std::vector<std::filesystem::path> TScriptedUi::OpenDialog(const TOpenDialogOptions& options) {
    std::size_t record = Record(TDialogKind::Open, options.Title);
    try {
        ParseFileFilter(options.Filter);
    } catch (const EKorvelError& e) {
        Fail(std::string("Open dialog ") + Quote(options.Title) + ": " + e.what());
    }
    auto e = Take(TDialogKind::Open, options.Title);
    if (!e || e->Files.empty()) {
        shown_[record].Answer = "Cancel";
        return {};
    }
    if (!options.MultiSelect && e->Files.size() > 1) {
        Fail("Open dialog " + Quote(options.Title) + " takes one file, the script gives " +
             std::to_string(e->Files.size()));
        shown_[record].Answer = "Cancel";
        return {};
    }
    shown_[record].Answer = std::to_string(e->Files.size()) + " file(s)";
    return e->Files;
}

std::optional<std::filesystem::path> TScriptedUi::SaveDialog(const TSaveDialogOptions& options) {
    std::size_t record = Record(TDialogKind::Save, options.Title);
    try {
        ParseFileFilter(options.Filter);
    } catch (const EKorvelError& e) {
        Fail(std::string("Save dialog ") + Quote(options.Title) + ": " + e.what());
    }
    auto e = Take(TDialogKind::Save, options.Title);
    if (!e || e->Files.empty()) {
        shown_[record].Answer = "Cancel";
        return std::nullopt;
    }
    std::filesystem::path file = ApplyDefaultExt(e->Files.front(), options.DefaultExt);
    shown_[record].Answer = file.string();
    return file;
}

bool TScriptedUi::ChooseColor(TColor& color) {
    std::size_t record = Record(TDialogKind::Color, "Colour");
    auto e = Take(TDialogKind::Color, "Colour");
    if (!e || !e->Color) {
        shown_[record].Answer = "Cancel";
        return false;
    }
    color = *e->Color;
    shown_[record].Answer = std::to_string(color);
    return true;
}

TNameConflictAnswer TScriptedUi::NameConflict(const TNameConflictQuery& query) {
    std::size_t record = Record(TDialogKind::NameConflict, query.Name);
    TNameConflictAnswer answer;
    if (auto e = Take(TDialogKind::NameConflict, query.Name)) {
        const TneAction action = e->Conflict.Action;
        std::string problem;
        if (!query.AllowAll && (action == TneAction::OverwriteAll || action == TneAction::SkipAll))
            problem = "\"all\" answers are not offered";
        else if (action == TneAction::NewName)
            problem = CheckNewName(query, e->Conflict.NewName);
        if (problem.empty())
            answer = e->Conflict;
        else
            Fail("Name conflict for " + Quote(query.Name) + ": the script answers " + ActionName(action) +
                 ", but " + problem);
    }
    shown_[record].Answer =
        ActionName(answer.Action) + (answer.NewName.empty() ? "" : " " + Quote(answer.NewName));
    return answer;
}

TModalResult TScriptedUi::ShowModal(TForm& form) {
    const std::string text = FormText(form);
    std::size_t record = Record(TDialogKind::Modal, text);
    auto e = Take(TDialogKind::Modal, text);
    if (!e) {
        shown_[record].Answer = ModalResultName(mrCancel);
        return mrCancel;
    }
    form.BeginModal();
    try {
        TModalResult result = e->Script ? e->Script(form) : e->Result;
        if (form.Modal() && result != mrNone)
            form.SetModalResult(result);
    } catch (...) {
        form.EndModal(mrCancel);
        throw;
    }
    if (form.Modal()) {
        Fail("The modal form " + Quote(text) +
             " is still open after its script (no result, or the close was refused)");
        form.EndModal(mrCancel);
    }
    shown_[record].Answer = ModalResultName(form.ModalResult());
    return form.ModalResult();
}

void TScriptedUi::ShowForm(TForm& form) {
    std::size_t record = Record(TDialogKind::Form, FormText(form));
    form.Show();
    shown_[record].Answer = "shown";
}

// One clipboard content at a time, text or picture, as on the desktop.
void TScriptedUi::SetClipboardText(const std::string& text) {
    clipboard_ = text;
    clipboardPicture_.clear();
}

void TScriptedUi::SetClipboardPicture(const std::vector<std::uint8_t>& png) {
    clipboardPicture_ = png;
    clipboard_.clear();
}

void TScriptedUi::ProcessEvents() {
    ++processEventsCount_;
    if (processEventsHook_)
        processEventsHook_();
}

} // namespace korvel
