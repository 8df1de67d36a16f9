#include "gui/app/GuiOptions.h"

#include "Version.h"
#include "platform/base/LibKinds.h"
#include "platform/settings/ConfigLocation.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>

namespace korvel::gui {

std::optional<int> ParseGuiOptions(int argc, char** argv, TGuiOptions& options) {
    CLI::App app{"korvellib-gui - the Korvel library manager"};
    app.set_version_flag("--version", "korvellib-gui " + VersionString());
    app.add_option("--project", options.ProjectFolder, "Project folder to work in")->type_name("DIR");
    app.add_option("--open", options.OpenTypes, "Open the editor of this library type on start (repeatable)")
        ->type_name("TYPE")
        ->check([](const std::string& text) -> std::string {
            try {
                if (FindLibKind(std::stoi(text)) != nullptr)
                    return {};
            } catch (const std::exception&) {
            }
            return "unknown library type " + text + " (korvellib kinds lists them)";
        });
    app.add_option("--element", options.Element, "With --open: show the element of this number")
        ->type_name("NUMBER")
        ->check(CLI::PositiveNumber);
    app.add_option("--page", options.Page, "With --open: show the editor's page of this caption")
        ->type_name("CAPTION");
    app.add_option("--screenshot", options.Screenshot,
                   "Write a PNG of the main window once it is laid out, then quit")
        ->type_name("FILE");
    std::string windowSize;
    app.add_option("--window-size", windowSize, "Size of the main window for this run, e.g. 1600x1000")
        ->type_name("WxH")
        ->check([](const std::string& text) -> std::string {
            int w = 0, h = 0;
            return ParseWindowSize(text, w, h) ? std::string() : "expected WIDTHxHEIGHT, e.g. 1600x1000";
        });
    auto* settings = app.add_option("--settings", options.SettingsFile,
                                    "Settings file to use instead of the user's KorvelLib.ini")
                         ->type_name("FILE");
    app.add_option("--config", options.ConfigDir, "Settings folder: use DIR/KorvelLib.ini")
        ->type_name("DIR")
        ->excludes(settings);
    app.add_option("--global-folder", options.GlobalFolder, "Global library folder for this run")
        ->type_name("DIR");
    app.add_option("--system-folder", options.SystemFolder, "System library folder for this run")
        ->type_name("DIR");
    try {
        app.parse(argc, argv);
        ParseWindowSize(windowSize, options.WindowWidth, options.WindowHeight);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? 0 : 2;
    }
    return std::nullopt;
}

bool ParseWindowSize(const std::string& text, int& width, int& height) {
    constexpr int kLargest = 16384;
    char x = 0;
    char rest = 0;
    int w = 0, h = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &w, &x, &h, &rest) != 3 || (x != 'x' && x != 'X') || w < 200 ||
        h < 150 || w > kLargest || h > kLargest)
        return false;
    width = w;
    height = h;
    return true;
}

std::string AbsoluteFolder(const std::string& folder) {
    if (folder.empty())
        return {};
    return IncludeTrailingSeparator(std::filesystem::absolute(folder).lexically_normal().string());
}

void ApplyGuiOptions(const TGuiOptions& o) {
    if (!o.SettingsFile.empty())
        SetKorvelLibIniFileName(o.SettingsFile);
    if (!o.ConfigDir.empty())
        SetKorvelLibIniFileName(AbsoluteFolder(o.ConfigDir) + "KorvelLib.ini");
    if (!o.GlobalFolder.empty())
        SetGlobalLibPathOverride(AbsoluteFolder(o.GlobalFolder));
    if (!o.SystemFolder.empty())
        SetSystemLibPathOverride(AbsoluteFolder(o.SystemFolder));
}

} // namespace korvel::gui
