#pragma once

// Colours an editor draws with, kept in the user's settings under [Colors] by key as six hex digits, and the
// dialog that changes them: pick an entry, "Change..." asks for its colour; OK stores them all, Cancel keeps
// the stored ones.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/UiTypes.h"

#include <span>
#include <string_view>
#include <vector>

namespace korvel {

struct TColorKey {
    std::string_view Caption;
    std::string_view Key;
    TColor Default;
};

// The stored colour, or the key's default when none (or no readable one) is stored.
TColor ReadColorKey(const TColorKey& key);

class TFormColorKeys : public TForm {
public:
    TFormColorKeys(IUi& ui, std::span<const TColorKey> keys);
    const std::vector<TColor>& Colors() const { return colors_; }

    TListBox* LBColors;
    TButton* BtnChange;
    TButton* ButtonOK;
    TButton* ButtonCancel;

private:
    void ChangeClick(TComponent& sender);
    std::vector<TColor> colors_;
};

// Shows the dialog; true when OK stored new colours.
bool EditColorKeys(IUi& ui, std::span<const TColorKey> keys);

} // namespace korvel
