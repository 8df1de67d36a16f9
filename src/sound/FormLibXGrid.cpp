// The value grid, the additional-properties grid and the graph of the sound library editor.

#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/SpectrumColors.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace korvel::sound {

using namespace acoustic;

namespace {

// Values at or below this are shown as empty cells (the stored empty level is -199).
constexpr double kBlankBelow = -100.0;
// A typed value equal to the stored one within this is no edit.
constexpr double kEditEpsilon = 1e-7;

std::string Format(const char* fmt, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, v);
    return buf;
}

} // namespace

double ParseGridNumber(const std::string& text) {
    return ParseDecimalText(text).value_or(kEmptyBandLevel);
}

int TFormLibX::LeadingColumns() const {
    switch (LibType()) {
    case kEmissionLibType:
        return 2;
    case kTransmissionLibType:
        return 3;
    default:
        return 1;
    }
}

int TFormLibX::BandOfColumn(int col) const {
    const std::vector<int> bands = spectrum_->Bands();
    const int i = col - LeadingColumns();
    return i >= 0 && i < static_cast<int>(bands.size()) ? bands[static_cast<std::size_t>(i)] : -1;
}

void TFormLibX::DefineVG() {
    const bool single = spectrum_->SpecType() == TSpecType::SingleValue;
    const int bands = static_cast<int>(spectrum_->Bands().size());
    int rows = 2;
    if (LibType() == kEmissionLibType)
        rows = single ? 2 : 3;
    else if (LibType() == kAbsorptionLibType)
        rows = 3;
    const int cols = LeadingColumns() + (single ? 0 : bands);
    vg_->LeaveEditMode();
    vg_->SetFixedCols(0);
    vg_->SetFixedRows(1);
    vg_->SetRowCount(rows);
    vg_->SetColCount(std::max(cols, LeadingColumns()));
    vg_->SetFixedCols(LibType() == kTransmissionLibType ? 0 : 1);
    for (int c = 0; c < vg_->ColCount(); ++c)
        vg_->SetColWidth(c, 56);
    if (LibType() == kAbsorptionLibType)
        vg_->SetColWidth(0, 230);
    if (LibType() == kEmissionLibType)
        vg_->SetColWidth(1, 64);
    if (LibType() == kTransmissionLibType)
        vg_->SetColWidth(0, 90);
    vg_->Invalidate();
}

std::string TFormLibX::VGGetColValue(int col, int row) {
    const int kind = LibType();
    const bool single = spectrum_->SpecType() == TSpecType::SingleValue;
    const char* fmt = kind == kTransmissionLibType ? "%.1f" : kind == kAbsorptionLibType ? "%.3f" : "%.2f";
    auto shown = [&](double v) -> std::string {
        if (v <= kBlankBelow)
            return {};
        if (kind == kAbsorptionLibType && v == 0.0)
            return "-";
        return Format(fmt, v);
    };
    if (row == 0) {
        if (col < LeadingColumns()) {
            switch (kind) {
            case kEmissionLibType:
                return col == 0 ? "" : "Sum";
            case kTransmissionLibType: {
                static const char* titles[] = {"", "C", "Ctr"};
                if (col == 0)
                    return Transmission()->TransType == TTransType::SoundReductionIndex ? "Rw [dB]"
                                                                                        : "Dn,e,w [dB]";
                return titles[col];
            }
            case kAttenuationLibType:
                return "dB";
            default:
                return "";
            }
        }
        const int band = BandOfColumn(col);
        return band < 0 ? std::string()
                        : std::string(ThirdOctavesStrShort[static_cast<std::size_t>(band)]) + "Hz";
    }

    if (auto* e = Emission()) {
        if (col == 0) {
            const std::string weighting = WeightingText(e->dBX());
            if (single)
                return weighting;
            return row == 1 ? "dB" : weighting;
        }
        if (col == 1) {
            if (single && e->EntryType == TEmisEntrytype::FormulaLevel && formulaResult_)
                return shown(formulaResult_->GetdBXValueSum());
            if (single)
                return shown(e->GetdBXValueSum());
            return shown(row == 1 ? e->GetValueSum() : e->GetdBXValueSum());
        }
        const int band = BandOfColumn(col);
        return row == 1 ? shown(e->GetValue(band)) : shown(e->GetdBXValue(band));
    }
    if (auto* a = Absorption()) {
        if (col == 0)
            return row == 1 ? "Absorption coefficient (0.001-1)" : "Scattering coefficient (0.0-1.0)";
        const int band = BandOfColumn(col);
        return row == 1 ? shown(a->GetValue(band)) : shown(a->GetScatValue(band));
    }
    if (auto* t = Transmission()) {
        if (col < 3) {
            const double v = col == 0 ? t->Rw : col == 1 ? t->C : t->Ctr;
            return Format("%.1f", v);
        }
        return shown(t->GetValue(BandOfColumn(col)));
    }
    if (col == 0)
        return "Attenuation";
    return shown(spectrum_->GetValue(BandOfColumn(col)));
}

