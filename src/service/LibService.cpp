#include "service/LibService.h"

#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibLocations.h"
#include "platform/base/ShowLibHook.h"
#include "platform/settings/PathText.h"
#include "platform/settings/WindowPlacement.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/Ui.h"

namespace korvel {

std::unique_ptr<TCustomLibForm> CreateLib(TLibHost& owner, int libType) {
    const TLibEditorFactory* factory = FindLibEditor(libType);
    if (!factory || !FindLibKind(libType))
        return nullptr;
    return (*factory)(owner, libType);
}

bool LibAlreadyOpen(TLibHost& host, const std::string& folder, int libType, int& tabIndex,
                    TCustomLibForm*& editor) {
    tabIndex = -1;
    const std::string fileName = IncludeTrailingSeparator(folder) + LibName(libType);
    for (TForm* window : host.MDIChildren()) {
        auto* candidate = dynamic_cast<TCustomLibForm*>(window);
        if (!candidate)
            continue;
        editor = candidate;
        for (int i = 0; i < candidate->TabCount(); ++i) {
            if (SameFileName(candidate->GetFileName(i), fileName)) {
                tabIndex = i;
                return true;
            }
        }
    }
    return false;
}

TCustomLibForm* ShowLibCommon(TLibHost& host, int libType, const std::string& projectFolder, bool modal,
                              std::vector<int>* selected, int& modalResult, int& elementNo,
                              TFormStyle style) {
    if (!FindLibKind(libType))
        return nullptr;
    const std::string system = GetLastUsed(libType, TLibPathType::System, "");
    const std::string global = GetLastUsed(libType, TLibPathType::Global, "");
    std::string project;
    // A project folder that is the System or Global folder opens no tab of its own.
    const std::string asked = IncludeTrailingSeparator(projectFolder);
    if (!SameFileName(asked, system) && !SameFileName(asked, global))
        project = GetLastUsed(libType, TLibPathType::Project, projectFolder);

    if (style == fsChild) {
        int tab = -1;
        TCustomLibForm* open = nullptr;
        if (LibAlreadyOpen(host, project.empty() ? asked : project, libType, tab, open)) {
            host.BringToFront(*open);
            return open;
        }
    }

    std::unique_ptr<TCustomLibForm> created = CreateLib(host, libType);
    if (!created)
        return nullptr;
    TCustomLibForm& editor = static_cast<TCustomLibForm&>(host.Adopt(std::move(created)));
    editor.SetFormStyle(style);
    if (style == fsChild) {
        if (host.MDIChildCount() == 1)
            editor.SetBounds(0, 0, editor.Width(), editor.Height());
    } else if (auto placement = LoadWindowSettings("Lib" + std::to_string(libType))) {
        editor.SetBounds(placement->Left, placement->Top, placement->Width, placement->Height);
    }

    try {
        editor.OpenLibraryFolders({system, global, project});
    } catch (const std::exception& e) {
        host.Ui().MessageDlg(e.what(), mtError, {mbOK});
    }

    if (elementNo > 0 && !editor.GotoElementNo(editor.GetCurIndex(), elementNo)) {
        if (editor.SwitchElementFilterOff())
            editor.GotoElementNo(editor.GetCurIndex(), elementNo);
    }

    int result = mrOk;
    if (modal) {
        editor.SetVisible(false);
        editor.ShowAcceptBar();
        result = host.Ui().ShowModal(editor);
    } else {
        host.Ui().ShowForm(editor);
    }
    modalResult = result;
    if (result == mrOk) {
        elementNo = editor.LastElementNo();
        if (selected) {
            selected->clear();
            selected->insert(selected->end(), editor.LastSelectedElementNos().begin(),
                             editor.LastSelectedElementNos().end());
            if (selected->empty())
                selected->push_back(elementNo);
        }
    }
    if (modal) {
        // A modal editor has closed; it is freed now.
        if (!editor.FreeRequested())
            editor.Close();
        host.Destroy(editor);
        return nullptr;
    }
    return &editor;
}

TCustomLibForm* ShowLib(TLibHost& host, int libType, const std::string& projectFolder, bool modal,
                        TFormStyle style) {
    int result = 0;
    int elementNo = -1;
    return ShowLibCommon(host, libType, projectFolder, modal, nullptr, result, elementNo, style);
}

int PickLibElement(TLibHost& host, int libType, const std::string& projectFolder, int& elementNo,
                   std::vector<int>* selected) {
    int result = mrCancel;
    ShowLibCommon(host, libType, projectFolder, true, selected, result, elementNo, fsNormal);
    return result;
}

TLibService::TLibService(TLibHost& host) : host_(host) {
    ShowLibFunc() = [this](int libType, const std::string& projectFolder, int& elementNo,
                           std::vector<int>* selected) {
        return PickLibElement(host_, libType, projectFolder, elementNo, selected);
    };
}

TLibService::~TLibService() {
    ShowLibFunc() = nullptr;
}

} // namespace korvel
