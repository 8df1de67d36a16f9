#pragma once

// The widget of a chart model. Each model series becomes one Qt series per run between gaps (see
// ChartGeometry.h for steps, bars and gaps); only the first run of a series has a legend entry. A chart with
// any polar series is a QPolarChart (angle 0..360 degrees around, the left axis as radius), since Qt cannot
// mix polar and cartesian series in one chart. Series changes replace only that series' Qt series; the whole
// chart is built again only when an axis kind or the polar/cartesian choice changes.
//
// Polar points are a scatter series. Qt Charts has no colour maps: their cells are painted into an image laid
// over the plot area (below the grid lines), painted again whenever the plot area, the ranges or the cells
// change, with a colour bar right of the plot. Colour maps are drawn on cartesian charts only.

#include "platform/ui/Chart.h"

#include <QChartView>
#include <QList>
#include <vector>

class QAbstractAxis;
class QAbstractSeries;
class QGraphicsPixmapItem;

namespace korvel::gui {

class TWatch;
class TColorBar;

class TChartView : public QChartView {
public:
    explicit TChartView(TChart& chart, QWidget* parent = nullptr);
    ~TChartView() override;

    bool IsPolar() const { return polar_; }
    // The bottom axis (the angle on a polar chart) and the left axis (the radius).
    QAbstractAxis* HorizontalAxis() const { return xAxis_; }
    QAbstractAxis* VerticalAxis() const { return yAxis_; }
    // The Qt series drawn for one model series; empty for a hidden series and for a colour map.
    QList<QAbstractSeries*> Parts(int series) const;
    // The colour a series is drawn in (the model's, or the theme's for clDefault).
    QColor SeriesColor(int series) const;
    // Cells of a colour map are on show, with their colour bar.
    bool ShowsColorMap() const;

private:
    struct TDrawn {
        QList<QAbstractSeries*> Parts;
        QColor Color;
        TSeriesKind Kind = skLine;
    };

    void OnChange(const TChange& change);
    void OnSeriesChange(const TChange& change);
    bool WantsPolar() const;
    void Rebuild();
    QAbstractAxis* MakeAxis(TAxisKind kind) const;
    void ApplyAxis(QAbstractAxis* axis, const TChartAxis& model) const;
    void ApplyAxes();
    void ApplyRanges();
    void RebuildBars();
    TDrawn Build(int index);
    void Drop(TDrawn& drawn);
    void RebuildAllSeries();
    void ApplyColors();
    // The extent of the colour map cells that have a value along X or Y.
    std::optional<std::pair<double, double>> CellRange(bool horizontal) const;
    bool OnlyColorMaps() const;
    void UpdateColorMap();

    TChart& model_;
    TWatch* watch_;
    QChart* chart_ = nullptr;
    bool polar_ = false;
    TAxisKind xKind_ = akLinear;
    TAxisKind yKind_ = akLinear;
    QAbstractAxis* xAxis_ = nullptr;
    QAbstractAxis* yAxis_ = nullptr;
    std::vector<TDrawn> drawn_;
    double barBase_ = 0;
    QColor themeGrid_;
    QColor themeMinorGrid_;
    QGraphicsPixmapItem* cells_ = nullptr; // owned by the chart
    TColorBar* colorBar_ = nullptr;        // owned by the chart
};

} // namespace korvel::gui
