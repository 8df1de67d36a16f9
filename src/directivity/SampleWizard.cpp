#include "directivity/SampleWizard.h"

#include "platform/ui/LabelledRow.h"

#include <cmath>

namespace korvel::directivity {

using acoustic::TDirType;

namespace {

constexpr double kSameAngle = 0.1;

bool Same(double a, double b) {
    return std::fabs(a - b) <= kSameAngle;
}

// theta = offset, offset + step, ... up to 180 inclusive.
std::vector<double> ThetaLattice(double offset, double step) {
    std::vector<double> out;
    for (int k = 0;; ++k) {
        const double theta = offset + k * step;
        if (theta > 180 + kSameAngle)
            break;
        out.push_back(theta);
    }
    return out;
}

TSpinEdit& AddSpin(TControl& parent, const std::string& name, const std::string& caption, int lo, int hi) {
    auto& spin = AddLabelledRow<TSpinEdit>(parent, name, caption, 110);
    spin.SetLimits(lo, hi);
    return spin;
}

} // namespace

TWizardPattern WizardDefaults(TDirType type) {
    switch (type) {
    case TDirType::Horizontal:
        return {360, 0, 30, 0};
    case TDirType::RotationallySymmetric:
        return {30, 0, 360, 0};
    case TDirType::Full3D:
        break;
    }
    return {30, 0, 90, 0};
}

std::vector<TSampleDirection> WizardDirections(TDirType type, TWizardPattern p) {
    std::vector<TSampleDirection> out;
    const double thetaStep = std::max(1, p.ThetaStep), phiStep = std::max(1, p.PhiStep);
    if (type == TDirType::Full3D && Same(p.PhiOffset, 0) && Same(phiStep, 90)) {
        const double offset = p.ThetaOffset < kSameAngle ? 0.0 : p.ThetaOffset;
        const std::vector<double> arc = ThetaLattice(offset, thetaStep);
        std::vector<double> inner;
        for (double theta : arc)
            if (theta > kSameAngle && theta < 180 - kSameAngle)
                inner.push_back(theta);
        for (double theta : arc)
            out.push_back({theta, 270});
        for (auto it = inner.rbegin(); it != inner.rend(); ++it)
            out.push_back({*it, 90});
        for (double theta : inner)
            out.push_back({theta, 0});
        for (auto it = inner.rbegin(); it != inner.rend(); ++it)
            out.push_back({*it, 180});
        return out;
    }
    for (int i = 0;; ++i) {
        const double phi = p.PhiOffset + i * phiStep;
        if (phi >= 360 - kSameAngle)
            break;
        for (double theta : ThetaLattice(p.ThetaOffset, thetaStep)) {
            const bool pole = Same(theta, 0) || Same(theta, 180);
            if (pole && type != TDirType::Horizontal && i > 0)
                continue;
            out.push_back({theta, phi});
        }
    }
    return out;
}

TFormSampleWizard::TFormSampleWizard(IUi& ui, TDirType type) : TForm(ui, "FormSampleWizard") {
    SetCaption("Sample wizard");
    SetBounds(0, 0, 300, 300);
    auto& buttons = Add<TPanel>("PanelButtons");
    buttons.SetAlign(alBottom);
    buttons.SetHeight(36);
    auto& cancel = buttons.Add<TButton>("ButtonCancel");
    cancel.SetCaption("Cancel");
    cancel.SetAlign(alRight);
    cancel.SetWidth(90);
    cancel.SetModalResult(mrCancel);
    cancel.SetCancel(true);
    auto& ok = buttons.Add<TButton>("ButtonOK");
    ok.SetCaption("OK");
    ok.SetAlign(alRight);
    ok.SetWidth(90);
    ok.SetModalResult(mrOk);
    ok.SetDefault(true);

    groupTheta_ = &Add<TGroupBox>("GroupTheta");
    groupTheta_->SetCaption("Theta");
    groupTheta_->SetAlign(alTop);
    groupTheta_->SetHeight(2 * kRowHeight + TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame);
    seThetaStep_ = &AddSpin(*groupTheta_, "SEThetaStep", "Step [deg]", 1, 360);
    seThetaOffset_ = &AddSpin(*groupTheta_, "SEThetaOffset", "Offset [deg]", 0, 180);
    groupPhi_ = &Add<TGroupBox>("GroupPhi");
    groupPhi_->SetCaption("Phi");
    groupPhi_->SetAlign(alTop);
    groupPhi_->SetHeight(3 * kRowHeight + TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame);
    sePhiStep_ = &AddSpin(*groupPhi_, "SEPhiStep", "Step [deg]", 1, 360);
    sePhiOffset_ = &AddSpin(*groupPhi_, "SEPhiOffset", "Offset [deg]", 0, 359);
    cbHorVert_ = &groupPhi_->Add<TCheckBox>("CBHorVert");
    cbHorVert_->SetCaption("Horizontal and vertical cut");
    cbHorVert_->SetAlign(alTop);
    cbHorVert_->SetHeight(kRowHeight);
    cbHorVert_->OnClick = Bind(&TFormSampleWizard::CBHorVertClick);

    const TWizardPattern p = WizardDefaults(type);
    seThetaStep_->SetValue(p.ThetaStep);
    seThetaOffset_->SetValue(p.ThetaOffset);
    sePhiStep_->SetValue(p.PhiStep);
    sePhiOffset_->SetValue(p.PhiOffset);
    groupTheta_->SetVisible(type != TDirType::Horizontal);
    groupPhi_->SetVisible(type != TDirType::RotationallySymmetric);
    cbHorVert_->SetVisible(type == TDirType::Full3D);
}

void TFormSampleWizard::CBHorVertClick(TComponent& /*sender*/) {
    const bool cut = cbHorVert_->Checked();
    if (cut) {
        sePhiStep_->SetValue(90);
        sePhiOffset_->SetValue(0);
    }
    sePhiStep_->SetEnabled(!cut);
    sePhiOffset_->SetEnabled(!cut);
}

TWizardPattern TFormSampleWizard::Pattern() const {
    return {seThetaStep_->Value(), seThetaOffset_->Value(), sePhiStep_->Value(), sePhiOffset_->Value()};
}

} // namespace korvel::directivity
