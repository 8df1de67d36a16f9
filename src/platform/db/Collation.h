#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::db {

// Case-insensitive ordering of element names. Names are ordered by ICU's root collation at secondary
// strength: letter case is ignored ("flügel" equals "FLÜGEL"), accents are not ("Flugel" differs), and
// "Äpfel" sorts beside "Apfel" rather than after "Z". The binary sort key is what the file stores beside
// the name, so any SQLite tool can read and order the table without a custom collation.
std::vector<std::uint8_t> CollationKey(std::string_view utf8);

// Version of the collation rules; keys made under other rules are rebuilt when a library is opened writable.
std::string CollatorVersion();

// Number of Unicode code points in a UTF-8 text; truncation keeps whole code points.
size_t CodePointCount(std::string_view utf8);
std::string TruncateCodePoints(std::string_view utf8, size_t maxCodePoints);

} // namespace korvel::db
