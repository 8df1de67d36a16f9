#include "platform/db/Field.h"

#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Table.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace korvel::db {

namespace {

std::string FormatFloat(double d) {
    char buf[40];
    auto res = std::to_chars(buf, buf + sizeof buf, d);
    return std::string(buf, res.ptr);
}

std::string Trim(std::string_view s) {
    size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string_view::npos) {
        return {};
    }
    size_t e = s.find_last_not_of(" \t\r\n");
    return std::string(s.substr(b, e - b + 1));
}

} // namespace

TField::TField(TTable& table, int index, TFieldDef def)
    : table_(table), index_(index), def_(std::move(def)) {}

void TField::Fail(const std::string& what) const {
    throw EDatabaseError("Field \"" + def_.Name + "\": " + what);
}

const TValue& TField::Value() const {
    return table_.ValueAt(index_);
}
bool TField::IsNull() const {
    return db::IsNull(Value());
}
void TField::Clear() {
    table_.SetValueAt(index_, std::monostate{});
}
void TField::SetValue(const TValue& value) {
    table_.SetValueAt(index_, Convert(value));
}

TValue TField::Convert(const TValue& value) const {
    return ConvertToField(def_, value);
}

namespace {

[[noreturn]] void FailField(const TFieldDef& def, const std::string& what) {
    throw EDatabaseError("Field \"" + def.Name + "\": " + what);
}

} // namespace

TValue ConvertToField(const TFieldDef& def, const TValue& value) {
    if (db::IsNull(value)) {
        return value;
    }
    switch (def.DataType) {
    case TFieldType::String:
    case TFieldType::Memo: {
        std::string text;
        if (auto* s = std::get_if<std::string>(&value)) {
            text = *s;
        } else if (auto* i = std::get_if<std::int64_t>(&value)) {
            text = std::to_string(*i);
        } else if (auto* d = std::get_if<double>(&value)) {
            text = FormatFloat(*d);
        } else {
            FailField(def, "a binary value cannot be stored as text");
        }
        // A string field keeps at most its declared number of characters, like any typed table.
        if (def.DataType == TFieldType::String && CodePointCount(text) > static_cast<size_t>(def.Size)) {
            text = TruncateCodePoints(text, static_cast<size_t>(def.Size));
        }
        return text;
    }
    case TFieldType::Blob:
    case TFieldType::Graphic:
        if (auto* b = std::get_if<TBytes>(&value)) {
            return *b;
        }
        if (auto* s = std::get_if<std::string>(&value)) {
            return TBytes(s->begin(), s->end());
        }
        FailField(def, "a number cannot be stored as bytes");
    case TFieldType::Float:
        if (auto* d = std::get_if<double>(&value)) {
            if (!std::isfinite(*d)) {
                FailField(def, "the value is not a finite number");
            }
            return *d;
        }
        if (auto* i = std::get_if<std::int64_t>(&value)) {
            return static_cast<double>(*i);
        }
        if (auto* s = std::get_if<std::string>(&value)) {
            std::string t = Trim(*s);
            double d = 0;
            auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), d);
            if (t.empty() || ec != std::errc() || ptr != t.data() + t.size() || !std::isfinite(d)) {
                FailField(def, "'" + *s + "' is not a valid number");
            }
            return d;
        }
        FailField(def, "bytes cannot be stored as a number");
    case TFieldType::DateTime:
        if (auto* d = std::get_if<double>(&value)) {
            return DateTimeToIso(*d);
        }
        if (auto* s = std::get_if<std::string>(&value)) {
            auto parsed = IsoToDateTime(Trim(*s));
            if (!parsed) {
                FailField(def, "'" + *s + "' is not a valid date and time");
            }
            return DateTimeToIso(*parsed);
        }
        FailField(def, "the value is not a date and time");
    case TFieldType::Integer:
    case TFieldType::LargeInt:
    case TFieldType::Word:
    case TFieldType::Boolean:
    case TFieldType::AutoInc: {
        std::int64_t v = 0;
        if (auto* i = std::get_if<std::int64_t>(&value)) {
            v = *i;
        } else if (auto* d = std::get_if<double>(&value)) {
            if (!std::isfinite(*d) || std::fabs(*d) > 9.0e18) {
                FailField(def, "the value is out of range");
            }
            v = std::llround(*d);
        } else if (auto* s = std::get_if<std::string>(&value)) {
            std::string t = Trim(*s);
            if (def.DataType == TFieldType::Boolean && (SameName(t, "true") || SameName(t, "false"))) {
                v = SameName(t, "true") ? 1 : 0;
            } else {
                auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
                if (t.empty() || ec != std::errc() || ptr != t.data() + t.size()) {
                    FailField(def, "'" + *s + "' is not a valid integer");
                }
            }
        } else {
            FailField(def, "bytes cannot be stored as a number");
        }
        if (def.DataType == TFieldType::Boolean) {
            return std::int64_t{v != 0 ? 1 : 0};
        }
        if (def.DataType == TFieldType::Word && (v < 0 || v > 65535)) {
            FailField(def, std::to_string(v) + " is outside 0..65535");
        }
        if (def.DataType == TFieldType::Integer &&
            (v < std::numeric_limits<std::int32_t>::min() || v > std::numeric_limits<std::int32_t>::max())) {
            FailField(def, std::to_string(v) + " is outside the range of an integer");
        }
        return v;
    }
    }
    return value;
}

