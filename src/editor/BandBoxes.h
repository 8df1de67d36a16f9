#pragma once

// The two drop-downs of a band range (lowest and highest band) that the spectrum and directivity editors
// share.

#include "platform/ui/ListCtrls.h"

#include <vector>

namespace korvel {

// Lists the third-octave bands, or the octave bands only, in both boxes ("1k Hz" and the like) and selects
// bminBand and bmaxBand (nothing when a band is not listed). Returns the band number of each item, the same
// for both boxes. The boxes' change events do not fire.
std::vector<int> FillBandRangeBoxes(TComboBox& bmin, TComboBox& bmax, bool octave, int bminBand,
                                    int bmaxBand);

} // namespace korvel
