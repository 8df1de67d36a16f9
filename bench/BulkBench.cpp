// Bulk work of the sound editor, each run once beside the plain SQLite inserts of the same rows: importing a
// text table, copying elements into a library that holds some of their names ("Skip all"), a backup that
// keeps gapped numbers, taking in a folder of DOS library files, and the directivity library's DOS file
// RIWIS.DAT. The editors are driven as `korvellib` drives them (import, copy --on-conflict skip, backup,
// import of a DOS index file, import 119 of RIWIS.DAT).
//
//   build/hbench/bench/bench_bulk [--rows=N]      # N rows for the import and the backup; 100,000 by default

#include "BenchLibrary.h"
#include "cli/LibSession.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/formats/DosLibFiles.h"
#include "platform/formats/RiwisFile.h"
#include "sound/FormLibX.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

using namespace korvel;
using acoustic::kEmissionLibType;
using bench::Clock;
using bench::Seconds;

namespace fs = std::filesystem;

constexpr std::int64_t kCopied = 10000;
constexpr std::int64_t kDosElements = 10000;

const std::string& MainTable() {
    static const std::string name = TableNames(kEmissionLibType).front();
    return name;
}

TBatchPolicy SkipAll() {
    TBatchPolicy policy;
    policy.OnConflict = TConflictPolicy::Skip;
    return policy;
}

// The tab shown with every element visible, as the command line does before an import.
void ShowTab(cli::TLibSession& session, int tab) {
    session.Editor().TabLibs().SetTabIndex(tab);
    session.Editor().SwitchElementFilterOff();
    session.Table(tab).SetFiltered(false);
}

void Report(benchmark::State& state, double engine, const bench::TPlainInsert& plain, std::int64_t rows) {
    bench::ReportRatio(state, engine, plain.Seconds);
    state.counters["rows"] = static_cast<double>(rows);
}

// --- text table import

// Rows of names, octave levels, weighting and group, as a spreadsheet saved as text would hold them.
std::string TextTable(std::int64_t rows) {
    const std::string folder = bench::CacheFolder("text-import");
    const std::string file = folder + "levels-" + std::to_string(rows) + ".csv";
    if (fs::exists(file))
        return file;
    std::ofstream out(file + ".part", std::ios::binary);
    out << "Element name;63Hz;125Hz;250Hz;500Hz;1kHz;2kHz;4kHz;8kHz;Weighting;Group(1)\n";
    for (std::int64_t i = 0; i < rows; ++i) {
        out << bench::ElementName(i);
        for (int band = 0; band < 8; ++band)
            out << ';' << 60 + (i + band * 7) % 30 << '.' << (i + band) % 10;
        out << ';' << (i % 3 == 0 ? "" : "A") << ";Gruppe " << i % 25 << '\n';
    }
    out.close();
    fs::rename(file + ".part", file);
    return file;
}

// Imports file into a fresh copy of the empty library as `korvellib import` does (the spreadsheet dialog
// settled unseen), against the same rows inserted plainly; reports the rows imported.
void ImportIntoEmpty(benchmark::State& state, const std::string& targetName, const std::string& file,
                     std::int64_t expected) {
    double engine = 0;
    bench::TPlainInsert plain;
    std::int64_t imported = 0;
    for (auto _ : state) {
        const std::string folder = bench::CacheFolder(targetName, true);
        bench::CopyLibrary(bench::EmptyEmissionFile(), folder);
        std::ostringstream out, err;
        const auto t0 = Clock::now();
        {
            cli::TLibSession session(kEmissionLibType, out, err, SkipAll());
            const int tab = session.Open(folder, false);
            ShowTab(session, tab);
            auto& sound = dynamic_cast<sound::TFormLibX&>(session.Editor());
            sound.BeforeExcelImport = [](TExcelImportForm& form) {
                form.RunImport();
                form.SetModalResult(mrOk);
            };
            session.Editor().ImportFile(file);
            imported = session.Table(tab).RecordCount();
        }
        engine += Seconds(Clock::now() - t0);
        if (imported != expected)
            state.SkipWithError("the import did not take every element");
        const bench::TPlainRows same = bench::ReadPlainRows(bench::EmissionFile(folder), MainTable(), false);
        const bench::TPlainInsert p = bench::PlainInsert(same);
        plain.Seconds += p.Seconds;
        plain.Inserted = p.Inserted;
    }
    Report(state, engine, plain, imported);
}

