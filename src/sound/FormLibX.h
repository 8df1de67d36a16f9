#pragma once

// The sound library editor: emission (120), absorption (121), transmission (122) and attenuation (123)
// spectra with their groups, weighting, ratings, formula entries, element filter, linked documents and
// additional properties. One class serves the four kinds; the kind is fixed when the editor is made.

#include "editor/CustomLibForm.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/ExcelImportForm.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/Chart.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Menus.h"
#include "platform/ui/ValueGrid.h"
#include "sound/DirectivityList.h"
#include "sound/ElementFilter.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace korvel::sound {

// A number typed into the editor, with '.' or ',' as decimal separator; empty text is "no value"
// (kEmptyBandLevel). Anything else throws EKorvelError naming the text.
double ParseGridNumber(const std::string& text);

class TFormLibX : public TCustomLibForm {
public:
    TFormLibX(TLibHost& host, int libType);
    ~TFormLibX() override;
    std::string_view ClassName() const override { return "TFormLibX"; }

    // Sets the type, restores the layout settings and opens the folders up to index high.
    void OpenLibType(const std::vector<std::string>& folders, int high, int libType, bool createMissing);

    acoustic::TCustomLibSpectrum& Spectrum() { return *spectrum_; }
    acoustic::TEmisLibSpectrum* Emission() {
        return dynamic_cast<acoustic::TEmisLibSpectrum*>(spectrum_.get());
    }
    acoustic::TAbsoLibSpectrum* Absorption() {
        return dynamic_cast<acoustic::TAbsoLibSpectrum*>(spectrum_.get());
    }
    acoustic::TTransLibSpectrum* Transmission() {
        return dynamic_cast<acoustic::TTransLibSpectrum*>(spectrum_.get());
    }
    // The last formula result (entry types 1 and 2), or nullptr.
    const acoustic::TEmisLibSpectrum* FormulaResult() const { return formulaResult_.get(); }

