#pragma once

// A sound library element as JSON for the command line and the System library sources. The same object
// goes both ways; members that are computed (sums, weighted values, a rated spectrum's Rw, C and Ctr) are
// written for reading and ignored when given.

#include "platform/acoustic/LibSpectrum.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace korvel::sound {

struct TSpectrumJsonGroups {
    // Group number -> name ("" when unknown).
    std::function<std::string(int)> NameOf;
    // Name -> group number, adding the group when it is missing.
    std::function<int(const std::string&)> NumberOf;
};

// name and comment are the element's name and comment fields.
nlohmann::ordered_json SpectrumToJson(const acoustic::TCustomLibSpectrum& spectrum, const std::string& name,
                                      const std::string& comment, const TSpectrumJsonGroups& groups);

// Applies the members present onto the spectrum (others keep their values); name and comment are set when
// the object has them. Throws EKorvelError naming the member for an unknown member or a value that does not
// fit; the spectrum is then unchanged.
void SpectrumFromJson(const nlohmann::json& object, acoustic::TCustomLibSpectrum& spectrum, std::string& name,
                      std::string& comment, const TSpectrumJsonGroups& groups);

} // namespace korvel::sound
