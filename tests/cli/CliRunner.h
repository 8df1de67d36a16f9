#pragma once

// Runs the built korvellib as a separate process, as a user or a script would.

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace korvel::test {

struct TCliResult {
    int ExitCode = -1;
    std::string Out;
    std::string Err;
};

// The arguments are passed as they are, without a shell; input is fed to standard input.
TCliResult RunKorvellib(const std::vector<std::string>& args, const std::string& input = {});

// Success when the run ended with the code and its standard error holds each of the parts; a failure shows
// everything the run printed.
::testing::AssertionResult ExitedWith(const TCliResult& r, int code,
                                      std::initializer_list<std::string_view> errParts = {});

// Starts korvellib without waiting for it, its standard output, errors and input in the files given
// (/dev/null for an empty name). The process id, or -1 when it could not be started.
pid_t StartKorvellib(const std::vector<std::string>& args, const std::string& outFile = {},
                     const std::string& errFile = {}, const std::string& inFile = {});

} // namespace korvel::test
