#pragma once

// The dialog that suggests the scattering coefficients of an absorption element from a roughness class.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

namespace korvel::acoustic {
class TAbsoLibSpectrum;
}

namespace korvel::calculators {

class TFormScatteringFromRoughnessDlg : public TForm {
public:
    explicit TFormScatteringFromRoughnessDlg(IUi& ui);

    // The roughness parameter of the chosen class; 0 without a choice.
    double Roughness() const;

    TLabel* LabelRoughness;
    TListBox* LBRoughness;
    TButton* ButtonOK;
    TButton* ButtonCancel;
};

// Shows the dialog and, on OK, overwrites the element's scattering values with the power-law suggestion for
// the chosen class. Returns whether values were set; the caller marks the element changed.
bool CalculateScatteringFromRoughness(IUi& ui, acoustic::TAbsoLibSpectrum& spectrum);

} // namespace korvel::calculators
