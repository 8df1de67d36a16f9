#include "platform/ui/Menus.h"

#include "platform/Errors.h"
#include "platform/ui/UiTypes.h"

#include <array>
#include <cctype>
#include <utility>

namespace korvel {

namespace {

std::string Upper(std::string_view s) {
    std::string u(s);
    for (char& c : u)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return u;
}

// Canonical name of a key, or empty when unknown.
std::string CanonicalKey(std::string_view key) {
    if (key.size() == 1) {
        unsigned char c = static_cast<unsigned char>(key[0]);
        return std::isgraph(c) ? std::string(1, static_cast<char>(std::toupper(c))) : std::string();
    }
    static constexpr std::array<std::pair<const char*, const char*>, 22> names{{
        {"DEL", "Del"},
        {"DELETE", "Del"},
        {"INS", "Ins"},
        {"INSERT", "Ins"},
        {"ENTER", "Enter"},
        {"RETURN", "Enter"},
        {"ESC", "Esc"},
        {"ESCAPE", "Esc"},
        {"TAB", "Tab"},
        {"SPACE", "Space"},
        {"BACKSPACE", "Backspace"},
        {"BKSP", "Backspace"},
        {"HOME", "Home"},
        {"END", "End"},
        {"PGUP", "PgUp"},
        {"PAGEUP", "PgUp"},
        {"PGDOWN", "PgDown"},
        {"PGDN", "PgDown"},
        {"UP", "Up"},
        {"DOWN", "Down"},
        {"LEFT", "Left"},
        {"RIGHT", "Right"},
    }};
    std::string upper = Upper(key);
    for (const auto& [alias, canonical] : names)
        if (upper == alias)
            return canonical;
    if (upper.size() >= 2 && upper.size() <= 3 && upper[0] == 'F') {
        int n = 0;
        for (std::size_t i = 1; i < upper.size(); ++i) {
            if (!std::isdigit(static_cast<unsigned char>(upper[i])))
                return {};
            n = n * 10 + (upper[i] - '0');
        }
        if (n >= 1 && n <= 24 && upper[1] != '0')
            return "F" + std::to_string(n);
    }
    return {};
}

} // namespace

std::string NormalizeShortCut(std::string_view text) {
    if (text.empty())
        return {};
    bool ctrl = false, alt = false, shift = false, meta = false;
    std::string_view rest = text;
    std::string key;
    for (;;) {
        // A '+' right at the end of the rest is the plus key itself ("Ctrl++").
        std::size_t plus = rest.size() > 1 ? rest.find('+') : std::string_view::npos;
        if (plus == std::string_view::npos) {
            key = CanonicalKey(rest);
            break;
        }
        std::string mod = Upper(rest.substr(0, plus));
        if (mod == "CTRL" || mod == "CONTROL")
            ctrl = true;
        else if (mod == "ALT")
            alt = true;
        else if (mod == "SHIFT")
            shift = true;
        else if (mod == "META")
            meta = true;
        else
            throw EKorvelError("Unknown modifier \"" + std::string(rest.substr(0, plus)) +
                               "\" in shortcut \"" + std::string(text) + "\"");
        rest = rest.substr(plus + 1);
    }
    if (key.empty())
        throw EKorvelError("Unknown key in shortcut \"" + std::string(text) + "\"");
    return std::string(ctrl ? "Ctrl+" : "") + (alt ? "Alt+" : "") + (shift ? "Shift+" : "") +
           (meta ? "Meta+" : "") + key;
}

// --- TMenuItem ---

TMenuItem::TMenuItem(std::string name, TComponent* owner) : TComponent(std::move(name)), owner_(owner) {}

void TMenuItem::SetShortCut(std::string_view shortCut) {
    Assign(shortCut_, NormalizeShortCut(shortCut), TChangeKind::Style);
}

TMenuItem& TMenuItem::Add(std::string name, std::string caption, std::string_view shortCut) {
    auto item = std::make_unique<TMenuItem>(std::move(name), this);
    item->caption_ = std::move(caption);
    item->shortCut_ = NormalizeShortCut(shortCut);
    items_.push_back(std::move(item));
    Changed(TChangeKind::Items, Count() - 1);
    return *items_.back();
}

TMenuItem& TMenuItem::AddSeparator() {
    return Add({}, "-");
}

bool TMenuItem::Remove(TMenuItem& item) {
    for (std::size_t i = 0; i < items_.size(); ++i) {
        if (items_[i].get() == &item) {
            items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(i));
            Changed(TChangeKind::Items, static_cast<int>(i));
            return true;
        }
    }
    return false;
}

TMenuItem& TMenuItem::Item(int index) const {
    if (index < 0 || index >= Count())
        throw EKorvelError("Menu item index " + std::to_string(index) + " out of range in \"" + Name() +
                           "\"");
    return *items_[static_cast<std::size_t>(index)];
}

TMenuItem* TMenuItem::Find(std::string_view name) {
    if (name.empty())
        return nullptr;
    if (Name() == name)
        return this;
    for (auto& item : items_)
        if (TMenuItem* found = item->Find(name))
            return found;
    return nullptr;
}

TMenuItem* TMenuItem::FindShortCut(std::string_view shortCut) {
    std::string wanted = NormalizeShortCut(shortCut);
    if (wanted.empty())
        return nullptr;
    for (auto& item : items_) {
        if (!item->visible_ || !item->enabled_)
            continue;
        if (item->shortCut_ == wanted)
            return item.get();
        if (TMenuItem* found = item->FindShortCut(wanted))
            return found;
    }
    return nullptr;
}

bool TMenuItem::Reachable() const {
    for (const TMenuItem* item = this; item != nullptr; item = item->Parent())
        if (!item->visible_ || !item->enabled_)
            return false;
    return true;
}

void TMenuItem::Click() {
    if (!Reachable() || IsLine())
        return;
    if (autoCheck_)
        SetChecked(!checked_);
    Fire(OnClick);
}

// --- TMenu ---

TMenu::TMenu(std::string name, TComponent* owner)
    : TComponent(std::move(name)), owner_(owner), root_(std::make_unique<TMenuItem>(std::string(), this)) {}

bool TMenu::PressShortCut(std::string_view shortCut) {
    TMenuItem* item = root_->FindShortCut(shortCut);
    if (item == nullptr)
        return false;
    item->Click();
    return true;
}

} // namespace korvel
