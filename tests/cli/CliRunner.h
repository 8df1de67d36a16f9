#pragma once

// Runs the built korvellib as a separate process, as a user or a script would.

#include <string>
#include <vector>

namespace korvel::test {

struct TCliResult {
    int ExitCode = -1;
    std::string Out;
    std::string Err;
};

// The arguments are passed as they are, without a shell; input is fed to standard input.
TCliResult RunKorvellib(const std::vector<std::string>& args, const std::string& input = {});

} // namespace korvel::test
