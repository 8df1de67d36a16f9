#pragma once

// The colours the sound library graphs draw with: "Over all level" and "(3rd) Octave bands", kept in the
// settings under [Colors] as SpectrumOverAll and SpectrumBands.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/UiTypes.h"

#include <array>
#include <string_view>

namespace korvel::sound {

struct TSpectrumColorKey {
    std::string_view Caption;
    std::string_view Key;
    TColor Default;
};
inline constexpr std::array<TSpectrumColorKey, 2> SpectrumColorKeys = {
    {{"Over all level", "SpectrumOverAll", clRed}, {"(3rd) Octave bands", "SpectrumBands", clBlue}}};

TColor ReadSpectrumColor(int index);

// The colour list dialog: pick an entry, "Change..." asks for its colour; OK stores both, Cancel keeps the
// stored ones.
class TFormSpectrumColors : public TForm {
public:
    explicit TFormSpectrumColors(IUi& ui);
    const std::array<TColor, 2>& Colors() const { return colors_; }

    TListBox* LBColors;
    TButton* BtnChange;
    TButton* ButtonOK;
    TButton* ButtonCancel;

private:
    void ChangeClick(TComponent& sender);
    std::array<TColor, 2> colors_{};
};

// Shows the dialog; true when OK stored new colours.
bool EditSpectrumColors(IUi& ui);

} // namespace korvel::sound
