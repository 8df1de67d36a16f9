#include "platform/settings/ProgramSettings.h"

#include "platform/settings/ConfigLocation.h"
#include "platform/settings/IniStore.h"
#include "platform/settings/PathText.h"
#include "platform/settings/PathType.h"

#include <cstdlib>
#include <filesystem>

#ifndef KORVEL_BUILD_SYSTEM_LIBS
#error "KORVEL_BUILD_SYSTEM_LIBS must name the build tree's system/libs folder"
#endif

namespace korvel {

namespace {

namespace fs = std::filesystem;

std::optional<std::string>& GlobalOverride() {
    static std::optional<std::string> folder;
    return folder;
}

std::optional<std::string>& SystemOverride() {
    static std::optional<std::string> folder;
    return folder;
}

std::string ReadFolder(std::string_view key) {
    return IncludeTrailingSeparator(TIniStore(KorvelLibIniFileName()).ReadString(kFoldersSection, key, ""));
}

void WriteFolder(std::string_view key, std::string_view folder) {
    TIniStore(KorvelLibIniFileName()).WriteString(kFoldersSection, key, folder);
}

} // namespace

void SetGlobalLibPathOverride(std::optional<std::string> folder) {
    GlobalOverride() = std::move(folder);
}

void SetSystemLibPathOverride(std::optional<std::string> folder) {
    SystemOverride() = std::move(folder);
}

std::string GetGlobalLibPath() {
    if (GlobalOverride())
        return IncludeTrailingSeparator(*GlobalOverride());
    return ReadFolder(kGlobalLibKey);
}

void SetGlobalLibPath(std::string_view folder) {
    WriteFolder(kGlobalLibKey, folder);
}

std::string GetSystemLibPath1() {
    if (SystemOverride())
        return IncludeTrailingSeparator(*SystemOverride());
    return ReadFolder(kSystemLib1Key);
}

void SetSystemLibPath1(std::string_view folder) {
    WriteFolder(kSystemLib1Key, folder);
}

std::string GetSystemLibPath2() {
    if (SystemOverride())
        return {};
    return ReadFolder(kSystemLib2Key);
}

void SetSystemLibPath2(std::string_view folder) {
    WriteFolder(kSystemLib2Key, folder);
}

std::string SystemLibPathDefault() {
    if (const char* env = std::getenv("KORVEL_SYSTEM_LIBS"); env && *env) {
        return IncludeTrailingSeparator(env);
    }
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const fs::path installed =
            (exe.parent_path() / ".." / "share" / "korvel" / "system" / "libs").lexically_normal();
        if (fs::is_directory(installed, ec)) {
            return IncludeTrailingSeparator(installed.string());
        }
    }
    return IncludeTrailingSeparator(KORVEL_BUILD_SYSTEM_LIBS);
}

int GetLibWindowStyle() {
    const int style = TIniStore(KorvelLibIniFileName()).ReadInteger(kProgramSection, kWindowStyleKey, 1);
    return style == 0 ? 0 : 1;
}

void SetLibWindowStyle(int style) {
    TIniStore(KorvelLibIniFileName()).WriteInteger(kProgramSection, kWindowStyleKey, style == 0 ? 0 : 1);
}

std::string GetLastProjectFolder() {
    return TIniStore(KorvelLibIniFileName()).ReadString(kProgramSection, kProjectFolderKey, "");
}

void SetLastProjectFolder(std::string_view folder) {
    TIniStore(KorvelLibIniFileName()).WriteString(kProgramSection, kProjectFolderKey, folder);
}

namespace {

bool IsConfiguredSystemFolder(std::string_view folder) {
    if (folder.empty())
        return false;
    const std::string wanted = IncludeTrailingSeparator(folder);
    for (const std::string& configured : {GetSystemLibPath1(), GetSystemLibPath2(), SystemLibPathDefault()}) {
        if (configured.empty())
            continue;
        const std::string system = IncludeTrailingSeparator(configured);
        if (wanted.size() >= system.size() && SameFileName(system, wanted.substr(0, system.size())))
            return true;
    }
    return false;
}

} // namespace

TLibPathType LibPathTypeOf(std::string_view fileOrFolder) {
    if (IsConfiguredSystemFolder(ExtractFolder(fileOrFolder)))
        return TLibPathType::System;
    return GetPathTypeByName(fileOrFolder, GetGlobalLibPath());
}

} // namespace korvel
