#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvel {

class TIniDocument;

// A settings store kept in one INI file. Every call opens the file, reads or rewrites it, and closes it
// again; nothing is cached, so several stores (and programs) on one file always see each other's changes.
// Rewrites go to a temporary file that then replaces the old one, so a crash leaves either the old or the
// new file, never half of one. A missing file reads as empty and is created by the first write.
//
// The store is named by a key path: a file name, optionally followed by sub-keys after a backslash or
// slash ("…/KorvelLib.ini\Scale"), which name a sibling file (see IniFileNameForKeyPath).
//
// Errors (an unreadable file, a folder that cannot be written, a name that an INI line cannot carry)
// throw EKorvelError with a message naming the file.
class TIniStore {
public:
    explicit TIniStore(std::string_view keyPath);

    const std::string& FileName() const { return fileName_; }

    std::string ReadString(std::string_view section, std::string_view key, std::string_view def) const;
    void WriteString(std::string_view section, std::string_view key, std::string_view value) const;

    // A value that is not a whole number in range reads as def.
    int ReadInteger(std::string_view section, std::string_view key, int def) const;
    void WriteInteger(std::string_view section, std::string_view key, int value) const;

    // Reads 1/0, true/false, yes/no, on/off (any case) and other whole numbers (non-zero is true).
    bool ReadBool(std::string_view section, std::string_view key, bool def) const;
    void WriteBool(std::string_view section, std::string_view key, bool value) const;

    // Numbers are written with a decimal point whatever the locale, in the shortest form that reads back
    // to the same double. Reading also accepts a decimal comma, as people type it by hand.
    double ReadFloat(std::string_view section, std::string_view key, double def) const;
    void WriteFloat(std::string_view section, std::string_view key, double value) const;

    bool SectionExists(std::string_view section) const;
    bool ValueExists(std::string_view section, std::string_view key) const;
    // The key names of a section, in file order.
    std::vector<std::string> ReadSection(std::string_view section) const;
    std::vector<std::string> ReadSections() const;
    void EraseSection(std::string_view section) const;
    void DeleteKey(std::string_view section, std::string_view key) const;

private:
    TIniDocument Load() const;
    void Save(const TIniDocument& doc) const;

    std::string fileName_;
};

// Parsers shared with other readers of settings-style text; all return false on anything but a clean value.
bool ParseSettingInteger(std::string_view text, int& value);
bool ParseSettingFloat(std::string_view text, double& value);
bool ParseSettingBool(std::string_view text, bool& value);

} // namespace korvel
