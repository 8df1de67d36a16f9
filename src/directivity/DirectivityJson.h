#pragma once

// A directivity as JSON for the command line and the System library sources. The same object goes both ways;
// dLtot is written for reading and computed again when an object is applied.
//
//   {"name", "comment", "dirType": 0..2, "bandType": 0..2, "bmin", "bmax", "stepH", "stepV",
//    "samples": [{"theta", "phi", "values": {"27": -3.0}}],
//    "bands": {"27": {"dLtot": 0.0, "grid": [[row at theta 0], ...]}},
//    "interpolation": {"kind": "cubic"|"exponential"|"fourier"|"harmonics", "parameter": n}}
//
// "interpolation" is only read: it fills the grids from the samples after everything else was applied.

#include "platform/acoustic/Directivity.h"

#include <nlohmann/json.hpp>
#include <string>

namespace korvel::directivity {

nlohmann::ordered_json DirectivityToJson(const acoustic::TDirectivity& dir, const std::string& name,
                                         const std::string& comment);

// Applies the members present onto the directivity (others keep their values); name and comment are set
// when the object has them. Throws EKorvelError naming the member for an unknown member or a value that does
// not fit; the directivity, name and comment are then unchanged.
void DirectivityFromJson(const nlohmann::json& object, acoustic::TDirectivity& dir, std::string& name,
                         std::string& comment);

} // namespace korvel::directivity
