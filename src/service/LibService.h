#pragma once

// The entry points through which the host program opens library editors: show (or bring forward) the editor
// of a kind, let the person pick an element, make an editor for a type number, find an editor that shows a
// library file already, and convert the older library files of a folder.

#include "editor/CustomLibForm.h"
#include "editor/LibHost.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

// The editor registered for the type, made for the host and set to the type; none for a type without one.
std::unique_ptr<TCustomLibForm> CreateLib(TLibHost& owner, int libType);

// Finds the child window that shows folder + LibName(libType) (compared ignoring case) and its tab.
bool LibAlreadyOpen(TLibHost& host, const std::string& folder, int libType, int& tabIndex,
                    TCustomLibForm*& editor);

// The common open routine of ShowLib and the pick function. Returns the editor shown, the one brought
// forward, or none: for an unknown type, and after a modal run, whose editor is freed when it closes.
TCustomLibForm* ShowLibCommon(TLibHost& host, int libType, const std::string& projectFolder, bool modal,
                              std::vector<int>* selected, int& modalResult, int& elementNo, TFormStyle style);

// Opens (or brings forward) the editor of a kind for a project folder.
TCustomLibForm* ShowLib(TLibHost& host, int libType, const std::string& projectFolder, bool modal,
                        TFormStyle style);

// Shows the editor modally for choosing an element. elementNo: the element to show, and the chosen one;
// selected (may be null): the chosen elements, or the chosen one alone. Returns 1 accepted, 2 cancelled.
int PickLibElement(TLibHost& host, int libType, const std::string& projectFolder, int& elementNo,
                   std::vector<int>* selected);

// Converts the older library files of a folder to the current ones, keeping copies in its "backup" folder.
void ConvertLibrary(TLibHost& host, const std::string& folder);

// Installs the pick function of a host in ShowLibFunc for the object's lifetime.
class TLibService {
public:
    explicit TLibService(TLibHost& host);
    ~TLibService();
    TLibService(const TLibService&) = delete;
    TLibService& operator=(const TLibService&) = delete;

private:
    TLibHost& host_;
};

} // namespace korvel
