#include "platform/ui/ColorBox.h"

#include "platform/ui/Form.h"
#include "platform/ui/Ui.h"

namespace korvel {

void TColorBox::SetColor(TColor color) {
    if (Assign(color_, color, TChangeKind::Value))
        Fire(OnChange);
}

void TColorBox::Choose() {
    TForm* form = OwnerForm();
    if (form == nullptr || ReadOnly() || !Reachable())
        return;
    TColor color = color_;
    if (form->Ui().ChooseColor(color))
        SetColor(color);
}

} // namespace korvel
