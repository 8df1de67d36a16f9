#include "calculators/FormScatteringFromRoughness.h"

#include "platform/acoustic/ScatteringSuggester.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/Ui.h"

#include <string>
#include <vector>

namespace korvel::calculators {

TFormScatteringFromRoughnessDlg::TFormScatteringFromRoughnessDlg(IUi& ui)
    : TForm(ui, "FormScatteringFromRoughnessDlg") {
    SetCaption("Scattering coefficient from roughness");
    SetBounds(0, 0, 280, 260);

    LabelRoughness = &Add<TLabel>("LabelRoughness");
    LabelRoughness->SetCaption("Roughness of the surface");
    LabelRoughness->SetBounds(16, 12, 240, 17);
    LBRoughness = &Add<TListBox>("LBRoughness");
    LBRoughness->SetBounds(16, 34, 240, 138);
    std::vector<std::string> items;
    for (const auto& roughness : acoustic::RoughnessClasses)
        items.emplace_back(roughness.Text);
    LBRoughness->SetItems(std::move(items));
    LBRoughness->SetItemIndex(0);

    const TDialogButtons dialogButtons = AddOkCancelButtons(*this, 68, 166, 190, 90, 27);
    ButtonOK = dialogButtons.Ok;
    ButtonCancel = dialogButtons.Cancel;
    SetActiveControl(LBRoughness);
}

double TFormScatteringFromRoughnessDlg::Roughness() const {
    return acoustic::RoughnessOfClass(LBRoughness->ItemIndex());
}

bool CalculateScatteringFromRoughness(IUi& ui, acoustic::TAbsoLibSpectrum& spectrum) {
    TFormScatteringFromRoughnessDlg form(ui);
    if (ui.ShowModal(form) != mrOk)
        return false;
    acoustic::TScattering_Value_Suggester_Power_Laws suggester;
    suggester.load_Suggested_Scattering_Values(spectrum, form.Roughness());
    return true;
}

} // namespace korvel::calculators
