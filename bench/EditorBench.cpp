// The sound editor on a large sound-power library, headless, as the command line hosts it: opening until the
// element list is ready, windows of the list anywhere, "Jump to", and switching the order. Each figure is
// timed beside the plain SQLite work it stands on, in the same iterations.
//
//   build/hbench/bench/bench_editor [--rows=N]     # 1,000,000 elements unless N is given
//   build/hbench/bench/bench_editor --memory [--rows=N]
//
// --memory builds the library when needed, then opens the editor in a fresh child process and prints that
// process's resident memory before and after, instead of running the benchmarks.

#include "BenchLibrary.h"
#include "cli/LibSession.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

using namespace korvel;
using acoustic::kEmissionLibType;
using bench::Clock;
using bench::Seconds;

constexpr int kShownRows = 30;
constexpr std::int64_t kWindow = 256; // the list's windows (TRowCache::kWindowRows)

const std::string& Folder() {
    static const std::string folder = bench::EmissionFolder(bench::Rows());
    return folder;
}

// The sound editor with the library open in its one tab, as `korvellib` drives it.
struct TEditor {
    std::ostringstream out, err;
    cli::TLibSession session{kEmissionLibType, out, err};
    int tab = session.Open(Folder(), false);

    TDBElementList& List() { return session.Editor().DBList(); }
    db::TTable& Table() { return session.Table(tab); }
    // What a screen of the list needs: the row count and the rows shown from first on.
    void Show(std::int64_t first) {
        const std::int64_t count = List().RowCount();
        for (std::int64_t row = first; row < std::min(first + kShownRows, count); ++row) {
            benchmark::DoNotOptimize(List().CellText(row, 0));
            benchmark::DoNotOptimize(List().CellText(row, 1));
        }
    }
};

// Plain SQLite: the statements the list stands on, on a connection of its own.
struct TPlain {
    db::TSqliteConnection conn{bench::EmissionFile(Folder()), true, false};
    std::vector<std::int64_t> ids;

    static const char* OrderBy(const std::string& index) {
        return index == "EN" ? "_ck_ElementName, rowid" : "rowid";
    }
    // The positions of the list: the rowids in the order, and with them the count.
    void Positions(const std::string& index) {
        db::TStatement st(conn.Handle(), std::string("SELECT rowid FROM EmisX ORDER BY ") + OrderBy(index));
        ids.clear();
        while (st.Step())
            ids.push_back(st.ColumnInt(0));
    }
    // The list's windows of 256 rows holding rows first..first+29, read by rowid.
    void Rows(std::int64_t first) {
        const auto total = static_cast<std::int64_t>(ids.size());
        for (std::int64_t w = first / kWindow * kWindow; w < std::min(first + kShownRows, total);
             w += kWindow) {
            const std::int64_t n = std::min(kWindow, total - w);
            std::string sql = "SELECT rowid, Eintrag, ElementName FROM EmisX WHERE rowid IN (";
            for (std::int64_t i = 0; i < n; ++i)
                sql += i ? ", ?" : "?";
            db::TStatement st(conn.Handle(), sql + ")");
            for (std::int64_t i = 0; i < n; ++i)
                st.Bind(static_cast<int>(i) + 1, ids[static_cast<std::size_t>(w + i)]);
            while (st.Step())
                benchmark::DoNotOptimize(st.ColumnText(2));
        }
    }
    // "Jump to" in plain SQL: the first name at or after the typed text.
    void Nearest(const std::string& typed) {
        db::TStatement st(conn.Handle(),
                          "SELECT rowid, Eintrag, ElementName FROM EmisX WHERE _ck_ElementName >= ? "
                          "ORDER BY _ck_ElementName, rowid LIMIT 1");
        st.BindBlob(1, db::CollationKey(typed));
        if (st.Step())
            benchmark::DoNotOptimize(st.ColumnText(2));
    }
};

std::int64_t RandomRow(std::mt19937& rng) {
    return static_cast<std::int64_t>(rng() % static_cast<unsigned>(bench::Rows() - kShownRows));
}

std::string Typed(std::mt19937& rng) {
    return bench::ElementName(static_cast<std::int64_t>(rng() % static_cast<unsigned>(bench::Rows())))
        .substr(0, 9);
}

