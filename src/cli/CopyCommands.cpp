// copy and backup: elements go from one library into another through the editor's own copy, with its
// name-conflict handling answered by the command line's policy.

#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "platform/base/MyTable.h"
#include "platform/settings/PathText.h"

#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace korvel::cli {

namespace {

struct TCopyOptions {
    int Type = 0;
    std::string Source;
    std::string Target;
    std::vector<int> Numbers;
    bool All = false;
    std::string OnConflict = "skip";
};

struct TBackupOptions {
    int Type = 0;
    std::string Folder;
};

// Selects the source rows in the element list as a person would, and returns how many are selected.
std::int64_t SelectSource(TCustomLibForm& editor, int srcTab, const TCopyOptions& o) {
    TDBElementList& list = editor.DBList();
    list.ClearSelection();
    if (o.All) {
        list.SelectAll();
    } else {
        for (int number : o.Numbers)
            if (editor.GotoElementNo(srcTab, number))
                list.SetRowSelected(list.CurrentRow(), true);
    }
    return list.SelectedCount();
}

int CopyInto(TLibSession& session, int srcTab, const std::string& dst, const TCopyOptions& o,
             std::ostream& out, const std::string& missing) {
    TCustomLibForm& editor = session.Editor();
    const int dstTab = session.Open(dst, true);
    session.RequireWritable(dstTab);
    // The source tab is current, as when the person copies from it.
    if (!editor.TabLibs().SetTabIndex(srcTab) || editor.GetCurIndex() != srcTab)
        throw ECliError(kExitFailure, "The source library could not be shown");
    const std::int64_t selected = SelectSource(editor, srcTab, o);

    db::TTable& target = session.Table(dstTab);
    const std::int64_t before = target.RecordCount();
    if (selected > 0)
        editor.CopyElement(editor, dstTab);
    const std::int64_t added = target.RecordCount() - before;
    // An overwrite keeps the count; skips and refusals add nothing.
    const std::int64_t overwritten =
        ConflictPolicy(o.OnConflict) == TConflictPolicy::Overwrite ? selected - added : 0;
    const std::int64_t skipped = selected - added - overwritten;
    out << "Copied " << Elements(added + overwritten) << " into \"" << editor.GetFileName(dstTab)
        << "\": " << added << " new, " << overwritten << " overwritten, " << skipped << " skipped\n";
    if (!missing.empty())
        throw ECliError(kExitNoElement, "No element " + missing + " in \"" + editor.GetFileName(srcTab) +
                                            "\"; the others were copied");
    return kExitOk;
}

int RunCopy(const TCopyOptions& o, std::ostream& out, std::ostream& err) {
    const std::string src = FolderArg(o.Source);
    const std::string dst = FolderArg(o.Target);
    if (o.Numbers.empty() && !o.All)
        throw ECliError(kExitUsage, "Give the element numbers to copy, or --all");
    if (SameFileName(src, dst))
        throw ECliError(kExitUsage, "Source and destination are the same folder");
    TBatchPolicy policy;
    policy.OnConflict = ConflictPolicy(o.OnConflict);
    auto session = std::make_unique<TLibSession>(o.Type, out, err, policy);
    const int srcTab = session->Open(src, false);

    // Numbers are checked before the destination is made, so a copy of nothing makes nothing.
    std::string missing;
    int found = 0;
    for (int number : o.Numbers) {
        if (session->Editor().GotoElementNo(srcTab, number))
            ++found;
        else
            missing += (missing.empty() ? "" : ", ") + std::to_string(number);
    }
    if (o.All && session->Table(srcTab).IsEmpty()) {
        out << "\"" << session->Editor().GetFileName(srcTab) << "\" holds no elements; nothing was copied\n";
        return kExitOk;
    }
    if (!o.All && found == 0)
        throw ECliError(kExitNoElement,
                        "No element " + missing + " in \"" + session->Editor().GetFileName(srcTab) + "\"");

    const bool existed = LibraryExists(o.Type, dst);
    try {
        return CopyInto(*session, srcTab, dst, o, out, missing);
    } catch (...) {
        // A destination made for this copy goes again when nothing reached it.
        db::TTable* made = session->Editor().GetMainTable(srcTab + 1);
        if (!existed && made && made->Active() && made->IsEmpty()) {
            session.reset();
            RemoveLibrary(o.Type, dst);
        }
        throw;
    }
}

int RunBackup(const TBackupOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    auto session = std::make_unique<TLibSession>(o.Type, err, err);
    session->Open(folder, false);
    const std::string backup = folder + "libs_backup/";
    if (fs::exists(backup + LibName(o.Type)))
        throw ECliError(kExitExists, "Backup copy already exists, please delete the files first! (\"" +
                                         backup + LibName(o.Type) + "\")");
    if (IsSystemFolder(backup))
        throw ECliError(kExitReadOnly, "\"" + backup + "\" is a System folder; no backup can be made there");
    const bool folderExisted = fs::exists(backup);
    TCustomLibForm& editor = session->Editor();
    try {
        editor.PerformBackup(backup);
    } catch (...) {
        session.reset();
        std::error_code ec;
        if (LibraryExists(o.Type, backup))
            RemoveLibrary(o.Type, backup);
        if (!folderExisted)
            fs::remove(backup, ec); // only when empty
        throw;
    }
    const std::int64_t count = session->Table(editor.TabCount() - 1).RecordCount();
    out << "Backup of " << Elements(count) << " in \"" << backup << LibName(o.Type) << "\"\n";
    return kExitOk;
}

} // namespace

void AddCopyCommands(CLI::App& app, TCommandList& commands) {
    auto copy = std::make_shared<TCopyOptions>();
    CLI::App* copyCmd =
        app.add_subcommand("copy", "Copy elements into another library of the kind (created when missing)");
    copyCmd->add_option("type", copy->Type, "Library type number")->required();
    copyCmd->add_option("source", copy->Source, "Folder of the source library")->required();
    copyCmd->add_option("destination", copy->Target, "Folder of the destination library")->required();
    CLI::Option* numbers = copyCmd->add_option("numbers", copy->Numbers, "Element numbers to copy");
    copyCmd->add_flag("--all", copy->All, "Copy every element")->excludes(numbers);
    copyCmd
        ->add_option("--on-conflict", copy->OnConflict,
                     "When the destination holds an element of the name: skip (default), overwrite or rename")
        ->check(CLI::IsMember({"skip", "overwrite", "rename"}));
    commands.push_back({copyCmd, [copy](std::ostream& out, std::ostream& err) {
                            return RunCopy(*copy, out, err);
                        }});

    auto backup = std::make_shared<TBackupOptions>();
    CLI::App* backupCmd = app.add_subcommand(
        "backup", "Copy a library into its folder's libs_backup folder, keeping the numbers");
    backupCmd->add_option("type", backup->Type, "Library type number")->required();
    backupCmd->add_option("folder", backup->Folder, "Folder of the library")->required();
    commands.push_back({backupCmd, [backup](std::ostream& out, std::ostream& err) {
                            return RunBackup(*backup, out, err);
                        }});
}

} // namespace korvel::cli
