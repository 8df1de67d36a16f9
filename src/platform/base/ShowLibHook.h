#pragma once

// The pick hook: editors that refer to elements of another library (a directivity of an emission spectrum,
// the vehicle categories of a train) let the person choose one through it, without knowing the service
// that opens editors. The service installs its pick function here.

#include <functional>
#include <string>
#include <vector>

namespace korvel {

// libType and projectFolder name the library; elementNo is the element to show and receives the chosen one;
// selected, when given, receives the numbers of the chosen elements. Returns 1 when accepted, 2 when
// cancelled.
using TShowLibFunc = std::function<int(int libType, const std::string& projectFolder, int& elementNo,
                                       std::vector<int>* selected)>;

TShowLibFunc& ShowLibFunc();

} // namespace korvel
