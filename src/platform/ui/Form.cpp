#include "platform/ui/Form.h"

#include "platform/Errors.h"
#include "platform/ui/StdCtrls.h"
#include "platform/ui/Ui.h"

namespace korvel {

TForm::TForm(IUi& ui, std::string name) : TControl(std::move(name)), ui_(ui) {
    SetVisible(false);
    SetBounds(0, 0, 640, 480);
}

TForm::~TForm() = default;

void TForm::ThrowMissing(std::string_view name) const {
    throw EKorvelError("Form \"" + Name() + "\" has no control \"" + std::string(name) + "\"");
}

void TForm::ThrowWrongClass(const TControl& control) const {
    throw EKorvelError("Control \"" + control.Name() + "\" of form \"" + Name() + "\" is a " +
                       std::string(control.ClassName()) + ", not the class asked for");
}

TMainMenu& TForm::CreateMainMenu(std::string name) {
    mainMenu_ = std::make_unique<TMainMenu>(std::move(name), this);
    Changed(TChangeKind::Items);
    return *mainMenu_;
}

TPopupMenu& TForm::AddPopupMenu(std::string name) {
    if (FindPopupMenu(name) != nullptr)
        throw EKorvelError("Form \"" + Name() + "\" has a popup menu \"" + name + "\" already");
    popupMenus_.push_back(std::make_unique<TPopupMenu>(std::move(name), this));
    return *popupMenus_.back();
}

std::vector<TPopupMenu*> TForm::PopupMenus() const {
    std::vector<TPopupMenu*> menus;
    for (const auto& menu : popupMenus_)
        menus.push_back(menu.get());
    return menus;
}

TPopupMenu* TForm::FindPopupMenu(std::string_view name) const {
    for (const auto& menu : popupMenus_)
        if (menu->Name() == name)
            return menu.get();
    return nullptr;
}

TMenuItem* TForm::FindMenuItem(std::string_view name) const {
    if (mainMenu_)
        if (TMenuItem* item = mainMenu_->FindItem(name))
            return item;
    for (const auto& menu : popupMenus_)
        if (TMenuItem* item = menu->FindItem(name))
            return item;
    return nullptr;
}

void TForm::SetModalResult(TModalResult result) {
    Assign(modalResult_, result, TChangeKind::Value);
    // Inside an event the close waits for the event's end: a click handler may still reset the result.
    if (modal_ && eventDepth_ == 0 && modalResult_ != mrNone)
        CloseModal();
}

void TForm::EndEvent() {
    if (eventDepth_ > 0)
        --eventDepth_;
    if (eventDepth_ == 0 && modal_ && modalResult_ != mrNone)
        CloseModal();
}

void TForm::SetActiveControl(TControl* control) {
    if (control == ActiveControl())
        return;
    activeControl_ = control;
    activeAlive_ = control ? control->Lifetime() : std::weak_ptr<TComponent*>{};
    Changed(TChangeKind::Selection);
}

void TForm::CloseModal() {
    if (closing_)
        return;
    closing_ = true;
    bool canClose = CloseQuery();
    TCloseAction action = caHide;
    if (canClose && (!Fire(OnClose, action) || action == caNone))
        canClose = false;
    if (canClose) {
        modal_ = false;
        SetVisible(false);
        if (action == caFree)
            freeRequested_ = true;
    } else {
        Assign(modalResult_, mrNone, TChangeKind::Value);
    }
    closing_ = false;
}

bool TForm::CloseQuery() {
    bool canClose = true;
    if (!Fire(OnCloseQuery, canClose))
        return false;
    return canClose;
}

void TForm::Show() {
    SetVisible(true);
    Fire(OnShow);
}

bool TForm::Close() {
    if (modal_) {
        SetModalResult(mrCancel);
        return !modal_;
    }
    if (!CloseQuery())
        return false;
    TCloseAction action = caHide;
    if (!Fire(OnClose, action) || action == caNone)
        return false;
    SetVisible(false);
    if (action == caFree)
        freeRequested_ = true;
    return true;
}

void TForm::BeginModal() {
    if (modal_)
        throw EKorvelError("Form \"" + Name() + "\" is shown modally already");
    modal_ = true;
    freeRequested_ = false;
    Assign(modalResult_, mrNone, TChangeKind::Value);
    SetVisible(true);
    Fire(OnShow);
}

void TForm::EndModal(TModalResult result) {
    Assign(modalResult_, result, TChangeKind::Value);
    modal_ = false;
    SetVisible(false);
}

bool TForm::PressButton(bool isDefault) {
    for (TControl* c : AllControls()) {
        auto* button = dynamic_cast<TButton*>(c);
        if (button && (isDefault ? button->Default() : button->Cancel()) && button->Reachable()) {
            button->Click();
            return true;
        }
    }
    return false;
}

bool TForm::PressDefault() {
    return PressButton(true);
}

bool TForm::PressCancel() {
    return PressButton(false);
}

bool TForm::HandleEventException(std::exception_ptr error) noexcept {
    try {
        std::string message;
        try {
            std::rethrow_exception(error);
        } catch (const std::exception& e) {
            message = e.what();
        } catch (...) {
            message = "An unexpected error occurred.";
        }
        ui_.MessageDlg(message, mtError, {mbOK});
        return true;
    } catch (...) {
        // The message could not be shown; let the original error go on to the caller.
        return false;
    }
}

} // namespace korvel
