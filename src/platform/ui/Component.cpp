#include "platform/ui/Component.h"

#include "platform/Errors.h"

#include <algorithm>

namespace korvel {

TSubscription::TSubscription(TSubscription&& other) noexcept
    : target_(std::move(other.target_)), token_(other.token_) {
    other.target_.reset();
}

TSubscription& TSubscription::operator=(TSubscription&& other) noexcept {
    if (this != &other) {
        Reset();
        target_ = std::move(other.target_);
        token_ = other.token_;
        other.target_.reset();
    }
    return *this;
}

void TSubscription::Reset() {
    if (auto target = target_.lock())
        (*target)->Unsubscribe(token_);
    target_.reset();
}

TComponent::TComponent(std::string name)
    : name_(std::move(name)), self_(std::make_shared<TComponent*>(this)) {}

TComponent::~TComponent() {
    // Observers may only compare the sender's address here: the derived parts are gone already.
    Changed(TChangeKind::Destroying);
    self_.reset();
}

void TComponent::SetTag(int tag) {
    Assign(tag_, tag, TChangeKind::Tag);
}

TObserverToken TComponent::Subscribe(TObserver observer) {
    if (!observer)
        return 0;
    TObserverToken token = nextToken_++;
    observers_.push_back({token, std::move(observer)});
    return token;
}

bool TComponent::Unsubscribe(TObserverToken token) {
    auto it = std::find_if(observers_.begin(), observers_.end(),
                           [&](const TEntry& e) { return e.Token == token && e.Observer; });
    if (it == observers_.end())
        return false;
    if (notifying_ > 0) {
        // Erasing now would shift the list under the loop in Changed(); drop it when the loop ends.
        it->Observer = nullptr;
        pendingErase_ = true;
    } else {
        observers_.erase(it);
    }
    return true;
}

TSubscription TComponent::SubscribeScoped(TObserver observer) {
    TObserverToken token = Subscribe(std::move(observer));
    return token == 0 ? TSubscription{} : TSubscription{self_, token};
}

IEventHost* TComponent::EventHost() const {
    for (const TComponent* c = this; c != nullptr; c = c->OwnerComponent())
        if (auto* host = dynamic_cast<IEventHost*>(const_cast<TComponent*>(c)))
            return host;
    return nullptr;
}

void TComponent::Changed(TChangeKind kind, int index, int col) {
    Changed(TChange{kind, index, col});
}

void TComponent::Changed(const TChange& change) {
    if (observers_.empty())
        return;
    ++notifying_;
    // Observers subscribed during the loop see the next change, not this one.
    const std::size_t count = observers_.size();
    for (std::size_t i = 0; i < count && i < observers_.size(); ++i) {
        if (!observers_[i].Observer)
            continue;
        TObserver observer = observers_[i].Observer; // the list may grow while it runs
        observer(*this, change);
    }
    if (--notifying_ == 0 && pendingErase_) {
        std::erase_if(observers_, [](const TEntry& e) { return !e.Observer; });
        pendingErase_ = false;
    }
}

bool TComponent::Dispatch(const std::function<void()>& call) {
    IEventHost* host = EventHost();
    if (host)
        host->BeginEvent();
    bool ok = true;
    try {
        call();
    } catch (const EAbort&) {
        ok = false; // a silent refusal
    } catch (...) {
        ok = false;
        if (host == nullptr || !host->HandleEventException(std::current_exception())) {
            if (host)
                host->EndEvent();
            throw;
        }
    }
    if (host)
        host->EndEvent();
    return ok;
}

TSuspendEvents::~TSuspendEvents() {
    for (auto& weak : components_)
        if (auto c = weak.lock())
            (*c)->ResumeEvents();
}

void TSuspendEvents::Add(TComponent& component) {
    component.SuspendEvents();
    components_.push_back(component.Lifetime());
}

} // namespace korvel
