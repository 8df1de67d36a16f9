#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace korvel::tools {

// One source of a System library: a JSON file naming a library kind and listing its elements in order.
//
//   {"type": 9, "file": "Stoffe.abs", "source": "citation", "elements": [{"Short": "NO2", ...}, ...]}
//
// "file" repeats the kind's file name so the build knows its outputs before the tool has run. Elements of the
// sound kinds (120..123) are the sound editor's element objects ({"name": ..., "bandType": ..., "values":
// ...}), those of the directivity kind (119) directivity objects ({"name": ..., "dirType": ..., "samples":
// ...}), those of the assessment kind (135) assessment objects keyed by the usage shorts that the source's
// "usages" list (25 {"short", "description"} pairs, written beside the library); those of the other kinds
// give fields of the main table by name. tools/mksystem/ElementWriter.h lists the kinds with element objects.
struct TSystemLibSource {
    std::string Path; // as given, for messages
    int Type = 0;
    std::string File;
    std::string Citation;
    nlohmann::json Elements;
    // The usage areas of an assessment library source (null when not given).
    nlohmann::json Usages;
};

// Reads and checks the frame of a source (members, kind, file name). Elements are checked while building,
// against the kind's layout. Throws EKorvelError naming the file.
TSystemLibSource ReadSystemLibSource(const std::string& path);

// Builds the library of the source in outFolder, replacing a library already there only when the whole
// build succeeded. The file is left in SQLite's rollback-journal mode so it opens read-only from a folder
// nobody may write to. Throws EKorvelError naming the file, the element and the field at fault.
void BuildSystemLib(const TSystemLibSource& source, const std::string& outFolder);

} // namespace korvel::tools