void ImportTextTable(benchmark::State& state) {
    const std::int64_t rows = bench::Rows();
    ImportIntoEmpty(state, "text-import-target", TextTable(rows), rows);
}

// --- copy with "Skip all"

// The source holds elements 0..9,999; the target 9,000..18,999, so a tenth of the copied names exist there.
void CopySkipAll(benchmark::State& state) {
    const std::string source = bench::EmissionFolder(kCopied);
    const std::string targetTemplate = bench::CacheFolder("copy-target-template");
    if (!fs::exists(targetTemplate + "done")) {
        bench::CacheFolder("copy-target-template", true);
        bench::AddEmissionElements(targetTemplate, kCopied - kCopied / 10, kCopied);
        std::ofstream(targetTemplate + "done") << "1\n";
    }
    double engine = 0;
    bench::TPlainInsert plain;
    std::int64_t added = 0;
    for (auto _ : state) {
        const std::string target = bench::CacheFolder("copy-target", true);
        bench::CopyLibrary(bench::EmissionFile(targetTemplate), target);
        std::ostringstream out, err;
        {
            cli::TLibSession session(kEmissionLibType, out, err, SkipAll());
            const int src = session.Open(source, false);
            const int dst = session.Open(target, false);
            TCustomLibForm& editor = session.Editor();
            editor.TabLibs().SetTabIndex(src);
            const std::int64_t before = session.Table(dst).RecordCount();
            const auto t0 = Clock::now();
            editor.DBList().ClearSelection();
            editor.DBList().SelectAll();
            editor.CopyElement(editor, dst);
            engine += Seconds(Clock::now() - t0);
            added = session.Table(dst).RecordCount() - before;
        }
        if (added != kCopied - kCopied / 10)
            state.SkipWithError("the copy did not skip exactly the existing names");
        // Plain: read the source rows, look each name key up in the target, insert the missing ones.
        const auto t0 = Clock::now();
        const bench::TPlainRows rows = bench::ReadPlainRows(bench::EmissionFile(source), MainTable(), false);
        const double read = Seconds(Clock::now() - t0);
        const bench::TPlainInsert p =
            bench::PlainInsert(rows, bench::EmissionFile(targetTemplate), "_ck_ElementName");
        plain.Seconds += read + p.Seconds;
        plain.Inserted = p.Inserted;
    }
    Report(state, engine, plain, added);
}

// --- backup

void BackupWithGaps(benchmark::State& state) {
    const std::string source = bench::EmissionFolder(bench::Rows(), 3);
    const std::string backup = source + "libs_backup/";
    double engine = 0;
    bench::TPlainInsert plain;
    std::int64_t copied = 0;
    for (auto _ : state) {
        fs::remove_all(backup);
        std::ostringstream out, err;
        {
            cli::TLibSession session(kEmissionLibType, err, err);
            session.Open(source, false);
            const auto t0 = Clock::now();
            session.Editor().PerformBackup(backup);
            engine += Seconds(Clock::now() - t0);
            copied = session.Table(session.Editor().TabCount() - 1).RecordCount();
        }
        if (copied != bench::Rows())
            state.SkipWithError("the backup is not complete");
        const auto t0 = Clock::now();
        const bench::TPlainRows rows = bench::ReadPlainRows(bench::EmissionFile(source), MainTable(), true);
        const double read = Seconds(Clock::now() - t0);
        const bench::TPlainInsert p = bench::PlainInsert(rows);
        plain.Seconds += read + p.Seconds;
        plain.Inserted = p.Inserted;
    }
    fs::remove_all(backup);
    Report(state, engine, plain, copied);
}

// --- DOS library files

