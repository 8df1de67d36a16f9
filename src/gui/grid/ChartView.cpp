#include "gui/grid/ChartView.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/grid/ChartGeometry.h"

#include <QAreaSeries>
#include <QGraphicsItem>
#include <QGraphicsLayout>
#include <QGraphicsPixmapItem>
#include <QLegend>
#include <QLegendMarker>
#include <QLineSeries>
#include <QLocale>
#include <QLogValueAxis>
#include <QPainter>
#include <QPolarChart>
#include <QScatterSeries>
#include <QValueAxis>
#include <algorithm>
#include <cmath>

namespace korvel::gui {

namespace {

// The theme's series colours in the order it hands them out, so a series without a colour of its own keeps
// the same one while its parts are replaced.
const QList<QColor>& ThemeColors() {
    static const QList<QColor> colors = [] {
        QChart probe;
        QList<QColor> result;
        for (int i = 0; i < 8; ++i) {
            auto* series = new QLineSeries;
            probe.addSeries(series);
            result << series->color();
        }
        return result;
    }();
    return colors;
}

std::optional<std::pair<double, double>> Union(std::optional<std::pair<double, double>> a,
                                               std::optional<std::pair<double, double>> b) {
    if (!a)
        return b;
    if (!b)
        return a;
    return std::make_pair(std::min(a->first, b->first), std::max(a->second, b->second));
}

QList<QPointF> PointsOf(QAbstractSeries* part) {
    if (auto* area = qobject_cast<QAreaSeries*>(part))
        return area->upperSeries() ? area->upperSeries()->points() : QList<QPointF>{};
    if (auto* line = qobject_cast<QXYSeries*>(part))
        return line->points();
    return {};
}

// Room right of the plot for the colour bar, its labels and its title.
constexpr int kBarRoom = 84;
constexpr double kBarGap = 10;
constexpr double kBarWidth = 14;

// Grid lines lie above the plot background (0) and shades (1).
constexpr double kCellsZ = 1.5;

std::pair<double, double> AxisRange(const QAbstractAxis* axis) {
    if (const auto* value = qobject_cast<const QValueAxis*>(axis))
        return {value->min(), value->max()};
    if (const auto* log = qobject_cast<const QLogValueAxis*>(axis))
        return {log->min(), log->max()};
    return {0, 1};
}

// Where value lands along an axis drawn from `from` to `to` pixels.
double Place(double value, std::pair<double, double> range, bool log, double from, double to) {
    double lo = range.first;
    double hi = range.second;
    if (log) {
        value = std::log10(value);
        lo = std::log10(lo);
        hi = std::log10(hi);
    }
    return from + (value - lo) / (hi - lo) * (to - from);
}

} // namespace

// The colour scale beside a colour map: the ramp from the lowest value (bottom) to the highest, ticked and
// labelled, with the colour title along its right side.
class TColorBar : public QGraphicsItem {
public:
    explicit TColorBar(QGraphicsItem* parent) : QGraphicsItem(parent) {}

    void Set(const QRectF& bar, std::pair<double, double> range, QString title, QFont font, QColor text,
             QLocale locale) {
        prepareGeometryChange();
        bar_ = bar;
        range_ = range;
        title_ = std::move(title);
        font_ = std::move(font);
        text_ = text;
        locale_ = std::move(locale);
        update();
    }

    QRectF boundingRect() const override { return bar_.adjusted(-1, -10, kBarRoom - kBarGap, 10); }

