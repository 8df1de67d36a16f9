// Building the directivity editor's pages.

#include "directivity/FormRiwiX.h"
#include "platform/ui/LabelledRow.h"

namespace korvel::directivity {

namespace {

TRadioGroup& AddRadioGroup(TControl& parent, const std::string& name, const std::string& caption,
                           std::vector<std::string> items, int columns) {
    auto& group = parent.Add<TRadioGroup>(name);
    group.SetCaption(caption);
    group.SetAlign(alTop);
    group.SetColumns(columns);
    const int rows = (static_cast<int>(items.size()) + columns - 1) / columns;
    group.SetHeight(TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame + 24 * rows);
    group.SetItems(std::move(items));
    return group;
}

TSpinEdit& AddSpin(TControl& parent, const std::string& name, const std::string& caption, int lo, int hi,
                   int value) {
    auto& spin = AddLabelledRow<TSpinEdit>(parent, name, caption, 120);
    spin.SetLimits(lo, hi);
    spin.SetValue(value);
    return spin;
}

} // namespace

void TFormRiwiX::BuildPages() {
    editName_ = &AddLabelledRow<TEdit>(DataArea(), "EditElementName", "Element name", 130);
    editName_->SetMaxLength(40);
    pages_ = &DataArea().Add<TPageControl>("PageControl");
    pages_->SetAlign(alClient);
    pageDiagram_ = &pages_->AddPage("TabDiagram", "Diagram");
    pageSettings_ = &pages_->AddPage("TabSettings", "Settings");
    pageSamples_ = &pages_->AddPage("TabSamples", "Raw samples");
    pageValues_ = &pages_->AddPage("TabValues", "Values in angle steps");
    pageLtot_ = &pages_->AddPage("TabLtot", "Ltot");
    pageComment_ = &pages_->AddPage("TabComment", "Comment");
    BuildDiagramPage(*pageDiagram_);
    BuildSettingsPage(*pageSettings_);
    BuildSamplesPage(*pageSamples_);
    BuildValuesPage(*pageValues_);
    BuildLtotPage(*pageLtot_);
    memo_ = &pageComment_->Add<TMemo>("MemoKommentar");
    memo_->SetAlign(alClient);
}

void TFormRiwiX::BuildDiagramPage(TTabSheet& page) {
    auto& side = page.Add<TPanel>("PanelInterpolation");
    side.SetAlign(alLeft);
    side.SetWidth(230);
    panel2D_ = &side.Add<TPanel>("Panel2D");
    panel2D_->SetAlign(alTop);
    panel2D_->SetHeight(TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame + 24 * 3 + 2 * kRowHeight);
    rgSpline_ =
        &AddRadioGroup(*panel2D_, "RGSpline", "Interpolation", {"Cubic", "Exponential", "Fourier"}, 1);
    rgSpline_->SetItemIndex(0);
    rgSpline_->OnClick = Bind(&TFormRiwiX::InterpolationChange);
    seTension_ = &AddSpin(*panel2D_, "SETension", "Tension parameter", 1, 30, 3);
    seTension_->OnChange = Bind(&TFormRiwiX::InterpolationChange);
    seFourier_ = &AddSpin(*panel2D_, "SEFourier", "Fourier order", 1, 30, 3);
    seFourier_->OnChange = Bind(&TFormRiwiX::InterpolationChange);
    panel3D_ = &side.Add<TPanel>("Panel3D");
    panel3D_->SetAlign(alTop);
    panel3D_->SetHeight(kRowHeight);
    seOrder_ = &AddSpin(*panel3D_, "SEOrder", "Function order", 1, 300, 30);
    seOrder_->OnChange = Bind(&TFormRiwiX::InterpolationChange);
    labelInterpolation_ = &side.Add<TLabel>("LabelInterpolation");
    labelInterpolation_->SetAlign(alTop);
    labelInterpolation_->SetHeight(40);
    labelInterpolation_->SetWordWrap(true);

    tabDiagramBands_ = &page.Add<TTabControl>("TabDiagramBands");
    tabDiagramBands_->SetAlign(alClient);
    tabDiagramBands_->OnChange = [this](TComponent&) {
        DrawDiagram();
    };
    auto& charts = tabDiagramBands_->Add<TPanel>("PanelCharts");
    charts.SetAlign(alClient);
    chartMap_ = &charts.Add<TChart>("ChartMap");
    chartMap_->SetAlign(alBottom);
    chartMap_->SetHeight(260);
    chartVertical_ = &charts.Add<TChart>("ChartVertical");
    chartVertical_->SetAlign(alRight);
    chartVertical_->SetWidth(360);
    chartPolar_ = &charts.Add<TChart>("ChartPolar");
    chartPolar_->SetAlign(alClient);
    diagramMenu_ = &AddPopupMenu("DiagramMenu");
    diagramMenu_->Items().Add("Colors1", "Colors...").OnClick = Bind(&TFormRiwiX::Colors1Click);
    for (TChart* chart : {chartPolar_, chartVertical_, chartMap_})
        chart->SetPopupMenu(diagramMenu_);
}

void TFormRiwiX::BuildSettingsPage(TTabSheet& page) {
    rgFreqRes_ = &AddRadioGroup(page, "RGFreqRes", "Frequency resolution",
                                {"1/3 Octaves", "1/1 Octaves", "Frequency independent"}, 3);
    rgFreqRes_->OnClick = Bind(&TFormRiwiX::RGFreqResClick);
    auto& range = page.Add<TGroupBox>("GroupFrequencyRange");
    range.SetCaption("Frequency range [Hz]");
    range.SetAlign(alTop);
    range.SetHeight(kRowHeight + TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame);
    auto& row = range.Add<TPanel>("PanelRange");
    row.SetAlign(alTop);
    row.SetHeight(kRowHeight);
    labelBmin_ = &row.Add<TLabel>("LabelBmin");
    labelBmin_->SetCaption(">=");
    labelBmin_->SetAlign(alLeft);
    labelBmin_->SetWidth(30);
    cbBmin_ = &row.Add<TComboBox>("CBBmin");
    cbBmin_->SetStyle(csDropDownList);
    cbBmin_->SetAlign(alLeft);
    cbBmin_->SetWidth(110);
    cbBmin_->OnChange = Bind(&TFormRiwiX::CBBminChange);
    labelBmax_ = &row.Add<TLabel>("LabelBmax");
    labelBmax_->SetCaption("<=");
    labelBmax_->SetAlign(alLeft);
    labelBmax_->SetWidth(30);
    cbBmax_ = &row.Add<TComboBox>("CBBmax");
    cbBmax_->SetStyle(csDropDownList);
    cbBmax_->SetAlign(alLeft);
    cbBmax_->SetWidth(110);
    cbBmax_->OnChange = Bind(&TFormRiwiX::CBBmaxChange);
    rgDirType_ = &AddRadioGroup(page, "RGDirType", "Directivity type",
                                {"Horizontal", "Rotationally symmetric", "Full 3D"}, 3);
    rgDirType_->OnClick = Bind(&TFormRiwiX::RGDirTypeClick);
    rgStep_ = &AddRadioGroup(page, "RGStep", "Angle step", {"5 [deg]", "10 [deg]"}, 2);
    rgStep_->OnClick = Bind(&TFormRiwiX::RGStepClick);
}

void TFormRiwiX::BuildSamplesPage(TTabSheet& page) {
    auto& bar = page.Add<TPanel>("PanelSamplesBar");
    bar.SetAlign(alTop);
    bar.SetHeight(kRowHeight);
    navSamples_ = &bar.Add<TNavigator>("NavSamples");
    navSamples_->SetAlign(alLeft);
    navSamples_->SetWidth(60);
    navSamples_->SetVisibleButtons({nbInsert, nbDelete});
    navSamples_->SetConfirmDelete(false);
    buttonWizard_ = &bar.Add<TButton>("ButtonWizard");
    buttonWizard_->SetCaption("Wizard");
    buttonWizard_->SetAlign(alLeft);
    buttonWizard_->SetWidth(90);
    buttonWizard_->OnClick = Bind(&TFormRiwiX::ButtonWizardClick);
    vgSamples_ = &page.Add<TValueGrid>("VGSamples");
    vgSamples_->SetAlign(alClient);
    vgSamples_->SetDefaultColWidth(64);
    vgSamples_->SetDefaultRowHeight(22);
    vgSamples_->OnGetText = [this](int col, int row) {
        return SamplesGetText(col, row);
    };
    vgSamples_->OnSetText = [this](int col, int row, const std::string& text) {
        SamplesSetText(col, row, text);
    };
    vgSamples_->OnSelectCell = [this](TComponent&, int, int row, bool&) {
        selectedSample_ = row - vgSamples_->FixedRows();
        DrawDiagram();
    };
}

void TFormRiwiX::BuildValuesPage(TTabSheet& page) {
    tabBands_ = &page.Add<TTabControl>("TabBands");
    tabBands_->SetAlign(alClient);
    tabBands_->OnChange = [this](TComponent&) {
        vgDir_->Invalidate();
    };
    vgDir_ = &tabBands_->Add<TValueGrid>("VGDir");
    vgDir_->SetAlign(alClient);
    vgDir_->SetDefaultColWidth(48);
    vgDir_->SetDefaultRowHeight(22);
    vgDir_->OnGetText = [this](int col, int row) {
        return DirGetText(col, row);
    };
    vgDir_->OnSetText = [this](int col, int row, const std::string& text) {
        DirSetText(col, row, text);
    };
    vgDir_->OnTakeOverEnd = Bind(&TFormRiwiX::VGDirTakeOverEnd);
}

void TFormRiwiX::BuildLtotPage(TTabSheet& page) {
    auto& bar = page.Add<TPanel>("PanelLtotBar");
    bar.SetAlign(alTop);
    bar.SetHeight(kRowHeight);
    button1_ = &bar.Add<TButton>("Button1");
    button1_->SetCaption("Normalize directivity (for each frequency), so that dLtot = 0 dB");
    button1_->SetAlign(alLeft);
    button1_->SetWidth(440);
    button1_->OnClick = Bind(&TFormRiwiX::Button1Click);
    vgLtot_ = &page.Add<TValueGrid>("VGLtot");
    vgLtot_->SetAlign(alClient);
    vgLtot_->SetDefaultColWidth(110);
    vgLtot_->SetDefaultRowHeight(22);
    vgLtot_->SetEditing(false);
    vgLtot_->OnGetText = [this](int col, int row) {
        return LtotGetText(col, row);
    };
}

} // namespace korvel::directivity
