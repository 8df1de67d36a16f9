#pragma once

// The dialog "Edit classes": the class names of a scheme in a list with a navigator that adds (after the
// selected class) and deletes; a double click or Enter edits the selected name in "Edit Class Descriptor".
// The caller takes the list over on OK; each entry says which class it was, so conditions stay with their
// class.

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/Navigator.h"
#include "platform/ui/StdCtrls.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel::building {

class TFormEditClasses : public TForm {
public:
    struct TEntry {
        std::string Name;
        int Source = -1; // index of the class it was; -1 for a class added here
    };

    TFormEditClasses(IUi& ui, const std::vector<std::string>& names);
    ~TFormEditClasses() override;

    const std::vector<TEntry>& Entries() const { return entries_; }

    TListBox& LBClasses() const { return *lbClasses_; }
    TNavigator& NavClasses() const { return *navClasses_; }
    TButton& ButtonOK() const { return *buttonOK_; }

    void LBClassesDblClick(TComponent& sender);

private:
    void AddClass();
    void DeleteClass();
    void ShowEntries(int select);

    std::vector<TEntry> entries_;
    std::unique_ptr<TListNavTarget> navTarget_;
    TListBox* lbClasses_ = nullptr;
    TNavigator* navClasses_ = nullptr;
    TButton* buttonOK_ = nullptr;
};

} // namespace korvel::building
