#pragma once

// Shows form models as Qt windows: modal forms as dialogs, other forms as windows of their own or, for child
// style forms, as windows inside the main window (the host decides where through PlaceChild). A window's
// close button asks the host to close the form, so the form's close query and close events decide; the window
// follows the form's visibility and goes when the form is destroyed.

#include "gui/ui/QtUi.h"

#include <QPointer>
#include <functional>
#include <map>

namespace korvel::gui {

class TFormView;

class TFormPresenter : public IFormPresenter {
public:
    TModalResult ShowModal(TForm& form) override;
    void ShowForm(TForm& form) override;

    // The window that shows a form (a dialog, a window, or a sub-window of the main window), or nullptr.
    QWidget* WindowOf(const TForm& form) const;
    TFormView* ViewOf(const TForm& form) const;

    // Parent of dialogs and separate windows (the main window).
    QWidget* DialogParent = nullptr;
    // Places a child-style form's view inside the main window and returns the window made for it.
    std::function<QWidget*(TFormView& view)> PlaceChild;
    // The person asked to close the window of a form that is not modal.
    std::function<void(TForm& form)> CloseRequested;

private:
    struct TShown {
        QPointer<QWidget> Window;
        QPointer<TFormView> View;
    };
    std::map<const TForm*, TShown> shown_;
};

} // namespace korvel::gui