void TFormLibX::VGSetColValue(int col, int row, const std::string& text) {
    if (row < 1 || CurrentReadOnly())
        return;
    const double v = ParseGridNumber(text);
    auto differs = [](double a, double b) {
        return std::fabs(a - b) > kEditEpsilon;
    };
    bool changed = false;
    if (auto* e = Emission()) {
        if (col == 1) {
            if (row != 1 || e->EntryType == TEmisEntrytype::FormulaLevel || IsEmptyBandLevel(v))
                return;
            if (e->SpecType() == TSpecType::SingleValue) {
                changed = differs(e->GetValueSum(), v);
                e->SetSingleValue(v);
            } else {
                changed = differs(e->GetValueSum(), v);
                if (changed)
                    e->SetValueSum(v);
            }
        } else if (const int band = BandOfColumn(col); band >= 0) {
            const double old = row == 1 ? e->GetValue(band) : e->GetdBXValue(band);
            if (differs(old, v)) {
                if (row == 1)
                    e->SetValue(band, v);
                else
                    e->SetdBXValue(band, v);
                changed = true;
            }
        }
    } else if (auto* a = Absorption()) {
        const int band = BandOfColumn(col);
        if (band < 0)
            return;
        const double old = row == 1 ? a->GetValue(band) : a->GetScatValue(band);
        if (differs(old, v)) {
            if (!IsEmptyBandLevel(v) && (v < 0.0 || v > 1.0))
                throw EKorvelError("The coefficient must lie between 0 and 1.");
            if (row == 1)
                a->SetValue(band, v);
            else
                a->SetScatValue(band, v);
            changed = true;
        }
    } else if (auto* t = Transmission(); t && col < 3) {
        if (IsEmptyBandLevel(v))
            return;
        double& target = col == 0 ? t->Rw : col == 1 ? t->C : t->Ctr;
        changed = differs(target, v);
        target = v;
    } else if (const int band = BandOfColumn(col); band >= 0) {
        if (differs(spectrum_->GetValue(band), v)) {
            spectrum_->SetValue(band, v);
            changed = true;
        }
    }
    if (changed)
        SetChanged();
}

void TFormLibX::VGCellStyle(int col, int row, TCellStyle& style) {
    if (row == 0)
        return;
    if (auto* e = Emission()) {
        if (col == 1)
            style.Editable = row == 1 && e->EntryType != TEmisEntrytype::FormulaLevel;
        if (row == 2 && col >= 1)
            style.FontColor = clBlue;
    }
    if (col == 0 && LibType() != kTransmissionLibType)
        style.Editable = false;
}

void TFormLibX::VGMenuPopup(TComponent& /*sender*/) {
    TMenuItem& items = vgMenu_->Items();
    const bool writable = !CurrentReadOnly();
    const int kind = LibType();
    items.Find("VGPaste")->SetEnabled(writable && !Ui().ClipboardText().empty());
    TMenuItem* sum = items.Find("VGEditSum");
    sum->SetVisible(kind == kEmissionLibType || kind == kTransmissionLibType);
    sum->SetEnabled(writable);
    TMenuItem* lp = items.Find("VGLpToLw");
    lp->SetVisible(kind == kEmissionLibType);
    lp->SetEnabled(writable && Emission() && Emission()->EmisRef == TEmisRef::SoundPressure);
    items.Find("VGFlowResistivity")->SetVisible(kind == kAbsorptionLibType);
    items.Find("VGFlowResistivity")->SetEnabled(writable);
    items.Find("VGScattering")->SetVisible(kind == kAbsorptionLibType);
    items.Find("VGScattering")->SetEnabled(writable);
}

// Pastes tab-separated numbers from the current cell on, row by row, as typed edits.
void TFormLibX::PasteClick(TComponent& /*sender*/) {
    if (CurrentReadOnly())
        return;
    const std::string text = Ui().ClipboardText();
    int row = std::max(vg_->Row(), 1);
    std::size_t start = 0;
    while (start <= text.size() && row < vg_->RowCount()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        int col = std::max(vg_->Col(), vg_->FixedCols());
        std::size_t cellStart = 0;
        while (cellStart <= line.size() && col < vg_->ColCount()) {
            std::size_t cellEnd = line.find('\t', cellStart);
            if (cellEnd == std::string::npos)
                cellEnd = line.size();
            const std::string cell = line.substr(cellStart, cellEnd - cellStart);
            if (vg_->CanEditCell(col, row))
                VGSetColValue(col, row, cell);
            ++col;
            cellStart = cellEnd + 1;
        }
        ++row;
        start = end + 1;
        if (end == text.size())
            break;
    }
    vg_->Invalidate();
}

