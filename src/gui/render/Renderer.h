#pragma once

// The renderer builds the widget tree of a control tree and keeps it in step: every control gets the widget
// its class registered (a plain placeholder when none is), placed at the bounds the model's Align layout
// computed. What all controls share is bound here: visibility, enabled state, hint, bounds, pop-up menu and
// the children added later.

#include "platform/ui/Control.h"

#include <QWidget>

namespace korvel::gui {

// Registers the widgets of the standard controls, the pages, the navigator and the picture, and of every
// other part linked into the program (grid, chart, element list). Safe to call more than once.
void RegisterAllWidgets();

QWidget* RenderControl(TControl& control, QWidget* parent);
// Renders the children of control that have no widget inside widget yet.
void RenderChildren(TControl& control, QWidget* widget);

// The widget made for a control below root, or nullptr.
QWidget* FindControlWidget(QWidget* root, const TControl& control);
// The control a widget was made for, or nullptr (also once the control is gone).
TControl* ControlOfWidget(const QWidget* widget);

} // namespace korvel::gui
