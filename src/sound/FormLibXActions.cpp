// Commands and setting changes of the sound library editor.

#include "calculators/FormFlowResistivity.h"
#include "calculators/FormLpToLw.h"
#include "calculators/FormScatteringFromRoughness.h"
#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/ShowLibHook.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"
#include "sound/SpectrumColors.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

// The answer of the sum dialog: "+3", "-2", "=85" or a plain number. nullopt for anything else.
std::optional<double> ApplySumFormula(std::string answer, double sum) {
    answer.erase(
        std::remove_if(answer.begin(), answer.end(), [](unsigned char c) { return std::isspace(c); }),
        answer.end());
    if (answer.empty())
        return std::nullopt;
    auto number = [](const std::string& t) -> std::optional<double> {
        if (t.empty())
            return std::nullopt;
        try {
            const double v = ParseGridNumber(t);
            return IsEmptyBandLevel(v) ? std::nullopt : std::optional<double>(v);
        } catch (const EKorvelError&) {
            return std::nullopt;
        }
    };
    const char first = answer[0];
    if (first == '+' || first == '-' || first == '=') {
        const auto v = number(answer.substr(1));
        if (!v)
            return std::nullopt;
        return first == '+' ? sum + *v : first == '-' ? sum - *v : *v;
    }
    if (first >= '0' && first <= '9')
        return number(answer);
    return std::nullopt;
}

} // namespace

void TFormLibX::Editsum1Click(TComponent& /*sender*/) {
    if (CurrentReadOnly() || !(LibType() == kEmissionLibType || LibType() == kTransmissionLibType))
        return;
    auto* e = Emission();
    auto* t = Transmission();
    const double sum = e ? e->GetdBXValueSum() : t->Rw;
    std::string caption = "Enter a new sum";
    if (e)
        caption += " [" + WeightingText(e->dBX()) + "]";
    char preset[64];
    std::snprintf(preset, sizeof preset, "=%f", sum);
    std::string answer = preset;
    if (!Ui().InputQuery(caption, "Formula [=,+,-Value]", answer))
        return;
    std::string trimmed = TrimText(answer);
    trimmed.erase(std::remove(trimmed.begin(), trimmed.end(), ' '), trimmed.end());
    if (trimmed.empty() || trimmed == preset)
        return;
    const std::optional<double> value = ApplySumFormula(trimmed, sum);
    if (!value) {
        Ui().MessageDlg("\"" + answer + "\" is no valid sum formula: use =Value, +Value, -Value or a number.",
                        mtError, {mbOK});
        return;
    }
    if (e) {
        e->SetdBXValueSum(*value);
    } else {
        const double delta = *value - sum;
        for (int b : t->Bands())
            if (!IsEmptyBandLevel(t->GetValue(b)))
                t->SetValue(b, t->GetValue(b) + delta);
        if (t->SpecType() == TSpecType::SingleValue)
            t->Rw = *value;
        (void)t->RechneRwCCtr();
    }
    SetChanged();
}

void TFormLibX::CBdBXChange(TComponent& /*sender*/) {
    auto* e = Emission();
    if (!e || CurrentReadOnly())
        return;
    const int index = cbdBX_->ItemIndex();
    const char letter = index >= 0 && index < 4 ? static_cast<char>('A' + index) : kUnweighted;
    if (letter != e->dBX()) {
        const bool askable =
            e->SpecType() != TSpecType::SingleValue && e->EntryType != TEmisEntrytype::FormulaSpectrum &&
            e->EntryType != TEmisEntrytype::FormulaOnly && e->GetdBXValueSum() > kEmptyBandLevel;
        if (askable) {
            const TModalResult answer =
                Ui().MessageDlg("Recalculate spectrum to new weighting\r(linear spectrum remains unchanged)?",
                                mtConfirmation, {mbYes, mbNo});
            // No keeps the numbers as shown under the new weighting; Yes keeps the linear spectrum.
            if (answer == mrNo)
                e->ReWeight(letter);
        }
        e->SetdBX(letter);
        SetChanged();
        DefineVG();
    }
}

void TFormLibX::DoSpectrumTypeChange(TSpecType type) {
    spectrum_->SetSpecType(type);
    FillBandBoxes();
    VisibleSettings();
    DefineVG();
    SetChanged();
}

