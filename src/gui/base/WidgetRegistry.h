#pragma once

// The renderer makes a widget for a control by its class name. Leaf widgets (grid, chart, element list,
// edits, ...) register a factory; the renderer then binds what every control shares (visibility, enabled
// state, hint, bounds, pop-up menu, children), so a factory handles only its control's own state.

#include "platform/ui/Control.h"

#include <QWidget>
#include <functional>
#include <string>
#include <string_view>

namespace korvel::gui {

using TWidgetFactory = std::function<QWidget*(TControl& control, QWidget* parent)>;

void RegisterWidgetFactory(std::string className, TWidgetFactory factory);
const TWidgetFactory* FindWidgetFactory(std::string_view className);

} // namespace korvel::gui
