#include "platform/settings/PathText.h"

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

} // namespace korvel
