// add, set and delete: changing elements through the kind's editor, so its new-record defaults and its
// checks before a store apply exactly as in the desktop program.

#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "platform/base/MyTable.h"
#include "platform/dbctrls/FieldText.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

namespace korvel::cli {

namespace {

struct TAssignment {
    std::string Field;
    std::string Value;
};

struct TEditOptions {
    int Type = 0;
    std::string Folder;
    int Number = 0;
    std::vector<std::string> Sets;
    std::string ElementJson;
};

struct TDeleteOptions {
    int Type = 0;
    std::string Folder;
    std::vector<int> Numbers;
};

// Everything the command line says about the element, read and checked before any library is touched.
struct TEditInput {
    std::optional<nlohmann::json> View;
    std::vector<TAssignment> Sets;
};

TEditInput ReadEditInput(const TEditOptions& o) {
    TEditInput input;
    if (!o.ElementJson.empty())
        input.View = ReadJsonInput(o.ElementJson);
    for (const std::string& text : o.Sets) {
        const size_t eq = text.find('=');
        if (eq == std::string::npos || eq == 0)
            throw ECliError(kExitUsage, "--set needs FIELD=VALUE, not \"" + text + "\"");
        input.Sets.push_back({text.substr(0, eq), text.substr(eq + 1)});
    }
    return input;
}

std::string FieldNames(db::TTable& table) {
    std::string names;
    for (int i = 0; i < table.FieldCount(); ++i)
        if (table.Fields(i).DataType() != db::TFieldType::AutoInc)
            names += (names.empty() ? "" : ", ") + table.Fields(i).FieldName();
    return names;
}

// The element view first, then each field in the order given; the record is in edit or insert state.
void ApplyInput(TLibSession& session, int tab, const TEditInput& input) {
    db::TTable& table = session.Table(tab);
    try {
        if (input.View)
            session.Editor().ApplyElementView(*input.View);
        for (const TAssignment& a : input.Sets) {
            db::TField* field = table.FindField(a.Field);
            if (!field)
                throw ECliError(kExitUsage,
                                "Unknown field \"" + a.Field + "\"; the fields are: " + FieldNames(table));
            if (field->DataType() == db::TFieldType::AutoInc)
                throw ECliError(kExitUsage,
                                "Field \"" + a.Field + "\": the element number is given by the library");
            try {
                field->SetValue(ParseFieldText(field->Def(), a.Value));
            } catch (const EKorvelError& e) {
                throw ECliError(kExitUsage, "--set " + a.Field + ": " + e.what());
            }
        }
    } catch (const ECliError&) {
        throw;
    } catch (const EKorvelError& e) {
        throw ECliError(kExitUsage, e.what());
    } catch (const nlohmann::json::exception& e) {
        throw ECliError(kExitUsage, e.what());
    }
}

// Stores through the editor, whose checks may refuse; a refused record is dropped.
void Store(TLibSession& session, int tab) {
    db::TTable& table = session.Table(tab);
    try {
        session.Editor().StoreCurrent();
    } catch (const EAbort&) {
        table.Cancel();
        throw ECliError(kExitRefused, "The element was not stored");
    } catch (const EKorvelError& e) {
        table.Cancel();
        throw ECliError(kExitRefused, std::string(e.what()) + " The element was not stored.");
    }
    if (table.State() != db::TDataSetState::Browse)
        throw ECliError(kExitFailure, "The element was not stored");
}

// Writes the input into the record in edit or insert state and stores it; a failure leaves nothing stored.
void ApplyAndStore(TLibSession& session, int tab, const TEditInput& input) {
    try {
        ApplyInput(session, tab, input);
    } catch (...) {
        session.Table(tab).Cancel();
        throw;
    }
    Store(session, tab);
}

int AddElement(TLibSession& session, const std::string& folder, const TEditInput& input) {
    const int tab = session.Open(folder, true);
    session.RequireWritable(tab);
    session.Table(tab).Append();
    ApplyAndStore(session, tab, input);
    return session.Editor().GetElementNo(tab);
}

int RunAdd(const TEditOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    auto session = std::make_unique<TLibSession>(o.Type, err, err);
    const TEditInput input = ReadEditInput(o);
    const bool existed = LibraryExists(o.Type, folder);
    int number = 0;
    try {
        number = AddElement(*session, folder, input);
    } catch (...) {
        // A library made for an element that was refused would be left empty.
        if (!existed && LibraryExists(o.Type, folder)) {
            session.reset();
            try {
                RemoveLibrary(o.Type, folder);
            } catch (const std::exception& e) {
                err << "Warning: " << e.what() << '\n';
            }
        }
        throw;
    }
    out << number << '\n';
    return kExitOk;
}

int RunSet(const TEditOptions& o, std::ostream& /*out*/, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    TLibSession session(o.Type, err, err);
    const TEditInput input = ReadEditInput(o);
    if (!input.View && input.Sets.empty())
        throw ECliError(kExitUsage, "Nothing to change: give --set FIELD=VALUE or --element-json FILE");
    const int tab = session.Open(folder, false);
    session.RequireWritable(tab);
    session.GotoElement(tab, o.Number);
    session.Table(tab).Edit();
    ApplyAndStore(session, tab, input);
    return kExitOk;
}

int RunDelete(const TDeleteOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    TLibSession session(o.Type, err, err);
    const int tab = session.Open(folder, false);
    session.RequireWritable(tab);
    TCustomLibForm& editor = session.Editor();
    std::set<int> seen;
    std::string missing;
    int deleted = 0;
    for (int number : o.Numbers) {
        if (!seen.insert(number).second)
            continue;
        if (!editor.GotoElementNo(tab, number)) {
            missing += (missing.empty() ? "" : ", ") + std::to_string(number);
            continue;
        }
        // Deleted as the editor deletes: the current element, with its delete handlers.
        editor.DBList().ClearSelection();
        editor.DeleteSelected();
        ++deleted;
    }
    out << "Deleted " << deleted << (deleted == 1 ? " element\n" : " elements\n");
    if (!missing.empty())
        throw ECliError(kExitNoElement, "No element " + missing + " in \"" + editor.GetFileName(tab) + "\"");
    return kExitOk;
}

void AddEditOptions(CLI::App& cmd, TEditOptions& o, bool withNumber) {
    cmd.add_option("type", o.Type, "Library type number")->required();
    cmd.add_option("folder", o.Folder, "Folder of the library")->required();
    if (withNumber)
        cmd.add_option("number", o.Number, "Element number")->required();
    cmd.add_option("--set", o.Sets, "FIELD=VALUE, as typed into the editor; may be repeated")
        ->allow_extra_args(false)
        ->type_name("FIELD=VALUE");
    cmd.add_option(
           "--element-json", o.ElementJson,
           "JSON object of the element as \"show --json\" prints it (\"element\"); - reads standard input")
        ->type_name("FILE");
}

} // namespace

void AddEditCommands(CLI::App& app, TCommandList& commands) {
    auto add = std::make_shared<TEditOptions>();
    CLI::App* addCmd =
        app.add_subcommand("add", "Add an element (the library is created when missing); prints its number");
    AddEditOptions(*addCmd, *add, false);
    commands.push_back({addCmd, [add](std::ostream& out, std::ostream& err) {
                            return RunAdd(*add, out, err);
                        }});

    auto set = std::make_shared<TEditOptions>();
    CLI::App* setCmd = app.add_subcommand("set", "Change an element");
    AddEditOptions(*setCmd, *set, true);
    commands.push_back({setCmd, [set](std::ostream& out, std::ostream& err) {
                            return RunSet(*set, out, err);
                        }});

    auto del = std::make_shared<TDeleteOptions>();
    CLI::App* delCmd = app.add_subcommand("delete", "Delete elements");
    delCmd->add_option("type", del->Type, "Library type number")->required();
    delCmd->add_option("folder", del->Folder, "Folder of the library")->required();
    delCmd->add_option("numbers", del->Numbers, "Element numbers")->required();
    commands.push_back({delCmd, [del](std::ostream& out, std::ostream& err) {
                            return RunDelete(*del, out, err);
                        }});
}

} // namespace korvel::cli
