#include "gui/grid/ChartView.h"

#include "gui/grid/ChartGeometry.h"

#include <QAreaSeries>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QLegend>
#include <QLegendMarker>
#include <QLineSeries>
#include <QLogValueAxis>
#include <QPolarChart>
#include <QTest>
#include <QValueAxis>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>

namespace korvel::gui {
namespace {

const double kNaN = std::nan("");

QList<QPointF> PointsOf(QAbstractSeries* part) {
    if (auto* area = qobject_cast<QAreaSeries*>(part))
        return area->upperSeries()->points();
    return static_cast<QXYSeries*>(part)->points();
}

QColor PenOf(QAbstractSeries* part) {
    if (auto* area = qobject_cast<QAreaSeries*>(part))
        return area->pen().color();
    return static_cast<QXYSeries*>(part)->pen().color();
}

void ExpectPoints(const QList<QPointF>& actual, const QList<QPointF>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (qsizetype i = 0; i < actual.size(); ++i) {
        EXPECT_NEAR(actual[i].x(), expected[i].x(), 1e-9 * std::abs(expected[i].x()) + 1e-12)
            << "point " << i;
        EXPECT_NEAR(actual[i].y(), expected[i].y(), 1e-9) << "point " << i;
    }
}

// The texts Qt Charts has laid out (axis labels, titles, legend), once the view has been shown.
QStringList DrawnTexts(TChartView& view) {
    view.resize(500, 350);
    view.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
    QCoreApplication::processEvents();
    QStringList texts;
    for (QGraphicsItem* item : view.scene()->items())
        if (auto* text = dynamic_cast<QGraphicsTextItem*>(item))
            texts << text->toPlainText();
    return texts;
}

class ChartView : public ::testing::Test {
protected:
    TChartView& View() {
        if (!view)
            view = std::make_unique<TChartView>(chart);
        return *view;
    }

    TChart chart{"Spectrum"};
    std::unique_ptr<TChartView> view;
};

TEST_F(ChartView, AxesTakeTheModelsKindRangeTitleAndFormat) {
    chart.SetBottomAxis({akLogarithmic, "Frequency [Hz]", false, 20, 20000, "%.0f"});
    chart.AddSeries({"Lw", skLine, clRed, true, {{63, 40}, {1000, 70}}});
    auto* x = qobject_cast<QLogValueAxis*>(View().HorizontalAxis());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->min(), 20);
    EXPECT_EQ(x->max(), 20000);
    EXPECT_EQ(x->base(), 10);
    EXPECT_EQ(x->titleText(), "Frequency [Hz]");
    auto* y = qobject_cast<QValueAxis*>(View().VerticalAxis());
    ASSERT_NE(y, nullptr);
    // Automatic: the data with a little room, not a range of its own.
    EXPECT_LT(y->min(), 40);
    EXPECT_GT(y->max(), 70);
    EXPECT_LE(y->max() - y->min(), 60);

