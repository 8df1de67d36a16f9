// Separate command-line processes next to each other and next to an editor of this process: nothing stored is
// lost, a writer that cannot get the lock says so in seconds, the editor sees everything on refresh.

#include "../cli/CliRunner.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <set>
#include <sys/wait.h>
#include <thread>

namespace korvel::test {
namespace {

using Clock = std::chrono::steady_clock;

using acoustic::kEmissionLibType;
const std::string kType = std::to_string(kEmissionLibType);

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
    // Adds an element in a process of its own, its errors into errFile: the exit code, or -1 when it did not
    // start or still ran after a minute (it is killed then).
    int AddAside(const std::string& name, const std::string& errFile = {}) const {
        const pid_t pid =
            StartKorvellib(Cli({"add", kType, folder_, "--set", "ElementName=" + name}), {}, errFile);
        if (pid <= 0)
            return -1;
        const auto end = Clock::now() + std::chrono::seconds(60);
        int status = 0;
        pid_t r = 0;
        while ((r = waitpid(pid, &status, WNOHANG)) == 0 && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (r == pid)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        return -1;
    }
    std::string Library() const { return folder_ + LibName(kEmissionLibType); }

    // Element names in the order of their numbers, read with plain SQLite after an integrity check.
    std::vector<std::string> Names() const {
        db::TSqliteConnection conn(Library(), true, false);
        db::TStatement check(conn.Handle(), "PRAGMA integrity_check");
        EXPECT_TRUE(check.Step() && check.ColumnText(0) == "ok");
        db::TStatement st(conn.Handle(), "SELECT ElementName FROM " +
                                             db::QuoteIdent(TableNames(kEmissionLibType)[0]) +
                                             " ORDER BY Eintrag");
        std::vector<std::string> out;
        while (st.Step())
            out.push_back(st.ColumnText(0));
        return out;
    }

    LibFolders f;
    std::string folder_, config_;
};

TEST_F(Concurrency, WritersTakeTurnsALockedWriterSaysSoAndAnOpenEditorSeesEverythingOnRefresh) {
    sound::TFormLibX& editor = sound::OpenSoundEditor(f, kEmissionLibType, {folder_});
    db::TTable& table = *editor.GetMainTable(editor.GetCurIndex());
    ASSERT_EQ(table.RecordCount(), 1);

    // Each writer stores its own elements one process after another, both writers at the same time.
    constexpr int kPerWriter = 12;
    auto writer = [&](std::string prefix) {
        for (int i = 0; i < kPerWriter; ++i)
            EXPECT_EQ(AddAside(prefix + std::to_string(i)), 0) << prefix << i;
    };
    std::thread a(writer, "a");
    std::thread b(writer, "b");
    a.join();
    b.join();

    // Another program holds the write lock and does not let go.
    db::TSqliteConnection holder(Library(), false, false);
    holder.Exec("BEGIN IMMEDIATE");
    holder.Exec("UPDATE " + db::QuoteIdent(TableNames(kEmissionLibType)[0]) + " SET Kommentar = 'held'");
    const auto start = Clock::now();
    const int code = AddAside("late", f.Root() + "blocked.err");
    ASSERT_NE(code, -1) << "the writer still waits after a minute";
    EXPECT_NE(code, 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
    const std::string err = ReadAll(f.Root() + "blocked.err");
    EXPECT_NE(err.find("locked by another program"), std::string::npos) << err;

    // Once the lock is free the same command goes through, and nothing stored before is lost.
    holder.Exec("COMMIT");
    TCliResult again = Run({"add", kType, folder_, "--set", "ElementName=late"});
    EXPECT_EQ(again.ExitCode, 0) << again.Err;
    const std::vector<std::string> names = Names();
    std::multiset<std::string> expected = {"seed", "late"};
    for (int i = 0; i < kPerWriter; ++i)
        expected.insert({"a" + std::to_string(i), "b" + std::to_string(i)});
    EXPECT_EQ(std::multiset<std::string>(names.begin(), names.end()), expected);

    editor.FindMenuItem("RefreshList")->Click();
    EXPECT_EQ(table.RecordCount(), static_cast<int>(expected.size()));
    EXPECT_TRUE(table.Locate("ElementName", {db::TValue{std::string("late")}}));

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