// Open the editor until its list is ready: the count known and the first screen of rows read.
void OpenEditor(benchmark::State& state) {
    Folder();
    std::string index;
    {
        TEditor probe;
        index = probe.Table().IndexName();
    }
    double engine = 0, plain = 0;
    bool engineFirst = true;
    for (auto _ : state) {
        // Alternate the order so neither side always finds the caches warmed by the other.
        auto runEngine = [&] {
            const auto t0 = Clock::now();
            auto editor = std::make_unique<TEditor>();
            editor->Show(0);
            engine += Seconds(Clock::now() - t0);
            editor.reset();
        };
        auto runPlain = [&] {
            const auto t0 = Clock::now();
            TPlain p;
            p.Positions(index);
            p.Rows(0);
            plain += Seconds(Clock::now() - t0);
        };
        bench::RunBoth(engineFirst, runEngine, runPlain);
    }
    bench::ReportRatio(state, engine, plain);
    state.SetLabel("order " + index);
}

// A screen of the list at a random place (a jump of the scroll bar).
void ListWindowAtRandom(benchmark::State& state) {
    TEditor editor;
    TPlain p;
    p.Positions(editor.Table().IndexName());
    editor.Show(0);
    std::mt19937 rng(3);
    double engine = 0, plain = 0;
    const std::uint64_t before = editor.List().RowsRead();
    for (auto _ : state) {
        const std::int64_t row = RandomRow(rng);
        const auto t0 = Clock::now();
        editor.Show(row);
        const auto t1 = Clock::now();
        p.Rows(row);
        const auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    bench::ReportRatio(state, engine, plain);
    state.counters["rows_read"] =
        static_cast<double>(editor.List().RowsRead() - before) / static_cast<double>(state.iterations());
}

// "Jump to": typing a name into the frame's search box makes the nearest name current; the list then knows
// the row to show.
void JumpTo(benchmark::State& state) {
    TEditor editor;
    TPlain p;
    editor.Show(0);
    std::mt19937 rng(42);
    double engine = 0, plain = 0, listRow = 0;
    for (auto _ : state) {
        const std::string typed = Typed(rng);
        const auto t0 = Clock::now();
        editor.session.Editor().EditSearch().SetText(typed);
        benchmark::DoNotOptimize(editor.Table().FieldByName("ElementName").AsString());
        const auto t1 = Clock::now();
        benchmark::DoNotOptimize(editor.List().CurrentRow());
        const auto t2 = Clock::now();
        p.Nearest(typed);
        const auto t3 = Clock::now();
        engine += Seconds(t1 - t0);
        listRow += Seconds(t2 - t1);
        plain += Seconds(t3 - t2);
    }
    bench::ReportRatio(state, engine, plain);
    state.counters["list_row_ms"] = listRow * 1e3 / static_cast<double>(state.iterations());
}

// The table work of "Jump to" alone, without the editor showing the element: the nearest name looked up on
// the name index while the cursor stays in number order, the move to it, and the row of the list, on a cursor
// whose list positions are read.
void JumpToCursorOnly(benchmark::State& state) {
    TEditor editor; // makes sure the library exists and is current
    auto database = std::make_shared<db::TDatabase>(bench::EmissionFile(Folder()));
    db::TTable table(database, "EmisX");
    table.SetIndexName("p");
    table.Open();
    benchmark::DoNotOptimize(table.ReadRows(0, 30, {0, 1}));
    TPlain p;
    std::mt19937 rng(42);
    double engine = 0, plain = 0;
    for (auto _ : state) {
        const std::string typed = Typed(rng);
        const auto t0 = Clock::now();
        if (auto found = table.SeekNearest("EN", {db::TValue{typed}}))
            table.GotoBookmark(*found);
        benchmark::DoNotOptimize(table.FieldByName("ElementName").AsString());
        benchmark::DoNotOptimize(table.RecNo());
        const auto t1 = Clock::now();
        p.Nearest(typed);
        const auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    bench::ReportRatio(state, engine, plain);
}

// The first switch from the number order to the name order after opening: the name order's positions are
// read, as nothing of it is kept yet.
void SwitchOrderFirstTime(benchmark::State& state) {
    double engine = 0, plain = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto editor = std::make_unique<TEditor>();
        editor->List().TitleClick(0);
        editor->Show(0);
        state.ResumeTiming();
        const auto t0 = Clock::now();
        editor->List().TitleClick(1);
        editor->Show(editor->List().CurrentRow());
        const auto t1 = Clock::now();
        const std::int64_t row = editor->List().CurrentRow();
        const auto t2 = Clock::now();
        TPlain p;
        p.Positions("EN");
        p.Rows(row);
        const auto t3 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t3 - t2);
        state.PauseTiming();
        editor.reset();
        state.ResumeTiming();
    }
    bench::ReportRatio(state, engine, plain);
}

