#pragma once

// TScriptedUi: the dialog service for tests. Each dialog must be announced beforehand, in order, with the
// answer to give; every text shown is recorded. A dialog nobody expected is a failure: it is recorded,
// reported through the unexpected handler (the test support turns that into a test failure) and gets the
// harmless answer (Cancel, No, or nothing chosen).

#include "platform/ui/Ui.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace korvel {

enum class TDialogKind : std::uint8_t { Message, Input, Open, Save, Color, NameConflict, Modal, Form };
std::string DialogKindName(TDialogKind kind);

struct TShownDialog {
    TDialogKind Kind;
    std::string Text;   // message text; caption and prompt; dialog title; element name; form name and caption
    std::string Answer; // what the script answered, in words
};

class TScriptedUi : public IUi {
public:
    // Drives a modal form's controls as a user would, then returns the result to close it with (mrNone: the
    // form must have closed itself, e.g. through a button's ModalResult).
    using TFormScript = std::function<TModalResult(TForm& form)>;

    // Expectations; fragment must occur in the dialog's text (empty matches any). They chain.
    TScriptedUi& ExpectMessage(std::string fragment, TModalResult answer);
    TScriptedUi& ExpectMessage(TMsgDlgType type, std::string fragment, TModalResult answer);
    // nullopt answers Cancel.
    TScriptedUi& ExpectInput(std::string fragment, std::optional<std::string> answer);
    // No files answers Cancel.
    TScriptedUi& ExpectOpen(std::string fragment, std::vector<std::filesystem::path> files);
    TScriptedUi& ExpectSave(std::string fragment, std::optional<std::filesystem::path> file);
    TScriptedUi& ExpectColor(std::optional<TColor> color);
    TScriptedUi& ExpectNameConflict(std::string fragment, TneAction action, std::string newName = {});
    TScriptedUi& ExpectModal(std::string fragment, TFormScript script);
    TScriptedUi& ExpectModal(std::string fragment, TModalResult result);

    // Called with the description of every failure: unexpected dialogs, answers the dialog cannot give,
    // forms left open by their script, expectations never used (VerifyAllAnswered).
    void SetUnexpectedHandler(std::function<void(const std::string&)> handler) {
        onUnexpected_ = std::move(handler);
    }
    // Information boxes with only OK are answered without an expectation (still recorded).
    void SetAnswerInformation(bool answer) { answerInformation_ = answer; }
    // Runs on every ProcessEvents(): lets a test press Cancel in the middle of a long loop.
    void SetProcessEventsHook(std::function<void()> hook) { processEventsHook_ = std::move(hook); }

    const std::vector<TShownDialog>& Shown() const { return shown_; }
    // Texts of the message boxes shown, in order.
    std::vector<std::string> Messages() const;
    bool WasShown(std::string_view fragment) const;
    const std::vector<std::string>& Failures() const { return failures_; }
    std::size_t Pending() const { return expected_.size(); }
    // Reports each expectation not used as a failure and drops it; true when there was none.
    bool VerifyAllAnswered();

    int ProcessEventsCount() const { return processEventsCount_; }
    int WaitCursorDepth() const { return waitDepth_; }
    int WaitCursorUses() const { return waitUses_; }

    // IUi
    TModalResult MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) override;
    bool InputQuery(const std::string& caption, const std::string& prompt, std::string& value) override;
    std::vector<std::filesystem::path> OpenDialog(const TOpenDialogOptions& options) override;
    std::optional<std::filesystem::path> SaveDialog(const TSaveDialogOptions& options) override;
    bool ChooseColor(TColor& color) override;
    TNameConflictAnswer NameConflict(const TNameConflictQuery& query) override;
    std::string ClipboardText() override { return clipboard_; }
    void SetClipboardText(const std::string& text) override;
    std::vector<std::uint8_t> ClipboardPicture() override { return clipboardPicture_; }
    void SetClipboardPicture(const std::vector<std::uint8_t>& png) override;
    TModalResult ShowModal(TForm& form) override;
    void ShowForm(TForm& form) override;
    void ProcessEvents() override;

protected:
    void BeginWaitCursor() override {
        ++waitDepth_;
        ++waitUses_;
    }
    void EndWaitCursor() override {
        if (waitDepth_ > 0)
            --waitDepth_;
    }

private:
    struct TExpectation {
        TExpectation(TDialogKind kind, std::string fragment) : Kind(kind), Fragment(std::move(fragment)) {}
        TDialogKind Kind;
        std::string Fragment;
        std::optional<TMsgDlgType> Type;
        TModalResult Result = mrNone;
        std::optional<std::string> Text;
        std::vector<std::filesystem::path> Files;
        std::optional<TColor> Color;
        TNameConflictAnswer Conflict;
        TFormScript Script;
    };

    TScriptedUi& Expect(TExpectation expectation);
    // The next expectation when it fits the dialog; otherwise records the failure and returns nothing.
    std::optional<TExpectation> Take(TDialogKind kind, const std::string& text,
                                     std::optional<TMsgDlgType> type = std::nullopt);
    // Index of the new record (an index, as nested dialogs may grow the list meanwhile).
    std::size_t Record(TDialogKind kind, std::string text);
    void Fail(const std::string& message);

    std::deque<TExpectation> expected_;
    std::vector<TShownDialog> shown_;
    std::vector<std::string> failures_;
    std::function<void(const std::string&)> onUnexpected_;
    std::function<void()> processEventsHook_;
    bool answerInformation_ = false;
    std::string clipboard_;
    std::vector<std::uint8_t> clipboardPicture_;
    int processEventsCount_ = 0;
    int waitDepth_ = 0;
    int waitUses_ = 0;
};

} // namespace korvel
