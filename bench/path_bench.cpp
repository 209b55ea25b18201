// Parsing cost of File::Path: absolute text is only split; relative text is
// also joined to the executable's directory and resolved. The relative case is
// measured with the real process file name (a system call per parse) and with
// a fixed one, which leaves the library's own work.
#include <benchmark/benchmark.h>

#include "BenchMain.h"
#include "file/FullPath.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"

namespace {

class FixedProcess : public Lumbrel::platform::PlatformWrapper {
 public:
  Lumbrel::wstring processFileName() override {
    return Lumbrel::make_wstring("D:\\svc\\bin\\agent.exe");
  }
};

const Lumbrel::wstring kAbsolute = Lumbrel::make_wstring("C:\\data\\logs\\2024\\agent\\run.log");
const Lumbrel::wstring kRelative = Lumbrel::make_wstring("..\\data\\logs\\.\\agent\\run.log");

void absolute(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::File::Path(kAbsolute));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void relative(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::File::Path(kRelative));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void relativeFixedProcess(benchmark::State& state) {
  FixedProcess process;
  Lumbrel::platform::ScopedPlatform installed(process);
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::File::Path(kRelative));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void resolveOnly(benchmark::State& state) {
  const Lumbrel::wstring joined = Lumbrel::make_wstring("D:\\svc\\bin\\") + kRelative;
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::filepath::fullPath(joined));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("path/parse_absolute/lumbrel", absolute);
  benchmark::RegisterBenchmark("path/parse_relative/lumbrel", relative);
  benchmark::RegisterBenchmark("path/parse_relative_fixed_process/lumbrel", relativeFixedProcess);
  benchmark::RegisterBenchmark("path/resolve_only/lumbrel", resolveOnly);
  return bench::runBenchmarks(argc, argv);
}
