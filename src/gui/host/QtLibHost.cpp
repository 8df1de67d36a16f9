#include "gui/host/QtLibHost.h"

#include "gui/host/MainWindow.h"
#include "gui/render/FormPresenter.h"

#include <QMdiArea>
#include <QMdiSubWindow>

namespace korvel::gui {

TQtLibHost::TQtLibHost(IUi& ui, TFormPresenter& presenter) : TLibHost(ui), presenter_(presenter) {}

TQtLibHost::~TQtLibHost() {
    if (window_ && HasLog())
        window_->AttachLog(nullptr);
}

void TQtLibHost::SetMainWindow(TMainWindow* window) {
    window_ = window;
    if (window_ && HasLog())
        window_->AttachLog(&Log());
}

void TQtLibHost::BringToFront(TForm& form) {
    TLibHost::BringToFront(form);
    if (QWidget* window = presenter_.WindowOf(form)) {
        if (window->isMinimized())
            window->showNormal();
        window->show();
        window->raise();
        if (auto* sub = qobject_cast<QMdiSubWindow*>(window); sub && sub->mdiArea())
            sub->mdiArea()->setActiveSubWindow(sub);
        else
            window->activateWindow();
    }
}

void TQtLibHost::ShowLog(bool modal) {
    if (window_)
        window_->ShowLog(&Log(), modal);
}

void TQtLibHost::LogCreated(TLog& log) {
    if (window_)
        window_->AttachLog(&log);
}

void TQtLibHost::LogFreeing(TLog& /*log*/) {
    if (window_)
        window_->AttachLog(nullptr);
}

} // namespace korvel::gui
