#include "building/EditClassesForm.h"

#include "platform/ui/Ui.h"

#include <algorithm>

namespace korvel::building {

TFormEditClasses::TFormEditClasses(IUi& ui, const std::vector<std::string>& names)
    : TForm(ui, "FormEditClasses") {
    SetCaption("Edit classes");
    SetBounds(0, 0, 320, 340);
    for (std::size_t i = 0; i < names.size(); ++i)
        entries_.push_back({names[i], static_cast<int>(i)});

    auto& buttons = Add<TPanel>("PanelButtons");
    buttons.SetAlign(alBottom);
    buttons.SetHeight(36);
    auto& cancel = buttons.Add<TButton>("ButtonCancel");
    cancel.SetCaption("Cancel");
    cancel.SetAlign(alRight);
    cancel.SetWidth(90);
    cancel.SetModalResult(mrCancel);
    cancel.SetCancel(true);
    buttonOK_ = &buttons.Add<TButton>("ButtonOK");
    buttonOK_->SetCaption("OK");
    buttonOK_->SetAlign(alRight);
    buttonOK_->SetWidth(90);
    buttonOK_->SetModalResult(mrOk);
    buttonOK_->SetDefault(true);

    navClasses_ = &Add<TNavigator>("NavClasses");
    navClasses_->SetAlign(alBottom);
    navClasses_->SetHeight(28);
    navClasses_->SetVisibleButtons({nbInsert, nbDelete});
    navClasses_->SetHint("Add a class after the selected one, or delete the selected class");
    lbClasses_ = &Add<TListBox>("LBClasses");
    lbClasses_->SetAlign(alClient);
    lbClasses_->SetHint("Double click or Enter: edit the name");
    lbClasses_->OnDblClick = Bind(&TFormEditClasses::LBClassesDblClick);
    lbClasses_->OnClick = [this](TComponent&) {
        navClasses_->UpdateButtons();
    };

    navTarget_ = std::make_unique<TListNavTarget>(TListNavTarget::TCallbacks{
        .Count = [this] { return static_cast<int>(entries_.size()); },
        .Current = [this] { return lbClasses_->ItemIndex(); },
        .CanModify = {},
        .MoveTo = {},
        .Insert = [this] { AddClass(); },
        .Delete = [this] { DeleteClass(); },
    });
    navClasses_->SetTarget(navTarget_.get());
    ShowEntries(entries_.empty() ? -1 : 0);
}

TFormEditClasses::~TFormEditClasses() {
    navClasses_->SetTarget(nullptr);
}

void TFormEditClasses::ShowEntries(int select) {
    std::vector<std::string> items;
    for (const TEntry& e : entries_)
        items.push_back(e.Name);
    TSuspendEvents quiet(*lbClasses_);
    lbClasses_->SetItems(std::move(items));
    lbClasses_->SetItemIndex(std::clamp(select, -1, static_cast<int>(entries_.size()) - 1));
    navClasses_->UpdateButtons();
}

void TFormEditClasses::AddClass() {
    // A name not taken yet, so the new tab can be told apart.
    int n = static_cast<int>(entries_.size()) + 1;
    auto taken = [&](const std::string& name) {
        return std::any_of(entries_.begin(), entries_.end(), [&](const TEntry& e) { return e.Name == name; });
    };
    while (taken("Class " + std::to_string(n)))
        ++n;
    const int at =
        lbClasses_->ItemIndex() < 0 ? static_cast<int>(entries_.size()) : lbClasses_->ItemIndex() + 1;
    entries_.insert(entries_.begin() + at, TEntry{"Class " + std::to_string(n), -1});
    ShowEntries(at);
}

void TFormEditClasses::DeleteClass() {
    const int at = lbClasses_->ItemIndex();
    if (at < 0)
        return;
    entries_.erase(entries_.begin() + at);
    ShowEntries(std::min(at, static_cast<int>(entries_.size()) - 1));
}

void TFormEditClasses::LBClassesDblClick(TComponent& /*sender*/) {
    const int at = lbClasses_->ItemIndex();
    if (at < 0)
        return;
    std::string name = entries_[static_cast<std::size_t>(at)].Name;
    if (!Ui().InputQuery("Edit Class Descriptor", "Class name", name))
        return;
    if (name.find_first_not_of(" \t") == std::string::npos) {
        Ui().MessageDlg("A class needs a name.", mtError, {mbOK});
        return;
    }
    entries_[static_cast<std::size_t>(at)].Name = name;
    ShowEntries(at);
}

} // namespace korvel::building
