#include "gui/render/PageWidgets.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/base/WidgetRegistry.h"
#include "gui/render/Renderer.h"
#include "platform/ui/PageCtrls.h"

#include <QPointer>
#include <QResizeEvent>
#include <QTabBar>
#include <map>
#include <memory>
#include <vector>

namespace korvel::gui {

namespace {

// A widget with a tab strip along its top edge; the children below are placed by the model.
class TTabStripWidget : public QWidget {
public:
    explicit TTabStripWidget(QWidget* parent) : QWidget(parent), bar_(new QTabBar(this)) {
        bar_->setDrawBase(true);
        bar_->setExpanding(false);
        bar_->setUsesScrollButtons(true);
        bar_->setGeometry(0, 0, width(), kTabStripHeight);
    }
    QTabBar* Bar() const { return bar_; }

    // Shows exactly these captions; the tab bar is rebuilt only when they differ.
    void SetTabs(const std::vector<std::pair<QString, bool>>& tabs) {
        bool same = bar_->count() == static_cast<int>(tabs.size());
        for (int i = 0; same && i < bar_->count(); ++i)
            same = bar_->tabText(i) == tabs[static_cast<std::size_t>(i)].first &&
                   bar_->isTabVisible(i) == tabs[static_cast<std::size_t>(i)].second;
        if (same)
            return;
        const QSignalBlocker block(bar_);
        while (bar_->count() > 0)
            bar_->removeTab(0);
        for (const auto& [caption, visible] : tabs) {
            const int i = bar_->addTab(caption);
            bar_->setTabVisible(i, visible);
        }
    }
    void SetCurrent(int index) {
        const QSignalBlocker block(bar_);
        bar_->setCurrentIndex(index);
    }

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        bar_->setGeometry(0, 0, width(), kTabStripHeight);
        bar_->raise();
    }

private:
    QTabBar* bar_;
};

// The sheets' widgets are the page control widget's own children: no deeper search is needed.
void ShowActiveSheet(TPageControl& pages, QWidget* widget) {
    for (QWidget* child : widget->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        if (auto* sheet = dynamic_cast<TTabSheet*>(ControlOfWidget(child));
            sheet && sheet->PageControl() == &pages)
            child->setVisible(sheet->Visible() && pages.ActivePage() == sheet);
}

QWidget* MakePageControl(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TPageControl&>(control);
    auto* widget = new TTabStripWidget(parent);
    QPointer<TTabStripWidget> guard(widget);
    auto sheetWatches = std::make_shared<std::map<const TTabSheet*, QPointer<TWatch>>>();
    auto refresh = std::make_shared<std::function<void()>>();
    *refresh = [guard, &model, sheetWatches, refreshWeak = std::weak_ptr<std::function<void()>>(refresh)] {
        if (!guard)
            return;
        std::vector<std::pair<QString, bool>> tabs;
        for (int i = 0; i < model.PageCount(); ++i)
            tabs.emplace_back(ToQ(model.Page(i).Caption()),
                              model.Page(i).TabVisible() && model.Page(i).Visible());
        guard->SetTabs(tabs);
        guard->SetCurrent(model.ActivePageIndex());
        // Captions and tab visibility live on the sheets; a sheet is watched once, for as long as it lives.
        for (int i = 0; i < model.PageCount(); ++i) {
            const TTabSheet* sheet = &model.Page(i);
            QPointer<TWatch>& entry = (*sheetWatches)[sheet];
            if (entry && entry->Alive())
                continue;
            entry = new TWatch(guard, model.Page(i), [refreshWeak](const TChange& change) {
                if (change.Kind == TChangeKind::Caption || change.Kind == TChangeKind::Style ||
                    change.Kind == TChangeKind::Visible)
                    if (auto r = refreshWeak.lock())
                        (*r)();
            });
        }
        ShowActiveSheet(model, guard);
    };
    TWatch* watch = new TWatch(widget, model, [refresh](const TChange& change) {
        if (change.Kind == TChangeKind::Selection || change.Kind == TChangeKind::Children ||
            change.Kind == TChangeKind::Items)
            (*refresh)();
    });
    QObject::connect(widget->Bar(), &QTabBar::currentChanged, widget, [watch, guard, &model](int index) {
        if (!watch->Alive() || !guard)
            return;
        model.SetActivePageIndex(index);
        // OnChanging may refuse: the strip follows the model.
        if (watch->Alive() && guard) {
            guard->SetCurrent(model.ActivePageIndex());
            ShowActiveSheet(model, guard);
        }
    });
    // The sheets are rendered after this factory returns; show the right one once they exist.
    QMetaObject::invokeMethod(
        widget, [refresh] { (*refresh)(); }, Qt::QueuedConnection);
    (*refresh)();
    return widget;
}

QWidget* MakeTabControl(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TTabControl&>(control);
    auto* widget = new TTabStripWidget(parent);
    QPointer<TTabStripWidget> guard(widget);
    auto apply = [guard, &model] {
        if (!guard)
            return;
        std::vector<std::pair<QString, bool>> tabs;
        for (const std::string& tab : model.Tabs())
            tabs.emplace_back(ToQ(tab), true);
        guard->SetTabs(tabs);
        guard->SetCurrent(model.TabIndex());
        guard->Bar()->setMovable(model.TabsMovable());
    };
    apply();
    TWatch* watch = new TWatch(widget, model, [apply](const TChange& change) {
        if (change.Kind == TChangeKind::Items || change.Kind == TChangeKind::Selection ||
            change.Kind == TChangeKind::Style)
            apply();
    });
    // A drag reaches the model step by step as the bar makes them: one tab (often the neighbour making room)
    // moved to another place. The model hears which tab it was put in front of (the place right of the last
    // tab being one more); the bar then shows whatever order the owner made.
    QObject::connect(widget->Bar(), &QTabBar::tabMoved, widget, [watch, apply, &model](int from, int to) {
        if (!watch->Alive())
            return;
        model.DropTab(from, to > from ? to + 1 : to);
        if (watch->Alive())
            apply();
    });
    QObject::connect(widget->Bar(), &QTabBar::currentChanged, widget, [watch, apply, &model](int index) {
        if (!watch->Alive())
            return;
        model.SetTabIndex(index);
        if (watch->Alive())
            apply();
    });
    return widget;
}

} // namespace

void RegisterPageWidgets() {
    RegisterWidgetFactory("TPageControl", MakePageControl);
    RegisterWidgetFactory("TTabControl", MakeTabControl);
    RegisterWidgetFactory("TTabSheet", [](TControl&, QWidget* parent) { return new QWidget(parent); });
}

} // namespace korvel::gui
