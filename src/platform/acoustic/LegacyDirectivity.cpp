#include "platform/acoustic/LegacyDirectivity.h"

#include "platform/Errors.h"
#include "platform/base/Blob.h"
#include "platform/db/Table.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace korvel::acoustic {

namespace {

constexpr int kAllBands = 27; // 500 Hz, the band of a frequency-independent directivity
constexpr int kNewStep = 10;
// Below this (squared distance from the x axis) a direction counts as lying on the axis.
constexpr double kAxisEpsilon = 1e-12;

double Rad(double degrees) {
    return degrees * std::numbers::pi / 180.0;
}

double Deg(double radians) {
    return radians * 180.0 / std::numbers::pi;
}

std::string Describe(db::TTable& t, const std::string& name, int number) {
    return "The directivity \"" + name + "\" (#" + std::to_string(number) + ") of table \"" + t.TableName() +
           "\"";
}

std::vector<double> ReadWerte(db::TTable& t, std::size_t count, const std::string& what) {
    db::TField* f = t.FindField("Werte");
    const db::TBytes bytes = f && !f->IsNull() ? f->AsBytes() : db::TBytes{};
    if (bytes.size() != count * 4)
        throw EKorvelError(what + " is damaged: its values take " + std::to_string(bytes.size()) +
                           " bytes, its angle steps need " + std::to_string(count * 4) + ".");
    std::vector<double> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        const float v = LoadF32LE(bytes.data() + 4 * i);
        if (!std::isfinite(v))
            throw EKorvelError(what + " is damaged: value " + std::to_string(i + 1) + " is no number.");
        values[i] = v;
    }
    return values;
}

TDirectivity NewDirectivity(TDirType type, TSpecType bandType, int bmin, int bmax, int stepH, int stepV) {
    TDirectivity d;
    d.SetDirType(type);
    d.SetSpecType(bandType);
    d.SetBMinBMax(bmin, bmax);
    d.SetStep(stepH, stepV);
    return d;
}

void FillFromCuts(TDirectivity& d, int index, const TLegacyCut* h, const TLegacyCut* v) {
    for (int r = 0; r < d.ThetaCount(); ++r)
        for (int c = 0; c < d.PhiCount(); ++c)
            d.SetValue(index, r, c, CombineCuts(h, v, d.ThetaOf(r), d.PhiOf(c)));
}

int Nearest(double angle, int step, int count, bool wrap) {
    int i = static_cast<int>(std::lround(angle / step));
    if (wrap)
        i = ((i % count) + count) % count;
    return std::clamp(i, 0, count - 1);
}

} // namespace

double TLegacyCut::At(double degrees) const {
    if (Values.empty())
        return 0.0;
    const int n = static_cast<int>(Values.size());
    double a = std::fmod(degrees, 360.0);
    if (a < 0)
        a += 360.0;
    const double pos = a / Step;
    const int i0 = static_cast<int>(std::floor(pos)) % n;
    const double f = pos - std::floor(pos);
    const int i1 = (i0 + 1) % n;
    return Values[static_cast<std::size_t>(i0)] * (1.0 - f) + Values[static_cast<std::size_t>(i1)] * f;
}

TLegacyCut ReadLegacyCut(db::TTable& table) {
    TLegacyCut cut;
    cut.Number = db::FieldInteger(table, "Eintrag");
    db::TField* name = table.FindField("ElementName");
    cut.Name = name ? name->AsString() : std::string();
    const std::string what = Describe(table, cut.Name, cut.Number);
    cut.Step = db::FieldInteger(table, "Step");
    if (cut.Step < 1 || cut.Step > 360 || 360 % cut.Step != 0)
        throw EKorvelError(what + " is damaged: its angle step " + std::to_string(cut.Step) +
                           " does not divide 360 degrees.");
    cut.Values = ReadWerte(table, static_cast<std::size_t>(360 / cut.Step), what);
    return cut;
}

TLegacyGrid ReadLegacyGrid(db::TTable& table) {
    TLegacyGrid grid;
    grid.Number = db::FieldInteger(table, "Eintrag");
    db::TField* name = table.FindField("ElementName");
    grid.Name = name ? name->AsString() : std::string();
    const std::string what = Describe(table, grid.Name, grid.Number);
    grid.StepH = db::FieldInteger(table, "StepH");
    grid.StepV = db::FieldInteger(table, "StepV");
    if (grid.StepH < 1 || grid.StepH > 90 || 360 % grid.StepH != 0 || grid.StepV < 1 || grid.StepV > 90 ||
        180 % grid.StepV != 0)
        throw EKorvelError(what + " is damaged: its angle steps " + std::to_string(grid.StepH) + " and " +
                           std::to_string(grid.StepV) + " do not divide 360 and 180 degrees.");
    grid.Values = ReadWerte(table, static_cast<std::size_t>(grid.Rows() * grid.Cols()), what);
    return grid;
}

