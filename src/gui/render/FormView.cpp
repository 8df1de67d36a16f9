#include "gui/render/FormView.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/render/MenuBuilder.h"
#include "gui/render/Renderer.h"

#include <QMenuBar>
#include <QPointer>
#include <QResizeEvent>
#include <QVBoxLayout>

namespace korvel::gui {

namespace {

class TFormClient : public QWidget {
public:
    TFormClient(TForm& form, TWatch*& watch, QWidget* parent) : QWidget(parent), form_(form), watch_(watch) {}

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        if (watch_ && watch_->Alive())
            form_.SetBounds(form_.Left(), form_.Top(), width(), height());
    }

private:
    TForm& form_;
    TWatch*& watch_;
};

} // namespace

TFormView::TFormView(TForm& form, QWidget* parent) : QWidget(parent), form_(form) {
    setObjectName(ToQ(form.Name()));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    if (TMainMenu* menu = form.MainMenu()) {
        menuBar_ = BuildMenuBar(*menu, this);
        layout->addWidget(menuBar_);
    }
    client_ = new TFormClient(form, watch_, this);
    client_->setObjectName(QStringLiteral("FormClient"));
    layout->addWidget(client_, 1);

    QPointer<TFormView> guard(this);
    watch_ = new TWatch(this, form, [guard](const TChange& change) {
        if (!guard)
            return;
        switch (change.Kind) {
        case TChangeKind::Caption:
            guard->ApplyCaption();
            break;
        case TChangeKind::Children:
            RenderChildren(guard->form_, guard->client_);
            break;
        case TChangeKind::Selection:
            guard->FocusActiveControl();
            break;
        default:
            break;
        }
    });
    RenderChildren(form, client_);
    ApplyCaption();
    resize(sizeHint());
}

TForm* TFormView::Form() const {
    return watch_ && watch_->Alive() ? &form_ : nullptr;
}

QSize TFormView::sizeHint() const {
    const int menuHeight = menuBar_ ? menuBar_->sizeHint().height() : 0;
    if (!Form())
        return QWidget::sizeHint();
    return {form_.Width(), form_.Height() + menuHeight};
}

void TFormView::ApplyCaption() {
    setWindowTitle(ToQ(form_.Caption()));
    if (QWidget* w = window(); w != this && w != nullptr && w->property("korvelFormWindow").toBool())
        w->setWindowTitle(ToQ(form_.Caption()));
}

void TFormView::FocusActiveControl() {
    if (TControl* active = form_.ActiveControl())
        if (QWidget* w = FindControlWidget(client_, *active))
            w->setFocus(Qt::OtherFocusReason);
}

} // namespace korvel::gui
