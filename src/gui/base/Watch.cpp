#include "gui/base/Watch.h"

#include <QVariant>

namespace korvel::gui {

namespace {
const char* const kComponentProperty = "korvelComponent";
}

TWatch::TWatch(QObject* owner, TComponent& component, TOnChange onChange, TOnGone onGone) : QObject(owner) {
    setProperty(kComponentProperty, QVariant::fromValue(static_cast<void*>(&component)));
    subscription_ =
        component.SubscribeScoped([this, onChange = std::move(onChange),
                                   onGone = std::move(onGone)](TComponent&, const TChange& change) {
            if (!alive_)
                return;
            if (change.Kind == TChangeKind::Destroying) {
                alive_ = false;
                if (onGone)
                    onGone();
                return;
            }
            if (onChange)
                onChange(change);
        });
}

TWatch::~TWatch() = default;

TWatch* FindWatch(const QObject* owner, const TComponent& component) {
    for (QObject* child : owner->children()) {
        auto* watch = dynamic_cast<TWatch*>(child);
        if (watch && watch->property(kComponentProperty).value<void*>() == &component)
            return watch;
    }
    return nullptr;
}

} // namespace korvel::gui
