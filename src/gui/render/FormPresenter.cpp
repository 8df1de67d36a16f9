#include "gui/render/FormPresenter.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/render/FormView.h"
#include "gui/render/Renderer.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QVBoxLayout>

namespace korvel::gui {

namespace {

// The form a window shows is still there (its watch has not seen it go).
bool FormAlive(const QObject* window, const TForm& form) {
    const TWatch* watch = FindWatch(window, form);
    return watch != nullptr && watch->Alive();
}

// Esc and the close button of a modal form go through the form: its Cancel button if it has one, else a
// close (which the form's close query may refuse). The dialog ends when the form's modal state ends.
class TModalDialog : public QDialog {
public:
    TModalDialog(TForm& form, QWidget* parent) : QDialog(parent), form_(form) {}

    void reject() override {
        if (!FormAlive(this, form_)) {
            QDialog::reject();
            return;
        }
        if (!form_.PressCancel())
            form_.Close();
    }

private:
    TForm& form_;
};

// A form's own top-level window; closing it asks the form.
class TFormWindow : public QWidget {
public:
    TFormWindow(TForm& form, std::function<void(TForm&)>& closeRequested, QWidget* parent)
        : QWidget(parent, Qt::Window), form_(form), closeRequested_(closeRequested) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (!FormAlive(this, form_)) {
            event->accept();
            return;
        }
        event->ignore();
        if (closeRequested_)
            closeRequested_(form_);
        else
            form_.Close();
    }
    void moveEvent(QMoveEvent* event) override {
        QWidget::moveEvent(event);
        if (FormAlive(this, form_) && !isMaximized())
            form_.SetBounds(x(), y(), form_.Width(), form_.Height());
    }

private:
    TForm& form_;
    std::function<void(TForm&)>& closeRequested_;
};

// Closing a sub-window of the main window asks the form too.
class TCloseFilter : public QObject {
public:
    TCloseFilter(QObject* parent, TForm& form, TWatch* watch, std::function<void(TForm&)>& closeRequested)
        : QObject(parent), form_(form), watch_(watch), closeRequested_(closeRequested) {}
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::Close && watch_->Alive()) {
            event->ignore();
            if (closeRequested_)
                closeRequested_(form_);
            else
                form_.Close();
            return true;
        }
        return QObject::eventFilter(object, event);
    }

private:
    TForm& form_;
    TWatch* watch_;
    std::function<void(TForm&)>& closeRequested_;
};

} // namespace

TModalResult TFormPresenter::ShowModal(TForm& form) {
    TModalDialog dialog(form, DialogParent ? DialogParent : QApplication::activeWindow());
    dialog.setProperty("korvelFormWindow", true);
    dialog.setObjectName(ToQ(form.Name()));
    auto* layout = new QVBoxLayout(&dialog);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* view = new TFormView(form, &dialog);
    layout->addWidget(view);
    dialog.setWindowTitle(ToQ(form.Caption()));
    dialog.resize(view->sizeHint());

    shown_[&form] = {&dialog, view};
    QPointer<TModalDialog> guard(&dialog);
    auto* watch = new TWatch(
        &dialog, form,
        [guard, &form](const TChange& change) {
            if (guard && (change.Kind == TChangeKind::Visible || change.Kind == TChangeKind::Value) &&
                !form.Modal() && guard->isVisible())
                guard->done(0);
        },
        [guard] {
            if (guard)
                guard->done(0);
        });

    form.BeginModal();
    if (form.Modal()) {
        if (TControl* active = form.ActiveControl())
            if (QWidget* w = FindControlWidget(view->Client(), *active))
                QMetaObject::invokeMethod(
                    w, [w] { w->setFocus(Qt::OtherFocusReason); }, Qt::QueuedConnection);
        dialog.exec();
    }
    shown_.erase(&form);
    if (!watch->Alive())
        return mrCancel;
    // The dialog went without the form ending its modal state (the program is quitting): end it now.
    if (form.Modal())
        form.EndModal(mrCancel);
    return form.ModalResult();
}

void TFormPresenter::ShowForm(TForm& form) {
    if (QWidget* window = WindowOf(form)) {
        form.Show();
        window->show();
        window->raise();
        window->activateWindow();
        return;
    }
    QWidget* window = nullptr;
    TFormView* view = nullptr;
    if (form.FormStyle() == fsChild && PlaceChild) {
        view = new TFormView(form);
        window = PlaceChild(*view);
    } else {
        auto* own = new TFormWindow(form, CloseRequested, DialogParent);
        own->setProperty("korvelFormWindow", true);
        auto* layout = new QVBoxLayout(own);
        layout->setContentsMargins(0, 0, 0, 0);
        view = new TFormView(form, own);
        layout->addWidget(view);
        own->setWindowTitle(ToQ(form.Caption()));
        own->resize(view->sizeHint());
        if (form.Left() != 0 || form.Top() != 0)
            own->move(form.Left(), form.Top());
        window = own;
    }
    window->setAttribute(Qt::WA_DeleteOnClose, false);

    QPointer<QWidget> guard(window);
    const TForm* key = &form;
    auto* watch = new TWatch(
        window, form,
        [guard, &form](const TChange& change) {
            if (guard && change.Kind == TChangeKind::Visible)
                guard->setVisible(form.Visible());
        },
        [this, guard, key] {
            shown_.erase(key);
            if (guard) {
                guard->hide();
                guard->deleteLater();
            }
        });
    if (window->property("korvelFormWindow").toBool() == false)
        window->installEventFilter(new TCloseFilter(window, form, watch, CloseRequested));
    shown_[&form] = {window, view};

    form.Show();
    window->show();
    window->raise();
    if (TControl* active = form.ActiveControl())
        if (QWidget* w = FindControlWidget(view->Client(), *active))
            w->setFocus(Qt::OtherFocusReason);
}

QWidget* TFormPresenter::WindowOf(const TForm& form) const {
    auto it = shown_.find(&form);
    return it == shown_.end() ? nullptr : it->second.Window.data();
}

TFormView* TFormPresenter::ViewOf(const TForm& form) const {
    auto it = shown_.find(&form);
    return it == shown_.end() ? nullptr : it->second.View.data();
}

} // namespace korvel::gui
