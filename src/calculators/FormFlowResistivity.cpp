#include "calculators/FormFlowResistivity.h"

#include "calculators/FlowResistivity.h"
#include "platform/Errors.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/Ui.h"

namespace korvel::calculators {

TFormCalculatealphavaluesfromflowresistivity::TFormCalculatealphavaluesfromflowresistivity(IUi& ui)
    : TForm(ui, "FormCalculatealphavaluesfromflowresistivity") {
    SetCaption("Enter a flow resistivity");
    SetBounds(0, 0, 300, 130);

    LabelSigma = &Add<TLabel>("LabelSigma");
    LabelSigma->SetCaption("sigma [kPas/m²]");
    LabelSigma->SetBounds(16, 24, 120, 17);
    EditSigma = &Add<TSpinEdit>("EditSigma");
    EditSigma->SetBounds(144, 20, 120, 23);
    EditSigma->SetValue(250);

    const TDialogButtons dialogButtons = AddOkCancelButtons(*this, 78, 176, 72, 90, 27);
    ButtonOK = dialogButtons.Ok;
    ButtonCancel = dialogButtons.Cancel;
    SetActiveControl(EditSigma);
}

bool CalculateAlphaFromFlowResistivity(IUi& ui, acoustic::TAbsoLibSpectrum& spectrum) {
    TFormCalculatealphavaluesfromflowresistivity form(ui);
    if (ui.ShowModal(form) != mrOk)
        return false;
    try {
        ApplyFlowResistivity(spectrum, form.Sigma());
    } catch (const EKorvelError& e) {
        ui.ShowError(e.what());
        return false;
    }
    return true;
}

} // namespace korvel::calculators
