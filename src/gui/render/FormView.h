#pragma once

// The widget of a whole form: its main menu (if any) over the client area in which the form's controls are
// placed. The client's size is the form's size, so resizing the window re-runs the model's layout.

#include "platform/ui/Form.h"

#include <QWidget>

class QMenuBar;

namespace korvel::gui {

class TWatch;

class TFormView : public QWidget {
public:
    explicit TFormView(TForm& form, QWidget* parent = nullptr);

    // Null once the form is gone.
    TForm* Form() const;
    QWidget* Client() const { return client_; }
    QMenuBar* MenuBar() const { return menuBar_; }

    QSize sizeHint() const override;

private:
    void ApplyCaption();
    void FocusActiveControl();

    TForm& form_;
    TWatch* watch_ = nullptr;
    QWidget* client_ = nullptr;
    QMenuBar* menuBar_ = nullptr;
};

} // namespace korvel::gui
