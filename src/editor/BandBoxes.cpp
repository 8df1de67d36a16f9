#include "editor/BandBoxes.h"

#include "platform/base/Bands.h"
#include "platform/ui/Component.h"

#include <algorithm>
#include <string>

namespace korvel {

std::vector<int> FillBandRangeBoxes(TComboBox& bmin, TComboBox& bmax, bool octave, int bminBand,
                                    int bmaxBand) {
    TSuspendEvents q1(bmin), q2(bmax);
    std::vector<std::string> items;
    std::vector<int> bands;
    for (int b = 0; b < kBandCount; ++b) {
        if (octave && !IsOctaveBand(b))
            continue;
        bands.push_back(b);
        items.push_back(std::string(ThirdOctavesStrShort[static_cast<std::size_t>(b)]) + " Hz");
    }
    bmin.SetItems(items);
    bmax.SetItems(items);
    auto indexOf = [&](int band) {
        auto it = std::find(bands.begin(), bands.end(), band);
        return it == bands.end() ? -1 : static_cast<int>(it - bands.begin());
    };
    bmin.SetItemIndex(indexOf(bminBand));
    bmax.SetItemIndex(indexOf(bmaxBand));
    return bands;
}

} // namespace korvel
