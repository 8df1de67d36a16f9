#pragma once

// A chart as data only: series of points, two axes, a title. The renderer draws it.

#include "platform/ui/Control.h"
#include "platform/ui/UiTypes.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvel {

// skStep draws each value as a level up to the next point (band spectra); skPolar takes X as the angle in
// degrees and Y as the radius (directivity), skPolarPoints the same as markers only. skColorMap is a regular
// lattice of cells: Points hold the cell centres, Z the value drawn as colour (NaN: no cell); the cell size
// follows from the spacing of the distinct X and Y values. New kinds go at the end: the numbers are kept.
enum TSeriesKind : std::uint8_t { skStep, skLine, skArea, skBar, skPolar, skPolarPoints, skColorMap };
enum TAxisKind : std::uint8_t { akLinear, akLogarithmic };

// A NaN coordinate marks a gap in the line; two gaps compare equal, so that setting the same data twice is
// recognised as no change.
struct TChartPoint {
    double X = 0;
    double Y = 0;
    bool operator==(const TChartPoint& other) const { return Same(X, other.X) && Same(Y, other.Y); }

private:
    static bool Same(double a, double b) { return a == b || (a != a && b != b); }
};

struct TChartSeries {
    std::string Name;
    TSeriesKind Kind = skLine;
    TColor Color = clDefault;
    bool Visible = true;
    std::vector<TChartPoint> Points;
    // Colour map values, one per point; empty for the other kinds.
    std::vector<double> Z;
    // NaN values compare equal, as in TChartPoint.
    bool operator==(const TChartSeries& other) const;
};

bool IsPolarKind(TSeriesKind kind);

struct TChartAxis {
    TAxisKind Kind = akLinear;
    std::string Title;
    bool AutoRange = true; // else Min and Max hold
    double Min = 0;
    double Max = 1;
    // printf style with exactly one floating-point conversion, e.g. "%.0f Hz" or "%g".
    std::string LabelFormat = "%g";
    bool operator==(const TChartAxis&) const = default;
};

// Throws EKorvelError unless the format has exactly one %f/%e/%g conversion (flags, width, precision allowed)
// and nothing else but text and "%%".
void CheckLabelFormat(const std::string& format);
// Formats one axis label with a checked format.
std::string FormatAxisLabel(const std::string& format, double value);

class TChart : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TChart"; }

    const std::string& Title() const { return title_; }
    void SetTitle(std::string title) { Assign(title_, std::move(title), TChangeKind::Caption); }
    bool LegendVisible() const { return legendVisible_; }
    void SetLegendVisible(bool visible) { Assign(legendVisible_, visible, TChangeKind::Style); }
    // clDefault leaves grid lines and plot background to the theme.
    TColor GridColor() const { return gridColor_; }
    void SetGridColor(TColor color) { Assign(gridColor_, color, TChangeKind::Style); }
    TColor PlotBackground() const { return plotBackground_; }
    void SetPlotBackground(TColor color) { Assign(plotBackground_, color, TChangeKind::Style); }

    // The values the colour scale of colour maps spans; nullopt takes them from the data. Throws EKorvelError
    // unless both are numbers and the first is below the second.
    const std::optional<std::pair<double, double>>& ColorRange() const { return colorRange_; }
    void SetColorRange(std::optional<std::pair<double, double>> range);
    const std::string& ColorTitle() const { return colorTitle_; }
    void SetColorTitle(std::string title) { Assign(colorTitle_, std::move(title), TChangeKind::Style); }
    // The fixed colour range, else the extent of the finite Z of the visible colour maps.
    std::optional<std::pair<double, double>> ColorExtent() const;

    const TChartAxis& BottomAxis() const { return bottomAxis_; }
    const TChartAxis& LeftAxis() const { return leftAxis_; }
    // Throw EKorvelError on a bad label format, a fixed range with Min >= Max, a non-finite limit, or a fixed
    // logarithmic range that does not stay above zero.
    void SetBottomAxis(TChartAxis axis);
    void SetLeftAxis(TChartAxis axis);

    int SeriesCount() const { return static_cast<int>(series_.size()); }
    const TChartSeries& Series(int index) const;
    // Returns the new series' index. Throws EKorvelError when a colour map has not one Z per point.
    int AddSeries(TChartSeries series);
    // A colour map keeps its Z, so the number of points must stay; SetSeriesCells changes both.
    void SetSeriesPoints(int index, std::vector<TChartPoint> points);
    void SetSeriesCells(int index, std::vector<TChartPoint> points, std::vector<double> z);
    void SetSeriesVisible(int index, bool visible);
    void DeleteSeries(int index);
    void ClearSeries();

    // The extent of the visible finite data along X (horizontal) or Y; points that a logarithmic axis cannot
    // show (<= 0) and colour map cells without a value are left out. Empty when there is nothing to show.
    std::optional<std::pair<double, double>> DataRange(bool horizontal) const;

private:
    void CheckAxis(const TChartAxis& axis, const char* which) const;
    void CheckCells(const TChartSeries& series, std::size_t points, std::size_t values) const;
    TChartSeries& At(int index);

    std::string title_;
    bool legendVisible_ = true;
    TColor gridColor_ = clDefault;
    TColor plotBackground_ = clDefault;
    std::optional<std::pair<double, double>> colorRange_;
    std::string colorTitle_;
    TChartAxis bottomAxis_;
    TChartAxis leftAxis_;
    std::vector<TChartSeries> series_;
};

} // namespace korvel
