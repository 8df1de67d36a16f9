// System libraries are never changed: every control and menu item of the sound editor is driven against a
// System tab, as a user clicks and by calling its handler directly, with every dialog answered in the way
// that writes most; the files of the System folder keep their bytes.

#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Database.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Navigator.h"
#include "platform/ui/PageCtrls.h"
#include "platform/ui/ScriptedUi.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/ValueGrid.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using acoustic::kEmissionLibType;

// Answers every dialog with what leads to writing: Yes, OK, a value, a file, overwrite all.
class TAgreeingUi : public TScriptedUi {
public:
    explicit TAgreeingUi(const fs::path& dir) : dir_(dir) {
        WriteAll(dir / "rows.csv", "ElementName;1kHz\nimported;80\n");
        WriteAll(dir / "note.txt", "document");
    }

    TModalResult MessageDlg(const std::string&, TMsgDlgType, TMsgDlgButtons buttons) override {
        for (TMsgDlgBtn b : {mbYesToAll, mbYes, mbOK, mbRetry, mbIgnore})
            if (buttons.Contains(b))
                return ButtonResult(b);
        return mrOk;
    }
    bool InputQuery(const std::string&, const std::string&, std::string& value) override {
        value = "70";
        return true;
    }
    std::vector<fs::path> OpenDialog(const TOpenDialogOptions& options) override {
        if (options.SelectFolder)
            return {dir_};
        if (options.Title.find("link") != std::string::npos)
            return {dir_ / "note.txt"};
        return {dir_ / "rows.csv"};
    }
    std::optional<fs::path> SaveDialog(const TSaveDialogOptions&) override { return dir_ / "saved.xlsx"; }
    bool ChooseColor(TColor& color) override {
        color = clRed;
        return true;
    }
    TNameConflictAnswer NameConflict(const TNameConflictQuery&) override {
        return {TneAction::OverwriteAll, {}};
    }
    TModalResult ShowModal(TForm&) override { return mrOk; }
    void ShowForm(TForm&) override {} // modeless forms ask nothing: not shown

private:
    fs::path dir_;
};

using TFolderBytes = std::map<std::string, std::string>;

TFolderBytes ReadFolder(const std::string& folder) {
    TFolderBytes out;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            out[entry.path().string()] = ReadAll(entry.path());
    return out;
}

// Runs an action; a refusal, by message or by exception, is what the test hopes for.
void Forced(const std::function<void()>& action) {
    try {
        action();
    } catch (...) {
    }
}

// Uses one control as a user would, then calls its handler directly; false for controls that edit nothing.
bool Drive(TControl* control, const std::function<void()>& onSystemTab) {
    if (auto* button = dynamic_cast<TButton*>(control)) {
        Forced([&] { button->Click(); });
        if (button->OnClick) {
            onSystemTab();
            Forced([&] { button->OnClick(*button); });
        }
    } else if (auto* edit = dynamic_cast<TEdit*>(control)) {
        edit->SetText("71");
        if (edit->OnChange)
            Forced([&] { edit->OnChange(*edit); });
    } else if (auto* memo = dynamic_cast<TMemo*>(control)) {
        memo->SetText("changed");
        if (memo->OnChange)
            Forced([&] { memo->OnChange(*memo); });
    } else if (auto* check = dynamic_cast<TCheckBox*>(control)) {
        check->SetChecked(!check->Checked());
        if (check->OnClick)
            Forced([&] { check->OnClick(*check); });
    } else if (auto* combo = dynamic_cast<TComboBox*>(control)) {
        const int n = static_cast<int>(combo->Items().size());
        combo->SetItemIndex(n > 1 ? n - 1 : 0);
        if (combo->OnChange)
            Forced([&] { combo->OnChange(*combo); });
    } else if (auto* grid = dynamic_cast<TValueGrid*>(control)) {
        for (int r = 1; r < grid->RowCount(); ++r)
            for (int c = 1; c < grid->ColCount(); ++c)
                grid->EditCell(c, r, "55");
    } else if (auto* nav = dynamic_cast<TNavigator*>(control)) {
        for (TNavigateBtn b : {nbInsert, nbEdit, nbPost, nbDelete, nbCancel, nbRefresh}) {
            onSystemTab();
            Forced([&] { nav->BtnClick(b); });
        }
    } else {
        return false;
    }
    return true;
}

