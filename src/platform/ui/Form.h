#pragma once

// TForm: the model of a window or dialog. It owns its controls and menus, keeps the modal state, and is the
// event host of its tree: exceptions thrown by handlers become error messages through its IUi.

#include "platform/ui/Control.h"
#include "platform/ui/Menus.h"
#include "platform/ui/UiTypes.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

class IUi;

enum TFormStyle : std::uint8_t { fsNormal = 0, fsChild = 1 };
enum TCloseAction : std::uint8_t { caNone, caHide, caFree };

using TCloseQueryEvent = std::function<void(TComponent& sender, bool& canClose)>;
using TCloseEvent = std::function<void(TComponent& sender, TCloseAction& action)>;

class TForm : public TControl, public IEventHost {
public:
    TForm(IUi& ui, std::string name);
    ~TForm() override;
    std::string_view ClassName() const override { return "TForm"; }

    IUi& Ui() const { return ui_; }

    // Typed lookup of a control by name; throws EKorvelError when it is missing or of another class.
    template <class T> T& Find(std::string_view name) {
        TControl* c = FindControl(name);
        if (c == nullptr)
            ThrowMissing(name);
        T* typed = dynamic_cast<T*>(c);
        if (typed == nullptr)
            ThrowWrongClass(*c);
        return *typed;
    }
    template <class T> T* FindOrNull(std::string_view name) { return dynamic_cast<T*>(FindControl(name)); }

    // Replaces any main menu.
    TMainMenu& CreateMainMenu(std::string name = "MainMenu");
    TMainMenu* MainMenu() const { return mainMenu_.get(); }
    TPopupMenu& AddPopupMenu(std::string name);
    TPopupMenu* FindPopupMenu(std::string_view name) const;
    // Every pop-up menu of the form, in the order they were added.
    std::vector<TPopupMenu*> PopupMenus() const;
    // Searches the main menu and the popup menus.
    TMenuItem* FindMenuItem(std::string_view name) const;

    TFormStyle FormStyle() const { return formStyle_; }
    void SetFormStyle(TFormStyle style) { Assign(formStyle_, style, TChangeKind::Style); }

    // The control that has the focus (the renderer moves the keyboard focus there); null when none.
    TControl* ActiveControl() const { return activeAlive_.expired() ? nullptr : activeControl_; }
    void SetActiveControl(TControl* control);

    TModalResult ModalResult() const { return modalResult_; }
    // On a modal form, a result other than mrNone closes it (asking OnCloseQuery) once the event under way
    // has finished, or at once outside events. A refused close resets the result to mrNone.
    void SetModalResult(TModalResult result);
    bool Modal() const { return modal_; }

    // Shows the form without waiting (the IUi's ShowForm calls this).
    void Show();
    // Modal form: sets the result mrCancel. Other forms: asks OnCloseQuery, runs OnClose and hides. Returns
    // whether the form is closed now.
    bool Close();
    // Asks OnCloseQuery; false when the form wants to stay open.
    bool CloseQuery();
    // OnClose chose caFree: the host destroys the form once control returns to it.
    bool FreeRequested() const { return freeRequested_; }

    // Enter and Escape: click the reachable Default or Cancel button. Returns whether there was one.
    bool PressDefault();
    bool PressCancel();

    // For IUi implementations: starts a modal run (result mrNone, visible, OnShow) ...
    void BeginModal();
    // ... and ends it without asking anyone, when the run has to stop.
    void EndModal(TModalResult result);

    TNotifyEvent OnShow;
    TCloseQueryEvent OnCloseQuery;
    TCloseEvent OnClose;

    // IEventHost
    void BeginEvent() override { ++eventDepth_; }
    void EndEvent() override;
    bool HandleEventException(std::exception_ptr error) noexcept override;

protected:
    // Turns a handler method into an event: Button->OnClick = Bind(&TMyForm::ButtonCalcClick).
    template <class C, class... A> auto Bind(void (C::*method)(A...)) {
        C* self = static_cast<C*>(this);
        return [self, method](A... args) {
            (self->*method)(args...);
        };
    }

private:
    [[noreturn]] void ThrowMissing(std::string_view name) const;
    [[noreturn]] void ThrowWrongClass(const TControl& control) const;
    void CloseModal();
    bool PressButton(bool isDefault);

    IUi& ui_;
    TControl* activeControl_ = nullptr;
    std::weak_ptr<TComponent*> activeAlive_;
    std::unique_ptr<TMainMenu> mainMenu_;
    std::vector<std::unique_ptr<TPopupMenu>> popupMenus_;
    TFormStyle formStyle_ = fsNormal;
    TModalResult modalResult_ = mrNone;
    bool modal_ = false;
    bool closing_ = false;
    bool freeRequested_ = false;
    int eventDepth_ = 0;
};

} // namespace korvel
