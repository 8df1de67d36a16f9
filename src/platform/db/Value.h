#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace korvel::db {

using TBytes = std::vector<std::uint8_t>;

// One stored value as it comes from or goes to SQLite.
using TValue = std::variant<std::monostate, std::int64_t, double, std::string, TBytes>;

inline bool IsNull(const TValue& v) {
    return std::holds_alternative<std::monostate>(v);
}

// Local date and time as days since 1899-12-30, with the time of day as fraction: the form in which the
// libraries' legacy formats and editors exchange time stamps.
using TDateTime = double;

TDateTime Now();
// "YYYY-MM-DD HH:MM:SS.mmm", the form kept in the file.
std::string DateTimeToIso(TDateTime value);
std::optional<TDateTime> IsoToDateTime(const std::string& text);
TDateTime EncodeDateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                         int ms = 0);

} // namespace korvel::db
