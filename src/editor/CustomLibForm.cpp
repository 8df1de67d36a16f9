#include "editor/CustomLibForm.h"

#include "editor/ParadoxImport.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/db/Table.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Ui.h"
#include "platform/ui/ValueGrid.h"

#include <algorithm>
#include <filesystem>

namespace korvel {

namespace {

const char* PathTypeName(TLibPathType pathType) {
    switch (pathType) {
    case TLibPathType::System:
        return "System";
    case TLibPathType::Global:
        return "Global";
    case TLibPathType::Project:
        break;
    }
    return "Project";
}

} // namespace

TCustomLibForm::TCustomLibForm(TLibHost& host, std::string name)
    : TForm(host.Ui(), std::move(name)), host_(host) {
    BuildControls();
    BuildMenus();
    OnCloseQuery = Bind(&TCustomLibForm::FormCloseQuery);
    OnClose = Bind(&TCustomLibForm::FormClose);
}

TCustomLibForm::~TCustomLibForm() {
    // Kind editors' listeners died with their members: nobody is told when the tables go.
    dataSource_.RemoveAllListeners();
    dataSource_.SetDataSet(nullptr);
    myTables_.clear();
}

void TCustomLibForm::BuildControls() {
    SetBounds(0, 0, 900, 600);
    auto& left = Add<TPanel>("PanelLeft");
    left.SetAlign(alLeft);
    left.SetWidth(320);
    tabLibs_ = &left.Add<TTabControl>("TabLibs");
    tabLibs_->SetAlign(alClient);
    tabLibs_->OnChanging = Bind(&TCustomLibForm::TabLibsChanging);
    tabLibs_->OnChange = Bind(&TCustomLibForm::TabLibsChange);

    editSearch_ = &AddLabelledRow<TEdit>(*tabLibs_, "EditSearch", "Jump to", 60);
    editSearch_->OnChange = [this](TComponent&) {
        DoSearch();
    };

    panelCopy_ = &tabLibs_->Add<TPanel>("PanelCopy");
    panelCopy_->SetAlign(alBottom);
    panelCopy_->SetHeight(30);
    AddCopyButton("Global", -1);

    navigator_ = &tabLibs_->Add<TNavigator>("Navigator");
    navigator_->SetAlign(alBottom);
    navigator_->SetConfirmDelete(false);
    navigator_->OnBeforeAction = Bind(&TCustomLibForm::NavigatorBeforeAction);
    dataSource_.AttachNavigator(*navigator_);

    dbList_ = &tabLibs_->Add<TDBElementList>("DBList");
    dbList_->SetAlign(alClient);
    dbList_->SetMultiSelect(true);
    dbList_->SetDataSource(&dataSource_);
    dbList_->OnTitleClick = Bind(&TCustomLibForm::ListTitleClick);
    dbList_->OnGetHint = [this](std::int64_t row) {
        return RowHint(row);
    };

    panelAccept_ = &Add<TPanel>("PanelAccept");
    panelAccept_->SetAlign(alBottom);
    panelAccept_->SetHeight(36);
    panelAccept_->SetVisible(false);
    auto& accept = panelAccept_->Add<TButton>("BtnAccept");
    accept.SetCaption("Accept");
    accept.SetAlign(alRight);
    accept.SetModalResult(mrOk);
    accept.SetDefault(true);
    accept.OnClick = Bind(&TCustomLibForm::AcceptClick);
    auto& cancel = panelAccept_->Add<TButton>("BtnCancelPick");
    cancel.SetCaption("Cancel");
    cancel.SetAlign(alRight);
    cancel.SetModalResult(mrCancel);
    cancel.SetCancel(true);

    panelData_ = &Add<TPanel>("PanelData");
    panelData_->SetAlign(alClient);
}

void TCustomLibForm::BuildMenus() {
    TMainMenu& menu = CreateMainMenu();
    TMenuItem& file = menu.Items().Add("MenuFile", "File");
    file.Add("OpenAnotherLibrary", "Open another library...").OnClick =
        Bind(&TCustomLibForm::OpenAnotherLibraryClick);
    file.Add("Import", "Import...").OnClick = Bind(&TCustomLibForm::ImportClick);
    TMenuItem& backup = file.Add("BackupCopy", "Backup copy");
    backup.SetVisible(false);
    backup.OnClick = Bind(&TCustomLibForm::BackupCopyClick);
    file.Add("Changelengthofelementnamefield1", "Change length of element name field..").OnClick =
        [this](TComponent&) {
            ChangeNameFieldLength(*this);
        };
    file.AddSeparator();
    file.Add("YScale", "y-Scale...").OnClick = Bind(&TCustomLibForm::YScaleClick);
    file.AddSeparator();
    file.Add("CloseEditor", "Close").OnClick = [this](TComponent&) {
        Close();
    };
    file.OnClick = [this](TComponent&) {
        EnableDBButtons();
    };

    TMenuItem& edit = menu.Items().Add("MenuEdit", "Edit");
    TMenuItem& go = edit.Add("GoTo", "Go to");
    go.Add("GoFirst", "First").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbFirst);
    };
    go.Add("GoPrior", "Previous").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbPrior);
    };
    go.Add("GoNext", "Next").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbNext);
    };
    go.Add("GoLast", "Last").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbLast);
    };
    edit.Add("InsertElement", "Insert").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbInsert);
    };
    edit.Add("DeleteElement", "Delete", "Ctrl+Del").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbDelete);
    };
    edit.Add("StoreElement", "Store", "Ctrl+S").OnClick = [this](TComponent&) {
        StoreCurrent();
    };
    edit.Add("CancelEdit", "Cancel", "Esc").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbCancel);
    };
    edit.AddSeparator();
    edit.Add("JumpTo", "Jump to", "Ctrl+F").OnClick = [this](TComponent&) {
        if (editSearch_->Reachable())
            SetActiveControl(editSearch_);
    };
    edit.Add("CopyTo", "Copy to");
    edit.Add("SelectAllElements", "Select all elements", "Ctrl+A").OnClick =
        Bind(&TCustomLibForm::SelectAllClick);
    edit.OnClick = [this](TComponent&) {
        EnableDBButtons();
    };

    TMenuItem& view = menu.Items().Add("MenuView", "View");
    TMenuItem& byNumber = view.Add("OrderByNumber", "Order by number");
    byNumber.OnClick = [this](TComponent&) {
        dbList_->TitleClick(0);
    };
    TMenuItem& byName = view.Add("OrderByName", "Order by name");
    byName.OnClick = [this](TComponent&) {
        dbList_->TitleClick(1);
    };
    view.AddSeparator();
    view.Add("RefreshList", "Refresh", "F5").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbRefresh);
    };
    view.OnClick = [this, &byNumber, &byName](TComponent&) {
        db::TTable* table = CurrentTable();
        const std::string order = table ? table->IndexName() : std::string();
        byNumber.SetChecked(order == "p");
        byName.SetChecked(order == "EN");
        const bool browsing = table && table->State() == db::TDataSetState::Browse;
        byNumber.SetEnabled(browsing);
        byName.SetEnabled(browsing && table->Defs().FindIndex("EN") != nullptr);
    };

    TPopupMenu& listMenu = AddPopupMenu("ListMenu");
    listMenu.Items().Add("ListCopyTo", "Copy to");
    listMenu.Items().Add("ListSelectAll", "Select all elements").OnClick =
        Bind(&TCustomLibForm::SelectAllClick);
    // Del works where the list has the focus; in the edit boxes it deletes characters.
    listMenu.Items().Add("ListDelete", "Delete", "Del").OnClick = [this](TComponent&) {
        navigator_->BtnClick(nbDelete);
    };
    listMenu.OnPopup = [this, &listMenu](TComponent&) {
        if (TMenuItem* copyTo = listMenu.FindItem("ListCopyTo"))
            CreateCopyToMenu(*copyTo);
    };
    dbList_->SetPopupMenu(&listMenu);
}

