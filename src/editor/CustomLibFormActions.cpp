// Menu actions of the editor frame: selection, deletion, menu enabling, opening another library, import,
// backups, the library update, the y-scale, the picture field and the pick mode's accept bar.

#include "editor/CustomLibForm.h"
#include "editor/ElementCopy.h"
#include "editor/ParadoxImport.h"
#include "platform/Errors.h"
#include "platform/base/ExcelImportForm.h"
#include "platform/base/LibKinds.h"
#include "platform/base/YScaleForm.h"
#include "platform/db/Database.h"
#include "platform/db/Restructure.h"
#include "platform/db/Table.h"
#include "platform/image/Picture.h"
#include "platform/legacy/Trim.h"
#include "platform/log/Log.h"
#include "platform/settings/PathText.h"
#include "platform/ui/Ui.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace korvel {

// --- selection and deletion

std::vector<int> TCustomLibForm::SelectedElementNos() {
    std::vector<int> numbers;
    db::TTable* table = CurrentTable();
    if (!table || table->IsEmpty())
        return numbers;
    std::vector<db::TBookmark> marks = dbList_->SelectedBookmarks();
    if (marks.empty())
        return {table->Fields(0).AsInteger()};
    // The element number is the record's rowid, so a bookmark is the number itself.
    if (table->Fields(0).DataType() == db::TFieldType::AutoInc) {
        for (db::TBookmark mark : marks)
            numbers.push_back(static_cast<int>(mark));
        return numbers;
    }
    const db::TBookmark here = table->GetBookmark();
    for (db::TBookmark mark : marks)
        if (table->GotoBookmark(mark))
            numbers.push_back(table->Fields(0).AsInteger());
    table->GotoBookmark(here);
    return numbers;
}

void TCustomLibForm::SelectAll() {
    dbList_->SelectAll();
}

void TCustomLibForm::SelectAllClick(TComponent& /*sender*/) {
    // Ctrl+A in an edit box selects its text; the renderer does that itself.
    if (dynamic_cast<TEdit*>(ActiveControl()) != nullptr)
        return;
    SelectAll();
}

void TCustomLibForm::DeleteSelected() {
    db::TTable* table = CurrentTable();
    if (!table || !table->CanModify() || table->IsEmpty())
        return;
    if (table->Editing())
        table->Cancel();
    if (dbList_->SelectedCount() == 0) {
        table->Delete();
        return;
    }
    // The selection is taken once: reading it again after each row would cost a scan per deletion.
    const std::vector<db::TBookmark> marks = dbList_->SelectedBookmarks();
    dbList_->ClearSelection();
    table->DisableControls();
    try {
        for (db::TBookmark mark : marks)
            if (table->GotoBookmark(mark))
                table->Delete();
    } catch (...) {
        table->EnableControls();
        throw;
    }
    table->EnableControls();
}

void TCustomLibForm::NavigatorBeforeAction(TComponent& /*sender*/, TNavigateBtn button) {
    LeaveGridEditModes();
    if (button == nbPost)
        dataSource_.UpdateRecord();
    if (button == nbDelete) {
        DeleteSelected();
        Abort(); // done here, row by row; the navigator's own single delete must not follow
    }
}

void TCustomLibForm::EnableDBButtons() {
    TMainMenu* menu = MainMenu();
    if (!menu)
        return;
    db::TTable* table = dataSource_.Active() ? dataSource_.DataSet() : nullptr;
    const bool canModify = table && table->CanModify();
    const bool editing = table && table->Editing();
    auto set = [&](const char* name, bool enabled) {
        if (TMenuItem* item = menu->FindItem(name))
            item->SetEnabled(enabled);
    };
    const bool first = table && !table->Bof();
    const bool next = table && !table->Eof();
    set("GoFirst", first);
    set("GoPrior", first);
    set("GoNext", next);
    set("GoLast", next);
    set("InsertElement", canModify);
    set("DeleteElement", canModify && !table->IsEmpty());
    set("StoreElement", canModify && editing);
    set("CancelEdit", canModify && editing);
    set("GoTo", first || next || canModify);
    const int tab = GetCurIndex();
    set("Import", tab >= 0 && GetPathType(tab) != TLibPathType::System && !TabReadOnly(tab) &&
                      !GetImportFilter().empty());
    if (TMenuItem* copyTo = menu->FindItem("CopyTo"))
        CreateCopyToMenu(*copyTo);
}

