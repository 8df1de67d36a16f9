#pragma once

// Simple input controls: edit, memo, check box, button, spin edit. Every setter is also the path of the
// user's input, so it raises the control's event, but only when the value really changes.

#include "platform/ui/Control.h"
#include "platform/ui/UiTypes.h"

#include <string>
#include <vector>

namespace korvel {

class TEdit : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TEdit"; }

    const std::string& Text() const { return text_; }
    // Text longer than MaxLength is cut to MaxLength characters, as the widget would refuse the rest.
    void SetText(std::string text);
    int MaxLength() const { return maxLength_; }
    // 0 means no limit. The current text stays as it is.
    void SetMaxLength(int maxLength);
    // The focus left the control; false when an OnExit handler took it back (KeepFocus).
    bool DoExit();
    // From OnExit: the focus returns to this edit (its text has to be put right first).
    void KeepFocus();

    TNotifyEvent OnChange;
    TNotifyEvent OnExit;

private:
    std::string text_;
    int maxLength_ = 0;
    bool keepFocus_ = false;
};

class TMemo : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TMemo"; }

    const std::vector<std::string>& Lines() const { return lines_; }
    void SetLines(std::vector<std::string> lines);
    // Lines joined by '\n'; SetText accepts "\n", "\r\n" and "\r" breaks.
    std::string Text() const { return uitext::JoinLines(lines_); }
    void SetText(std::string_view text) { SetLines(uitext::SplitLines(text)); }
    void AddLine(std::string line);
    void Clear() { SetLines({}); }
    bool WordWrap() const { return wordWrap_; }
    void SetWordWrap(bool wrap) { Assign(wordWrap_, wrap, TChangeKind::Style); }

    TNotifyEvent OnChange;
    TNotifyEvent OnExit;
    void DoExit() { Fire(OnExit); }

private:
    std::vector<std::string> lines_;
    bool wordWrap_ = true;
};

class TCheckBox : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TCheckBox"; }

    bool Checked() const { return checked_; }
    void SetChecked(bool checked);
    // The user's click: toggles, when the box can be reached.
    void Toggle();

    TNotifyEvent OnClick;

private:
    bool checked_ = false;
};

class TButton : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TButton"; }

    TModalResult ModalResult() const { return modalResult_; }
    void SetModalResult(TModalResult result) { Assign(modalResult_, result, TChangeKind::Style); }
    // Pressed by Enter / Escape anywhere on the form.
    bool Default() const { return default_; }
    void SetDefault(bool value) { Assign(default_, value, TChangeKind::Style); }
    bool Cancel() const { return cancel_; }
    void SetCancel(bool value) { Assign(cancel_, value, TChangeKind::Style); }

    // The user's click. Ignored while the button cannot be reached. Sets the form's modal result first, then
    // runs OnClick, which may reset it to keep the form open.
    void Click();

    TNotifyEvent OnClick;

private:
    TModalResult modalResult_ = mrNone;
    bool default_ = false;
    bool cancel_ = false;
};

// Integer input with limits; MinValue == MaxValue means no limits.
class TSpinEdit : public TControl {
public:
    using TControl::ReadOnly;
    using TControl::SetReadOnly;
    using TControl::TControl;
    std::string_view ClassName() const override { return "TSpinEdit"; }

    int Value() const { return value_; }
    // Values outside the limits are brought inside them.
    void SetValue(int value);
    int MinValue() const { return minValue_; }
    int MaxValue() const { return maxValue_; }
    // Throws EKorvelError when min > max; the value is brought inside the new limits.
    void SetLimits(int minValue, int maxValue);
    int Increment() const { return increment_; }
    // Throws EKorvelError when not positive.
    void SetIncrement(int increment);
    void StepUp();
    void StepDown();

    TNotifyEvent OnChange;

private:
    int Clamp(long long value) const;
    int value_ = 0;
    int minValue_ = 0;
    int maxValue_ = 0;
    int increment_ = 1;
};

} // namespace korvel
