#pragma once

// TWatch keeps a Qt object in step with a control model. It forwards the model's change notices for as long
// as both live: it is a child of the Qt object, so deleting the widget ends the subscription, and on the
// model's last notice it goes quiet and runs onGone (usually: hide and delete the widget).

#include "platform/ui/Component.h"

#include <QObject>
#include <functional>

namespace korvel::gui {

class TWatch : public QObject {
public:
    using TOnChange = std::function<void(const TChange&)>;
    using TOnGone = std::function<void()>;

    TWatch(QObject* owner, TComponent& component, TOnChange onChange, TOnGone onGone = {});
    ~TWatch() override;

    // False once the model is gone; widgets check it before reading the model.
    bool Alive() const { return alive_; }
    // Widgets that must not echo their own updates back into the model set this while they apply one.
    bool Applying() const { return applying_ > 0; }

    // Runs f with Applying() true.
    template <class F> void Apply(F&& f) {
        ++applying_;
        try {
            f();
        } catch (...) {
            --applying_;
            throw;
        }
        --applying_;
    }

private:
    TSubscription subscription_;
    bool alive_ = true;
    int applying_ = 0;
};

// The watch of a widget made for a component, if any (one per widget and component).
TWatch* FindWatch(const QObject* owner, const TComponent& component);

} // namespace korvel::gui