    void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override {
        if (bar_.height() < 2)
            return;
        const auto [lo, hi] = range_;
        const int rows = static_cast<int>(std::ceil(bar_.height()));
        for (int i = 0; i < rows; ++i) {
            const double t = rows == 1 ? 0.5 : 1.0 - static_cast<double>(i) / (rows - 1);
            painter->fillRect(QRectF(bar_.left(), bar_.top() + i, bar_.width(), 1), ColorMapColor(t));
        }
        painter->setPen(text_);
        painter->drawRect(bar_);
        painter->setFont(font_);
        const QFontMetricsF metrics(font_);
        double labelsRight = bar_.right();
        if (hi > lo) {
            const double step = TickInterval(hi - lo);
            for (double v = std::ceil(lo / step - 1e-9) * step; v <= hi + 1e-9 * step; v += step) {
                const double y = Place(v, range_, false, bar_.bottom(), bar_.top());
                painter->drawLine(QPointF(bar_.right(), y), QPointF(bar_.right() + 3, y));
                const QString label = locale_.toString(std::abs(v) < 1e-12 * step ? 0.0 : v, 'g', 6);
                const QPointF at(bar_.right() + 5, y + metrics.ascent() / 2 - 1);
                painter->drawText(at, label);
                labelsRight = std::max(labelsRight, at.x() + metrics.horizontalAdvance(label));
            }
        } else {
            const QString label = locale_.toString(lo, 'g', 6);
            painter->drawText(QPointF(bar_.right() + 5, bar_.center().y() + metrics.ascent() / 2), label);
            labelsRight = bar_.right() + 5 + metrics.horizontalAdvance(label);
        }
        if (title_.isEmpty())
            return;
        painter->save();
        painter->translate(labelsRight + 4 + metrics.ascent(), bar_.center().y());
        painter->rotate(-90);
        const QString title = metrics.elidedText(title_, Qt::ElideRight, bar_.height());
        painter->drawText(QPointF(-metrics.horizontalAdvance(title) / 2, 0), title);
        painter->restore();
    }

private:
    QRectF bar_;
    std::pair<double, double> range_{0, 1};
    QString title_;
    QFont font_;
    QColor text_;
    QLocale locale_;
};

TChartView::TChartView(TChart& chart, QWidget* parent)
    : QChartView(parent), model_(chart),
      watch_(new TWatch(this, chart, [this](const TChange& change) { OnChange(change); })) {
    setObjectName(ToQ(chart.Name()));
    setRenderHint(QPainter::Antialiasing);
    Rebuild();
}

TChartView::~TChartView() = default;

QList<QAbstractSeries*> TChartView::Parts(int series) const {
    if (series < 0 || series >= static_cast<int>(drawn_.size()))
        return {};
    return drawn_[static_cast<std::size_t>(series)].Parts;
}

QColor TChartView::SeriesColor(int series) const {
    if (series < 0 || series >= static_cast<int>(drawn_.size()))
        return {};
    return drawn_[static_cast<std::size_t>(series)].Color;
}

bool TChartView::ShowsColorMap() const {
    return cells_ != nullptr && cells_->isVisible();
}

bool TChartView::WantsPolar() const {
    for (int i = 0; i < model_.SeriesCount(); ++i)
        if (IsPolarKind(model_.Series(i).Kind))
            return true;
    return false;
}

void TChartView::OnChange(const TChange& change) {
    switch (change.Kind) {
    case TChangeKind::Caption:
        chart_->setTitle(ChartText(model_.Title()));
        break;
    case TChangeKind::Style:
        if (model_.BottomAxis().Kind != xKind_ || model_.LeftAxis().Kind != yKind_) {
            Rebuild(); // the runs depend on the axis kinds
        } else {
            chart_->legend()->setVisible(model_.LegendVisible());
            ApplyColors();
            ApplyAxes();
        }
        break;
    case TChangeKind::Items:
    case TChangeKind::Value:
        OnSeriesChange(change);
        break;
    default:
        break;
    }
}

void TChartView::OnSeriesChange(const TChange& change) {
    if (WantsPolar() != polar_) {
        Rebuild();
        return;
    }
    const int count = model_.SeriesCount();
    const int drawn = static_cast<int>(drawn_.size());
    const int index = change.Index;
    if (change.Kind == TChangeKind::Items && count == drawn + 1 && index == count - 1) {
        drawn_.push_back(Build(index)); // added
    } else if (change.Kind == TChangeKind::Items && count == drawn - 1 && index >= 0 && index < drawn) {
        Drop(drawn_[static_cast<std::size_t>(index)]); // deleted
        drawn_.erase(drawn_.begin() + index);
        // Default colours follow the position, so the series after it may change colour.
        for (int i = index; i < count; ++i)
            if (model_.Series(i).Color == clDefault) {
                Drop(drawn_[static_cast<std::size_t>(i)]);
                drawn_[static_cast<std::size_t>(i)] = Build(i);
            }
    } else if (count == drawn && index >= 0 && index < count) {
        Drop(drawn_[static_cast<std::size_t>(index)]); // new points or visibility
        drawn_[static_cast<std::size_t>(index)] = Build(index);
    } else {
        RebuildAllSeries();
    }
    ApplyRanges();
}

QAbstractAxis* TChartView::MakeAxis(TAxisKind kind) const {
    if (kind == akLogarithmic) {
        auto* axis = new QLogValueAxis;
        axis->setBase(10);
        axis->setMinorTickCount(-1); // the 2..9 marks of every decade
        return axis;
    }
    return new QValueAxis;
}

void TChartView::Rebuild() {
    for (TDrawn& drawn : drawn_)
        Drop(drawn);
    drawn_.clear();

    polar_ = WantsPolar();
    xKind_ = model_.BottomAxis().Kind;
    yKind_ = model_.LeftAxis().Kind;
    QChart* chart = polar_ ? new QPolarChart : new QChart;
    // Square and edge to edge: the chart is one control among others on a form.
    chart->setBackgroundRoundness(0);
    chart->setMargins(QMargins(4, 4, 4, 4));
    chart->layout()->setContentsMargins(0, 0, 0, 0);
    chart->legend()->setAlignment(Qt::AlignBottom);
    chart->legend()->setVisible(model_.LegendVisible());
    chart->setTitle(ChartText(model_.Title()));
    // Numbers in the person's locale; a printf format never groups digits, neither do the labels.
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() | QLocale::OmitGroupSeparator);
    chart->setLocale(locale);
    chart->setLocalizeNumbers(true);