void TFormLibX::DrawGraph() {
    graph_->ClearSeries();
    TChartAxis bottom;
    bottom.Kind = akLogarithmic;
    bottom.Title = "Frequency [Hz]";
    bottom.LabelFormat = "%g";
    graph_->SetBottomAxis(bottom);
    TChartAxis left;
    const int kind = LibType();
    left.Title = kind == kAbsorptionLibType     ? "Coefficient"
                 : kind == kTransmissionLibType ? "R [dB]"
                                                : "Level [dB]";
    if (kind == kAbsorptionLibType) {
        left.AutoRange = false;
        left.Min = 0;
        left.Max = 1;
    }
    graph_->SetLeftAxis(left);
    graph_->SetTitle(editName_->Text());

    const std::vector<int> bands = spectrum_->Bands();
    auto series = [&](const std::string& name, TColor color, const std::function<double(int)>& value) {
        TChartSeries s;
        s.Name = name;
        s.Kind = skStep;
        s.Color = color;
        for (int b : bands) {
            const double v = value(b);
            s.Points.push_back({ThirdOctaves[static_cast<std::size_t>(b)],
                                v <= kBlankBelow ? std::numeric_limits<double>::quiet_NaN() : v});
        }
        graph_->AddSeries(std::move(s));
    };
    const TColor bandsColor = ReadSpectrumColor(1);
    if (auto* e = Emission()) {
        const TEmisLibSpectrum& shown = formulaResult_ ? *formulaResult_ : *e;
        series("dB", clGray, [&](int b) { return shown.GetValue(b); });
        if (e->dBX() != kUnweighted)
            series(WeightingText(e->dBX()), bandsColor, [&](int b) { return shown.GetdBXValue(b); });
        // The over-all level as a line across the spectrum (or the whole band range for single values).
        const double sum = shown.GetdBXValueSum();
        if (!IsEmptyBandLevel(sum)) {
            TChartSeries total;
            total.Name = "Over all level";
            total.Kind = skLine;
            total.Color = ReadSpectrumColor(0);
            const double f0 = bands.empty() ? 31.5 : ThirdOctaves[static_cast<std::size_t>(bands.front())];
            const double f1 = bands.empty() ? 8000 : ThirdOctaves[static_cast<std::size_t>(bands.back())];
            total.Points = {{f0, sum}, {f1, sum}};
            graph_->AddSeries(std::move(total));
        }
    } else if (auto* a = Absorption()) {
        series("Absorption", bandsColor, [&](int b) { return a->GetValue(b); });
        series("Scattering", clGray, [&](int b) { return a->GetScatValue(b); });
    } else {
        series(kind == kTransmissionLibType ? "R" : "Attenuation", bandsColor,
               [&](int b) { return spectrum_->GetValue(b); });
    }
}

// --- additional properties

void TFormLibX::DefinePropsGrid() {
    vgProps_->LeaveEditMode();
    vgProps_->SetFixedCols(0);
    vgProps_->SetFixedRows(1);
    vgProps_->SetColCount(3);
    // One empty row after the last property takes a new one; at least two rows.
    vgProps_->SetRowCount(1 + std::max(2, static_cast<int>(spectrum_->AddProps.Items.size()) + 1));
    vgProps_->SetColWidth(0, 160);
    vgProps_->SetColWidth(1, 120);
    vgProps_->SetColWidth(2, 80);
    vgProps_->Invalidate();
}

std::string TFormLibX::PropsGetText(int col, int row) {
    if (row == 0) {
        static const char* titles[] = {"Property", "Value", "Unit"};
        return col < 3 ? titles[col] : "";
    }
    const auto& items = spectrum_->AddProps.Items;
    const std::size_t i = static_cast<std::size_t>(row - 1);
    if (i >= items.size())
        return {};
    if (col == 0)
        return items[i].Name;
    if (col == 1)
        return items[i].Value;
    const TAddPropDef* def = propDefs_.Find(items[i].Name);
    return def ? def->Unit : std::string();
}

void TFormLibX::PropsSetText(int col, int row, const std::string& text) {
    if (row < 1 || col > 1 || CurrentReadOnly())
        return;
    auto& items = spectrum_->AddProps.Items;
    std::size_t i = static_cast<std::size_t>(row - 1);
    if (i > items.size())
        return;
    if (i == items.size()) {
        if (col != 0 || text.empty())
            return;
        items.push_back({text, ""});
    } else if (col == 0) {
        if (items[i].Name != text) {
            // Another definition means another meaning: the old value does not carry over.
            items[i].Name = text;
            items[i].Value.clear();
        }
    } else {
        const TAddPropDef* def = propDefs_.Find(items[i].Name);
        const TAddPropType type = def ? def->Type : TAddPropType::Text;
        for (char c : text)
            if (!AddPropCharAllowed(type, c, '.') && !(type == TAddPropType::Float && c == ','))
                throw EKorvelError("\"" + text + "\" is not a valid value of \"" + items[i].Name + "\".");
        items[i].Value = text;
    }
    DefinePropsGrid();
    SetChanged();
}

} // namespace korvel::sound