    chart.SetLeftAxis({akLogarithmic, "p [Pa]", false, 0.1, 1000, "%.1f dB"});
    auto* logY = qobject_cast<QLogValueAxis*>(View().VerticalAxis());
    ASSERT_NE(logY, nullptr);
    EXPECT_EQ(logY->min(), 0.1);
    EXPECT_EQ(logY->labelFormat(), "%.1f dB");
    chart.SetBottomAxis({akLinear, "", true, 0, 1, "%g"});
    EXPECT_NE(qobject_cast<QValueAxis*>(View().HorizontalAxis()), nullptr);
    EXPECT_FALSE(View().HorizontalAxis()->isTitleVisible());
    ASSERT_EQ(View().chart()->series().size(), 1);
    EXPECT_EQ(View().chart()->series()[0]->attachedAxes().size(), 2);
}

TEST_F(ChartView, StepsSpanTheirBandsAndGapsSplitTheLine) {
    chart.SetBottomAxis({akLogarithmic, "", true, 0, 1, "%g"});
    chart.AddSeries({"Lw", skStep, clBlue, true, {{63, 50}, {125, 60}, {250, kNaN}, {500, 70}}});
    QList<QAbstractSeries*> parts = View().Parts(0);
    ASSERT_EQ(parts.size(), 2);
    const double e1 = std::sqrt(63.0 * 125);
    const double e2 = std::sqrt(125.0 * 250);
    ExpectPoints(PointsOf(parts[0]), {{63 / std::sqrt(125.0 / 63), 50}, {e1, 50}, {e1, 60}, {e2, 60}});
    ExpectPoints(PointsOf(parts[1]), {{std::sqrt(250.0 * 500), 70}, {500 * std::sqrt(2.0), 70}});
    // One legend entry per series.
    EXPECT_TRUE(View().chart()->legend()->markers(parts[0]).front()->isVisible());
    EXPECT_FALSE(View().chart()->legend()->markers(parts[1]).front()->isVisible());
    // The automatic range reaches the outer band edges.
    auto* x = static_cast<QLogValueAxis*>(View().HorizontalAxis());
    EXPECT_LT(x->min(), PointsOf(parts[0]).front().x());
    EXPECT_GT(x->max(), PointsOf(parts[1]).back().x());

    // On a linear axis a level holds from its X to the next; a value a log axis cannot show is a gap.
    ExpectPoints(StepRuns({{0, 1}, {10, 2}, {20, 3}}, false, false)[0],
                 {{0, 1}, {10, 1}, {10, 2}, {20, 2}, {20, 3}, {30, 3}});
    EXPECT_EQ(LineRuns({{1, 1}, {2, -1}, {3, 1}, {kNaN, 1}, {5, 1}}, false, true).size(), 3u);
    EXPECT_TRUE(LineRuns({{kNaN, kNaN}}, false, false).empty());
}

TEST_F(ChartView, BarsAreFilledFromTheAxisMinimum) {
    chart.SetLeftAxis({akLinear, "", false, 30, 80, "%g"});
    chart.AddSeries({"Lw", skBar, clGreen, true, {{1, 50}, {2, kNaN}, {3, 60}}});
    ASSERT_EQ(View().Parts(0).size(), 1);
    auto* area = qobject_cast<QAreaSeries*>(View().Parts(0)[0]);
    ASSERT_NE(area, nullptr);
    const double h = 0.4; // 40 % of the closest spacing, 1 (the gap still counts), on each side
    ExpectPoints(area->upperSeries()->points(), {{1 - h, 30},
                                                 {1 - h, 50},
                                                 {1 + h, 50},
                                                 {1 + h, 30},
                                                 {3 - h, 30},
                                                 {3 - h, 60},
                                                 {3 + h, 60},
                                                 {3 + h, 30}});
    // On a frequency axis bars are the filled steps.
    chart.SetBottomAxis({akLogarithmic, "", true, 0, 1, "%g"});
    area = qobject_cast<QAreaSeries*>(View().Parts(0)[0]);
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(area->upperSeries()->points(), StepRuns(chart.Series(0).Points, true, false)[0]);
}

TEST_F(ChartView, PolarSeriesMakeAPolarChart) {
    chart.AddSeries({"Directivity", skPolar, clDefault, true, {{0, 1}, {90, 0.5}, {180, 0.2}, {270, 0.5}}});
    ASSERT_TRUE(View().IsPolar());
    EXPECT_EQ(View().chart()->chartType(), QChart::ChartTypePolar);
    auto* angle = qobject_cast<QValueAxis*>(View().HorizontalAxis());
    ASSERT_NE(angle, nullptr);
    EXPECT_EQ(angle->min(), 0);
    EXPECT_EQ(angle->max(), 360);
    EXPECT_EQ(static_cast<QPolarChart*>(View().chart())->axes(QPolarChart::PolarOrientationRadial).front(),
              View().VerticalAxis());
    chart.DeleteSeries(0);
    EXPECT_FALSE(View().IsPolar());
    EXPECT_EQ(View().chart()->chartType(), QChart::ChartTypeCartesian);
}

TEST_F(ChartView, SeriesChangesReachTheChartWithoutANewChart) {
    chart.AddSeries({"A", skLine, clRed, true, {{1, 1}, {2, 2}}});
    chart.AddSeries({"B", skLine, clDefault, true, {{1, 3}, {2, 4}}});
    chart.AddSeries({"C", skArea, clBlue, true, {{1, 5}, {2, 6}}});
    QChart* qchart = View().chart();
    EXPECT_EQ(qchart->series().size(), 3);
    const QColor themeSecond = View().SeriesColor(1);

    chart.SetSeriesPoints(1, {{1, 3}, {2, kNaN}, {3, 4}, {4, 4}});
    EXPECT_EQ(qchart->series().size(), 4);
    EXPECT_EQ(PenOf(View().Parts(1)[1]), themeSecond); // every run in the series' colour

    chart.DeleteSeries(0);
    EXPECT_EQ(View().chart(), qchart);
    EXPECT_EQ(qchart->series().size(), 3);
    EXPECT_NE(View().SeriesColor(0), themeSecond); // a default colour follows the position
    EXPECT_EQ(PenOf(View().Parts(0)[0]), View().SeriesColor(0));
    EXPECT_EQ(PenOf(View().Parts(1)[0]), QColor(Qt::blue));
    EXPECT_EQ(qobject_cast<QAreaSeries*>(View().Parts(1)[0])->brush().color().rgb(), QColor(Qt::blue).rgb());

    chart.SetSeriesVisible(1, false);
    EXPECT_TRUE(View().Parts(1).isEmpty());
    EXPECT_EQ(qchart->series().size(), 2);
    chart.ClearSeries();
    chart.AddSeries({"D", skLine, RGBToColor(10, 200, 30), true, {}});
    ASSERT_EQ(qchart->series().size(), 1); // an empty series keeps its legend entry
    EXPECT_EQ(PenOf(qchart->series()[0]), QColor(10, 200, 30));

    chart.SetTitle("L < 5 & more");
    chart.SetLegendVisible(false);
    EXPECT_EQ(View().chart(), qchart);
    EXPECT_EQ(qchart->title(), "L &lt; 5 &amp; more");
    EXPECT_FALSE(qchart->legend()->isVisible());
}

TEST_F(ChartView, LabelsUseThePersonsLocaleWithTheModelsFormat) {
    EXPECT_EQ(AxisLabelFormat("%.0f Hz"), "%.0f Hz");
    EXPECT_EQ(AxisLabelFormat("%g"), "%.6g");
    EXPECT_EQ(AxisLabelFormat("%+08.2F"), "%.2f");
    EXPECT_EQ(AxisLabelFormat("%.f"), "%.0f");
    EXPECT_EQ(AxisLabelFormat("%% %.1e<"), "&#37; %.1e&lt;");
    EXPECT_EQ(TickInterval(30), 5);
    EXPECT_EQ(TickInterval(1), 0.2);
    EXPECT_EQ(TickInterval(20000), 5000);
    EXPECT_EQ(TickInterval(8), 1);

    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    chart.SetLeftAxis({akLinear, "", false, 0, 1, "%.1f dB"});
    chart.SetBottomAxis({akLinear, "", false, 0, 20000, "%.0f Hz"});
    chart.AddSeries({"Lw", skLine, clDefault, true, {{0, 0.5}, {20000, 0.7}}});
    const QStringList cartesian = DrawnTexts(View());
    view.reset();
    chart.AddSeries({"Polar", skPolar, clDefault, true, {{0, 0.5}, {90, 0.7}}});
    const QStringList polar = DrawnTexts(View());
    QLocale::setDefault(QLocale::c());
    EXPECT_TRUE(cartesian.contains("0,4 dB")) << cartesian.join(" | ").toStdString();
    EXPECT_TRUE(cartesian.contains("20000 Hz")) << cartesian.join(" | ").toStdString(); // no digit groups
    EXPECT_TRUE(polar.contains("90°")) << polar.join(" | ").toStdString();
}

TEST_F(ChartView, ModelDestroyedBeforeItsWidget) {
    auto owned = std::make_unique<TChart>("Chart");
    owned->AddSeries({"A", skStep, clDefault, true, {{1, 1}, {2, 2}}});
    TChartView widget(*owned);
    owned.reset();
    EXPECT_FALSE(widget.grab().isNull());
    EXPECT_EQ(widget.chart()->series().size(), 1);
}

} // namespace
} // namespace korvel::gui