class SystemImmutable : public ::testing::Test {
protected:
    void SetUp() override {
        // The System library is made like the shipped ones: written elsewhere, moved into the System
        // folder and switched to the rollback journal.
        {
            sound::TFormLibX& maker = sound::OpenSoundEditor(f, kEmissionLibType, {f.Project2()});
            for (const char* name : {"Fan", "Pump", "Valve"})
                sound::AddElement(maker, {{"name", name},
                                          {"comment", "shipped"},
                                          {"groups", {"Machines"}},
                                          {"weighting", "A"},
                                          {"values", {{"27", 80.0}, {"30", 77.0}}}});
            f.Host().Destroy(maker);
        }
        const std::string lib = LibName(kEmissionLibType);
        fs::rename(f.Project2() + lib, f.System() + lib);
        for (const char* suffix : {"-wal", "-shm"})
            fs::remove(f.Project2() + lib + suffix);
        db::TDatabase system(f.System() + lib);
        system.Open();
        system.SetJournalModeDelete();
        system.Close();
        LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", "Local"}}});
        before_ = ReadFolder(f.System());
        ASSERT_EQ(before_.size(), 1u);
    }

    LibFolders f;
    TAgreeingUi ui_{f.Root()};
    TLibHost host_{ui_};
    TFolderBytes before_;
};

// Every action in a menu tree: the user's click, then the handler itself.
void DriveMenu(TMenuItem& item, const std::function<void()>& onSystemTab, int& actions) {
    for (int i = 0; i < item.Count(); ++i) {
        TMenuItem& child = item.Item(i);
        if (child.Name() == "CloseEditor" || child.Name() == "OpenAnotherLibrary")
            continue;
        if (child.OnClick) {
            onSystemTab();
            Forced([&] { child.Click(); });
            onSystemTab();
            Forced([&] { child.OnClick(child); });
            ++actions;
        }
        DriveMenu(child, onSystemTab, actions);
    }
}

TEST_F(SystemImmutable, EveryEditingPathLeavesTheSystemLibraryBytesUnchanged) {
    auto& editor = dynamic_cast<sound::TFormLibX&>(host_.Adopt(CreateLib(host_, kEmissionLibType)));
    editor.OpenLibType({f.System(), f.Project()}, 1, kEmissionLibType, true);
    ASSERT_EQ(editor.TabCount(), 2);
    const int systemTab = 0;
    ASSERT_EQ(editor.GetPathType(systemTab), TLibPathType::System);
    int offTab = 0; // times the frame would not go to the System tab
    auto onSystemTab = [&] {
        Forced([&] {
            if (editor.GetCurIndex() != systemTab)
                editor.TabLibs().SetTabIndex(systemTab);
            editor.GetMainTable(systemTab)->First();
        });
        offTab += editor.GetCurIndex() != systemTab;
    };
    int actions = 0;

    // Controls of the frame and the kind's pages.
    onSystemTab();
    for (TControl* control : editor.AllControls()) {
        onSystemTab();
        bool driven = true;
        Forced([&] { driven = Drive(control, onSystemTab); });
        if (!driven)
            continue;
        Forced([&] { editor.StoreCurrent(); });
        ++actions;
    }

    // Menus, the main one and every pop-up menu, with their pop-up handlers run first.
    DriveMenu(editor.MainMenu()->Items(), onSystemTab, actions);
    for (TPopupMenu* menu : editor.PopupMenus()) {
        menu->Popup();
        DriveMenu(menu->Items(), onSystemTab, actions);
    }

    // Direct calls a command or a script could make.
    onSystemTab();
    Forced([&] {
        db::TTable& t = *editor.GetMainTable(systemTab);
        t.Edit();
        t.FieldByName("Kommentar").SetAsString("written");
        t.Post();
    });
    Forced([&] { editor.ApplyElementView({{"name", "Renamed"}}); });
    Forced([&] { editor.StoreCurrent(); });
    Forced([&] { editor.GetMainTable(systemTab)->Delete(); });
    Forced([&] { editor.UpdateLibrary(); });

    EXPECT_GT(actions, 40)
        << "the frame offers fewer controls than expected: is the walk still reaching them?";
    EXPECT_EQ(offTab, 0);
    host_.Destroy(editor);
    EXPECT_TRUE(ReadFolder(f.System()) == before_)
        << "files of the System folder changed, appeared or vanished";
}

} // namespace
} // namespace korvel::test
