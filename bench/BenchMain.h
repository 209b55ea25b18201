// The main program every benchmark program shares once it has registered its
// benchmarks.
#ifndef LUMBREL_BENCH_BENCHMAIN_H
#define LUMBREL_BENCH_BENCHMAIN_H

#include <benchmark/benchmark.h>

#include "PeakMemory.h"

namespace bench {

inline int runBenchmarks(int argc, char** argv) {
  // A child run for one memory case measures that and nothing else.
  int status = 0;
  if (memoryChild(argc, argv, status)) return status;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench

#endif  // LUMBREL_BENCH_BENCHMAIN_H
