#include "platform/ui/Chart.h"

#include "platform/Errors.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace korvel {

namespace {

bool SameNumber(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

// Counts conversions; returns -1 on anything but %f/%e/%g (either case) and "%%".
int CountFloatConversions(const std::string& format) {
    int count = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%')
            continue;
        if (++i >= format.size())
            return -1;
        if (format[i] == '%')
            continue;
        while (i < format.size() && std::string_view("-+ #0").find(format[i]) != std::string_view::npos)
            ++i;
        for (int digits = 0; i < format.size() && std::isdigit(static_cast<unsigned char>(format[i])); ++i)
            if (++digits > 2)
                return -1;
        if (i < format.size() && format[i] == '.') {
            ++i;
            for (int digits = 0; i < format.size() && std::isdigit(static_cast<unsigned char>(format[i]));
                 ++i)
                if (++digits > 2)
                    return -1;
        }
        if (i >= format.size() || std::string_view("fFeEgG").find(format[i]) == std::string_view::npos)
            return -1;
        ++count;
    }
    return count;
}

} // namespace

bool TChartSeries::operator==(const TChartSeries& other) const {
    return Name == other.Name && Kind == other.Kind && Color == other.Color && Visible == other.Visible &&
           Points == other.Points && std::ranges::equal(Z, other.Z, SameNumber);
}

bool IsPolarKind(TSeriesKind kind) {
    return kind == skPolar || kind == skPolarPoints;
}

void CheckLabelFormat(const std::string& format) {
    if (CountFloatConversions(format) != 1)
        throw EKorvelError("Axis label format \"" + format +
                           "\" must hold exactly one number conversion such as %g or %.1f");
}

std::string FormatAxisLabel(const std::string& format, double value) {
    CheckLabelFormat(format);
    char buffer[128];
    // Width and precision have at most two digits, so the number fits; long text is cut, never overrun.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    int n = std::snprintf(buffer, sizeof buffer, format.c_str(), value);
#pragma GCC diagnostic pop
    if (n < 0)
        return {};
    return std::string(buffer, std::min<std::size_t>(static_cast<std::size_t>(n), sizeof buffer - 1));
}

void TChart::CheckAxis(const TChartAxis& axis, const char* which) const {
    CheckLabelFormat(axis.LabelFormat);
    if (axis.AutoRange)
        return;
    std::string prefix = "Chart \"" + Name() + "\", " + which + " axis: ";
    if (!std::isfinite(axis.Min) || !std::isfinite(axis.Max))
        throw EKorvelError(prefix + "the range limits must be numbers");
    if (axis.Min >= axis.Max)
        throw EKorvelError(prefix + "the minimum must be below the maximum");
    if (axis.Kind == akLogarithmic && axis.Min <= 0)
        throw EKorvelError(prefix + "a logarithmic range must stay above zero");
}

void TChart::SetBottomAxis(TChartAxis axis) {
    CheckAxis(axis, "bottom");
    Assign(bottomAxis_, std::move(axis), TChangeKind::Style);
}

void TChart::SetLeftAxis(TChartAxis axis) {
    CheckAxis(axis, "left");
    Assign(leftAxis_, std::move(axis), TChangeKind::Style);
}

TChartSeries& TChart::At(int index) {
    if (index < 0 || index >= SeriesCount())
        throw EKorvelError("Chart \"" + Name() + "\": series " + std::to_string(index) + " out of range");
    return series_[static_cast<std::size_t>(index)];
}

const TChartSeries& TChart::Series(int index) const {
    return const_cast<TChart*>(this)->At(index);
}

void TChart::SetColorRange(std::optional<std::pair<double, double>> range) {
    if (range) {
        if (!std::isfinite(range->first) || !std::isfinite(range->second))
            throw EKorvelError("Chart \"" + Name() + "\": the colour range limits must be numbers");
        if (range->first >= range->second)
            throw EKorvelError("Chart \"" + Name() +
                               "\": the colour range must rise from its first to its second limit");
    }
    Assign(colorRange_, range, TChangeKind::Style);
}

std::optional<std::pair<double, double>> TChart::ColorExtent() const {
    if (colorRange_)
        return colorRange_;
    std::optional<std::pair<double, double>> range;
    for (const TChartSeries& s : series_) {
        if (!s.Visible || s.Kind != skColorMap)
            continue;
        for (double z : s.Z) {
            if (!std::isfinite(z))
                continue;
            if (!range)
                range = std::make_pair(z, z);
            range->first = std::min(range->first, z);
            range->second = std::max(range->second, z);
        }
    }
    return range;
}

void TChart::CheckCells(const TChartSeries& series, std::size_t points, std::size_t values) const {
    if (series.Kind == skColorMap && points != values)
        throw EKorvelError("Chart \"" + Name() + "\", series \"" + series.Name +
                           "\": a colour map needs one value per cell, " + std::to_string(points) +
                           " cells but " + std::to_string(values) + " values");
}

int TChart::AddSeries(TChartSeries series) {
    CheckCells(series, series.Points.size(), series.Z.size());
    series_.push_back(std::move(series));
    int index = SeriesCount() - 1;
    Changed(TChangeKind::Items, index);
    return index;
}

void TChart::SetSeriesPoints(int index, std::vector<TChartPoint> points) {
    TChartSeries& s = At(index);
    CheckCells(s, points.size(), s.Z.size());
    if (s.Points == points)
        return;
    s.Points = std::move(points);
    Changed(TChangeKind::Value, index);
}

void TChart::SetSeriesCells(int index, std::vector<TChartPoint> points, std::vector<double> z) {
    TChartSeries& s = At(index);
    CheckCells(s, points.size(), z.size());
    if (s.Points == points && std::ranges::equal(s.Z, z, SameNumber))
        return;
    s.Points = std::move(points);
    s.Z = std::move(z);
    Changed(TChangeKind::Value, index);
}

void TChart::SetSeriesVisible(int index, bool visible) {
    TChartSeries& s = At(index);
    if (s.Visible == visible)
        return;
    s.Visible = visible;
    Changed(TChangeKind::Items, index);
}

void TChart::DeleteSeries(int index) {
    At(index);
    series_.erase(series_.begin() + index);
    Changed(TChangeKind::Items, index);
}

void TChart::ClearSeries() {
    if (series_.empty())
        return;
    series_.clear();
    Changed(TChangeKind::Items);
}

std::optional<std::pair<double, double>> TChart::DataRange(bool horizontal) const {
    const TChartAxis& axis = horizontal ? bottomAxis_ : leftAxis_;
    std::optional<std::pair<double, double>> range;
    for (const TChartSeries& s : series_) {
        if (!s.Visible)
            continue;
        for (std::size_t i = 0; i < s.Points.size(); ++i) {
            const TChartPoint& p = s.Points[i];
            if (s.Kind == skColorMap && !std::isfinite(s.Z[i]))
                continue;
            double v = horizontal ? p.X : p.Y;
            if (!std::isfinite(v) || (axis.Kind == akLogarithmic && v <= 0))
                continue;
            if (!range)
                range = std::make_pair(v, v);
            range->first = std::min(range->first, v);
            range->second = std::max(range->second, v);
        }
    }
    return range;
}

} // namespace korvel
