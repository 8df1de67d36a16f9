#pragma once

// What every element command shares: the folder arguments, and one editor of a kind made for a command-line
// host. The commands drive that editor as the desktop program does; the session only opens libraries,
// checks what the command may do, and turns failures into exit codes.

#include "cli/CliHost.h"
#include "editor/CustomLibForm.h"
#include "platform/base/LibKinds.h"

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>

namespace korvel::cli {

// A folder argument made absolute, with a trailing separator, so the path-type rule sees the whole path.
std::string FolderArg(const std::string& arg);
// ECliError(kExitNoLibrary) unless folder is an existing folder.
void RequireFolder(const std::string& folder);
// The folder holds System libraries: by the path rule (".../system/libs/") or as a configured System folder.
bool IsSystemFolder(const std::string& folder);
// Removes a library that a failed command had just made, so the failure leaves nothing behind.
void RemoveLibrary(int libType, const std::string& folder);

// The kind of a type number; ECliError kExitUnknownType, or kExitNoEditor for a kind without an editor.
const TLibKindInfo& RequireKind(int libType);

// Reads a JSON object from a file, or from standard input for "-"; ECliError(kExitUsage) when it is not one.
nlohmann::json ReadJsonInput(const std::string& fileOrDash);

// JSON text that never throws on text that is not UTF-8 (old libraries): such bytes are replaced.
std::string JsonText(const nlohmann::json& value, int indent = 2);
std::string JsonText(const nlohmann::ordered_json& value, int indent = 2);

// "1 element", "N elements": counts in the commands' reports.
std::string Elements(std::int64_t n);
// The answer to a name that exists, from --on-conflict ("skip", "overwrite", "rename").
TConflictPolicy ConflictPolicy(const std::string& name);

class TLibSession {
public:
    // Messages of the editor and its questions go to out, warnings and errors to err.
    TLibSession(int libType, std::ostream& out, std::ostream& err, TBatchPolicy policy = {});
    // Destroys the editor without closing it: closing would remove a library left empty, and the command
    // line never deletes files as a side effect.
    ~TLibSession();
    TLibSession(const TLibSession&) = delete;
    TLibSession& operator=(const TLibSession&) = delete;

    int LibType() const { return kind_.Type; }
    const TLibKindInfo& Kind() const { return kind_; }
    TCliHost& Host() { return host_; }
    TCustomLibForm& Editor() { return *editor_; }

    // Opens the kind's library in folder as a new tab and returns the tab. A missing library is made when
    // create is set, else ECliError(kExitNoLibrary).
    int Open(const std::string& folder, bool create);
    // The open main table of a tab.
    db::TTable& Table(int tab);
    // ECliError(kExitReadOnly) for a System library.
    void RequireWritable(int tab);
    // Makes the element current; ECliError(kExitNoElement) when the number names none.
    void GotoElement(int tab, int number);

private:
    const TLibKindInfo& kind_;
    TCliHost host_;
    std::unique_ptr<TCustomLibForm> editor_;
};

} // namespace korvel::cli
