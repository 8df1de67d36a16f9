#pragma once

namespace korvel::gui {

// Labels, panels, group boxes, edits, memos, check boxes, buttons, spin edits, combo boxes, radio groups,
// list boxes and pictures.
void RegisterStandardWidgets();

} // namespace korvel::gui