// --- other libraries and import

void TCustomLibForm::OpenAnotherLibraryClick(TComponent& /*sender*/) {
    TOpenDialogOptions options;
    options.Title = "Select library path";
    options.Filter = GetFilterName();
    const int p = GetFirstProjIndex();
    if (p >= 0) {
        const std::string file = GetFileName(p);
        options.FileName = file;
        options.InitialDir = ExtractFolder(file);
    }
    std::vector<fs::path> chosen = Ui().OpenDialog(options);
    if (chosen.empty())
        return;
    const std::string folder = IncludeTrailingSeparator(chosen.front().parent_path().string());
    if (!fs::exists(folder + LibName(libType_))) {
        Ui().MessageDlg("The folder \"" + folder + "\" holds no library \"" + LibName(libType_) + "\".",
                        mtError, {mbOK});
        return;
    }
    // A library that is open already is shown rather than opened twice.
    if (int tab = FindTabByFileName(folder + LibName(libType_)); tab >= 0) {
        if (tabLibs_->SetTabIndex(tab))
            SetCurIndex(tab);
        return;
    }
    OpenFiles({folder}, 0, false, false);
}

bool TCustomLibForm::ImportOpenDialog(std::string& fileName) {
    TOpenDialogOptions options;
    options.Title = "Import";
    options.Filter = GetImportFilter();
    options.FileName = fileName;
    std::vector<fs::path> chosen = Ui().OpenDialog(options);
    if (chosen.empty())
        return false;
    fileName = chosen.front().string();
    return true;
}

bool TCustomLibForm::ImportMultiOpenDialog(std::vector<std::string>& files) {
    TOpenDialogOptions options;
    options.Title = "Import";
    options.Filter = GetImportFilter();
    options.MultiSelect = true;
    std::vector<fs::path> chosen = Ui().OpenDialog(options);
    files.clear();
    for (const fs::path& f : chosen)
        files.push_back(f.string());
    return !files.empty();
}

void TCustomLibForm::ImportClick(TComponent& /*sender*/) {
    db::TTable* table = CurrentTable();
    if (!table || GetImportFilter().empty())
        return;
    if (table->Editing())
        StoreCurrent();
    const std::string name = GetElementName(GetCurIndex());
    const bool filtered = table->Filtered();
    table->SetFiltered(false);
    std::string file;
    {
        TBulkTag bulk(*table);
        if (ImportOpenDialog(file))
            ImportFile(file);
    }
    GotoElementName(GetCurIndex(), name);
    table->SetFiltered(filtered);
}

// --- backups

void TCustomLibForm::BackupCopyClick(TComponent& /*sender*/) {
    TMyTable* myTable = GetMyTable(GetCurIndex());
    if (!myTable || !CurrentTable())
        return;
    const std::string folder = myTable->Folder() + "libs_backup/";
    if (fs::exists(folder + LibName(libType_))) {
        Ui().MessageDlg("Backup copy already exists, please delete the files first!", mtError, {mbOK});
        return;
    }
    if (GetPathTypeByName(folder) == TLibPathType::System) {
        Ui().MessageDlg("A backup cannot be written into the System library folder \"" + folder + "\"",
                        mtError, {mbOK});
        return;
    }
    Ui().MessageDlg("Creates a backup in folder \"" + folder + "\"!", mtInformation, {mbOK});
    PerformBackup(folder);
}

