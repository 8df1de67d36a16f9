#pragma once

// Menu models: items in a tree under a main menu or a popup menu.

#include "platform/ui/Component.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

class TMenu;

// Brings a shortcut such as "ctrl+shift+a" or "Alt+F4" to its canonical text "Ctrl+Shift+A" (modifiers in the
// order Ctrl, Alt, Shift, Meta). Empty stays empty. Throws EKorvelError on an unknown key or modifier.
std::string NormalizeShortCut(std::string_view text);

class TMenuItem : public TComponent {
public:
    // Items are made by Add() of their parent item; the constructor is public for std::make_unique.
    TMenuItem(std::string name, TComponent* owner);
    std::string_view ClassName() const override { return "TMenuItem"; }
    TComponent* OwnerComponent() const override { return owner_; }
    TMenuItem* Parent() const { return dynamic_cast<TMenuItem*>(owner_); }

    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string caption) { Assign(caption_, std::move(caption), TChangeKind::Caption); }
    // A separator line has the caption "-".
    bool IsLine() const { return caption_ == "-"; }
    const std::string& ShortCut() const { return shortCut_; }
    // Stored in canonical form; throws EKorvelError on text that is no shortcut.
    void SetShortCut(std::string_view shortCut);
    const std::string& Hint() const { return hint_; }
    void SetHint(std::string hint) { Assign(hint_, std::move(hint), TChangeKind::Hint); }
    bool Enabled() const { return enabled_; }
    void SetEnabled(bool enabled) { Assign(enabled_, enabled, TChangeKind::Enabled); }
    bool Visible() const { return visible_; }
    void SetVisible(bool visible) { Assign(visible_, visible, TChangeKind::Visible); }
    bool Checked() const { return checked_; }
    void SetChecked(bool checked) { Assign(checked_, checked, TChangeKind::Value); }
    // A click toggles Checked before OnClick runs.
    bool AutoCheck() const { return autoCheck_; }
    void SetAutoCheck(bool autoCheck) { Assign(autoCheck_, autoCheck, TChangeKind::Style); }

    TMenuItem& Add(std::string name, std::string caption, std::string_view shortCut = {});
    TMenuItem& AddSeparator();
    bool Remove(TMenuItem& item);
    int Count() const { return static_cast<int>(items_.size()); }
    TMenuItem& Item(int index) const;
    // This item or a descendant with the name; nullptr when absent.
    TMenuItem* Find(std::string_view name);
    // The first reachable item (visible and enabled up the tree) with this shortcut, in any spelling.
    TMenuItem* FindShortCut(std::string_view shortCut);

    // Visible and enabled here and in every parent item.
    bool Reachable() const;
    // The user's click; ignored when the item cannot be reached.
    void Click();

    TNotifyEvent OnClick;

private:
    TComponent* owner_;
    std::string caption_;
    std::string shortCut_;
    std::string hint_;
    bool enabled_ = true;
    bool visible_ = true;
    bool checked_ = false;
    bool autoCheck_ = false;
    std::vector<std::unique_ptr<TMenuItem>> items_;
};

class TMenu : public TComponent {
public:
    TMenu(std::string name, TComponent* owner);
    TComponent* OwnerComponent() const override { return owner_; }
    // The invisible root whose children are the top-level items.
    TMenuItem& Items() { return *root_; }
    const TMenuItem& Items() const { return *root_; }
    TMenuItem* FindItem(std::string_view name) { return root_->Find(name); }
    // Clicks the item with this shortcut; returns whether one was found.
    bool PressShortCut(std::string_view shortCut);

private:
    TComponent* owner_;
    std::unique_ptr<TMenuItem> root_;
};

class TMainMenu : public TMenu {
public:
    using TMenu::TMenu;
    std::string_view ClassName() const override { return "TMainMenu"; }
};

class TPopupMenu : public TMenu {
public:
    using TMenu::TMenu;
    std::string_view ClassName() const override { return "TPopupMenu"; }
    // Runs OnPopup, where the form enables and checks items for the moment; the renderer then shows the
    // items.
    void Popup() { Fire(OnPopup); }

    TNotifyEvent OnPopup;
};

} // namespace korvel
