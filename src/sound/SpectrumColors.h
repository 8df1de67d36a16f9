#pragma once

// The colours the sound library graphs draw with: "Over all level" and "(3rd) Octave bands", kept in the
// settings as SpectrumOverAll and SpectrumBands.

#include "editor/ColorKeys.h"

#include <array>

namespace korvel::sound {

inline constexpr std::array<TColorKey, 2> SpectrumColorKeys = {
    {{"Over all level", "SpectrumOverAll", clRed}, {"(3rd) Octave bands", "SpectrumBands", clBlue}}};

inline TColor ReadSpectrumColor(int index) {
    return ReadColorKey(SpectrumColorKeys[static_cast<std::size_t>(index)]);
}

inline bool EditSpectrumColors(IUi& ui) {
    return EditColorKeys(ui, SpectrumColorKeys);
}

} // namespace korvel::sound
