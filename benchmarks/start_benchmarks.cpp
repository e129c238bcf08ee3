// What happens once, before the first screen.
#include "benchmarks/benchmarks.h"
#include "graphics/font.h"
#include "graphics/image_store.h"

#include <benchmark/benchmark.h>

void registerStartBenchmarks()
{
    benchmark::RegisterBenchmark("image store and three fonts", [](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            // The screens hold copies of their own, and look fonts up by name.
            imageStore.clear();
            fontRegistry.clear();
            buildImageStore();
            buildFont("font8", "img/font8", 1, 2, 1);
            buildFont("font16", "img/font8", 2, 4, 2);
            buildFont("font64", "img/font8", 8, 16, 8);
        }
    });
}