// --- properties

int TCustomLibForm::GetCurIndex() const {
    return tabLibs_->TabIndex();
}

db::TTable* TCustomLibForm::GetMainTable(int tabIndex) const {
    TMyTable* t = GetMyTable(tabIndex);
    return t ? t->GetTable() : nullptr;
}

TMyTable* TCustomLibForm::GetMyTable(int tabIndex) const {
    if (tabIndex < 0 || tabIndex >= TabCount())
        return nullptr;
    return myTables_[static_cast<size_t>(tabIndex)].get();
}

std::string TCustomLibForm::GetFileName(int tabIndex) const {
    TMyTable* t = GetMyTable(tabIndex);
    return t ? t->FileName() : std::string{};
}

TLibPathType TCustomLibForm::GetPathType(int tabIndex) const {
    if (tabIndex < 0 || tabIndex >= static_cast<int>(pathTypes_.size()))
        return TLibPathType::System;
    return pathTypes_[static_cast<size_t>(tabIndex)];
}

bool TCustomLibForm::TabReadOnly(int tabIndex) const {
    if (tabIndex < 0 || tabIndex >= static_cast<int>(readOnly_.size()))
        return true;
    return readOnly_[static_cast<size_t>(tabIndex)];
}

TLibPathType TCustomLibForm::GetPathTypeByName(const std::string& fileOrFolder) const {
    return LibPathTypeOf(fileOrFolder);
}

