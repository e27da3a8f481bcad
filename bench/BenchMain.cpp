// Benchmarks of the project. A name is FIGURE/SIDE or FIGURE/SIDE/SIZE: side "ours" is what we
// measure, side "yardstick" what it is held against in the same run.

#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
