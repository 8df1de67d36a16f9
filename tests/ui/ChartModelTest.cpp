// The chart model's colour maps, colours and colour scale, and charts written as JSON data.

#include "platform/Errors.h"
#include "platform/ui/Chart.h"
#include "platform/ui/ChartJson.h"
#include "platform/ui/Form.h"
#include "platform/ui/PageCtrls.h"
#include "support/TestUi.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel {
namespace {

using nlohmann::json;
const double kNaN = std::nan("");

TChartSeries Cells(std::vector<TChartPoint> points, std::vector<double> z) {
    TChartSeries s;
    s.Name = "Map";
    s.Kind = skColorMap;
    s.Points = std::move(points);
    s.Z = std::move(z);
    return s;
}

TEST(ChartModel, ColourMapsKeepOneValuePerCellAndRefuseWhatCannotBeDrawn) {
    TChart chart("Map");
    EXPECT_THROW(chart.AddSeries(Cells({{0, 0}, {1, 0}}, {1})), EKorvelError);
    EXPECT_EQ(chart.SeriesCount(), 0);

    const int map = chart.AddSeries(Cells({{0, 0}, {1, 0}, {2, 0}}, {4, kNaN, -2}));
    EXPECT_THROW(chart.SetSeriesPoints(map, {{0, 0}}), EKorvelError);
    EXPECT_THROW(chart.SetSeriesCells(map, {{0, 0}}, {1, 2}), EKorvelError);
    EXPECT_EQ(chart.Series(map).Points.size(), 3u);
    // A cell without a value counts for neither the axes nor the colour scale.
    EXPECT_EQ(chart.DataRange(true), std::make_pair(0.0, 2.0));
    chart.SetSeriesCells(map, {{0, 0}, {1, 0}, {2, 5}}, {4, 9, kNaN});
    EXPECT_EQ(chart.DataRange(false), std::make_pair(0.0, 0.0));
    EXPECT_EQ(chart.ColorExtent(), std::make_pair(4.0, 9.0));
    // Hidden maps give no colour extent; a fixed range always holds.
    chart.AddSeries(Cells({{0, 1}}, {100}));
    chart.SetSeriesVisible(1, false);
    EXPECT_EQ(chart.ColorExtent(), std::make_pair(4.0, 9.0));
    chart.SetColorRange(std::make_pair(-40.0, 10.0));
    EXPECT_EQ(chart.ColorExtent(), std::make_pair(-40.0, 10.0));

    for (const auto& bad : {std::make_pair(1.0, 1.0), std::make_pair(2.0, 1.0), std::make_pair(kNaN, 1.0),
                            std::make_pair(0.0, HUGE_VAL)}) {
        SCOPED_TRACE(std::to_string(bad.first) + ".." + std::to_string(bad.second));
        EXPECT_THROW(chart.SetColorRange(bad), EKorvelError);
        EXPECT_EQ(chart.ColorRange(), std::make_pair(-40.0, 10.0));
    }
    // A negative decibel radius is a valid fixed range.
    EXPECT_NO_THROW(chart.SetLeftAxis({akLinear, "dB", false, -40, 10, "%g"}));
}

TEST(ChartModel, LookSettersNotifyOnlyOnAChange) {
    TChart chart("Polar");
    chart.AddSeries(Cells({{0, 0}}, {kNaN}));
    int notices = 0;
    TChangeKind last = TChangeKind::Destroying;
    auto sub = chart.SubscribeScoped([&](TComponent&, const TChange& change) {
        ++notices;
        last = change.Kind;
    });
    const std::vector<std::pair<std::string, std::function<void()>>> setters = {
        {"grid colour",
         [&] {
             chart.SetGridColor(clGray);
         }},
        {"plot background",
         [&] {
             chart.SetPlotBackground(clWhite);
         }},
        {"colour range",
         [&] {
             chart.SetColorRange(std::make_pair(0.0, 1.0));
         }},
        {"colour range from the data",
         [&] {
             chart.SetColorRange(std::nullopt);
         }},
        {"colour title",
         [&] {
             chart.SetColorTitle("Level [dB]");
         }},
    };
    for (const auto& [what, set] : setters) {
        SCOPED_TRACE(what);
        notices = 0;
        set();
        EXPECT_EQ(notices, 1);
        EXPECT_EQ(last, TChangeKind::Style);
        set();
        EXPECT_EQ(notices, 1) << "the same value again is no change";
    }
    EXPECT_EQ(std::tuple(chart.GridColor(), chart.PlotBackground(), chart.ColorTitle()),
              std::tuple(clGray, clWhite, "Level [dB]"));
    notices = 0;
    chart.SetSeriesCells(0, {{0, 0}}, {kNaN}); // a missing value equals a missing value
    EXPECT_EQ(notices, 0);
    chart.SetSeriesCells(0, {{0, 0}}, {3});
    EXPECT_EQ(std::tuple(notices, last), std::tuple(1, TChangeKind::Value));
}

TEST(ChartJson, EveryChartOfTheTreeInCreationOrderAsPlottableData) {
    test::TTestUi ui;
    TForm form(ui, "Editor");
    auto& pages = form.Add<TPageControl>("Pages");
    TTabSheet& first = pages.AddPage("PageSpectrum", "Spectrum");
    TChart& spectrum = first.Add<TChart>("Spectrum");
    TChart& polar = pages.AddPage("PagePolar", "Polar").Add<TChart>("Polar");
    TChart& map = form.Add<TChart>("Map");
    TChart& empty = form.Add<TChart>("Empty");
    EXPECT_EQ(json(ChartsToJson(empty)), json::parse(R"([{"name": "Empty", "title": "", "series": [],
        "axes": [{"title": "", "kind": "linear", "min": null, "max": null},
                 {"title": "", "kind": "linear", "min": null, "max": null}]}])"));