std::string TField::AsString() const {
    const TValue& v = Value();
    if (auto* s = std::get_if<std::string>(&v)) {
        return *s;
    }
    if (auto* i = std::get_if<std::int64_t>(&v)) {
        if (def_.DataType == TFieldType::Boolean) {
            return *i ? "True" : "False";
        }
        return std::to_string(*i);
    }
    if (auto* d = std::get_if<double>(&v)) {
        return FormatFloat(*d);
    }
    if (auto* b = std::get_if<TBytes>(&v)) {
        return std::string(b->begin(), b->end());
    }
    return {};
}

void TField::SetAsString(std::string_view text) {
    // An empty text clears a non-text field, as typing nothing into a number box does.
    if (text.empty() && !IsTextType(def_.DataType)) {
        Clear();
        return;
    }
    SetValue(std::string(text));
}

std::int64_t TField::AsLargeInt() const {
    const TValue& v = Value();
    if (auto* i = std::get_if<std::int64_t>(&v)) {
        return *i;
    }
    if (auto* d = std::get_if<double>(&v)) {
        return std::isfinite(*d) ? std::llround(*d) : 0;
    }
    if (auto* s = std::get_if<std::string>(&v)) {
        std::int64_t out = 0;
        std::string t = Trim(*s);
        auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), out);
        if (ec != std::errc() || ptr != t.data() + t.size()) {
            Fail("'" + *s + "' is not a valid integer");
        }
        return out;
    }
    return 0;
}

int TField::AsInteger() const {
    std::int64_t v = AsLargeInt();
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max()) {
        Fail(std::to_string(v) + " is outside the range of an integer");
    }
    return static_cast<int>(v);
}

void TField::SetAsInteger(int value) {
    SetValue(std::int64_t{value});
}
void TField::SetAsLargeInt(std::int64_t value) {
    SetValue(value);
}

double TField::AsFloat() const {
    const TValue& v = Value();
    if (auto* d = std::get_if<double>(&v)) {
        return *d;
    }
    if (auto* i = std::get_if<std::int64_t>(&v)) {
        return static_cast<double>(*i);
    }
    if (auto* s = std::get_if<std::string>(&v)) {
        if (def_.DataType == TFieldType::DateTime) {
            return AsDateTime();
        }
        std::string t = Trim(*s);
        double out = 0;
        auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), out);
        if (ec != std::errc() || ptr != t.data() + t.size()) {
            Fail("'" + *s + "' is not a valid number");
        }
        return out;
    }
    return 0.0;
}

void TField::SetAsFloat(double value) {
    SetValue(value);
}
bool TField::AsBoolean() const {
    return !IsNull() && AsLargeInt() != 0;
}
void TField::SetAsBoolean(bool value) {
    SetValue(std::int64_t{value ? 1 : 0});
}

TDateTime TField::AsDateTime() const {
    const TValue& v = Value();
    if (auto* s = std::get_if<std::string>(&v)) {
        auto parsed = IsoToDateTime(*s);
        if (!parsed) {
            Fail("'" + *s + "' is not a valid date and time");
        }
        return *parsed;
    }
    if (auto* d = std::get_if<double>(&v)) {
        return *d;
    }
    return 0.0;
}

void TField::SetAsDateTime(TDateTime value) {
    SetValue(value);
}

TBytes TField::AsBytes() const {
    const TValue& v = Value();
    if (auto* b = std::get_if<TBytes>(&v)) {
        return *b;
    }
    if (auto* s = std::get_if<std::string>(&v)) {
        return TBytes(s->begin(), s->end());
    }
    return {};
}

void TField::SetAsBytes(const TBytes& bytes) {
    SetValue(bytes);
}

} // namespace korvel::db
