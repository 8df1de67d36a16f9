// The diagram page: polar cuts and the colour map of the current band, and the interpolation settings.

#include "directivity/FormRiwiX.h"
#include "editor/ColorKeys.h"
#include "platform/Errors.h"

#include <array>
#include <cmath>
#include <limits>

namespace korvel::directivity {

using namespace acoustic;

namespace {

constexpr std::array<TColorKey, 7> kDiagramColors = {
    {{"Data line", "RDataLine", clBlue},
     {"Data points", "RDataPoint", RGBToColor(0, 0, 128)},
     {"Interpolated line", "RInterPol", clRed},
     {"Selected point", "RSelPoint", RGBToColor(255, 0, 255)},
     {"0 dB circle", "Riwi0dB", clGreen},
     {"Grid", "RiwiGrid", RGBToColor(200, 200, 200)},
     {"Grid background", "RiwiGridBk", clWhite}}};
enum TDiagramColor { kDataLine, kDataPoint, kInterPol, kSelPoint, k0dB, kGrid, kGridBk };

constexpr double kSameAngle = 0.1;

// The radius axis of a polar cut: 0 dB inside with room to spare, at most 60 dB deep.
TChartAxis RadiusAxis(double lo, double hi) {
    TChartAxis axis;
    axis.Title = "dB";
    axis.AutoRange = false;
    axis.Max = 5 * std::ceil((std::max(hi, 0.0) + 1) / 5);
    // A span of whole tens keeps the rings on round levels.
    const double span = std::min(60.0, 10 * std::ceil((axis.Max - std::min(lo, -10.0)) / 10));
    axis.Min = axis.Max - span;
    axis.LabelFormat = "%g";
    return axis;
}

TChartAxis AngleAxis() {
    TChartAxis axis;
    axis.Title = "";
    axis.AutoRange = false;
    axis.Min = 0;
    axis.Max = 360;
    axis.LabelFormat = "%.0f°";
    return axis;
}

std::vector<TChartPoint> Circle(double radius) {
    std::vector<TChartPoint> points;
    for (int a = 0; a <= 360; a += 5)
        points.push_back({static_cast<double>(a), radius});
    return points;
}

bool Near(double a, double b) {
    return std::fabs(a - b) <= kSameAngle;
}

} // namespace

int TFormRiwiX::DiagramBand() const {
    return std::clamp(tabDiagramBands_->TabIndex(), 0, std::max(0, dir_.BandCount() - 1));
}

void TFormRiwiX::VisiblePanels() {
    const bool writable = !CurrentReadOnly() && CurrentTable() && !CurrentTable()->IsEmpty();
    const bool enough = dir_.Samples.size() >= 4;
    const bool full3D = dir_.DirType() == TDirType::Full3D;
    panel2D_->SetVisible(writable && !full3D && enough);
    panel3D_->SetVisible(writable && full3D && enough);
    seTension_->SetEnabled(rgSpline_->ItemIndex() == 1);
    seFourier_->SetEnabled(rgSpline_->ItemIndex() == 2);
    if (writable && !enough)
        labelInterpolation_->SetCaption("Not enough samples");
    else if (labelInterpolation_->Caption() == "Not enough samples")
        labelInterpolation_->SetCaption("");
}

void TFormRiwiX::DoInterpolate() {
    if (InterpolateIfOffered())
        CalcValues0(true, false, false);
}

bool TFormRiwiX::InterpolateIfOffered() {
    VisiblePanels();
    if (!panel2D_->Visible() && !panel3D_->Visible())
        return false;
    if (dir_.HasInterpolation())
        return false;
    TSplineType type = TSplineType::Cubic;
    int parameter = 0;
    if (panel3D_->Visible()) {
        type = dir_.SplineType();
        parameter = seOrder_->Value();
    } else if (rgSpline_->ItemIndex() == 1) {
        type = TSplineType::Exponential;
        parameter = seTension_->Value();
    } else if (rgSpline_->ItemIndex() == 2) {
        type = TSplineType::Fourier;
        parameter = seFourier_->Value();
    }
    try {
        dir_.Interpolate(type, parameter);
        labelInterpolation_->SetCaption("");
    } catch (const EKorvelError& e) {
        labelInterpolation_->SetCaption(e.what());
        return false;
    }
    return true;
}

void TFormRiwiX::InterpolationChange(TComponent& /*sender*/) {
    if (showing_ || CurrentReadOnly())
        return;
    dir_.DiscardInterpolation();
    DoInterpolate();
}

void TFormRiwiX::ReadColors() {
    colors_.resize(kDiagramColors.size());
    for (std::size_t i = 0; i < kDiagramColors.size(); ++i)
        colors_[i] = ReadColorKey(kDiagramColors[i]);
}

void TFormRiwiX::Colors1Click(TComponent& /*sender*/) {
    if (!EditColorKeys(Ui(), kDiagramColors))
        return;
    ReadColors();
    DrawDiagram();
}

void TFormRiwiX::DrawDiagram() {
    // Read once, not on every redraw: an edit of a grid cell redraws.
    if (colors_.size() != kDiagramColors.size())
        ReadColors();
    const std::vector<TColor>& color = colors_;
    const bool full3D = dir_.DirType() == TDirType::Full3D;
    const bool symmetric = dir_.DirType() == TDirType::RotationallySymmetric;
    chartVertical_->SetVisible(full3D);
    chartMap_->SetVisible(full3D);
    for (TChart* chart : {chartPolar_, chartVertical_, chartMap_}) {
        chart->ClearSeries();
        chart->SetGridColor(color[kGrid]);
        chart->SetPlotBackground(color[kGridBk]);
    }
    if (dir_.BandCount() == 0)
        return;
    const int shown = DiagramBand();
    const int rows = dir_.ThetaCount(), cols = dir_.PhiCount();
    const TColor lineColor = dir_.HasInterpolation() ? color[kInterPol] : color[kDataLine];
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    auto widen = [&](double v) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
    };

