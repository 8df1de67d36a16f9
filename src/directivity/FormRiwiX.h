#pragma once

// The directivity library editor: the element list of the frame and the pages "Diagram" (polar cuts, a
// colour map for full 3D, the interpolation settings), "Settings" (bands, type, angle step), "Raw samples",
// "Values in angle steps", "Ltot" and "Comment"; the sample wizard; the imports of the DOS file, the older
// tables and spreadsheets (FormRiwiXImport.cpp).

#include "editor/CustomLibForm.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/ExcelImportForm.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/Chart.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Menus.h"
#include "platform/ui/ValueGrid.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace korvel::directivity {

inline constexpr int kDirectivityLibType = 119;

class TFormRiwiX : public TCustomLibForm {
public:
    explicit TFormRiwiX(TLibHost& host);
    ~TFormRiwiX() override;
    std::string_view ClassName() const override { return "TFormRiwiX"; }

    // The element being edited, as read from the current record and changed by the pages.
    acoustic::TDirectivity& Directivity() { return dir_; }

    // --- overrides of the frame
    void MainTableBeforePost(db::TTable& table) override;
    void MainTableNewRecord(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void OpenLibrary(int tabIndex, const std::string& fileName) override;
    void SetReadOnly(int tabIndex, bool readOnly) override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;
    nlohmann::json ElementView() override;
    void ApplyElementView(const nlohmann::json& view) override;
    void RefreshElement() override;

    // --- showing and recomputing
    // Shows the directivity's settings in the settings page.
    void DirToForm();
    // Recomputes dLtot and redraws. fromEdit: an edit caused it (the record gets its change time);
    // rebuildTabs: the bands may have changed; layout: the grids' sizes may have changed.
    void CalcValues0(bool fromEdit, bool rebuildTabs, bool layout);
    // Runs the interpolation the diagram page's settings ask for, when it is offered and not yet done.
    void DoInterpolate();
    void DefineVGSamples();
    void DefineVGDir();
    void DefineVGLtot();

    // --- commands
    void ButtonWizardClick(TComponent& sender);
    // Normalises every band so that its dLtot is 0 dB.
    void Button1Click(TComponent& sender);
    void RGDirTypeClick(TComponent& sender);
    void RGFreqResClick(TComponent& sender);
    void RGStepClick(TComponent& sender);
    void CBBminChange(TComponent& sender);
    void CBBmaxChange(TComponent& sender);
    void InterpolationChange(TComponent& sender);
    void Colors1Click(TComponent& sender);

    // --- imports (FormRiwiXImport.cpp and FormRiwiXExcel.cpp)
    void ImportFile(const std::string& fileName) override;
    std::string GetImportFilter() override;
    // The DOS file RIWIS.DAT: one horizontal directivity per 177-byte record.
    void ImportV42(const std::string& fileName, int& count, int& duplicates);
    // A Paradox table of the older generation: 1 when it was read, 2 otherwise.
    int ImportV64(const std::string& fileName, int& count, int& duplicates);
    // The older tables Riwi.abs (horizontal) and Riwi3D.abs (full 3D). keepNumbers: the target numbering
    // follows the source's.
    void ImportV73(int tabIndex, const std::string& fileName, int& count, int& duplicates, bool keepNumbers);
    // Runs the mapping dialog; returns its modal result.
    int ImportAsciiExcel(const std::string& fileName, int& count, int& duplicates);
    void ImportExcelLine(TExcelImportForm& sender, TImportLineAction& action);
    void SetFreqValue(TFieldNameItem& item, const std::string& text);
    TFieldNameList ImportFieldList();
    // Takes an older Riwi.abs beside an empty library over, keeping its numbers, and adds the fields that
    // later versions brought.
    void CheckUpdate(int tabIndex);

    // --- controls
    TEdit& EditName() const { return *editName_; }
    TPageControl& Pages() const { return *pages_; }
    TTabSheet& PageDiagram() const { return *pageDiagram_; }
    TTabSheet& PageSettings() const { return *pageSettings_; }
    TTabSheet& PageSamples() const { return *pageSamples_; }
    TTabSheet& PageValues() const { return *pageValues_; }
    TTabSheet& PageLtot() const { return *pageLtot_; }
    TTabSheet& PageComment() const { return *pageComment_; }
    TRadioGroup& RGDirType() const { return *rgDirType_; }
    TRadioGroup& RGFreqRes() const { return *rgFreqRes_; }
    TRadioGroup& RGStep() const { return *rgStep_; }
    TComboBox& CBBmin() const { return *cbBmin_; }
    TComboBox& CBBmax() const { return *cbBmax_; }
    TValueGrid& VGSamples() const { return *vgSamples_; }
    TNavigator& NavSamples() const { return *navSamples_; }
    TValueGrid& VGDir() const { return *vgDir_; }
    TTabControl& TabBands() const { return *tabBands_; }
    TValueGrid& VGLtot() const { return *vgLtot_; }
    TButton& ButtonWizard() const { return *buttonWizard_; }
    TButton& ButtonNormalize() const { return *button1_; }
    TPanel& Panel2D() const { return *panel2D_; }
    TPanel& Panel3D() const { return *panel3D_; }
    TRadioGroup& RGSpline() const { return *rgSpline_; }
    TSpinEdit& SETension() const { return *seTension_; }
    TSpinEdit& SEFourier() const { return *seFourier_; }
    TSpinEdit& SEOrder() const { return *seOrder_; }
    TLabel& LabelInterpolation() const { return *labelInterpolation_; }
    TTabControl& TabDiagramBands() const { return *tabDiagramBands_; }
    TChart& ChartPolar() const { return *chartPolar_; }
    TChart& ChartVertical() const { return *chartVertical_; }
    TChart& ChartMap() const { return *chartMap_; }

private:
    void BuildPages();
    void BuildDiagramPage(TTabSheet& page);
    void BuildSettingsPage(TTabSheet& page);
    void BuildSamplesPage(TTabSheet& page);
    void BuildValuesPage(TTabSheet& page);
    void BuildLtotPage(TTabSheet& page);
    void ShowElement();
    void FillBandBoxes();
    void VisiblePanels();
    void DrawDiagram();
    // Interpolates as DoInterpolate does, without the redisplay; true when the grids changed.
    bool InterpolateIfOffered();
    void ReadColors();
    // After an edit of the directivity: the interpolation goes, the values are recomputed.
    void SamplesChanged();
    void VGDirTakeOverEnd(TComponent& sender);
    void InsertSample();
    void DeleteSample();
    // The band item the values page and the diagram show.
    int ValuesBand() const;
    int DiagramBand() const;

    std::string SamplesGetText(int col, int row);
    void SamplesSetText(int col, int row, const std::string& text);
    std::string DirGetText(int col, int row);
    void DirSetText(int col, int row, const std::string& text);
    std::string LtotGetText(int col, int row);

    acoustic::TDirectivity dir_;
    bool showing_ = false;
    int selectedSample_ = 0;
    std::vector<TColor> colors_;                // of the diagram, by colour key
    std::unique_ptr<TListNavTarget> sampleNav_; // drives the sample list from the samples page
    std::vector<int> boxBands_;                 // the band of each item of the two band boxes
    std::vector<std::unique_ptr<TFieldLink>> links_;

    TEdit* editName_ = nullptr;
    TPageControl* pages_ = nullptr;
    TTabSheet* pageDiagram_ = nullptr;
    TTabSheet* pageSettings_ = nullptr;
    TTabSheet* pageSamples_ = nullptr;
    TTabSheet* pageValues_ = nullptr;
    TTabSheet* pageLtot_ = nullptr;
    TTabSheet* pageComment_ = nullptr;
    TMemo* memo_ = nullptr;
    TRadioGroup* rgDirType_ = nullptr;
    TRadioGroup* rgFreqRes_ = nullptr;
    TRadioGroup* rgStep_ = nullptr;
    TComboBox* cbBmin_ = nullptr;
    TComboBox* cbBmax_ = nullptr;
    TLabel* labelBmin_ = nullptr;
    TLabel* labelBmax_ = nullptr;
    TValueGrid* vgSamples_ = nullptr;
    TNavigator* navSamples_ = nullptr;
    TButton* buttonWizard_ = nullptr;
    TValueGrid* vgDir_ = nullptr;
    TTabControl* tabBands_ = nullptr;
    TValueGrid* vgLtot_ = nullptr;
    TButton* button1_ = nullptr;
    TPanel* panel2D_ = nullptr;
    TPanel* panel3D_ = nullptr;
    TRadioGroup* rgSpline_ = nullptr;
    TSpinEdit* seTension_ = nullptr;
    TSpinEdit* seFourier_ = nullptr;
    TSpinEdit* seOrder_ = nullptr;
    TLabel* labelInterpolation_ = nullptr;
    TTabControl* tabDiagramBands_ = nullptr;
    TChart* chartPolar_ = nullptr;
    TChart* chartVertical_ = nullptr;
    TChart* chartMap_ = nullptr;
    TPopupMenu* diagramMenu_ = nullptr;
};

} // namespace korvel::directivity
