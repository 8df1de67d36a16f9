#pragma once

// The exit codes of korvellib and the error that carries one to main(). docs/cli.md lists them; scripts
// rely on them, so a code never changes its meaning.

#include "platform/Errors.h"

namespace korvel::cli {

enum TExitCode : int {
    kExitOk = 0,
    kExitFailure = 1,     // a file or library that cannot be read or written, a failed conversion
    kExitUsage = 2,       // wrong command line or input: options, field names, values, JSON
    kExitUnknownType = 3, // no library kind has this type number
    kExitNoEditor = 4,    // the kind has no editor yet
    kExitNoLibrary = 5,   // the folder or its library does not exist
    kExitNoElement = 6,   // an element number names no element (the others were still handled)
    kExitReadOnly = 7,    // a System library cannot be changed
    kExitRefused = 8,     // the editor refused to store the element; nothing was stored
    kExitExists = 9,      // the backup library exists already
};

// A failure with its exit code; main() prints the message and returns the code.
class ECliError : public EKorvelError {
public:
    ECliError(TExitCode code, const std::string& message) : EKorvelError(message), code_(code) {}
    TExitCode Code() const { return code_; }

private:
    TExitCode code_;
};

} // namespace korvel::cli
