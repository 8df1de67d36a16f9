#include "platform/settings/IniStore.h"

#include "platform/Errors.h"
#include "platform/settings/AtomicFile.h"
#include "platform/settings/IniDocument.h"
#include "platform/settings/KeyPath.h"
#include "platform/text/CaseFold.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace korvel {

namespace {

namespace fs = std::filesystem;

std::string_view TrimBlanks(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) {
        s.remove_suffix(1);
    }
    return s;
}

} // namespace

bool ParseSettingInteger(std::string_view text, int& value) {
    text = TrimBlanks(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    int parsed = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) {
        return false;
    }
    value = parsed;
    return true;
}

bool ParseSettingFloat(std::string_view text, double& value) {
    std::string s(TrimBlanks(text));
    if (!s.empty() && s.front() == '+') {
        s.erase(0, 1);
    }
    if (s.find('.') == std::string::npos) {
        if (const auto comma = s.find(','); comma != std::string::npos && s.find(',', comma + 1) == s.npos) {
            s[comma] = '.';
        }
    }
    double parsed = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), parsed);
    if (s.empty() || ec != std::errc() || end != s.data() + s.size() || !std::isfinite(parsed)) {
        return false;
    }
    value = parsed;
    return true;
}

bool ParseSettingBool(std::string_view text, bool& value) {
    const std::string folded = FoldCase(TrimBlanks(text));
    if (folded == "true" || folded == "yes" || folded == "on") {
        value = true;
        return true;
    }
    if (folded == "false" || folded == "no" || folded == "off") {
        value = false;
        return true;
    }
    int number = 0;
    if (ParseSettingInteger(folded, number)) {
        value = number != 0;
        return true;
    }
    return false;
}

TIniStore::TIniStore(std::string_view keyPath) : fileName_(IniFileNameForKeyPath(keyPath)) {}

TIniDocument TIniStore::Load() const {
    std::error_code ec;
    const fs::file_status status = fs::status(fileName_, ec);
    if (status.type() == fs::file_type::not_found) {
        return {};
    }
    if (ec || !fs::is_regular_file(status)) {
        throw EKorvelError("The settings file \"" + fileName_ +
                           "\" cannot be read: it is not a regular file");
    }
    std::ifstream in(fileName_, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) {
        throw EKorvelError("The settings file \"" + fileName_ + "\" cannot be read");
    }
    return TIniDocument::Parse(text.str());
}

void TIniStore::Save(const TIniDocument& doc) const {
    WriteFileAtomically(fileName_, doc.ToText());
}

std::string TIniStore::ReadString(std::string_view section, std::string_view key,
                                  std::string_view def) const {
    return Load().Get(section, key).value_or(std::string(def));
}

void TIniStore::WriteString(std::string_view section, std::string_view key, std::string_view value) const {
    TIniDocument doc = Load();
    if (doc.Set(section, key, value)) {
        Save(doc);
    }
}

int TIniStore::ReadInteger(std::string_view section, std::string_view key, int def) const {
    int value = def;
    if (const auto text = Load().Get(section, key); !text || !ParseSettingInteger(*text, value)) {
        return def;
    }
    return value;
}

void TIniStore::WriteInteger(std::string_view section, std::string_view key, int value) const {
    WriteString(section, key, std::to_string(value));
}

bool TIniStore::ReadBool(std::string_view section, std::string_view key, bool def) const {
    bool value = def;
    if (const auto text = Load().Get(section, key); !text || !ParseSettingBool(*text, value)) {
        return def;
    }
    return value;
}

void TIniStore::WriteBool(std::string_view section, std::string_view key, bool value) const {
    WriteString(section, key, value ? "1" : "0");
}

double TIniStore::ReadFloat(std::string_view section, std::string_view key, double def) const {
    double value = def;
    if (const auto text = Load().Get(section, key); !text || !ParseSettingFloat(*text, value)) {
        return def;
    }
    return value;
}

void TIniStore::WriteFloat(std::string_view section, std::string_view key, double value) const {
    if (!std::isfinite(value)) {
        throw EKorvelError("The setting \"" + std::string(key) + "\" must be a finite number");
    }
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    WriteString(section, key, std::string_view(buffer, static_cast<std::size_t>(end - buffer)));
}

bool TIniStore::SectionExists(std::string_view section) const {
    return Load().HasSection(section);
}

bool TIniStore::ValueExists(std::string_view section, std::string_view key) const {
    return Load().HasKey(section, key);
}

std::vector<std::string> TIniStore::ReadSection(std::string_view section) const {
    return Load().Keys(section);
}

std::vector<std::string> TIniStore::ReadSections() const {
    return Load().Sections();
}

void TIniStore::EraseSection(std::string_view section) const {
    TIniDocument doc = Load();
    if (doc.EraseSection(section)) {
        Save(doc);
    }
}

void TIniStore::DeleteKey(std::string_view section, std::string_view key) const {
    TIniDocument doc = Load();
    if (doc.DeleteKey(section, key)) {
        Save(doc);
    }
}

} // namespace korvel