int TCustomLibForm::GetPathTypeCount(TLibPathType pathType) const {
    int count = 0;
    for (int i = 0; i < TabCount(); ++i)
        if (GetPathType(i) == pathType)
            ++count;
    return count;
}

int TCustomLibForm::GetFirstProjIndex() const {
    int lastGlobal = -1;
    for (int i = 0; i < TabCount(); ++i) {
        TLibPathType type = GetPathType(i);
        if (type == TLibPathType::Project)
            return i;
        if (type == TLibPathType::Global)
            lastGlobal = i;
    }
    return lastGlobal;
}

int TCustomLibForm::FindTabByFileName(const std::string& fileName) const {
    for (int i = 0; i < TabCount(); ++i)
        if (SameFileName(GetFileName(i), fileName))
            return i;
    return -1;
}

db::TTable* TCustomLibForm::CurrentTable() const {
    db::TTable* t = GetMainTable(GetCurIndex());
    return t && t->Active() ? t : nullptr;
}

std::vector<TButton*> TCustomLibForm::CopyButtons() const {
    std::vector<TButton*> buttons;
    for (int i = 0; i < panelCopy_->ControlCount(); ++i)
        if (auto* b = dynamic_cast<TButton*>(&panelCopy_->Control(i)))
            buttons.push_back(b);
    return buttons;
}

// --- virtual operations: the frame's versions

bool TCustomLibForm::CheckCopyElementAllowed(TCustomLibForm& /*target*/, int /*tabIndex*/) {
    return true;
}

void TCustomLibForm::SetLibType(int libType) {
    libType_ = libType;
    if (const TLibKindInfo* kind = FindLibKind(libType))
        SetCaption(kind->Caption);
}

int TCustomLibForm::AddIndex(TLibPathType pathType) {
    const int count = GetPathTypeCount(pathType);
    const int tab = TabCount();
    std::string caption = PathTypeName(pathType);
    if (count > 0)
        caption += std::to_string(count + 1);
    {
        // The new tab is selected by SetCurIndex once its library is open.
        TSuspendEvents quiet(*tabLibs_);
        std::vector<std::string> tabs = tabLibs_->Tabs();
        tabs.push_back(caption);
        tabLibs_->SetTabs(std::move(tabs));
    }

    if (pathType != TLibPathType::System) {
        std::vector<TButton*> buttons = CopyButtons();
        TButton* initial = buttons.empty() ? nullptr : buttons.front();
        if (pathType == TLibPathType::Global && count == 0 && initial && initial->Tag() == -1) {
            initial->SetTag(tab);
        } else {
            AddCopyButton(caption, tab);
        }
    }

    myTables_.push_back(std::make_unique<TMyTable>(TableNames(libType_)));
    // A tab keeps the location it was opened for: the rule reads the settings, which a post must not do.
    pathTypes_.push_back(pathType);
    readOnly_.push_back(pathType == TLibPathType::System);
    return tab;
}

void TCustomLibForm::AddCopyButton(const std::string& tabCaption, int tab) {
    auto& button = panelCopy_->Add<TButton>("BtnCopy" + std::to_string(panelCopy_->ControlCount()));
    button.SetCaption(" > " + tabCaption);
    button.SetHint("Copy to > " + tabCaption);
    button.SetTag(tab);
    button.SetAlign(alLeft);
    button.OnClick = Bind(&TCustomLibForm::CopyButtonClick);
}

