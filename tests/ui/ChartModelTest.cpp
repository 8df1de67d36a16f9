// The chart model's colour maps and colour scale, and charts written as JSON data.

#include "platform/Errors.h"
#include "platform/ui/Chart.h"
#include "platform/ui/ChartJson.h"
#include "platform/ui/Form.h"
#include "platform/ui/PageCtrls.h"
#include "support/TestUi.h"

#include <cmath>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel {
namespace {

using nlohmann::json;
const double kNaN = std::nan("");

TChartSeries Cells(std::vector<TChartPoint> points, std::vector<double> z) {
    return {"Map", skColorMap, clDefault, true, std::move(points), std::move(z)};
}

TEST(ChartModel, ColourMapsKeepOneValuePerCellAndRefuseWhatCannotBeDrawn) {
    TChart chart("Map");
    EXPECT_THROW(chart.AddSeries(Cells({{0, 0}, {1, 0}}, {1})), EKorvelError);
    EXPECT_EQ(chart.SeriesCount(), 0);
    const int map = chart.AddSeries(Cells({{0, 0}, {1, 0}, {2, 5}}, {4, 9, kNaN}));
    EXPECT_THROW(chart.SetSeriesPoints(map, {{0, 0}}), EKorvelError);
    EXPECT_THROW(chart.SetSeriesCells(map, {{0, 0}}, {1, 2}), EKorvelError);
    // A cell without a value counts for neither the axes nor the colour scale; hidden maps count for nothing.
    EXPECT_EQ(std::tuple(chart.DataRange(false), chart.ColorExtent()),
              std::tuple(std::make_pair(0.0, 0.0), std::make_pair(4.0, 9.0)));
    chart.AddSeries({"Hidden", skColorMap, clDefault, false, {{0, 1}}, {100}});
    EXPECT_EQ(chart.ColorExtent(), std::make_pair(4.0, 9.0));
    chart.SetColorRange(std::make_pair(-40.0, 10.0));
    EXPECT_EQ(chart.ColorExtent(), std::make_pair(-40.0, 10.0));
    for (const auto& bad : {std::make_pair(1.0, 1.0), std::make_pair(2.0, 1.0), std::make_pair(kNaN, 1.0)}) {
        EXPECT_THROW(chart.SetColorRange(bad), EKorvelError);
        EXPECT_EQ(chart.ColorRange(), std::make_pair(-40.0, 10.0));
    }

    // The same cells again, a missing value equalling a missing value, raise no notice.
    int notices = 0;
    auto sub = chart.SubscribeScoped([&](TComponent&, const TChange&) { ++notices; });
    chart.SetSeriesCells(map, chart.Series(map).Points, {4, 9, kNaN});
    EXPECT_EQ(notices, 0);
    chart.SetSeriesCells(map, chart.Series(map).Points, {4, 9, 1});
    EXPECT_EQ(notices, 1);
}

TEST(ChartJson, EveryChartOfTheTreeInCreationOrderAsPlottableData) {
    test::TTestUi ui;
    TForm form(ui, "Editor");
    auto& pages = form.Add<TPageControl>("Pages");
    TChart& spectrum = pages.AddPage("PageSpectrum", "Spectrum").Add<TChart>("Spectrum");
    TChart& polar = pages.AddPage("PagePolar", "Polar").Add<TChart>("Polar");
    TChart& map = form.Add<TChart>("Map");

    spectrum.SetTitle("Fan");
    spectrum.SetBottomAxis({akLogarithmic, "Frequency [Hz]", true, 0, 1, "%g"});
    spectrum.SetLeftAxis({akLinear, "Level [dB]", false, 0, 100, "%g"});
    spectrum.AddSeries({"dB", skStep, clGray, true, {{63, 70}, {125, kNaN}, {250, 61.5}}, {}});
    // Hidden series are data too (an editor may show one band of several at a time), outside the ranges.
    spectrum.AddSeries({"Total", skLine, clRed, false, {{-5, 80}, {8000, 80}}, {}});
    polar.SetLeftAxis({akLinear, "dB", false, -40, 10, "%g"});
    polar.AddSeries({"Measured", skPolarPoints, clBlue, true, {{45, -3}, {90, -12}}, {}});
    map.SetColorTitle("Level [dB]");
    map.AddSeries(Cells({{0, 10}, {30, 10}}, {kNaN, 1.5}));

    const json charts = ChartsToJson(form);
    ASSERT_EQ(charts.size(), 3u);
    EXPECT_EQ(charts[0], json::parse(R"({"name": "Spectrum", "title": "Fan",
        "axes": [{"title": "Frequency [Hz]", "kind": "log", "min": 63.0, "max": 250.0},
                 {"title": "Level [dB]", "kind": "linear", "min": 0.0, "max": 100.0}],
        "series": [{"title": "dB", "style": "step", "visible": true,
                    "points": [[63.0, 70.0], [125.0, null], [250.0, 61.5]]},
                   {"title": "Total", "style": "line", "visible": false,
                    "points": [[-5.0, 80.0], [8000.0, 80.0]]}]})"));
    EXPECT_EQ(charts[1].at("axes"), json::parse(R"([{"title": "", "kind": "polar", "min": 45.0, "max": 90.0},
        {"title": "dB", "kind": "linear", "min": -40.0, "max": 10.0}])"));
    EXPECT_EQ(charts[1].at("series")[0].at("style"), "polar-points");
    EXPECT_FALSE(charts[1].contains("colorScale"));
    // The cell without a value stays in the data, and out of the ranges.
    EXPECT_EQ(charts[2].at("series")[0].at("points"), json::parse("[[0.0, 10.0, null], [30.0, 10.0, 1.5]]"));
    EXPECT_EQ(charts[2].at("axes")[0].at("min"), 30.0);
    EXPECT_EQ(charts[2].at("colorScale"), json::parse(R"({"title": "Level [dB]", "min": 1.5, "max": 1.5})"));

    TForm plain(ui, "Plain");
    EXPECT_EQ(json(ChartsToJson(plain)), json::array());
    EXPECT_EQ(json(ChartsToJson(plain.Add<TChart>("Empty"))).at(0).at("axes")[1],
              json::parse(R"({"title": "", "kind": "linear", "min": null, "max": null})"));
}

} // namespace
} // namespace korvel
