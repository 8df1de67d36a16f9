#pragma once

// The dialog that asks for the flow resistivity of a porous layer and fills an absorption element with its
// absorption coefficients.

#include "platform/ui/Form.h"
#include "platform/ui/StdCtrls.h"

namespace korvel::acoustic {
class TAbsoLibSpectrum;
}

namespace korvel::calculators {

class TFormCalculatealphavaluesfromflowresistivity : public TForm {
public:
    explicit TFormCalculatealphavaluesfromflowresistivity(IUi& ui);

    // kPa s/m², a whole number. Any value may be entered; the calculation refuses what it cannot use.
    int Sigma() const { return EditSigma->Value(); }

    TLabel* LabelSigma;
    TSpinEdit* EditSigma;
    TButton* ButtonOK;
    TButton* ButtonCancel;
};

// Shows the dialog and, on OK, sets the element's absorption values from the flow resistivity. A value the
// calculation cannot use is shown as an error and nothing is changed. Returns whether values were set; the
// caller marks the element changed.
bool CalculateAlphaFromFlowResistivity(IUi& ui, acoustic::TAbsoLibSpectrum& spectrum);

} // namespace korvel::calculators
