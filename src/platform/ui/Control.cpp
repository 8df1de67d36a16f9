#include "platform/ui/Control.h"

#include "platform/Errors.h"
#include "platform/ui/Form.h"

#include <algorithm>

namespace korvel {

TControl::TControl(std::string name) : TComponent(std::move(name)) {}

TControl::~TControl() {
    // Children go first, while this is still a whole TControl they can refer to.
    children_.clear();
}

TForm* TControl::OwnerForm() const {
    for (const TControl* c = this; c != nullptr; c = c->parent_)
        if (auto* form = dynamic_cast<const TForm*>(c))
            return const_cast<TForm*>(form);
    return nullptr;
}

void TControl::Adopt(std::unique_ptr<TControl> child) {
    CheckChild(*child);
    if (!child->Name().empty()) {
        TControl* root = this;
        while (root->parent_ != nullptr)
            root = root->parent_;
        if (root->FindControl(child->Name()) != nullptr)
            throw EKorvelError("A control named \"" + child->Name() + "\" exists already in \"" +
                               (root->Name().empty() ? std::string(root->ClassName()) : root->Name()) + "\"");
    }
    child->parent_ = this;
    TControl& ref = *child;
    children_.push_back(std::move(child));
    ChildAdded(ref);
    Changed(TChangeKind::Children, static_cast<int>(children_.size()) - 1);
    if (ref.align_ != alNone)
        AlignControls();
}

bool TControl::Remove(TControl& child) {
    int index = IndexOfChild(child);
    if (index < 0)
        return false;
    ChildRemoving(child);
    children_.erase(children_.begin() + index);
    Changed(TChangeKind::Children, index);
    AlignControls();
    return true;
}

int TControl::IndexOfChild(const TControl& child) const {
    for (std::size_t i = 0; i < children_.size(); ++i)
        if (children_[i].get() == &child)
            return static_cast<int>(i);
    return -1;
}

void TControl::CheckChild(const TControl&) const {}
void TControl::ChildAdded(TControl&) {}
void TControl::ChildRemoving(TControl&) {}

TControl& TControl::Control(int index) const {
    if (index < 0 || index >= ControlCount())
        throw EKorvelError("Control index " + std::to_string(index) + " out of range in \"" + Name() + "\"");
    return *children_[static_cast<std::size_t>(index)];
}

TControl* TControl::FindControl(std::string_view name) {
    if (name.empty())
        return nullptr;
    if (Name() == name)
        return this;
    for (auto& child : children_)
        if (TControl* found = child->FindControl(name))
            return found;
    return nullptr;
}

std::vector<TControl*> TControl::AllControls() {
    std::vector<TControl*> all;
    for (auto& child : children_) {
        all.push_back(child.get());
        auto below = child->AllControls();
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

void TControl::SetVisible(bool visible) {
    if (Assign(visible_, visible, TChangeKind::Visible) && align_ != alNone)
        RealignParent();
}

bool TControl::Showing() const {
    for (const TControl* c = this; c != nullptr; c = c->parent_)
        if (!c->visible_)
            return false;
    return true;
}

void TControl::SetEnabled(bool enabled) {
    Assign(enabled_, enabled, TChangeKind::Enabled);
}

bool TControl::EnabledInTree() const {
    for (const TControl* c = this; c != nullptr; c = c->parent_)
        if (!c->enabled_)
            return false;
    return true;
}

bool TControl::Reachable() const {
    for (const TControl* c = this; c != nullptr; c = c->parent_)
        if (!c->enabled_ || (!c->visible_ && c->parent_ != nullptr))
            return false;
    return true;
}

void TControl::SetPopupMenu(TPopupMenu* menu) {
    Assign(popupMenu_, menu, TChangeKind::Style);
}

void TControl::SetAlign(TAlign align) {
    if (Assign(align_, align, TChangeKind::Align))
        RealignParent();
}

void TControl::SetBounds(int left, int top, int width, int height) {
    TRect r{left, top, std::max(0, width), std::max(0, height)};
    if (r == bounds_)
        return;
    bool resized = r.Width != bounds_.Width || r.Height != bounds_.Height;
    bounds_ = r;
    Changed(TChangeKind::Bounds);
    if (resized)
        AlignControls();
    if (align_ != alNone)
        RealignParent();
}

void TControl::RealignParent() {
    if (parent_ != nullptr)
        parent_->AlignControls();
}

void TControl::AlignControls() {
    if (aligning_)
        return;
    aligning_ = true;
    const TRect client = ClientRect();
    int left = client.Left;
    int top = client.Top;
    int right = client.Left + client.Width;
    int bottom = client.Top + client.Height;
    for (TAlign pass : {alTop, alBottom, alLeft, alRight, alClient}) {
        for (auto& child : children_) {
            TControl& c = *child;
            if (!c.visible_ || c.align_ != pass)
                continue;
            const int w = c.bounds_.Width;
            const int h = c.bounds_.Height;
            switch (pass) {
            case alTop:
                c.SetBounds(left, top, right - left, h);
                top = std::min(top + h, bottom);
                break;
            case alBottom:
                c.SetBounds(left, bottom - h, right - left, h);
                bottom = std::max(bottom - h, top);
                break;
            case alLeft:
                c.SetBounds(left, top, w, bottom - top);
                left = std::min(left + w, right);
                break;
            case alRight:
                c.SetBounds(right - w, top, w, bottom - top);
                right = std::max(right - w, left);
                break;
            case alClient:
                c.SetBounds(left, top, right - left, bottom - top);
                break;
            case alNone:
                break;
            }
        }
    }
    aligning_ = false;
}

TSuspendEvents SuspendTreeEvents(TControl& root) {
    TSuspendEvents guard;
    guard.Add(root);
    for (TControl* c : root.AllControls())
        guard.Add(*c);
    return guard;
}

TRect TGroupBox::ClientRect() const {
    return {kFrame, kFrame + kCaptionHeight, std::max(0, Width() - 2 * kFrame),
            std::max(0, Height() - 2 * kFrame - kCaptionHeight)};
}

} // namespace korvel
