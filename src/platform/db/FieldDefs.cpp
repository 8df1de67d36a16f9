#include "platform/db/FieldDefs.h"

#include "platform/db/DbErrors.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace korvel::db {

namespace {

constexpr std::array<std::pair<TFieldType, std::string_view>, 11> kTypeNames{{
    {TFieldType::String, "String"},
    {TFieldType::Memo, "Memo"},
    {TFieldType::Blob, "Blob"},
    {TFieldType::Graphic, "Graphic"},
    {TFieldType::Integer, "Integer"},
    {TFieldType::LargeInt, "LargeInt"},
    {TFieldType::Word, "Word"},
    {TFieldType::Float, "Float"},
    {TFieldType::Boolean, "Boolean"},
    {TFieldType::DateTime, "DateTime"},
    {TFieldType::AutoInc, "AutoInc"},
}};

// Longest string field a table may declare; longer texts belong in a memo.
constexpr int kMaxStringSize = 8000;

} // namespace

std::string_view FieldTypeName(TFieldType type) {
    for (const auto& [t, name] : kTypeNames) {
        if (t == type) {
            return name;
        }
    }
    return "Unknown";
}

std::optional<TFieldType> FieldTypeFromName(std::string_view name) {
    for (const auto& [t, n] : kTypeNames) {
        if (SameName(n, name)) {
            return t;
        }
    }
    return std::nullopt;
}

bool IsTextType(TFieldType type) {
    return type == TFieldType::String || type == TFieldType::Memo;
}
bool IsBlobType(TFieldType type) {
    return type == TFieldType::Blob || type == TFieldType::Graphic;
}

bool SameName(std::string_view a, std::string_view b) {
    // Names are ASCII; folding by hand spares a locale call per character on every field look-up.
    auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

std::size_t TNameHash::operator()(std::string_view name) const noexcept {
    std::size_t h = 14695981039346656037ull; // FNV-1a over the folded bytes
    for (char c : name) {
        h ^= static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        h *= 1099511628211ull;
    }
    return h;
}

const TFieldDef* TTableDef::FindField(std::string_view name) const {
    int i = FieldIndex(name);
    return i < 0 ? nullptr : &Fields[static_cast<size_t>(i)];
}

const TIndexDef* TTableDef::FindIndex(std::string_view name) const {
    for (const auto& idx : Indexes) {
        if (SameName(idx.Name, name)) {
            return &idx;
        }
    }
    return nullptr;
}

int TTableDef::FieldIndex(std::string_view name) const {
    for (size_t i = 0; i < Fields.size(); ++i) {
        if (SameName(Fields[i].Name, name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

TTableDef& TTableDef::AddField(std::string name, TFieldType type, int size, bool required) {
    Fields.push_back(TFieldDef{std::move(name), type, size, required});
    return *this;
}

TTableDef& TTableDef::AddIndex(std::string name, std::vector<std::string> fields, unsigned options) {
    Indexes.push_back(TIndexDef{std::move(name), std::move(fields), options});
    return *this;
}

void ValidateTableDef(const TTableDef& def) {
    if (def.Fields.empty()) {
        throw EDatabaseError("A table needs at least one field");
    }
    for (size_t i = 0; i < def.Fields.size(); ++i) {
        const auto& f = def.Fields[i];
        if (f.Name.empty()) {
            throw EDatabaseError("Field " + std::to_string(i) + " has no name");
        }
        if (f.Name.starts_with("_ck_") || f.Name.starts_with("korvel_")) {
            throw EDatabaseError("Field name \"" + f.Name + "\" is reserved");
        }
        if (def.FieldIndex(f.Name) != static_cast<int>(i)) {
            throw EDatabaseError("Duplicate field name \"" + f.Name + "\"");
        }
        if (f.DataType == TFieldType::String && (f.Size < 1 || f.Size > kMaxStringSize)) {
            throw EDatabaseError("String field \"" + f.Name + "\" needs a size between 1 and " +
                                 std::to_string(kMaxStringSize));
        }
        if (f.DataType == TFieldType::AutoInc && i != 0) {
            throw EDatabaseError("The autoincrement field \"" + f.Name + "\" must be the first field");
        }
    }
    for (size_t i = 0; i < def.Indexes.size(); ++i) {
        const auto& idx = def.Indexes[i];
        if (idx.Name.empty() || idx.Fields.empty()) {
            throw EDatabaseError("Index " + std::to_string(i) + " needs a name and at least one field");
        }
        if (def.FindIndex(idx.Name) != &idx) {
            throw EDatabaseError("Duplicate index name \"" + idx.Name + "\"");
        }
        for (const auto& field : idx.Fields) {
            const TFieldDef* f = def.FindField(field);
            if (!f) {
                throw EDatabaseError("Index \"" + idx.Name + "\" names the unknown field \"" + field + "\"");
            }
            if (IsBlobType(f->DataType) || f->DataType == TFieldType::Memo) {
                throw EDatabaseError("Index \"" + idx.Name + "\" cannot order by the field \"" + field +
                                     "\"");
            }
        }
    }
}

} // namespace korvel::db