void TCustomLibForm::PerformBackup(const std::string& folder) {
    const int s = GetCurIndex();
    db::TTable* source = CurrentTable();
    if (!source)
        return;
    if (GetPathTypeByName(folder) == TLibPathType::System)
        throw EKorvelError("A backup cannot be written into the System library folder \"" + folder + "\"");
    if (source->Editing())
        StoreCurrent();
    const std::string fileName = LibName(libType_);
    const fs::path finalFile = fs::path(folder) / fileName;
    if (fs::exists(finalFile))
        throw EKorvelError("The backup library \"" + finalFile.string() + "\" exists already");
    // The copy grows in a folder of its own and is moved into place once complete, so a backup library that
    // is there is whole, whatever stops the program on the way.
    const fs::path staging = fs::path(folder) / ".incomplete";
    std::error_code ec;
    fs::remove_all(staging, ec); // left by a backup that was stopped
    fs::create_directories(staging);
    const int tabsBefore = TabCount();
    // A backup of the Global library lies below the global folder, so it counts as Global and must be made.
    OpenFiles({staging.string() + "/"}, 0, true, true);
    if (TabCount() == tabsBefore || !CurrentTable()) {
        fs::remove_all(staging, ec);
        throw EKorvelError("The backup library in \"" + folder + "\" could not be created");
    }
    const int d = GetCurIndex();
    db::TTable& target = *CurrentTable();
    db::TDatabase& targetDb = GetMyTable(d)->Database();
    db::TDatabase& sourceDb = GetMyTable(s)->Database();

    const db::TBookmark position = source->GetBookmark();
    const std::string index = source->IndexName();
    const bool filtered = source->Filtered();
    source->SetFiltered(false);
    source->SetIndexName("p");
    auto beforeDelete = target.BeforeDelete;
    target.BeforeDelete = nullptr;
    auto restore = [&] {
        source->SetIndexName(index);
        source->SetFiltered(filtered);
        source->GotoBookmark(position);
        target.BeforeDelete = beforeDelete;
    };
    try {
        // Every element is copied, names that repeat included: no name is looked up, nothing is asked.
        TAppendOnly appendOnly(target);
        targetDb.StartTransaction();
        TneAction action = TneAction::Overwrite;
        std::optional<TReadSnapshot> snapshot;
        snapshot.emplace(sourceDb, targetDb);
        std::optional<TControlsOff> quietSource, quietTarget;
        quietSource.emplace(*source);
        quietTarget.emplace(target);
        std::optional<TBulkWork> bulkSource, bulkTarget;
        bulkSource.emplace(*this, s);
        bulkTarget.emplace(*this, d);
        source->First();
        while (!source->Eof()) {
            const std::int64_t n = source->Fields(0).AsLargeInt();
            // Numbers are never reused: raising the counter to the source number reproduces the gaps.
            targetDb.RaiseNextAutoIncValue(target.TableName(), n);
            const std::int64_t before = targetDb.NextAutoIncValue(target.TableName());
            {
                TPendingRecord pending(target);
                CopySingleElement(s, d, *this, true, action);
            }
            if (action == TneAction::Cancel)
                Abort();
            const std::int64_t m = targetDb.NextAutoIncValue(target.TableName()) - 1;
            if (m < before)
                throw EKorvelError("Element " + std::to_string(n) + " could not be copied into the backup");
            if (n > m) {
                // The counter could not be raised: delete the copy and copy again until the number fits.
                if (GotoElementNo(d, static_cast<int>(m)))
                    target.Delete();
                continue;
            }
            source->Next();
        }
        bulkTarget.reset();
        bulkSource.reset();
        quietTarget.reset();
        quietSource.reset();
        snapshot.reset();
        // Numbers the source handed out to elements deleted since are not handed out by the backup either.
        targetDb.RaiseNextAutoIncValue(target.TableName(), sourceDb.NextAutoIncValue(source->TableName()));
        targetDb.Commit();
        restore();
        // The source is shown while the backup's tab is bound anew to the final file; closing checkpoints
        // the write-ahead log into the file, which then holds everything alone.
        SetCurIndex(s);
        GetMyTable(d)->Close();
        const fs::path made = staging / fileName;
        if (fs::exists(made.string() + "-wal"))
            throw EKorvelError("The backup library \"" + made.string() + "\" could not be closed");
        // Files that travelled with the elements first; the library file last, as the mark of a whole backup.
        for (const fs::directory_entry& entry : fs::directory_iterator(staging))
            if (entry.is_regular_file() && entry.path().filename() != fileName &&
                !entry.path().filename().string().starts_with(fileName))
                fs::rename(entry.path(), fs::path(folder) / entry.path().filename());
        fs::rename(made, finalFile);
    } catch (...) {
        if (targetDb.InTransaction())
            targetDb.Rollback();
        restore();
        GetMyTable(d)->Close();
        fs::remove_all(staging, ec);
        throw;
    }
    fs::remove_all(staging, ec);
    InitLib(d, folder, false);
    OpenLibrary(d, finalFile.string());
    if (db::TTable* table = GetMainTable(d); table && table->Active())
        ReadLibSettings(*GetMyTable(d));
    SetCurIndex(d);
}

