#pragma once

#include <stdexcept>
#include <string>

namespace korvel {

// A failure with a message meant for the person using the program.
class EKorvelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A silent abort: the pending operation is refused without a message (a refused store, a cancelled question).
class EAbort : public std::exception {
public:
    const char* what() const noexcept override { return "Operation aborted"; }
};

// Throws EAbort; named after the classic call so event handlers read naturally.
[[noreturn]] inline void Abort() {
    throw EAbort();
}

} // namespace korvel
