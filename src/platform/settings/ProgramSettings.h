#pragma once

#include "platform/base/LibTypes.h"

#include <optional>
#include <string>
#include <string_view>

namespace korvel {

// Program-wide folders, kept in the settings file KorvelLibIniFileName() in section "Folders":
//   GlobalLib   the user's Global library folder
//   SystemLib1  first folder searched for System libraries
//   SystemLib2  second folder searched for System libraries
// Folders are returned with a trailing separator; an unset folder is empty.
inline constexpr std::string_view kFoldersSection = "Folders";
inline constexpr std::string_view kGlobalLibKey = "GlobalLib";
inline constexpr std::string_view kSystemLib1Key = "SystemLib1";
inline constexpr std::string_view kSystemLib2Key = "SystemLib2";

// While an override is set (the command line's folder options), the getters return it instead of the
// settings file, and with a System override the second System folder reads as empty. The setters still
// write the file. Overrides last for the rest of the process; nullopt removes one.
void SetGlobalLibPathOverride(std::optional<std::string> folder);
void SetSystemLibPathOverride(std::optional<std::string> folder);

std::string GetGlobalLibPath();
void SetGlobalLibPath(std::string_view folder);
std::string GetSystemLibPath1();
void SetSystemLibPath1(std::string_view folder);
std::string GetSystemLibPath2();
void SetSystemLibPath2(std::string_view folder);

// The folder of the shipped System libraries: $KORVEL_SYSTEM_LIBS if set; else
// <folder of the program>/../share/korvel/system/libs when it exists (an installed program); else the
// build tree's system/libs folder. With a trailing separator.
std::string SystemLibPathDefault();

// How the desktop program opens editors, in section "Program", key "WindowStyle": 1 (the default) inside the
// main window, 0 as windows of their own. Other stored values read as the default.
inline constexpr std::string_view kProgramSection = "Program";
inline constexpr std::string_view kWindowStyleKey = "WindowStyle";
int GetLibWindowStyle();
void SetLibWindowStyle(int style);
// The project folder the desktop program worked in last ("Program", "ProjectFolder").
inline constexpr std::string_view kProjectFolderKey = "ProjectFolder";
std::string GetLastProjectFolder();
void SetLastProjectFolder(std::string_view folder);

// The location of a library file or folder: System when it is, or lies below, one of the System library
// folders (the two settings and the shipped default), so delivered libraries are never written wherever they
// were installed; otherwise the path-type rule of GetPathTypeByName with the Global folder setting.
TLibPathType LibPathTypeOf(std::string_view fileOrFolder);

} // namespace korvel
