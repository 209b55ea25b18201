// The record store against plain stdio on the same bytes: open and close of a
// file of N records (keys of 16 units, 64 bytes of data: 104 bytes a record),
// which reads the file whole and writes it whole, and N inserts of distinct
// keys in memory. Plain I/O reads the file with fread, removes it and writes
// it anew with fwrite, which is the least a store that replaces its file can
// do. Like the store, it reads into a fresh buffer each time. Removal by key
// shows that neither insert nor remove walks the records, and inserts after a
// listing that listing does not make them walk.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "lumbrel/DataFile.h"

namespace {

using Lumbrel::DataFile;
using Lumbrel::File;

constexpr std::size_t kRecordBytes = 4 + 32 + 4 + 64;

std::string directory() {
  static const std::string path = [] {
    std::string pattern = "/tmp/lumbrel-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }();
  return path;
}

Lumbrel::wstring libraryName(const std::string& native) {
  std::string windows = "Z:";
  for (char c : native) windows += c == '/' ? '\\' : c;
  return Lumbrel::make_wstring(windows);
}

Lumbrel::wstring key(std::size_t i) {
  // 16 units: "key-" and twelve digits.
  Lumbrel::wstring text = Lumbrel::make_wstring("key-000000000000");
  for (std::size_t at = text.size(); i != 0 && at > 4; i /= 10)
    text[--at] = static_cast<unsigned short>('0' + i % 10);
  return text;
}

std::vector<DataFile::Record> records(std::size_t n) {
  std::vector<DataFile::Record> out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i)
    out.emplace_back(key(i), std::vector<unsigned char>(64, static_cast<unsigned char>(i)));
  return out;
}

// A data file of n records, made once per size.
std::string dataFile(std::size_t n) {
  const std::string native = directory() + "/records-" + std::to_string(n);
  std::FILE* probe = std::fopen(native.c_str(), "rb");
  if (probe != nullptr) {
    std::fclose(probe);
    return native;
  }
  DataFile file{File::Path(libraryName(native))};
  file.open(File::MODE_WRITE);
  for (const auto& record : records(n)) file.insert(record);
  file.close();
  return native;
}

void report(benchmark::State& state, std::size_t n) {
  state.counters["records/s"] =
      benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(n * kRecordBytes));
}

void BM_OpenClose(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const File::Path path(libraryName(dataFile(n)));
  for (auto _ : state) {
    DataFile file(path);
    file.open(File::MODE_READ | File::MODE_WRITE);
    if (file.size() != n) state.SkipWithError("wrong record count");
    file.close();
  }
  report(state, n);
}

void BM_OpenReadOnly(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const File::Path path(libraryName(dataFile(n)));
  for (auto _ : state) {
    DataFile file(path);
    file.open(File::MODE_READ);
    file.close();
  }
  report(state, n);
}

void BM_PlainReadRewrite(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const std::string native = dataFile(n);
  for (auto _ : state) {
    std::unique_ptr<char[]> bytes(new char[n * kRecordBytes]);
    std::FILE* in = std::fopen(native.c_str(), "rb");
    const std::size_t got = std::fread(bytes.get(), 1, n * kRecordBytes, in);
    std::fclose(in);
    std::remove(native.c_str());
    std::FILE* out = std::fopen(native.c_str(), "wb");
    std::fwrite(bytes.get(), 1, got, out);
    std::fclose(out);
  }
  report(state, n);
}

void BM_PlainRead(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const std::string native = dataFile(n);
  for (auto _ : state) {
    std::unique_ptr<char[]> bytes(new char[n * kRecordBytes]);
    std::FILE* in = std::fopen(native.c_str(), "rb");
    benchmark::DoNotOptimize(std::fread(bytes.get(), 1, n * kRecordBytes, in));
    std::fclose(in);
  }
  report(state, n);
}

void BM_Insert(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const std::vector<DataFile::Record> source = records(n);
  for (auto _ : state) {
    DataFile file;
    for (const auto& record : source) file.insert(record);
    state.PauseTiming();
    file.close();  // dropping the records is not what is measured
    state.ResumeTiming();
  }
  report(state, n);
}

// Removal by key of every record, from the front, so that a store that
// shifted its records on each removal would show it.
void BM_Remove(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const std::vector<DataFile::Record> source = records(n);
  for (auto _ : state) {
    state.PauseTiming();
    DataFile file;
    for (const auto& record : source) file.insert(record);
    state.ResumeTiming();
    for (const auto& record : source) file.remove(record);
    if (file.size() != 0) state.SkipWithError("records left");
  }
  report(state, n);
}

// A store of n records listed through operator[] (every record handed out,
// so any of them may have its key changed), then n more inserts: listing must
// not make later searches walk the records.
void BM_InsertAfterListing(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const std::vector<DataFile::Record> source = records(2 * n);
  for (auto _ : state) {
    state.PauseTiming();
    DataFile file;
    for (std::size_t i = 0; i < n; ++i) file.insert(source[i]);
    state.ResumeTiming();
    for (unsigned long i = 0; i < file.size(); ++i) benchmark::DoNotOptimize(&file[i]);
    for (std::size_t i = n; i < 2 * n; ++i) file.insert(source[i]);
    if (file.size() != 2 * n) state.SkipWithError("wrong record count");
    state.PauseTiming();
    file.close();
    state.ResumeTiming();
  }
  report(state, n);
}

BENCHMARK(BM_OpenClose)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainReadRewrite)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenReadOnly)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainRead)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Insert)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Remove)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InsertAfterListing)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
