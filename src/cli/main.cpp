#include "Version.h"
#include "cli/KindsCommand.h"
#include "platform/settings/ConfigLocation.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    CLI::App app{"korvellib - the Korvel library manager on the command line"};
    app.set_version_flag("--version", "korvellib " + korvel::VersionString());
    app.require_subcommand(1);

    std::string settingsFile;
    app.add_option("--settings", settingsFile, "Settings file to use instead of the user's KorvelLib.ini");

    bool json = false;
    auto* kinds = app.add_subcommand("kinds", "List the library kinds with their editors and files");
    kinds->add_flag("--json", json, "Print a JSON array");

    CLI11_PARSE(app, argc, argv);
    try {
        if (!settingsFile.empty()) {
            korvel::SetKorvelLibIniFileName(settingsFile);
        }
        if (*kinds) {
            korvel::cli::PrintKinds(std::cout, json);
        }
    } catch (const std::exception& e) {
        std::cerr << "korvellib: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