    // Every band gets its series; the band tabs choose which are visible, and the command line sees all.
    for (int b = 0; b < dir_.BandCount(); ++b) {
        const bool visible = b == shown;
        const std::string band = dir_.BandStr(b);
        std::vector<TChartPoint> curve, vertical, samples, verticalSamples, selected;
        if (symmetric) {
            // Theta on the right half, mirrored on the left: the section through the axis.
            for (int r = 0; r < rows; ++r)
                curve.push_back({dir_.ThetaOf(r), dir_.Value(b, r, 0)});
            for (int r = rows - 2; r >= 0; --r)
                curve.push_back({360 - dir_.ThetaOf(r), dir_.Value(b, r, 0)});
        } else {
            const int row = full3D ? rows / 2 : 0; // theta 90 degrees
            for (int c = 0; c < cols; ++c)
                curve.push_back({dir_.PhiOf(c), dir_.Value(b, row, c)});
            curve.push_back({360, dir_.Value(b, row, 0)});
        }
        if (full3D) {
            // The vertical section through phi 0 (right) and phi 180 (left).
            const int back = cols / 2;
            for (int r = 0; r < rows; ++r)
                vertical.push_back({dir_.ThetaOf(r), dir_.Value(b, r, 0)});
            for (int r = rows - 2; r >= 0; --r)
                vertical.push_back({360 - dir_.ThetaOf(r), dir_.Value(b, r, back)});
        }
        for (std::size_t i = 0; i < dir_.Samples.size(); ++i) {
            const TSampleItem& s = dir_.Samples[i];
            const double v =
                static_cast<std::size_t>(b) < s.Values.size() ? s.Values[static_cast<std::size_t>(b)] : 0;
            if (symmetric)
                samples.push_back({s.Theta(), v});
            else if (!full3D || Near(s.Theta(), 90))
                samples.push_back({s.Phi(), v});
            if (full3D && (Near(s.Phi(), 0) || Near(s.Phi(), 360)))
                verticalSamples.push_back({s.Theta(), v});
            else if (full3D && Near(s.Phi(), 180))
                verticalSamples.push_back({360 - s.Theta(), v});
            if (static_cast<int>(i) == selectedSample_ && visible) {
                const double angle = symmetric ? s.Theta() : s.Phi();
                selected.push_back({angle, v});
            }
        }
        if (visible) {
            for (const auto* list : {&curve, &vertical, &samples, &verticalSamples})
                for (const TChartPoint& p : *list)
                    widen(p.Y);
        }
        chartPolar_->AddSeries({band, skPolar, lineColor, visible, curve, {}});
        chartPolar_->AddSeries({band + " samples", skPolarPoints, color[kDataPoint], visible, samples, {}});
        if (full3D) {
            chartVertical_->AddSeries({band, skPolar, lineColor, visible, vertical, {}});
            chartVertical_->AddSeries(
                {band + " samples", skPolarPoints, color[kDataPoint], visible, verticalSamples, {}});
            std::vector<TChartPoint> cells;
            std::vector<double> z;
            for (int r = 0; r < rows; ++r)
                for (int c = 0; c < cols; ++c) {
                    cells.push_back({dir_.PhiOf(c), dir_.ThetaOf(r)});
                    z.push_back(dir_.Value(b, r, c));
                }
            chartMap_->AddSeries({band, skColorMap, clDefault, visible, cells, z});
        }
        if (!selected.empty() && !full3D)
            chartPolar_->AddSeries({"Selected sample", skPolarPoints, color[kSelPoint], true, selected, {}});
    }
    if (!std::isfinite(lo))
        lo = hi = 0;
    const TChartAxis radius = RadiusAxis(lo, hi);
    for (TChart* chart : {chartPolar_, chartVertical_}) {
        chart->AddSeries({"0 dB", skPolar, color[k0dB], true, Circle(0), {}});
        chart->SetBottomAxis(AngleAxis());
        chart->SetLeftAxis(radius);
        chart->SetLegendVisible(false);
    }
    const std::string band = dir_.BandStr(shown);
    chartPolar_->SetTitle(full3D      ? "Horizontal section (theta 90°), " + band
                          : symmetric ? "Section through the axis (theta), " + band
                                      : "Horizontal (phi), " + band);
    chartVertical_->SetTitle("Vertical section (phi 0° right, 180° left), " + band);
    chartMap_->SetTitle("Level difference over theta and phi, " + band);
    TChartAxis phiAxis;
    phiAxis.Title = "phi [deg]";
    phiAxis.AutoRange = false;
    phiAxis.Min = -dir_.StepH() / 2.0;
    phiAxis.Max = 360 - dir_.StepH() / 2.0;
    phiAxis.LabelFormat = "%.0f";
    TChartAxis thetaAxis;
    thetaAxis.Title = "theta [deg]";
    thetaAxis.AutoRange = false;
    thetaAxis.Min = -dir_.StepV() / 2.0;
    thetaAxis.Max = 180 + dir_.StepV() / 2.0;
    thetaAxis.LabelFormat = "%.0f";
    chartMap_->SetBottomAxis(phiAxis);
    chartMap_->SetLeftAxis(thetaAxis);
    chartMap_->SetColorTitle("dB");
    chartMap_->SetLegendVisible(false);
}

} // namespace korvel::directivity
