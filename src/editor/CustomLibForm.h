#pragma once

// TCustomLibForm: the editor common to every library kind. One editor shows one kind; each tab holds one
// opened library (System, Global, Project). The frame owns the libraries, the element list, navigation,
// search, the save question, closing, selection, copying between tabs and editors, backups, index settings
// and the picture field. Kind editors add their pages to DataArea() and override the virtual operations.

#include "editor/LibHost.h"
#include "platform/base/LibTypes.h"
#include "platform/base/MyTable.h"
#include "platform/dbctrls/DataSource.h"
#include "platform/dbctrls/ElementList.h"
#include "platform/dbctrls/FieldLinks.h"
#include "platform/ui/Form.h"
#include "platform/ui/Navigator.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/PictureBox.h"
#include "platform/ui/StdCtrls.h"

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace korvel {

namespace db {
class TRestructure;
}

class TExcelImportForm;
enum class TImportLineAction;

// What an editor hands to the printing of its current element; kinds that print derive from it.
// The start of the log line of a library update that failed; the folder conversion keeps the older files
// then.
inline constexpr std::string_view kUpdateFailedPrefix = "Error while updating ";

class TPrintItem {
public:
    virtual ~TPrintItem() = default;
};

class TCustomLibForm : public TForm {
public:
    TCustomLibForm(TLibHost& host, std::string name);
    ~TCustomLibForm() override;
    std::string_view ClassName() const override { return "TCustomLibForm"; }

    TLibHost& Host() const { return host_; }

    // --- properties
    int LastElementNo() const { return lastElementNo_; }
    const std::vector<int>& LastSelectedElementNos() const { return lastSelectedElementNos_; }
    int LibType() const { return libType_; }
    int GetCurIndex() const;
    int TabCount() const { return static_cast<int>(myTables_.size()); }
    db::TTable* GetMainTable(int tabIndex) const;
    TMyTable* GetMyTable(int tabIndex) const;
    std::string GetFileName(int tabIndex) const;
    TLibPathType GetPathType(int tabIndex) const;
    bool TabReadOnly(int tabIndex) const;
    bool Posted() const { return posted_; }
    bool Deleted() const { return deleted_; }

    // --- virtual operations
    virtual bool CheckCopyElementAllowed(TCustomLibForm& target, int tabIndex);
    virtual void SetLibType(int libType);
    virtual int AddIndex(TLibPathType pathType);
    virtual std::unique_ptr<TPrintItem> CreatePrintItem();
    virtual void MainTableBeforePost(db::TTable& table);
    virtual void MainTableAfterPost(db::TTable& table);
    virtual void MainTableAfterDelete(db::TTable& table);
    virtual void MainTableBeforeDelete(db::TTable& table);
    virtual void MainTableNewRecord(db::TTable& table);
    virtual void MainTableAfterCancel(db::TTable& table);
    virtual void SetCurIndex(int tabIndex);
    // Opens the tab's tables; kinds with a schema update run it here.
    virtual void OpenLibrary(int tabIndex, const std::string& fileName);
    virtual void DoSearch();
    virtual void SetReadOnly(int tabIndex, bool readOnly);
    // Open-dialog filter of the files the kind imports; empty when it imports nothing.
    virtual std::string GetImportFilter();
    // Open-dialog filter of the kind's library file.
    virtual std::string GetFilterName();
    virtual int SaveQuestion();
    virtual int GetElementNo(int tabIndex);
    virtual bool GotoElementNo(int tabIndex, int number);
    virtual std::string GetCaptionString();
    // Copies the current element of srcTab into target's dstTab. Overrides follow the contract of the
    // frame's version: read the whole element, mark the target table with the bulk tag, resolve the name
    // with CheckNameTwice, write into the record it prepared (new or, on overwrite, the existing one), map
    // references unless keepNumbers, store, clear the tag.
    virtual void CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool keepNumbers,
                                   TneAction& action);
    // Bulk work (a copy, a backup, an import) into or out of a tab begins and ends; calls nest. Meanwhile
    // only the bulk work changes that library, so a kind may keep look-ups (group numbers by name) and put
    // screen work off until the end. BulkWorkUndone: an element was taken back, and what the kind kept
    // since may have gone with it.
    virtual void BulkWorkBegins(int /*tabIndex*/) {}
    virtual void BulkWorkEnds(int /*tabIndex*/) {}
    virtual void BulkWorkUndone(int /*tabIndex*/) {}
    virtual void CreateNewLibrary(int tabIndex, const std::string& fileName);
    virtual void ImportFile(const std::string& fileName);
    virtual void CreateFieldList();
    // Called with a kind's spreadsheet import dialog before it is shown: the command line maps its columns
    // and runs the rows there, so the dialog is never shown.
    std::function<void(TExcelImportForm&)> BeforeExcelImport;

    // The current element as the kind sees it (command line "element" object); the frame's version holds
    // every field except the number. ApplyElementView writes such an object into the record in edit
    // state; unknown members are an error.
    virtual nlohmann::json ElementView();
    virtual void ApplyElementView(const nlohmann::json& view);
    // Reads the current record into the editor's controls and element object (after the command line or
    // a copy changed it behind the editor's back).
    virtual void RefreshElement();

    // Opens the System, Global and Project folders for the service (empty entries are skipped); a missing
    // Project library is created, a missing Global one is not. Kinds with an opening of their own override.
    virtual void OpenLibraryFolders(const std::vector<std::string>& folders);
    // Opens one folder to carry its older library files over into the current format.
    virtual void OpenForConversion(const std::string& folder);
    // Switches an element filter off so that any element can be shown; false when the kind has none.
    virtual bool SwitchElementFilterOff();

    // --- opening
    // Opens the library of the kind in each non-empty folder (up to index high).
    void OpenFiles(const std::vector<std::string>& folders, int high, bool createGlobal, bool createMissing);
    // Binds a tab to the kind's library file in folder and attaches its events.
    void InitLib(int tabIndex, const std::string& folder, bool readOnly);
    TLibPathType GetPathTypeByName(const std::string& fileOrFolder) const;
    int GetPathTypeCount(TLibPathType pathType) const;
    int GetFirstProjIndex() const;
    // The tab showing a library file (compared ignoring case), or -1.
    int FindTabByFileName(const std::string& fileName) const;

    // --- elements
    std::string GetElementName(int tabIndex);
    std::string GetElementHint();
    bool GotoElementName(int tabIndex, const std::string& name);
    // Element numbers of the rows selected in the list (the current one when none is).
    std::vector<int> SelectedElementNos();
    void SelectAll();
    void DeleteSelected();
    void SetCaption();
    using TControl::SetCaption;
    void EnableDBButtons();

    // --- storing
    int DefaultSaveQuestion(std::string question, std::string name);
    void DoDefaultSaveAction(int answer);
    // Stores the current record of the current tab when it is being edited (bound controls first).
    void StoreCurrent();
    // Settles an edit of the current record through the save question; false when the person cancels.
    bool FinishEditing();

    // --- settings
    void ReadLibSettings(TMyTable& myTable);
    void WriteLibSettings(TMyTable& myTable);

    // --- backups and maintenance
    void PerformBackup(const std::string& folder);
    bool UpdateLibrary();
    bool ImportOpenDialog(std::string& fileName);
    bool ImportMultiOpenDialog(std::vector<std::string>& files);

    // --- picture field
    void LoadGraphicField(const std::string& fileName, db::TField& field, int maxSize);
    void ResizePicture(TPanel& panel);
    TPictureBox* DBImage() const { return dbImage_; }

    // --- copying
    void CopyElement(TCustomLibForm& target, int dstTab);
    // Rebuilds the entries under a "Copy to" menu item.
    void CreateCopyToMenu(TMenuItem& copyTo);

    // --- pick mode
    // Shows the "Accept"/"Cancel" bar of a modal pick.
    void ShowAcceptBar();
    bool AcceptBarVisible() const;

    // --- controls
    TTabControl& TabLibs() const { return *tabLibs_; }
    TDBElementList& DBList() const { return *dbList_; }
    TEdit& EditSearch() const { return *editSearch_; }
    TNavigator& Navigator() const { return *navigator_; }
    TPanel& PanelCopy() const { return *panelCopy_; }
    // The copy buttons below the list, in order; Tag is the tab index they copy into (-1: Global not open).
    std::vector<TButton*> CopyButtons() const;
    // Where kind editors put their pages.
    TPanel& DataArea() const { return *panelData_; }
    TDataSource& DataSource() { return dataSource_; }

    // --- menu handlers
    void OpenAnotherLibraryClick(TComponent& sender);
    void ImportClick(TComponent& sender);
    void BackupCopyClick(TComponent& sender);
    void SelectAllClick(TComponent& sender);
    void YScaleClick(TComponent& sender);
    void CopyButtonClick(TComponent& sender);
    void AcceptClick(TComponent& sender);
    void PictureLoadClick(TComponent& sender);
    void PictureClearClick(TComponent& sender);
    void PictureCopyClick(TComponent& sender);
    void PicturePasteClick(TComponent& sender);

protected:
    // The source and target main tables of a copy, when it can go ahead: the action is not "cancel", the
    // target shows the same kind, the source has a current element and the target table is open.
    struct TCopyEnds {
        db::TTable& Src;
        db::TTable& Dst;
    };
    std::optional<TCopyEnds> CopyEnds(int srcTab, int dstTab, TCustomLibForm& target, TneAction action) const;
    // Adds the picture panel and its pop-up menu to parent, bound to a blob field of the main table, and
    // returns the panel for the caller to place. The panel takes room only while there is a picture to show.
    TPanel& CreatePictureField(TControl& parent, std::string fieldName);
    // Binds the element-name edit and, when the current table has the memo field "Kommentar", the comment
    // memo to the current record; no links while no table is open. Kinds call it on every change of tab.
    std::vector<std::unique_ptr<TFieldLink>> BindNameAndComment(TEdit& name, TMemo& comment);
    // Offers the picture commands on another control's pop-up menu ("Load picture.." and the rest), for when
    // no picture is shown to click on; not offered, they go (a library without the picture field).
    void SetPictureCommandsOn(TControl& control, bool offered);
    // The editor is closing and its libraries are still open: kinds save what belongs beside them.
    virtual void LibrariesClosing() {}
    // Asked first when the editor is to close; a kind refuses while a control holds input it cannot take
    // (and tells the person why).
    virtual bool CanCloseEditor() { return true; }
    // Every value grid of the data area leaves its edit mode (before navigation and tab changes).
    void LeaveGridEditModes();
    // The table of the current tab, when it is open.
    db::TTable* CurrentTable() const;
    // Runs the column-mapping dialog as bulk work on the current tab: rows that cannot be read are logged
    // and passed over, the rows go in as one transaction while they run, the list catches up once at the
    // end, and BeforeExcelImport may settle the dialog unseen. Returns the modal result.
    int RunExcelImport(TExcelImportForm& form, int& count, int& duplicates);
    // Runs an update that fills the tab's library from older files as one transaction, with the log shown:
    // when it throws, the library stays as it was and the reason goes to the log after kUpdateFailedPrefix.
    void RunLibraryUpdate(int tabIndex, const std::function<void()>& update);
    // Settles a spreadsheet row's name against the table's names (index "EN") while the row is imported: the
    // person's answer holds for the rows after it. False when the row is not stored: a skipped name counts as
    // a duplicate, a cancel stops the import. The table is then prepared as CheckNameTwice leaves it.
    bool CheckImportRowName(TExcelImportForm& sender, db::TTable& table, std::string& name,
                            TImportLineAction& action);
    // One restructure of the tab's main table, closed and opened again around it; the engine's reason is
    // shown and false returned when it refuses.
    bool RestructureMainTable(int tabIndex, const db::TRestructure& change);
    // No tab, or the current one is read-only.
    bool CurrentReadOnly() const;
    // Puts the current record in edit state; false when the tab is read-only or has no element.
    bool EnsureEditing();
    // Shows the picture of the current record.
    void ShowPicture();

private:
    void BuildControls();
    void BuildMenus();
    // A "Copy to" button below the list; tab -1 stands for the Global library not opened yet.
    void AddCopyButton(const std::string& tabCaption, int tab);
    void AttachMainTableEvents(int tabIndex);
    void TabLibsChanging(TComponent& sender, bool& allowChange);
    void TabLibsChange(TComponent& sender);
    void ListTitleClick(TComponent& sender, int col);
    void NavigatorBeforeAction(TComponent& sender, TNavigateBtn button);
    void FormCloseQuery(TComponent& sender, bool& canClose);
    void FormClose(TComponent& sender, TCloseAction& action);
    void MainTableAfterOpen(db::TTable& table);
    void EnsureGlobalTab(TButton& button);
    std::string LibSettingsKey(const TMyTable& myTable) const;
    bool LibraryEmpty(TMyTable& myTable);
    std::string RowHint(std::int64_t row);

    TLibHost& host_;
    int lastElementNo_ = -1;
    std::vector<int> lastSelectedElementNos_;
    std::vector<std::unique_ptr<TMyTable>> myTables_;
    bool posted_ = false;
    bool deleted_ = false;
    int libType_ = 0;
    std::vector<TLibPathType> pathTypes_;
    std::vector<bool> readOnly_;
    TPictureBox* dbImage_ = nullptr;
    TPanel* dbImagePanel_ = nullptr;
    TPopupMenu* pictureCommands_ = nullptr;
    std::string pictureField_;

    TDataSource dataSource_;
    TTabControl* tabLibs_ = nullptr;
    TDBElementList* dbList_ = nullptr;
    TEdit* editSearch_ = nullptr;
    TNavigator* navigator_ = nullptr;
    TPanel* panelCopy_ = nullptr;
    TPanel* panelData_ = nullptr;
    TPanel* panelAccept_ = nullptr;
};

} // namespace korvel
