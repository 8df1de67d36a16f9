#pragma once

// Menus of the form models as Qt menus. A menu opens by clicking its model item first, so a form can fill or
// enable the items in the item's click handler (as the editors do for "Copy to"), and is then rebuilt from
// the model. Shortcuts work while the focus is inside the form's widget (scope), so two editors in one main
// window each keep their own Ctrl+S.

#include "platform/ui/Menus.h"

#include <QMenuBar>
#include <QPoint>
#include <vector>

namespace korvel::gui {

QMenuBar* BuildMenuBar(TMainMenu& menu, QWidget* scope);
void ShowPopupMenu(TPopupMenu& popup, const QPoint& globalPos);
// Actions for the shortcuts of a pop-up menu's items, to be added to the widget the menu belongs to.
std::vector<QAction*> PopupShortcutActions(TPopupMenu& popup, QWidget* widget);

} // namespace korvel::gui
