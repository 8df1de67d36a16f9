#include "editor/RecordJson.h"

#include "platform/Errors.h"
#include "platform/db/Table.h"
#include "platform/text/Base64.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace korvel {

using db::TFieldType;
using nlohmann::json;

json FieldToJson(const db::TField& field) {
    if (field.IsNull())
        return nullptr;
    switch (field.DataType()) {
    case TFieldType::Integer:
    case TFieldType::LargeInt:
    case TFieldType::Word:
    case TFieldType::AutoInc:
        return field.AsLargeInt();
    case TFieldType::Float:
        return field.AsFloat();
    case TFieldType::Boolean:
        return field.AsBoolean();
    case TFieldType::DateTime:
        return db::DateTimeToIso(field.AsDateTime());
    case TFieldType::Blob:
    case TFieldType::Graphic: {
        db::TBytes bytes = field.AsBytes();
        return json{{"bytes", bytes.size()}, {"base64", EncodeBase64(bytes)}};
    }
    case TFieldType::String:
    case TFieldType::Memo:
        break;
    }
    return field.AsString();
}

json RecordToJson(db::TTable& table, bool includeAutoInc) {
    json out = json::object();
    for (int i = 0; i < table.FieldCount(); ++i) {
        const db::TField& f = table.Fields(i);
        if (f.DataType() == TFieldType::AutoInc && !includeAutoInc)
            continue;
        out[f.FieldName()] = FieldToJson(f);
    }
    return out;
}

namespace {

[[noreturn]] void Refuse(const db::TField& field, const std::string& why) {
    throw EKorvelError("Field \"" + field.FieldName() + "\": " + why);
}

} // namespace

void JsonToField(const json& value, db::TField& field) {
    if (value.is_null()) {
        field.Clear();
        return;
    }
    switch (field.DataType()) {
    case TFieldType::AutoInc:
        Refuse(field, "the element number is given by the library");
    case TFieldType::Integer:
    case TFieldType::LargeInt:
    case TFieldType::Word: {
        if (value.is_number_integer() || value.is_number_unsigned()) {
            field.SetAsLargeInt(value.get<std::int64_t>());
            return;
        }
        if (value.is_number_float()) {
            double d = value.get<double>();
            if (std::floor(d) == d && std::abs(d) < 9.0e15) {
                field.SetAsLargeInt(static_cast<std::int64_t>(d));
                return;
            }
        }
        Refuse(field, "a whole number is expected");
    }
    case TFieldType::Float:
        if (!value.is_number())
            Refuse(field, "a number is expected");
        field.SetAsFloat(value.get<double>());
        return;
    case TFieldType::Boolean:
        if (!value.is_boolean())
            Refuse(field, "true or false is expected");
        field.SetAsBoolean(value.get<bool>());
        return;
    case TFieldType::DateTime: {
        if (value.is_number()) {
            field.SetAsDateTime(value.get<double>());
            return;
        }
        std::optional<db::TDateTime> stamp;
        if (value.is_string())
            stamp = db::IsoToDateTime(value.get<std::string>());
        if (!stamp)
            Refuse(field, "a time stamp \"YYYY-MM-DD HH:MM:SS\" is expected");
        field.SetAsDateTime(*stamp);
        return;
    }
    case TFieldType::Blob:
    case TFieldType::Graphic: {
        const json* text = value.is_object() && value.contains("base64") ? &value["base64"] : nullptr;
        if (!text || !text->is_string())
            Refuse(field, "an object {\"base64\": \"...\"} is expected");
        std::optional<std::vector<std::uint8_t>> bytes = DecodeBase64(text->get<std::string>());
        if (!bytes)
            Refuse(field, "the base64 text is damaged");
        if (value.contains("bytes") && value["bytes"].is_number_unsigned() &&
            value["bytes"].get<std::size_t>() != bytes->size())
            Refuse(field, "\"bytes\" does not match the length of the data");
        field.SetAsBytes(*bytes);
        return;
    }
    case TFieldType::String:
    case TFieldType::Memo:
        break;
    }
    if (!value.is_string())
        Refuse(field, "a text is expected");
    field.SetAsString(value.get<std::string>());
}

void JsonToRecord(const json& object, db::TTable& table) {
    if (!object.is_object())
        throw EKorvelError("An element must be a JSON object of field names and values");
    for (const auto& [name, value] : object.items())
        if (!table.FindField(name))
            throw EKorvelError("Unknown field \"" + name + "\"");
    // A value its field refuses puts back the values set before it, so a refusal changes nothing.
    std::vector<std::pair<db::TField*, db::TValue>> before;
    for (const auto& [name, value] : object.items()) {
        db::TField& field = table.FieldByName(name);
        before.emplace_back(&field, field.Value());
    }
    try {
        for (const auto& [name, value] : object.items())
            JsonToField(value, table.FieldByName(name));
    } catch (...) {
        for (auto& [field, old] : before)
            field->SetValue(old);
        throw;
    }
}

} // namespace korvel
