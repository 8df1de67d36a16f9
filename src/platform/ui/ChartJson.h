#pragma once

// Chart models as JSON data, for plotting and comparing outside the program:
// {"name", "title", "axes": [bottom, left], "series": [...]} with each axis as
// {"title", "kind": "linear"|"log"|"polar", "min", "max"} and each series as
// {"title", "style", "visible", "points": [[x, y], ...]} ([x, y, z] for a colour map). A chart with colour
// maps adds "colorScale": {"title", "min", "max"}. Numbers that are not finite are written as null.

#include "platform/ui/Chart.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace korvel {

// "step", "line", "area", "bar", "polar", "polar-points" or "colormap".
std::string_view SeriesStyleName(TSeriesKind kind);

nlohmann::ordered_json ChartToJson(const TChart& chart);
// Every chart in the tree below root (root included), depth first in the order the controls were made; a
// chart hidden itself is left out (one on a page not in front is not).
nlohmann::ordered_json ChartsToJson(TControl& root);

} // namespace korvel
