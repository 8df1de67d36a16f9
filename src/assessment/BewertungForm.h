#pragma once

// The assessment library editor: the element list of the frame and the pages "Define" (one tab per time
// range with its settings), "Limits", "Additions", "Usage areas (for all assessments)" and "Comment"; the
// import of the older binary files and the conversion of the older tables (BewertungFormImport.cpp); copying
// with the usage-area mapping and the element as JSON (BewertungFormCopy.cpp).

#include "assessment/AssessmentDataSet.h"
#include "editor/CustomLibForm.h"
#include "platform/base/Usages.h"
#include "platform/db/Value.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/ValueGrid.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvel::assessment {

class TBewertungForm : public TCustomLibForm {
public:
    explicit TBewertungForm(TLibHost& host);
    ~TBewertungForm() override;
    std::string_view ClassName() const override { return "TBewertungForm"; }

    // The element being edited and the usage areas of each tab's library.
    TBewertungDataSet& DataSet() { return data_; }
    const TUsages& Usages(int tabIndex) const;
    // Replaces a tab's usage areas and writes them beside its library (not for read-only tabs).
    void SetUsages(int tabIndex, const TUsages& usages);

    // --- overrides of the frame
    bool CheckCopyElementAllowed(TCustomLibForm& target, int tabIndex) override;
    void MainTableBeforePost(db::TTable& table) override;
    void MainTableAfterPost(db::TTable& table) override;
    void MainTableBeforeDelete(db::TTable& table) override;
    void MainTableAfterDelete(db::TTable& table) override;
    void MainTableAfterCancel(db::TTable& table) override;
    void MainTableNewRecord(db::TTable& table) override;
    void SetCurIndex(int tabIndex) override;
    void OpenLibrary(int tabIndex, const std::string& fileName) override;
    void CreateNewLibrary(int tabIndex, const std::string& fileName) override;
    void SetReadOnly(int tabIndex, bool readOnly) override;
    int SaveQuestion() override;
    std::string GetImportFilter() override;
    std::string GetFilterName() override;
    void ImportFile(const std::string& fileName) override;
    void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                           TneAction& action) override;
    nlohmann::json ElementView() override;
    void ApplyElementView(const nlohmann::json& view) override;
    void RefreshElement() override;

    // --- the element
    // Reads the current record into data_ and refills the pages.
    void ReadDataSet();
    // Writes data_ into the child tables for the current record (after a post).
    void WriteDataSet();
    // The current time range (the Define page's tab), or nullptr.
    acoustic::TZeitBereich* CurrentRange();
    int CurrentRangeIndex() const;
    void SelectRange(int index);
    // Puts the record into edit state and marks the element modified; false on a read-only tab.
    bool MarkModified();

    // --- range commands
    void AddRangeClick(TComponent& sender);
    void DeleteRangeClick(TComponent& sender);
    // Moves range from to the place of range to (a dropped tab).
    void MoveRange(int from, int to);
    // The hours text of the current range; false (and the range unchanged) when it is invalid.
    bool SetHoursText(const std::string& text);
    // Whether the hours edit holds text that is not valid; leaving it, a page change and closing show
    // "Invalid input!" then.
    bool HoursInvalid() const { return hoursInvalid_; }
    // Shows the controls of the current range's kind.
    void VisibleSettings();

    // --- imports (BewertungFormImport.cpp)
    // One binary file of the older version, "Limi.*": one element.
    void readBewDB(const std::string& fileName);
    // Converts the previous version's tables of a Global or Project folder that has no library yet.
    void CheckUpdate(int tabIndex);
    void ImportV74(int tabIndex);

    // --- controls
    TEdit& EditName() const { return *editName_; }
    TPageControl& Pages() const { return *pages_; }
    TTabSheet& PageDefine() const { return *pageDefine_; }
    TTabSheet& PageLimits() const { return *pageLimits_; }
    TTabSheet& PageAdditions() const { return *pageAdditions_; }
    TTabSheet& PageUsages() const { return *pageUsages_; }
    TTabSheet& PageComment() const { return *pageComment_; }
    TTabControl& TabRanges() const { return *tabRanges_; }
    TComboBox& CBAssessType() const { return *cbAssessType_; }
    TEdit& EditRangeName() const { return *editRangeName_; }
    TEdit& EditRangeShort() const { return *editRangeShort_; }
    TEdit& EditLimitName() const { return *editLimitName_; }
    TEdit& EditLimitShort() const { return *editLimitShort_; }
    TEdit& EditHours() const { return *editHours_; }
    TEdit& EditTa() const { return *editTa_; }
    TEdit& EditLoudestN() const { return *editLoudestN_; }
    TCheckBox& CBPenalties() const { return *cbPenalties_; }
    TEdit& EditThreshold() const { return *editThreshold_; }
    TEdit& EditNAT() const { return *editNAT_; }
    TEdit& EditTR() const { return *editTR_; }
    TRadioGroup& RGMethod() const { return *rgMethod_; }
    TControl& GroupDefinition() const { return *groupDefinition_; }
    TButton& ButtonAdd() const { return *buttonAdd_; }
    TButton& ButtonDelete() const { return *buttonDelete_; }
    TValueGrid& VGLimits() const { return *vgLimits_; }
    TValueGrid& VGAdditions() const { return *vgAdditions_; }
    TValueGrid& VGUsages() const { return *vgUsages_; }

