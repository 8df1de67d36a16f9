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
    // What the opened editors show first: the element of that number (0: as they open) and the page of
    // that caption.
    int Element = 0;
    std::string Page;
    // Width and height of the main window for this run (0: as stored or the default).
    int WindowWidth = 0;
    int WindowHeight = 0;
    std::string SettingsFile;
    std::string ConfigDir;
    std::string GlobalFolder;
    std::string SystemFolder;
};

// Parses argv; on --help, --version or an error returns the exit code to leave with (after printing).
std::optional<int> ParseGuiOptions(int argc, char** argv, TGuiOptions& options);
// "1600x1000" as width and height; false for anything else or a size no screen has (below 200x150).
bool ParseWindowSize(const std::string& text, int& width, int& height);
// An absolute folder name with a trailing separator; empty stays empty.
std::string AbsoluteFolder(const std::string& folder);
// The settings file and folder overrides for this run.
void ApplyGuiOptions(const TGuiOptions& options);

} // namespace korvel::gui
