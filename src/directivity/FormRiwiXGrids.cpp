// The samples, angle-step and Ltot grids of the directivity editor.

#include "directivity/FormRiwiX.h"
#include "platform/Errors.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/ui/Ui.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace korvel::directivity {

using namespace acoustic;

namespace {

std::string OneDecimal(double v) {
    char buf[32];
    // Rounding to nothing is no sign.
    std::snprintf(buf, sizeof buf, "%.1f", std::fabs(v) < 0.05 ? 0.0 : v);
    return buf;
}

std::string Degrees(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g°", v);
    return buf;
}

// A number typed into a grid; a directivity has no empty cells.
double ParseNumber(const std::string& text) {
    if (const std::optional<double> v = ParseDecimalText(text))
        return *v;
    throw EKorvelError("\"" + text + "\" is not a number.");
}

// Which columns of the samples grid hold what, by directivity type.
struct TSampleColumns {
    int Fixed = 0; // a leading sample number (full 3D)
    int Phi = -1;
    int Theta = -1;
    int FirstBand = 0;
};

TSampleColumns SampleColumns(TDirType type) {
    switch (type) {
    case TDirType::Horizontal:
        return {0, 0, -1, 1};
    case TDirType::RotationallySymmetric:
        return {0, -1, 0, 1};
    case TDirType::Full3D:
        break;
    }
    return {1, 1, 2, 3};
}

} // namespace

int TFormRiwiX::ValuesBand() const {
    return std::clamp(tabBands_->TabIndex(), 0, std::max(0, dir_.BandCount() - 1));
}

void TFormRiwiX::DefineVGSamples() {
    const TSampleColumns c = SampleColumns(dir_.DirType());
    // An empty list shows one empty row to type the first sample into.
    const int rows = 1 + std::max<int>(1, static_cast<int>(dir_.Samples.size()));
    vgSamples_->SetFixedCols(0);
    vgSamples_->SetFixedRows(0);
    vgSamples_->SetRowCount(rows);
    vgSamples_->SetColCount(c.FirstBand + dir_.BandCount());
    vgSamples_->SetFixedRows(1);
    vgSamples_->SetFixedCols(c.Fixed);
    if (c.Fixed > 0)
        vgSamples_->SetColWidth(0, 40);
    // "All frequencies" needs more room than a band.
    for (int col = c.FirstBand; col < vgSamples_->ColCount(); ++col)
        vgSamples_->SetColWidth(col, dir_.SpecType() == TSpecType::SingleValue ? 110 : 64);
}

std::string TFormRiwiX::SamplesGetText(int col, int row) {
    const TSampleColumns c = SampleColumns(dir_.DirType());
    if (row == 0) {
        if (col == c.Phi)
            return "phi\n0..360°";
        if (col == c.Theta)
            return "theta\n0..180°";
        if (col >= c.FirstBand && col - c.FirstBand < dir_.BandCount())
            return dir_.BandStr(col - c.FirstBand);
        return "";
    }
    const int index = row - 1;
    if (col < c.Fixed)
        return std::to_string(row);
    if (index >= static_cast<int>(dir_.Samples.size()))
        return "";
    const TSampleItem& s = dir_.Samples[static_cast<std::size_t>(index)];
    if (col == c.Phi)
        return OneDecimal(s.Phi());
    if (col == c.Theta)
        return OneDecimal(s.Theta());
    const int band = col - c.FirstBand;
    if (band < 0 || band >= static_cast<int>(s.Values.size()))
        return "";
    return OneDecimal(s.Values[static_cast<std::size_t>(band)]);
}

