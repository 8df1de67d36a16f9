#include "sound/FormLibX.h"

#include "editor/BandBoxes.h"
#include "platform/Errors.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibLocations.h"
#include "platform/legacy/Trim.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/ui/Ui.h"
#include "sound/SoundSchema.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace korvel::sound {

using namespace acoustic;

TFormLibX::TFormLibX(TLibHost& host, int libType)
    : TCustomLibForm(host, "FormLibX" + std::to_string(libType)), spectrum_(CreateLibSpectrum(libType)),
      propDefs_(libType) {
    if (!spectrum_)
        throw EKorvelError("Not yet implemented for this library type!");
    SetLibType(libType);
    // Settings, a value grid and a graph need more room than the frame's default.
    SetBounds(Left(), Top(), 1120, 720);
    DBList().SetColumns({{"Eintrag", "###", 48, true}, {"ElementName", "Element name", 220, false}});
    BuildPages();
    // The export belongs beside the frame's import in the File menu.
    if (TMenuItem* file = MainMenu() ? MainMenu()->Items().Find("MenuFile") : nullptr)
        file->Add("ExcelExport1", "Export to Excel...").OnClick = Bind(&TFormLibX::ExcelExport1Click);
    DataSource().AddListener([this](db::TDataEvent event, const db::TField*) {
        if (event == db::TDataEvent::RecordChange || event == db::TDataEvent::DataSetChange)
            ShowElement();
    });
}

TFormLibX::~TFormLibX() {
    navGroups_->SetTarget(nullptr);
    groupLink_.reset();
    groupSource_.SetDataSet(nullptr);
}

void TFormLibX::OpenLibType(const std::vector<std::string>& folders, int high, int libType,
                            bool createMissing) {
    if (libType != LibType())
        throw EKorvelError("This editor shows library type " + std::to_string(LibType()) + ".");
    const int perMille =
        TIniStore(KorvelLibIniFileName()).ReadInteger(RegLibName(libType), "PanelGraphic", 0);
    if (perMille > 0 && perMille < 1000 && Height() > 0)
        panelGraphic_->SetHeight(Height() * perMille / 1000);
    OpenFiles(folders, high, false, createMissing);
}

// --- tabs and libraries

int TFormLibX::AddIndex(TLibPathType pathType) {
    const int tab = TCustomLibForm::AddIndex(pathType);
    directivities_.resize(static_cast<std::size_t>(TabCount()));
    if (LibType() == kEmissionLibType)
        directivities_[static_cast<std::size_t>(tab)] = std::make_unique<TDirectivityList>();
    return tab;
}

void TFormLibX::OpenLibrary(int tabIndex, const std::string& fileName) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    if (auto& dirs = directivities_[static_cast<std::size_t>(tabIndex)]) {
        try {
            dirs->Open(myTable->Folder());
        } catch (const std::exception& e) {
            Ui().MessageDlg(std::string("The directivity library cannot be read: ") + e.what(), mtWarning,
                            {mbOK});
        }
    }
    myTable->Open();
    if (db::TTable* groups = myTable->GetCount() > 1 ? myTable->GetItem(1) : nullptr) {
        if (groups->Active())
            groups->SetIndexName("EN");
        groups->BeforeInsert = [this](db::TTable& t) {
            if (t.Tag != kTagBulkWork &&
                Ui().MessageDlg("Insert new group?", mtConfirmation, {mbYes, mbNo}) != mrYes)
                Abort();
        };
        groups->BeforeDelete = [this](db::TTable& t) {
            if (t.Tag == kTagBulkWork)
                return;
            db::TField* name = t.FindField("GruppenName");
            const std::string text = "Delete group \"" + (name ? name->AsString() : std::string()) + "\"?";
            if (Ui().MessageDlg(text, mtConfirmation, {mbYes, mbNo}) != mrYes)
                Abort();
        };
        groups->AfterDelete = [this](db::TTable& t) {
            if (GetCurIndex() >= 0 && t.Tag != kTagBulkWork)
                AddFilterGroupItems(GetCurIndex());
        };
        groups->AfterPost = groups->AfterDelete;
    }
    (void)fileName;
    // System libraries are delivered in the current layout and are never written.
    if (GetPathType(tabIndex) != TLibPathType::System && !TabReadOnly(tabIndex))
        CheckUpdate(tabIndex);
    if (GetPathType(tabIndex) == TLibPathType::Project)
        LoadFilter(myTable->FileName(), filter_);
}

