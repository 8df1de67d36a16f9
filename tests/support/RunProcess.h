#pragma once

// Runs a program of the build as a person would from a shell, for tests of the command-line tools.

#include <string>

namespace korvel::test {

struct RunResult {
    int ExitCode = -1;
    std::string Out; // standard output and standard error together
};

RunResult RunProgram(const std::string& exe, const std::string& args);

} // namespace korvel::test