void TFormRiwiX::SamplesSetText(int col, int row, const std::string& text) {
    if (CurrentReadOnly() || row < 1)
        return;
    const double v = ParseNumber(text);
    if (!EnsureEditing())
        return;
    if (dir_.Samples.empty())
        dir_.AddSample(dir_.DirType() == TDirType::Horizontal ? 90 : 0, 0);
    const int index = std::min(row - 1, static_cast<int>(dir_.Samples.size()) - 1);
    TSampleItem& s = dir_.Samples[static_cast<std::size_t>(index)];
    const TSampleColumns c = SampleColumns(dir_.DirType());
    if (col == c.Phi)
        s.SetPhi(v);
    else if (col == c.Theta)
        s.SetTheta(v);
    else if (const int band = col - c.FirstBand; band >= 0 && band < dir_.BandCount()) {
        s.Values.resize(static_cast<std::size_t>(dir_.BandCount()), 0.0);
        s.Values[static_cast<std::size_t>(band)] = v;
    } else
        return;
    selectedSample_ = index;
    SamplesChanged();
}

void TFormRiwiX::DefineVGDir() {
    const bool horizontal = dir_.DirType() == TDirType::Horizontal;
    const int rows = horizontal ? dir_.BandCount() : dir_.ThetaCount();
    vgDir_->SetFixedCols(0);
    vgDir_->SetFixedRows(0);
    vgDir_->SetRowCount(1 + std::max(1, rows));
    vgDir_->SetColCount(1 + dir_.PhiCount());
    vgDir_->SetFixedRows(1);
    vgDir_->SetFixedCols(1);
    vgDir_->SetColWidth(0, horizontal ? 110 : 48);
}

std::string TFormRiwiX::DirGetText(int col, int row) {
    const bool horizontal = dir_.DirType() == TDirType::Horizontal;
    if (row == 0)
        return col == 0 ? "" : Degrees(dir_.PhiOf(col - 1));
    if (col == 0) {
        if (horizontal)
            return row - 1 < dir_.BandCount() ? dir_.BandStr(row - 1) : "";
        return Degrees(dir_.ThetaOf(row - 1));
    }
    if (dir_.BandCount() == 0 || col - 1 >= dir_.PhiCount())
        return "";
    if (horizontal)
        return row - 1 < dir_.BandCount() ? OneDecimal(dir_.Value(row - 1, 0, col - 1)) : "";
    if (row - 1 >= dir_.ThetaCount())
        return "";
    return OneDecimal(dir_.Value(ValuesBand(), row - 1, col - 1));
}

void TFormRiwiX::DirSetText(int col, int row, const std::string& text) {
    if (CurrentReadOnly() || row < 1 || col < 1 || dir_.BandCount() == 0)
        return;
    const double v = ParseNumber(text);
    if (!EnsureEditing())
        return;
    const bool horizontal = dir_.DirType() == TDirType::Horizontal;
    const int band = horizontal ? row - 1 : ValuesBand();
    const int thetaRow = horizontal ? 0 : row - 1;
    if (band >= dir_.BandCount() || thetaRow >= dir_.ThetaCount())
        return;
    // A pole is one direction, and a rotationally symmetric directivity has one value per theta.
    const bool wholeRow =
        dir_.DirType() == TDirType::RotationallySymmetric ||
        (dir_.DirType() == TDirType::Full3D && (thetaRow == 0 || thetaRow == dir_.ThetaCount() - 1));
    if (wholeRow)
        for (int c = 0; c < dir_.PhiCount(); ++c)
            dir_.SetValue(band, thetaRow, c, v);
    else
        dir_.SetValue(band, thetaRow, col - 1, v);
    if (!vgDir_->TakingOver())
        CalcValues0(true, false, false);
}

void TFormRiwiX::VGDirTakeOverEnd(TComponent& /*sender*/) {
    CalcValues0(true, false, false);
}

void TFormRiwiX::DefineVGLtot() {
    vgLtot_->SetFixedCols(0);
    vgLtot_->SetFixedRows(0);
    vgLtot_->SetRowCount(1 + std::max(1, dir_.BandCount()));
    vgLtot_->SetColCount(2);
    vgLtot_->SetFixedRows(1);
    vgLtot_->SetFixedCols(1);
}

std::string TFormRiwiX::LtotGetText(int col, int row) {
    if (row == 0)
        return col == 1 ? "Ltot [dB]" : "";
    if (row - 1 >= dir_.BandCount())
        return "";
    return col == 0 ? dir_.BandStr(row - 1) : OneDecimal(dir_.GetItem(row - 1).dLtot);
}

} // namespace korvel::directivity
