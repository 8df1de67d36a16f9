// The formula page of the sound library editor: the input, output and local variable grids, the formula
// text and its calculation.

#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/formula/SpecInterpreter.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/Menus.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"

#include <cmath>
#include <cstdio>

namespace korvel::sound {

using namespace acoustic;
using formula::TResType;
using formula::TVarFlag;
using formula::TVariable;
using formula::TVarList;

namespace {

// Columns of the input and output grids; the local grid has no unit or description but the bands.
constexpr int kColName = 0, kColUnit = 1, kColType = 2, kColValue = 3, kColDescription = 4;
constexpr int kLocName = 0, kLocType = 1, kLocValue = 2, kLocFirstBand = 3;

std::string ValueText(const TVariable& v, double value) {
    char buf[64];
    if (v.ResType == TResType::Integer)
        std::snprintf(buf, sizeof buf, "%d", static_cast<int>(std::lround(value)));
    else
        std::snprintf(buf, sizeof buf, "%.6g", value);
    return buf;
}

// Predefined variables are bold; the type column offers the result types.
void VarCellStyle(const TVarList* list, int col, int row, int typeCol, TCellStyle& style);

std::vector<std::string> TypeNames() {
    std::vector<std::string> names;
    for (TResType t : formula::OfferedResTypes)
        names.emplace_back(formula::ResTypeStr(t));
    return names;
}

void VarCellStyle(const TVarList* list, int col, int row, int typeCol, TCellStyle& style) {
    if (!list || row < 1)
        return;
    if (row - 1 < list->Count() && list->Items[static_cast<std::size_t>(row - 1)].Flag != TVarFlag::User)
        style.Bold = true;
    if (col == typeCol)
        style.PickList = TypeNames();
}

} // namespace

std::string TFormLibX::OutputContext() const {
    return cbdBX_->Text() + "/" + cbEmisRef_->Text();
}

TValueGrid* TFormLibX::GridOfTag(int tag) const {
    return tag == 0 ? vgVarIn_ : tag == 1 ? vgVarOut_ : vgVarLocal_;
}

TVarList* TFormLibX::ListOfGrid(const TValueGrid& grid) {
    auto* e = Emission();
    if (!e)
        return nullptr;
    if (&grid == vgVarIn_)
        return &e->VarsIn;
    if (&grid == vgVarOut_)
        return &e->VarsOut;
    if (&grid == vgVarLocal_)
        return &e->VarsLocal;
    return nullptr;
}

void TFormLibX::InitVGVariable(TValueGrid& grid, TVarList& list) {
    grid.LeaveEditMode();
    grid.SetFixedCols(0);
    grid.SetFixedRows(1);
    grid.SetColCount(5);
    // One empty row after the last variable takes a new one.
    grid.SetRowCount(list.Count() + 2);
    grid.SetColWidth(kColName, 90);
    grid.SetColWidth(kColUnit, 90);
    grid.SetColWidth(kColType, 110);
    grid.SetColWidth(kColValue, 80);
    grid.SetColWidth(kColDescription, 320);
    TValueGrid* g = &grid;
    grid.OnGetText = [this, g](int c, int r) {
        TVarList* l = ListOfGrid(*g);
        return l ? VarGetText(*l, c, r, false) : std::string();
    };
    grid.OnSetText = [this, g](int c, int r, const std::string& t) {
        if (TVarList* l = ListOfGrid(*g))
            VarSetText(*l, c, r, t, false);
    };
    grid.OnGetCellStyle = [this, g](int c, int r, TCellStyle& s) {
        VarCellStyle(ListOfGrid(*g), c, r, kColType, s);
    };
    grid.Invalidate();
}

void TFormLibX::InitVGVarLocal() {
    auto* e = Emission();
    TValueGrid& grid = *vgVarLocal_;
    grid.LeaveEditMode();
    const std::vector<int> bands = e ? e->Bands() : std::vector<int>{};
    grid.SetFixedCols(0);
    grid.SetFixedRows(1);
    grid.SetColCount(kLocFirstBand + static_cast<int>(bands.size()));
    grid.SetRowCount((e ? e->VarsLocal.Count() : 0) + 2);
    grid.SetColWidth(kLocName, 90);
    grid.SetColWidth(kLocType, 110);
    grid.SetColWidth(kLocValue, 80);
    for (int c = kLocFirstBand; c < grid.ColCount(); ++c)
        grid.SetColWidth(c, 56);
    grid.OnGetText = [this](int c, int r) {
        auto* em = Emission();
        return em ? VarGetText(em->VarsLocal, c, r, true) : std::string();
    };
    grid.OnSetText = [this](int c, int r, const std::string& t) {
        if (auto* em = Emission())
            VarSetText(em->VarsLocal, c, r, t, true);
    };
    grid.OnGetCellStyle = [this](int c, int r, TCellStyle& s) {
        auto* em = Emission();
        VarCellStyle(em ? &em->VarsLocal : nullptr, c, r, kLocType, s);
    };
    grid.Invalidate();
}

void TFormLibX::DefineFormulaGrids() {
    auto* e = Emission();
    if (!e)
        return;
    InitVGVariable(*vgVarIn_, e->VarsIn);
    InitVGVariable(*vgVarOut_, e->VarsOut);
    InitVGVarLocal();
}

std::string TFormLibX::VarGetText(TVarList& list, int col, int row, bool local) {
    if (row == 0) {
        if (local) {
            static const char* titles[] = {"Name", "Variable type", "Value"};
            if (col < kLocFirstBand)
                return titles[col];
            const std::vector<int> bands = spectrum_->Bands();
            const std::size_t i = static_cast<std::size_t>(col - kLocFirstBand);
            return i < bands.size()
                       ? std::string(ThirdOctavesStrShort[static_cast<std::size_t>(bands[i])]) + "Hz"
                       : std::string();
        }
        static const char* titles[] = {"Name", "Unit", "Variable type", "Value", "Description"};
        return col < 5 ? titles[col] : "";
    }
    if (row - 1 >= list.Count())
        return {};
    const TVariable& v = list.Items[static_cast<std::size_t>(row - 1)];
    const int typeCol = local ? kLocType : kColType;
    const int valueCol = local ? kLocValue : kColValue;
    if (col == kColName)
        return v.Name;
    if (col == typeCol)
        return std::string(formula::ResTypeStr(v.ResType));
    if (col == valueCol)
        return ValueText(v, v.Value);
    if (!local && col == kColUnit)
        return v.Unit;
    if (!local && col == kColDescription)
        return v.Description;
    if (local && col >= kLocFirstBand) {
        const std::vector<int> bands = spectrum_->Bands();
        const std::size_t i = static_cast<std::size_t>(col - kLocFirstBand);
        if (i >= bands.size())
            return {};
        const std::size_t band = static_cast<std::size_t>(bands[i]);
        return band < v.BandValues.size() ? ValueText(v, v.BandValues[band]) : std::string();
    }
    return {};
}

void TFormLibX::VarSetText(TVarList& list, int col, int row, const std::string& text, bool local) {
    if (row < 1 || CurrentReadOnly())
        return;
    std::size_t i = static_cast<std::size_t>(row - 1);
    if (i > list.Items.size())
        return;
    TVarList edited = list;
    if (i == edited.Items.size())
        edited.Add(TVariable{});
    TVariable& v = edited.Items[i];
    const int typeCol = local ? kLocType : kColType;
    const int valueCol = local ? kLocValue : kColValue;
    if (col == kColName) {
        v.Name = TrimText(text);
    } else if (col == typeCol) {
        bool found = false;
        for (TResType t : formula::OfferedResTypes)
            if (formula::ResTypeStr(t) == text) {
                v.ResType = t;
                found = true;
            }
        if (!found)
            throw EKorvelError("\"" + text + "\" is not a variable type.");
    } else if (col == valueCol) {
        const double value = ParseGridNumber(text);
        v.Value = IsEmptyBandLevel(value) ? 0.0 : value;
    } else if (!local && col == kColUnit) {
        v.Unit = text;
    } else if (!local && col == kColDescription) {
        v.Description = text;
    } else if (local && col >= kLocFirstBand) {
        const std::vector<int> bands = spectrum_->Bands();
        const std::size_t b = static_cast<std::size_t>(col - kLocFirstBand);
        if (b >= bands.size())
            return;
        if (v.BandValues.size() != static_cast<std::size_t>(kBandCount))
            v.BandValues.assign(kBandCount, v.Value);
        const double value = ParseGridNumber(text);
        v.BandValues[static_cast<std::size_t>(bands[b])] = IsEmptyBandLevel(value) ? 0.0 : value;
    } else {
        return;
    }
    list = std::move(edited);
    DefineFormulaGrids();
    SetChanged();
}

void TFormLibX::EnsureOutputVariable() {
    auto* e = Emission();
    if (!e)
        return;
    const bool type2 = e->EntryType == TEmisEntrytype::FormulaSpectrum;
    if (e->EntryType != TEmisEntrytype::FormulaLevel && !type2)
        return;
    const char* required = type2 ? "Lwf" : "Lw";
    if (e->VarsOut.Find(required))
        return;
    const TVarList offered = formula::GetPreDefinedVars(TVarFlag::Output, type2, OutputContext());
    if (const TVariable* v = offered.Find(required))
        e->VarsOut.Add(*v);
}

void TFormLibX::AddUserVariableClick(TComponent& sender) {
    auto* e = Emission();
    if (!e || CurrentReadOnly())
        return;
    const int tag = dynamic_cast<TControl&>(sender).Tag();
    TValueGrid* grid = GridOfTag(tag);
    TVarList& list = *ListOfGrid(*grid);
    TVariable v;
    if (tag == 2)
        v.BandValues.assign(kBandCount, 0.0);
    list.Add(std::move(v));
    DefineFormulaGrids();
    grid->SetCurrentCell(0, list.Count());
    grid->SetEditorMode(true);
    SetChanged();
}

void TFormLibX::DeleteVariableClick(TComponent& sender) {
    auto* e = Emission();
    if (!e || CurrentReadOnly())
        return;
    const int tag = dynamic_cast<TControl&>(sender).Tag();
    TValueGrid* grid = GridOfTag(tag);
    TVarList& list = *ListOfGrid(*grid);
    const int index = grid->Row() - 1;
    if (index < 0 || index >= list.Count())
        return;
    list.Delete(index);
    DefineFormulaGrids();
    SetChanged();
}

void TFormLibX::AddPredefinedVariableClick(TComponent& sender) {
    auto* e = Emission();
    if (!e || CurrentReadOnly())
        return;
    const int tag = dynamic_cast<TControl&>(sender).Tag();
    const TVarFlag flag = tag == 0 ? TVarFlag::Input : tag == 1 ? TVarFlag::Output : TVarFlag::Local;
    const TVarList offered = formula::GetPreDefinedVars(flag, e->EntryType == TEmisEntrytype::FormulaSpectrum,
                                                        flag == TVarFlag::Output ? OutputContext() : "");
    TPopupMenu* menu = FindPopupMenu("PredefinedMenu");
    if (!menu)
        menu = &AddPopupMenu("PredefinedMenu");
    while (menu->Items().Count() > 0)
        menu->Items().Remove(menu->Items().Item(0));
    for (int i = 0; i < offered.Count(); ++i) {
        const TVariable& v = offered.Items[static_cast<std::size_t>(i)];
        char caption[512];
        std::snprintf(caption, sizeof caption, "%s [%s]: %s", v.Name.c_str(), v.Unit.c_str(),
                      v.Description.c_str());
        menu->Items().Add("Predefined" + std::to_string(i), caption).OnClick = [this, v, tag](TComponent&) {
            auto* em = Emission();
            if (!em || CurrentReadOnly())
                return;
            ListOfGrid(*GridOfTag(tag))->Add(v);
            DefineFormulaGrids();
            SetChanged();
        };
    }
    dynamic_cast<TControl&>(sender).SetPopupMenu(menu);
    menu->Popup();
}

void TFormLibX::MemoFormulaChange(TComponent& /*sender*/) {
    auto* e = Emission();
    if (!e || CurrentReadOnly() || showing_)
        return;
    e->FormulaText = memoFormula_->Text();
    SetChanged();
}

void TFormLibX::CalculateClick(TComponent& /*sender*/) {
    Calculate();
}

void TFormLibX::Calculate() {
    auto* e = Emission();
    if (!e)
        return;
    formulaResult_.reset();
    auto result = std::make_unique<TEmisLibSpectrum>();
    formula::TSpecInterpreter interpreter;
    interpreter.InitMsgCompos(formula::kMsgLabelAndMemo, memoFormula_, labelFormulaMsg_);
    bool ok = false;
    if (e->EntryType == TEmisEntrytype::FormulaLevel)
        ok = interpreter.CalcEmisSpecSum(*e, *result);
    else if (e->EntryType == TEmisEntrytype::FormulaSpectrum)
        ok = interpreter.CalcEmisSpec(*e, *result);
    if (ok)
        formulaResult_ = std::move(result);
    DrawGraph();
    vgVarOut_->Invalidate();
    vg_->Invalidate();
}

} // namespace korvel::sound
