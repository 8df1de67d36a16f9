#pragma once

namespace korvel::gui {

// Page controls and tab controls: a tab strip of the model's height over the area where the model places
// the pages (or the tab control's children), so the model's layout and the drawing agree to the pixel.
void RegisterPageWidgets();

} // namespace korvel::gui
