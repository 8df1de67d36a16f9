#include "platform/ui/Navigator.h"

#include "platform/ui/Form.h"
#include "platform/ui/Ui.h"

namespace korvel {

void TNavigator::SetTarget(INavigatorTarget* target) {
    if (target != target_) {
        target_ = target;
        UpdateButtons();
    }
}

void TNavigator::SetVisibleButtons(TNavButtons buttons) {
    Assign(visibleButtons_, buttons, TChangeKind::Style);
}

void TNavigator::UpdateButtons() {
    std::array<bool, kNavigateBtnCount> enabled{};
    const TNavTargetState state = target_ ? target_->State() : TNavTargetState::Inactive;
    if (state != TNavTargetState::Inactive) {
        const bool editing = state == TNavTargetState::Edit || state == TNavTargetState::Insert;
        const bool canModify = target_->CanModify();
        const bool empty = target_->IsEmpty();
        const bool up = !target_->Bof();
        const bool down = !target_->Eof();
        enabled[nbFirst] = enabled[nbPrior] = up;
        enabled[nbNext] = enabled[nbLast] = down;
        enabled[nbInsert] = canModify;
        enabled[nbDelete] = canModify && !empty;
        enabled[nbEdit] = canModify && !editing && !empty;
        enabled[nbPost] = enabled[nbCancel] = canModify && editing;
        // Refreshing would throw away the pending changes.
        enabled[nbRefresh] = !editing;
    }
    for (int b = 0; b < kNavigateBtnCount; ++b) {
        const auto i = static_cast<std::size_t>(b);
        if (enabled[i] != enabled_[i]) {
            enabled_[i] = enabled[i];
            Changed(TChangeKind::Style, b);
        }
    }
}

void TNavigator::BtnClick(TNavigateBtn button) {
    if (target_ == nullptr || !ButtonVisible(button) || !ButtonEnabled(button) || !Reachable())
        return;
    if (!Fire(OnBeforeAction, button))
        return;
    if (button == nbDelete && confirmDelete_) {
        TForm* form = OwnerForm();
        if (form && form->Ui().MessageDlg("Delete record?", mtConfirmation, {mbYes, mbNo}) != mrYes)
            return;
    }
    const bool done = Dispatch([&] {
        switch (button) {
        case nbFirst:
            target_->First();
            break;
        case nbPrior:
            target_->Prior();
            break;
        case nbNext:
            target_->Next();
            break;
        case nbLast:
            target_->Last();
            break;
        case nbInsert:
            target_->Insert();
            break;
        case nbDelete:
            target_->Delete();
            break;
        case nbEdit:
            target_->Edit();
            break;
        case nbPost:
            target_->Post();
            break;
        case nbCancel:
            target_->Cancel();
            break;
        case nbRefresh:
            target_->Refresh();
            break;
        }
    });
    UpdateButtons();
    if (done)
        Fire(OnClick, button);
}

} // namespace korvel
