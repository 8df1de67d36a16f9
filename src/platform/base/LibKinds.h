#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// The subsystems that group library kinds in menus and documentation.
enum class TLibSubsystem {
    Sound,
    Directivity,
    Assessment,
    TimeHistograms,
    Meteorology,
    Road,
    Rail,
    Aircraft
};

std::string_view SubsystemCaption(TLibSubsystem subsystem);

// What the program knows about one library kind, identified by its type number.
struct TLibKindInfo {
    int Type = 0;
    const char* EditorClass = "";
    const char* Caption = "";        // editor title
    const char* PrintTitle = "";     // report title; empty for kinds that print without one
    const char* KindName = "";       // name of the kind in messages and filters
    const char* FileName = "";       // library file inside a folder
    std::vector<std::string> Tables; // table names inside the file; item 0 is the main table
    std::string RegName;             // settings key of the kind
    const char* NameField = "ElementName";
    TLibSubsystem Subsystem = TLibSubsystem::Sound;
};

// Every library kind, in ascending type order.
const std::vector<TLibKindInfo>& AllLibKinds();
// The kind of a type number, or null for a number that names no kind.
const TLibKindInfo* FindLibKind(int libType);

// File name of a kind's library ("EmisX.abs"); empty for an unknown type.
std::string LibName(int libType);
// Names of the tables inside a kind's library, main table first; empty for an unknown type.
std::vector<std::string> TableNames(int libType);
// Settings key of a kind, used for its last used folder and its own settings sections.
std::string RegLibName(int libType);
// Name of the element-name field of a kind's main table.
std::string NameFieldName(int libType);
// The kind of a library file judged by its name, current or of an older generation ("Emis.abs",
// "Emis.DB", "Riwi3D.abs"); -1 when the name belongs to no kind.
int GetLibType(std::string_view fileName);

} // namespace korvel
