#pragma once

// The name-conflict dialog: an element of the same name exists in the target library. Five choices and an
// edit box for a new name; OK gives choice + 1 as the action, Cancel gives "cancel".

#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/UiTypes.h"

#include <functional>
#include <string>

namespace korvel {

class TFormNameExists : public TForm {
public:
    TFormNameExists(IUi& ui, const TNameConflictQuery& query);
    std::string_view ClassName() const override { return "TFormNameExists"; }

    TRadioGroup& RGChoice() const { return *rgChoice_; }
    TEdit& EditName() const { return *editName_; }
    // The answer after the form closed with the given modal result.
    TNameConflictAnswer Answer(TModalResult result) const;

private:
    void RGChoiceClick(TComponent& sender);
    void ButtonOKClick(TComponent& sender);

    TNameConflictQuery query_;
    TRadioGroup* rgChoice_ = nullptr;
    TEdit* editName_ = nullptr;
};

// Shows the dialog modally through the dialog service; the desktop program answers name conflicts so.
TNameConflictAnswer RunNameExistsForm(IUi& ui, const TNameConflictQuery& query);

// Asks the person what to do about an element name that exists already; defaultChoice 4 preselects
// "Enter new name". newName receives the name typed for the action NewName. nameExists, when given, lets the
// dialog service propose a free name.
TneAction NameExistsAction(IUi& ui, const std::string& name, int defaultChoice, std::string& newName,
                           int maxNameLength = 0, std::function<bool(const std::string&)> nameExists = {});

} // namespace korvel
