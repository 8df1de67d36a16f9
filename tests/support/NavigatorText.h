#pragma once

// The enabled buttons of a navigator as words ("First Prior Insert"), for compact assertions.

#include "platform/ui/Navigator.h"

#include <string>

namespace korvel::test {

inline std::string EnabledButtons(const TNavigator& nav) {
    static const char* names[] = {"First",  "Prior", "Next", "Last",   "Insert",
                                  "Delete", "Edit",  "Post", "Cancel", "Refresh"};
    std::string s;
    for (int b = 0; b < kNavigateBtnCount; ++b)
        if (nav.ButtonEnabled(static_cast<TNavigateBtn>(b)))
            s += std::string(s.empty() ? "" : " ") + names[b];
    return s;
}

} // namespace korvel::test
