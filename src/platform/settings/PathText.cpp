#include "platform/settings/PathText.h"

#include "platform/text/CaseFold.h"

#include <algorithm>

namespace korvel {

bool IsPathSeparator(char c) {
    return c == '/' || c == '\\';
}

std::string IncludeTrailingSeparator(std::string_view folder) {
    std::string result(folder);
    if (!result.empty() && !IsPathSeparator(result.back())) {
        result += '/';
    }
    return result;
}

std::string ExtractFolder(std::string_view fileName) {
    for (std::size_t i = fileName.size(); i > 0; --i) {
        if (IsPathSeparator(fileName[i - 1])) {
            return std::string(fileName.substr(0, i));
        }
    }
    return {};
}

bool SameFileName(std::string_view a, std::string_view b) {
    auto normal = [](std::string_view name) {
        std::string text(name);
        std::replace(text.begin(), text.end(), '\\', '/');
        return text;
    };
    return SameTextIgnoringCase(normal(a), normal(b));
}

bool IsPlainFileName(std::string_view name) {
    if (name.empty() || name == "." || name == "..")
        return false;
    return std::none_of(name.begin(), name.end(), [](char c) {
        return IsPathSeparator(c) || c == ':' || static_cast<unsigned char>(c) < 0x20;
    });
}

std::optional<std::string> FileInFolder(std::string_view folder, std::string_view name) {
    if (!IsPlainFileName(name))
        return std::nullopt;
    return IncludeTrailingSeparator(folder) + std::string(name);
}

} // namespace korvel
