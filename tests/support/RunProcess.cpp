#include "support/RunProcess.h"

#include <array>
#include <cstdio>
#include <sys/wait.h>

namespace korvel::test {

RunResult RunProgram(const std::string& exe, const std::string& args) {
    RunResult r;
    const std::string command = exe + " " + args + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return r;
    std::array<char, 4096> buf{};
    size_t n = 0;
    while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0)
        r.Out.append(buf.data(), n);
    const int status = pclose(pipe);
    r.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

} // namespace korvel::test