// The index, data and group files of the DOS generation: 10,000 elements in 20 groups.
std::string DosIndexFile() {
    const std::string folder = bench::CacheFolder("dos-" + std::to_string(kDosElements));
    const std::string index = folder + "EMISLIB.002";
    if (fs::exists(folder + "done"))
        return index;
    auto write = [](const std::string& file, const std::vector<TBlob>& records) {
        std::ofstream out(file, std::ios::binary);
        for (const TBlob& r : records)
            out.write(reinterpret_cast<const char*>(r.data()), static_cast<std::streamsize>(r.size()));
    };
    std::vector<TBlob> groups, data, entries;
    for (int g = 0; g < 20; ++g)
        groups.push_back(formats::EncodeDosGroupRecord("Gruppe " + std::to_string(g)));
    for (std::int64_t i = 0; i < kDosElements; ++i) {
        formats::TDosDataRecord d;
        for (int b = 0; b < formats::kDosThirdOctaves; ++b)
            d.ThirdOctaves[static_cast<std::size_t>(b)] = static_cast<float>(60 + (i + b) % 30);
        d.KennChar = {'A', 'A', ' ', ' '};
        d.Comment[0] = "Element " + std::to_string(i);
        data.push_back(formats::EncodeDosDataRecord(d));
        formats::TDosIndexRecord r;
        // DOS names are short and in the OEM code page: ASCII only here.
        r.Name = "Quelle " + std::to_string(i * 7919 % 100003) + "-" + std::to_string(i);
        r.Entry = static_cast<std::int16_t>(i + 1);
        r.Groups = {static_cast<std::uint8_t>(1 + i % 20), 0, 0, 0, 0, 0, 0, 0, 0, 0};
        entries.push_back(formats::EncodeDosIndexRecord(r));
    }
    write(formats::DosGroupFileName(index, kEmissionLibType), groups);
    write(formats::DosDataFileName(index, kEmissionLibType), data);
    write(index, entries);
    std::ofstream(folder + "done") << "1\n";
    return index;
}

void DosFolderImport(benchmark::State& state) {
    ImportIntoEmpty(state, "dos-target", DosIndexFile(), kDosElements);
}

// --- the directivity library's DOS file

constexpr int kDirectivityLibType = 119;

// RIWIS.DAT of Rows() directivities with names of their own, so that none is taken for a duplicate.
std::string RiwisFile() {
    const std::string folder = bench::CacheFolder("riwis-" + std::to_string(bench::Rows()));
    const std::string file = folder + "RIWIS.DAT";
    if (fs::exists(folder + "done"))
        return file;
    std::ofstream out(file, std::ios::binary);
    formats::TRiwisRecord r;
    for (std::int64_t i = 0; i < bench::Rows(); ++i) {
        r.Name = "Richtung " + std::to_string(i * 7919 % 1000003) + "-" + std::to_string(i);
        for (std::size_t k = 0; k < r.Werte.size(); ++k)
            r.Werte[k] = -static_cast<float>((i + static_cast<std::int64_t>(k)) % 25) / 2.0f;
        const TBlob b = formats::EncodeRiwisRecord(r);
        out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
    }
    out.close();
    std::ofstream(folder + "done") << "1\n";
    return file;
}

// An empty directivity library as the editor makes it; kept.
const std::string& EmptyDirectivityFile() {
    static const std::string file = [] {
        const std::string folder = bench::CacheFolder("directivity-empty", true);
        std::ostringstream out, err;
        cli::TLibSession session(kDirectivityLibType, out, err);
        session.Open(folder, true);
        return folder + LibName(kDirectivityLibType);
    }();
    return file;
}

void RiwisImport(benchmark::State& state) {
    const std::string file = RiwisFile();
    const std::string table = TableNames(kDirectivityLibType).front();
    double engine = 0;
    bench::TPlainInsert plain;
    std::int64_t imported = 0;
    for (auto _ : state) {
        const std::string folder = bench::CacheFolder("riwis-target", true);
        fs::copy_file(EmptyDirectivityFile(), folder + LibName(kDirectivityLibType));
        std::ostringstream out, err;
        const auto t0 = Clock::now();
        {
            cli::TLibSession session(kDirectivityLibType, out, err, SkipAll());
            const int tab = session.Open(folder, false);
            ShowTab(session, tab);
            session.Editor().ImportFile(file);
            imported = session.Table(tab).RecordCount();
        }
        engine += Seconds(Clock::now() - t0);
        if (imported != bench::Rows())
            state.SkipWithError("the import did not take every directivity");
        const bench::TPlainRows same =
            bench::ReadPlainRows(folder + LibName(kDirectivityLibType), table, false);
        const bench::TPlainInsert p = bench::PlainInsert(same, EmptyDirectivityFile());
        plain.Seconds += p.Seconds;
        plain.Inserted = p.Inserted;
    }
    Report(state, engine, plain, imported);
}

BENCHMARK(ImportTextTable)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(CopySkipAll)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BackupWithGaps)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(DosFolderImport)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(RiwisImport)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    bench::SetRows(100000);
    bench::TakeRowsFlag(argc, argv);
    // The benchmark folder holds the settings file the editors read and write, apart from the person's.
    bench::CacheFolder("settings");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
