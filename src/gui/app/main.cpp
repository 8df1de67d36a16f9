// korvellib-gui: the desktop program of the Korvel library manager.

#include "editor/CustomLibForm.h"
#include "gui/app/GuiOptions.h"
#include "gui/host/MainWindow.h"
#include "gui/host/QtLibHost.h"
#include "gui/render/FormPresenter.h"
#include "gui/render/Renderer.h"
#include "gui/ui/QtUi.h"
#include "platform/settings/ProgramSettings.h"
#include "service/LibService.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFont>
#include <QPixmap>
#include <QThread>
#include <QTimer>
#include <filesystem>
#include <iostream>

namespace {

// Lets queued work finish (rows the element lists load in the background) before the picture is taken.
void Settle(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
}

// The element and page an editor opened from the command line starts on.
void ShowStart(korvel::TForm& form, const korvel::gui::TGuiOptions& options) {
    using namespace korvel;
    auto* editor = dynamic_cast<TCustomLibForm*>(&form);
    if (!editor)
        return;
    if (options.Element > 0 && !editor->GotoElementNo(editor->GetCurIndex(), options.Element))
        std::cerr << "korvellib-gui: \"" << editor->Caption() << "\" has no element " << options.Element
                  << '\n';
    if (options.Page.empty())
        return;
    for (TControl* control : editor->AllControls())
        if (auto* pages = dynamic_cast<TPageControl*>(control))
            for (int i = 0; i < pages->PageCount(); ++i)
                if (pages->Page(i).Caption() == options.Page) {
                    pages->SetActivePageIndex(i);
                    return;
                }
    std::cerr << "korvellib-gui: \"" << editor->Caption() << "\" has no page \"" << options.Page << "\"\n";
}

} // namespace

int main(int argc, char** argv) {
    using namespace korvel;
    using namespace korvel::gui;

    TGuiOptions options;
    if (auto code = ParseGuiOptions(argc, argv, options))
        return *code;
    ApplyGuiOptions(options);

    std::string project = AbsoluteFolder(options.ProjectFolder);
    std::error_code ec;
    if (!project.empty() && !std::filesystem::is_directory(project, ec)) {
        std::cerr << "korvellib-gui: the project folder \"" << options.ProjectFolder << "\" does not exist\n";
        return 2;
    }
    if (project.empty()) {
        project = GetLastProjectFolder();
        if (!project.empty() && !std::filesystem::is_directory(project, ec))
            project.clear();
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Korvel library manager"));
    QApplication::setOrganizationName(QStringLiteral("Korvel"));
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));

    RegisterAllWidgets();
    TFormPresenter presenter;
    TQtUi ui(nullptr, &presenter);
    TQtLibHost host(ui, presenter);
    TLibService service(host);
    TMainWindow window(host);
    ui.SetDialogParent(&window);
    host.SetMainWindow(&window);
    if (!project.empty())
        window.SetProjectFolder(project);
    if (options.WindowWidth > 0)
        window.resize(options.WindowWidth, options.WindowHeight);
    window.show();
    for (int type : options.OpenTypes)
        window.OpenLibrary(type);
    for (TForm* form : host.Windows())
        ShowStart(*form, options);

    if (!options.Screenshot.empty()) {
        QTimer::singleShot(0, &window, [&] {
            Settle(600);
            const bool saved = window.grab().save(QString::fromStdString(options.Screenshot), "PNG");
            if (!saved)
                std::cerr << "korvellib-gui: could not write \"" << options.Screenshot << "\"\n";
            QCoreApplication::exit(saved ? 0 : 1);
        });
    }
    return QApplication::exec();
}
