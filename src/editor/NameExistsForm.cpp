#include "editor/NameExistsForm.h"

#include "platform/ui/Ui.h"

namespace korvel {

TFormNameExists::TFormNameExists(IUi& ui, const TNameConflictQuery& query)
    : TForm(ui, "FormNameExists"), query_(query) {
    // The title names the element instead of the generic "Element name exists already, select".
    TControl::SetCaption("Element \"" + query.Name + "\" already exists");
    SetBounds(0, 0, 360, 260);
    rgChoice_ = &Add<TRadioGroup>("RGChoice");
    rgChoice_->SetAlign(alTop);
    rgChoice_->SetHeight(150);
    rgChoice_->SetItems({"Overwrite", "Overwrite all", "Skip", "Skip all", "Enter new name"});
    if (query.DefaultChoice >= 0 && query.DefaultChoice < 5)
        rgChoice_->SetItemIndex(query.DefaultChoice);
    rgChoice_->OnClick = Bind(&TFormNameExists::RGChoiceClick);
    auto& label = Add<TLabel>("LabelNewName");
    label.SetCaption("Enter new name:");
    label.SetAlign(alTop);
    editName_ = &Add<TEdit>("EditName");
    editName_->SetAlign(alTop);
    editName_->SetText(query.Name);
    if (query.MaxNameLength > 0)
        editName_->SetMaxLength(query.MaxNameLength);
    auto& buttons = Add<TPanel>("PanelButtons");
    buttons.SetAlign(alBottom);
    buttons.SetHeight(36);
    auto& cancel = buttons.Add<TButton>("ButtonCancel");
    cancel.SetCaption("Cancel");
    cancel.SetAlign(alRight);
    cancel.SetModalResult(mrCancel);
    cancel.SetCancel(true);
    auto& ok = buttons.Add<TButton>("ButtonOK");
    ok.SetCaption("OK");
    ok.SetAlign(alRight);
    ok.SetModalResult(mrOk);
    ok.SetDefault(true);
    ok.OnClick = Bind(&TFormNameExists::ButtonOKClick);
    if (rgChoice_->ItemIndex() == 4)
        SetActiveControl(editName_);
}

void TFormNameExists::RGChoiceClick(TComponent& /*sender*/) {
    if (rgChoice_->ItemIndex() == 4)
        SetActiveControl(editName_);
}

void TFormNameExists::ButtonOKClick(TComponent& /*sender*/) {
    if (rgChoice_->ItemIndex() < 0) {
        SetModalResult(mrNone);
        Ui().MessageDlg("Please select what to do.", mtError, {mbOK});
        return;
    }
    if (rgChoice_->ItemIndex() != 4)
        return;
    // Whether the new name is free is found out by the caller, which asks again when it is not.
    TNameConflictQuery plain = query_;
    plain.NameExists = nullptr;
    std::string problem = CheckNewName(plain, editName_->Text());
    if (!problem.empty()) {
        SetModalResult(mrNone);
        Ui().MessageDlg(problem, mtError, {mbOK});
        SetActiveControl(editName_);
    }
}

TNameConflictAnswer TFormNameExists::Answer(TModalResult result) const {
    TNameConflictAnswer answer;
    if (result != mrOk || rgChoice_->ItemIndex() < 0)
        return answer;
    answer.Action = static_cast<TneAction>(rgChoice_->ItemIndex() + 1);
    if (answer.Action == TneAction::NewName)
        answer.NewName = editName_->Text();
    return answer;
}

TNameConflictAnswer RunNameExistsForm(IUi& ui, const TNameConflictQuery& query) {
    TFormNameExists form(ui, query);
    return form.Answer(ui.ShowModal(form));
}

TneAction NameExistsAction(IUi& ui, const std::string& name, int defaultChoice, std::string& newName,
                           int maxNameLength, std::function<bool(const std::string&)> nameExists) {
    TNameConflictQuery query;
    query.Name = name;
    query.DefaultChoice = defaultChoice;
    query.MaxNameLength = maxNameLength;
    query.NameExists = std::move(nameExists);
    TNameConflictAnswer answer = ui.NameConflict(query);
    if (answer.Action == TneAction::NewName)
        newName = answer.NewName;
    return answer.Action;
}

} // namespace korvel
