#include "platform/dbctrls/FieldText.h"

#include "platform/Errors.h"
#include "platform/legacy/Trim.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace korvel {

namespace {

std::string_view Trim(std::string_view s) {
    const auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string_view::npos)
        return {};
    const auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

// A leading '+' is what people type; from_chars does not take it.
std::string_view NumberBody(std::string_view t) {
    if (t.size() > 1 && t.front() == '+' && t[1] != '-' && t[1] != '+')
        t.remove_prefix(1);
    return t;
}

db::TValue ParseFloat(std::string_view text, std::string_view t) {
    t = NumberBody(t);
    double d = 0;
    const auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), d);
    if (ec == std::errc::result_out_of_range)
        throw EKorvelError(Quoted(text) + " is outside the range of numbers.");
    if (ec != std::errc() || ptr != t.data() + t.size() || !std::isfinite(d))
        throw EKorvelError(Quoted(text) + " is not a valid number.");
    return d;
}

db::TValue ParseWhole(db::TFieldType type, std::string_view text, std::string_view t) {
    t = NumberBody(t);
    std::int64_t v = 0;
    const auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (ec == std::errc::result_out_of_range)
        throw EKorvelError(Quoted(text) + " is outside the range of whole numbers.");
    if (ec != std::errc() || ptr != t.data() + t.size())
        throw EKorvelError(Quoted(text) + " is not a valid whole number.");
    std::int64_t lo = std::numeric_limits<std::int64_t>::min();
    std::int64_t hi = std::numeric_limits<std::int64_t>::max();
    if (type == db::TFieldType::Integer) {
        lo = std::numeric_limits<std::int32_t>::min();
        hi = std::numeric_limits<std::int32_t>::max();
    } else if (type == db::TFieldType::Word) {
        lo = 0;
        hi = 65535;
    } else if (type == db::TFieldType::AutoInc) {
        lo = 1;
    }
    if (v < lo || v > hi)
        throw EKorvelError(Quoted(text) + " is outside the range " + std::to_string(lo) + ".." +
                           std::to_string(hi) + ".");
    return v;
}

db::TValue ParseBoolean(std::string_view text, std::string_view t) {
    if (db::SameName(t, "true") || t == "1")
        return std::int64_t{1};
    if (db::SameName(t, "false") || t == "0")
        return std::int64_t{0};
    throw EKorvelError(Quoted(text) + " is not a valid truth value (True or False).");
}

db::TValue ParseDateTime(std::string_view text, std::string_view t) {
    auto parsed = db::IsoToDateTime(std::string(t));
    if (!parsed)
        throw EKorvelError(Quoted(text) + " is not a valid date and time (YYYY-MM-DD HH:MM:SS).");
    return db::DateTimeToIso(*parsed);
}

// Stored form "YYYY-MM-DD HH:MM:SS.mmm"; whole seconds read better without ".000".
std::string DateTimeText(std::string iso) {
    if (iso.size() > 4 && iso.compare(iso.size() - 4, 4, ".000") == 0)
        iso.resize(iso.size() - 4);
    return iso;
}

} // namespace

std::string FloatText(double value) {
    if (value == 0)
        return "0"; // also for -0, which nobody means to type
    char buf[64];
    const double magnitude = std::fabs(value);
    const auto res = magnitude >= 1e-6 && magnitude < 1e15
                         ? std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed)
                         : std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, res.ptr);
}

std::string FieldValueText(db::TFieldType type, const db::TValue& value) {
    using db::TFieldType;
    if (const auto* s = std::get_if<std::string>(&value))
        return type == TFieldType::DateTime ? DateTimeText(*s) : *s;
    if (const auto* i = std::get_if<std::int64_t>(&value)) {
        if (type == TFieldType::Boolean)
            return *i != 0 ? "True" : "False";
        return std::to_string(*i);
    }
    if (const auto* d = std::get_if<double>(&value))
        return type == TFieldType::DateTime ? DateTimeText(db::DateTimeToIso(*d)) : FloatText(*d);
    if (const auto* b = std::get_if<db::TBytes>(&value)) {
        if (db::IsTextType(type))
            return std::string(b->begin(), b->end());
        return "(" + std::to_string(b->size()) + " bytes)";
    }
    return {};
}

db::TValue ParseFieldText(const db::TFieldDef& field, std::string_view text) {
    using db::TFieldType;
    if (db::IsTextType(field.DataType))
        return std::string(text);
    if (db::IsBlobType(field.DataType))
        throw EKorvelError("The field \"" + field.Name + "\" holds binary data and cannot take text.");
    const std::string_view t = Trim(text);
    if (t.empty())
        return std::monostate{};
    switch (field.DataType) {
    case TFieldType::Float:
        return ParseFloat(text, t);
    case TFieldType::Boolean:
        return ParseBoolean(text, t);
    case TFieldType::DateTime:
        return ParseDateTime(text, t);
    default:
        return ParseWhole(field.DataType, text, t);
    }
}

std::optional<double> ParseDecimalText(const std::string& text) {
    std::string t = TrimText(text);
    if (t.empty())
        return std::nullopt;
    for (char& c : t)
        if (c == ',')
            c = '.';
    char* end = nullptr;
    const double v = std::strtod(t.c_str(), &end);
    if (end != t.c_str() + t.size() || !std::isfinite(v))
        throw EKorvelError("\"" + text + "\" is not a number.");
    return v;
}

} // namespace korvel
