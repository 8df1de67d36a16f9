#pragma once

// What the benchmarks share: the generated library of emission-like elements (built once per size and kept
// in the temporary folder), the --rows flag, and the report of a figure beside its plain SQLite work.

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <string>

namespace korvel::bench {

using Clock = std::chrono::steady_clock;

// Number of elements in the library; 1,000,000 unless --rows=N was given.
std::int64_t Rows();
// Takes --rows=N out of argv (it is not one of Google Benchmark's flags).
void TakeRowsFlag(int& argc, char** argv);

// The name of element i: an order unrelated to the numbers, mixed case and a few non-ASCII letters.
std::string ElementName(std::int64_t i);
// The library file: table "EmisX" with the number and the case-insensitive name index, Rows() elements
// (name, comment, group number, 176-byte spectrum blob). The engine declares the table; rows go in with one
// prepared statement.
const std::string& Library();

double Seconds(Clock::duration d);
// engine_ms, sqlite_ms and their ratio per iteration.
void ReportRatio(benchmark::State& state, double engine, double plain);

} // namespace korvel::bench
