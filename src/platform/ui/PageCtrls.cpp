#include "platform/ui/PageCtrls.h"

#include "platform/Errors.h"

#include <algorithm>

namespace korvel {

namespace {

TRect BelowTabs(const TControl& c) {
    return {0, kTabStripHeight, c.Width(), std::max(0, c.Height() - kTabStripHeight)};
}

void CheckRange(const TControl& c, int index, int count) {
    if (index < -1 || index >= count)
        throw EKorvelError(std::string(c.ClassName()) + " \"" + c.Name() + "\": index " +
                           std::to_string(index) + " out of range (" + std::to_string(count) + " tabs)");
}

} // namespace

// --- TTabSheet ---

TPageControl* TTabSheet::PageControl() const {
    return dynamic_cast<TPageControl*>(Parent());
}

int TTabSheet::PageIndex() const {
    TPageControl* pc = PageControl();
    return pc ? pc->IndexOfPage(*this) : -1;
}

// --- TPageControl ---

TTabSheet& TPageControl::AddPage(std::string name, std::string caption) {
    TTabSheet& page = Add<TTabSheet>(std::move(name));
    page.SetCaption(std::move(caption));
    return page;
}

TTabSheet& TPageControl::Page(int index) const {
    return static_cast<TTabSheet&>(Control(index));
}

TTabSheet* TPageControl::ActivePage() const {
    return activeIndex_ >= 0 ? &Page(activeIndex_) : nullptr;
}

bool TPageControl::SetActivePageIndex(int index) {
    CheckRange(*this, index, PageCount());
    if (index == activeIndex_)
        return true;
    bool allow = true;
    if (!Fire(OnChanging, allow) || !allow)
        return false;
    activeIndex_ = index;
    Changed(TChangeKind::Selection, index);
    Fire(OnChange);
    return true;
}

bool TPageControl::SetActivePage(TTabSheet& page) {
    int index = IndexOfPage(page);
    if (index < 0)
        throw EKorvelError("Page \"" + page.Name() + "\" is not in \"" + Name() + "\"");
    return SetActivePageIndex(index);
}

TRect TPageControl::ClientRect() const {
    return BelowTabs(*this);
}

void TPageControl::CheckChild(const TControl& child) const {
    if (dynamic_cast<const TTabSheet*>(&child) == nullptr)
        throw EKorvelError("Page control \"" + Name() + "\" takes only tab sheets, not " +
                           std::string(child.ClassName()));
}

void TPageControl::ChildAdded(TControl& child) {
    child.SetAlign(alClient);
    // The first page shows without asking anyone: the form is still being built.
    if (activeIndex_ < 0) {
        activeIndex_ = 0;
        Changed(TChangeKind::Selection, 0);
    }
}

void TPageControl::ChildRemoving(TControl& child) {
    int index = IndexOfChild(child);
    if (index < 0)
        return;
    int count = PageCount() - 1;
    int next = activeIndex_;
    if (index < activeIndex_ || (index == activeIndex_ && index == count))
        --next;
    if (count == 0)
        next = -1;
    if (next != activeIndex_ || index == activeIndex_) {
        activeIndex_ = next;
        Changed(TChangeKind::Selection, next);
    }
}

// --- TTabControl ---

void TTabControl::SetTabs(std::vector<std::string> tabs) {
    if (!Assign(tabs_, std::move(tabs), TChangeKind::Items))
        return;
    int count = static_cast<int>(tabs_.size());
    int index = tabIndex_ < count ? tabIndex_ : (count > 0 ? 0 : -1);
    if (index < 0 && count > 0)
        index = 0;
    if (index != tabIndex_) {
        tabIndex_ = index;
        Changed(TChangeKind::Selection, index);
    }
}

bool TTabControl::SetTabIndex(int index) {
    CheckRange(*this, index, static_cast<int>(tabs_.size()));
    if (index == tabIndex_)
        return true;
    bool allow = true;
    if (!Fire(OnChanging, allow) || !allow)
        return false;
    tabIndex_ = index;
    Changed(TChangeKind::Selection, index);
    Fire(OnChange);
    return true;
}

void TTabControl::DropTab(int from, int onto) {
    const int count = static_cast<int>(tabs_.size());
    // Dropped on itself or on its right neighbour, it stays where it is.
    if (!tabsMovable_ || !Reachable() || from < 0 || from >= count || onto < 0 || onto > count ||
        onto == from || onto == from + 1)
        return;
    Fire(OnTabDrop, from, onto);
}

TRect TTabControl::ClientRect() const {
    return BelowTabs(*this);
}

} // namespace korvel
