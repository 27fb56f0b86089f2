/*
 * bench_timing.h - the best of n runs of a piece of work on one clock, for
 * the tables the benchmarks print beside their peers. CLOCK_THREAD_CPUTIME_ID
 * (or the process's CPU clock, for work that starts threads) leaves out the
 * time other programs take the processor away on a shared machine;
 * CLOCK_MONOTONIC is wall time. bench_main is the main() the programs share.
 */
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>

namespace {

inline double clock_seconds(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Seconds of the fastest of n runs of fn() on `clock`.
template <class F>
double best_seconds(clockid_t clock, int n, F fn) {
    double best = 1e30;
    for (int i = 0; i < n; ++i) {
        const double t0 = clock_seconds(clock);
        fn();
        best = std::min(best, clock_seconds(clock) - t0);
    }
    return best;
}

template <class F>
double best_ms(clockid_t clock, int n, F fn) {
    return best_seconds(clock, n, fn) * 1e3;
}

// The main() of a benchmark program: runs the benchmarks the command line
// selects, then peers() (the table beside the peer). Returns main's result,
// 1 for arguments Google Benchmark does not know (then peers() is not run).
template <class F>
int bench_main(int argc, char **argv, F peers) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    peers();
    return 0;
}

}  // namespace
