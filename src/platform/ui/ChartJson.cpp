#include "platform/ui/ChartJson.h"

#include <cmath>

namespace korvel {

namespace {

using nlohmann::ordered_json;

ordered_json Number(double v) {
    return std::isfinite(v) ? ordered_json(v) : ordered_json(nullptr);
}

bool HasKind(const TChart& chart, bool (*wanted)(TSeriesKind)) {
    for (int i = 0; i < chart.SeriesCount(); ++i)
        if (wanted(chart.Series(i).Kind))
            return true;
    return false;
}

// The range the reader sees: the fixed one, else what the data spans.
ordered_json AxisToJson(const TChart& chart, bool horizontal, bool polar) {
    const TChartAxis& axis = horizontal ? chart.BottomAxis() : chart.LeftAxis();
    ordered_json result;
    result["title"] = axis.Title;
    result["kind"] = polar && horizontal ? "polar" : axis.Kind == akLogarithmic ? "log" : "linear";
    std::optional<std::pair<double, double>> range =
        axis.AutoRange ? chart.DataRange(horizontal) : std::make_pair(axis.Min, axis.Max);
    result["min"] = range ? Number(range->first) : nullptr;
    result["max"] = range ? Number(range->second) : nullptr;
    return result;
}

ordered_json SeriesToJson(const TChartSeries& series) {
    ordered_json result;
    result["title"] = series.Name;
    result["style"] = SeriesStyleName(series.Kind);
    result["visible"] = series.Visible;
    ordered_json points = ordered_json::array();
    const bool cells = series.Kind == skColorMap;
    for (std::size_t i = 0; i < series.Points.size(); ++i) {
        ordered_json point = {Number(series.Points[i].X), Number(series.Points[i].Y)};
        if (cells)
            point.push_back(i < series.Z.size() ? Number(series.Z[i]) : ordered_json(nullptr));
        points.push_back(std::move(point));
    }
    result["points"] = std::move(points);
    return result;
}

} // namespace

std::string_view SeriesStyleName(TSeriesKind kind) {
    switch (kind) {
    case skStep:
        return "step";
    case skLine:
        return "line";
    case skArea:
        return "area";
    case skBar:
        return "bar";
    case skPolar:
        return "polar";
    case skPolarPoints:
        return "polar-points";
    case skColorMap:
        return "colormap";
    }
    return "line";
}

ordered_json ChartToJson(const TChart& chart) {
    const bool polar = HasKind(chart, IsPolarKind);
    ordered_json result;
    result["name"] = chart.Name();
    result["title"] = chart.Title();
    result["axes"] = {AxisToJson(chart, true, polar), AxisToJson(chart, false, polar)};
    ordered_json series = ordered_json::array();
    for (int i = 0; i < chart.SeriesCount(); ++i)
        series.push_back(SeriesToJson(chart.Series(i)));
    result["series"] = std::move(series);
    if (HasKind(chart, [](TSeriesKind kind) { return kind == skColorMap; })) {
        const std::optional<std::pair<double, double>> extent = chart.ColorExtent();
        result["colorScale"] = {{"title", chart.ColorTitle()},
                                {"min", extent ? Number(extent->first) : nullptr},
                                {"max", extent ? Number(extent->second) : nullptr}};
    }
    return result;
}

ordered_json ChartsToJson(TControl& root) {
    ordered_json result = ordered_json::array();
    if (const auto* chart = dynamic_cast<const TChart*>(&root))
        result.push_back(ChartToJson(*chart));
    // A chart the editor hides for this element (the colour map of a 2D directivity) is not one it shows.
    for (TControl* control : root.AllControls())
        if (const auto* chart = dynamic_cast<const TChart*>(control); chart && chart->Visible())
            result.push_back(ChartToJson(*chart));
    return result;
}

} // namespace korvel
