#include "gui/host/MainWindow.h"

#include "Version.h"
#include "gui/base/QtText.h"
#include "gui/host/QtLibHost.h"
#include "gui/render/FormPresenter.h"
#include "gui/render/FormView.h"
#include "gui/ui/LogView.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/settings/WindowPlacement.h"
#include "platform/ui/Ui.h"
#include "service/LibService.h"
#include "service/ProgramSettingsForm.h"

#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QStatusBar>
#include <QVBoxLayout>
#include <exception>
#include <filesystem>

namespace korvel::gui {

namespace {

const char* const kMainSection = "Main";

} // namespace

TMainWindow::TMainWindow(TQtLibHost& host) : host_(host) {
    setObjectName(QStringLiteral("MainWindow"));
    mdi_ = new QMdiArea(this);
    mdi_->setObjectName(QStringLiteral("WorkArea"));
    mdi_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdi_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdi_);
    connect(mdi_, &QMdiArea::subWindowActivated, this, &TMainWindow::SubWindowActivated);

    logView_ = new TLogView(this);
    logDock_ = new QDockWidget(QStringLiteral("Log"), this);
    logDock_->setObjectName(QStringLiteral("LogDock"));
    logDock_->setWidget(logView_);
    addDockWidget(Qt::BottomDockWidgetArea, logDock_);
    logDock_->hide();

    projectLabel_ = new QLabel(this);
    statusBar()->addPermanentWidget(projectLabel_, 1);

    BuildMenus();

    host_.Presenter().DialogParent = this;
    host_.Presenter().PlaceChild = [this](TFormView& view) {
        return PlaceChild(view);
    };
    host_.Presenter().CloseRequested = [this](TForm& form) {
        Run([&] { host_.CloseWindow(form); });
    };

    resize(1200, 800);
    if (auto placement = LoadWindowSettings(kMainSection)) {
        setGeometry(placement->Left, placement->Top, placement->Width, placement->Height);
        if (placement->Maximized)
            setWindowState(windowState() | Qt::WindowMaximized);
    }
    UpdateTitle();
}

TMainWindow::~TMainWindow() {
    // The work area reports activations while it takes its windows down; nobody is listening by then.
    disconnect(mdi_, nullptr, this, nullptr);
    host_.Presenter().PlaceChild = nullptr;
    host_.Presenter().CloseRequested = nullptr;
    host_.Presenter().DialogParent = nullptr;
    logView_->SetLog(nullptr);
}

template <class F> void TMainWindow::Run(F&& command) {
    try {
        command();
    } catch (const std::exception& e) {
        host_.Ui().ShowError(e.what());
    }
    host_.ReleaseFreed();
}

void TMainWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(QStringLiteral("Project folder..."), this, [this] { ChooseProjectFolder(); });
    file->addAction(QStringLiteral("Settings..."), this, [this] { EditSettings(); });
    file->addSeparator();
    QAction* exit = file->addAction(QStringLiteral("Exit"), this, [this] { close(); });
    exit->setShortcut(QKeySequence::Quit);

    BuildLibrariesMenu(menuBar()->addMenu(QStringLiteral("&Libraries")));

    QMenu* window = menuBar()->addMenu(QStringLiteral("&Window"));
    QAction* log = logDock_->toggleViewAction();
    log->setText(QStringLiteral("Log window"));
    window->addAction(log);
    window->addSeparator();
    window->addAction(QStringLiteral("Cascade"), mdi_, &QMdiArea::cascadeSubWindows);
    window->addAction(QStringLiteral("Tile"), mdi_, &QMdiArea::tileSubWindows);
    window->addAction(QStringLiteral("Close all"), this, [this] { CloseAllEditors(); });

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(QStringLiteral("About..."), this, [this] {
        host_.Ui().ShowMessage("Korvel library manager " + VersionString() +
                               "\n\nLibraries of acoustic source data for noise calculations.");
    });
}

void TMainWindow::BuildLibrariesMenu(QMenu* menu) {
    menu->setObjectName(QStringLiteral("LibrariesMenu"));
    for (int s = static_cast<int>(TLibSubsystem::Sound); s <= static_cast<int>(TLibSubsystem::Aircraft);
         ++s) {
        const auto subsystem = static_cast<TLibSubsystem>(s);
        QMenu* sub = nullptr;
        for (const TLibKindInfo& kind : AllLibKinds()) {
            if (kind.Subsystem != subsystem)
                continue;
            if (sub == nullptr)
                sub = menu->addMenu(ToQ(SubsystemCaption(subsystem)));
            const int type = kind.Type;
            QAction* action = sub->addAction(ToQ(kind.Caption), this, [this, type] { OpenLibrary(type); });
            action->setData(type);
            if (!HasLibEditor(type))
                action->setStatusTip(QStringLiteral("Not yet implemented for this library type!"));
        }
    }
}