std::unique_ptr<TPrintItem> TCustomLibForm::CreatePrintItem() {
    return nullptr;
}

void TCustomLibForm::MainTableBeforePost(db::TTable& /*table*/) {}

void TCustomLibForm::MainTableAfterPost(db::TTable& /*table*/) {
    if (GetCurIndex() == GetFirstProjIndex())
        posted_ = true;
}

void TCustomLibForm::MainTableAfterDelete(db::TTable& /*table*/) {
    if (GetCurIndex() == GetFirstProjIndex())
        deleted_ = true;
}

void TCustomLibForm::MainTableBeforeDelete(db::TTable& /*table*/) {}

void TCustomLibForm::MainTableNewRecord(db::TTable& table) {
    dbList_->ClearSelection();
    bool libraryTable = std::any_of(myTables_.begin(), myTables_.end(),
                                    [&](const auto& t) { return t->GetTable() == &table; });
    if (libraryTable)
        OnNewRecord(table, libType_, false);
    dbList_->SetSelectedIndex(1);
    if (dbList_->Showing() && dbList_->EnabledInTree())
        SetActiveControl(dbList_);
}

void TCustomLibForm::MainTableAfterCancel(db::TTable& /*table*/) {}

void TCustomLibForm::SetCurIndex(int tabIndex) {
    if (tabIndex < 0 || tabIndex >= TabCount())
        return;
    {
        TSuspendEvents quiet(*tabLibs_);
        tabLibs_->SetTabIndex(tabIndex);
    }
    SetCaption();
    db::TTable* table = GetMainTable(tabIndex);
    dataSource_.SetDataSet(table && table->Active() ? table : nullptr);
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TCustomLibForm::OpenLibrary(int tabIndex, const std::string& /*fileName*/) {
    if (TMyTable* t = GetMyTable(tabIndex))
        t->Open();
}

void TCustomLibForm::DoSearch() {
    db::TTable* table = CurrentTable();
    if (!table || table->IndexDefs().size() < 2 || table->State() != db::TDataSetState::Browse)
        return;
    // Searched on the name order without leaving the order shown.
    if (auto found = table->SeekNearest(table->IndexDefs()[1].Name, {db::TValue(editSearch_->Text())}))
        table->GotoBookmark(*found);
}

void TCustomLibForm::SetReadOnly(int tabIndex, bool readOnly) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    // A System library stays read-only whatever is asked.
    if (GetPathType(tabIndex) == TLibPathType::System)
        readOnly = true;
    if (myTable->Database().ReadOnly() != readOnly)
        myTable->Database().SetReadOnly(readOnly);
    const bool effective = myTable->GetReadOnly() || myTable->Database().ReadOnly();
    readOnly_[static_cast<size_t>(tabIndex)] = effective;
    if (tabIndex != GetCurIndex())
        return;
    for (TControl* c : panelData_->AllControls()) {
        if (auto* grid = dynamic_cast<TValueGrid*>(c)) {
            grid->LeaveEditMode();
            grid->SetEditing(!effective);
        } else if (auto* edit = dynamic_cast<TEdit*>(c)) {
            edit->SetReadOnly(effective);
        } else if (auto* memo = dynamic_cast<TMemo*>(c)) {
            memo->SetReadOnly(effective);
        } else if (auto* spin = dynamic_cast<TSpinEdit*>(c)) {
            spin->SetReadOnly(effective);
        } else if (dynamic_cast<TButton*>(c) || dynamic_cast<TComboBox*>(c) || dynamic_cast<TCheckBox*>(c) ||
                   dynamic_cast<TRadioGroup*>(c) || dynamic_cast<TListBox*>(c)) {
            c->SetEnabled(!effective);
        }
    }
    navigator_->UpdateButtons();
}

std::string TCustomLibForm::GetImportFilter() {
    return {};
}

std::string TCustomLibForm::GetFilterName() {
    const TLibKindInfo* kind = FindLibKind(libType_);
    std::string file = LibName(libType_);
    std::string caption = kind ? kind->Caption : "Library";
    return caption + " (" + file + ")|" + file + "|Libraries (*.abs)|*.abs";
}

int TCustomLibForm::SaveQuestion() {
    return DefaultSaveQuestion("", "");
}

