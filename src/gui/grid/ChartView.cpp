#include "gui/grid/ChartView.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/grid/ChartGeometry.h"

#include <QAreaSeries>
#include <QGraphicsLayout>
#include <QLegend>
#include <QLegendMarker>
#include <QLineSeries>
#include <QLocale>
#include <QLogValueAxis>
#include <QPolarChart>
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

} // namespace

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

bool TChartView::WantsPolar() const {
    for (int i = 0; i < model_.SeriesCount(); ++i)
        if (model_.Series(i).Kind == skPolar)
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

    QChart* old = chart_ != nullptr ? chart_ : this->chart();
    chart_ = chart;
    setChart(chart);
    delete old; // the view gives up an old chart without deleting it

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

void TChartView::ApplyAxes() {
    if (!polar_)
        ApplyAxis(xAxis_, model_.BottomAxis());
    ApplyAxis(yAxis_, model_.LeftAxis());
    ApplyRanges();
}

void TChartView::ApplyRanges() {
    auto apply = [](QAbstractAxis* axis, const TChartAxis& model,
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
        apply(xAxis_, model_.BottomAxis(), x);
    }
    apply(yAxis_, model_.LeftAxis(), model_.DataRange(false));

    double base = 0;
    if (auto* value = qobject_cast<QValueAxis*>(yAxis_))
        base = value->min();
    else if (auto* log = qobject_cast<QLogValueAxis*>(yAxis_))
        base = log->min();
    if (base == barBase_)
        return;
    barBase_ = base;
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
    if (!series.Visible)
        return drawn;

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

} // namespace korvel::gui
