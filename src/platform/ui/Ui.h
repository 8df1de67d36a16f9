#pragma once

// IUi: the one door to the person. Core code never writes to a terminal or opens a window itself; it asks
// through this interface, implemented by the desktop program, the command line (TBatchUi) and tests
// (TScriptedUi).

#include "platform/ui/UiTypes.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace korvel {

class TForm;

class IUi {
public:
    virtual ~IUi() = default;

    // A message box; returns the modal result of the button chosen.
    virtual TModalResult MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) = 0;
    // Asks for one line of text; value holds the proposal and receives the answer. False when cancelled.
    virtual bool InputQuery(const std::string& caption, const std::string& prompt, std::string& value) = 0;
    // The chosen files (one unless MultiSelect); empty when cancelled.
    virtual std::vector<std::filesystem::path> OpenDialog(const TOpenDialogOptions& options) = 0;
    // The chosen file with the default extension applied; empty when cancelled.
    virtual std::optional<std::filesystem::path> SaveDialog(const TSaveDialogOptions& options) = 0;
    // color holds the proposal and receives the choice. False when cancelled.
    virtual bool ChooseColor(TColor& color) = 0;
    // An element name exists already in the target: overwrite, skip, rename or cancel?
    virtual TNameConflictAnswer NameConflict(const TNameConflictQuery& query) = 0;

    virtual std::string ClipboardText() = 0;
    virtual void SetClipboardText(const std::string& text) = 0;
    // A picture as PNG bytes; empty when the clipboard holds none. Setting one replaces the text, and
    // setting text replaces the picture, as on a desktop clipboard.
    virtual std::vector<std::uint8_t> ClipboardPicture() = 0;
    virtual void SetClipboardPicture(const std::vector<std::uint8_t>& png) = 0;

    // Runs the form modally and returns its modal result.
    virtual TModalResult ShowModal(TForm& form) = 0;
    // Shows the form without waiting (a child window when its FormStyle is fsChild).
    virtual void ShowForm(TForm& form) = 0;

    // Long loops call this between records so a window can repaint and its Cancel button can be pressed.
    virtual void ProcessEvents() = 0;

    // Convenience wrappers over MessageDlg.
    void ShowMessage(const std::string& text) { MessageDlg(text, mtInformation, {mbOK}); }
    void ShowError(const std::string& text) { MessageDlg(text, mtError, {mbOK}); }
    // True when the answer is Yes.
    bool Confirm(const std::string& text) { return MessageDlg(text, mtConfirmation, {mbYes, mbNo}) == mrYes; }

protected:
    // Nested: only the outermost pair changes the cursor. Use TWaitCursor rather than calling these.
    virtual void BeginWaitCursor() = 0;
    virtual void EndWaitCursor() = 0;
    friend class TWaitCursor;
};

// Shows the wait cursor for its lifetime.
class TWaitCursor {
public:
    explicit TWaitCursor(IUi& ui) : ui_(ui) { ui_.BeginWaitCursor(); }
    ~TWaitCursor() { ui_.EndWaitCursor(); }
    TWaitCursor(const TWaitCursor&) = delete;
    TWaitCursor& operator=(const TWaitCursor&) = delete;

private:
    IUi& ui_;
};

} // namespace korvel
