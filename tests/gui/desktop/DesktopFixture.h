#pragma once

// The desktop program as a test sees it: System, Global and Project folders in a temporary directory, the
// Qt dialog service, the presenter, the host and the main window, all on the offscreen platform. Tests act
// through widgets (typing, clicking tabs and buttons) and answer real dialogs with the dialog driver.

#include "editor/CustomLibForm.h"
#include "gui/host/MainWindow.h"
#include "gui/host/QtLibHost.h"
#include "gui/render/FormPresenter.h"
#include "gui/render/FormView.h"
#include "gui/render/Renderer.h"
#include "gui/ui/QtUi.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <QWidget>
#include <gtest/gtest.h>
#include <string>

namespace korvel::gui::test {

class DesktopTest : public ::testing::Test {
protected:
    DesktopTest();
    ~DesktopTest() override;

    // Opens a kind's editor through the Libraries menu command; fails the test when none opens.
    TCustomLibForm& OpenEditor(int libType);
    TFormView& ViewOf(const TForm& form);
    // The widget of the named control of a form, cast to the widget class asked for.
    template <class W> W* WidgetOf(TForm& form, std::string_view controlName) {
        QWidget* w = FindControlWidget(ViewOf(form).Client(), *form.FindControl(controlName));
        EXPECT_NE(w, nullptr) << "no widget for " << controlName;
        auto* typed = qobject_cast<W*>(w);
        EXPECT_NE(typed, nullptr) << controlName << " is a "
                                  << (w ? w->metaObject()->className() : "nothing");
        return typed;
    }
    // Lets posted events and background loads run.
    static void Settle(int milliseconds = 50);

    korvel::test::LibFolders folders_;
    TFormPresenter presenter_;
    TQtUi ui_{nullptr, &presenter_};
    TQtLibHost host_{ui_, presenter_};
    TLibService service_{host_};
    TMainWindow window_{host_};
};

} // namespace korvel::gui::test
