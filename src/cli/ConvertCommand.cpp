// convert: a folder's library files of the older generation become current library files.

#include "cli/CliHost.h"
#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "service/LibService.h"

#include <filesystem>
#include <memory>
#include <set>

namespace fs = std::filesystem;

namespace korvel::cli {

namespace {

std::set<std::string> FileNames(const fs::path& folder) {
    std::set<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file(ec))
            names.insert(entry.path().filename().string());
    return names;
}

int RunConvert(const std::string& folderArg, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(folderArg);
    RequireFolder(folder);
    const fs::path backup = fs::path(folder) / "backup";
    std::error_code ec;
    const bool backupExisted = fs::exists(backup, ec);
    const std::set<std::string> before = FileNames(folder);

    TCliHost host(out, err);
    ConvertLibrary(host, folder);

    // The service makes its backup folder in any case; an empty one that was not there is no result.
    if (!backupExisted && fs::is_directory(backup, ec) && fs::is_empty(backup, ec))
        fs::remove(backup, ec);
    const std::set<std::string> after = FileNames(folder);
    bool changed = false;
    for (const std::string& name : after)
        if (!before.count(name)) {
            out << "Created \"" << folder << name << "\"\n";
            changed = true;
        }
    for (const std::string& name : before)
        if (!after.count(name)) {
            out << "Removed \"" << folder << name << "\"";
            if (fs::exists(backup / name, ec))
                out << " (a copy is in \"" << folder << "backup/\")";
            out << '\n';
            changed = true;
        }
    if (!changed && host.LoggedErrors() == 0)
        out << "No older library files to convert in \"" << folder << "\"\n";
    return host.LoggedErrors() > 0 ? kExitFailure : kExitOk;
}

} // namespace

void AddConvertCommand(CLI::App& app, TCommandList& commands) {
    auto folder = std::make_shared<std::string>();
    CLI::App* cmd = app.add_subcommand(
        "convert",
        "Convert the older library files of a folder; copies of them are kept in its backup folder");
    cmd->add_option("folder", *folder, "Folder holding the older library files")->required();
    commands.push_back({cmd, [folder](std::ostream& out, std::ostream& err) {
                            return RunConvert(*folder, out, err);
                        }});
}

} // namespace korvel::cli
