#include "CliRunner.h"

#include "support/FileBytes.h"

#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace korvel::test {

TCliResult RunKorvellib(const std::vector<std::string>& args, const std::string& input) {
    namespace fs = std::filesystem;
    // Files rather than pipes: nothing can block however much either stream holds.
    char pattern[] = "/tmp/korvel-cli-XXXXXX";
    const char* dir = mkdtemp(pattern);
    TCliResult result;
    if (!dir)
        return result;
    const fs::path base(dir);
    WriteAll(base / "in", input);
    const pid_t pid =
        StartKorvellib(args, (base / "out").string(), (base / "err").string(), (base / "in").string());
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid)
        result.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.Out = ReadAll(base / "out");
    result.Err = ReadAll(base / "err");
    std::error_code ec;
    fs::remove_all(base, ec);
    return result;
}

::testing::AssertionResult ExitedWith(const TCliResult& r, int code,
                                      std::initializer_list<std::string_view> errParts) {
    bool ok = r.ExitCode == code;
    for (std::string_view part : errParts)
        ok = ok && r.Err.find(part) != std::string::npos;
    if (ok)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "expected exit " << code << " and the errors to hold each part; exit " << r.ExitCode
           << "\nstdout: " << r.Out << "\nstderr: " << r.Err;
}

pid_t StartKorvellib(const std::vector<std::string>& args, const std::string& outFile,
                     const std::string& errFile, const std::string& inFile) {
    std::vector<std::string> argv{KORVELLIB_EXE};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> raw;
    for (std::string& a : argv)
        raw.push_back(a.data());
    raw.push_back(nullptr);
    const std::string in = inFile.empty() ? "/dev/null" : inFile;
    const std::string out = outFile.empty() ? "/dev/null" : outFile;
    const std::string err = errFile.empty() ? "/dev/null" : errFile;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    if (posix_spawn(&pid, raw[0], &actions, nullptr, raw.data(), environ) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

} // namespace korvel::test