void TFormLibX::CreateNewLibrary(int tabIndex, const std::string& fileName) {
    TCustomLibForm::CreateNewLibrary(tabIndex, fileName);
}

void TFormLibX::SetCurIndex(int tabIndex) {
    if (tabIndex < 0 || tabIndex >= TabCount())
        return;
    links_.clear();
    TCustomLibForm::SetCurIndex(tabIndex);
    db::TTable* table = CurrentTable();
    if (table && table->Active()) {
        links_.push_back(BindField(*editName_, DataSource(), "ElementName"));
        if (table->FindField("HeightAboveGround"))
            links_.push_back(BindField(*editHeight_, DataSource(), "HeightAboveGround"));
        if (table->FindField("Sigma"))
            links_.push_back(BindField(*editSigma_, DataSource(), "Sigma"));
        if (TControl* memo = DataArea().FindControl("MemoKommentar"))
            links_.push_back(BindField(dynamic_cast<TMemo&>(*memo), DataSource(), "Kommentar"));
    }
    FillDirectivityBox();
    BindGroupTable();
    AddFilterGroupItems(tabIndex);
    UpdateOptionalControls();
    SetFilterSettings(tabIndex, filter_);
    FilterString(tabIndex, filter_);
    ShowElement();
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TFormLibX::UpdateOptionalControls() {
    db::TTable* table = CurrentTable();
    auto has = [&](const char* f) {
        return table && table->FindField(f) != nullptr;
    };
    const bool emission = LibType() == kEmissionLibType;
    // Formula entries need both fields; older emission tables have neither.
    pageFormula_->SetTag(emission && has("EmisEntrytype") && has("Formula") ? 1 : 0);
    if (pageFormula_->Tag() == 0)
        pageFormula_->SetTabVisible(false);
    DBList().SetColumnTitle(1, ListTitle());
    btnColor_->SetVisible(has("Color"));
    cbBAFCompType_->SetVisible(LibType() == kTransmissionLibType && has("BauteilTyp"));
    editHeight_->SetVisible(emission && has("HeightAboveGround"));
    editSigma_->SetVisible(emission && has("Sigma"));
    pageCharacteristics_->SetTabVisible(has("AddProp"));
    pageOle_[0]->SetTabVisible(has("OLE1"));
    pageOle_[1]->SetTabVisible(has("OLE2"));
    SetPictureCommandsOn(*graph_, has("Graphic"));
    VisibleSettings();
}

std::string TFormLibX::ListTitle() const {
    static const char* titles[] = {"Emission spectra", "Absorption spectra", "Transmission spectra",
                                   "Attenuation spectra"};
    std::string title = titles[LibType() - kEmissionLibType];
    if (filter_.Enabled())
        title += std::string(" [") + "filtered" + "]";
    return title;
}

void TFormLibX::SetReadOnly(int tabIndex, bool readOnly) {
    TCustomLibForm::SetReadOnly(tabIndex, readOnly);
    if (tabIndex != GetCurIndex())
        return;
    const bool ro = TabReadOnly(tabIndex);
    // The filter belongs to the view, not the library: it works on every tab.
    for (TControl* c : std::initializer_list<TControl*>{cbFilterEnabled_, cbFilterGroup1_, cbFilterGroup2_,
                                                        cbFilterOperator_, editFilterMin_, editFilterMax_,
                                                        editFilterText_, lbAvailable_})
        c->SetEnabled(true);
    for (TEdit* e : {editFilterMin_, editFilterMax_, editFilterText_})
        e->SetReadOnly(false);
    vg_->SetEditing(!ro);
    navGroups_->SetEnabled(!ro);
    editGroupName_->SetReadOnly(ro);
    btnAddGroup_->SetEnabled(!ro);
    btnRemoveGroup_->SetEnabled(!ro);
}

std::string TFormLibX::GetFilterName() {
    return GetCaptionString() + "|" + LibName(LibType());
}

std::string TFormLibX::GetCaptionString() {
    static const char* captions[] = {"Emission library", "Absorption library", "Transmission library",
                                     "Attenuation library"};
    return captions[LibType() - kEmissionLibType];
}

// --- showing an element

void TFormLibX::ShowElement() {
    db::TTable* table = CurrentTable();
    if (table && table->Tag == kTagBulkWork)
        return;
    if (showing_)
        return;
    showing_ = true;
    struct TDone {
        bool& flag;
        ~TDone() { flag = false; }
    } done{showing_};

    formulaResult_.reset();
    std::unique_ptr<TCustomLibSpectrum> fresh = CreateLibSpectrum(LibType());
    if (table && table->Active() && !table->IsEmpty()) {
        try {
            TMyTable* myTable = GetMyTable(GetCurIndex());
            fresh->ReadFromLibrary(*myTable, propDefs_);
        } catch (const EKorvelError& e) {
            Ui().MessageDlg(e.what(), mtWarning, {mbOK});
        }
    }
    spectrum_ = std::move(fresh);

    TSuspendEvents q1(*cbSpecType_), q2(*cbTransType_), q3(*cbEntryType_), q4(*cbBAFCompType_), q5(*cbdBX_),
        q6(*cbDirectivity_), q7(*cbEmisRef_);
    FillReferenceBox();
    std::vector<std::string> types;
    const int typeCount = (LibType() == kEmissionLibType || LibType() == kTransmissionLibType) ? 3 : 2;
    for (int i = 0; i < typeCount; ++i)
        types.emplace_back(SpecTypeStr[static_cast<std::size_t>(i)]);
    cbSpecType_->SetItems(types);
    // A band type the kind does not offer (a damaged or foreign record) shows no choice rather than failing.
    const int typeIndex = static_cast<int>(spectrum_->SpecType());
    cbSpecType_->SetItemIndex(typeIndex < typeCount ? typeIndex : -1);
    if (auto* t = Transmission()) {
        cbTransType_->SetItemIndex(static_cast<int>(t->TransType));
        const auto& outside = OutsideElementTypes();
        int index = 0;
        for (std::size_t i = 0; i < outside.size(); ++i)
            if (outside[i].Id == t->BauteilTyp)
                index = static_cast<int>(i);
        cbBAFCompType_->SetItemIndex(index);
    }
    if (auto* e = Emission()) {
        cbEntryType_->SetItemIndex(static_cast<int>(e->EntryType));
        const char w = e->dBX();
        cbdBX_->SetItemIndex(w >= 'A' && w <= 'D' ? w - 'A' : 4);
        cbEmisRef_->SetItemIndex(static_cast<int>(e->EmisRef));
        pageFormula_->SetTabVisible(pageFormula_->Tag() == 1 &&
                                    (e->EntryType == TEmisEntrytype::FormulaLevel ||
                                     e->EntryType == TEmisEntrytype::FormulaSpectrum));
        const TDirectivityList* dirs = directivities_.empty() || GetCurIndex() < 0
                                           ? nullptr
                                           : directivities_[static_cast<std::size_t>(GetCurIndex())].get();
        const int index = dirs ? dirs->IndexOfNumber(e->Directivity) : -1;
        if (!cbDirectivity_->Items().empty())
            cbDirectivity_->SetItemIndex(index < 0 ? 0 : index);
    }
    FillBandBoxes();
    VisibleSettings();
    SetHint(GetElementHint());
    DefineVG();
    ShowGroups();
    ShowLinks();
    DefinePropsGrid();
    if (auto* e = Emission()) {
        TSuspendEvents q(*memoFormula_);
        memoFormula_->SetText(e->FormulaText);
        labelFormulaMsg_->SetCaption("");
        DefineFormulaGrids();
        if (e->EntryType == TEmisEntrytype::FormulaLevel || e->EntryType == TEmisEntrytype::FormulaSpectrum)
            Calculate();
    }
    DrawGraph();
}

void TFormLibX::RefreshElement() {
    ShowElement();
}

void TFormLibX::FillReferenceBox() {
    auto* e = Emission();
    if (!e)
        return;
    std::vector<std::string> items;
    // A pure formula description has no measured pressure level to refer to.
    const int count = e->EntryType == TEmisEntrytype::FormulaOnly ? 2 : 3;
    for (int i = 0; i < count; ++i)
        items.emplace_back(EmisRefStr[static_cast<std::size_t>(i)]);
    TSuspendEvents q(*cbEmisRef_);
    cbEmisRef_->SetItems(items);
    cbEmisRef_->SetItemIndex(std::min(static_cast<int>(e->EmisRef), count - 1));
}

void TFormLibX::FillBandBoxes() {
    boxBands_ = FillBandRangeBoxes(*cbBmin_, *cbBmax_, spectrum_->SpecType() == TSpecType::Octave,
                                   spectrum_->Bmin(), spectrum_->Bmax());
}

void TFormLibX::VisibleSettings() {
    const bool single = spectrum_->SpecType() == TSpecType::SingleValue;
    auto* e = Emission();
    const TEmisEntrytype entry = e ? e->EntryType : TEmisEntrytype::Spectrum;
    const bool descriptionOnly = entry == TEmisEntrytype::FormulaOnly;
    cbSpecType_->SetVisible(!descriptionOnly);
    cbBmin_->SetVisible(!single && !descriptionOnly);
    cbBmax_->SetVisible(!single && !descriptionOnly);
    cbdBX_->SetVisible(e && !descriptionOnly);
    cbEmisRef_->SetVisible(e && !descriptionOnly);
    cbEntryType_->SetVisible(e && pageFormula_->Tag() == 1);
    editSigma_->SetVisible(e && !descriptionOnly && CurrentTable() && CurrentTable()->FindField("Sigma"));
    cbDirectivity_->SetVisible(e && entry != TEmisEntrytype::FormulaSpectrum);
    btnDirectivity_->SetVisible(e && entry != TEmisEntrytype::FormulaSpectrum);
    cbTransType_->SetVisible(LibType() == kTransmissionLibType);
    vg_->SetVisible(!(entry == TEmisEntrytype::FormulaSpectrum || descriptionOnly));
    btnScattering_->SetVisible(LibType() == kAbsorptionLibType);
}

void TFormLibX::FillDirectivityBox() {
    if (LibType() != kEmissionLibType)
        return;
    std::vector<std::string> items;
    const int tab = GetCurIndex();
    if (tab >= 0 && static_cast<std::size_t>(tab) < directivities_.size() &&
        directivities_[static_cast<std::size_t>(tab)])
        for (const auto& entry : directivities_[static_cast<std::size_t>(tab)]->Entries())
            items.push_back(entry.Number == 0 ? entry.Name : std::to_string(entry.Number) + " " + entry.Name);
    TSuspendEvents q(*cbDirectivity_);
    cbDirectivity_->SetItems(items);
}

void TFormLibX::ShowLinks() {
    for (int i = 0; i < 2; ++i) {
        const std::string& file = spectrum_->LinkedFiles[static_cast<std::size_t>(i)];
        const int tab = GetCurIndex();
        const std::string folder = tab >= 0 && GetMyTable(tab) ? GetMyTable(tab)->Folder() : std::string();
        // The name comes from the library: one that could lead out of its folder is shown, never joined.
        const std::optional<std::string> path = FileInFolder(folder, file);
        labelLink_[static_cast<std::size_t>(i)]->SetCaption(
            file.empty() ? "No document linked."
            : path
                ? "Linked document: " + *path
                : "Linked document refused: \"" + file + "\" is not a plain file name beside the library.");
    }
}

// --- storing

void TFormLibX::SetChanged() {
    if (auto* t = Transmission()) {
        // A spectrum too narrow to rate keeps the numbers typed for it.
        (void)t->RechneRwCCtr();
    }
    if (!EnsureEditing())
        return;
    db::TTable* table = CurrentTable();
    if (db::TField* f = table->FindField("LastChangeDateTime"))
        f->SetAsDateTime(db::Now());
    vg_->Invalidate();
    DrawGraph();
}

void TFormLibX::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    if (table.Tag == kTagBulkWork)
        return;
    db::TField* nameField = table.FindField("ElementName");
    const std::string name = nameField ? TrimText(nameField->AsString()) : std::string();
    if (name.empty()) {
        Ui().MessageDlg("Please enter an element name!", mtError, {mbOK});
        Abort();
    }
    if (auto* e = Emission()) {
        if (db::TField* f = table.FindField("HeightAboveGround"))
            e->HeightAboveGround = f->IsNull() ? 0.0 : f->AsFloat();
        if (db::TField* f = table.FindField("Sigma"))
            e->Sigma = f->IsNull() ? 0.0 : f->AsFloat();
    }
    TMyTable* myTable = nullptr;
    for (int tab = 0; tab < TabCount(); ++tab)
        if (GetMainTable(tab) == &table)
            myTable = GetMyTable(tab);
    if (!myTable)
        return;
    spectrum_->SaveToLibrary(*myTable, name);
}

