#include "cli/LibSession.h"

#include "cli/ExitCodes.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/MyTable.h"
#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"
#include "service/LibService.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

namespace korvel::cli {

std::string FolderArg(const std::string& arg) {
    if (arg.empty())
        throw ECliError(kExitUsage, "An empty folder name was given");
    return IncludeTrailingSeparator(fs::absolute(fs::path(arg)).lexically_normal().string());
}

void RequireFolder(const std::string& folder) {
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        throw ECliError(kExitNoLibrary, "The folder \"" + folder + "\" does not exist");
}

bool IsSystemFolder(const std::string& folder) {
    return LibPathTypeOf(folder) == TLibPathType::System;
}

void RemoveLibrary(int libType, const std::string& folder) {
    TMyTable lib(TableNames(libType));
    lib.InitLibX(folder, LibName(libType), TableNames(libType), false, false);
    lib.Database().DeleteDatabase();
}

const TLibKindInfo& RequireKind(int libType) {
    const TLibKindInfo* kind = FindLibKind(libType);
    if (!kind)
        throw ECliError(kExitUnknownType, "Unknown library type " + std::to_string(libType) +
                                              " (\"korvellib kinds\" lists them)");
    if (!HasLibEditor(libType))
        throw ECliError(kExitNoEditor, std::string(kind->Caption) + " (type " + std::to_string(libType) +
                                           "): Not yet implemented for this library type!");
    return *kind;
}

nlohmann::json ReadJsonInput(const std::string& fileOrDash) {
    std::string text;
    if (fileOrDash == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
    } else {
        std::ifstream in(fileOrDash, std::ios::binary);
        if (!in)
            throw ECliError(kExitUsage, "Cannot read \"" + fileOrDash + "\"");
        text.assign(std::istreambuf_iterator<char>(in), {});
    }
    const std::string source = fileOrDash == "-" ? "standard input" : "\"" + fileOrDash + "\"";
    nlohmann::json value;
    try {
        value = nlohmann::json::parse(text);
    } catch (const nlohmann::json::exception& e) {
        throw ECliError(kExitUsage, "No valid JSON in " + source + ": " + e.what());
    }
    if (!value.is_object())
        throw ECliError(kExitUsage, "The JSON in " + source + " must be an object of field names and values");
    return value;
}

std::string JsonText(const nlohmann::json& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string JsonText(const nlohmann::ordered_json& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string Elements(std::int64_t n) {
    return std::to_string(n) + (n == 1 ? " element" : " elements");
}

TConflictPolicy ConflictPolicy(const std::string& name) {
    if (name == "overwrite")
        return TConflictPolicy::Overwrite;
    if (name == "rename")
        return TConflictPolicy::Rename;
    return TConflictPolicy::Skip;
}

TLibSession::TLibSession(int libType, std::ostream& out, std::ostream& err, TBatchPolicy policy)
    : kind_(RequireKind(libType)), host_(out, err, policy), editor_(CreateLib(host_, libType)) {
    if (!editor_)
        throw ECliError(kExitNoEditor, "Not yet implemented for this library type!");
    editor_->SetVisible(false);
}

TLibSession::~TLibSession() {
    // Nothing half edited reaches the file.
    for (int tab = 0; tab < editor_->TabCount(); ++tab) {
        db::TTable* table = editor_->GetMainTable(tab);
        if (table && table->Editing()) {
            try {
                table->Cancel();
            } catch (const std::exception&) {
                // the record is dropped with the editor anyway
            }
        }
    }
    // As a close does first: the editor's views let go of the tables while the whole editor still exists.
    try {
        editor_->DataSource().SetDataSet(nullptr);
    } catch (const std::exception&) {
        editor_->DataSource().RemoveAllListeners();
    }
    editor_.reset();
}

int TLibSession::Open(const std::string& folder, bool create) {
    RequireFolder(folder);
    const bool exists = LibraryExists(LibType(), folder);
    std::error_code ec;
    if (!exists && fs::exists(folder + LibName(LibType()), ec)) {
        const std::string problem = LibraryFileProblem(LibType(), folder);
        throw ECliError(kExitFailure, "\"" + folder + LibName(LibType()) +
                                          "\" is not a library of this kind or is damaged" +
                                          (problem.empty() ? std::string() : " (" + problem + ")"));
    }
    if (!exists && !create)
        throw ECliError(kExitNoLibrary, "No library \"" + LibName(LibType()) + "\" in \"" + folder + "\"");
    if (!exists && IsSystemFolder(folder))
        throw ECliError(kExitReadOnly, "\"" + folder + "\" is a System folder; its libraries are read-only");
    const int before = editor_->TabCount();
    editor_->OpenFiles({folder}, 0, true, create);
    if (editor_->TabCount() == before) {
        // The editor reported why; a file that is there but cannot be opened is a failure, not a missing one.
        const bool there = fs::exists(folder + LibName(LibType()), ec);
        throw ECliError(there ? kExitFailure : kExitNoLibrary, "The library \"" + LibName(LibType()) +
                                                                   "\" in \"" + folder +
                                                                   "\" could not be opened");
    }
    const int tab = editor_->TabCount() - 1;
    db::TTable* table = editor_->GetMainTable(tab);
    if (!table || !table->Active())
        throw ECliError(kExitFailure,
                        "The library \"" + editor_->GetFileName(tab) + "\" could not be opened");
    return tab;
}

db::TTable& TLibSession::Table(int tab) {
    db::TTable* table = editor_->GetMainTable(tab);
    if (!table || !table->Active())
        throw ECliError(kExitFailure, "No library is open");
    return *table;
}

void TLibSession::RequireWritable(int tab) {
    const std::string file = editor_->GetFileName(tab);
    if (editor_->GetPathType(tab) == TLibPathType::System || editor_->TabReadOnly(tab) ||
        IsSystemFolder(ExtractFolder(file)))
        throw ECliError(kExitReadOnly, "The System library \"" + file + "\" is read-only");
}

void TLibSession::GotoElement(int tab, int number) {
    if (!editor_->GotoElementNo(tab, number))
        throw ECliError(kExitNoElement,
                        "No element " + std::to_string(number) + " in \"" + editor_->GetFileName(tab) + "\"");
}

} // namespace korvel::cli
