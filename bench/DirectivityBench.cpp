// Interpolation of a measured loudspeaker-like directivity: the full 3D fit of 300 harmonics to about 2000
// directions on a 5 degree grid for 31 third-octave bands, and, for scale, a cubic spline of a horizontal
// one. The editor recomputes on every settings change, so the full fit should stay below half a second in a
// release build.
//
//   build/release/bench/bench_directivity

#include "platform/acoustic/Directivity.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>

namespace {

using namespace korvel::acoustic;

constexpr double kDeg = std::numbers::pi / 180.0;

// Evenly spread directions (a Fibonacci lattice) with a beam that narrows as the band rises.
TDirectivity Measured(TDirType type, int directions) {
    TDirectivity d;
    d.SetDirType(type);
    d.SetSpecType(TSpecType::ThirdOctave);
    d.SetBMinBMax(13, 43);
    d.SetStep(5, 5);
    const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
    for (int i = 0; i < directions; ++i) {
        const double z = 1.0 - 2.0 * (i + 0.5) / directions;
        const double theta = type == TDirType::Horizontal ? 90.0 : std::acos(z) / kDeg;
        const double phi =
            std::fmod(type == TDirType::Horizontal ? 360.0 * i / directions : golden * i / kDeg, 360.0);
        const double cosAxis = std::sin(theta * kDeg) * std::cos(phi * kDeg);
        TSampleItem& s = d.AddSample(theta, phi);
        for (int b = 0; b < d.BandCount(); ++b)
            s.Values[static_cast<std::size_t>(b)] = std::max(
                -30.0, 10.0 * std::log10(std::max(1e-3, std::pow(0.5 + 0.5 * cosAxis, 1.0 + b / 6.0))));
    }
    return d;
}

void BM_FullFit(benchmark::State& state) {
    const TDirectivity measured = Measured(TDirType::Full3D, 2000);
    if (measured.BandCount() != 31)
        state.SkipWithError("expected 31 third-octave bands");
    for (auto _ : state) {
        TDirectivity d = measured;
        d.Interpolate(TSplineType::Cubic, static_cast<int>(state.range(0)));
        benchmark::DoNotOptimize(d.GetItem(0).dLtot);
    }
}
BENCHMARK(BM_FullFit)->Arg(30)->Arg(300)->Unit(benchmark::kMillisecond);

void BM_HorizontalSpline(benchmark::State& state) {
    const TDirectivity measured = Measured(TDirType::Horizontal, 72);
    for (auto _ : state) {
        TDirectivity d = measured;
        d.Interpolate(static_cast<TSplineType>(state.range(0)), 3);
        benchmark::DoNotOptimize(d.GetItem(0).dLtot);
    }
}
BENCHMARK(BM_HorizontalSpline)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
