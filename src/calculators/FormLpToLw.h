#pragma once

// The dialog that turns a measured sound pressure level spectrum into a sound power level spectrum by adding
// 10 log10 of the measurement surface area.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

#include <string>

namespace korvel::acoustic {
class TEmisLibSpectrum;
}

namespace korvel::calculators {

// Measurement surfaces, as the radio group lists them.
enum TSurfType : int { stFullSphere = 0, stHalfSphere = 1, stBoxFullSpace = 2, stBoxHalfSpace = 3 };

// Area in m² of the measurement surface at distance d around a point source or a w*l*h box.
double MeasurementSurfaceArea(int surfType, double d, double w, double l, double h);

class TFormLpToLw : public TForm {
public:
    explicit TFormLpToLw(IUi& ui);

    int SurfType() const { return RGSurfType->ItemIndex(); }
    // NaN while an entry is no usable number.
    double Area() const { return area_; }
    double DeltaL() const { return deltaL_; }
    // The text added to the element's comment.
    const std::string& Description() const { return description_; }

    TRadioGroup* RGSurfType;
    TLabel* LabelD;
    TEdit* EditD;
    TEdit* EditW;
    TEdit* EditL;
    TEdit* EditH;
    TLabel* LabelA;
    TLabel* LabelResult;
    TButton* ButtonOK;
    TButton* ButtonCancel;

private:
    void RGSurfTypeClick(TComponent& sender);
    void EditChange(TComponent& sender);
    void ButtonOKClick(TComponent& sender);
    bool IsBox() const { return SurfType() == stBoxFullSpace || SurfType() == stBoxHalfSpace; }
    // Reads the entries the surface type uses; "" when they are usable, else what is wrong.
    std::string ReadEntries(double& d, double& w, double& l, double& h) const;
    void Recompute();

    double area_ = 0;
    double deltaL_ = 0;
    std::string description_;
};

// Shows the dialog for an emission element and, on OK, shifts the spectrum by the level difference, makes
// it a level per unit and adds the description as a new line of the comment. Returns whether it was applied;
// the caller marks the element changed. A spectrum without levels is refused with a message. Callers offer
// the command for emission elements only.
bool CalculateLwfromLp(IUi& ui, acoustic::TEmisLibSpectrum& spectrum, std::string& comment);

} // namespace korvel::calculators
