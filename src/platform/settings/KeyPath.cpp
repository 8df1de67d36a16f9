#include "platform/settings/KeyPath.h"

namespace korvel {

namespace {

bool IsSeparator(char c) {
    return c == '/' || c == '\\';
}

bool IsIniExtensionAt(std::string_view s, std::size_t pos) {
    static constexpr std::string_view kExt = ".ini";
    if (pos + kExt.size() > s.size()) {
        return false;
    }
    for (std::size_t i = 0; i < kExt.size(); ++i) {
        char c = s[pos + i];
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (c != kExt[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string IniFileNameForKeyPath(std::string_view keyPath) {
    if (keyPath.size() >= 4 && IsIniExtensionAt(keyPath, keyPath.size() - 4)) {
        return std::string(keyPath);
    }
    // The last ".ini" that is followed by a separator ends the file part; a folder named "x.ini" further
    // up the path is thereby left alone.
    std::size_t split = std::string_view::npos;
    for (std::size_t pos = 0; pos + 4 < keyPath.size(); ++pos) {
        if (IsIniExtensionAt(keyPath, pos) && IsSeparator(keyPath[pos + 4])) {
            split = pos + 4;
        }
    }
    if (split == std::string_view::npos) {
        return std::string(keyPath);
    }

    std::string result(keyPath.substr(0, split - 4));
    std::string_view rest = keyPath.substr(split);
    while (!rest.empty()) {
        while (!rest.empty() && IsSeparator(rest.front())) {
            rest.remove_prefix(1);
        }
        std::size_t len = 0;
        while (len < rest.size() && !IsSeparator(rest[len])) {
            ++len;
        }
        if (len > 0) {
            result += '.';
            result += rest.substr(0, len);
        }
        rest.remove_prefix(len);
    }
    return result + std::string(keyPath.substr(split - 4, 4));
}

} // namespace korvel
