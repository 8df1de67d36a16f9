#include "cli/CliHost.h"

namespace korvel::cli {

TCliHost::TCliHost(std::ostream& out, std::ostream& err, TBatchPolicy policy)
    : detail::TBatchUiHolder(out, err, policy), TLibHost(BatchUi), out_(out), err_(err) {}

void TCliHost::ShowLog(bool /*modal*/) {
    if (!HasLog())
        return;
    if (printedLog_ != &Log()) {
        printedLog_ = &Log();
        printed_ = 0;
    }
    const auto& entries = Log().Entries();
    for (; printed_ < entries.size(); ++printed_) {
        const TLogEntry& entry = entries[printed_];
        if (entry.Kind == TLogKind::Error) {
            err_ << "Error: " << entry.Text << '\n';
            ++loggedErrors_;
        } else {
            out_ << entry.Text << '\n';
        }
    }
}

} // namespace korvel::cli