    if (polar_) {
        auto* angle = new QValueAxis;
        angle->setRange(0, 360);
        angle->setTickCount(13); // every 30 degrees
        angle->setLabelFormat(AxisLabelFormat("%.0f°"));
        xAxis_ = angle;
        yAxis_ = MakeAxis(yKind_);
        auto* polarChart = static_cast<QPolarChart*>(chart);
        polarChart->addAxis(xAxis_, QPolarChart::PolarOrientationAngular);
        polarChart->addAxis(yAxis_, QPolarChart::PolarOrientationRadial);
    } else {
        xAxis_ = MakeAxis(xKind_);
        yAxis_ = MakeAxis(yKind_);
        chart->addAxis(xAxis_, Qt::AlignBottom);
        chart->addAxis(yAxis_, Qt::AlignLeft);
    }

    themeGrid_ = yAxis_->gridLineColor();
    themeMinorGrid_ = yAxis_->minorGridLineColor();
    cells_ = new QGraphicsPixmapItem(chart);
    cells_->setZValue(kCellsZ);
    cells_->setVisible(false);
    colorBar_ = new TColorBar(chart);
    colorBar_->setVisible(false);
    connect(chart, &QChart::plotAreaChanged, this, [this] { UpdateColorMap(); });

    QChart* old = chart_ != nullptr ? chart_ : this->chart();
    chart_ = chart;
    setChart(chart);
    delete old; // the view gives up an old chart without deleting it
    ApplyColors();

    // Bars stand on the axis minimum, so the range comes first and the bars follow it.
    ApplyAxes();
    for (int i = 0; i < model_.SeriesCount(); ++i)
        drawn_.push_back(Build(i));
    ApplyRanges();
}

void TChartView::ApplyAxis(QAbstractAxis* axis, const TChartAxis& model) const {
    axis->setTitleText(ChartText(model.Title));
    axis->setTitleVisible(!model.Title.empty());
    if (auto* log = qobject_cast<QLogValueAxis*>(axis))
        log->setLabelFormat(AxisLabelFormat(model.LabelFormat));
    else if (auto* value = qobject_cast<QValueAxis*>(axis))
        value->setLabelFormat(AxisLabelFormat(model.LabelFormat));
}

