#pragma once

// The renderer's widget for TDBElementList: a TElementListView over a TElementListModel bound to the control.

namespace korvel::gui {

void RegisterElementListWidget();

} // namespace korvel::gui
