// Memory that reading a file costs: the peak resident set an operation adds
// to a process, per byte of the file. So that nothing the benchmark program
// made before counts (its corpora, its other cases), each measurement runs
// the program again as a child, `<program> --peak-memory=<case> <file>`: the
// child resets its peak, notes its resident set, runs the case and prints
// the peak it reached above that. The case's objects may be gone by then:
// the peak stays.
//
// A case is a benchmark row like any other, `<family>/<operation>/<impl>`,
// whose figure is the counter `peak_per_byte` (lower is better).
#ifndef LUMBREL_BENCH_PEAKMEMORY_H
#define LUMBREL_BENCH_PEAKMEMORY_H

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

namespace bench {

// Runs the measured operation on the file named natively.
using MemoryCase = std::function<void(const std::string& native)>;

inline std::map<std::string, MemoryCase>& memoryCases() {
  static std::map<std::string, MemoryCase> cases;
  return cases;
}

// A field of /proc/self/status in bytes, such as "VmHWM:"; 0 if absent.
inline long long statusBytes(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, std::strlen(field), field) == 0)
      return 1024 * std::atoll(line.c_str() + std::strlen(field));
  }
  return 0;
}

// In the child: runs the case and prints the peak it added, in bytes.
inline int runMemoryCase(const std::string& name, const std::string& native) {
  const auto found = memoryCases().find(name);
  if (found == memoryCases().end()) return 2;
  {
    // 5 resets the peak to the present resident set.
    std::ofstream("/proc/self/clear_refs") << "5";
  }
  const long long before = statusBytes("VmRSS:");
  found->second(native);
  const long long peak = statusBytes("VmHWM:");
  std::printf("%lld\n", peak - before);
  return 0;
}

// If this process is a child run for one memory case, runs it and gives
// true with the exit status in `status`.
inline bool memoryChild(int argc, char** argv, int& status) {
  const std::string flag = "--peak-memory=";
  if (argc != 3 || std::strncmp(argv[1], flag.c_str(), flag.size()) != 0) return false;
  status = runMemoryCase(argv[1] + flag.size(), argv[2]);
  return true;
}

inline std::string quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// Runs the case in a child; the peak it added in bytes, or -1.
inline long long measureInChild(const std::string& name, const std::string& native) {
  char self[4096];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return -1;
  self[length] = '\0';
  const std::string command =
      quoted(self) + " " + quoted("--peak-memory=" + name) + " " + quoted(native);
  std::FILE* child = ::popen(command.c_str(), "r");
  if (child == nullptr) return -1;
  long long added = -1;
  if (std::fscanf(child, "%lld", &added) != 1) added = -1;
  if (::pclose(child) != 0) added = -1;
  return added;
}

// Registers the case `name` on the file that `file` makes (once, in the
// measuring process) and names natively, of `size` bytes.
template <typename MakeFile>
void registerPeakMemory(const std::string& name, MakeFile file, MemoryCase run) {
  memoryCases()[name] = std::move(run);
  benchmark::RegisterBenchmark(name.c_str(),
                               [name, file](benchmark::State& state) {
                                 const auto& [native, size] = file();
                                 long long added = -1;
                                 for (auto _ : state) added = measureInChild(name, native);
                                 if (added < 0) state.SkipWithError("the child failed");
                                 state.counters["peak_per_byte"] =
                                     static_cast<double>(added) / static_cast<double>(size);
                               })
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace bench

#endif  // LUMBREL_BENCH_PEAKMEMORY_H