void TChartView::ApplyColors() {
    const QColor grid = ToQColor(model_.GridColor());
    for (QAbstractAxis* axis : {xAxis_, yAxis_}) {
        axis->setGridLineColor(grid.isValid() ? grid : themeGrid_);
        QColor minor = grid;
        if (minor.isValid())
            minor.setAlpha(110); // the 2..9 marks of a decade stay behind the main lines
        axis->setMinorGridLineColor(minor.isValid() ? minor : themeMinorGrid_);
    }
    const QColor background = ToQColor(model_.PlotBackground());
    chart_->setPlotAreaBackgroundVisible(background.isValid());
    if (background.isValid())
        chart_->setPlotAreaBackgroundBrush(background);
}

void TChartView::ApplyAxes() {
    if (!polar_)
        ApplyAxis(xAxis_, model_.BottomAxis());
    ApplyAxis(yAxis_, model_.LeftAxis());
    ApplyRanges();
}

void TChartView::ApplyRanges() {
    // A chart of colour maps alone fills its plot with cells, edge to edge.
    const bool tight = OnlyColorMaps();
    auto apply = [tight](QAbstractAxis* axis, const TChartAxis& model,
                         std::optional<std::pair<double, double>> extent) {
        auto* value = qobject_cast<QValueAxis*>(axis);
        if (!model.AutoRange) {
            axis->setRange(model.Min, model.Max);
            if (value != nullptr) {
                const double interval = TickInterval(model.Max - model.Min);
                const double steps = (model.Max - model.Min) / interval;
                // Polar axes know only a tick count; that serves whenever the interval divides the range.
                if (std::abs(steps - std::round(steps)) < 1e-9) {
                    value->setTickType(QValueAxis::TicksFixed);
                    value->setTickCount(static_cast<int>(std::round(steps)) + 1);
                } else {
                    value->setTickType(QValueAxis::TicksDynamic);
                    value->setTickAnchor(0);
                    value->setTickInterval(interval);
                }
            }
            return;
        }
        if (tight && extent && extent->first < extent->second) {
            axis->setRange(extent->first, extent->second);
            if (value != nullptr) {
                value->setTickType(QValueAxis::TicksDynamic);
                value->setTickAnchor(0);
                value->setTickInterval(TickInterval(extent->second - extent->first));
            }
            return;
        }
        auto [lo, hi] = PaddedRange(extent, model.Kind == akLogarithmic);
        axis->setRange(lo, hi);
        if (value != nullptr) {
            value->setTickType(QValueAxis::TicksFixed);
            value->applyNiceNumbers();
        }
    };
    if (!polar_) {
        // Steps and bars reach past their first and last X, to the band edges.
        std::optional<std::pair<double, double>> x = model_.DataRange(true);
        for (const TDrawn& drawn : drawn_)
            for (QAbstractSeries* part : drawn.Parts)
                for (const QPointF& p : PointsOf(part))
                    x = Union(x, std::make_pair(p.x(), p.x()));
        apply(xAxis_, model_.BottomAxis(), Union(x, CellRange(true)));
        apply(yAxis_, model_.LeftAxis(), Union(model_.DataRange(false), CellRange(false)));
    } else {
        apply(yAxis_, model_.LeftAxis(), model_.DataRange(false));
    }

    double base = 0;
    if (auto* value = qobject_cast<QValueAxis*>(yAxis_))
        base = value->min();
    else if (auto* log = qobject_cast<QLogValueAxis*>(yAxis_))
        base = log->min();
    if (base != barBase_) {
        barBase_ = base;
        RebuildBars();
    }
    UpdateColorMap();
}

void TChartView::RebuildBars() {
    for (std::size_t i = 0; i < drawn_.size(); ++i)
        if (drawn_[i].Kind == skBar && !drawn_[i].Parts.isEmpty()) {
            Drop(drawn_[i]);
            drawn_[i] = Build(static_cast<int>(i));
        }
}

