#include "tools/mksystem/SystemLibSource.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Table.h"
#include "sound/SoundSchema.h"
#include "tools/mksystem/ElementWriter.h"

#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace korvel::tools {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr int kUsagesLibType = 135;

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
    throw EKorvelError(path + ": " + what);
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// Kinds with an element writer list their editors' element objects, named by a member; the other kinds give
// fields.
bool IsObjectKind(int type) {
    return FindElementWriter(type) != nullptr;
}

std::string NameMember(int type) {
    return IsObjectKind(type) ? std::string(kElementNameMember) : NameFieldName(type);
}

// "element 3 (\"PM10\")", or without the name when the element has none to show.
std::string ElementLabel(size_t index, const json& element, const std::string& nameMember) {
    std::string label = "element " + std::to_string(index + 1);
    if (element.is_object()) {
        auto it = element.find(nameMember);
        if (it != element.end() && it->is_string()) {
            label += " (" + Quoted(it->get<std::string>()) + ")";
        }
    }
    return label;
}

const db::TFieldDef* FindExact(const db::TTableDef& def, const std::string& name) {
    for (const auto& field : def.Fields) {
        if (field.Name == name) {
            return &field;
        }
    }
    return nullptr;
}

[[noreturn]] void WrongType(const json& value, const char* expected) {
    throw EKorvelError(std::string("must be ") + expected + ", not a JSON " + value.type_name());
}

// Sets one field from its JSON value. Types are strict: a source that says "1" where a number belongs is a
// mistake worth stopping for, not something to convert quietly.
void SetField(db::TTable& table, const db::TFieldDef& def, const json& value) {
    using db::TFieldType;
    db::TField& field = table.FieldByName(def.Name);
    switch (def.DataType) {
    case TFieldType::String:
    case TFieldType::Memo: {
        if (!value.is_string()) {
            WrongType(value, "a string");
        }
        const auto& text = value.get_ref<const std::string&>();
        // The engine would cut a long text to the declared size; a delivered library must not lose text.
        size_t length = db::CodePointCount(text);
        if (def.DataType == TFieldType::String && length > static_cast<size_t>(def.Size)) {
            throw EKorvelError("is " + std::to_string(length) + " characters long; the field holds at most " +
                               std::to_string(def.Size));
        }
        field.SetValue(text);
        return;
    }
    case TFieldType::Float:
        if (!value.is_number()) {
            WrongType(value, "a number");
        }
        field.SetValue(value.get<double>());
        return;
    case TFieldType::Integer:
    case TFieldType::LargeInt:
    case TFieldType::Word:
        if (value.is_number_unsigned()) {
            std::uint64_t u = value.get<std::uint64_t>();
            if (u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
                throw EKorvelError(std::to_string(u) + " is out of range");
            }
            field.SetValue(static_cast<std::int64_t>(u));
            return;
        }
        if (!value.is_number_integer()) {
            WrongType(value, "a whole number");
        }
        field.SetValue(value.get<std::int64_t>());
        return;
    case TFieldType::Boolean:
        if (!value.is_boolean()) {
            WrongType(value, "true or false");
        }
        field.SetAsBoolean(value.get<bool>());
        return;
    case TFieldType::DateTime:
        if (!value.is_string()) {
            WrongType(value, "a date and time as \"YYYY-MM-DD HH:MM:SS\"");
        }
        field.SetValue(value.get<std::string>());
        return;
    case TFieldType::AutoInc:
        throw EKorvelError("is the element number, given by the order of the elements");
    case TFieldType::Blob:
    case TFieldType::Graphic:
        throw EKorvelError("holds binary data, which a source cannot give");
    }
}

void FillElement(db::TTable& table, int type, const std::string& nameField, const json& element) {
    table.Append();
    OnNewRecord(table, type, false);
    for (const auto& [name, value] : element.items()) {
        const db::TFieldDef* def = FindExact(table.Defs(), name);
        try {
            if (!def) {
                const db::TFieldDef* similar = table.Defs().FindField(name);
                throw EKorvelError("is not a field of the table " + Quoted(table.TableName()) +
                                   (similar ? " (the field is spelled " + Quoted(similar->Name) + ")" : ""));
            }
            if (name == nameField && value.is_string() && value.get_ref<const std::string&>().empty()) {
                throw EKorvelError("must not be empty");
            }
            SetField(table, *def, value);
        } catch (const db::EDatabaseError&) {
            throw; // the engine names the field itself
        } catch (const EKorvelError& e) {
            throw EKorvelError("field " + Quoted(name) + " " + e.what());
        }
    }
    table.Post();
}

void RemoveLibraryFile(const std::string& file) {
    std::error_code ec;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        fs::remove(file + suffix, ec);
    }
}

} // namespace