namespace {

// Records of every table of a library, to tell a complete copy from a partial one.
std::vector<std::int64_t> RecordCounts(TMyTable& myTable) {
    std::vector<std::int64_t> counts;
    for (int i = 0; i < myTable.GetCount(); ++i) {
        db::TTable* t = myTable.GetItem(i);
        if (!t->Active()) {
            counts.push_back(-1);
            continue;
        }
        const bool filtered = t->Filtered();
        t->SetFiltered(false);
        counts.push_back(t->RecordCount());
        t->SetFiltered(filtered);
    }
    return counts;
}

bool CopyOne(const fs::path& from, const fs::path& to) {
    std::error_code ec;
    fs::create_directories(to.parent_path(), ec);
    return fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec) && !ec;
}

} // namespace

bool TCustomLibForm::UpdateLibrary() {
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    if (!myTable || !CurrentTable())
        return false;
    if (TabReadOnly(tab)) {
        Ui().MessageDlg("The library \"" + myTable->FileName() + "\" is read-only.", mtError, {mbOK});
        return false;
    }
    const fs::path folder = myTable->Folder();
    const std::string fileName = LibName(libType_);
    const fs::path tmp = folder / "tmp";
    const fs::path tmp2 = folder / "tmp2";
    std::error_code ec;
    PerformBackup(tmp.string() + "/");
    TMyTable* backup = GetMyTable(TabCount() - 1);
    // Only a complete copy may replace the library.
    const bool complete = backup != myTable && RecordCounts(*backup) == RecordCounts(*myTable);
    if (backup != myTable)
        backup->Close();
    myTable->GetTable()->Close();
    myTable->Close();
    bool restored = false;
    if (complete && CopyOne(folder / fileName, tmp2 / fileName)) {
        // Renamed, not copied, over the library: a crash leaves either the old file or the new one whole.
        fs::rename(tmp / fileName, folder / fileName, ec);
        restored = !ec;
        // A copy back that broke off leaves the saved file in place again.
        if (!restored)
            CopyOne(tmp2 / fileName, folder / fileName);
    }
    for (const fs::path& dir : {tmp, tmp2})
        fs::remove_all(dir, ec);
    myTable->Open();
    // The backup made on the way was a tab of its own; the updated library is shown again.
    SetCurIndex(tab);
    if (!complete)
        Ui().MessageDlg("The library \"" + myTable->FileName() +
                            "\" was not updated: its copy was incomplete.",
                        mtError, {mbOK});
    return restored;
}

// --- y-scale

void TCustomLibForm::YScaleClick(TComponent& /*sender*/) {
    EditYScale(Ui(), libType_);
}

// --- picture field

TPanel& TCustomLibForm::CreatePictureField(TControl& parent, std::string fieldName) {
    pictureField_ = std::move(fieldName);
    dbImagePanel_ = &parent.Add<TPanel>("DBImagePanel");
    dbImagePanel_->SetAlign(alClient);
    dbImage_ = &dbImagePanel_->Add<TPictureBox>("DBImage");
    dbImage_->SetProportional(true);
    TPopupMenu& menu = AddPopupMenu("PictureMenu");
    menu.Items().Add("PictureLoad", "Load..").OnClick = Bind(&TCustomLibForm::PictureLoadClick);
    menu.Items().Add("PictureClear", "Clear").OnClick = Bind(&TCustomLibForm::PictureClearClick);
    menu.Items().Add("PictureCopy", "Copy").OnClick = Bind(&TCustomLibForm::PictureCopyClick);
    menu.Items().Add("PicturePaste", "Paste").OnClick = Bind(&TCustomLibForm::PicturePasteClick);
    dbImage_->SetPopupMenu(&menu);
    dataSource_.AddListener([this](db::TDataEvent event, const db::TField* field) {
        if (event != db::TDataEvent::FieldChange || (field && field->FieldName() == pictureField_))
            ShowPicture();
    });
    ShowPicture();
    return *dbImagePanel_;
}

