// Bulk work of the assessment editor beside the plain SQLite inserts of the same rows: copying every element
// of a library into an empty one (each element with its ranges and its 25 additions rows, mapped by usage
// short), as `korvellib copy 135 SRC DST --all` does.
//
//   build/hbench/bench/bench_assessment [--rows=N]    # N assessments; 2,000 by default

#include "BenchLibrary.h"
#include "assessment/AssessmentDataSet.h"
#include "cli/LibSession.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using namespace korvel;
using assessment::kAssessmentLibType;
using bench::Clock;
using bench::Seconds;

namespace fs = std::filesystem;

std::string LibFile(const std::string& folder) {
    return folder + LibName(kAssessmentLibType);
}

// A day, an evening and a night range with limits in every area, and a rest-period addition in three areas.
assessment::TBewertungDataSet Element(std::int64_t i) {
    assessment::TBewertungDataSet d;
    d.ElementName = bench::ElementName(i);
    for (const char* hours : {"6-18", "18-22", "22-6"}) {
        auto r = std::make_unique<acoustic::TZeitBereich>();
        r->Hours = *acoustic::HoursFromText(hours);
        r->Short = hours;
        for (int u = 1; u <= kUsageCount; ++u)
            r->Limits[static_cast<std::size_t>(u)] = static_cast<float>(35 + (i + u) % 35);
        d.Ranges.push_back(std::move(r));
    }
    for (int u : {0, 1, 12})
        for (int h : {6, 20, 21})
            d.Additions[static_cast<std::size_t>(u)][static_cast<std::size_t>(h)] = 6;
    return d;
}

void MakeLibrary(const std::string& folder, std::int64_t rows) {
    TMyTable lib(TableNames(kAssessmentLibType));
    lib.InitLibX(folder, LibName(kAssessmentLibType), TableNames(kAssessmentLibType), false, true);
    SetFieldIndexDefs(lib, kAssessmentLibType, true);
    lib.CreateDBTable();
    lib.Open();
    db::TTransaction transaction(lib.Database());
    db::TTable& main = *lib.GetItem(assessment::kMainItem);
    for (std::int64_t i = 0; i < rows; ++i) {
        const assessment::TBewertungDataSet d = Element(i);
        main.Append();
        main.FieldByName("ElementName").SetAsString(d.ElementName);
        main.Post();
        d.WriteFor(main.FieldByName("Eintrag").AsInteger(), *lib.GetItem(assessment::kRangesItem),
                   *lib.GetItem(assessment::kAdditionsItem));
    }
    transaction.Keep();
    lib.Close();
}

// The source library of Rows() elements and an empty one, built once and kept.
std::string SourceFolder() {
    const std::string folder = bench::CacheFolder("assessment-" + std::to_string(bench::Rows()));
    if (!fs::exists(folder + "done")) {
        bench::CacheFolder("assessment-" + std::to_string(bench::Rows()), true);
        MakeLibrary(folder, bench::Rows());
        std::ofstream(folder + "done") << "1\n";
    }
    return folder;
}

const std::string& EmptyFile() {
    static const std::string file = [] {
        const std::string folder = bench::CacheFolder("assessment-empty", true);
        MakeLibrary(folder, 0);
        return LibFile(folder);
    }();
    return file;
}

void CopyAll(benchmark::State& state) {
    const std::string source = SourceFolder();
    double engine = 0;
    double plain = 0;
    std::int64_t copied = 0;
    for (auto _ : state) {
        const std::string target = bench::CacheFolder("assessment-target", true);
        fs::copy_file(EmptyFile(), LibFile(target));
        std::ostringstream out, err;
        {
            cli::TLibSession session(kAssessmentLibType, out, err);
            const int src = session.Open(source, false);
            const int dst = session.Open(target, false);
            TCustomLibForm& editor = session.Editor();
            editor.TabLibs().SetTabIndex(src);
            const auto t0 = Clock::now();
            editor.DBList().ClearSelection();
            editor.DBList().SelectAll();
            editor.CopyElement(editor, dst);
            engine += Seconds(Clock::now() - t0);
            copied = session.Table(dst).RecordCount();
        }
        if (copied != bench::Rows())
            state.SkipWithError("the copy did not take every element");
        // Plain: the three tables' rows as the copy stored them, each inserted into a copy of the empty
        // library.
        for (const std::string& table : TableNames(kAssessmentLibType)) {
            const auto t0 = Clock::now();
            const bench::TPlainRows rows = bench::ReadPlainRows(LibFile(source), table, false);
            plain += Seconds(Clock::now() - t0) + bench::PlainInsert(rows, EmptyFile()).Seconds;
        }
    }
    bench::ReportRatio(state, engine, plain);
    state.counters["rows"] = static_cast<double>(copied);
}

} // namespace

BENCHMARK(CopyAll)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) {
    korvel::bench::SetRows(2000);
    korvel::bench::TakeRowsFlag(argc, argv);
    // The benchmark folder holds the settings file the editors read and write, apart from the person's.
    korvel::bench::CacheFolder("settings");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