TSystemLibSource ReadSystemLibSource(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Fail(path, "cannot be read");
    }
    std::stringstream text;
    text << in.rdbuf();
    json doc;
    try {
        doc = json::parse(text.str());
    } catch (const json::parse_error& e) {
        Fail(path, std::string("is not valid JSON: ") + e.what());
    }
    if (!doc.is_object()) {
        Fail(path, "must hold a JSON object with \"type\", \"file\", \"source\" and \"elements\"");
    }
    static const std::set<std::string> known = {"type", "file", "source", "elements", "usages"};
    for (const auto& [key, value] : doc.items()) {
        if (!known.contains(key)) {
            Fail(path, "unknown member " + Quoted(key) +
                           " (expected \"type\", \"file\", \"source\", \"elements\")");
        }
    }

    TSystemLibSource source;
    source.Path = path;
    auto type = doc.find("type");
    if (type == doc.end() || !type->is_number_integer()) {
        Fail(path, "\"type\" must be the library type number");
    }
    const std::int64_t number = type->get<std::int64_t>();
    const TLibKindInfo* kind =
        number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max()
            ? FindLibKind(static_cast<int>(number))
            : nullptr;
    if (!kind) {
        Fail(path, "type " + type->dump() + " is not a library kind");
    }
    source.Type = kind->Type;
    if (!FindLibSchema(source.Type)) {
        Fail(path, "type " + std::to_string(source.Type) + " (" + Quoted(kind->FileName) +
                       ") has no table layout in this program yet");
    }
    auto file = doc.find("file");
    if (file == doc.end() || !file->is_string()) {
        Fail(path, "\"file\" must name the library file (" + Quoted(kind->FileName) + " for type " +
                       std::to_string(source.Type) + ")");
    }
    source.File = file->get<std::string>();
    if (source.File != LibName(source.Type)) {
        Fail(path, "\"file\" is " + Quoted(source.File) + " but type " + std::to_string(source.Type) +
                       " is stored in " + Quoted(LibName(source.Type)));
    }
    auto citation = doc.find("source");
    if (citation == doc.end() || !citation->is_string() || citation->get_ref<const std::string&>().empty()) {
        Fail(path, "\"source\" must cite where the values come from");
    }
    source.Citation = citation->get<std::string>();
    auto elements = doc.find("elements");
    if (elements == doc.end() || !elements->is_array()) {
        Fail(path, "\"elements\" must be an array of elements");
    }
    source.Elements = std::move(*elements);
    if (auto usages = doc.find("usages"); usages != doc.end()) {
        if (source.Type != kUsagesLibType) {
            Fail(path, "\"usages\" belong to the assessment library (type 135) only");
        }
        source.Usages = std::move(*usages);
    }
    return source;
}

void BuildSystemLib(const TSystemLibSource& source, const std::string& outFolder) {
    const int type = source.Type;
    const bool objects = IsObjectKind(type);
    const std::string nameField = NameFieldName(type);
    const std::string nameMember = NameMember(type);

    // Every element needs a name of its own before anything is written.
    std::set<std::vector<std::uint8_t>> names;
    for (size_t i = 0; i < source.Elements.size(); ++i) {
        const json& element = source.Elements[i];
        std::string label = ElementLabel(i, element, nameMember);
        if (!element.is_object()) {
            Fail(source.Path, label + " must be a JSON object");
        }
        auto name = element.find(nameMember);
        if (name == element.end()) {
            Fail(source.Path, label + " has no name: " + (objects ? "member " : "field ") +
                                  Quoted(nameMember) + " is missing");
        }
        if (objects && (!name->is_string() || name->get_ref<const std::string&>().empty())) {
            Fail(source.Path, label + ": member " + Quoted(nameMember) + " must be a text that is not empty");
        }
        // The name index ignores letter case, so "no2" would be a second "NO2".
        if (name->is_string() && !names.insert(db::CollationKey(name->get<std::string>())).second) {
            Fail(source.Path, label + ": the name is given to an earlier element already");
        }
    }

    std::error_code ec;
    fs::create_directories(outFolder, ec);
    if (ec) {
        Fail(source.Path, "cannot create the folder " + Quoted(outFolder) + ": " + ec.message());
    }
    const std::string finalFile = (fs::path(outFolder) / source.File).string();
    const std::string tempName = source.File + ".tmp-" + std::to_string(getpid());
    TMyTable lib(TableNames(type));
    lib.InitLibX(outFolder, tempName, TableNames(type), false, true);
    const std::string tempFile = lib.FileName();
    RemoveLibraryFile(tempFile); // left over by a run that was killed

    // The element being stored, for the message when storing fails; none while creating or finishing.
    constexpr size_t kNone = static_cast<size_t>(-1);
    size_t current = kNone;
    try {
        SetFieldIndexDefs(lib, type, true);
        lib.CreateDBTable();
        lib.Open();
        db::TTable& table = *lib.GetTable();
        lib.Database().StartTransaction();
        std::unique_ptr<TElementWriter> writer;
        if (TElementWriterFactory factory = FindElementWriter(type)) {
            writer = factory(lib, source);
        }
        for (current = 0; current < source.Elements.size(); ++current) {
            if (writer) {
                writer->Append(source.Elements[current]);
            } else {
                FillElement(table, type, nameField, source.Elements[current]);
            }
        }
        current = kNone;
        lib.Database().Commit();
        // Cursors keep statements on the file; the journal can change only without them.
        for (int i = 0; i < lib.GetCount(); ++i) {
            lib.GetItem(i)->Close();
        }
        lib.Database().SetJournalModeDelete();
        lib.Close();
        fs::rename(tempFile, finalFile);
        if (writer) {
            writer->Finish(outFolder);
        }
    } catch (const std::exception& e) {
        try {
            lib.Close();
        } catch (...) {
            // Closing rolls back; the file goes anyway.
        }
        RemoveLibraryFile(tempFile);
        std::string where = current != kNone
                                ? ElementLabel(current, source.Elements[current], nameMember) + ": "
                                : std::string();
        Fail(source.Path, where + e.what());
    }
}

} // namespace korvel::tools