void TCustomLibForm::SetPictureCommandsOn(TControl& control, bool offered) {
    if (!offered) {
        control.SetPopupMenu(nullptr);
        return;
    }
    if (!pictureCommands_) {
        pictureCommands_ = &AddPopupMenu("PictureCommands");
        TMenuItem& items = pictureCommands_->Items();
        items.Add("PictureCommandLoad", "Load picture..").OnClick = Bind(&TCustomLibForm::PictureLoadClick);
        items.Add("PictureCommandClear", "Clear picture").OnClick = Bind(&TCustomLibForm::PictureClearClick);
        items.Add("PictureCommandCopy", "Copy picture").OnClick = Bind(&TCustomLibForm::PictureCopyClick);
        items.Add("PictureCommandPaste", "Paste picture").OnClick = Bind(&TCustomLibForm::PicturePasteClick);
    }
    control.SetPopupMenu(pictureCommands_);
}

void TCustomLibForm::ShowPicture() {
    if (!dbImage_)
        return;
    db::TTable* table = CurrentTable();
    db::TField* field = table ? table->FindField(pictureField_) : nullptr;
    db::TBytes bytes = field && !table->IsEmpty() ? field->AsBytes() : db::TBytes{};
    // An empty panel would only narrow what stands beside it (the graph).
    const bool shown = !bytes.empty() && !DetectImageFormat(bytes).empty();
    dbImagePanel_->SetVisible(shown);
    if (!shown) {
        dbImage_->Clear();
        return;
    }
    dbImage_->SetPicture(std::move(bytes));
    ResizePicture(*dbImagePanel_);
}

void TCustomLibForm::LoadGraphicField(const std::string& fileName, db::TField& field, int maxSize) {
    field.SetAsBytes(LoadPictureFile(fileName, maxSize));
}

void TCustomLibForm::ResizePicture(TPanel& panel) {
    if (!dbImage_ || dbImage_->Empty())
        return;
    std::optional<TImageSize> size = ImageSizeOf(dbImage_->Bytes());
    if (!size)
        return;
    const TRect r = FitRect(*size, panel.ClientRect());
    dbImage_->SetBounds(r.Left, r.Top, r.Width, r.Height);
}

void TCustomLibForm::PictureLoadClick(TComponent& /*sender*/) {
    db::TTable* table = CurrentTable();
    if (!table || !table->CanModify() || pictureField_.empty())
        return;
    TOpenDialogOptions options;
    options.Title = "Load picture";
    options.Filter = "Pictures (*.png;*.jpg;*.jpeg;*.bmp;*.gif)|*.png;*.jpg;*.jpeg;*.bmp;*.gif";
    std::vector<fs::path> chosen = Ui().OpenDialog(options);
    if (chosen.empty())
        return;
    // Read before the record is touched, so a bad file leaves it as it was.
    std::vector<std::uint8_t> png = LoadPictureFile(chosen.front(), 400);
    if (!table->Editing())
        table->Edit();
    table->FieldByName(pictureField_).SetAsBytes(png);
    ShowPicture();
}

void TCustomLibForm::PictureClearClick(TComponent& /*sender*/) {
    db::TTable* table = CurrentTable();
    if (!table || !table->CanModify() || pictureField_.empty())
        return;
    if (!table->Editing())
        table->Edit();
    table->FieldByName(pictureField_).Clear();
    ShowPicture();
}

void TCustomLibForm::PictureCopyClick(TComponent& /*sender*/) {
    if (dbImage_ && !dbImage_->Empty())
        Ui().SetClipboardPicture(dbImage_->Bytes());
}

void TCustomLibForm::PicturePasteClick(TComponent& /*sender*/) {
    db::TTable* table = CurrentTable();
    if (!table || !table->CanModify() || pictureField_.empty())
        return;
    std::vector<std::uint8_t> bytes = Ui().ClipboardPicture();
    if (bytes.empty())
        return;
    std::vector<std::uint8_t> png = FitPicture(bytes, 400);
    if (!table->Editing())
        table->Edit();
    table->FieldByName(pictureField_).SetAsBytes(png);
    ShowPicture();
}

// --- pick mode

void TCustomLibForm::ShowAcceptBar() {
    panelAccept_->SetVisible(true);
}

bool TCustomLibForm::AcceptBarVisible() const {
    return panelAccept_->Visible();
}

// --- table maintenance

namespace {
// The longest string field the database engine accepts; longer texts belong in a memo.
constexpr int kMaxNameFieldLength = 8000;
} // namespace

