#include "gui/render/Renderer.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/base/WidgetRegistry.h"
#include "gui/elementlist/ElementListWidgets.h"
#include "gui/grid/GridWidgets.h"
#include "gui/render/ControlWidgets.h"
#include "gui/render/MenuBuilder.h"
#include "gui/render/NavigatorWidget.h"
#include "gui/render/PageWidgets.h"
#include "platform/ui/Menus.h"
#include "platform/ui/PageCtrls.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QVariant>

namespace korvel::gui {

namespace {

const char* const kControlProperty = "korvelControl";
const char* const kAliveProperty = "korvelControlAlive";

bool SheetShown(const TControl& control) {
    if (auto* sheet = dynamic_cast<const TTabSheet*>(&control))
        if (TPageControl* pages = sheet->PageControl())
            return sheet->Visible() && pages->ActivePage() == sheet;
    return control.Visible();
}

// Pop-up menus open on the context-menu request and their shortcuts work while the widget has the focus.
void BindPopupMenu(QWidget* widget, TControl& control) {
    // The pop-up menu is part of a control's style, which changes for many other reasons too.
    TPopupMenu* bound = static_cast<TPopupMenu*>(widget->property("korvelPopup").value<void*>());
    if (bound == control.PopupMenu())
        return;
    widget->setProperty("korvelPopup", QVariant::fromValue(static_cast<void*>(control.PopupMenu())));
    for (QAction* action : widget->actions())
        if (action->property("korvelPopupShortcut").toBool())
            delete action;
    TPopupMenu* popup = control.PopupMenu();
    if (popup == nullptr) {
        widget->setContextMenuPolicy(Qt::DefaultContextMenu);
        return;
    }
    widget->setContextMenuPolicy(Qt::CustomContextMenu);
    for (QAction* action : PopupShortcutActions(*popup, widget)) {
        action->setProperty("korvelPopupShortcut", true);
        widget->addAction(action);
    }
    QObject::disconnect(widget, &QWidget::customContextMenuRequested, nullptr, nullptr);
    QPointer<QWidget> guard(widget);
    QObject::connect(widget, &QWidget::customContextMenuRequested, widget,
                     [guard, &control](const QPoint& pos) {
                         if (!guard || ControlOfWidget(guard) != &control || control.PopupMenu() == nullptr)
                             return;
                         ShowPopupMenu(*control.PopupMenu(), guard->mapToGlobal(pos));
                     });
}

} // namespace

void RenderChildren(TControl& control, QWidget* widget) {
    for (int i = 0; i < control.ControlCount(); ++i) {
        TControl& child = control.Control(i);
        bool rendered = false;
        for (QObject* object : widget->children()) {
            auto* w = qobject_cast<QWidget*>(object);
            if (w && w->property(kControlProperty).value<void*>() == &child) {
                rendered = true;
                break;
            }
        }
        if (!rendered)
            RenderControl(child, widget);
    }
}

namespace {

void ApplyBounds(QWidget* widget, const TControl& control) {
    const TRect& r = control.BoundsRect();
    widget->setGeometry(r.Left, r.Top, std::max(0, r.Width), std::max(0, r.Height));
}

} // namespace

void RegisterAllWidgets() {
    RegisterStandardWidgets();
    RegisterPageWidgets();
    RegisterNavigatorWidget();
    RegisterGridAndChartWidgets();
    RegisterElementListWidget();
}

QWidget* RenderControl(TControl& control, QWidget* parent) {
    QWidget* widget = nullptr;
    if (const TWidgetFactory* factory = FindWidgetFactory(control.ClassName()))
        widget = (*factory)(control, parent);
    if (widget == nullptr) {
        // A control class without a widget still shows where it is, so a missing part is visible.
        auto* label = new QLabel(ToQ(std::string(control.ClassName()) + " " + control.Name()), parent);
        label->setFrameShape(QFrame::Box);
        widget = label;
    }
    widget->setObjectName(ToQ(control.Name()));
    widget->setProperty(kControlProperty, QVariant::fromValue(static_cast<void*>(&control)));
    widget->setProperty(kAliveProperty, true);

    ApplyBounds(widget, control);
    widget->setEnabled(control.Enabled());
    if (!control.Hint().empty())
        widget->setToolTip(ToQ(control.Hint()));
    BindPopupMenu(widget, control);

    QPointer<QWidget> guard(widget);
    new TWatch(
        widget, control,
        [guard, &control](const TChange& change) {
            if (!guard)
                return;
            switch (change.Kind) {
            case TChangeKind::Bounds:
            case TChangeKind::Align:
                ApplyBounds(guard, control);
                break;
            case TChangeKind::Visible:
                guard->setVisible(SheetShown(control));
                break;
            case TChangeKind::Enabled:
                guard->setEnabled(control.Enabled() && !guard->property("korvelReadOnly").toBool());
                break;
            case TChangeKind::Hint:
                guard->setToolTip(ToQ(control.Hint()));
                break;
            case TChangeKind::Children:
                RenderChildren(control, guard);
                break;
            case TChangeKind::Style:
                BindPopupMenu(guard, control);
                break;
            default:
                break;
            }
        },
        [guard] {
            if (!guard)
                return;
            guard->setProperty(kAliveProperty, false);
            guard->hide();
            guard->deleteLater();
        });

    RenderChildren(control, widget);
    widget->setVisible(SheetShown(control));
    return widget;
}

QWidget* FindControlWidget(QWidget* root, const TControl& control) {
    if (root == nullptr)
        return nullptr;
    if (root->property(kControlProperty).value<void*>() == &control &&
        root->property(kAliveProperty).toBool())
        return root;
    for (QWidget* w : root->findChildren<QWidget*>()) {
        if (w->property(kControlProperty).value<void*>() == &control && w->property(kAliveProperty).toBool())
            return w;
    }
    return nullptr;
}

TControl* ControlOfWidget(const QWidget* widget) {
    if (widget == nullptr || !widget->property(kAliveProperty).toBool())
        return nullptr;
    return static_cast<TControl*>(widget->property(kControlProperty).value<void*>());
}

} // namespace korvel::gui