// Switching the order of the list by its column titles: number ("p") to name ("EN") and back, each until
// the screen around the current element is shown again. After the first round both orders' positions are
// kept (the file does not change), which the plain side, reading them each time, does not have.
void SwitchOrder(benchmark::State& state) {
    TEditor editor;
    TPlain p;
    editor.List().TitleClick(0);
    editor.Show(0);
    std::mt19937 rng(9);
    double engine = 0, plain = 0;
    for (auto _ : state) {
        editor.session.Editor().EditSearch().SetText(Typed(rng)); // somewhere in the middle
        for (int col : {1, 0}) {
            const auto t0 = Clock::now();
            editor.List().TitleClick(col);
            editor.Show(editor.List().CurrentRow());
            const auto t1 = Clock::now();
            const std::int64_t row = editor.List().CurrentRow();
            const auto t2 = Clock::now();
            p.Positions(col == 1 ? "EN" : "p");
            p.Rows(row);
            const auto t3 = Clock::now();
            engine += Seconds(t1 - t0);
            plain += Seconds(t3 - t2);
        }
    }
    if (editor.Table().IndexName() != "p")
        state.SkipWithError("the order did not switch back");
    bench::ReportRatio(state, engine, plain);
}

BENCHMARK(OpenEditor)->Unit(benchmark::kMillisecond)->Iterations(6);
BENCHMARK(ListWindowAtRandom)->Unit(benchmark::kMillisecond);
BENCHMARK(JumpTo)->Unit(benchmark::kMillisecond);
BENCHMARK(JumpToCursorOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(SwitchOrderFirstTime)->Unit(benchmark::kMillisecond)->Iterations(6);
BENCHMARK(SwitchOrder)->Unit(benchmark::kMillisecond)->Iterations(6);

// The memory an open editor holds: resident size before and after opening it with its list ready, a few
// screens anywhere, a jump and both orders, in this process alone.
int MeasureMemory() {
    const double before = bench::ResidentMb();
    TEditor editor;
    editor.Show(0);
    std::mt19937 rng(5);
    for (int i = 0; i < 20; ++i)
        editor.Show(RandomRow(rng));
    editor.session.Editor().EditSearch().SetText(Typed(rng));
    editor.List().TitleClick(1);
    editor.Show(editor.List().CurrentRow());
    editor.List().TitleClick(0);
    editor.Show(editor.List().CurrentRow());
    const double after = bench::ResidentMb();
    std::printf("rows=%lld rss_before_mb=%.1f rss_after_mb=%.1f growth_mb=%.1f peak_mb=%.1f\n",
                static_cast<long long>(bench::Rows()), before, after, after - before, bench::PeakMb());
    return 0;
}

// Builds the library here, then measures in a child that did nothing else.
int SpawnMemoryChild() {
    Folder();
    std::string rows = "--rows=" + std::to_string(bench::Rows());
    std::string flag = "--memory-child";
    std::string self = "/proc/self/exe";
    char* args[] = {self.data(), flag.data(), rows.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, self.c_str(), nullptr, nullptr, args, environ) != 0) {
        std::perror("posix_spawn");
        return 1;
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

int main(int argc, char** argv) {
    bench::TakeRowsFlag(argc, argv);
    // The benchmark folder holds the settings file the editors read and write, apart from the person's.
    bench::CacheFolder("settings");
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--memory") == 0)
            return SpawnMemoryChild();
        if (std::strcmp(argv[i], "--memory-child") == 0)
            return MeasureMemory();
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
