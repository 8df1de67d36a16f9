#include "platform/ui/StdCtrls.h"

#include "platform/Errors.h"
#include "platform/ui/Form.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace korvel {

void TEdit::SetText(std::string text) {
    if (maxLength_ > 0 && uitext::Length(text) > static_cast<std::size_t>(maxLength_))
        text = uitext::Left(text, static_cast<std::size_t>(maxLength_));
    if (Assign(text_, std::move(text), TChangeKind::Value))
        Fire(OnChange);
}

void TEdit::SetMaxLength(int maxLength) {
    Assign(maxLength_, std::max(0, maxLength), TChangeKind::Style);
}

bool TEdit::DoExit() {
    keepFocus_ = false;
    Fire(OnExit);
    return !std::exchange(keepFocus_, false);
}

void TEdit::KeepFocus() {
    keepFocus_ = true;
    if (TForm* form = OwnerForm())
        form->SetActiveControl(this);
}

void TMemo::SetLines(std::vector<std::string> lines) {
    if (Assign(lines_, std::move(lines), TChangeKind::Value))
        Fire(OnChange);
}

void TMemo::AddLine(std::string line) {
    lines_.push_back(std::move(line));
    Changed(TChangeKind::Value);
    Fire(OnChange);
}

void TCheckBox::SetChecked(bool checked) {
    if (Assign(checked_, checked, TChangeKind::Value))
        Fire(OnClick);
}

void TCheckBox::Toggle() {
    if (Reachable())
        SetChecked(!checked_);
}

void TButton::Click() {
    if (!Reachable())
        return;
    TForm* form = OwnerForm();
    // One event for both steps, so the form closes only after OnClick had its say.
    Dispatch([&] {
        if (modalResult_ != mrNone && form != nullptr)
            form->SetModalResult(modalResult_);
        if (OnClick && !EventsSuspended())
            OnClick(*this);
    });
}

int TSpinEdit::Clamp(long long value) const {
    if (minValue_ != maxValue_)
        value = std::clamp<long long>(value, minValue_, maxValue_);
    return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

void TSpinEdit::SetValue(int value) {
    if (Assign(value_, Clamp(value), TChangeKind::Value))
        Fire(OnChange);
}

void TSpinEdit::SetLimits(int minValue, int maxValue) {
    if (minValue > maxValue)
        throw EKorvelError("Spin edit \"" + Name() + "\": the minimum " + std::to_string(minValue) +
                           " is above the maximum " + std::to_string(maxValue));
    if (minValue != minValue_ || maxValue != maxValue_) {
        minValue_ = minValue;
        maxValue_ = maxValue;
        Changed(TChangeKind::Style);
    }
    SetValue(value_);
}

void TSpinEdit::SetIncrement(int increment) {
    if (increment <= 0)
        throw EKorvelError("Spin edit \"" + Name() + "\": the increment must be positive");
    Assign(increment_, increment, TChangeKind::Style);
}

void TSpinEdit::StepUp() {
    SetValue(Clamp(static_cast<long long>(value_) + increment_));
}

void TSpinEdit::StepDown() {
    SetValue(Clamp(static_cast<long long>(value_) - increment_));
}

} // namespace korvel
