// The main loop when nothing happens.
#include "benchmarks/benchmarks.h"
#include "benchmarks/idle_loop.h"

#include <benchmark/benchmark.h>

void registerLoopBenchmarks()
{
    benchmark::RegisterBenchmark("idle iteration", [](benchmark::State& state) {
        IdleLoop loop(IdleLoop::Screen::menu);
        for ([[maybe_unused]] auto _ : state) {
            loop.iterate();
        }
    });
}
