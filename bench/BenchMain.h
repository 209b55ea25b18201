// The main program every benchmark program shares once it has registered its
// benchmarks.
#ifndef LUMBREL_BENCH_BENCHMAIN_H
#define LUMBREL_BENCH_BENCHMAIN_H

#include <benchmark/benchmark.h>

namespace bench {

inline int runBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench

#endif  // LUMBREL_BENCH_BENCHMAIN_H
