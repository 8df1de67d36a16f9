#include "editor/LibHost.h"

#include "platform/ui/Ui.h"

#include <algorithm>

namespace korvel {

TLibHost::TLibHost(IUi& ui) : ui_(ui) {}

TLibHost::~TLibHost() {
    // Windows go first: their destructors may still reach the host.
    windows_.clear();
}

TForm& TLibHost::Adopt(std::unique_ptr<TForm> form) {
    windows_.push_back(std::move(form));
    return *windows_.back();
}

void TLibHost::ReleaseFreed() {
    std::vector<std::unique_ptr<TForm>> freed;
    for (auto it = windows_.begin(); it != windows_.end();) {
        if ((*it)->FreeRequested()) {
            if (active_ == it->get())
                active_ = nullptr;
            freed.push_back(std::move(*it));
            it = windows_.erase(it);
        } else {
            ++it;
        }
    }
    // Destroyed after the list is consistent again, in case a destructor looks at it.
    freed.clear();
}

bool TLibHost::CloseWindow(TForm& form) {
    if (!form.Close())
        return false;
    ReleaseFreed();
    return true;
}

void TLibHost::Destroy(TForm& form) {
    auto it = std::find_if(windows_.begin(), windows_.end(), [&](const auto& w) { return w.get() == &form; });
    if (it == windows_.end())
        return;
    if (active_ == &form)
        active_ = nullptr;
    std::unique_ptr<TForm> gone = std::move(*it);
    windows_.erase(it);
}

std::vector<TForm*> TLibHost::MDIChildren() const {
    std::vector<TForm*> result;
    for (const auto& w : windows_)
        if (w->FormStyle() == fsChild && !w->FreeRequested())
            result.push_back(w.get());
    return result;
}

std::vector<TForm*> TLibHost::Windows() const {
    std::vector<TForm*> result;
    for (const auto& w : windows_)
        if (!w->FreeRequested())
            result.push_back(w.get());
    return result;
}

void TLibHost::BringToFront(TForm& form) {
    active_ = &form;
    form.SetVisible(true);
}

void TLibHost::ProcessMessages() {
    ui_.ProcessEvents();
}

TLog& TLibHost::Log() {
    if (!log_) {
        log_ = std::make_unique<TLog>();
        LogCreated(*log_);
    }
    return *log_;
}

void TLibHost::FreeLog() {
    if (log_)
        LogFreeing(*log_);
    log_.reset();
}

void TLibHost::ShowLog(bool /*modal*/) {
    // The desktop program shows its log window and the command line prints the entries; a host without
    // either leaves them in Log() for its caller.
}

} // namespace korvel