double CombineCuts(const TLegacyCut* horizontal, const TLegacyCut* vertical, double theta, double phi) {
    const double x = std::sin(Rad(theta)) * std::cos(Rad(phi));
    const double y = std::sin(Rad(theta)) * std::sin(Rad(phi));
    const double z = std::cos(Rad(theta));
    const double h = horizontal ? horizontal->At(Deg(std::atan2(y, x))) : 0.0;
    const double v = vertical ? vertical->At(Deg(std::atan2(z, x))) : 0.0;
    const double yy = y * y, zz = z * z;
    if (yy + zz < kAxisEpsilon)
        return (h + v) / 2.0;
    return (yy * h + zz * v) / (yy + zz);
}

TDirectivity DirectivityFromCuts(const TLegacyCut* horizontal, const TLegacyCut& vertical) {
    if (horizontal) {
        TDirectivity d = NewDirectivity(TDirType::Full3D, TSpecType::SingleValue, kAllBands, kAllBands,
                                        kNewStep, kNewStep);
        FillFromCuts(d, 0, horizontal, &vertical);
        d.CalcLtot();
        return d;
    }
    TDirectivity d = NewDirectivity(TDirType::RotationallySymmetric, TSpecType::SingleValue, kAllBands,
                                    kAllBands, kNewStep, kNewStep);
    for (int r = 0; r < d.ThetaCount(); ++r) {
        const double level = vertical.At(90.0 - d.ThetaOf(r));
        for (int c = 0; c < d.PhiCount(); ++c)
            d.SetValue(0, r, c, level);
    }
    d.CalcLtot();
    return d;
}

TDirectivity DirectivityFromHorizontalCut(const TLegacyCut& horizontal) {
    // The cut's own step when the grid can take it, so its values stay exactly as they were.
    const int step = horizontal.Step <= 90 ? horizontal.Step : kNewStep;
    TDirectivity d =
        NewDirectivity(TDirType::Horizontal, TSpecType::SingleValue, kAllBands, kAllBands, step, kNewStep);
    for (int c = 0; c < d.PhiCount(); ++c)
        d.SetValue(0, 0, c, horizontal.At(d.PhiOf(c)));
    d.CalcLtot();
    return d;
}

TDirectivity SpectralDirectivityFromCuts(TSpecType type, int bmin, int bmax,
                                         const std::vector<TLegacyCutPair>& bands) {
    TDirectivity d = NewDirectivity(TDirType::Full3D, type, bmin, bmax, kNewStep, kNewStep);
    for (int i = 0; i < d.BandCount(); ++i) {
        const TLegacyCutPair pair = static_cast<std::size_t>(i) < bands.size()
                                        ? bands[static_cast<std::size_t>(i)]
                                        : TLegacyCutPair{};
        FillFromCuts(d, i, pair.Horizontal, pair.Vertical);
    }
    d.CalcLtot();
    return d;
}

TDirectivity DirectivityFromGrid(const TLegacyGrid& grid) {
    TDirectivity d = NewDirectivity(TDirType::Full3D, TSpecType::SingleValue, kAllBands, kAllBands,
                                    grid.StepH, grid.StepV);
    for (int r = 0; r < d.ThetaCount(); ++r)
        for (int c = 0; c < d.PhiCount(); ++c)
            d.SetValue(0, r, c, grid.Value(r, c));
    d.CalcLtot();
    return d;
}

TDirectivity SpectralDirectivityFromGrids(TSpecType type, int bmin, int bmax,
                                          const std::vector<const TLegacyGrid*>& bands) {
    const auto first = std::find_if(bands.begin(), bands.end(), [](const TLegacyGrid* g) { return g; });
    if (first == bands.end())
        throw EKorvelError("A spectral 3D directivity needs at least one band with a directivity record.");
    TDirectivity d = NewDirectivity(TDirType::Full3D, type, bmin, bmax, (*first)->StepH, (*first)->StepV);
    for (int i = 0; i < d.BandCount() && static_cast<std::size_t>(i) < bands.size(); ++i) {
        const TLegacyGrid* g = bands[static_cast<std::size_t>(i)];
        if (!g)
            continue; // stays at 0 dB
        for (int r = 0; r < d.ThetaCount(); ++r) {
            const int row = Nearest(d.ThetaOf(r), g->StepV, g->Rows(), false);
            for (int c = 0; c < d.PhiCount(); ++c)
                d.SetValue(i, r, c, g->Value(row, Nearest(d.PhiOf(c), g->StepH, g->Cols(), true)));
        }
    }
    d.CalcLtot();
    return d;
}

} // namespace korvel::acoustic
