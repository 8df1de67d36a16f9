#pragma once

// A building-acoustics scheme as JSON for the command line and the System library sources. Everything is
// named, never numbered: room types by name, the requirement type, the kind of neighbouring space, the
// quantity and the frequency range by the names of their tables.
//
//   {"name", "rooms": [{"name", "color": "#rrggbb"}],
//    "classes": [{"name", "rooms": {"<room type>": [{"type", "from", "toRoom", "param", "frequency",
//                                                      "limit", "unit"}]}}],
//    "comment"}
//
// "from" is there for the types with a neighbouring space, "toRoom" ("Any" for none) where a room type on
// the other side can be named; "unit" follows from "param" and is only checked when given.

#include "platform/acoustic/BAIAssess.h"

#include <nlohmann/json.hpp>
#include <string>

namespace korvel::building {

nlohmann::ordered_json BAIAssessToJson(const acoustic::TBAIAssess& scheme, const std::string& name,
                                       const std::string& comment);

// Applies the members present: "rooms" replaces the room types (one of the same name keeps its conditions),
// "classes" replaces the classes with their conditions; name and comment are set when given. Throws
// EKorvelError naming the member for an unknown member, an unknown name or a value that does not fit;
// scheme, name and comment are then unchanged.
void BAIAssessFromJson(const nlohmann::json& object, acoustic::TBAIAssess& scheme, std::string& name,
                       std::string& comment);

// Whether the object gives rooms or classes, i.e. changes the scheme itself.
bool BAIAssessJsonChangesScheme(const nlohmann::json& object);

} // namespace korvel::building
