#pragma once

// The OK and Cancel buttons of a dialog: OK is the default button and closes with mrOk, Cancel answers the
// Escape key and closes with mrCancel.

#include "platform/ui/StdCtrls.h"

namespace korvel {

struct TDialogButtons {
    TButton* Ok;
    TButton* Cancel;
};

// Adds "ButtonOK" at okLeft and "ButtonCancel" at cancelLeft to parent, both at top with the given size.
inline TDialogButtons AddOkCancelButtons(TControl& parent, int okLeft, int cancelLeft, int top, int width,
                                         int height) {
    auto& ok = parent.Add<TButton>("ButtonOK");
    ok.SetCaption("OK");
    ok.SetBounds(okLeft, top, width, height);
    ok.SetModalResult(mrOk);
    ok.SetDefault(true);
    auto& cancel = parent.Add<TButton>("ButtonCancel");
    cancel.SetCaption("Cancel");
    cancel.SetBounds(cancelLeft, top, width, height);
    cancel.SetModalResult(mrCancel);
    cancel.SetCancel(true);
    return {&ok, &cancel};
}

} // namespace korvel
