#pragma once

// The dialog that sets a kind's printout y-scale: automatic, or a fixed minimum and maximum.

#include "platform/base/YScale.h"
#include "platform/ui/Form.h"
#include "platform/ui/StdCtrls.h"

namespace korvel {

class TFormYScale : public TForm {
public:
    explicit TFormYScale(IUi& ui);

    // Fills the controls without raising their events.
    void Load(const TYScaleFmt& scale);
    // What OK accepted; the loaded scale before that.
    TYScaleFmt Result() const { return result_; }

    TCheckBox* CBAuto;
    TEdit* EditMin;
    TEdit* EditMax;
    TButton* ButtonOK;
    TButton* ButtonCancel;

private:
    void CBAutoClick(TComponent& sender);
    void ButtonOKClick(TComponent& sender);
    // Reads one limit; shows why not and keeps the form open when it is no usable number.
    bool ReadLimit(const TEdit& edit, const char* what, double& value);
    void UpdateEnabled();

    TYScaleFmt result_;
};

// Shows the dialog for a kind's scale and stores the answer on OK. Returns whether OK was chosen. Settings
// that cannot be read or written throw EKorvelError.
bool EditYScale(IUi& ui, int libType);

} // namespace korvel
