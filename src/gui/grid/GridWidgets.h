#pragma once

// Registers the widget factories of the value grid ("TValueGrid") and the chart ("TChart").

namespace korvel::gui {

void RegisterGridAndChartWidgets();

} // namespace korvel::gui
