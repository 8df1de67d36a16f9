#include "platform/base/YScaleForm.h"

#include "platform/settings/IniStore.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/Ui.h"

#include <charconv>
#include <cmath>
#include <string>

namespace korvel {

namespace {

std::string NumberText(double value) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : std::string();
}

} // namespace

TFormYScale::TFormYScale(IUi& ui) : TForm(ui, "FormYScale") {
    SetCaption("y-Scale");
    SetBounds(0, 0, 250, 160);

    CBAuto = &Add<TCheckBox>("CBAuto");
    CBAuto->SetCaption("Autoscale");
    CBAuto->SetBounds(16, 12, 210, 21);

    auto& labelMin = Add<TLabel>("LabelMin");
    labelMin.SetCaption("Minimum");
    labelMin.SetBounds(16, 46, 80, 17);
    EditMin = &Add<TEdit>("EditMin");
    EditMin->SetBounds(106, 42, 120, 23);

    auto& labelMax = Add<TLabel>("LabelMax");
    labelMax.SetCaption("Maximum");
    labelMax.SetBounds(16, 78, 80, 17);
    EditMax = &Add<TEdit>("EditMax");
    EditMax->SetBounds(106, 74, 120, 23);

    const TDialogButtons dialogButtons = AddOkCancelButtons(*this, 40, 140, 114, 86, 27);
    ButtonOK = dialogButtons.Ok;
    ButtonCancel = dialogButtons.Cancel;

    CBAuto->OnClick = Bind(&TFormYScale::CBAutoClick);
    ButtonOK->OnClick = Bind(&TFormYScale::ButtonOKClick);
    Load(result_);
}

void TFormYScale::Load(const TYScaleFmt& scale) {
    {
        TSuspendEvents guard = SuspendTreeEvents(*this);
        CBAuto->SetChecked(scale.Auto);
        EditMin->SetText(NumberText(scale.Min));
        EditMax->SetText(NumberText(scale.Max));
    }
    UpdateEnabled();
    result_ = scale;
}

void TFormYScale::UpdateEnabled() {
    EditMin->SetEnabled(!CBAuto->Checked());
    EditMax->SetEnabled(!CBAuto->Checked());
}

void TFormYScale::CBAutoClick(TComponent&) {
    UpdateEnabled();
}

bool TFormYScale::ReadLimit(const TEdit& edit, const char* what, double& value) {
    std::string problem;
    if (!ParseSettingFloat(edit.Text(), value))
        problem = "\"" + edit.Text() + "\" is not a number. Enter the " + what + " of the y-scale.";
    else if (std::fabs(value) > kMaxYScaleValue)
        problem = std::string("The ") + what + " of the y-scale must lie between " +
                  NumberText(-kMaxYScaleValue) + " and " + NumberText(kMaxYScaleValue) + ".";
    if (problem.empty())
        return true;
    Ui().ShowError(problem);
    SetModalResult(mrNone);
    return false;
}

void TFormYScale::ButtonOKClick(TComponent&) {
    TYScaleFmt scale = result_;
    scale.Auto = CBAuto->Checked();
    // With autoscale on the limits are unused and their edits disabled; keep what was loaded unless they
    // hold usable numbers.
    if (scale.Auto) {
        double value = 0;
        if (ParseSettingFloat(EditMin->Text(), value) && std::fabs(value) <= kMaxYScaleValue)
            scale.Min = value;
        if (ParseSettingFloat(EditMax->Text(), value) && std::fabs(value) <= kMaxYScaleValue)
            scale.Max = value;
    } else if (!ReadLimit(*EditMin, "minimum", scale.Min) || !ReadLimit(*EditMax, "maximum", scale.Max)) {
        return;
    }
    // A range that cannot be drawn falls back to automatic rather than being refused.
    if (scale.Max <= scale.Min) {
        scale.Auto = true;
        CBAuto->SetChecked(true);
    }
    result_ = scale;
}

bool EditYScale(IUi& ui, int libType) {
    TFormYScale form(ui);
    form.Load(ReadYScale(libType));
    if (ui.ShowModal(form) != mrOk)
        return false;
    WriteYScale(libType, form.Result());
    return true;
}

} // namespace korvel
