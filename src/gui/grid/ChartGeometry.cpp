#include "gui/grid/ChartGeometry.h"

#include "gui/base/QtText.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace korvel::gui {

namespace {

bool Usable(double v, bool log) {
    return std::isfinite(v) && (!log || v > 0);
}

// Positions (into points) of the points whose X can be placed, in order.
std::vector<std::size_t> UsableX(const std::vector<TChartPoint>& points, bool logX) {
    std::vector<std::size_t> result;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (Usable(points[i].X, logX))
            result.push_back(i);
    return result;
}

struct TBand {
    double Lo;
    double Hi;
};

// The band of the q-th usable point, by the rules in the header.
TBand BandOf(const std::vector<TChartPoint>& points, const std::vector<std::size_t>& usable, std::size_t q,
             bool logX) {
    const double x = points[usable[q]].X;
    const bool first = q == 0;
    const bool last = q + 1 == usable.size();
    if (logX) {
        if (first && last)
            return {x / std::sqrt(2.0), x * std::sqrt(2.0)};
        const double hi =
            last ? x * std::sqrt(x / points[usable[q - 1]].X) : std::sqrt(x * points[usable[q + 1]].X);
        const double lo =
            first ? x / std::sqrt(points[usable[q + 1]].X / x) : std::sqrt(x * points[usable[q - 1]].X);
        return {lo, hi};
    }
    if (first && last)
        return {x, x + 1};
    const double hi = last ? x + (x - points[usable[q - 1]].X) : points[usable[q + 1]].X;
    return {x, hi};
}

void CloseRun(std::vector<TPolyline>& runs, TPolyline& run) {
    if (!run.isEmpty())
        runs.push_back(std::move(run));
    run = {};
}

} // namespace

std::vector<TPolyline> LineRuns(const std::vector<TChartPoint>& points, bool logX, bool logY) {
    std::vector<TPolyline> runs;
    TPolyline run;
    for (const TChartPoint& p : points) {
        if (Usable(p.X, logX) && Usable(p.Y, logY))
            run.append(QPointF(p.X, p.Y));
        else
            CloseRun(runs, run);
    }
    CloseRun(runs, run);
    return runs;
}

std::vector<TPolyline> StepRuns(const std::vector<TChartPoint>& points, bool logX, bool logY) {
    std::vector<TPolyline> runs;
    TPolyline run;
    const std::vector<std::size_t> usable = UsableX(points, logX);
    std::size_t q = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (q >= usable.size() || usable[q] != i) {
            CloseRun(runs, run); // an X that cannot be placed is a gap
            continue;
        }
        const double y = points[i].Y;
        if (Usable(y, logY)) {
            const TBand band = BandOf(points, usable, q, logX);
            run.append(QPointF(band.Lo, y));
            run.append(QPointF(band.Hi, y));
        } else {
            CloseRun(runs, run);
        }
        ++q;
    }
    CloseRun(runs, run);
    return runs;
}

std::vector<TPolyline> BarRuns(const std::vector<TChartPoint>& points, bool logX, bool logY, double base) {
    if (logX)
        return StepRuns(points, logX, logY);
    const std::vector<std::size_t> usable = UsableX(points, logX);
    double spacing = std::numeric_limits<double>::infinity();
    for (std::size_t q = 1; q < usable.size(); ++q) {
        const double d = std::abs(points[usable[q]].X - points[usable[q - 1]].X);
        if (d > 0)
            spacing = std::min(spacing, d);
    }
    const double half = 0.4 * (std::isfinite(spacing) ? spacing : 1.0);
    // One outline for all bars: between them it runs along the base, where the fill has no height.
    TPolyline outline;
    for (std::size_t i : usable) {
        const TChartPoint& p = points[i];
        if (!Usable(p.Y, logY))
            continue;
        outline << QPointF(p.X - half, base) << QPointF(p.X - half, p.Y) << QPointF(p.X + half, p.Y)
                << QPointF(p.X + half, base);
    }
    std::vector<TPolyline> runs;
    if (!outline.isEmpty())
        runs.push_back(std::move(outline));
    return runs;
}

std::vector<double> CellEdges(const std::vector<double>& centres, bool log) {
    std::vector<double> edges;
    if (centres.empty())
        return edges;
    // In the log scale the arithmetic rules hold for log10 of the values.
    auto to = [log](double v) {
        return log ? std::log10(v) : v;
    };
    auto from = [log](double v) {
        return log ? std::pow(10.0, v) : v;
    };
    const std::size_t n = centres.size();
    if (n == 1) {
        const double half = log ? 0.5 * std::log10(2.0) : 0.5;
        return {from(to(centres[0]) - half), from(to(centres[0]) + half)};
    }
    edges.push_back(from(to(centres[0]) - 0.5 * (to(centres[1]) - to(centres[0]))));
    for (std::size_t i = 0; i + 1 < n; ++i)
        edges.push_back(from(0.5 * (to(centres[i]) + to(centres[i + 1]))));
    edges.push_back(from(to(centres[n - 1]) + 0.5 * (to(centres[n - 1]) - to(centres[n - 2]))));
    return edges;
}

