#pragma once

namespace korvel::gui {

// The record navigator: one tool button per visible navigator button, enabled as the model says.
void RegisterNavigatorWidget();

} // namespace korvel::gui
