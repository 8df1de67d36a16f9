#include "gui/render/MenuBuilder.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>
#include <memory>

namespace korvel::gui {

namespace {

void SyncAction(QAction* action, const TMenuItem& item) {
    action->setText(ToQ(item.Caption()));
    action->setEnabled(item.Enabled());
    action->setVisible(item.Visible());
    action->setCheckable(item.AutoCheck() || item.Checked());
    action->setChecked(item.Checked());
    if (!item.Hint().empty())
        action->setStatusTip(ToQ(item.Hint()));
    action->setShortcut(QKeySequence(ToQ(item.ShortCut())));
}

void FillMenu(QMenu* menu, TMenuItem& item, QWidget* scope);

// The submenu of an item. Opening it clicks the item first, so the form can fill or enable the items in the
// click handler, and then shows the items the model has now.
QMenu* MakeSubmenu(TMenuItem& item, QWidget* owner, QWidget* scope) {
    auto* sub = new QMenu(ToQ(item.Caption()), owner);
    FillMenu(sub, item, scope);
    QPointer<QMenu> guard(sub);
    TWatch* watch = new TWatch(sub, item, [guard, &item](const TChange&) {
        if (guard)
            SyncAction(guard->menuAction(), item);
    });
    QObject::connect(sub, &QMenu::aboutToShow, sub, [guard, watch, &item, scope] {
        if (!watch->Alive())
            return;
        item.Click();
        if (guard && watch->Alive())
            FillMenu(guard, item, scope);
    });
    SyncAction(sub->menuAction(), item);
    return sub;
}

// The action of one item (its own submenu when it has items), kept in step with the model.
QAction* MakeAction(TMenuItem& item, QWidget* owner, QWidget* scope) {
    if (item.IsLine()) {
        auto* separator = new QAction(owner);
        separator->setSeparator(true);
        return separator;
    }
    if (item.Count() > 0)
        return MakeSubmenu(item, owner, scope)->menuAction();
    auto* action = new QAction(owner);
    QPointer<QAction> guard(action);
    TWatch* watch = new TWatch(action, item, [guard, &item](const TChange&) {
        if (guard)
            SyncAction(guard, item);
    });
    QObject::connect(action, &QAction::triggered, action, [watch, guard, &item] {
        if (!watch->Alive())
            return;
        item.Click();
        if (watch->Alive() && guard)
            SyncAction(guard, item);
    });
    if (!item.ShortCut().empty() && scope != nullptr) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        scope->addAction(action);
    }
    SyncAction(action, item);
    return action;
}

void FillMenu(QMenu* menu, TMenuItem& item, QWidget* scope) {
    // Old actions and submenus go; their watches die with them.
    for (QAction* old : menu->actions()) {
        menu->removeAction(old);
        if (scope)
            scope->removeAction(old);
        if (QMenu* oldSub = old->menu())
            oldSub->deleteLater();
        else if (old->parent() == menu)
            old->deleteLater();
    }
    for (int i = 0; i < item.Count(); ++i)
        menu->addAction(MakeAction(item.Item(i), menu, scope));
}

void FillMenuBar(QMenuBar* bar, TMenuItem& root, QWidget* scope) {
    for (QAction* old : bar->actions()) {
        bar->removeAction(old);
        if (QMenu* oldSub = old->menu())
            oldSub->deleteLater();
    }
    // A top-level entry always opens a menu, even while it is empty.
    for (int i = 0; i < root.Count(); ++i)
        bar->addMenu(MakeSubmenu(root.Item(i), bar, scope));
}

void CollectShortcuts(TMenuItem& item, QWidget* widget, std::vector<QAction*>& actions) {
    for (int i = 0; i < item.Count(); ++i) {
        TMenuItem& child = item.Item(i);
        if (!child.ShortCut().empty()) {
            auto* action = new QAction(widget);
            action->setShortcut(QKeySequence(ToQ(child.ShortCut())));
            action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
            TWatch* watch = new TWatch(action, child, {});
            QObject::connect(action, &QAction::triggered, action, [watch, &child] {
                if (watch->Alive())
                    child.Click();
            });
            actions.push_back(action);
        }
        CollectShortcuts(child, widget, actions);
    }
}

} // namespace

QMenuBar* BuildMenuBar(TMainMenu& menu, QWidget* scope) {
    auto* bar = new QMenuBar(scope);
    bar->setNativeMenuBar(false);
    FillMenuBar(bar, menu.Items(), scope);
    QPointer<QMenuBar> guard(bar);
    // New or removed top-level entries rebuild the bar once control is back in the event loop.
    auto self = std::make_shared<QPointer<TWatch>>();
    *self = new TWatch(bar, menu.Items(), [guard, self, &menu, scope](const TChange& change) {
        if (change.Kind != TChangeKind::Items || !guard)
            return;
        QMetaObject::invokeMethod(
            guard,
            [guard, self, &menu, scope] {
                if (guard && *self && (*self)->Alive())
                    FillMenuBar(guard, menu.Items(), scope);
            },
            Qt::QueuedConnection);
    });
    return bar;
}

void ShowPopupMenu(TPopupMenu& popup, const QPoint& globalPos) {
    auto alive = popup.Lifetime();
    popup.Popup();
    if (alive.expired())
        return;
    QMenu menu;
    FillMenu(&menu, popup.Items(), nullptr);
    menu.exec(globalPos);
}

std::vector<QAction*> PopupShortcutActions(TPopupMenu& popup, QWidget* widget) {
    std::vector<QAction*> actions;
    CollectShortcuts(popup.Items(), widget, actions);
    return actions;
}

} // namespace korvel::gui
