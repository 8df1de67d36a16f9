#pragma once

// The host of the editors in the desktop program: windows are shown by the presenter, the log by the main
// window's log dock.

#include "editor/LibHost.h"

namespace korvel::gui {

class TFormPresenter;
class TMainWindow;

class TQtLibHost : public TLibHost {
public:
    TQtLibHost(IUi& ui, TFormPresenter& presenter);
    ~TQtLibHost() override;

    void SetMainWindow(TMainWindow* window);
    TFormPresenter& Presenter() const { return presenter_; }

    void BringToFront(TForm& form) override;
    void ShowLog(bool modal) override;

    // The main window reports which editor the person works in.
    void WindowActivated(TForm* form) { SetActiveWindow(form); }

protected:
    void LogCreated(TLog& log) override;
    void LogFreeing(TLog& log) override;

private:
    TFormPresenter& presenter_;
    TMainWindow* window_ = nullptr;
};

} // namespace korvel::gui
