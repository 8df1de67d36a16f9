#pragma once

// A row of a form: a caption on the left and a control filling the rest, docked to the top of its parent.
// Most library editors are built from such rows.

#include "platform/ui/Control.h"

#include <string>

namespace korvel {

inline constexpr int kRowHeight = 28;

// The row panel is named "Panel" + name, its label "Label" + name.
template <class T>
T& AddLabelledRow(TControl& parent, const std::string& name, const std::string& caption, int labelWidth) {
    auto& row = parent.Add<TPanel>("Panel" + name);
    row.SetAlign(alTop);
    row.SetHeight(kRowHeight);
    auto& label = row.Add<TLabel>("Label" + name);
    label.SetCaption(caption);
    label.SetAlign(alLeft);
    label.SetWidth(labelWidth);
    auto& control = row.Add<T>(name);
    control.SetAlign(alClient);
    return control;
}

} // namespace korvel