void TFormLibX::CBSpecTypeChange(TComponent& /*sender*/) {
    const int index = cbSpecType_->ItemIndex();
    if (index < 0 || CurrentReadOnly() || index == static_cast<int>(spectrum_->SpecType()))
        return;
    DoSpectrumTypeChange(static_cast<TSpecType>(index));
}

void TFormLibX::CBBandChange(TComponent& /*sender*/) {
    if (CurrentReadOnly())
        return;
    const int i0 = cbBmin_->ItemIndex(), i1 = cbBmax_->ItemIndex();
    if (i0 < 0 || i1 < 0 || i0 >= static_cast<int>(boxBands_.size()) ||
        i1 >= static_cast<int>(boxBands_.size()))
        return;
    spectrum_->SetBMinBMax(boxBands_[static_cast<std::size_t>(i0)], boxBands_[static_cast<std::size_t>(i1)]);
    FillBandBoxes();
    DefineVG();
    SetChanged();
}

void TFormLibX::CBTransTypeChange(TComponent& /*sender*/) {
    auto* t = Transmission();
    if (!t || CurrentReadOnly() || cbTransType_->ItemIndex() < 0)
        return;
    t->TransType = static_cast<TTransType>(cbTransType_->ItemIndex());
    DefineVG();
    SetChanged();
}

void TFormLibX::CBEmisRefChange(TComponent& /*sender*/) {
    auto* e = Emission();
    if (!e || CurrentReadOnly() || cbEmisRef_->ItemIndex() < 0)
        return;
    e->EmisRef = static_cast<TEmisRef>(cbEmisRef_->ItemIndex());
    EnsureOutputVariable();
    DefineFormulaGrids();
    SetChanged();
}

void TFormLibX::CBEntryTypeChange(TComponent& /*sender*/) {
    auto* e = Emission();
    if (!e || CurrentReadOnly() || cbEntryType_->ItemIndex() < 0)
        return;
    e->EntryType = static_cast<TEmisEntrytype>(cbEntryType_->ItemIndex());
    FillReferenceBox();
    e->EmisRef = static_cast<TEmisRef>(std::max(0, cbEmisRef_->ItemIndex()));
    EnsureOutputVariable();
    pageFormula_->SetTabVisible(
        pageFormula_->Tag() == 1 &&
        (e->EntryType == TEmisEntrytype::FormulaLevel || e->EntryType == TEmisEntrytype::FormulaSpectrum));
    VisibleSettings();
    DefineVG();
    DefineFormulaGrids();
    SetChanged();
}

void TFormLibX::CBBAFCompTypeChange(TComponent& /*sender*/) {
    auto* t = Transmission();
    const int index = cbBAFCompType_->ItemIndex();
    if (!t || CurrentReadOnly() || index < 0)
        return;
    t->BauteilTyp = OutsideElementTypes()[static_cast<std::size_t>(index)].Id;
    for (std::string_view name : {kMassPerArea, kDRiw, kDRjw}) {
        if (OutsideTypeHasMassProps(t->BauteilTyp)) {
            if (propDefs_.Find(name))
                t->AddProps.Ensure(name, "0");
        } else {
            t->AddProps.Remove(name);
        }
    }
    DefinePropsGrid();
    SetChanged();
}

void TFormLibX::CBDirectivityChange(TComponent& /*sender*/) {
    auto* e = Emission();
    const int tab = GetCurIndex();
    if (!e || CurrentReadOnly() || tab < 0 || !directivities_[static_cast<std::size_t>(tab)])
        return;
    const auto& entries = directivities_[static_cast<std::size_t>(tab)]->Entries();
    const int index = cbDirectivity_->ItemIndex();
    if (index < 0 || index >= static_cast<int>(entries.size()))
        return;
    e->Directivity = entries[static_cast<std::size_t>(index)].Number;
    SetChanged();
}