void TMainWindow::OpenLibrary(int libType) {
    Run([&] {
        if (!HasLibEditor(libType)) {
            host_.Ui().ShowMessage("Not yet implemented for this library type!");
            return;
        }
        const TFormStyle style = GetLibWindowStyle() == 0 ? fsNormal : fsChild;
        ShowLib(host_, libType, host_.ProjectFolder(), false, style);
    });
}

void TMainWindow::ChooseProjectFolder() {
    Run([&] {
        TOpenDialogOptions options;
        options.Title = "Project folder";
        options.SelectFolder = true;
        options.InitialDir = host_.ProjectFolder();
        const std::vector<std::filesystem::path> chosen = host_.Ui().OpenDialog(options);
        if (!chosen.empty())
            SetProjectFolder(chosen.front().string());
    });
}

void TMainWindow::SetProjectFolder(const std::string& folder) {
    const std::string project = folder.empty() ? std::string() : IncludeTrailingSeparator(folder);
    host_.SetProjectFolder(project);
    SetLastProjectFolder(project);
    UpdateTitle();
}

void TMainWindow::EditSettings() {
    Run([&] { EditProgramSettings(host_.Ui()); });
}

void TMainWindow::UpdateTitle() {
    const std::string& project = host_.ProjectFolder();
    setWindowTitle(project.empty() ? QStringLiteral("Korvel library manager")
                                   : QStringLiteral("Korvel library manager - ") + ToQ(project));
    projectLabel_->setText(project.empty() ? QStringLiteral("No project folder chosen")
                                           : QStringLiteral("Project: ") + ToQ(project));
}

QWidget* TMainWindow::PlaceChild(TFormView& view) {
    // The first editor takes the whole work area and follows the main window's size; the next ones join it
    // as the work area shows its windows (maximized too while the active one is).
    const bool first = mdi_->subWindowList().isEmpty();
    QMdiSubWindow* sub = mdi_->addSubWindow(&view);
    sub->setObjectName(view.objectName());
    sub->setAttribute(Qt::WA_DeleteOnClose, false);
    sub->resize(sub->sizeHint());
    if (first)
        sub->setWindowState(sub->windowState() | Qt::WindowMaximized);
    return sub;
}

void TMainWindow::SubWindowActivated(QMdiSubWindow* window) {
    TForm* active = nullptr;
    if (window != nullptr)
        for (TForm* form : host_.Windows())
            if (host_.Presenter().WindowOf(*form) == window)
                active = form;
    host_.WindowActivated(active);
}

void TMainWindow::AttachLog(TLog* log) {
    logView_->SetLog(log);
}

void TMainWindow::ShowLog(TLog* log, bool modal) {
    if (!modal) {
        logView_->SetLog(log);
        logDock_->show();
        logDock_->raise();
        return;
    }
    // A finished operation's log, shown until the person has read it.
    QDialog dialog(this);
    dialog.setWindowTitle(QStringLiteral("Log"));
    auto* layout = new QVBoxLayout(&dialog);
    auto* view = new TLogView(&dialog);
    view->SetLog(log);
    layout->addWidget(view);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, &dialog);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);
    dialog.resize(640, 400);
    dialog.exec();
    view->SetLog(nullptr);
}

bool TMainWindow::CloseAllEditors() {
    bool all = true;
    Run([&] {
        for (TForm* form : host_.Windows()) {
            if (!host_.CloseWindow(*form)) {
                all = false;
                return;
            }
        }
    });
    return all;
}

void TMainWindow::closeEvent(QCloseEvent* event) {
    if (!CloseAllEditors()) {
        event->ignore();
        return;
    }
    TWindowPlacement placement;
    const QRect r = normalGeometry();
    placement.Left = r.x();
    placement.Top = r.y();
    placement.Width = r.width();
    placement.Height = r.height();
    placement.Maximized = isMaximized();
    SaveWindowSettings(kMainSection, placement);
    event->accept();
}

} // namespace korvel::gui
