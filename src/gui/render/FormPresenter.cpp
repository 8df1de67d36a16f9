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

// Esc and the close button of a modal form go through the form: its Cancel button if it has one, else a
// close (which the form's close query may refuse). The dialog ends when the form's modal state ends.
class TModalDialog : public QDialog {
public:
    TModalDialog(TForm& form, TWatch*& watch, QWidget* parent)
        : QDialog(parent), form_(form), watch_(watch) {}

    void reject() override {
        if (!watch_ || !watch_->Alive()) {
            QDialog::reject();
            return;
        }
        if (!form_.PressCancel())
            form_.Close();
    }

private:
    TForm& form_;
    TWatch*& watch_;
};

// A form's own top-level window; closing it asks the form.
class TFormWindow : public QWidget {
public:
    TFormWindow(TForm& form, TWatch*& watch, std::function<void(TForm&)>& closeRequested, QWidget* parent)
        : QWidget(parent, Qt::Window), form_(form), watch_(watch), closeRequested_(closeRequested) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (!watch_ || !watch_->Alive()) {
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
        if (watch_ && watch_->Alive() && !isMaximized())
            form_.SetBounds(x(), y(), form_.Width(), form_.Height());
    }

private:
    TForm& form_;
    TWatch*& watch_;
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
    TWatch* watch = nullptr;
    TModalDialog dialog(form, watch, DialogParent ? DialogParent : QApplication::activeWindow());
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
    watch = new TWatch(
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
    auto* watchSlot = new TWatch*(nullptr);
    QWidget* window = nullptr;
    TFormView* view = nullptr;
    if (form.FormStyle() == fsChild && PlaceChild) {
        view = new TFormView(form);
        window = PlaceChild(*view);
    } else {
        auto* own = new TFormWindow(form, *watchSlot, CloseRequested, DialogParent);
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
    // The slot outlives nothing: it is freed with the window.
    QObject::connect(window, &QObject::destroyed, [watchSlot] { delete watchSlot; });

    QPointer<QWidget> guard(window);
    const TForm* key = &form;
    *watchSlot = new TWatch(
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
        window->installEventFilter(new TCloseFilter(window, form, *watchSlot, CloseRequested));
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
