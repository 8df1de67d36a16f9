#pragma once

// What the benchmarks share: the generated libraries (built once per size and kept in the temporary folder),
// the --rows flag, the plain SQLite side of bulk work, and the report of a figure beside its plain work.

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace korvel::bench {

using Clock = std::chrono::steady_clock;

// Number of elements in the library; 1,000,000 unless --rows=N was given.
std::int64_t Rows();
void SetRows(std::int64_t rows);
// Takes --rows=N out of argv (it is not one of Google Benchmark's flags).
void TakeRowsFlag(int& argc, char** argv);

// The name of element i: an order unrelated to the numbers, mixed case and a few non-ASCII letters.
std::string ElementName(std::int64_t i);
// The cursor benchmark's library file: table "EmisX" with the number and the case-insensitive name index,
// Rows() elements (name, comment, group number, 176-byte spectrum blob). The engine declares the table; rows
// go in with one prepared statement.
const std::string& Library();

// --- sound-power libraries as the sound editor makes them

// A folder below the benchmarks' temporary folder, with a trailing separator; emptied first when fresh.
std::string CacheFolder(const std::string& name, bool fresh = false);
// The sound-power library file in a folder.
std::string EmissionFile(const std::string& folder);
// Copies a library file into folder under the kind's file name, replacing what is there.
void CopyLibrary(const std::string& file, const std::string& folder);
// Adds elements first..first+count-1 (named ElementName(i), third-octave spectra, two of 16 groups) to the
// sound-power library in folder, made by the sound editor when missing. Element i gets the number
// 1 + i * numberStep, so a step above 1 leaves gaps. The groups go in through the editor, the elements
// through the main table and the spectrum objects, all elements in one transaction.
void AddEmissionElements(const std::string& folder, std::int64_t first, std::int64_t count,
                         int numberStep = 1);
// The folder of a library of rows elements built by AddEmissionElements; built once and kept.
std::string EmissionFolder(std::int64_t rows, int numberStep = 1);
// An empty sound-power library made by the sound editor; kept.
const std::string& EmptyEmissionFile();

// --- the plain SQLite side of bulk work

struct TPlainValue {
    int Type = 0; // SQLITE_INTEGER .. SQLITE_NULL
    std::int64_t Int = 0;
    double Real = 0;
    std::string Bytes;
};
struct TPlainRows {
    std::string Table;
    std::vector<std::string> Columns; // every column of the table, rowid first when numbered
    std::vector<std::vector<TPlainValue>> Rows;
};
// The rows of a table as SQLite stores them (every column, hidden sort keys included), optionally limited by
// a condition; withNumber keeps the number column (Eintrag), else it is left to AUTOINCREMENT.
TPlainRows ReadPlainRows(const std::string& file, const std::string& table, bool withNumber,
                         const std::string& where = "");
// Inserts the rows into a fresh copy of a library file (the empty sound-power library unless given): a new
// connection with the engine's journal settings, one prepared statement, one transaction. With a key column,
// a row whose value of it is in the table already is skipped (looked up with a prepared statement). Returns
// the seconds it took and the rows inserted.
struct TPlainInsert {
    double Seconds = 0;
    std::int64_t Inserted = 0;
};
TPlainInsert PlainInsert(const TPlainRows& rows, const std::string& templateFile = "",
                         const std::string& keyColumn = "");

// Resident and peak memory of this process (VmRSS, VmHWM from /proc/self/status) in MB.
double ResidentMb();
double PeakMb();

double Seconds(Clock::duration d);
// Runs both sides of a figure, the other one first each time, so neither always finds the caches warm.
void RunBoth(bool& engineFirst, const std::function<void()>& engine, const std::function<void()>& plain);
// engine_ms, sqlite_ms and their ratio per iteration.
void ReportRatio(benchmark::State& state, double engine, double plain);

} // namespace korvel::bench
