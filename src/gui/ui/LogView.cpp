#include "gui/ui/LogView.h"

#include "gui/base/QtText.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace korvel::gui {

namespace {

QString TimeText(std::chrono::system_clock::time_point time) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("HH:mm:ss"));
}

} // namespace

TLogView::TLogView(QWidget* parent)
    : QWidget(parent), entries_(new QTreeWidget(this)), counters_(new QLabel(this)),
      progress_(new QProgressBar(this)), cancel_(new QPushButton(QStringLiteral("Cancel"), this)),
      clear_(new QPushButton(QStringLiteral("Clear"), this)) {
    entries_->setColumnCount(2);
    entries_->setHeaderLabels({QStringLiteral("Time"), QStringLiteral("Message")});
    entries_->setRootIsDecorated(false);
    entries_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    entries_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    entries_->header()->setStretchLastSection(true);
    progress_->setRange(0, 100);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(counters_, 1);
    buttons->addWidget(clear_);
    buttons->addWidget(cancel_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(entries_, 1);
    layout->addWidget(progress_);
    layout->addLayout(buttons);

    connect(cancel_, &QPushButton::clicked, this, [this] {
        if (log_)
            log_->Cancel();
    });
    connect(clear_, &QPushButton::clicked, this, [this] {
        if (log_)
            log_->Clear();
    });
    Rebuild();
}

TLogView::~TLogView() {
    SetLog(nullptr);
}

void TLogView::SetLog(TLog* log) {
    if (log == log_)
        return;
    if (log_)
        log_->RemoveObserver(observer_);
    log_ = log;
    observer_ = log_ ? log_->AddObserver([this](const TLog&, TLogChange change) { Changed(change); }) : 0;
    Rebuild();
}

void TLogView::Changed(TLogChange change) {
    switch (change) {
    case TLogChange::EntryAdded:
        AppendNewEntries();
        break;
    case TLogChange::Cleared:
        Rebuild();
        return;
    case TLogChange::CountersReset:
    case TLogChange::Progress:
    case TLogChange::Cancel:
        break;
    }
    UpdateState();
}

void TLogView::Rebuild() {
    entries_->clear();
    AppendNewEntries();
    UpdateState();
}

void TLogView::AppendNewEntries() {
    if (log_ == nullptr)
        return;
    const auto& entries = log_->Entries();
    if (static_cast<std::size_t>(entries_->topLevelItemCount()) > entries.size())
        entries_->clear();
    QTreeWidgetItem* last = nullptr;
    const QIcon errorIcon = style()->standardIcon(QStyle::SP_MessageBoxCritical);
    const QIcon infoIcon = style()->standardIcon(QStyle::SP_MessageBoxInformation);
    for (auto i = static_cast<std::size_t>(entries_->topLevelItemCount()); i < entries.size(); ++i) {
        const TLogEntry& entry = entries[i];
        last = new QTreeWidgetItem(entries_, {TimeText(entry.Time), ToQ(entry.Text)});
        last->setToolTip(1, ToQ(entry.Text));
        if (entry.Kind == TLogKind::Error) {
            last->setIcon(0, errorIcon);
            last->setForeground(0, QColor(Qt::red));
            last->setForeground(1, QColor(Qt::red));
        } else {
            last->setIcon(0, infoIcon);
        }
    }
    if (last)
        entries_->scrollToItem(last);
}

void TLogView::UpdateState() {
    const int information = log_ ? log_->InformationCount() : 0;
    const int errors = log_ ? log_->ErrorCount() : 0;
    counters_->setText(QStringLiteral("Information: %1   Errors: %2").arg(information).arg(errors));
    progress_->setValue(log_ ? log_->Progress() : 0);
    // Always offered while attached: an operation that reports no progress must still be stoppable.
    cancel_->setEnabled(log_ != nullptr && !log_->Cancelled());
    clear_->setEnabled(log_ != nullptr);
}

} // namespace korvel::gui
