#pragma once

// Record navigator: a row of buttons that drives a record source through INavigatorTarget, so a table cursor
// can be bound later without this folder knowing it.

#include "platform/ui/Control.h"

#include <array>
#include <functional>
#include <initializer_list>

namespace korvel {

enum TNavigateBtn : std::uint8_t {
    nbFirst,
    nbPrior,
    nbNext,
    nbLast,
    nbInsert,
    nbDelete,
    nbEdit,
    nbPost,
    nbCancel,
    nbRefresh
};
inline constexpr int kNavigateBtnCount = 10;

class TNavButtons {
public:
    constexpr TNavButtons() = default;
    constexpr TNavButtons(std::initializer_list<TNavigateBtn> buttons) {
        for (TNavigateBtn b : buttons)
            bits_ |= Bit(b);
    }
    static constexpr TNavButtons All() {
        TNavButtons all;
        all.bits_ = (1u << kNavigateBtnCount) - 1;
        return all;
    }
    constexpr bool Contains(TNavigateBtn b) const { return (bits_ & Bit(b)) != 0; }
    constexpr bool operator==(const TNavButtons&) const = default;

private:
    static constexpr unsigned Bit(TNavigateBtn b) { return 1u << b; }
    unsigned bits_ = 0;
};

enum class TNavTargetState : std::uint8_t { Inactive, Browse, Edit, Insert };

// What the navigator needs of a record source.
class INavigatorTarget {
public:
    virtual ~INavigatorTarget() = default;
    virtual TNavTargetState State() const = 0;
    virtual bool Bof() const = 0;
    virtual bool Eof() const = 0;
    virtual bool IsEmpty() const = 0;
    virtual bool CanModify() const = 0;
    virtual void First() = 0;
    virtual void Prior() = 0;
    virtual void Next() = 0;
    virtual void Last() = 0;
    virtual void Insert() = 0;
    virtual void Delete() = 0;
    virtual void Edit() = 0;
    virtual void Post() = 0;
    virtual void Cancel() = 0;
    virtual void Refresh() = 0;
};

// A navigator's record source over a list a form keeps itself (samples, room types, classes): always in
// browse state; the form says how many items there are, which one is current, whether the list may change,
// and what moving, inserting and deleting do. Moves without MoveTo do nothing (the list's own selection
// moves instead).
class TListNavTarget : public INavigatorTarget {
public:
    struct TCallbacks {
        std::function<int()> Count;
        std::function<int()> Current;
        std::function<bool()> CanModify;
        std::function<void(int)> MoveTo;
        std::function<void()> Insert;
        std::function<void()> Delete;
    };
    explicit TListNavTarget(TCallbacks callbacks) : c_(std::move(callbacks)) {}
    TNavTargetState State() const override { return TNavTargetState::Browse; }
    bool Bof() const override { return c_.Current() <= 0; }
    bool Eof() const override { return c_.Current() + 1 >= c_.Count(); }
    bool IsEmpty() const override { return c_.Count() == 0; }
    bool CanModify() const override { return !c_.CanModify || c_.CanModify(); }
    void First() override { Move(0); }
    void Prior() override { Move(c_.Current() - 1); }
    void Next() override { Move(c_.Current() + 1); }
    void Last() override { Move(c_.Count() - 1); }
    void Insert() override {
        if (c_.Insert)
            c_.Insert();
    }
    void Delete() override {
        if (c_.Delete)
            c_.Delete();
    }
    void Edit() override {}
    void Post() override {}
    void Cancel() override {}
    void Refresh() override {}

private:
    void Move(int index) {
        if (c_.MoveTo)
            c_.MoveTo(index);
    }
    TCallbacks c_;
};

using TNavClickEvent = std::function<void(TComponent& sender, TNavigateBtn button)>;

class TNavigator : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TNavigator"; }

    INavigatorTarget* Target() const { return target_; }
    // Not owned; the binding must clear it (SetTarget(nullptr)) before the target goes away.
    void SetTarget(INavigatorTarget* target);

    TNavButtons VisibleButtons() const { return visibleButtons_; }
    void SetVisibleButtons(TNavButtons buttons);
    bool ButtonVisible(TNavigateBtn button) const { return visibleButtons_.Contains(button); }
    bool ButtonEnabled(TNavigateBtn button) const { return enabled_[button]; }

    // Asks "Delete record?" through the form's dialog service before deleting.
    bool ConfirmDelete() const { return confirmDelete_; }
    void SetConfirmDelete(bool confirm) { Assign(confirmDelete_, confirm, TChangeKind::Style); }

    // Recomputes which buttons can act from the target's state. The binding calls it after every scroll,
    // state change or data change of the target; BtnClick calls it itself.
    void UpdateButtons();

    // The user's click on a button: ignored when the button is hidden or disabled. OnBeforeAction may
    // Abort().
    void BtnClick(TNavigateBtn button);

    TNavClickEvent OnBeforeAction;
    TNavClickEvent OnClick;

private:
    INavigatorTarget* target_ = nullptr;
    TNavButtons visibleButtons_ = TNavButtons::All();
    std::array<bool, kNavigateBtnCount> enabled_{};
    bool confirmDelete_ = true;
};

} // namespace korvel
