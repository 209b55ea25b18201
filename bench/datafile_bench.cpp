// The record store beside plain stdio on the same bytes (impl `plain`), in
// bytes of records per second (keys of 16 units, 64 bytes of data: 104 bytes
// a record).
//
// open_close_N_records: open for reading and writing and close, which reads
// the file whole and writes it whole; plain reads it with one fread, removes
// it and writes it anew with one fwrite, the least a store that replaces its
// file can do. Like the store, it reads into a fresh buffer each time.
// open_close_N_records_crash_safe: the same with SaveMode::CRASH_SAFE, which
// writes a temporary, flushes it to the disk and renames it over the file:
// its cost beside the save in place is the price of that promise.
// open_read_only_N_records: the same without the write; plain freads.
// insert_N: N inserts of distinct keys in memory; plain fwrites the bytes of
// such a file. remove_N removes every record by key from the front and
// insert_after_listing_N inserts after every record was handed out: neither
// may make the store walk its records.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "BenchFiles.h"
#include "BenchMain.h"
#include "lumbrel/DataFile.h"

namespace {

using bench::directory;
using bench::libraryName;
using Lumbrel::DataFile;
using Lumbrel::File;

constexpr std::size_t kRecordBytes = 4 + 32 + 4 + 64;

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
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(n * kRecordBytes));
}

void openClose(benchmark::State& state, std::size_t n, Lumbrel::SaveMode mode) {
  const File::Path path(libraryName(dataFile(n)));
  for (auto _ : state) {
    DataFile file(path);
    file.setSaveMode(mode);
    file.open(File::MODE_READ | File::MODE_WRITE);
    if (file.size() != n) state.SkipWithError("wrong record count");
    file.close();
  }
  report(state, n);
}

void BM_OpenClose(benchmark::State& state, std::size_t n) {
  openClose(state, n, Lumbrel::SaveMode::IN_PLACE);
}

void BM_OpenCloseCrashSafe(benchmark::State& state, std::size_t n) {
  openClose(state, n, Lumbrel::SaveMode::CRASH_SAFE);
}

void BM_OpenReadOnly(benchmark::State& state, std::size_t n) {
  const File::Path path(libraryName(dataFile(n)));
  for (auto _ : state) {
    DataFile file(path);
    file.open(File::MODE_READ);
    file.close();
  }
  report(state, n);
}

void BM_PlainReadRewrite(benchmark::State& state, std::size_t n) {
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

void BM_PlainRead(benchmark::State& state, std::size_t n) {
  const std::string native = dataFile(n);
  for (auto _ : state) {
    std::unique_ptr<char[]> bytes(new char[n * kRecordBytes]);
    std::FILE* in = std::fopen(native.c_str(), "rb");
    benchmark::DoNotOptimize(std::fread(bytes.get(), 1, n * kRecordBytes, in));
    std::fclose(in);
  }
  report(state, n);
}

void BM_Insert(benchmark::State& state, std::size_t n) {
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

// The bytes of a file of n records, written with one fwrite.
void BM_PlainWrite(benchmark::State& state, std::size_t n) {
  std::vector<char> bytes(n * kRecordBytes);
  std::FILE* in = std::fopen(dataFile(n).c_str(), "rb");
  if (std::fread(bytes.data(), 1, bytes.size(), in) != bytes.size())
    state.SkipWithError("short file");
  std::fclose(in);
  const std::string native = directory() + "/plain-write-" + std::to_string(n);
  for (auto _ : state) {
    std::FILE* out = std::fopen(native.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
  }
  std::remove(native.c_str());
  report(state, n);
}

// Removal by key of every record, from the front, so that a store that
// shifted its records on each removal would show it.
void BM_Remove(benchmark::State& state, std::size_t n) {
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
void BM_InsertAfterListing(benchmark::State& state, std::size_t n) {
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

void add(const char* name, void (*function)(benchmark::State&, std::size_t), std::size_t n) {
  benchmark::RegisterBenchmark(name, function, n)->Unit(benchmark::kMillisecond);
}

void registerAll() {
  add("datafile/open_close_100000_records/lumbrel", BM_OpenClose, 100000);
  add("datafile/open_close_100000_records/plain", BM_PlainReadRewrite, 100000);
  add("datafile/open_close_100000_records_crash_safe/lumbrel", BM_OpenCloseCrashSafe, 100000);
  add("datafile/open_read_only_100000_records/lumbrel", BM_OpenReadOnly, 100000);
  add("datafile/open_read_only_100000_records/plain", BM_PlainRead, 100000);
  add("datafile/insert_10000/lumbrel", BM_Insert, 10000);
  add("datafile/insert_100000/lumbrel", BM_Insert, 100000);
  add("datafile/insert_100000/plain", BM_PlainWrite, 100000);
  add("datafile/insert_1000000/lumbrel", BM_Insert, 1000000);
  add("datafile/remove_10000/lumbrel", BM_Remove, 10000);
  add("datafile/remove_100000/lumbrel", BM_Remove, 100000);
  add("datafile/insert_after_listing_100000/lumbrel", BM_InsertAfterListing, 100000);
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
