#pragma once

// TBatchUi: the dialog service of the command-line program. It never waits for input: questions are answered
// from the policy given on the command line, and every message is written to the streams given to it.

#include "platform/ui/Ui.h"

#include <ostream>

namespace korvel {

enum class TConflictPolicy : std::uint8_t { Skip, Overwrite, Rename, Cancel };

struct TBatchPolicy {
    bool AnswerYes = false; // to confirmations; otherwise No
    TConflictPolicy OnConflict = TConflictPolicy::Cancel;
    bool Quiet = false; // leave out information messages
};

class TBatchUi : public IUi {
public:
    // Warnings and errors go to err when given, else to out. Both streams must outlive the object.
    explicit TBatchUi(std::ostream& out, TBatchPolicy policy = {}, std::ostream* err = nullptr);

    const TBatchPolicy& Policy() const { return policy_; }

    TModalResult MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) override;
    // Cannot ask: the command line gives every value up front. Returns false.
    bool InputQuery(const std::string& caption, const std::string& prompt, std::string& value) override;
    std::vector<std::filesystem::path> OpenDialog(const TOpenDialogOptions& options) override;
    std::optional<std::filesystem::path> SaveDialog(const TSaveDialogOptions& options) override;
    bool ChooseColor(TColor& color) override;
    TNameConflictAnswer NameConflict(const TNameConflictQuery& query) override;
    // A clipboard of its own; the command line has no system clipboard.
    std::string ClipboardText() override { return clipboard_; }
    void SetClipboardText(const std::string& text) override;
    std::vector<std::uint8_t> ClipboardPicture() override { return clipboardPicture_; }
    void SetClipboardPicture(const std::vector<std::uint8_t>& png) override;
    // Forms need the desktop program: reports that and returns mrCancel.
    TModalResult ShowModal(TForm& form) override;
    void ShowForm(TForm& form) override;
    void ProcessEvents() override {}

protected:
    void BeginWaitCursor() override {}
    void EndWaitCursor() override {}

private:
    void Cannot(const std::string& what);
    std::ostream& out_;
    std::ostream& err_;
    TBatchPolicy policy_;
    std::string clipboard_;
    std::vector<std::uint8_t> clipboardPicture_;
};

} // namespace korvel
