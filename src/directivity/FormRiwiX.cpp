#include "directivity/FormRiwiX.h"

#include "directivity/DirectivityJson.h"
#include "directivity/SampleWizard.h"
#include "editor/BandBoxes.h"
#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace korvel::directivity {

using namespace acoustic;

TFormRiwiX::TFormRiwiX(TLibHost& host) : TCustomLibForm(host, "FormRiwiX") {
    SetLibType(kDirectivityLibType);
    SetBounds(Left(), Top(), 1180, 760);
    DBList().SetColumns({{"Eintrag", "###", 48, true}, {"ElementName", "Directivities", 220, false}});
    BuildPages();
    // The sample list, its current row being the samples grid's; the last sample stays.
    sampleNav_ = std::make_unique<TListNavTarget>(TListNavTarget::TCallbacks{
        .Count = [this] { return static_cast<int>(dir_.Samples.size()); },
        .Current = [this] { return selectedSample_; },
        .CanModify = [this] { return !CurrentReadOnly() && CurrentTable(); },
        .MoveTo = {},
        .Insert = [this] { InsertSample(); },
        .Delete =
            [this] {
                if (dir_.Samples.size() > 1)
                    DeleteSample();
            },
    });
    navSamples_->SetTarget(sampleNav_.get());
    DataSource().AddListener([this](db::TDataEvent event, const db::TField*) {
        if (event == db::TDataEvent::RecordChange || event == db::TDataEvent::DataSetChange)
            ShowElement();
    });
    ShowElement();
}

TFormRiwiX::~TFormRiwiX() {
    navSamples_->SetTarget(nullptr);
}

// --- tabs and libraries

void TFormRiwiX::OpenLibrary(int tabIndex, const std::string& fileName) {
    TCustomLibForm::OpenLibrary(tabIndex, fileName);
    // System libraries are delivered in the current layout and are never written.
    if (GetPathType(tabIndex) != TLibPathType::System && !TabReadOnly(tabIndex))
        CheckUpdate(tabIndex);
}

