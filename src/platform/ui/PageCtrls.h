#pragma once

// Tabbed containers: a page control with tab sheets, and a tab control (one set of children, many tabs).

#include "platform/ui/Control.h"

#include <functional>
#include <string>
#include <vector>

namespace korvel {

class TPageControl;

// Height taken by the row of tabs above the pages.
inline constexpr int kTabStripHeight = 24;

class TTabSheet : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TTabSheet"; }

    TPageControl* PageControl() const;
    int PageIndex() const;
    // A hidden tab keeps its page; code may still activate it.
    bool TabVisible() const { return tabVisible_; }
    void SetTabVisible(bool visible) { Assign(tabVisible_, visible, TChangeKind::Style); }

private:
    bool tabVisible_ = true;
};

class TPageControl : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TPageControl"; }

    TTabSheet& AddPage(std::string name, std::string caption);
    int PageCount() const { return ControlCount(); }
    TTabSheet& Page(int index) const;
    int IndexOfPage(const TTabSheet& page) const { return IndexOfChild(page); }

    int ActivePageIndex() const { return activeIndex_; }
    TTabSheet* ActivePage() const;
    // Asks OnChanging first; returns false when the change was refused. Throws EKorvelError on a bad index.
    bool SetActivePageIndex(int index);
    bool SetActivePage(TTabSheet& page);

    TChangingEvent OnChanging;
    TNotifyEvent OnChange;

    TRect ClientRect() const override;

protected:
    void CheckChild(const TControl& child) const override;
    void ChildAdded(TControl& child) override;
    void ChildRemoving(TControl& child) override;

private:
    int activeIndex_ = -1;
};

// A tab dragged onto another: from is its index, onto the index of the tab it was dropped on, both counted
// before the move; onto is the tab count for a drop right of the last tab.
using TTabDropEvent = std::function<void(TComponent& sender, int from, int onto)>;

class TTabControl : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TTabControl"; }

    const std::vector<std::string>& Tabs() const { return tabs_; }
    // Keeps the tab index while it is in range; otherwise selects the first tab, or none.
    void SetTabs(std::vector<std::string> tabs);
    int TabIndex() const { return tabIndex_; }
    // Asks OnChanging first; returns false when refused. Throws EKorvelError on a bad index.
    bool SetTabIndex(int index);

    // Whether the user may drag a tab onto another; the owner reorders its tabs in OnTabDrop.
    bool TabsMovable() const { return tabsMovable_; }
    void SetTabsMovable(bool movable) { Assign(tabsMovable_, movable, TChangeKind::Style); }
    // The user's drop of tab from onto tab onto: raises OnTabDrop when the tabs are movable and the drop
    // moves something. The tabs stay as they are until the handler sets them.
    void DropTab(int from, int onto);

    TChangingEvent OnChanging;
    TNotifyEvent OnChange;
    TTabDropEvent OnTabDrop;

    TRect ClientRect() const override;

private:
    std::vector<std::string> tabs_;
    int tabIndex_ = -1;
    bool tabsMovable_ = false;
};

} // namespace korvel