void TFormLibX::LibrariesClosing() {
    groupLink_.reset();
    groupSource_.SetDataSet(nullptr);
    for (int tab = 0; tab < TabCount(); ++tab) {
        if (GetPathType(tab) == TLibPathType::System)
            continue;
        if (TMyTable* myTable = GetMyTable(tab)) {
            try {
                SaveFilter(myTable->FileName(), filter_);
            } catch (const EKorvelError& e) {
                Ui().MessageDlg(e.what(), mtWarning, {mbOK});
            }
        }
    }
    if (Height() > 0)
        TIniStore(KorvelLibIniFileName())
            .WriteInteger(RegLibName(LibType()), "PanelGraphic", panelGraphic_->Height() * 1000 / Height());
}

void TFormLibX::OpenForConversion(const std::string& folder) {
    // The new library is made on opening, and the update check fills it from the older files.
    OpenLibType({folder}, 0, LibType(), true);
}

bool TFormLibX::SwitchElementFilterOff() {
    if (!filter_.Enabled())
        return true;
    filter_.SetEnabled(false);
    const int tab = GetCurIndex();
    if (tab >= 0) {
        SetFilterSettings(tab, filter_);
        FilterString(tab, filter_);
    }
    return true;
}

} // namespace korvel::sound

namespace {

using korvel::sound::TFormLibX;

std::unique_ptr<korvel::TCustomLibForm> MakeLibX(korvel::TLibHost& host, int libType) {
    return std::make_unique<TFormLibX>(host, libType);
}

KORVEL_REGISTER_LIB_EDITOR(korvel::acoustic::kEmissionLibType, MakeLibX);
KORVEL_REGISTER_LIB_EDITOR(korvel::acoustic::kAbsorptionLibType, MakeLibX);
KORVEL_REGISTER_LIB_EDITOR(korvel::acoustic::kTransmissionLibType, MakeLibX);
KORVEL_REGISTER_LIB_EDITOR(korvel::acoustic::kAttenuationLibType, MakeLibX);

} // namespace