void TFormRiwiX::SetCurIndex(int tabIndex) {
    links_.clear();
    TCustomLibForm::SetCurIndex(tabIndex);
    links_ = BindNameAndComment(*editName_, *memo_);
    ShowElement();
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TFormRiwiX::SetReadOnly(int tabIndex, bool readOnly) {
    TCustomLibForm::SetReadOnly(tabIndex, readOnly);
    if (tabIndex != GetCurIndex())
        return;
    const bool ro = TabReadOnly(tabIndex);
    for (TValueGrid* grid : {vgSamples_, vgDir_})
        grid->SetEditing(!ro);
    for (TControl* c : std::initializer_list<TControl*>{rgDirType_, rgFreqRes_, rgStep_, cbBmin_, cbBmax_,
                                                        buttonWizard_, button1_, navSamples_})
        c->SetEnabled(!ro);
    navSamples_->UpdateButtons();
    VisiblePanels();
}

// --- showing

void TFormRiwiX::ShowElement() {
    db::TTable* table = CurrentTable();
    if ((table && table->Tag == kTagBulkWork) || showing_)
        return;
    showing_ = true;
    struct TDone {
        bool& flag;
        ~TDone() { flag = false; }
    } done{showing_};
    TDirectivity fresh;
    if (table && table->Active() && !table->IsEmpty()) {
        try {
            fresh.ReadFromLibrary(*table);
        } catch (const EKorvelError& e) {
            Ui().MessageDlg(e.what(), mtWarning, {mbOK});
        }
    }
    dir_ = std::move(fresh);
    selectedSample_ = 0;
    labelInterpolation_->SetCaption("");
    DirToForm();
    CalcValues0(false, true, true);
}

void TFormRiwiX::RefreshElement() {
    ShowElement();
}

void TFormRiwiX::DirToForm() {
    TSuspendEvents q1(*rgDirType_), q2(*rgFreqRes_), q3(*rgStep_);
    rgDirType_->SetItemIndex(static_cast<int>(dir_.DirType()));
    rgFreqRes_->SetItemIndex(static_cast<int>(dir_.SpecType()));
    const bool square = dir_.StepH() == dir_.StepV();
    rgStep_->SetItemIndex(square && dir_.StepH() == 5 ? 0 : square && dir_.StepH() == 10 ? 1 : -1);
    FillBandBoxes();
}

void TFormRiwiX::FillBandBoxes() {
    boxBands_ = FillBandRangeBoxes(*cbBmin_, *cbBmax_, dir_.SpecType() == TSpecType::Octave, dir_.GetBmin(),
                                   dir_.GetBmax());
    cbBmin_->Parent()->Parent()->SetVisible(dir_.SpecType() != TSpecType::SingleValue);
}

void TFormRiwiX::CalcValues0(bool fromEdit, bool rebuildTabs, bool layout) {
    if (fromEdit && EnsureEditing()) {
        if (db::TField* f = CurrentTable()->FindField("LastChangeDateTime"))
            f->SetAsDateTime(db::Now());
    }
    if (rebuildTabs) {
        std::vector<std::string> tabs;
        for (int i = 0; i < dir_.BandCount(); ++i)
            tabs.push_back(dir_.BandStr(i));
        TSuspendEvents q1(*tabBands_), q2(*tabDiagramBands_);
        // A horizontal directivity shows all its bands in one grid.
        tabBands_->SetTabs(dir_.DirType() == TDirType::Horizontal ? std::vector<std::string>{} : tabs);
        tabDiagramBands_->SetTabs(tabs);
    }
    dir_.CalcLtot();
    if (layout) {
        DefineVGSamples();
        DefineVGDir();
        DefineVGLtot();
    }
    vgSamples_->Invalidate();
    vgDir_->Invalidate();
    vgLtot_->Invalidate();
    navSamples_->UpdateButtons();
    VisiblePanels();
    DrawDiagram();
}

// --- settings

void TFormRiwiX::RGDirTypeClick(TComponent& /*sender*/) {
    const int index = rgDirType_->ItemIndex();
    if (index < 0 || CurrentReadOnly() || index == static_cast<int>(dir_.DirType()))
        return;
    dir_.SetDirType(static_cast<TDirType>(index));
    dir_.DiscardInterpolation();
    CalcValues0(true, true, true);
}

void TFormRiwiX::RGStepClick(TComponent& /*sender*/) {
    const int index = rgStep_->ItemIndex();
    if (index < 0 || CurrentReadOnly())
        return;
    const int step = index == 0 ? 5 : 10;
    if (step == dir_.StepH() && step == dir_.StepV())
        return;
    dir_.SetStep(step, step);
    dir_.DiscardInterpolation();
    InterpolateIfOffered();
    CalcValues0(true, false, true);
}

void TFormRiwiX::RGFreqResClick(TComponent& /*sender*/) {
    const int index = rgFreqRes_->ItemIndex();
    if (index < 0 || CurrentReadOnly() || index == static_cast<int>(dir_.SpecType()))
        return;
    const int bmin = dir_.GetBmin(), bmax = dir_.GetBmax();
    dir_.SetSpecType(static_cast<TSpecType>(index));
    dir_.SetBMinBMax(bmin, bmax);
    dir_.DiscardInterpolation();
    FillBandBoxes();
    CalcValues0(true, true, true);
}

void TFormRiwiX::CBBminChange(TComponent& /*sender*/) {
    const int i = cbBmin_->ItemIndex();
    if (i < 0 || CurrentReadOnly() || i >= static_cast<int>(boxBands_.size()))
        return;
    dir_.SetBMinBMax(boxBands_[static_cast<std::size_t>(i)], std::max(dir_.GetBmax(), boxBands_[i]));
    dir_.DiscardInterpolation();
    FillBandBoxes();
    CalcValues0(true, true, true);
}

void TFormRiwiX::CBBmaxChange(TComponent& /*sender*/) {
    const int i = cbBmax_->ItemIndex();
    if (i < 0 || CurrentReadOnly() || i >= static_cast<int>(boxBands_.size()))
        return;
    dir_.SetBMinBMax(std::min(dir_.GetBmin(), boxBands_[i]), boxBands_[static_cast<std::size_t>(i)]);
    dir_.DiscardInterpolation();
    FillBandBoxes();
    CalcValues0(true, true, true);
}

// --- samples

void TFormRiwiX::SamplesChanged() {
    dir_.DiscardInterpolation();
    InterpolateIfOffered();
    CalcValues0(true, false, true);
}

void TFormRiwiX::InsertSample() {
    if (CurrentReadOnly() || !EnsureEditing())
        return;
    const int at = std::clamp(selectedSample_, 0, static_cast<int>(dir_.Samples.size()));
    TSampleItem s;
    s.Values.assign(static_cast<std::size_t>(dir_.BandCount()), 0.0);
    dir_.Samples.insert(dir_.Samples.begin() + at, std::move(s));
    selectedSample_ = at;
    SamplesChanged();
}

void TFormRiwiX::DeleteSample() {
    if (CurrentReadOnly() || dir_.Samples.size() <= 1 || !EnsureEditing())
        return;
    const int at = std::clamp(selectedSample_, 0, static_cast<int>(dir_.Samples.size()) - 1);
    dir_.Samples.erase(dir_.Samples.begin() + at);
    selectedSample_ = std::min(at, static_cast<int>(dir_.Samples.size()) - 1);
    SamplesChanged();
}

void TFormRiwiX::ButtonWizardClick(TComponent& /*sender*/) {
    if (CurrentReadOnly() || !CurrentTable() || CurrentTable()->IsEmpty())
        return;
    TFormSampleWizard wizard(Ui(), dir_.DirType());
    if (Ui().ShowModal(wizard) != mrOk || !EnsureEditing())
        return;
    // New samples start from the grid's value nearest to their direction, so the pattern keeps its shape.
    auto nearest = [this](int band, double theta, double phi) {
        const int rows = dir_.ThetaCount(), cols = dir_.PhiCount();
        const int row =
            rows == 1 ? 0 : std::clamp(static_cast<int>(std::lround(theta / dir_.StepV())), 0, rows - 1);
        const int col = static_cast<int>(std::lround(phi / dir_.StepH())) % cols;
        return dir_.Value(band, row, col);
    };
    dir_.ClearSamples();
    for (const TSampleDirection& d : WizardDirections(dir_.DirType(), wizard.Pattern())) {
        TSampleItem& s = dir_.AddSample(d.Theta, d.Phi);
        for (int b = 0; b < dir_.BandCount(); ++b)
            s.Values[static_cast<std::size_t>(b)] = nearest(b, d.Theta, d.Phi);
    }
    selectedSample_ = 0;
    SamplesChanged();
}

void TFormRiwiX::Button1Click(TComponent& /*sender*/) {
    if (CurrentReadOnly() || !EnsureEditing())
        return;
    dir_.CalcLtot();
    for (int b = 0; b < dir_.BandCount(); ++b) {
        TDirBandItem& item = dir_.GetItem(b);
        const double shift = item.dLtot;
        for (double& v : item.Values)
            v -= shift;
        // The samples move with the grid, so that interpolating again keeps the normalisation.
        for (TSampleItem& s : dir_.Samples)
            if (static_cast<std::size_t>(b) < s.Values.size())
                s.Values[static_cast<std::size_t>(b)] -= shift;
    }
    CalcValues0(true, false, false);
}

// --- storing

void TFormRiwiX::MainTableNewRecord(db::TTable& table) {
    TCustomLibForm::MainTableNewRecord(table);
    if (table.Tag == kTagBulkWork)
        return;
    pages_->SetActivePage(*pageSettings_);
}

void TFormRiwiX::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    if (table.Tag == kTagBulkWork)
        return;
    Host().BringToFront(*this);
    const std::string name = TrimText(db::FieldString(table, "ElementName"));
    // A directivity without a name is not stored; the empty name field shows why.
    if (name.empty())
        Abort();
    if (&table == CurrentTable())
        dir_.SaveToLibrary(table, name);
}

