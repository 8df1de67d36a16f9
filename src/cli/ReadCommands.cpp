// list and show: reading elements, as text for people or as JSON for scripts.

#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "editor/RecordJson.h"
#include "platform/dbctrls/FieldText.h"

#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>

namespace korvel::cli {

namespace {

struct TListOptions {
    int Type = 0;
    std::string Folder;
    bool Json = false;
};

struct TShowOptions {
    int Type = 0;
    std::string Folder;
    int Number = 0;
    bool Json = false;
};

// Walks the table cursor in number order, one record at a time: a library of any size costs a page of
// records, never the whole table.
int RunList(const TListOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    TLibSession session(o.Type, o.Json ? err : out, err);
    const int tab = session.Open(folder, false);
    TCustomLibForm& editor = session.Editor();
    db::TTable& table = session.Table(tab);
    const std::vector<TListColumn> columns = editor.DBList().Columns();
    const std::string nameField = NameFieldName(o.Type);

    // The editor's screen work per record is not wanted here.
    table.DisableControls();
    table.SetIndexName("p");
    bool first = true;
    if (o.Json)
        out << '[';
    for (table.First(); !table.Eof(); table.Next()) {
        const std::int64_t number = table.Fields(0).AsLargeInt();
        const db::TField* name = table.FindField(nameField);
        if (!o.Json) {
            out << std::setw(6) << number << "  " << (name ? name->AsString() : std::string{}) << '\n';
            continue;
        }
        nlohmann::ordered_json row;
        row["number"] = number;
        row["name"] = name ? FieldToJson(*name) : nullptr;
        nlohmann::ordered_json& cells = row["columns"] = nlohmann::ordered_json::object();
        for (const TListColumn& column : columns)
            if (const db::TField* f = table.FindField(column.FieldName))
                cells[column.FieldName] = FieldToJson(*f);
        out << (first ? "\n  " : ",\n  ") << JsonText(row, -1);
        first = false;
    }
    if (o.Json)
        out << (first ? "]\n" : "\n]\n");
    table.EnableControls();
    return kExitOk;
}

int RunShow(const TShowOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    TLibSession session(o.Type, o.Json ? err : out, err);
    const int tab = session.Open(folder, false);
    session.GotoElement(tab, o.Number);
    TCustomLibForm& editor = session.Editor();
    db::TTable& table = session.Table(tab);
    const std::string name = editor.GetElementName(tab);
    if (o.Json) {
        nlohmann::ordered_json shown;
        shown["type"] = o.Type;
        shown["folder"] = folder;
        shown["number"] = o.Number;
        shown["name"] = name;
        shown["fields"] = RecordToJson(table, true);
        shown["element"] = editor.ElementView();
        out << JsonText(shown) << '\n';
        return kExitOk;
    }
    out << "Element " << o.Number << " of \"" << editor.GetFileName(tab) << "\"\n";
    for (int i = 0; i < table.FieldCount(); ++i) {
        const db::TField& f = table.Fields(i);
        const std::string text = FieldValueText(f.DataType(), f.Value());
        out << f.FieldName() << ':' << (text.empty() ? "" : " ") << text << '\n';
    }
    return kExitOk;
}

} // namespace

void AddReadCommands(CLI::App& app, TCommandList& commands) {
    auto list = std::make_shared<TListOptions>();
    CLI::App* listCmd =
        app.add_subcommand("list", "List the number and name of every element in number order");
    listCmd->add_option("type", list->Type, "Library type number (see \"kinds\")")->required();
    listCmd->add_option("folder", list->Folder, "Folder of the library")->required();
    listCmd->add_flag("--json", list->Json, "Print a JSON array with every column of the element list");
    commands.push_back({listCmd, [list](std::ostream& out, std::ostream& err) {
                            return RunList(*list, out, err);
                        }});

    auto show = std::make_shared<TShowOptions>();
    CLI::App* showCmd = app.add_subcommand("show", "Show every field of one element");
    showCmd->add_option("type", show->Type, "Library type number")->required();
    showCmd->add_option("folder", show->Folder, "Folder of the library")->required();
    showCmd->add_option("number", show->Number, "Element number")->required();
    showCmd->add_flag("--json", show->Json, "Print the fields and the editor's element view as JSON");
    commands.push_back({showCmd, [show](std::ostream& out, std::ostream& err) {
                            return RunShow(*show, out, err);
                        }});
}

} // namespace korvel::cli
