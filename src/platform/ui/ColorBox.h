#pragma once

// A colour field: shows a colour, and a click asks the person for another through the form's dialog service.

#include "platform/ui/Control.h"
#include "platform/ui/UiTypes.h"

namespace korvel {

class TColorBox : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TColorBox"; }

    TColor Color() const { return color_; }
    // Raises OnChange when the colour really changes.
    void SetColor(TColor color);
    // The user's click: asks for a colour, proposing the current one; ignored when read-only, unreachable or
    // outside a form.
    void Choose();

    TNotifyEvent OnChange;

private:
    TColor color_ = clWhite;
};

} // namespace korvel
