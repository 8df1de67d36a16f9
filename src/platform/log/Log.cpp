#include "platform/log/Log.h"

#include <algorithm>
#include <cmath>

namespace korvel {

void TLog::AddInformation(std::string_view text) {
    Add(text, TLogKind::Information);
}

void TLog::AddError(std::string_view text) {
    Add(text, TLogKind::Error);
}

void TLog::Add(std::string_view text, TLogKind kind) {
    entries_.push_back(TLogEntry{std::string(text), kind, std::chrono::system_clock::now()});
    ++(kind == TLogKind::Error ? errorCount_ : informationCount_);
    Notify(TLogChange::EntryAdded);
}

void TLog::ResetCounters() {
    informationCount_ = 0;
    errorCount_ = 0;
    Notify(TLogChange::CountersReset);
}

void TLog::Clear() {
    entries_.clear();
    informationCount_ = 0;
    errorCount_ = 0;
    progress_ = 0;
    cancelled_ = false;
    Notify(TLogChange::Cleared);
}

void TLog::SetProgress(int percent) {
    const int clamped = std::clamp(percent, 0, 100);
    if (clamped != progress_) {
        progress_ = clamped;
        Notify(TLogChange::Progress);
    }
}

void TLog::SetProgressOf(long long done, long long total) {
    if (total <= 0) {
        SetProgress(0);
        return;
    }
    const double ratio = static_cast<double>(std::clamp(done, 0LL, total)) / static_cast<double>(total);
    SetProgress(static_cast<int>(std::lround(ratio * 100.0)));
}

void TLog::Cancel() {
    if (!cancelled_) {
        cancelled_ = true;
        Notify(TLogChange::Cancel);
    }
}

void TLog::ResetCancel() {
    if (cancelled_) {
        cancelled_ = false;
        Notify(TLogChange::Cancel);
    }
}

int TLog::AddObserver(TObserver observer) {
    observers_.emplace_back(nextObserverId_, std::move(observer));
    return nextObserverId_++;
}

void TLog::RemoveObserver(int id) {
    std::erase_if(observers_, [id](const auto& entry) { return entry.first == id; });
}

void TLog::Notify(TLogChange change) const {
    // Walk a snapshot of the ids and look each one up again: an observer may detach itself or others (a
    // window closing) while we notify, and a detached observer must not be called any more.
    std::vector<int> ids;
    ids.reserve(observers_.size());
    for (const auto& entry : observers_) {
        ids.push_back(entry.first);
    }
    for (const int id : ids) {
        const auto it = std::find_if(observers_.begin(), observers_.end(),
                                     [id](const auto& entry) { return entry.first == id; });
        if (it != observers_.end()) {
            const TObserver observer = it->second;
            observer(*this, change);
        }
    }
}

std::string ImportSummary(int imported, int duplicates) {
    if (imported < 0) {
        return {};
    }
    std::string text = std::to_string(imported) + " elements imported";
    if (duplicates > 0) {
        text += ", " + std::to_string(duplicates) + " element names are duplicate";
    }
    return text;
}

} // namespace korvel