void TFormLibX::DirectivityEditClick(TComponent& /*sender*/) {
    auto* e = Emission();
    const int tab = GetCurIndex();
    if (!e || tab < 0 || !ShowLibFunc())
        return;
    TDirectivityList& dirs = *directivities_[static_cast<std::size_t>(tab)];
    int number = e->Directivity > 0 ? e->Directivity : -1;
    if (ShowLibFunc()(kDirectivityLibType, GetMyTable(tab)->Folder(), number, nullptr) != 1)
        return;
    // The pick may have added directivities: read the list again.
    try {
        dirs.Open(GetMyTable(tab)->Folder());
    } catch (const EKorvelError& err) {
        Ui().MessageDlg(err.what(), mtWarning, {mbOK});
    }
    FillDirectivityBox();
    const int index = dirs.IndexOfNumber(number);
    {
        TSuspendEvents q(*cbDirectivity_);
        cbDirectivity_->SetItemIndex(index < 0 ? 0 : index);
    }
    if (CurrentReadOnly())
        return;
    e->Directivity = index < 0 ? 0 : number;
    SetChanged();
}

void TFormLibX::ElementColorClick(TComponent& /*sender*/) {
    if (CurrentReadOnly())
        return;
    const std::uint32_t rgb = spectrum_->Color;
    TColor color = RGBToColor(static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                              static_cast<std::uint8_t>(rgb));
    if (!Ui().ChooseColor(color))
        return;
    spectrum_->Color = ((color & 0xFF) << 16) | (color & 0xFF00) | ((color >> 16) & 0xFF);
    SetChanged();
}

void TFormLibX::ColorsClick(TComponent& /*sender*/) {
    if (EditSpectrumColors(Ui()))
        DrawGraph();
}

void TFormLibX::LinkLoadClick(TComponent& sender) {
    const int slot = dynamic_cast<TControl&>(sender).Tag();
    const int tab = GetCurIndex();
    if (CurrentReadOnly() || tab < 0)
        return;
    TOpenDialogOptions options;
    options.Title = "Create link to file";
    options.Filter = "All files (*.*)|*.*";
    const std::vector<fs::path> files = Ui().OpenDialog(options);
    if (files.empty())
        return;
    const fs::path source = files.front();
    const fs::path folder = GetMyTable(tab)->Folder();
    const fs::path target = folder / source.filename();
    std::error_code ec;
    if (!fs::equivalent(source.parent_path(), folder, ec)) {
        Ui().MessageDlg("Copying file \"" + source.string() + "\" to \"" + target.string() + "\"",
                        mtInformation, {mbOK});
        fs::copy_file(source, target, fs::copy_options::overwrite_existing, ec);
        if (ec) {
            Ui().MessageDlg("The file cannot be copied: " + ec.message(), mtError, {mbOK});
            return;
        }
    }
    spectrum_->SetLinkedFile(slot, source.filename().string());
    ShowLinks();
    SetChanged();
}

void TFormLibX::LinkRemoveClick(TComponent& sender) {
    if (CurrentReadOnly())
        return;
    spectrum_->SetLinkedFile(dynamic_cast<TControl&>(sender).Tag(), "");
    ShowLinks();
    SetChanged();
}

// --- calculators

void TFormLibX::CalculateLwfromLp1Click(TComponent& /*sender*/) {
    auto* e = Emission();
    if (!e || CurrentReadOnly())
        return;
    db::TTable* table = CurrentTable();
    db::TField* commentField = table ? table->FindField("Kommentar") : nullptr;
    std::string comment = commentField ? commentField->AsString() : std::string();
    if (!calculators::CalculateLwfromLp(Ui(), *e, comment))
        return;
    {
        TSuspendEvents q(*cbEmisRef_);
        cbEmisRef_->SetItemIndex(static_cast<int>(e->EmisRef));
    }
    if (!EnsureEditing())
        return;
    if (commentField)
        commentField->SetAsString(comment);
    SetChanged();
}

void TFormLibX::Calculatealphavaluesfromflowresistivity1Click(TComponent& /*sender*/) {
    auto* a = Absorption();
    if (!a || CurrentReadOnly())
        return;
    if (calculators::CalculateAlphaFromFlowResistivity(Ui(), *a))
        SetChanged();
}

void TFormLibX::Calculatescatteringfromroughness1Click(TComponent& /*sender*/) {
    auto* a = Absorption();
    if (!a || CurrentReadOnly())
        return;
    if (calculators::CalculateScatteringFromRoughness(Ui(), *a))
        SetChanged();
}

} // namespace korvel::sound
