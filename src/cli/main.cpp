#include "Version.h"
#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/KindsCommand.h"
#include "cli/LibSession.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/ProgramSettings.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace {

struct TGlobalOptions {
    std::string SettingsFile;
    std::string ConfigDir;
    std::string GlobalFolder;
    std::string SystemFolder;
};

// The settings file and the folder overrides hold for this run only; the settings file is not written.
void ApplyGlobalOptions(const TGlobalOptions& o) {
    using namespace korvel;
    if (!o.SettingsFile.empty())
        SetKorvelLibIniFileName(o.SettingsFile);
    if (!o.ConfigDir.empty())
        SetKorvelLibIniFileName(cli::FolderArg(o.ConfigDir) + "KorvelLib.ini");
    if (!o.GlobalFolder.empty())
        SetGlobalLibPathOverride(cli::FolderArg(o.GlobalFolder));
    if (!o.SystemFolder.empty())
        SetSystemLibPathOverride(cli::FolderArg(o.SystemFolder));
}

} // namespace

int main(int argc, char** argv) {
    using namespace korvel::cli;
    CLI::App app{"korvellib - the Korvel library manager on the command line"};
    app.set_version_flag("--version", "korvellib " + korvel::VersionString());
    app.require_subcommand(1);

    TGlobalOptions global;
    auto* settings = app.add_option("--settings", global.SettingsFile,
                                    "Settings file to use instead of the user's KorvelLib.ini")
                         ->type_name("FILE");
    app.add_option("--config", global.ConfigDir, "Settings folder: use DIR/KorvelLib.ini")
        ->type_name("DIR")
        ->excludes(settings);
    app.add_option("--global-folder", global.GlobalFolder, "Global library folder for this run")
        ->type_name("DIR");
    app.add_option("--system-folder", global.SystemFolder, "System library folder for this run")
        ->type_name("DIR");

    bool json = false;
    auto* kinds = app.add_subcommand("kinds", "List the library kinds with their editors and files");
    kinds->add_flag("--json", json, "Print a JSON array");

    TCommandList commands;
    AddReadCommands(app, commands);
    AddEditCommands(app, commands);
    AddCopyCommands(app, commands);
    AddConvertCommand(app, commands);
    AddImportExportCommands(app, commands);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }
    try {
        ApplyGlobalOptions(global);
        if (*kinds) {
            PrintKinds(std::cout, json);
            return kExitOk;
        }
        for (const TCommand& command : commands)
            if (command.App->parsed())
                return command.Run(std::cout, std::cerr);
    } catch (const ECliError& e) {
        std::cout.flush();
        std::cerr << "korvellib: " << e.what() << '\n';
        return e.Code();
    } catch (const std::exception& e) {
        std::cout.flush();
        std::cerr << "korvellib: " << e.what() << '\n';
        return kExitFailure;
    }
    return kExitOk;
}
