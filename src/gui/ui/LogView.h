#pragma once

// The log window of a long operation: its entries, the counters, a progress bar and a Cancel button.

#include "platform/log/Log.h"

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace korvel::gui {

class TLogView : public QWidget {
    Q_OBJECT

public:
    explicit TLogView(QWidget* parent = nullptr);
    ~TLogView() override;
    TLogView(const TLogView&) = delete;
    TLogView& operator=(const TLogView&) = delete;

    // Shows this log (not owned). The owner calls SetLog(nullptr) before it frees the log.
    void SetLog(TLog* log);
    TLog* Log() const { return log_; }

    // Columns: time, text; one row per entry in the log's order.
    QTreeWidget* EntryList() const { return entries_; }
    QLabel* CountersLabel() const { return counters_; }
    QProgressBar* ProgressBar() const { return progress_; }
    // Enabled while a log is attached and not yet cancelled.
    QPushButton* CancelButton() const { return cancel_; }
    QPushButton* ClearButton() const { return clear_; }

private:
    void Changed(TLogChange change);
    void Rebuild();
    void AppendNewEntries();
    void UpdateState();

    TLog* log_ = nullptr;
    int observer_ = 0;
    QTreeWidget* entries_;
    QLabel* counters_;
    QProgressBar* progress_;
    QPushButton* cancel_;
    QPushButton* clear_;
};

} // namespace korvel::gui
