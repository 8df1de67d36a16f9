#pragma once

// The main window of the desktop program: editors open inside its work area (or as windows of their own, as
// the settings say), the "Libraries" menu lists every library kind by subsystem, and a dock shows the log of
// long operations with its progress and Cancel button.

#include "platform/log/Log.h"

#include <QMainWindow>
#include <string>

class QDockWidget;
class QLabel;
class QMdiArea;
class QMdiSubWindow;

namespace korvel {
class TForm;
}

namespace korvel::gui {

class TFormView;
class TLogView;
class TQtLibHost;

class TMainWindow : public QMainWindow {
public:
    explicit TMainWindow(TQtLibHost& host);
    ~TMainWindow() override;

    QMdiArea* WorkArea() const { return mdi_; }
    TLogView* LogView() const { return logView_; }
    QDockWidget* LogDock() const { return logDock_; }

    // What the menu commands do.
    void OpenLibrary(int libType);
    void ChooseProjectFolder();
    void SetProjectFolder(const std::string& folder);
    void EditSettings();

    void AttachLog(TLog* log);
    void ShowLog(TLog* log, bool modal);

    // Closes every editor; false when one refused.
    bool CloseAllEditors();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void BuildMenus();
    void BuildLibrariesMenu(QMenu* menu);
    QWidget* PlaceChild(TFormView& view);
    void SubWindowActivated(QMdiSubWindow* window);
    void UpdateTitle();
    // Runs a command of the person, showing its error and freeing closed editors afterwards.
    template <class F> void Run(F&& command);

    TQtLibHost& host_;
    QMdiArea* mdi_ = nullptr;
    QDockWidget* logDock_ = nullptr;
    TLogView* logView_ = nullptr;
    QLabel* projectLabel_ = nullptr;
};

} // namespace korvel::gui
