#pragma once

// Base of every control and menu model: a name, a tag, observers that follow its state, and events that can
// be suspended while code fills the controls.

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

class TComponent;

// What changed in a component, so that a renderer updates only that part.
enum class TChangeKind : std::uint8_t {
    Visible,
    Enabled,
    ReadOnly,
    Caption,
    Hint,
    Tag,
    Align,
    Bounds,
    Value,     // text, checked state, number, picture
    Items,     // item list, tabs, series, menu children
    Selection, // item index, selected items, active page, current cell
    Style,     // style, limits, options, flags
    Cell,      // one grid cell (Index = row, Col = column) or all cells when both are -1
    Editor,    // grid editor opened, closed or its text changed
    Children,  // a child control was added or removed
    Destroying // last notice; the component is going away
};

struct TChange {
    TChangeKind Kind;
    int Index = -1; // item, tab, page, series, menu item or grid row
    int Col = -1;   // grid column
};

using TObserver = std::function<void(TComponent& sender, const TChange& change)>;
using TObserverToken = std::uint64_t;

// Classic event signatures.
using TNotifyEvent = std::function<void(TComponent& sender)>;
using TChangingEvent = std::function<void(TComponent& sender, bool& allowChange)>;

// Receives the events of a component tree: a form counts nested events (it checks for a pending modal close
// when the outermost one ends) and turns exceptions thrown by handlers into messages.
class IEventHost {
public:
    virtual ~IEventHost() = default;
    virtual void BeginEvent() = 0;
    virtual void EndEvent() = 0;
    // Returns true when the exception was reported; false lets it propagate to the caller.
    virtual bool HandleEventException(std::exception_ptr error) noexcept = 0;
};

// Unsubscribes on destruction; safe even when the component is gone first.
class TSubscription {
public:
    TSubscription() = default;
    TSubscription(std::weak_ptr<TComponent*> target, TObserverToken token)
        : target_(std::move(target)), token_(token) {}
    TSubscription(TSubscription&& other) noexcept;
    TSubscription& operator=(TSubscription&& other) noexcept;
    TSubscription(const TSubscription&) = delete;
    TSubscription& operator=(const TSubscription&) = delete;
    ~TSubscription() { Reset(); }
    void Reset();
    bool Active() const { return !target_.expired(); }

private:
    std::weak_ptr<TComponent*> target_;
    TObserverToken token_ = 0;
};

class TComponent {
public:
    explicit TComponent(std::string name);
    virtual ~TComponent();
    TComponent(const TComponent&) = delete;
    TComponent& operator=(const TComponent&) = delete;

    const std::string& Name() const { return name_; }
    virtual std::string_view ClassName() const = 0;

    int Tag() const { return tag_; }
    void SetTag(int tag);

    TObserverToken Subscribe(TObserver observer);
    bool Unsubscribe(TObserverToken token);
    [[nodiscard]] TSubscription SubscribeScoped(TObserver observer);

    // Events stay silent while suspended (counted, so guards nest); observers are still told of changes.
    void SuspendEvents() { ++suspended_; }
    void ResumeEvents() {
        if (suspended_ > 0)
            --suspended_;
    }
    bool EventsSuspended() const { return suspended_ > 0; }

    // Expires when the component is destroyed; lets guards and subscriptions outlive it safely.
    std::weak_ptr<TComponent*> Lifetime() const { return self_; }

    // The component that owns this one in the tree (parent control, parent menu item, menu's form).
    virtual TComponent* OwnerComponent() const = 0;
    // The nearest owner that hosts events, normally the form.
    IEventHost* EventHost() const;

protected:
    void Changed(TChangeKind kind, int index = -1, int col = -1);
    void Changed(const TChange& change);

    // Assigns and notifies only when the value really changes; returns whether it changed.
    template <class T, class U> bool Assign(T& field, U&& value, TChangeKind kind) {
        if (field == value)
            return false;
        field = std::forward<U>(value);
        Changed(kind);
        return true;
    }

    // Runs handler(*this, args...) unless events are suspended or no handler is set. Exceptions go to the
    // event host (which shows them); returns false when the handler failed or aborted.
    template <class Handler, class... Args> bool Fire(const Handler& handler, Args&&... args) {
        if (!handler || EventsSuspended())
            return true;
        return Dispatch([&] { handler(*this, std::forward<Args>(args)...); });
    }
    // As Fire, but ignores suspension: for data callbacks that are not user events (a grid's set-text).
    bool Dispatch(const std::function<void()>& call);

private:
    struct TEntry {
        TObserverToken Token;
        TObserver Observer;
    };
    std::string name_;
    int tag_ = 0;
    int suspended_ = 0;
    std::vector<TEntry> observers_;
    TObserverToken nextToken_ = 1;
    int notifying_ = 0;
    bool pendingErase_ = false;
    std::shared_ptr<TComponent*> self_;
};

// Suspends the events of the given components for its lifetime: "with the handlers detached, set the
// controls".
class TSuspendEvents {
public:
    template <class... C> explicit TSuspendEvents(C&... components) { (Add(components), ...); }
    TSuspendEvents(TSuspendEvents&& other) noexcept : components_(std::move(other.components_)) {
        other.components_.clear();
    }
    TSuspendEvents& operator=(TSuspendEvents&&) = delete;
    TSuspendEvents(const TSuspendEvents&) = delete;
    TSuspendEvents& operator=(const TSuspendEvents&) = delete;
    ~TSuspendEvents();
    void Add(TComponent& component);

private:
    std::vector<std::weak_ptr<TComponent*>> components_;
};

} // namespace korvel
