#pragma once

// What the chart widget draws for a series, as plain point lists, apart from Qt Charts so the rules can be
// checked on their own.
//
// Gaps: a point with a NaN coordinate, or with a value a logarithmic axis cannot show (<= 0), is not drawn
// and splits the line; each run between gaps becomes its own Qt series.
//
// Steps (band levels): every point's value is held over its band.
// - Logarithmic X (frequency bands): the band is centred on X in the log scale. The edge between two
//   neighbours is their geometric mean; the outer edges of the first and last point mirror their inner edge
//   (X / sqrt(next / X) and X * sqrt(X / previous)); a lone point spans one octave, X / sqrt 2 to X * sqrt 2.
// - Linear X: the value holds from X to the next point's X; the last point holds for the spacing before it,
//   a lone point for one unit.
// Neighbours are the adjacent points with a usable X, so a band whose value is missing leaves a hole of its
// own width instead of widening the bands beside it.
//
// Bars: on a logarithmic X axis, the steps filled down to the axis minimum; on a linear one, rectangles
// centred on X, 80 % of the closest spacing wide, from the axis minimum up.

#include "platform/ui/Chart.h"

#include <QColor>
#include <QList>
#include <QPointF>
#include <QString>
#include <optional>
#include <utility>
#include <vector>

namespace korvel::gui {

using TPolyline = QList<QPointF>;

// Runs of drawable points, in the series' order.
std::vector<TPolyline> LineRuns(const std::vector<TChartPoint>& points, bool logX, bool logY);
// Stair lines over the bands.
std::vector<TPolyline> StepRuns(const std::vector<TChartPoint>& points, bool logX, bool logY);
// Outlines to fill down to base (the Y axis minimum).
std::vector<TPolyline> BarRuns(const std::vector<TChartPoint>& points, bool logX, bool logY, double base);

// Colour maps: the cells lie on a lattice of the distinct X and the distinct Y of the cell centres. A cell
// reaches halfway to its neighbours (in the log scale on a logarithmic axis), the outer cells as far out as
// inwards; a lone centre gets one unit (one octave on a logarithmic axis). Centres an axis cannot show are
// left out.
struct TCellLattice {
    std::vector<double> Xs;     // distinct, rising
    std::vector<double> XEdges; // Xs.size() + 1 edges
    std::vector<double> Ys;
    std::vector<double> YEdges;
    // The cell of a centre as (column, row); nullopt for a centre not on the lattice.
    std::optional<std::pair<std::size_t, std::size_t>> CellOf(const TChartPoint& centre) const;
};
TCellLattice CellLatticeOf(const std::vector<TChartPoint>& centres, bool logX, bool logY);
std::vector<double> CellEdges(const std::vector<double>& centres, bool log);

// A perceptual colour scale, dark violet through blue and green to yellow, for t from 0 to 1 (clamped; NaN
// gives an invalid colour).
QColor ColorMapColor(double t);

// An automatic axis range around the data with a little room on both sides (5 % of the span, in decades on
// a logarithmic axis); a single value gets a range around it, no data 0..1 (1..10 when logarithmic).
std::pair<double, double> PaddedRange(std::optional<std::pair<double, double>> data, bool log);

// A tick interval for a fixed linear range: 1, 2 or 5 times a power of ten, the smallest that leaves at most
// eight intervals, so a range such as -30..0 is marked every 5 and not at thirds of it.
double TickInterval(double span);

// The printf label format of the model turned into the form Qt Charts formats with the chart's locale:
// "text%.<precision><conversion>text". Flags and width are dropped (a locale's number has its own width);
// without a precision printf's 6 applies. The text around the number is HTML-escaped, since Qt draws labels
// as rich text.
QString AxisLabelFormat(const std::string& format);

// Plain text for Qt Charts' rich-text titles and names.
QString ChartText(const std::string& text);

} // namespace korvel::gui
