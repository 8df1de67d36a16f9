#pragma once

// System, Global and Project folders in a temporary directory, with the program settings pointing at them
// and a host whose dialogs are scripted by the test.

#include "editor/LibHost.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/settings/ProgramSettings.h"
#include "support/SettingsSandbox.h"
#include "support/TestUi.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace korvel::test {

class LibFolders {
public:
    LibFolders() {
        for (const char* dir : {"system/libs", "global", "project", "project2"})
            std::filesystem::create_directories(root_.Path() / dir);
        SetSystemLibPath1(System());
        SetGlobalLibPath(Global());
    }
    std::string System() const { return (root_.Path() / "system/libs").string() + "/"; }
    std::string Global() const { return (root_.Path() / "global").string() + "/"; }
    std::string Project() const { return (root_.Path() / "project").string() + "/"; }
    std::string Project2() const { return (root_.Path() / "project2").string() + "/"; }
    std::string Root() const { return root_.Path().string() + "/"; }

    // Makes the kind's library in folder with one element per row (field name -> text value).
    static void MakeLibrary(int libType, const std::string& folder,
                            const std::vector<std::map<std::string, std::string>>& rows) {
        TMyTable lib(TableNames(libType));
        lib.InitLibX(folder, LibName(libType), TableNames(libType), false, true);
        SetFieldIndexDefs(lib, libType, true);
        lib.CreateDBTable();
        lib.Open();
        db::TTable& t = *lib.GetTable();
        for (const auto& row : rows) {
            t.Append();
            OnNewRecord(t, libType, false);
            for (const auto& [field, value] : row)
                t.FieldByName(field).SetAsString(value);
            t.Post();
        }
        lib.Close();
    }

    TTestUi& Ui() { return ui_; }
    TLibHost& Host() { return host_; }

private:
    SettingsSandbox settings_;
    TempDir root_;
    TTestUi ui_;
    TLibHost host_{ui_};
};

} // namespace korvel::test
