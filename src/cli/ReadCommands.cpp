// list and show: reading elements, as text for people or as JSON for scripts.

#include "assessment/AssessmentJson.h"
#include "cli/Commands.h"
#include "cli/ExitCodes.h"
#include "cli/LibSession.h"
#include "editor/RecordJson.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/db/Collation.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/ui/ChartJson.h"
#include "sound/ElementFilter.h"
#include "sound/FormLibX.h"

#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

namespace korvel::cli {

namespace {

struct TListOptions {
    int Type = 0;
    std::string Folder;
    bool Json = false;
    std::vector<std::string> FilterGroups;
    bool FilterAnd = false;
    std::string FilterText;
    bool Usages = false;

    bool Filtered() const { return !FilterGroups.empty() || FilterAnd || !FilterText.empty(); }
};

struct TShowOptions {
    int Type = 0;
    std::string Folder;
    int Number = 0;
    bool Json = false;
    bool Charts = false;
    bool Usages = false;
};

// The editor's filter record for the options; checked before any library is opened.
sound::TFilterRec ListFilter(const TListOptions& o) {
    if (!acoustic::IsSoundLibType(o.Type))
        throw ECliError(kExitUsage, "Filters exist for the sound libraries (types 120 to 123) only");
    if (o.FilterGroups.size() > 2)
        throw ECliError(kExitUsage, "--filter-group may be given at most twice");
    if (o.FilterAnd && o.FilterGroups.size() < 2)
        throw ECliError(kExitUsage, "--filter-and combines two --filter-group options");
    sound::TFilterRec rec;
    rec.SetEnabled(true);
    for (std::size_t i = 0; i < o.FilterGroups.size(); ++i) {
        const std::string& name = o.FilterGroups[i];
        if (name.find_first_not_of(' ') == std::string::npos)
            throw ECliError(kExitUsage, "--filter-group needs a group name");
        // The record would cut a longer name, which could then match another group.
        if (db::CodePointCount(name) > sound::kFilterGroupChars)
            throw ECliError(kExitUsage, "--filter-group \"" + name + "\": a group name has at most " +
                                            std::to_string(sound::kFilterGroupChars) + " characters");
        rec.SetGroup(static_cast<int>(i), name);
    }
    rec.SetOperator(o.FilterAnd ? sound::TLogOperator::And : sound::TLogOperator::Or);
    if (db::CodePointCount(o.FilterText) > sound::kFilterTextChars)
        throw ECliError(kExitUsage, "--filter-text has at most " + std::to_string(sound::kFilterTextChars) +
                                        " characters");
    rec.SetTextFilter(o.FilterText);
    return rec;
}

// Narrows the tab's element table as the editor's filter panel does.
void ApplyListFilter(TLibSession& session, int tab, const sound::TFilterRec& rec, std::ostream& err) {
    auto* editor = dynamic_cast<sound::TFormLibX*>(&session.Editor());
    if (!editor)
        throw ECliError(kExitFailure, "The sound library editor is not available");
    for (int slot = 0; slot < 2; ++slot) {
        const std::string name = rec.Group(slot);
        if (!name.empty() && editor->GetGroupNo(tab, name) == 0)
            err << "korvellib: \"" << editor->GetFileName(tab) << "\" has no group \"" << name
                << "\"; it matches no element\n";
    }
    editor->FilterString(tab, rec);
}

// Checked before any library is opened.
void RequireUsagesKind(int type) {
    if (type != assessment::kAssessmentLibType)
        throw ECliError(kExitUsage, "Usage areas belong to the assessment libraries (type 135) only");
}

// The usage areas beside the assessment library of the tab.
TUsages FolderUsages(TLibSession& session, int tab) {
    return ReadUsagesFromLib(session.Editor().GetMyTable(tab)->Folder());
}

void PrintUsages(const TUsages& usages, std::ostream& out) {
    for (std::size_t i = 0; i < usages.size(); ++i)
        out << std::setw(6) << i + 1 << "  " << std::left << std::setw(8) << usages[i].Short << std::right
            << ' ' << usages[i].Descr << '\n';
}

// Walks the table cursor in number order, one record at a time: a library of any size costs a page of
// records, never the whole table.
int RunList(const TListOptions& o, std::ostream& out, std::ostream& err) {
    const std::string folder = FolderArg(o.Folder);
    if (o.Usages)
        RequireUsagesKind(o.Type);
    TLibSession session(o.Type, o.Json ? err : out, err);
    const std::optional<sound::TFilterRec> filter =
        o.Filtered() ? std::optional<sound::TFilterRec>(ListFilter(o)) : std::nullopt;
    const int tab = session.Open(folder, false);
    if (o.Usages) {
        const TUsages usages = FolderUsages(session, tab);
        if (o.Json)
            out << JsonText(assessment::UsagesToJson(usages)) << '\n';
        else
            PrintUsages(usages, out);
        return kExitOk;
    }
    if (filter)
        ApplyListFilter(session, tab, *filter, err);
    else
        session.Table(tab).SetFiltered(
            false); // a filter kept from the editor is the editor's view, not the list's
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
    if (o.Charts && !o.Json)
        throw ECliError(kExitUsage, "--charts is written as JSON data; give --json with it");
    if (o.Usages)
        RequireUsagesKind(o.Type);
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
        // The editor's own chart models as it shows them for this element, whatever the kind.
        if (o.Charts)
            shown["charts"] = ChartsToJson(editor);
        if (o.Usages)
            shown["usages"] = assessment::UsagesToJson(FolderUsages(session, tab));
        out << JsonText(shown) << '\n';
        return kExitOk;
    }
    out << "Element " << o.Number << " of \"" << editor.GetFileName(tab) << "\"\n";
    for (int i = 0; i < table.FieldCount(); ++i) {
        const db::TField& f = table.Fields(i);
        const std::string text = FieldValueText(f.DataType(), f.Value());
        out << f.FieldName() << ':' << (text.empty() ? "" : " ") << text << '\n';
    }
    if (o.Usages) {
        out << "Usage areas:\n";
        PrintUsages(FolderUsages(session, tab), out);
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
    listCmd
        ->add_option("--filter-group", list->FilterGroups,
                     "Only elements of this group (sound libraries); given twice: of either group")
        ->allow_extra_args(false)
        ->type_name("NAME");
    listCmd->add_flag("--filter-and", list->FilterAnd,
                      "With two --filter-group: only elements of both groups");
    listCmd
        ->add_option("--filter-text", list->FilterText,
                     "Only elements whose comment followed by the name contains the text, ignoring case")
        ->type_name("TEXT");
    listCmd->add_flag("--usages", list->Usages,
                      "Print the usage areas of the folder's assessment library instead of its elements");
    commands.push_back({listCmd, [list](std::ostream& out, std::ostream& err) {
                            return RunList(*list, out, err);
                        }});

    auto show = std::make_shared<TShowOptions>();
    CLI::App* showCmd = app.add_subcommand("show", "Show every field of one element");
    showCmd->add_option("type", show->Type, "Library type number")->required();
    showCmd->add_option("folder", show->Folder, "Folder of the library")->required();
    showCmd->add_option("number", show->Number, "Element number")->required();
    showCmd->add_flag("--json", show->Json, "Print the fields and the editor's element view as JSON");
    showCmd->add_flag("--charts", show->Charts,
                      "With --json: add the data of every chart the editor shows for the element");
    showCmd->add_flag("--usages", show->Usages, "Add the usage areas of the folder's assessment library");
    commands.push_back({showCmd, [show](std::ostream& out, std::ostream& err) {
                            return RunShow(*show, out, err);
                        }});
}

} // namespace korvel::cli
