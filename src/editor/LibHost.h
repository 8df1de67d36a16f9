#pragma once

// TLibHost: what the editors see of the program that hosts them: the dialog service, the current project,
// the windows (editors opened as child windows of the main window, or as windows of their own) and the log
// of long operations. The desktop program, the command line and tests each provide one.

#include "platform/log/Log.h"
#include "platform/ui/Form.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

class IUi;

class TLibHost {
public:
    explicit TLibHost(IUi& ui);
    virtual ~TLibHost();
    TLibHost(const TLibHost&) = delete;
    TLibHost& operator=(const TLibHost&) = delete;

    IUi& Ui() const { return ui_; }

    const std::string& ProjectFolder() const { return projectFolder_; }
    void SetProjectFolder(std::string folder) { projectFolder_ = std::move(folder); }

    // The host owns every window it is given; a window that closed asking to be freed is destroyed by
    // ReleaseFreed, once control is back in the host's loop.
    TForm& Adopt(std::unique_ptr<TForm> form);
    void ReleaseFreed();
    // Closes a window and frees it when its close asks for that. False when the close was refused.
    bool CloseWindow(TForm& form);
    // Destroys a window at once (a window that never opened, a converted library's hidden editor).
    void Destroy(TForm& form);

    // The open child windows of the main window in the order they were opened (closed ones excluded).
    std::vector<TForm*> MDIChildren() const;
    int MDIChildCount() const { return static_cast<int>(MDIChildren().size()); }
    // Every open window, child or not.
    std::vector<TForm*> Windows() const;

    // Gives a window the focus and brings it to the front (restoring it when minimised).
    virtual void BringToFront(TForm& form);
    TForm* ActiveWindow() const { return active_; }

    // Lets pending window messages run (repaint, the Cancel button of the log).
    virtual void ProcessMessages();

    // The log of long operations; created on first use.
    TLog& Log();
    bool HasLog() const { return log_ != nullptr; }
    void FreeLog();
    // Shows the log to the person, modally when asked (the desktop program's log window).
    virtual void ShowLog(bool modal);

protected:
    // The window the person works in now; the desktop program reports activations.
    void SetActiveWindow(TForm* form) { active_ = form; }
    // A log window follows the log from its creation until just before it is freed.
    virtual void LogCreated(TLog& /*log*/) {}
    virtual void LogFreeing(TLog& /*log*/) {}

private:
    IUi& ui_;
    std::string projectFolder_;
    std::vector<std::unique_ptr<TForm>> windows_;
    TForm* active_ = nullptr;
    std::unique_ptr<TLog> log_;
};

} // namespace korvel
