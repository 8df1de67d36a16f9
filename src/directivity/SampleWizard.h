#pragma once

// The sample wizard: lays a regular pattern of sample directions over the sphere (or the circle), or the
// horizontal and vertical cuts of a full 3D directivity.

#include "platform/acoustic/Directivity.h"
#include "platform/ui/Form.h"
#include "platform/ui/StdCtrls.h"

#include <vector>

namespace korvel::directivity {

struct TWizardPattern {
    int ThetaStep = 30;
    int ThetaOffset = 0;
    int PhiStep = 30;
    int PhiOffset = 0;
};

struct TSampleDirection {
    double Theta = 0;
    double Phi = 0;
    bool operator==(const TSampleDirection&) const = default;
};

// The defaults the wizard opens with for a directivity type.
TWizardPattern WizardDefaults(acoustic::TDirType type);
// The directions the pattern gives, in the order they become samples. Angles that differ by up to 0.1 degree
// count as equal. Full 3D with phi offset 0 and phi step 90 is the cut: the phi 270 arc from the theta offset
// to 180 with both poles, then the phi 90, 0 and 180 arcs over the angles strictly between the poles. Else a
// lattice of phi below 360 by theta up to 180, where a pole is taken once, with the first phi (not for the
// horizontal type, whose theta does not count).
std::vector<TSampleDirection> WizardDirections(acoustic::TDirType type, TWizardPattern pattern);

class TFormSampleWizard : public TForm {
public:
    TFormSampleWizard(IUi& ui, acoustic::TDirType type);
    std::string_view ClassName() const override { return "TFormSampleWizard"; }

    TWizardPattern Pattern() const;

    TSpinEdit& SEThetaStep() const { return *seThetaStep_; }
    TSpinEdit& SEThetaOffset() const { return *seThetaOffset_; }
    TSpinEdit& SEPhiStep() const { return *sePhiStep_; }
    TSpinEdit& SEPhiOffset() const { return *sePhiOffset_; }
    TCheckBox& CBHorVert() const { return *cbHorVert_; }
    TGroupBox& GroupTheta() const { return *groupTheta_; }
    TGroupBox& GroupPhi() const { return *groupPhi_; }

private:
    void CBHorVertClick(TComponent& sender);

    TGroupBox* groupTheta_ = nullptr;
    TGroupBox* groupPhi_ = nullptr;
    TSpinEdit* seThetaStep_ = nullptr;
    TSpinEdit* seThetaOffset_ = nullptr;
    TSpinEdit* sePhiStep_ = nullptr;
    TSpinEdit* sePhiOffset_ = nullptr;
    TCheckBox* cbHorVert_ = nullptr;
};

} // namespace korvel::directivity
