// Two programs on one library: the command line run as separate processes next to each other and next to an
// editor of this process. Nothing stored is lost, a writer that cannot get the lock says so in seconds, and
// an editor sees what the other program added when it refreshes.

#include "../cli/CliRunner.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Database.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "sound/SoundSchema.h"
#include "support/LibFolders.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sqlite3.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

using acoustic::kEmissionLibType;
const std::string kType = std::to_string(kEmissionLibType);

// A korvellib process running beside the test; its output goes to files so it can never block.
class TCliProcess {
public:
    TCliProcess(const fs::path& dir, const std::string& name, const std::vector<std::string>& args)
        : out_(dir / (name + ".out")), err_(dir / (name + ".err")),
          pid_(StartKorvellib(args, out_.string(), err_.string())) {}
    ~TCliProcess() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    TCliProcess(const TCliProcess&) = delete;
    TCliProcess& operator=(const TCliProcess&) = delete;

    // The exit code, or -1 when the process did not end within the limit (it is killed then).
    int Wait(std::chrono::seconds limit) {
        const auto end = Clock::now() + limit;
        int status = 0;
        while (pid_ > 0) {
            pid_t r = waitpid(pid_, &status, WNOHANG);
            if (r == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            if (Clock::now() > end)
                return -1;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return -1;
    }
    std::string Err() const { return Read(err_); }

private:
    static std::string Read(const fs::path& file) {
        std::ifstream in(file);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    fs::path out_, err_;
    pid_t pid_ = -1;
};

class Concurrency : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = f.Project();
        config_ = f.Root() + "config";
        // The library exists before the processes start, so none of them has to create it.
        ASSERT_EQ(Run({"add", kType, folder_, "--set", "ElementName=seed"}).ExitCode, 0);
    }
    std::vector<std::string> Cli(std::vector<std::string> args) const {
        args.insert(args.begin(), {"--config", config_});
        return args;
    }
    TCliResult Run(std::vector<std::string> args) const { return RunKorvellib(Cli(std::move(args))); }
    std::string Library() const { return folder_ + LibName(kEmissionLibType); }

    // Element numbers by name, read with plain SQLite.
    std::vector<std::pair<std::int64_t, std::string>> Elements() const {
        db::TSqliteConnection conn(Library(), true, false);
        db::TStatement st(conn.Handle(), "SELECT Eintrag, ElementName FROM " +
                                             db::QuoteIdent(TableNames(kEmissionLibType)[0]) +
                                             " ORDER BY Eintrag");
        std::vector<std::pair<std::int64_t, std::string>> out;
        while (st.Step())
            out.emplace_back(st.ColumnInt(0), st.ColumnText(1));
        return out;
    }
    std::string IntegrityCheck() const {
        db::TSqliteConnection conn(Library(), true, false);
        db::TStatement st(conn.Handle(), "PRAGMA integrity_check");
        return st.Step() ? st.ColumnText(0) : std::string();
    }

    LibFolders f;
    std::string folder_, config_;
};

TEST_F(Concurrency, TwoProcessesStoringAtOnceLoseNothing) {
    // Each writer stores its own elements one process after another, both writers at the same time.
    constexpr int kPerWriter = 12;
    auto writer = [&](const std::string& prefix, std::vector<int>& codes) {
        for (int i = 0; i < kPerWriter; ++i) {
            TCliProcess p(f.Root(), prefix + std::to_string(i),
                          Cli({"add", kType, folder_, "--set", "ElementName=" + prefix + std::to_string(i)}));
            codes.push_back(p.Wait(std::chrono::seconds(60)));
        }
    };
    std::vector<int> codesA, codesB;
    std::thread a(writer, "a", std::ref(codesA));
    std::thread b(writer, "b", std::ref(codesB));
    a.join();
    b.join();
    for (int code : codesA)
        EXPECT_EQ(code, 0);
    for (int code : codesB)
        EXPECT_EQ(code, 0);

    auto elements = Elements();
    std::set<std::string> names;
    std::set<std::int64_t> numbers;
    for (const auto& [nr, name] : elements) {
        names.insert(name);
        numbers.insert(nr);
    }
    EXPECT_EQ(elements.size(), 1u + 2 * kPerWriter);
    EXPECT_EQ(numbers.size(), elements.size());
    for (int i = 0; i < kPerWriter; ++i) {
        EXPECT_TRUE(names.count("a" + std::to_string(i))) << i;
        EXPECT_TRUE(names.count("b" + std::to_string(i))) << i;
    }
    EXPECT_EQ(IntegrityCheck(), "ok");
}

TEST_F(Concurrency, AWriterThatCannotGetTheLockSaysSoWithinSeconds) {
    // Another program holds the write lock and does not let go.
    db::TSqliteConnection holder(Library(), false, false);
    holder.Exec("BEGIN IMMEDIATE");
    holder.Exec("UPDATE " + db::QuoteIdent(TableNames(kEmissionLibType)[0]) + " SET Kommentar = 'held'");

    const auto start = Clock::now();
    TCliProcess blocked(f.Root(), "blocked", Cli({"add", kType, folder_, "--set", "ElementName=late"}));
    const int code = blocked.Wait(std::chrono::seconds(60));
    const auto waited = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
    ASSERT_NE(code, -1) << "the writer still waits after a minute";
    EXPECT_NE(code, 0);
    EXPECT_LT(waited.count(), 30);
    EXPECT_NE(blocked.Err().find("locked by another program"), std::string::npos) << blocked.Err();

    // Once the lock is free the same command goes through, and the holder's change was not disturbed.
    holder.Exec("COMMIT");
    TCliResult again = Run({"add", kType, folder_, "--set", "ElementName=late"});
    EXPECT_EQ(again.ExitCode, 0) << again.Err;
    auto elements = Elements();
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_EQ(elements[1].second, "late");
    EXPECT_EQ(IntegrityCheck(), "ok");
}

TEST_F(Concurrency, AnEditorSeesWhatAnotherProgramAddedWhenItRefreshes) {
    sound::TFormLibX& editor = sound::OpenSoundEditor(f, kEmissionLibType, {folder_});
    db::TTable& table = *editor.GetMainTable(editor.GetCurIndex());
    ASSERT_EQ(table.RecordCount(), 1);

    ASSERT_EQ(Run({"add", kType, folder_, "--set", "ElementName=from outside"}).ExitCode, 0);
    editor.FindMenuItem("RefreshList")->Click();
    EXPECT_EQ(table.RecordCount(), 2);
    EXPECT_TRUE(table.Locate("ElementName", {db::TValue{std::string("from outside")}}));

    // An element the other program changed while this editor edits the same field is not overwritten.
    table.First();
    table.Edit();
    table.FieldByName("Kommentar").SetAsString("mine");
    const std::string number = table.Fields(0).AsString();
    ASSERT_EQ(Run({"set", kType, folder_, number, "--set", "Kommentar=theirs"}).ExitCode, 0);
    EXPECT_THROW(table.Post(), db::EDatabaseError);
    table.Cancel();
    table.Refresh();
    EXPECT_EQ(table.FieldByName("Kommentar").AsString(), "theirs");
}

} // namespace
} // namespace korvel::test