TChartView::TDrawn TChartView::Build(int index) {
    const TChartSeries& series = model_.Series(index);
    TDrawn drawn;
    drawn.Kind = series.Kind;
    drawn.Color = ToQColor(series.Color);
    if (!drawn.Color.isValid())
        drawn.Color = ThemeColors()[index % ThemeColors().size()];
    if (!series.Visible || series.Kind == skColorMap)
        return drawn; // cells are painted by UpdateColorMap

    const bool logX = !polar_ && xKind_ == akLogarithmic;
    const bool logY = yKind_ == akLogarithmic;
    std::vector<TPolyline> runs;
    bool filled = false;
    if (polar_ || series.Kind == skLine || series.Kind == skPolar) {
        runs = LineRuns(series.Points, logX, logY);
        filled = series.Kind == skArea;
    } else if (series.Kind == skStep) {
        runs = StepRuns(series.Points, logX, logY);
    } else if (series.Kind == skArea) {
        runs = LineRuns(series.Points, logX, logY);
        filled = true;
    } else {
        runs = BarRuns(series.Points, logX, logY, barBase_);
        filled = true;
    }
    if (runs.empty())
        runs.emplace_back(); // an empty series still has its legend entry

    const QString name = ChartText(series.Name);
    if (series.Kind == skPolarPoints) {
        // Markers only: a gap splits nothing, so one series holds every drawable point.
        auto* scatter = new QScatterSeries;
        for (const TPolyline& run : runs)
            scatter->append(run);
        scatter->setName(name);
        chart_->addSeries(scatter);
        scatter->attachAxis(xAxis_);
        scatter->attachAxis(yAxis_);
        scatter->setMarkerShape(QScatterSeries::MarkerShapeCircle);
        scatter->setMarkerSize(7);
        scatter->setColor(drawn.Color);
        scatter->setBorderColor(drawn.Color.darker(130));
        if (series.Name.empty())
            for (QLegendMarker* marker : chart_->legend()->markers(scatter))
                marker->setVisible(false);
        drawn.Parts << scatter;
        return drawn;
    }
    for (const TPolyline& run : runs) {
        QAbstractSeries* part = nullptr;
        if (filled) {
            auto* area = new QAreaSeries;
            auto* upper = new QLineSeries(area);
            upper->append(run);
            area->setUpperSeries(upper);
            part = area;
        } else {
            auto* line = new QLineSeries;
            line->append(run);
            part = line;
        }
        part->setName(name);
        chart_->addSeries(part);
        part->attachAxis(xAxis_);
        part->attachAxis(yAxis_);
        // After adding: the theme decorates a series as it comes in.
        QPen pen(drawn.Color);
        pen.setWidthF(series.Kind == skBar ? 1.0 : 2.0);
        if (auto* area = qobject_cast<QAreaSeries*>(part)) {
            QColor fill = drawn.Color;
            fill.setAlpha(series.Kind == skBar ? 170 : 90);
            area->setPen(pen);
            area->setBrush(fill);
        } else {
            static_cast<QLineSeries*>(part)->setPen(pen);
        }
        if (!drawn.Parts.isEmpty() || series.Name.empty())
            for (QLegendMarker* marker : chart_->legend()->markers(part))
                marker->setVisible(false);
        drawn.Parts << part;
    }
    return drawn;
}

void TChartView::Drop(TDrawn& drawn) {
    for (QAbstractSeries* part : drawn.Parts) {
        chart_->removeSeries(part);
        delete part;
    }
    drawn.Parts.clear();
}

void TChartView::RebuildAllSeries() {
    for (TDrawn& drawn : drawn_)
        Drop(drawn);
    drawn_.clear();
    for (int i = 0; i < model_.SeriesCount(); ++i)
        drawn_.push_back(Build(i));
}

bool TChartView::OnlyColorMaps() const {
    if (polar_)
        return false;
    bool cells = false;
    for (int i = 0; i < model_.SeriesCount(); ++i) {
        const TChartSeries& series = model_.Series(i);
        if (!series.Visible)
            continue;
        if (series.Kind != skColorMap)
            return false;
        cells = true;
    }
    return cells;
}