int TCustomLibForm::GetElementNo(int tabIndex) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table || !table->Active() || table->IsEmpty())
        return -1;
    return table->Fields(0).AsInteger();
}

bool TCustomLibForm::GotoElementNo(int tabIndex, int number) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table || !table->Active() || number < 1)
        return false;
    const std::string previous = table->IndexName();
    table->SetIndexName("p");
    bool found = table->FindKey({db::TValue(static_cast<std::int64_t>(number))});
    table->SetIndexName(previous);
    return found;
}

std::string TCustomLibForm::GetCaptionString() {
    const TLibKindInfo* kind = FindLibKind(libType_);
    return kind ? kind->Caption : "Library";
}

void TCustomLibForm::CreateNewLibrary(int tabIndex, const std::string& fileName) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    InitLib(tabIndex, ExtractFolder(fileName), false);
    SetFieldIndexDefs(*myTable, libType_, true);
    myTable->CreateDBTable();
    OpenLibrary(tabIndex, fileName);
}

void TCustomLibForm::ImportFile(const std::string& /*fileName*/) {}

void TCustomLibForm::OpenLibraryFolders(const std::vector<std::string>& folders) {
    OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
}

void TCustomLibForm::OpenForConversion(const std::string& folder) {
    OpenFiles({folder}, 0, true, true);
}

std::vector<std::unique_ptr<TFieldLink>> TCustomLibForm::BindNameAndComment(TEdit& name, TMemo& comment) {
    std::vector<std::unique_ptr<TFieldLink>> links;
    db::TTable* table = CurrentTable();
    if (!table || !table->Active())
        return links;
    links.push_back(BindField(name, dataSource_, NameFieldName(libType_)));
    if (const db::TField* f = table->FindField("Kommentar"); f && f->DataType() == db::TFieldType::Memo)
        links.push_back(BindField(comment, dataSource_, "Kommentar"));
    return links;
}

bool TCustomLibForm::SwitchElementFilterOff() {
    return false;
}

void TCustomLibForm::CreateFieldList() {}

// --- opening

void TCustomLibForm::OpenFiles(const std::vector<std::string>& folders, int high, bool createGlobal,
                               bool createMissing) {
    const int last = std::min(high, static_cast<int>(folders.size()) - 1);
    const std::string fileName = LibName(libType_);
    for (int i = 0; i <= last; ++i) {
        const std::string folder = folders[static_cast<size_t>(i)].empty()
                                       ? std::string{}
                                       : IncludeTrailingSeparator(folders[static_cast<size_t>(i)]);
        if (folder.empty())
            continue;
        const TLibPathType pathType = GetPathTypeByName(folder);
        int tab = -1;
        if (LibraryExists(libType_, folder, pathType == TLibPathType::System)) {
            tab = AddIndex(pathType);
            InitLib(tab, folder, pathType == TLibPathType::System);
            OpenLibrary(tab, folder + fileName);
        } else {
            // A file under the library's name that cannot be opened is reported and left as it is, never
            // replaced by a new library.
            if (const std::string problem =
                    LibraryFileProblem(libType_, folder, pathType == TLibPathType::System);
                !problem.empty()) {
                Ui().MessageDlg(problem, mtError, {mbOK});
                continue;
            }
            if (!createMissing || pathType == TLibPathType::System)
                continue;
            if (pathType == TLibPathType::Global && !createGlobal)
                continue;
            tab = AddIndex(pathType);
            CreateNewLibrary(tab, folder + fileName);
        }
        db::TTable* table = GetMainTable(tab);
        if (table && table->Active())
            ReadLibSettings(*GetMyTable(tab));
    }
    if (TabCount() > 0)
        SetCurIndex(TabCount() - 1);
    if (db::TTable* table = CurrentTable())
        if (const db::TFieldDef* nameDef = table->Defs().FindField(NameFieldName(libType_)))
            dbList_->SetColumnWidth(1, std::max(64, std::min(nameDef->Size, 80) * 7));
}

void TCustomLibForm::InitLib(int tabIndex, const std::string& folder, bool readOnly) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    if (dataSource_.DataSet() == myTable->GetTable())
        dataSource_.SetDataSet(nullptr);
    myTable->InitLibX(folder, LibName(libType_), TableNames(libType_), readOnly, true);
    readOnly_[static_cast<size_t>(tabIndex)] = readOnly;
    AttachMainTableEvents(tabIndex);
}

