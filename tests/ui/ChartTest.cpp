#include "platform/ui/Chart.h"

#include "platform/Errors.h"

#include <cmath>
#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(Chart, AxesRefuseRangesTheyCannotDraw) {
    TChart chart("Chart");
    TChartAxis freq{akLogarithmic, "Frequency [Hz]", false, 20, 20000, "%.0f"};
    chart.SetBottomAxis(freq);
    EXPECT_EQ(chart.BottomAxis().Title, "Frequency [Hz]");

    TChartAxis bad = freq;
    bad.Min = 0;
    EXPECT_THROW(chart.SetBottomAxis(bad), EKorvelError);
    bad = freq;
    bad.Max = 10;
    EXPECT_THROW(chart.SetBottomAxis(bad), EKorvelError);
    bad = freq;
    bad.Max = NAN;
    EXPECT_THROW(chart.SetBottomAxis(bad), EKorvelError);
    bad = freq;
    bad.LabelFormat = "%s";
    EXPECT_THROW(chart.SetBottomAxis(bad), EKorvelError);
    // A range left to the data is not checked.
    bad = freq;
    bad.AutoRange = true;
    bad.Min = -1;
    EXPECT_NO_THROW(chart.SetLeftAxis(bad));
    EXPECT_EQ(chart.BottomAxis(), freq);
}

TEST(Chart, LabelFormatsTakeOneNumberAndNothingDangerous) {
    EXPECT_EQ(FormatAxisLabel("%.0f Hz", 1000.4), "1000 Hz");
    EXPECT_EQ(FormatAxisLabel("%.1f°", 22.5), "22.5°");
    EXPECT_EQ(FormatAxisLabel("%g %%", 50.0), "50 %");
    EXPECT_EQ(FormatAxisLabel("%+06.1f", 3.0), "+003.0");
    for (const char* bad : {"", "dB", "%d", "%f %f", "%n", "%s", "%100f", "%.100f", "%"})
        EXPECT_THROW(CheckLabelFormat(bad), EKorvelError) << bad;
}

TEST(Chart, SeriesChangesAreReportedAndDataRangeSkipsWhatLogCannotShow) {
    TChart chart("Chart");
    chart.SetBottomAxis({akLogarithmic, "f", true, 0, 1, "%g"});
    std::vector<TChange> changes;
    auto sub = chart.SubscribeScoped([&](TComponent&, const TChange& c) { changes.push_back(c); });

    int levels = chart.AddSeries({"Lw", skStep, clBlue, true, {{0, 40}, {63, 50}, {125, NAN}, {8000, 70}}});
    int hidden = chart.AddSeries({"Old", skLine, clRed, false, {{1, 200}, {100000, -5}}});
    chart.SetSeriesPoints(levels, {{0, 40}, {63, 50}, {125, NAN}, {8000, 70}}); // same points: no notice
    EXPECT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].Kind, TChangeKind::Items);
    EXPECT_EQ(changes[1].Index, hidden);

    auto x = chart.DataRange(true);
    ASSERT_TRUE(x.has_value());
    EXPECT_EQ(*x, std::make_pair(63.0, 8000.0));
    auto y = chart.DataRange(false);
    ASSERT_TRUE(y.has_value());
    EXPECT_EQ(*y, std::make_pair(40.0, 70.0));

    chart.SetSeriesVisible(levels, false);
    EXPECT_FALSE(chart.DataRange(true).has_value());
    chart.DeleteSeries(hidden);
    EXPECT_EQ(chart.SeriesCount(), 1);
    EXPECT_THROW(chart.Series(1), EKorvelError);
    chart.ClearSeries();
    EXPECT_EQ(chart.SeriesCount(), 0);
}

} // namespace
} // namespace korvel