TCellLattice CellLatticeOf(const std::vector<TChartPoint>& centres, bool logX, bool logY) {
    TCellLattice lattice;
    for (const TChartPoint& p : centres)
        if (Usable(p.X, logX) && Usable(p.Y, logY)) {
            lattice.Xs.push_back(p.X);
            lattice.Ys.push_back(p.Y);
        }
    for (std::vector<double>* values : {&lattice.Xs, &lattice.Ys}) {
        std::ranges::sort(*values);
        values->erase(std::unique(values->begin(), values->end()), values->end());
    }
    lattice.XEdges = CellEdges(lattice.Xs, logX);
    lattice.YEdges = CellEdges(lattice.Ys, logY);
    return lattice;
}

std::optional<std::pair<std::size_t, std::size_t>> TCellLattice::CellOf(const TChartPoint& centre) const {
    auto find = [](const std::vector<double>& values, double v) -> std::optional<std::size_t> {
        auto it = std::ranges::lower_bound(values, v);
        if (it == values.end() || *it != v)
            return std::nullopt;
        return static_cast<std::size_t>(it - values.begin());
    };
    const std::optional<std::size_t> col = find(Xs, centre.X);
    const std::optional<std::size_t> row = find(Ys, centre.Y);
    if (!col || !row)
        return std::nullopt;
    return std::make_pair(*col, *row);
}

QColor ColorMapColor(double t) {
    if (std::isnan(t))
        return {};
    // Nine even stops of a perceptually uniform ramp; straight lines between them stay close to it.
    static const QColor stops[] = {
        QColor(0x44, 0x01, 0x54), QColor(0x47, 0x2c, 0x7a), QColor(0x3b, 0x51, 0x8b),
        QColor(0x2c, 0x71, 0x8e), QColor(0x21, 0x90, 0x8d), QColor(0x27, 0xad, 0x81),
        QColor(0x5c, 0xc8, 0x63), QColor(0xaa, 0xdc, 0x32), QColor(0xfd, 0xe7, 0x25)};
    constexpr int last = static_cast<int>(std::size(stops)) - 1;
    const double at = std::clamp(t, 0.0, 1.0) * last;
    const int i = std::min(static_cast<int>(at), last - 1);
    const double f = at - i;
    const QColor& a = stops[i];
    const QColor& b = stops[i + 1];
    auto mix = [f](int u, int v) {
        return static_cast<int>(std::lround(u + f * (v - u)));
    };
    return QColor(mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue()));
}

std::pair<double, double> PaddedRange(std::optional<std::pair<double, double>> data, bool log) {
    if (!data)
        return log ? std::make_pair(1.0, 10.0) : std::make_pair(0.0, 1.0);
    auto [lo, hi] = *data;
    if (log) {
        if (lo >= hi)
            return {lo / std::sqrt(10.0), hi * std::sqrt(10.0)};
        const double factor = std::pow(10.0, 0.05 * std::log10(hi / lo));
        return {lo / factor, hi * factor};
    }
    if (lo >= hi) {
        const double room = lo == 0 ? 1.0 : 0.1 * std::abs(lo);
        return {lo - room, hi + room};
    }
    const double room = 0.05 * (hi - lo);
    return {lo - room, hi + room};
}

double TickInterval(double span) {
    if (!(span > 0) || !std::isfinite(span))
        return 1;
    double power = std::pow(10.0, std::floor(std::log10(span / 8)));
    for (;; power *= 10)
        for (double factor : {1.0, 2.0, 5.0})
            if (span / (factor * power) <= 8 + 1e-9)
                return factor * power;
}

namespace {

// Literal text of a printf format: "%%" is one percent sign.
QString FormatText(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        plain += text[i];
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%')
            ++i;
    }
    // Qt finds the number by the first '%', so a literal one must not look like it.
    return ToQ(plain).toHtmlEscaped().replace(QLatin1Char('%'), QLatin1String("&#37;"));
}

} // namespace

QString AxisLabelFormat(const std::string& format) {
    std::size_t at = 0;
    while (at < format.size()) {
        if (format[at] == '%' && at + 1 < format.size() && format[at + 1] != '%')
            break;
        at += format[at] == '%' ? 2 : 1;
    }
    if (at >= format.size())
        return QStringLiteral("%.6g");
    std::size_t i = at + 1;
    while (i < format.size() && std::string_view("-+ #0").find(format[i]) != std::string_view::npos)
        ++i;
    while (i < format.size() && std::isdigit(static_cast<unsigned char>(format[i])))
        ++i;
    QString precision = QStringLiteral("6");
    if (i < format.size() && format[i] == '.') {
        std::size_t start = ++i;
        while (i < format.size() && std::isdigit(static_cast<unsigned char>(format[i])))
            ++i;
        precision = i > start ? QString::fromStdString(format.substr(start, i - start)) : QStringLiteral("0");
    }
    if (i >= format.size())
        return QStringLiteral("%.6g");
    QChar conversion = QLatin1Char(format[i] == 'F' ? 'f' : format[i]);
    if (QStringLiteral("feEgG").indexOf(conversion) < 0)
        return QStringLiteral("%.6g");
    return FormatText(format.substr(0, at)) + QLatin1String("%.") + precision + conversion +
           FormatText(format.substr(i + 1));
}

QString ChartText(const std::string& text) {
    return ToQ(text).toHtmlEscaped();
}

} // namespace korvel::gui