void TCustomLibForm::AttachMainTableEvents(int tabIndex) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table)
        return;
    table->BeforePost = [this](db::TTable& t) {
        // Text a control could not store yet is checked whatever starts the store, scrolling included; bulk
        // work writes its own values.
        if (t.Tag != kTagBulkWork) {
            if (dataSource_.DataSet() == &t)
                dataSource_.UpdateRecord();
            // Every edit stamps its time; copies and imports carry the time of their source.
            if (db::TField* changed = t.FindField("LastChangeDateTime"))
                changed->SetAsDateTime(db::Now());
        }
        MainTableBeforePost(t);
    };
    table->AfterPost = [this](db::TTable& t) {
        MainTableAfterPost(t);
    };
    table->AfterDelete = [this](db::TTable& t) {
        MainTableAfterDelete(t);
    };
    table->BeforeDelete = [this](db::TTable& t) {
        MainTableBeforeDelete(t);
    };
    table->OnNewRecord = [this](db::TTable& t) {
        MainTableNewRecord(t);
    };
    table->AfterCancel = [this](db::TTable& t) {
        MainTableAfterCancel(t);
    };
    table->AfterOpen = [this](db::TTable& t) {
        MainTableAfterOpen(t);
    };
}

void TCustomLibForm::MainTableAfterOpen(db::TTable& table) {
    if (table.FieldCount() == 0)
        return;
    std::vector<TListColumn> columns = dbList_->Columns();
    if (columns.empty()) {
        columns.push_back({table.Fields(0).FieldName(), "###", 48, true});
        columns.push_back({NameFieldName(libType_), "Element name", 200, false});
        dbList_->SetColumns(std::move(columns));
    }
}

// --- tabs

void TCustomLibForm::TabLibsChanging(TComponent& /*sender*/, bool& allowChange) {
    allowChange = FinishEditing();
}

bool TCustomLibForm::FinishEditing() {
    LeaveGridEditModes();
    db::TTable* table = CurrentTable();
    if (!table)
        return true;
    if (!table->Editing())
        return true;
    const int answer = SaveQuestion();
    if (answer == mrCancel) {
        table->Tag = 0;
        return false;
    }
    table->Tag = kTagStoreClose;
    try {
        if (answer == mrYes) {
            dataSource_.UpdateRecord();
            table->Post();
        } else {
            table->Cancel();
        }
    } catch (...) {
        table->Tag = 0;
        throw; // the form shows it; the record stays in edit state
    }
    table->Tag = 0;
    return true;
}

void TCustomLibForm::TabLibsChange(TComponent& /*sender*/) {
    SetCurIndex(tabLibs_->TabIndex());
}

void TCustomLibForm::LeaveGridEditModes() {
    for (TControl* c : panelData_->AllControls())
        if (auto* grid = dynamic_cast<TValueGrid*>(c))
            grid->LeaveEditMode();
}

void TCustomLibForm::SetCaption() {
    const int tab = GetCurIndex();
    std::string caption = GetCaptionString();
    if (tab >= 0)
        caption += std::string(" - ") + PathTypeName(GetPathType(tab)) + " - [" + GetFileName(tab) + "]";
    TControl::SetCaption(std::move(caption));
}

// --- elements

std::string TCustomLibForm::GetElementName(int tabIndex) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table || !table->Active())
        return {};
    db::TField* field = table->FindField(NameFieldName(libType_));
    return field ? field->AsString() : std::string{};
}

bool TCustomLibForm::GotoElementName(int tabIndex, const std::string& name) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table || !table->Active())
        return false;
    return table->Locate(NameFieldName(libType_), {db::TValue(name)}, db::loCaseInsensitive);
}

void TCustomLibForm::ListTitleClick(TComponent& /*sender*/, int col) {
    db::TTable* table = CurrentTable();
    if (!table || table->State() != db::TDataSetState::Browse)
        return;
    if (col == 0)
        table->SetIndexName("p");
    else if (col == 1 && table->Defs().FindIndex("EN"))
        table->SetIndexName("EN");
}

} // namespace korvel
