// import and export: a file goes into a library through the editor's own import command, and the sound
// libraries go out to a workbook through the editor's export. Spreadsheet columns are mapped by their
// headings, or as the command line says; name conflicts follow the command line's policy.

#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "platform/base/MyTable.h"
#include "platform/legacy/Trim.h"
#include "sound/FormLibX.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace fs = std::filesystem;

namespace korvel::cli {

namespace {

struct TImportOptions {
    int Type = 0;
    std::string Folder;
    std::string File;
    std::vector<std::string> Columns;
    std::string OnConflict = "skip";
};

struct TExportOptions {
    int Type = 0;
    std::string Folder;
    std::string File;
};

struct TColumnMap {
    std::string Field;
    std::string Column;
};

std::string Upper(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

std::vector<TColumnMap> ReadColumnMaps(const std::vector<std::string>& args) {
    std::vector<TColumnMap> maps;
    for (const std::string& text : args) {
        const std::size_t eq = text.find('=');
        if (eq == std::string::npos || eq == 0)
            throw ECliError(kExitUsage, "--columns needs FIELD=COLUMN, not \"" + text + "\"");
        maps.push_back({TrimText(text.substr(0, eq)), TrimText(text.substr(eq + 1))});
    }
    return maps;
}

// A field by its name or its caption, ignoring case.
TFieldNameItem& FindImportField(TFieldNameList& fields, const std::string& name) {
    if (TFieldNameItem* item = fields.Find(name))
        return *item;
    for (TFieldNameItem& item : fields.Items)
        if (Upper(item.Caption) == Upper(name))
            return item;
    std::string known;
    for (const TFieldNameItem& item : fields.Items)
        known += (known.empty() ? "" : ", ") + item.FieldName;
    throw ECliError(kExitUsage, "Unknown import field \"" + name + "\"; the fields are: " + known);
}

sound::TFormLibX* SoundEditor(TLibSession& session) {
    return dynamic_cast<sound::TFormLibX*>(&session.Editor());
}

// Shows the tab as the person would before importing into it or exporting it, with every element visible.
void ShowTab(TLibSession& session, int tab) {
    TCustomLibForm& editor = session.Editor();
    if (!editor.TabLibs().SetTabIndex(tab) || editor.GetCurIndex() != tab)
        throw ECliError(kExitFailure, "The library could not be shown");
    editor.SwitchElementFilterOff();
    session.Table(tab).SetFiltered(false);
}

int RunImport(const TImportOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    const std::string file = fs::absolute(fs::path(o.File)).lexically_normal().string();
    std::error_code ec;
    if (!fs::is_regular_file(file, ec))
        throw ECliError(kExitFailure, "The file \"" + file + "\" does not exist");
    const std::vector<TColumnMap> maps = ReadColumnMaps(o.Columns);

    TBatchPolicy policy;
    policy.OnConflict = ConflictPolicy(o.OnConflict);
    auto session = std::make_unique<TLibSession>(o.Type, out, err, policy);
    if (session->Editor().GetImportFilter().empty())
        throw ECliError(kExitUsage, std::string(session->Kind().Caption) + " (type " +
                                        std::to_string(o.Type) + ") imports no files");
    const bool existed = LibraryExists(o.Type, folder);
    const int tab = session->Open(folder, true);
    std::int64_t added = 0;
    try {
        session->RequireWritable(tab);
        ShowTab(*session, tab);
        bool mapped = false;
        const std::function<void(TExcelImportForm&)> mapColumns = [&maps, &mapped](TExcelImportForm& form) {
            // The headings map themselves; the command line's columns come on top.
            for (const TColumnMap& map : maps) {
                TFieldNameItem& item = FindImportField(form.Fields(), map.Field);
                int column = -1;
                try {
                    column = form.ColumnOf(map.Column);
                } catch (const EKorvelError& e) {
                    throw ECliError(kExitUsage, std::string("--columns ") + map.Field + "=" + map.Column +
                                                    ": " + e.what());
                }
                form.MapColumn(item.FieldName, column);
            }
            mapped = true;
            form.RunImport();
            form.SetModalResult(mrOk);
        };
        session->Editor().BeforeExcelImport = mapColumns;
        const std::int64_t before = session->Table(tab).RecordCount();
        session->Editor().ImportFile(file);
        added = session->Table(tab).RecordCount() - before;
        if (!maps.empty() && !mapped)
            err << "Warning: --columns is left unused: \"" << file
                << "\" is not imported as a spreadsheet or text table\n";
        // A refused loudspeaker file says so only in its message; the command fails.
        const std::string extension = Upper(fs::path(file).extension().string());
        if (added == 0 && (extension == ".CF1" || extension == ".CF2"))
            throw ECliError(kExitFailure, "Nothing was imported from \"" + file + "\"");
    } catch (...) {
        db::TTable* made = session->Editor().GetMainTable(tab);
        if (!existed && made && made->Active() && made->IsEmpty()) {
            session.reset();
            RemoveLibrary(o.Type, folder);
        }
        throw;
    }
    out << "\"" << session->Editor().GetFileName(tab) << "\": " << Elements(added) << " added, "
        << Elements(session->Table(tab).RecordCount()) << " in all\n";
    return kExitOk;
}

int RunExport(const TExportOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    const fs::path file = fs::absolute(fs::path(o.File)).lexically_normal();
    if (Upper(file.extension().string()) != ".XLSX")
        throw ECliError(kExitUsage, "The export file must end in \".xlsx\", not \"" + file.string() + "\"");
    std::error_code ec;
    if (!fs::is_directory(file.parent_path(), ec))
        throw ECliError(kExitFailure, "The folder \"" + file.parent_path().string() + "\" does not exist");
    auto session = std::make_unique<TLibSession>(o.Type, out, err);
    sound::TFormLibX* sound = SoundEditor(*session);
    if (!sound)
        throw ECliError(kExitUsage, std::string(session->Kind().Caption) + " (type " +
                                        std::to_string(o.Type) + ") has no export");
    const int tab = session->Open(folder, false);
    ShowTab(*session, tab);
    const int exported = sound->ExportToExcel(file.string());
    out << "Exported " << Elements(exported) << " of \"" << session->Editor().GetFileName(tab) << "\" to \""
        << file.string() << "\"\n";
    return kExitOk;
}

} // namespace

void AddImportExportCommands(CLI::App& app, TCommandList& commands) {
    auto import = std::make_shared<TImportOptions>();
    CLI::App* importCmd = app.add_subcommand(
        "import", "Import a file into a library (created when missing) as the editor's Import does");
    importCmd->add_option("type", import->Type, "Library type number")->required();
    importCmd->add_option("folder", import->Folder, "Folder of the library")->required();
    importCmd->add_option("file", import->File, "File to import: a spreadsheet, text table or older library")
        ->required();
    importCmd
        ->add_option("--columns", import->Columns,
                     "FIELD=COLUMN: map a field (name or caption) to a column (heading, letter or number)")
        ->type_name("FIELD=COLUMN");
    importCmd
        ->add_option("--on-conflict", import->OnConflict,
                     "When the library holds an element of the name: skip (default), overwrite or rename")
        ->check(CLI::IsMember({"skip", "overwrite", "rename"}));
    commands.push_back({importCmd, [import](std::ostream& out, std::ostream& err) {
                            return RunImport(*import, out, err);
                        }});

    auto exportOptions = std::make_shared<TExportOptions>();
    CLI::App* exportCmd =
        app.add_subcommand("export", "Export the elements of a sound library to a workbook (.xlsx)");
    exportCmd->add_option("type", exportOptions->Type, "Library type number")->required();
    exportCmd->add_option("folder", exportOptions->Folder, "Folder of the library")->required();
    exportCmd->add_option("file", exportOptions->File, "Workbook to write (.xlsx)")->required();
    commands.push_back({exportCmd, [exportOptions](std::ostream& out, std::ostream& err) {
                            return RunExport(*exportOptions, out, err);
                        }});
}

} // namespace korvel::cli
