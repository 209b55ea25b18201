// Throughput of the two settings stores, in bytes of file per second: open
// with read and write bits (read, parse, sort) followed by close (format,
// replace the file), on a sectioned file of 100,000 key lines in 1,000
// sections (as the store writes it, sorted, and as a person would, unsorted)
// and on a flat file of 100,000 lines; and the line reader alone.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "lumbrel/InitializationFile.h"
#include "lumbrel/PropertyFile.h"
#include "store/SettingsFormat.h"

namespace {

constexpr int kSections = 1000;
constexpr int kKeysPerSection = 100;
constexpr int kLines = kSections * kKeysPerSection;

std::string sectionedContent() {
  std::string text;
  for (int s = 0; s < kSections; ++s) {
    text += "[section" + std::to_string(s) + "]\n";
    for (int k = 0; k < kKeysPerSection; ++k) {
      text += "setting" + std::to_string(k) + " = value number " + std::to_string(s * 7 + k) + "\n";
    }
  }
  return text;
}

std::string flatContent() {
  std::string text;
  for (int i = 0; i < kLines; ++i) {
    text +=
        "program.setting." + std::to_string(i) + "=value number " + std::to_string(i * 7) + "\n";
  }
  return text;
}

// A file in the temporary folder, with its library name.
class BenchFile {
 public:
  explicit BenchFile(const std::string& content) {
    char pattern[] = "/tmp/lumbrel-bench-XXXXXX";
    const int fd = ::mkstemp(pattern);
    if (fd < 0) std::abort();
    native_ = pattern;
    rewrite(content);
    size_ = content.size();
  }
  ~BenchFile() { std::remove(native_.c_str()); }
  BenchFile(const BenchFile&) = delete;
  BenchFile& operator=(const BenchFile&) = delete;

  void rewrite(const std::string& content) const {
    std::ofstream(native_, std::ios::binary | std::ios::trunc) << content;
  }
  // `Z:\tmp\...`: File::Path takes only a backslash after the volume as absolute.
  Lumbrel::wstring name() const {
    std::string windows = "Z:";
    for (char c : native_) windows += c == '/' ? '\\' : c;
    return Lumbrel::make_wstring(windows);
  }
  std::size_t size() const { return size_; }

 private:
  std::string native_;
  std::size_t size_ = 0;
};

void initializationFileOpenClose(benchmark::State& state) {
  const BenchFile file(sectionedContent());
  for (auto _ : state) {
    Lumbrel::InitializationFile store(Lumbrel::File::Path(file.name()));
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_WRITE);
    store.close();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file.size()));
  state.counters["file_bytes"] = static_cast<double>(file.size());
}

// The same on a file in the order a person writes it, which open must sort.
void initializationFileOpenCloseUnsorted(benchmark::State& state) {
  const std::string content = sectionedContent();
  const BenchFile file(content);
  for (auto _ : state) {
    state.PauseTiming();
    file.rewrite(content);
    state.ResumeTiming();
    Lumbrel::InitializationFile store(Lumbrel::File::Path(file.name()));
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_WRITE);
    store.close();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file.size()));
}

void propertyFileOpenClose(benchmark::State& state) {
  const BenchFile file(flatContent());
  for (auto _ : state) {
    Lumbrel::PropertyFile store(Lumbrel::File::Path(file.name()));
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_WRITE);
    store.close();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file.size()));
  state.counters["file_bytes"] = static_cast<double>(file.size());
}

void parseOnly(benchmark::State& state, Lumbrel::store::SettingsLayout layout) {
  const std::string bytes =
      layout == Lumbrel::store::SettingsLayout::Sectioned ? sectionedContent() : flatContent();
  for (auto _ : state) {
    Lumbrel::store::SettingsReader reader(bytes.data(), bytes.size(), layout);
    std::size_t entries = 0;
    while (reader.next()) ++entries;
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}

BENCHMARK(initializationFileOpenClose)->Unit(benchmark::kMillisecond);
BENCHMARK(initializationFileOpenCloseUnsorted)->Unit(benchmark::kMillisecond);
BENCHMARK(propertyFileOpenClose)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parseOnly, sectioned, Lumbrel::store::SettingsLayout::Sectioned)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parseOnly, flat, Lumbrel::store::SettingsLayout::Flat)
    ->Unit(benchmark::kMillisecond);

}  // namespace