std::optional<std::pair<double, double>> TChartView::CellRange(bool horizontal) const {
    if (polar_)
        return std::nullopt;
    const bool logX = xKind_ == akLogarithmic;
    const bool logY = yKind_ == akLogarithmic;
    std::optional<std::pair<double, double>> range;
    for (int i = 0; i < model_.SeriesCount(); ++i) {
        const TChartSeries& series = model_.Series(i);
        if (!series.Visible || series.Kind != skColorMap)
            continue;
        const TCellLattice lattice = CellLatticeOf(series.Points, logX, logY);
        const std::vector<double>& edges = horizontal ? lattice.XEdges : lattice.YEdges;
        for (std::size_t p = 0; p < series.Points.size(); ++p) {
            if (!std::isfinite(series.Z[p]))
                continue;
            if (const auto cell = lattice.CellOf(series.Points[p])) {
                const std::size_t at = horizontal ? cell->first : cell->second;
                range = Union(range, std::make_pair(edges[at], edges[at + 1]));
            }
        }
    }
    return range;
}

void TChartView::UpdateColorMap() {
    // A layout after the model is gone keeps the cells last painted.
    if (cells_ == nullptr || !watch_->Alive())
        return;
    const std::optional<std::pair<double, double>> extent = model_.ColorExtent();
    bool any = false;
    for (int i = 0; !polar_ && i < model_.SeriesCount() && !any; ++i) {
        const TChartSeries& series = model_.Series(i);
        any = series.Visible && series.Kind == skColorMap &&
              std::ranges::any_of(series.Z, [](double z) { return std::isfinite(z); });
    }
    any = any && extent.has_value();
    cells_->setVisible(any);
    colorBar_->setVisible(any);
    const QMargins margins(4, 4, any ? 4 + kBarRoom : 4, 4);
    if (chart_->margins() != margins)
        chart_->setMargins(margins); // lays out again, then comes back here by plotAreaChanged
    const QRectF area = chart_->plotArea();
    if (!any || area.width() < 1 || area.height() < 1)
        return;

    const qreal ratio = devicePixelRatioF();
    const QSize size(static_cast<int>(std::ceil(area.width() * ratio)),
                     static_cast<int>(std::ceil(area.height() * ratio)));
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        const bool logX = xKind_ == akLogarithmic;
        const bool logY = yKind_ == akLogarithmic;
        const auto xRange = AxisRange(xAxis_);
        const auto yRange = AxisRange(yAxis_);
        const auto [lo, hi] = *extent;
        // Every edge rounded once, so neighbouring cells meet without a seam.
        auto pixels = [](const std::vector<double>& edges, std::pair<double, double> range, bool log,
                         double from, double to) {
            std::vector<int> result;
            for (double e : edges)
                result.push_back(static_cast<int>(
                    std::lround(std::clamp(Place(e, range, log, from, to), -1.0, std::max(from, to) + 1))));
            return result;
        };
        for (int i = 0; i < model_.SeriesCount(); ++i) {
            const TChartSeries& series = model_.Series(i);
            if (!series.Visible || series.Kind != skColorMap)
                continue;
            const TCellLattice lattice = CellLatticeOf(series.Points, logX, logY);
            const std::vector<int> xs = pixels(lattice.XEdges, xRange, logX, 0, size.width());
            const std::vector<int> ys = pixels(lattice.YEdges, yRange, logY, size.height(), 0);
            for (std::size_t p = 0; p < series.Points.size(); ++p) {
                const double z = series.Z[p];
                const auto cell = lattice.CellOf(series.Points[p]);
                if (!std::isfinite(z) || !cell)
                    continue;
                const double t = hi > lo ? (z - lo) / (hi - lo) : 0.5;
                const auto [c, r] = *cell;
                painter.fillRect(
                    QRect(QPoint(std::min(xs[c], xs[c + 1]), std::min(ys[r], ys[r + 1])),
                          QPoint(std::max(xs[c], xs[c + 1]) - 1, std::max(ys[r], ys[r + 1]) - 1)),
                    ColorMapColor(t));
            }
        }
    }
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(ratio);
    cells_->setPixmap(pixmap);
    cells_->setPos(area.topLeft());

    colorBar_->Set(QRectF(area.right() + kBarGap, area.top(), kBarWidth, area.height()), *extent,
                   ToQ(model_.ColorTitle()), yAxis_->labelsFont(), yAxis_->labelsBrush().color(),
                   chart_->locale());
}

} // namespace korvel::gui