void TFormRiwiX::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                   TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    if (!ends)
        return;
    db::TTable& src = ends->Src;
    db::TTable& dst = ends->Dst;
    std::vector<std::pair<std::string, db::TValue>> values;
    for (int i = 0; i < src.FieldCount(); ++i)
        if (src.Fields(i).DataType() != db::TFieldType::AutoInc)
            values.emplace_back(src.Fields(i).FieldName(), src.Fields(i).Value());
    std::string name = src.FieldByName("ElementName").AsString();
    TBulkTag bulk(dst);
    if (!CheckNameTwice(Ui(), dst, "EN", name, action))
        return;
    TPendingRecord pending(dst);
    for (const auto& [field, value] : values)
        if (db::TField* f = dst.FindField(field))
            f->SetValue(value);
    dst.FieldByName("ElementName").SetAsString(name);
    PostOrCancel(dst);
}

// --- element view

nlohmann::json TFormRiwiX::ElementView() {
    db::TTable* table = CurrentTable();
    if (!table || !table->Active() || table->IsEmpty())
        return nlohmann::json::object();
    TDirectivity d;
    d.ReadFromLibrary(*table);
    return nlohmann::json(
        DirectivityToJson(d, db::FieldString(*table, "ElementName"), db::FieldString(*table, "Kommentar")));
}

void TFormRiwiX::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    if (!table || !table->Editing())
        throw EKorvelError("No element is being edited");
    TDirectivity d;
    d.ReadFromLibrary(*table);
    std::string name = db::FieldString(*table, "ElementName");
    std::string comment = db::FieldString(*table, "Kommentar");
    DirectivityFromJson(view, d, name, comment);
    table->FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = table->FindField("Kommentar"))
        f->SetAsString(comment);
    if (db::TField* f = table->FindField("LastChangeDateTime"))
        f->SetAsDateTime(db::Now());
    dir_ = d;
    // The record carries the element at once, so whatever stores it stores this.
    dir_.SaveToLibrary(*table, name);
}

} // namespace korvel::directivity

namespace {

KORVEL_REGISTER_LIB_EDITOR(119, [](korvel::TLibHost& host, int) {
    return std::unique_ptr<korvel::TCustomLibForm>(std::make_unique<korvel::directivity::TFormRiwiX>(host));
});

} // namespace