protected:
    bool CanCloseEditor() override;

private:
    // Everything below the element list is built by BewertungFormPages.cpp.
    void BuildPages();
    void BuildDefinePage(TTabSheet& page);
    void RangeToControls();
    void RebuildRangeTabs();
    void RebuildGrids();
    // The library item of the current tab (0 main, 1 ranges, 2 additions), when open.
    db::TTable* CurrentItem(int item) const;

    // --- the element (BewertungForm.cpp)
    void RecordChanged();
    int TabOf(const db::TTable& table) const;
    // Another element of the table carries the name (ignoring case).
    bool NameTakenByOther(db::TTable& table, const std::string& name);
    // A store of the editor failed after its transaction began: everything is taken back and the record is
    // put back into the state it was stored from, with what it held.
    void TakeBackPost(db::TTable& table);
    void ReadUsages(int tabIndex);
    // Enables what the tab's read-only state and the element allow.
    void UpdateCommands();

    // --- the Define page (BewertungFormPages.cpp)
    // Stores a change of one control into the current range, or shows the range again when the element
    // cannot change.
    template <class F> void ChangeRange(F change);
    void ShowInvalidHours();
    void HoursExit(TComponent& sender);
    void NumberExit(TComponent& sender);
    void AssessTypeChange(TComponent& sender);
    void MethodClick(TComponent& sender);
    void RangeTabsChanging(TComponent& sender, bool& allowChange);
    void PagesChanging(TComponent& sender, bool& allowChange);

    // --- the grids (BewertungFormGrids.cpp)
    void DefineVGLimits();
    void DefineVGAdditions();
    void DefineVGUsages();
    std::string LimitsGetText(int col, int row);
    void LimitsSetText(int col, int row, const std::string& text);
    std::string AdditionsGetText(int col, int row);
    void AdditionsSetText(int col, int row, const std::string& text);
    std::string UsagesGetText(int col, int row);
    void UsagesSetText(int col, int row, const std::string& text);

    // The store under way: the table whose transaction is open and what its record held.
    struct TPendingPost {
        db::TTable* Table = nullptr;
        bool Inserting = false;
        std::vector<db::TValue> Values;
    };

    TBewertungDataSet data_;
    std::vector<TUsages> usages_;     // by tab
    std::vector<bool> usagesDamaged_; // by tab: the folder's file could not be read and is not replaced
    bool hoursInvalid_ = false;
    bool showing_ = false;
    bool warning_ = false;   // "Invalid input!" is being shown
    bool restoring_ = false; // a record is being put back after a failed store
    int creatingTab_ = -1;   // the tab whose library is being created
    std::optional<TPendingPost> pendingPost_;
    db::TTable* pendingDelete_ = nullptr;
    std::vector<int> comboTypes_;   // the type number of each item of the type combo
    std::vector<int> limitColumns_; // the range of each limits column after the two fixed ones
    std::vector<std::unique_ptr<TFieldLink>> links_;

    TEdit* editName_ = nullptr;
    TPageControl* pages_ = nullptr;
    TTabSheet* pageDefine_ = nullptr;
    TTabSheet* pageLimits_ = nullptr;
    TTabSheet* pageAdditions_ = nullptr;
    TTabSheet* pageUsages_ = nullptr;
    TTabSheet* pageComment_ = nullptr;
    TMemo* memo_ = nullptr;
    TTabControl* tabRanges_ = nullptr;
    TComboBox* cbAssessType_ = nullptr;
    TEdit* editRangeName_ = nullptr;
    TEdit* editRangeShort_ = nullptr;
    TEdit* editLimitName_ = nullptr;
    TEdit* editLimitShort_ = nullptr;
    TEdit* editHours_ = nullptr;
    TEdit* editTa_ = nullptr;
    TEdit* editLoudestN_ = nullptr;
    TCheckBox* cbPenalties_ = nullptr;
    TEdit* editThreshold_ = nullptr;
    TEdit* editNAT_ = nullptr;
    TEdit* editTR_ = nullptr;
    TRadioGroup* rgMethod_ = nullptr;
    TControl* groupDefinition_ = nullptr;
    TButton* buttonAdd_ = nullptr;
    TButton* buttonDelete_ = nullptr;
    TValueGrid* vgLimits_ = nullptr;
    TValueGrid* vgAdditions_ = nullptr;
    TValueGrid* vgUsages_ = nullptr;
    TControl* rowLimitName_ = nullptr;
    TControl* rowLimitShort_ = nullptr;
    TControl* rowTa_ = nullptr;
    TControl* rowLoudestN_ = nullptr;
    TControl* rowThreshold_ = nullptr;
    TControl* rowNAT_ = nullptr;
    TControl* rowTR_ = nullptr;
};

} // namespace korvel::assessment
