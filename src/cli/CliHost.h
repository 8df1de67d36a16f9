#pragma once

// The host of the editors the command line drives: a batch dialog service that answers from the command
// line's policy, and a log that is printed rather than shown in a window.

#include "editor/LibHost.h"
#include "platform/ui/BatchUi.h"

#include <cstddef>
#include <ostream>

namespace korvel::cli {

namespace detail {
// Built before TLibHost, which keeps a reference to the dialog service.
struct TBatchUiHolder {
    TBatchUiHolder(std::ostream& out, std::ostream& err, TBatchPolicy policy) : BatchUi(out, policy, &err) {}
    TBatchUi BatchUi;
};
} // namespace detail

class TCliHost : private detail::TBatchUiHolder, public TLibHost {
public:
    // Messages and answered questions go to out, warnings and errors to err.
    TCliHost(std::ostream& out, std::ostream& err, TBatchPolicy policy = {});

    // Prints the entries not printed yet: information to out, errors to err.
    void ShowLog(bool modal) override;
    // Error entries printed so far.
    int LoggedErrors() const { return loggedErrors_; }

private:
    std::ostream& out_;
    std::ostream& err_;
    // The log may be freed and made again between calls; entries count from its start then.
    const TLog* printedLog_ = nullptr;
    std::size_t printed_ = 0;
    int loggedErrors_ = 0;
};

} // namespace korvel::cli
