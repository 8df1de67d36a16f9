#pragma once

// The command line of the desktop program.

#include <optional>
#include <string>
#include <vector>

namespace korvel::gui {

struct TGuiOptions {
    std::string ProjectFolder;
    std::vector<int> OpenTypes;
    std::string Screenshot;
    std::string SettingsFile;
    std::string ConfigDir;
    std::string GlobalFolder;
    std::string SystemFolder;
};

// Parses argv; on --help, --version or an error returns the exit code to leave with (after printing).
std::optional<int> ParseGuiOptions(int argc, char** argv, TGuiOptions& options);
// An absolute folder name with a trailing separator; empty stays empty.
std::string AbsoluteFolder(const std::string& folder);
// The settings file and folder overrides for this run.
void ApplyGuiOptions(const TGuiOptions& options);

} // namespace korvel::gui