    spectrum.SetTitle("Fan");
    spectrum.SetBottomAxis({akLogarithmic, "Frequency [Hz]", true, 0, 1, "%g"});
    spectrum.SetLeftAxis({akLinear, "Level [dB]", false, 0, 100, "%g"});
    spectrum.AddSeries({"dB", skStep, clGray, true, {{63, 70}, {125, kNaN}, {250, 61.5}}, {}});
    // Hidden series are data too: an editor may show one band of several at a time.
    spectrum.AddSeries({"Total", skLine, clRed, false, {{-5, 80}, {8000, 80}}, {}});

    polar.SetLeftAxis({akLinear, "dB", false, -40, 10, "%g"});
    polar.AddSeries({"1 kHz", skPolar, clBlue, true, {{0, 0}, {90, -12}}, {}});
    polar.AddSeries({"Measured", skPolarPoints, clBlue, true, {{45, -3}}, {}});

    map.SetColorTitle("Level [dB]");
    map.AddSeries(Cells({{0, 10}, {30, 10}}, {kNaN, 1.5}));

    const json charts = ChartsToJson(form);
    ASSERT_EQ(charts.size(), 4u);
    std::vector<std::string> names;
    for (const json& chart : charts)
        names.push_back(chart.at("name"));
    EXPECT_EQ(names, (std::vector<std::string>{"Spectrum", "Polar", "Map", "Empty"}));

    // The automatic bottom axis spans the data a log axis can show; the hidden series does not count.
    EXPECT_EQ(charts[0], json::parse(R"({"name": "Spectrum", "title": "Fan",
        "axes": [{"title": "Frequency [Hz]", "kind": "log", "min": 63.0, "max": 250.0},
                 {"title": "Level [dB]", "kind": "linear", "min": 0.0, "max": 100.0}],
        "series": [{"title": "dB", "style": "step", "visible": true,
                    "points": [[63.0, 70.0], [125.0, null], [250.0, 61.5]]},
                   {"title": "Total", "style": "line", "visible": false,
                    "points": [[-5.0, 80.0], [8000.0, 80.0]]}]})"));
    EXPECT_EQ(charts[1].at("axes"), json::parse(R"([{"title": "", "kind": "polar", "min": 0.0, "max": 90.0},
        {"title": "dB", "kind": "linear", "min": -40.0, "max": 10.0}])"));
    EXPECT_EQ(charts[1].at("series")[1].at("style"), "polar-points");
    EXPECT_FALSE(charts[1].contains("colorScale"));
    // The cell without a value stays in the data, and out of the ranges.
    EXPECT_EQ(charts[2].at("series")[0].at("points"), json::parse("[[0.0, 10.0, null], [30.0, 10.0, 1.5]]"));
    EXPECT_EQ(charts[2].at("axes")[0].at("min"), 30.0);
    EXPECT_EQ(charts[2].at("colorScale"), json::parse(R"({"title": "Level [dB]", "min": 1.5, "max": 1.5})"));

    TForm plain(ui, "Plain");
    plain.Add<TPageControl>("Pages").AddPage("Page", "Page");
    EXPECT_EQ(json(ChartsToJson(plain)), json::array());
}

TEST(ChartJson, EveryKindHasItsStyleName) {
    const std::vector<std::pair<TSeriesKind, std::string_view>> kinds = {
        {skStep, "step"},        {skLine, "line"},   {skArea, "area"},
        {skBar, "bar"},          {skPolar, "polar"}, {skPolarPoints, "polar-points"},
        {skColorMap, "colormap"}};
    for (const auto& [kind, name] : kinds)
        EXPECT_EQ(SeriesStyleName(kind), name);
    // The numbers of the older kinds are kept.
    EXPECT_EQ(std::tuple(int{skPolar}, int{skPolarPoints}, int{skColorMap}), std::tuple(4, 5, 6));
}

} // namespace
} // namespace korvel
