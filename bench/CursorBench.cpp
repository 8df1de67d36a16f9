// The table cursor on a library of a million elements, each figure beside the plain SQLite work it stands on.
// Every benchmark times both in the same iterations and reports their ratio, so a busy machine shifts both.
//
//   build/release/bench/bench_cursor [--rows=N]

#include "BenchLibrary.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

namespace {

using namespace korvel;
using bench::Clock;
using bench::Library;
using bench::Seconds;

// The library's main table opened read-only in name order, as an editor opens a System tab.
std::unique_ptr<db::TTable> OpenByName() {
    auto database = std::make_shared<db::TDatabase>(Library());
    database->SetReadOnly(true);
    auto table = std::make_unique<db::TTable>(database, "EmisX");
    table->SetIndexName("EN");
    table->Open();
    return table;
}

// Plain SQLite: the statements the cursor stands on, without the cursor.
struct Plain {
    Plain() : conn(Library(), true, false) {}
    db::TSqliteConnection conn;

    // Reads n rows of the ordered list starting at the first name >= from.
    void Page(const std::vector<std::uint8_t>& from, int n) {
        db::TStatement st(conn.Handle(), "SELECT rowid, Eintrag, ElementName, Kommentar, Gruppen1, Spektrum, "
                                         "_ck_ElementName FROM EmisX WHERE _ck_ElementName >= ? "
                                         "ORDER BY _ck_ElementName, rowid LIMIT ?");
        st.BindBlob(1, from);
        st.Bind(2, static_cast<std::int64_t>(n));
        while (st.Step()) {
            benchmark::DoNotOptimize(st.ColumnText(2));
            benchmark::DoNotOptimize(st.ColumnBlob(5));
        }
    }
};

void Report(benchmark::State& state, double engine, double plain, std::uint64_t fetched) {
    bench::ReportRatio(state, engine, plain);
    state.counters["records_read"] = static_cast<double>(fetched) / static_cast<double>(state.iterations());
}

// Open the table, order it by name and show the first page of the element list.
void OpenOrderedFirstPage(benchmark::State& state) {
    Library();
    double engine = 0, plain = 0;
    std::uint64_t fetched = 0;
    bool engineFirst = true;
    for (auto _ : state) {
        // Alternate the order so neither side always finds the caches warmed by the other.
        auto runEngine = [&] {
            auto t0 = Clock::now();
            auto database = std::make_shared<db::TDatabase>(Library());
            database->SetReadOnly(true);
            db::TTable table(database, "EmisX");
            table.SetIndexName("EN");
            table.Open();
            for (int i = 0; i < 50 && !table.Eof(); ++i) {
                benchmark::DoNotOptimize(table.FieldByName("ElementName").AsString());
                table.Next();
            }
            fetched += table.RecordsFetched();
            engine += Seconds(Clock::now() - t0);
        };
        auto runPlain = [&] {
            auto t0 = Clock::now();
            Plain p;
            p.Page({}, 50);
            plain += Seconds(Clock::now() - t0);
        };
        bench::RunBoth(engineFirst, runEngine, runPlain);
    }
    Report(state, engine, plain, fetched);
}

// "Jump to": the nearest name to a typed text, from an open cursor.
void JumpToNearestName(benchmark::State& state) {
    auto table = OpenByName();
    Plain p;
    std::mt19937 rng(42);
    double engine = 0, plain = 0;
    std::uint64_t before = table->RecordsFetched();
    for (auto _ : state) {
        std::string typed =
            bench::ElementName(static_cast<std::int64_t>(rng() % static_cast<unsigned>(bench::Rows())))
                .substr(0, 9);
        auto t0 = Clock::now();
        table->FindNearest({db::TValue{typed}});
        benchmark::DoNotOptimize(table->FieldByName("ElementName").AsString());
        auto t1 = Clock::now();
        p.Page(db::CollationKey(typed), 1);
        auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    Report(state, engine, plain, table->RecordsFetched() - before);
}

// Step through 20 pages of 64 elements with Next, from a jumped-to place in the name order.
void StepThroughPages(benchmark::State& state) {
    auto table = OpenByName();
    Plain p;
    std::mt19937 rng(7);
    double engine = 0, plain = 0;
    std::uint64_t before = table->RecordsFetched();
    for (auto _ : state) {
        std::string typed =
            bench::ElementName(static_cast<std::int64_t>(rng() % static_cast<unsigned>(bench::Rows())))
                .substr(0, 7);
        table->FindNearest({db::TValue{typed}});
        auto t0 = Clock::now();
        for (int i = 0; i < 20 * 64 && !table->Eof(); ++i) {
            benchmark::DoNotOptimize(table->FieldByName("ElementName").AsString());
            table->Next();
        }
        auto t1 = Clock::now();
        p.Page(db::CollationKey(typed), 20 * 64);
        auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    Report(state, engine, plain, table->RecordsFetched() - before);
}

// The element list's first need of positions: the ordered rowids, then windows of 100 rows anywhere.
void ListWindowsByPosition(benchmark::State& state) {
    auto table = OpenByName();
    std::mt19937 rng(3);
    double engine = 0, plain = 0;
    for (auto _ : state) {
        auto t0 = Clock::now();
        table->Refresh(); // drops the positions, so every iteration pays for reading them again
        auto rows = table->ReadRows(
            static_cast<std::int64_t>(rng() % static_cast<unsigned>(bench::Rows() - 100)), 100, {0, 1});
        benchmark::DoNotOptimize(rows);
        auto t1 = Clock::now();
        {
            Plain p;
            db::TStatement ids(p.conn.Handle(), "SELECT rowid FROM EmisX ORDER BY _ck_ElementName, rowid");
            std::vector<std::int64_t> all;
            while (ids.Step()) {
                all.push_back(ids.ColumnInt(0));
            }
            benchmark::DoNotOptimize(all);
        }
        auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    Report(state, engine, plain, 0);
}

void RecordCount(benchmark::State& state) {
    auto database = std::make_shared<db::TDatabase>(Library());
    database->SetReadOnly(true);
    db::TTable table(database, "EmisX");
    table.Open();
    Plain p;
    double engine = 0, plain = 0;
    for (auto _ : state) {
        auto t0 = Clock::now();
        table.Refresh();
        benchmark::DoNotOptimize(table.RecordCount());
        auto t1 = Clock::now();
        db::TStatement st(p.conn.Handle(), "SELECT count(*) FROM EmisX");
        st.Step();
        benchmark::DoNotOptimize(st.ColumnInt(0));
        auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    Report(state, engine, plain, 0);
}

BENCHMARK(OpenOrderedFirstPage)->Unit(benchmark::kMillisecond);
BENCHMARK(JumpToNearestName)->Unit(benchmark::kMicrosecond);
BENCHMARK(StepThroughPages)->Unit(benchmark::kMillisecond);
BENCHMARK(ListWindowsByPosition)->Unit(benchmark::kMillisecond);
BENCHMARK(RecordCount)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    bench::TakeRowsFlag(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
