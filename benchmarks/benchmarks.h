// What is timed. Each of these registers its benchmarks, under the names that the table's rows refer to.
#pragma once

void registerDrawingBenchmarks();
void registerStartBenchmarks();
void registerLoopBenchmarks();
void registerGrowthBenchmarks();
