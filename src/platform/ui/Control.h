#pragma once

// The control model: state shared by every control, ownership of child controls, and layout by Align.

#include "platform/ui/Component.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

class TPopupMenu;
class TForm;

// How a control sits in its parent: docked to an edge (taking its Height or Width as a size hint) or filling
// the space left over. Edges are served in the order top, bottom, left, right, client; within one edge, in
// the order the children were added.
enum TAlign : std::uint8_t { alNone, alTop, alBottom, alLeft, alRight, alClient };

struct TRect {
    int Left = 0;
    int Top = 0;
    int Width = 0;
    int Height = 0;
    bool operator==(const TRect&) const = default;
};

class TControl : public TComponent {
public:
    explicit TControl(std::string name);
    ~TControl() override;

    TControl* Parent() const { return parent_; }
    TComponent* OwnerComponent() const override { return parent_; }
    // The form at the root of the tree, if any.
    TForm* OwnerForm() const;

    // Creates a child control owned by this one. Names are unique within the tree (empty names are allowed).
    template <class T, class... Args> T& Add(std::string name, Args&&... args) {
        auto child = std::make_unique<T>(std::move(name), std::forward<Args>(args)...);
        T& ref = *child;
        Adopt(std::move(child));
        return ref;
    }
    // Destroys a child; returns false when it is not a child of this control.
    bool Remove(TControl& child);
    int ControlCount() const { return static_cast<int>(children_.size()); }
    TControl& Control(int index) const;
    // Searches this control and its descendants; nullptr when absent.
    TControl* FindControl(std::string_view name);
    // Every descendant, depth first.
    std::vector<TControl*> AllControls();

    bool Visible() const { return visible_; }
    void SetVisible(bool visible);
    // Visible and all parents visible.
    bool Showing() const;
    bool Enabled() const { return enabled_; }
    void SetEnabled(bool enabled);
    // Enabled and all parents enabled.
    bool EnabledInTree() const;
    // What a user could click: visible and enabled up the tree. The root's own visibility is the window's
    // business and does not count, so a form's controls can be driven before it is shown.
    bool Reachable() const;

    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string caption) { Assign(caption_, std::move(caption), TChangeKind::Caption); }
    const std::string& Hint() const { return hint_; }
    void SetHint(std::string hint) { Assign(hint_, std::move(hint), TChangeKind::Hint); }

    TPopupMenu* PopupMenu() const { return popupMenu_; }
    void SetPopupMenu(TPopupMenu* menu);

    TAlign Align() const { return align_; }
    void SetAlign(TAlign align);
    int Left() const { return bounds_.Left; }
    int Top() const { return bounds_.Top; }
    int Width() const { return bounds_.Width; }
    int Height() const { return bounds_.Height; }
    const TRect& BoundsRect() const { return bounds_; }
    void SetBounds(int left, int top, int width, int height);
    void SetWidth(int width) { SetBounds(bounds_.Left, bounds_.Top, width, bounds_.Height); }
    void SetHeight(int height) { SetBounds(bounds_.Left, bounds_.Top, bounds_.Width, height); }
    void SetLeft(int left) { SetBounds(left, bounds_.Top, bounds_.Width, bounds_.Height); }
    void SetTop(int top) { SetBounds(bounds_.Left, top, bounds_.Width, bounds_.Height); }
    // The area children are laid out in, relative to this control.
    virtual TRect ClientRect() const { return {0, 0, bounds_.Width, bounds_.Height}; }
    // Places the aligned visible children inside ClientRect(); done automatically when sizes or alignment
    // change.
    void AlignControls();

protected:
    // Read-only applies to editing controls only; they publish these with using-declarations.
    bool ReadOnly() const { return readOnly_; }
    void SetReadOnly(bool readOnly) { Assign(readOnly_, readOnly, TChangeKind::ReadOnly); }
    // Checks a child may be added here (a page control takes only tab sheets); throws EKorvelError otherwise.
    virtual void CheckChild(const TControl& child) const;
    // Called after a child was added or before it is removed.
    virtual void ChildAdded(TControl& child);
    virtual void ChildRemoving(TControl& child);
    int IndexOfChild(const TControl& child) const;

private:
    void Adopt(std::unique_ptr<TControl> child);
    void RealignParent();

    TControl* parent_ = nullptr;
    std::vector<std::unique_ptr<TControl>> children_;
    bool visible_ = true;
    bool enabled_ = true;
    bool readOnly_ = false;
    std::string caption_;
    std::string hint_;
    TPopupMenu* popupMenu_ = nullptr;
    TAlign align_ = alNone;
    TRect bounds_{0, 0, 100, 25};
    bool aligning_ = false;
};

// Suspends the events of a control and all its descendants.
TSuspendEvents SuspendTreeEvents(TControl& root);

// A plain text label.
class TLabel : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TLabel"; }
    bool WordWrap() const { return wordWrap_; }
    void SetWordWrap(bool wrap) { Assign(wordWrap_, wrap, TChangeKind::Style); }

private:
    bool wordWrap_ = false;
};

// A container; its caption is usually empty.
class TPanel : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TPanel"; }
};

// A framed container with a caption; the frame takes a margin around the children.
class TGroupBox : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TGroupBox"; }
    static constexpr int kFrame = 8;
    static constexpr int kCaptionHeight = 16;
    TRect ClientRect() const override;
};

} // namespace korvel
