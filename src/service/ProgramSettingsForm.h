#pragma once

// The program's settings dialog: the Global library folder, the two System library folders and how editors
// open (inside the main window or as windows of their own). OK checks the folders and writes the settings
// file; nothing is written on Cancel or when a check fails.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

namespace korvel {

class TFormProgramSettings : public TForm {
public:
    explicit TFormProgramSettings(IUi& ui);

    void Load();
    // Writes the shown values; false (with the reason shown) when a folder does not exist.
    bool Store();

    TEdit* EditGlobal = nullptr;
    TEdit* EditSystem1 = nullptr;
    TEdit* EditSystem2 = nullptr;
    TRadioGroup* RGWindowStyle = nullptr;
    TButton* ButtonOK = nullptr;
    TButton* ButtonCancel = nullptr;

private:
    TEdit& AddFolderRow(const std::string& name, const std::string& caption, int top);
    void BrowseClick(TEdit& edit, const std::string& title);
    void ButtonOKClick(TComponent& sender);
};

// Shows the dialog; true when the settings were changed.
bool EditProgramSettings(IUi& ui);

} // namespace korvel
