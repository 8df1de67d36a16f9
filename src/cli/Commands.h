#pragma once

// The subcommands of korvellib. Each group adds its subcommands to the program and one action per
// subcommand; main() runs the action of the subcommand given, after the global options are in force.

#include <CLI/CLI.hpp>
#include <functional>
#include <ostream>
#include <vector>

namespace korvel::cli {

// Returns the exit code; failures may also throw (ECliError carries its code).
using TCommandAction = std::function<int(std::ostream& out, std::ostream& err)>;

struct TCommand {
    CLI::App* App = nullptr;
    TCommandAction Run;
};

using TCommandList = std::vector<TCommand>;

// list, show
void AddReadCommands(CLI::App& app, TCommandList& commands);
// add, set, delete
void AddEditCommands(CLI::App& app, TCommandList& commands);
// copy, backup
void AddCopyCommands(CLI::App& app, TCommandList& commands);
// convert
void AddConvertCommand(CLI::App& app, TCommandList& commands);
// import, export
void AddImportExportCommands(CLI::App& app, TCommandList& commands);

} // namespace korvel::cli
