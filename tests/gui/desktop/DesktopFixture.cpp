#include "DesktopFixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace korvel::gui::test {

DesktopTest::DesktopTest() {
    RegisterAllWidgets();
    ui_.SetDialogParent(&window_);
    host_.SetMainWindow(&window_);
    window_.SetProjectFolder(folders_.Project());
    window_.show();
}

DesktopTest::~DesktopTest() {
    // Editors go without their close questions: a failed test may leave one half-edited.
    for (TForm* form : host_.Windows())
        host_.Destroy(*form);
    Settle(0);
}

TCustomLibForm& DesktopTest::OpenEditor(int libType) {
    const std::size_t before = host_.Windows().size();
    window_.OpenLibrary(libType);
    const std::vector<TForm*> windows = host_.Windows();
    if (windows.size() != before + 1)
        throw std::runtime_error("no editor opened for library type " + std::to_string(libType));
    auto* editor = dynamic_cast<TCustomLibForm*>(windows.back());
    if (editor == nullptr)
        throw std::runtime_error("the new window is not a library editor");
    Settle();
    return *editor;
}

TFormView& DesktopTest::ViewOf(const TForm& form) {
    TFormView* view = presenter_.ViewOf(form);
    if (view == nullptr)
        throw std::runtime_error("form " + form.Name() + " is not shown");
    return *view;
}

void DesktopTest::Settle(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (milliseconds > 0)
            QThread::msleep(2);
    } while (timer.elapsed() < milliseconds);
}

} // namespace korvel::gui::test
