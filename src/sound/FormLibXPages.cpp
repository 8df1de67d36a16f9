// The controls of the sound library editor: element settings above, pages for values, groups, comment,
// formula, characteristics and linked documents below, the element filter at the bottom.

#include "platform/acoustic/AddProp.h"
#include "platform/ui/LabelledRow.h"
#include "sound/FormLibX.h"

namespace korvel::sound {

using namespace acoustic;

namespace {

constexpr int kLabelWidth = 160;

template <class T> T& Row(TControl& parent, const std::string& name, const std::string& caption) {
    return AddLabelledRow<T>(parent, name, caption, kLabelWidth);
}

TComboBox& ListRow(TControl& parent, const std::string& name, const std::string& caption) {
    auto& box = Row<TComboBox>(parent, name, caption);
    box.SetStyle(csDropDownList);
    return box;
}

TButton& AddButton(TControl& parent, const std::string& name, const std::string& caption, TAlign align,
                   int width = 150) {
    auto& b = parent.Add<TButton>(name);
    b.SetCaption(caption);
    b.SetAlign(align);
    b.SetWidth(width);
    b.SetHeight(kRowHeight);
    return b;
}

} // namespace

void TFormLibX::BuildPages() {
    TPanel& area = DataArea();
    // The filter sits at the bottom, the element settings at the top, the pages take the rest.
    BuildFilterPanel(area);
    BuildSettingsPanel(area);
    pages_ = &area.Add<TPageControl>("PageControl");
    pages_->SetAlign(alClient);
    pageValues_ = &pages_->AddPage("TabValues", "Values");
    pageGroups_ = &pages_->AddPage("TabGroups", "Groups");
    TTabSheet& comment = pages_->AddPage("TabComment", "Comment");
    pageFormula_ = &pages_->AddPage("TabFormula", "Formula");
    pageCharacteristics_ = &pages_->AddPage("TabCharacteristics", "Characteristics");
    pageOle_[0] = &pages_->AddPage("TabOLE1", "OLE1");
    pageOle_[1] = &pages_->AddPage("TabOLE2", "OLE2");
    BuildValuesPage(*pageValues_);
    BuildGroupsPage(*pageGroups_);
    auto& memo = comment.Add<TMemo>("MemoKommentar");
    memo.SetAlign(alClient);
    BuildFormulaPage(*pageFormula_);
    BuildCharacteristicsPage(*pageCharacteristics_);
    BuildLinkPage(*pageOle_[0], 0);
    BuildLinkPage(*pageOle_[1], 1);
    BuildGridMenu();
    if (LibType() != kEmissionLibType)
        pageFormula_->SetTabVisible(false);
}

void TFormLibX::BuildSettingsPanel(TControl& parent) {
    panelSettings_ = &parent.Add<TPanel>("PanelSettings");
    panelSettings_->SetAlign(alTop);
    panelSettings_->SetHeight(7 * kRowHeight + 8);

    auto& nameRow = panelSettings_->Add<TPanel>("PanelNameRow");
    nameRow.SetAlign(alTop);
    nameRow.SetHeight(kRowHeight);
    btnColor_ = &AddButton(nameRow, "BtnElementColor", "Color...", alRight, 90);
    btnColor_->OnClick = Bind(&TFormLibX::ElementColorClick);
    editName_ = &Row<TEdit>(nameRow, "EditElementName", "Element name");
    editName_->Parent()->SetAlign(alClient);
    editName_->SetMaxLength(40);

    auto& left = panelSettings_->Add<TPanel>("PanelSettingsLeft");
    left.SetAlign(alLeft);
    left.SetWidth(380);
    auto& right = panelSettings_->Add<TPanel>("PanelSettingsRight");
    right.SetAlign(alClient);

    cbSpecType_ = &ListRow(left, "CBSpecType", "Spectrum type");
    cbSpecType_->OnChange = Bind(&TFormLibX::CBSpecTypeChange);
    cbBmin_ = &ListRow(left, "CBBmin", "Lower band");
    cbBmin_->OnChange = Bind(&TFormLibX::CBBandChange);
    cbBmax_ = &ListRow(left, "CBBmax", "Upper band");
    cbBmax_->OnChange = Bind(&TFormLibX::CBBandChange);
    cbdBX_ = &ListRow(left, "CBdBX", "Weighting");
    cbdBX_->SetItems({"dB(A)", "dB(B)", "dB(C)", "dB(D)", "dB"});
    cbdBX_->OnChange = Bind(&TFormLibX::CBdBXChange);
    cbEmisRef_ = &ListRow(left, "CBEmisRef", "Reference");
    cbEmisRef_->OnChange = Bind(&TFormLibX::CBEmisRefChange);
    cbTransType_ = &ListRow(left, "CBTransType", "Transmission type");
    cbTransType_->SetItems({std::string(TransTypeStr[0]), std::string(TransTypeStr[1])});
    cbTransType_->OnChange = Bind(&TFormLibX::CBTransTypeChange);

    cbEntryType_ = &ListRow(right, "CBEntryType", "Entry type");
    std::vector<std::string> entries(EmisEntryStr.begin(), EmisEntryStr.end());
    cbEntryType_->SetItems(entries);
    cbEntryType_->OnChange = Bind(&TFormLibX::CBEntryTypeChange);
    cbBAFCompType_ = &ListRow(left, "CBBAFCompType", "BA Outside element type");
    std::vector<std::string> outside;
    for (const auto& t : OutsideElementTypes())
        outside.emplace_back(t.Name);
    cbBAFCompType_->SetItems(outside);
    cbBAFCompType_->OnChange = Bind(&TFormLibX::CBBAFCompTypeChange);
    cbDirectivity_ = &ListRow(right, "CBDirectivity", "Directivity");
    cbDirectivity_->OnChange = Bind(&TFormLibX::CBDirectivityChange);
    btnDirectivity_ = &AddButton(*cbDirectivity_->Parent(), "BtnDirectivity", "...", alRight, 32);
    btnDirectivity_->SetHint("Choose a directivity from the directivity library");
    btnDirectivity_->OnClick = Bind(&TFormLibX::DirectivityEditClick);
    editHeight_ = &Row<TEdit>(right, "EditHeight", "Height above ground [m]");
    editSigma_ = &Row<TEdit>(right, "EditSigma", "Standard deviation [dB]");

    const bool emission = LibType() == kEmissionLibType;
    for (TControl* c : std::initializer_list<TControl*>{cbdBX_, cbEmisRef_, cbEntryType_, cbDirectivity_,
                                                        editHeight_, editSigma_})
        c->Parent()->SetVisible(emission);
    cbTransType_->Parent()->SetVisible(LibType() == kTransmissionLibType);
    cbBAFCompType_->Parent()->SetVisible(LibType() == kTransmissionLibType);
}

void TFormLibX::BuildValuesPage(TTabSheet& page) {
    auto& top = page.Add<TPanel>("PanelValues");
    top.SetAlign(alTop);
    top.SetHeight(4 * 24 + 8);
    btnScattering_ =
        &AddButton(top, "BtnScattering", "Estimate scattering coefficient from roughness..", alBottom);
    btnScattering_->OnClick = Bind(&TFormLibX::Calculatescatteringfromroughness1Click);
    vg_ = &top.Add<TValueGrid>("VG");
    vg_->SetAlign(alClient);
    vg_->OnGetText = [this](int c, int r) {
        return VGGetColValue(c, r);
    };
    vg_->OnSetText = [this](int c, int r, const std::string& t) {
        VGSetColValue(c, r, t);
    };
    vg_->OnGetCellStyle = [this](int c, int r, TCellStyle& s) {
        VGCellStyle(c, r, s);
    };

    panelGraphic_ = &page.Add<TPanel>("PanelGraphic");
    panelGraphic_->SetAlign(alClient);
    TPanel& picture = CreatePictureField(*panelGraphic_, "Graphic");
    picture.SetAlign(alRight);
    picture.SetWidth(200);
    graph_ = &panelGraphic_->Add<TChart>("Graph");
    graph_->SetAlign(alClient);
    graph_->SetLegendVisible(true);
}

void TFormLibX::BuildGroupsPage(TTabSheet& page) {
    auto& available = page.Add<TGroupBox>("GroupAvailable");
    available.SetCaption("Available groups");
    available.SetAlign(alLeft);
    available.SetWidth(260);
    // Groups are made, renamed and deleted with their own navigator.
    navGroups_ = &available.Add<TNavigator>("NavGroups");
    navGroups_->SetAlign(alBottom);
    navGroups_->SetVisibleButtons({nbInsert, nbDelete, nbEdit, nbPost, nbCancel});
    navGroups_->SetConfirmDelete(false);
    navGroups_->SetTarget(&groupSource_);
    editGroupName_ = &AddLabelledRow<TEdit>(available, "EditGroupName", "Group name", 90);
    editGroupName_->Parent()->SetAlign(alBottom);
    editGroupName_->SetMaxLength(40);
    lbAvailable_ = &available.Add<TListBox>("LBAvailableGroups");
    lbAvailable_->SetAlign(alClient);
    lbAvailable_->OnClick = Bind(&TFormLibX::AvailableGroupClick);

    auto& buttons = page.Add<TPanel>("PanelGroupButtons");
    buttons.SetAlign(alLeft);
    buttons.SetWidth(60);
    btnAddGroup_ = &AddButton(buttons, "BtnAddGroup", ">", alTop, 60);
    btnAddGroup_->SetHint("Add the group to the element");
    btnAddGroup_->OnClick = Bind(&TFormLibX::AddGroupClick);
    btnRemoveGroup_ = &AddButton(buttons, "BtnRemoveGroup", "<", alTop, 60);
    btnRemoveGroup_->SetHint("Remove the selected groups from the element");
    btnRemoveGroup_->OnClick = Bind(&TFormLibX::RemoveGroupClick);

    auto& selected = page.Add<TGroupBox>("GroupSelected");
    selected.SetCaption("Selected groups");
    selected.SetAlign(alClient);
    lbSelected_ = &selected.Add<TListBox>("LBSelectedGroups");
    lbSelected_->SetAlign(alClient);
    lbSelected_->SetMultiSelect(true);
}

void TFormLibX::BuildFormulaPage(TTabSheet& page) {
    auto listPanel = [&](const std::string& name, const std::string& caption, TValueGrid*& grid,
                         const std::string& predefinedCaption) -> TGroupBox& {
        auto& box = page.Add<TGroupBox>("Group" + name);
        box.SetCaption(caption);
        box.SetAlign(alTop);
        box.SetHeight(130);
        auto& bar = box.Add<TPanel>("Panel" + name + "Buttons");
        bar.SetAlign(alTop);
        bar.SetHeight(kRowHeight);
        AddButton(bar, "BtnAddUser" + name, "Add user variable", alLeft).OnClick =
            Bind(&TFormLibX::AddUserVariableClick);
        AddButton(bar, "BtnAddPredefined" + name, predefinedCaption, alLeft, 170).OnClick =
            Bind(&TFormLibX::AddPredefinedVariableClick);
        AddButton(bar, "BtnDelete" + name, "Delete variable", alLeft).OnClick =
            Bind(&TFormLibX::DeleteVariableClick);
        grid = &box.Add<TValueGrid>("VG" + name);
        grid->SetAlign(alClient);
        return box;
    };
    listPanel("VariableIn", "Input variables", vgVarIn_, "Add Predefined variable");
    listPanel("VariableOut", "Output variables", vgVarOut_, "Add predefined variable");
    listPanel("VarLocal", "Local variables", vgVarLocal_, "Add predefined variable");
    // The buttons know their grid by tag: 0 input, 1 output, 2 local.
    int tag = 0;
    for (const char* name : {"VariableIn", "VariableOut", "VarLocal"}) {
        for (const std::string prefix : {"BtnAddUser", "BtnAddPredefined", "BtnDelete"})
            if (TControl* b = page.FindControl(prefix + name))
                b->SetTag(tag);
        ++tag;
    }

    auto& bottom = page.Add<TPanel>("PanelFormula");
    bottom.SetAlign(alClient);
    auto& bar = bottom.Add<TPanel>("PanelCalculate");
    bar.SetAlign(alBottom);
    bar.SetHeight(kRowHeight);
    AddButton(bar, "BtnCalculate", "Calculate", alLeft, 100).OnClick = Bind(&TFormLibX::CalculateClick);
    labelFormulaMsg_ = &bar.Add<TLabel>("LabelFormulaMessage");
    labelFormulaMsg_->SetAlign(alClient);
    memoFormula_ = &bottom.Add<TMemo>("MemoFormula");
    memoFormula_->SetAlign(alClient);
    memoFormula_->OnChange = Bind(&TFormLibX::MemoFormulaChange);
}

void TFormLibX::BuildCharacteristicsPage(TTabSheet& page) {
    vgProps_ = &page.Add<TValueGrid>("VGProps");
    vgProps_->SetAlign(alClient);
    vgProps_->OnGetText = [this](int c, int r) {
        return PropsGetText(c, r);
    };
    vgProps_->OnSetText = [this](int c, int r, const std::string& t) {
        PropsSetText(c, r, t);
    };
    vgProps_->OnGetCellStyle = [this](int c, int r, TCellStyle& s) {
        if (c == 0 && r >= 1)
            for (const auto& d : propDefs_.Items)
                s.PickList.push_back(d.Name);
        if (c == 2)
            s.Editable = false;
    };
}

void TFormLibX::BuildLinkPage(TTabSheet& page, int slot) {
    auto& bar = page.Add<TPanel>("PanelLink" + std::to_string(slot + 1));
    bar.SetAlign(alTop);
    bar.SetHeight(kRowHeight);
    AddButton(bar, "BtnLinkLoad" + std::to_string(slot + 1), "Load...", alLeft, 90).SetTag(slot);
    dynamic_cast<TButton&>(*bar.FindControl("BtnLinkLoad" + std::to_string(slot + 1))).OnClick =
        Bind(&TFormLibX::LinkLoadClick);
    auto& remove = AddButton(bar, "BtnLinkRemove" + std::to_string(slot + 1), "Remove", alLeft, 90);
    remove.SetTag(slot);
    remove.OnClick = Bind(&TFormLibX::LinkRemoveClick);
    labelLink_[static_cast<std::size_t>(slot)] = &page.Add<TLabel>("LabelLink" + std::to_string(slot + 1));
    labelLink_[static_cast<std::size_t>(slot)]->SetAlign(alClient);
    labelLink_[static_cast<std::size_t>(slot)]->SetWordWrap(true);
}

void TFormLibX::BuildFilterPanel(TControl& parent) {
    auto& box = parent.Add<TGroupBox>("GroupFilter");
    box.SetCaption("Filter");
    box.SetAlign(alBottom);
    box.SetHeight(2 * kRowHeight + 24);
    auto& row1 = box.Add<TPanel>("PanelFilterGroups");
    row1.SetAlign(alTop);
    row1.SetHeight(kRowHeight);
    cbFilterEnabled_ = &row1.Add<TCheckBox>("CBFilterEnabled");
    cbFilterEnabled_->SetCaption("Filter on");
    cbFilterEnabled_->SetAlign(alLeft);
    cbFilterEnabled_->SetWidth(90);
    cbFilterGroup1_ = &row1.Add<TComboBox>("CBFilterGroup1");
    cbFilterGroup1_->SetStyle(csDropDownList);
    cbFilterGroup1_->SetAlign(alLeft);
    cbFilterGroup1_->SetWidth(180);
    cbFilterOperator_ = &row1.Add<TComboBox>("CBFilterOperator");
    cbFilterOperator_->SetStyle(csDropDownList);
    cbFilterOperator_->SetItems({std::string(LogOperatorStr[0]), std::string(LogOperatorStr[1])});
    cbFilterOperator_->SetAlign(alLeft);
    cbFilterOperator_->SetWidth(70);
    cbFilterGroup2_ = &row1.Add<TComboBox>("CBFilterGroup2");
    cbFilterGroup2_->SetStyle(csDropDownList);
    cbFilterGroup2_->SetAlign(alLeft);
    cbFilterGroup2_->SetWidth(180);

    auto& row2 = box.Add<TPanel>("PanelFilterRange");
    row2.SetAlign(alTop);
    row2.SetHeight(kRowHeight);
    auto label = [&](const std::string& name, const std::string& caption, int width) {
        auto& l = row2.Add<TLabel>(name);
        l.SetCaption(caption);
        l.SetAlign(alLeft);
        l.SetWidth(width);
    };
    label("LabelFilterMin", "Over-all from", 90);
    editFilterMin_ = &row2.Add<TEdit>("EditFilterMin");
    editFilterMin_->SetAlign(alLeft);
    editFilterMin_->SetWidth(70);
    label("LabelFilterMax", " to", 30);
    editFilterMax_ = &row2.Add<TEdit>("EditFilterMax");
    editFilterMax_->SetAlign(alLeft);
    editFilterMax_->SetWidth(70);
    label("LabelFilterText", "  Text", 50);
    editFilterText_ = &row2.Add<TEdit>("EditFilterText");
    editFilterText_->SetAlign(alClient);
    editFilterText_->SetMaxLength(80);

    for (TComboBox* c : {cbFilterGroup1_, cbFilterGroup2_, cbFilterOperator_})
        c->OnChange = Bind(&TFormLibX::FilterChange);
    cbFilterEnabled_->OnClick = Bind(&TFormLibX::FilterChange);
    for (TEdit* e : {editFilterMin_, editFilterMax_, editFilterText_})
        e->OnChange = Bind(&TFormLibX::FilterChange);
}

void TFormLibX::BuildGridMenu() {
    vgMenu_ = &AddPopupMenu("VGMenu");
    TMenuItem& items = vgMenu_->Items();
    items.Add("VGPaste", "Paste").OnClick = Bind(&TFormLibX::PasteClick);
    items.Add("VGEditSum", "Edit sum...").OnClick = Bind(&TFormLibX::Editsum1Click);
    items.Add("VGLpToLw", "Convert sound pressure to sound power...").OnClick =
        Bind(&TFormLibX::CalculateLwfromLp1Click);
    items.Add("VGFlowResistivity", "Calculate alpha values from flow resistivity..").OnClick =
        Bind(&TFormLibX::Calculatealphavaluesfromflowresistivity1Click);
    items.Add("VGScattering", "Estimate scattering coefficient from roughness..").OnClick =
        Bind(&TFormLibX::Calculatescatteringfromroughness1Click);
    vgMenu_->OnPopup = Bind(&TFormLibX::VGMenuPopup);
    vg_->SetPopupMenu(vgMenu_);

    TMenuItem* edit = MainMenu() ? MainMenu()->FindItem("MenuEdit") : nullptr;
    if (edit) {
        edit->AddSeparator();
        edit->Add("EditSum", "Edit sum...").OnClick = Bind(&TFormLibX::Editsum1Click);
    }
    if (TMenuItem* view = MainMenu() ? MainMenu()->FindItem("MenuView") : nullptr)
        view->Add("SpectrumColors", "Colors...").OnClick = Bind(&TFormLibX::ColorsClick);
}

} // namespace korvel::sound
