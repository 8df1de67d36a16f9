#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

enum class TLogKind : std::uint8_t { Information = 0, Error = 1 };

struct TLogEntry {
    std::string Text;
    TLogKind Kind = TLogKind::Information;
    std::chrono::system_clock::time_point Time;
};

// What changed in a log, for observers such as the GUI's log window.
enum class TLogChange : std::uint8_t { EntryAdded, CountersReset, Cleared, Progress, Cancel };

// Collects the messages of a long operation (an import, a conversion): information and error entries with
// their counters, a progress value and a cancel flag. The host owns it and passes it to the operation; the
// GUI observes it as a log window with a progress bar and a Cancel button, the command line prints it.
class TLog {
public:
    using TObserver = std::function<void(const TLog&, TLogChange)>;

    void AddInformation(std::string_view text);
    void AddError(std::string_view text);

    const std::vector<TLogEntry>& Entries() const { return entries_; }
    int InformationCount() const { return informationCount_; }
    int ErrorCount() const { return errorCount_; }
    // True when either counter is above 0: the log has something to show.
    bool HasMessages() const { return informationCount_ > 0 || errorCount_ > 0; }

    // Zeroes both counters and keeps the entries (each import of a batch counts its own messages).
    void ResetCounters();
    // Removes all entries, zeroes the counters and the progress, and clears the cancel flag.
    void Clear();

    // Progress in percent, clamped to 0..100.
    void SetProgress(int percent);
    // Progress as round(done * 100 / total); a total of 0 or less means 0.
    void SetProgressOf(long long done, long long total);
    int Progress() const { return progress_; }

    // Set by the Cancel button; loops read Cancelled() between records and stop.
    void Cancel();
    bool Cancelled() const { return cancelled_; }
    void ResetCancel();

    // Returns an id for RemoveObserver. Observers may add or remove observers while being notified; one
    // removed during a notification is not called after its removal.
    int AddObserver(TObserver observer);
    void RemoveObserver(int id);

private:
    void Add(std::string_view text, TLogKind kind);
    void Notify(TLogChange change) const;

    std::vector<TLogEntry> entries_;
    int informationCount_ = 0;
    int errorCount_ = 0;
    int progress_ = 0;
    bool cancelled_ = false;
    std::vector<std::pair<int, TObserver>> observers_;
    int nextObserverId_ = 1;
};

// The closing line of an import: "%d elements imported", or with duplicates
// "%d elements imported, %d element names are duplicate". Empty when imported is negative (nothing ran).
std::string ImportSummary(int imported, int duplicates);

} // namespace korvel
