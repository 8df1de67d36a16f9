#include "platform/acoustic/SpecTypes.h"

#include "platform/text/CaseFold.h"

namespace korvel::acoustic {

int EmisEntryFromText(std::string_view text) {
    for (std::size_t i = 0; i < EmisEntryStr.size(); ++i) {
        if (SameTextIgnoringCase(text, EmisEntryStr[i])) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool IsWeightingLetter(char letter) {
    return letter == kUnweighted || (letter >= 'A' && letter <= 'D');
}

std::string WeightingText(char letter) {
    if (letter >= 'A' && letter <= 'D') {
        return std::string("dB(") + letter + ")";
    }
    return "dB";
}

} // namespace korvel::acoustic