void ChangeNameFieldLength(TCustomLibForm& editor) {
    const int tab = editor.GetCurIndex();
    TMyTable* myTable = editor.GetMyTable(tab);
    db::TTable* table = editor.GetMainTable(tab);
    if (!myTable || !table || !table->Active() || !editor.FinishEditing())
        return;
    IUi& ui = editor.Ui();
    const std::string field = NameFieldName(editor.LibType());
    const db::TFieldDef* def = table->Defs().FindField(field);
    std::string answer = std::to_string(def ? def->Size : 0);
    const db::TBookmark here = table->GetBookmark();
    // The engine rewrites the file only while no cursor reads the table.
    table->Close();
    try {
        if (ui.InputQuery("Enter new length of element name field", "Length:", answer)) {
            const std::string text = TrimText(answer);
            int length = 0;
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), length);
            if (text.empty() || ec != std::errc() || end != text.data() + text.size())
                throw EKorvelError("\"" + answer + "\" is not a valid integer value");
            if (length < 1 || length > kMaxNameFieldLength)
                throw EKorvelError("\"" + answer + "\" is not a length between 1 and " +
                                   std::to_string(kMaxNameFieldLength));
            if (auto error = myTable->Database().Restructure(table->TableName(),
                                                             db::TRestructure().ResizeField(field, length)))
                ui.MessageDlg("Restructure failed. " + *error, mtError, {mbOK});
        }
    } catch (const EKorvelError& e) {
        ui.MessageDlg(e.what(), mtError, {mbOK});
    }
    table->Open();
    table->GotoBookmark(here);
    editor.SetCurIndex(tab);
}

void TCustomLibForm::RunLibraryUpdate(int tabIndex, const std::function<void()>& update) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    Host().ShowLog(false);
    try {
        db::TTransaction transaction(myTable->Database());
        update();
        transaction.Keep();
    } catch (const std::exception& e) {
        Host().Log().AddError(std::string(kUpdateFailedPrefix) + e.what());
    }
    if (db::TTable* main = myTable->GetTable(); main && main->Active())
        main->First();
    Host().ShowLog(false);
}

bool TCustomLibForm::CheckImportRowName(TExcelImportForm& sender, db::TTable& table, std::string& name,
                                        TImportLineAction& action) {
    // The dialog keeps the answer that holds for the following rows in its tag: 0 before the first conflict,
    // else the answer + 1.
    TneAction answer = sender.Tag() <= 0 ? TneAction::Skip : static_cast<TneAction>(sender.Tag() - 1);
    const bool go = CheckNameTwice(Ui(), table, "EN", name, answer);
    sender.SetTag(static_cast<int>(answer) + 1);
    if (!go) {
        if (answer == TneAction::Cancel)
            action = TImportLineAction::Stop;
        else
            ++sender.Duplicates;
    }
    return go;
}

int TCustomLibForm::RunExcelImport(TExcelImportForm& form, int& count, int& duplicates) {
    form.Log = &Host().Log();
    const TBulkWork bulkWork(*this, GetCurIndex());
    // While the rows run, not while the dialog is open: a program stopped half-way leaves none of the file's
    // rows, never a part.
    TMyTable* myTable = GetMyTable(GetCurIndex());
    form.Database = myTable && CurrentTable() ? &myTable->Database() : nullptr;
    std::optional<TControlsOff> quiet;
    if (CurrentTable())
        quiet.emplace(*CurrentTable());
    if (BeforeExcelImport)
        BeforeExcelImport(form);
    // A caller that settled the dialog already (the command line runs it unseen) does not show it.
    const int result = form.ModalResult() != mrNone ? form.ModalResult() : Ui().ShowModal(form);
    count = form.Imported;
    duplicates = form.Duplicates;
    return result;
}

bool TCustomLibForm::RestructureMainTable(int tabIndex, const db::TRestructure& change) {
    TMyTable* myTable = GetMyTable(tabIndex);
    db::TTable* table = GetMainTable(tabIndex);
    if (!myTable || !table)
        return false;
    std::optional<std::string> error;
    {
        TWaitCursor wait(Ui());
        table->Close();
        error = myTable->Database().Restructure(table->TableName(), change);
        table->Open();
    }
    if (error)
        Ui().MessageDlg(*error, mtError, {mbOK});
    return !error;
}

} // namespace korvel