    // --- overrides of the frame
    int AddIndex(TLibPathType pathType) override;
    void MainTableBeforePost(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void OpenLibrary(int tabIndex, const std::string& fileName) override;
    void SetReadOnly(int tabIndex, bool readOnly) override;
    std::string GetImportFilter() override;
    std::string GetFilterName() override;
    std::string GetCaptionString() override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;
    void BulkWorkBegins(int tabIndex) override;
    void BulkWorkEnds(int tabIndex) override;
    void BulkWorkUndone(int tabIndex) override;
    void CreateNewLibrary(int tabIndex, const std::string& fileName) override;
    nlohmann::json ElementView() override;
    void ApplyElementView(const nlohmann::json& view) override;
    void RefreshElement() override;
    bool SwitchElementFilterOff() override;
    // Opens the folder alone so that its older library files are carried over.
    void OpenForConversion(const std::string& folder) override;

    // --- element
    // After every edit: transmission spectra are rated again, the colour is taken, the record is put in edit
    // state with its change time, and the grid and graph are redrawn.
    void SetChanged();
    void DoSpectrumTypeChange(acoustic::TSpecType type);

    // --- groups
    // The number of the group of that name in the tab's group table; 0 when there is none.
    int GetGroupNo(int tabIndex, const std::string& name);
    // The number of the group of that name, appending the group when it is missing (imports, copies).
    int SetGroupValue(int tabIndex, const std::string& name);
    std::string GroupName(int tabIndex, int number);
    std::vector<std::string> ReadGrTableToStringList(int tabIndex);
    void AddGroupClick(TComponent& sender);
    void RemoveGroupClick(TComponent& sender);

    // --- filter
    const TFilterRec& Filter() const { return filter_; }
    void FilterChange(TComponent& sender);
    void SetFilterSettings(int tabIndex, const TFilterRec& rec);
    void FilterString(int tabIndex, const TFilterRec& rec);
    // The per-record text test of a filter text on the record's comment and name.
    static bool MainTableFilterRecord(db::TTable& table, const std::string& text);
    void AddFilterGroupItems(int tabIndex);

    // --- imports (FormLibXImport.cpp): the import command by file type, with the summary in the log.
    void ImportFile(const std::string& fileName) override;

    // DOS generation (FormLibXDosImport.cpp): the index file the person picked, with the data and group
    // files beside it.
    void ImportV42(const std::string& fileName, int& count, int& duplicates);
    // Appends the group names of the DOS group file the library lacks; returns every record's name, empty
    // names kept so that record numbers stay aligned (none when the file cannot be read or the library has
    // no group table).
    std::vector<std::string> ImportDosGroupTable(const std::string& fileName);

    // Table generation (FormLibXTableImport.cpp). keepNumbers: the target numbering follows the source's.
    // fromUpdate: the import fills a library that is being brought up to date on opening.
    void ImportV73(int tabIndex, const std::string& fileName, int& count, int& duplicates, bool keepNumbers,
                   bool fromUpdate);
    // A Paradox table of the older generation: 1 when it was read, 2 otherwise.
    int ImportV64(const std::string& fileName, int& count, int& duplicates);
    void ImportV73GroupTable(int tabIndex, db::TTable& groupTable);

    // Schema update on opening (FormLibXUpdate.cpp).
    void CheckUpdate(int tabIndex);

    // Spreadsheets and text tables (FormLibXExcel.cpp).
    TFieldNameList ImportFieldList(const std::string& fileName);
    // Runs the mapping dialog; returns its modal result.
    int ImportAsciiExcel(const std::string& fileName, int& count, int& duplicates);
    void ImportExcelLine(TExcelImportForm& sender, TImportLineAction& action);
    void SetWeightingValue(TFieldNameItem& item, const std::string& cellText);
    void SetReferenceValue(TFieldNameItem& item, const std::string& cellText);
    void SetEntryTypeValue(TFieldNameItem& item, const std::string& cellText);
    void SetGroupValue(TFieldNameItem& item, const std::string& cellText);
    void SetBitMapFileName(TFieldNameItem& item, const std::string& cellText);

    // Export of the current tab (FormLibXExport.cpp).
    void ExcelExport1Click(TComponent& sender);
    // Returns the number of elements written; an element that cannot be read is reported and left out.
    int ExportToExcel(const std::string& fileName);

    // Loudspeaker files (FormLibXClf.cpp): true when an element was added.
    bool Import_CLF(const std::string& fileName);

    // --- commands
    void Editsum1Click(TComponent& sender);
    void CBdBXChange(TComponent& sender);
    void CBTransTypeChange(TComponent& sender);
    void CBEmisRefChange(TComponent& sender);
    void CBEntryTypeChange(TComponent& sender);
    void CBBAFCompTypeChange(TComponent& sender);
    void CBSpecTypeChange(TComponent& sender);
    void CBBandChange(TComponent& sender);
    void CBDirectivityChange(TComponent& sender);
    void DirectivityEditClick(TComponent& sender);
    void ColorsClick(TComponent& sender);
    void ElementColorClick(TComponent& sender);
    void LinkLoadClick(TComponent& sender);
    void LinkRemoveClick(TComponent& sender);
    void CalculateLwfromLp1Click(TComponent& sender);
    void Calculatealphavaluesfromflowresistivity1Click(TComponent& sender);
    void Calculatescatteringfromroughness1Click(TComponent& sender);
    void CalculateClick(TComponent& sender);
    void AddUserVariableClick(TComponent& sender);
    void AddPredefinedVariableClick(TComponent& sender);
    void DeleteVariableClick(TComponent& sender);
    void MemoFormulaChange(TComponent& sender);

    // --- controls
    TEdit& EditName() const { return *editName_; }
    TValueGrid& VG() const { return *vg_; }
    TChart& Graph() const { return *graph_; }
    TComboBox& CBSpecType() const { return *cbSpecType_; }
    TComboBox& CBBmin() const { return *cbBmin_; }
    TComboBox& CBBmax() const { return *cbBmax_; }
    TComboBox& CBdBX() const { return *cbdBX_; }
    TComboBox& CBEmisRef() const { return *cbEmisRef_; }
    TComboBox& CBEntryType() const { return *cbEntryType_; }
    TComboBox& CBTransType() const { return *cbTransType_; }
    TComboBox& CBBAFCompType() const { return *cbBAFCompType_; }
    TComboBox& CBDirectivity() const { return *cbDirectivity_; }
    TEdit& EditHeight() const { return *editHeight_; }
    TEdit& EditSigma() const { return *editSigma_; }
    TPageControl& Pages() const { return *pages_; }
    TTabSheet& PageFormula() const { return *pageFormula_; }
    TTabSheet& PageCharacteristics() const { return *pageCharacteristics_; }
    TTabSheet& PageOle(int i) const { return *pageOle_[static_cast<std::size_t>(i)]; }
    TListBox& LBAvailableGroups() const { return *lbAvailable_; }
    TListBox& LBSelectedGroups() const { return *lbSelected_; }
    TButton& BtnAddGroup() const { return *btnAddGroup_; }
    TNavigator& NavGroups() const { return *navGroups_; }
    TEdit& EditGroupName() const { return *editGroupName_; }
    TButton& BtnRemoveGroup() const { return *btnRemoveGroup_; }
    TValueGrid& VGProps() const { return *vgProps_; }
    TValueGrid& VGVariableIn() const { return *vgVarIn_; }
    TValueGrid& VGVariableOut() const { return *vgVarOut_; }
    TValueGrid& VGVarLocal() const { return *vgVarLocal_; }
    TMemo& MemoFormula() const { return *memoFormula_; }
    TLabel& LabelFormulaMessage() const { return *labelFormulaMsg_; }
    TPopupMenu& VGMenu() const { return *vgMenu_; }
    TButton& BtnScattering() const { return *btnScattering_; }
    TCheckBox& CBFilterEnabled() const { return *cbFilterEnabled_; }
    TComboBox& CBFilterGroup1() const { return *cbFilterGroup1_; }
    TComboBox& CBFilterGroup2() const { return *cbFilterGroup2_; }
    TComboBox& CBFilterOperator() const { return *cbFilterOperator_; }
    TEdit& EditFilterMin() const { return *editFilterMin_; }
    TEdit& EditFilterMax() const { return *editFilterMax_; }
    TEdit& EditFilterText() const { return *editFilterText_; }
    TPanel& PanelGraphic() const { return *panelGraphic_; }
    TLabel& LabelLinkedFile(int i) const { return *labelLink_[static_cast<std::size_t>(i)]; }

protected:
    void LibrariesClosing() override;

private:
    // Building the pages (FormLibXPages.cpp).
    void BuildPages();
    void BuildSettingsPanel(TControl& parent);
    void BuildValuesPage(TTabSheet& page);
    void BuildGroupsPage(TTabSheet& page);
    void BuildFormulaPage(TTabSheet& page);
    void BuildCharacteristicsPage(TTabSheet& page);
    void BuildLinkPage(TTabSheet& page, int slot);
    void BuildFilterPanel(TControl& parent);
    void BuildGridMenu();

    // Showing (FormLibX.cpp).
    void ShowElement();
    void FillBandBoxes();
    void VisibleSettings();
    void FillReferenceBox();
    void FillDirectivityBox();
    void UpdateOptionalControls();
    void ShowGroups();
    // Binds the group navigator and name to the current tab's group table.
    void BindGroupTable();
    void AvailableGroupClick(TComponent& sender);
    void ShowLinks();
    std::string ListTitle() const;

    // Value grid and graph (FormLibXGrid.cpp).
    void DefineVG();
    std::string VGGetColValue(int col, int row);
    void VGSetColValue(int col, int row, const std::string& text);
    void VGCellStyle(int col, int row, TCellStyle& style);
    void DrawGraph();
    int LeadingColumns() const;
    int BandOfColumn(int col) const;
    void VGMenuPopup(TComponent& sender);
    void PasteClick(TComponent& sender);

    // Additional properties grid.
    void DefinePropsGrid();
    std::string PropsGetText(int col, int row);
    void PropsSetText(int col, int row, const std::string& text);

    // Formula page (FormLibXFormula.cpp).
    void InitVGVariable(TValueGrid& grid, formula::TVarList& list);
    void InitVGVarLocal();
    void DefineFormulaGrids();
    // The variable grid a button serves, by the button's tag: 0 input, 1 output, 2 local.
    TValueGrid* GridOfTag(int tag) const;
    formula::TVarList* ListOfGrid(const TValueGrid& grid);
    std::string VarGetText(formula::TVarList& list, int col, int row, bool local);
    void VarSetText(formula::TVarList& list, int col, int row, const std::string& text, bool local);
    void EnsureOutputVariable();
    std::string OutputContext() const;
    void Calculate();

    // What bulk work on a tab keeps (BulkWorkBegins): the numbers of groups it looked up or appended, by
    // the exact name asked for, and the names of group numbers it read, so that each element does not
    // search the group table again; and whether it stored elements, so the filter is applied once at the end.
    struct TGroupMemo {
        int Users = 0;
        bool Stored = false;
        std::unordered_map<std::string, int> Numbers;
        std::unordered_map<int, std::string> Names;
    };
    TGroupMemo* GroupMemo(int tabIndex);
    void RememberGroup(int tabIndex, const std::string& name, int number);

    // Copying (FormLibXCopy.cpp).
    int MapDirectivity(TFormLibX& target, int dstTab, int srcTab, int number);
    void CopyLinkedFiles(const acoustic::TCustomLibSpectrum& element, const std::string& srcFolder,
                         const std::string& dstFolder, const std::string& name);

    std::unique_ptr<acoustic::TCustomLibSpectrum> spectrum_;
    std::unique_ptr<acoustic::TEmisLibSpectrum> formulaResult_;
    acoustic::TAddPropDefList propDefs_;
    std::vector<std::unique_ptr<TDirectivityList>> directivities_;
    TFilterRec filter_;
    bool showing_ = false;
    std::unordered_map<int, TGroupMemo> groupMemos_;

    TEdit* editName_ = nullptr;
    std::vector<std::unique_ptr<TFieldLink>> links_;
    TPanel* panelSettings_ = nullptr;
    TComboBox* cbSpecType_ = nullptr;
    TComboBox* cbBmin_ = nullptr;
    TComboBox* cbBmax_ = nullptr;
    std::vector<int> boxBands_; // the band of each item of the two band boxes
    TComboBox* cbdBX_ = nullptr;
    TComboBox* cbEmisRef_ = nullptr;
    TComboBox* cbEntryType_ = nullptr;
    TComboBox* cbTransType_ = nullptr;
    TComboBox* cbBAFCompType_ = nullptr;
    TComboBox* cbDirectivity_ = nullptr;
    TButton* btnDirectivity_ = nullptr;
    TEdit* editHeight_ = nullptr;
    TEdit* editSigma_ = nullptr;
    TButton* btnColor_ = nullptr;
    TPageControl* pages_ = nullptr;
    TTabSheet* pageValues_ = nullptr;
    TTabSheet* pageGroups_ = nullptr;
    TTabSheet* pageFormula_ = nullptr;
    TTabSheet* pageCharacteristics_ = nullptr;
    std::array<TTabSheet*, 2> pageOle_{};
    std::array<TLabel*, 2> labelLink_{};
    TValueGrid* vg_ = nullptr;
    TChart* graph_ = nullptr;
    TPanel* panelGraphic_ = nullptr;
    TPopupMenu* vgMenu_ = nullptr;
    TButton* btnScattering_ = nullptr;
    TListBox* lbAvailable_ = nullptr;
    TListBox* lbSelected_ = nullptr;
    std::vector<int> selectedGroupNos_;
    std::vector<int> availableGroupNos_;
    TDataSource groupSource_;
    TNavigator* navGroups_ = nullptr;
    TEdit* editGroupName_ = nullptr;
    std::unique_ptr<TFieldLink> groupLink_;
    TButton* btnAddGroup_ = nullptr;
    TButton* btnRemoveGroup_ = nullptr;
    TValueGrid* vgProps_ = nullptr;
    TValueGrid* vgVarIn_ = nullptr;
    TValueGrid* vgVarOut_ = nullptr;
    TValueGrid* vgVarLocal_ = nullptr;
    TMemo* memoFormula_ = nullptr;
    TLabel* labelFormulaMsg_ = nullptr;
    TCheckBox* cbFilterEnabled_ = nullptr;
    TComboBox* cbFilterGroup1_ = nullptr;
    TComboBox* cbFilterGroup2_ = nullptr;
    TComboBox* cbFilterOperator_ = nullptr;
    TEdit* editFilterMin_ = nullptr;
    TEdit* editFilterMax_ = nullptr;
    TEdit* editFilterText_ = nullptr;
};

} // namespace korvel::sound
