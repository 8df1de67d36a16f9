#include "platform/settings/PathType.h"

#include "platform/settings/PathText.h"
#include "platform/text/CaseFold.h"

#include <string>

namespace korvel {

namespace {

// Case-folded, with '\' turned into '/', so both spellings of a folder compare equal.
std::string Normalized(std::string_view folder) {
    std::string text = FoldCase(folder);
    for (char& c : text) {
        if (c == '\\') {
            c = '/';
        }
    }
    return text;
}

} // namespace

TLibPathType GetPathTypeByName(std::string_view fileOrFolder, std::string_view globalFolder) {
    const std::string folder = ExtractFolder(fileOrFolder);
    if (folder.empty()) {
        return TLibPathType::System;
    }
    const std::string normalized = Normalized(folder);
    if (normalized.find("/system/libs/") != std::string::npos) {
        return TLibPathType::System;
    }
    if (!globalFolder.empty() && normalized.starts_with(Normalized(globalFolder))) {
        return TLibPathType::Global;
    }
    return TLibPathType::Project;
}

} // namespace korvel
