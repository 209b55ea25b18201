// The library beside peers that do the same job, where Debian packages them:
// libuuid for identifiers, utfcpp for UTF-8 and UTF-16, inih for settings
// text. Built when `LUMBREL_PEERS=1 scripts/setup` has installed them.
#include <INIReader.h>
#include <benchmark/benchmark.h>
#include <ini.h>
#include <utf8.h>
#include <uuid/uuid.h>

#include <iterator>
#include <string>

#include "lumbrel/Text.h"
#include "lumbrel/Uuid.h"
#include "store/SettingsFormat.h"

namespace {

// ---- Identifiers ----

void uuidGenerateLumbrel(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid());
}

void uuidGenerateLibuuid(benchmark::State& state) {
  uuid_t value;
  for (auto _ : state) {
    uuid_generate_random(value);
    benchmark::DoNotOptimize(value);
  }
}

void uuidFormatLumbrel(benchmark::State& state) {
  const Lumbrel::Uuid value;
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<std::string>(value));
}

void uuidFormatLibuuid(benchmark::State& state) {
  uuid_t value;
  uuid_generate_random(value);
  for (auto _ : state) {
    char text[37];
    uuid_unparse_lower(value, text);
    benchmark::DoNotOptimize(std::string(text));
  }
}

void uuidParseLumbrel(benchmark::State& state) {
  const std::string text = "00112233-4455-6677-8899-aabbccddeeff";
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid(text));
}

void uuidParseLibuuid(benchmark::State& state) {
  const std::string text = "00112233-4455-6677-8899-aabbccddeeff";
  for (auto _ : state) {
    uuid_t value;
    benchmark::DoNotOptimize(uuid_parse(text.c_str(), value));
  }
}

BENCHMARK(uuidGenerateLumbrel);
BENCHMARK(uuidGenerateLibuuid);
BENCHMARK(uuidFormatLumbrel);
BENCHMARK(uuidFormatLibuuid);
BENCHMARK(uuidParseLumbrel);
BENCHMARK(uuidParseLibuuid);

// ---- Text, in bytes of UTF-8 per second ----

std::string utf8Sample(unsigned short unit) {
  Lumbrel::wstring text(64 * 1024, unit);
  for (std::size_t i = 0; i < text.size(); i += 7) text[i] = static_cast<unsigned short>(unit + i % 5);
  return Lumbrel::make_string(text);
}

void decodeLumbrel(benchmark::State& state, unsigned short unit) {
  const std::string text = utf8Sample(unit);
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::make_wstring(text));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void decodeUtfcpp(benchmark::State& state, unsigned short unit) {
  const std::string text = utf8Sample(unit);
  for (auto _ : state) {
    std::u16string units;
    units.reserve(text.size());
    utf8::unchecked::utf8to16(text.begin(), text.end(), std::back_inserter(units));
    benchmark::DoNotOptimize(units);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void encodeLumbrel(benchmark::State& state, unsigned short unit) {
  const std::string text = utf8Sample(unit);
  const Lumbrel::wstring units = Lumbrel::make_wstring(text);
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::make_string(units));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void encodeUtfcpp(benchmark::State& state, unsigned short unit) {
  const std::string text = utf8Sample(unit);
  std::u16string units;
  utf8::unchecked::utf8to16(text.begin(), text.end(), std::back_inserter(units));
  for (auto _ : state) {
    std::string bytes;
    bytes.reserve(units.size());
    utf8::unchecked::utf16to8(units.begin(), units.end(), std::back_inserter(bytes));
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

BENCHMARK_CAPTURE(decodeLumbrel, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(decodeUtfcpp, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(decodeLumbrel, three_byte, static_cast<unsigned short>(0x4E00));
BENCHMARK_CAPTURE(decodeUtfcpp, three_byte, static_cast<unsigned short>(0x4E00));
BENCHMARK_CAPTURE(encodeLumbrel, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(encodeUtfcpp, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(encodeLumbrel, three_byte, static_cast<unsigned short>(0x4E00));
BENCHMARK_CAPTURE(encodeUtfcpp, three_byte, static_cast<unsigned short>(0x4E00));

// ---- Settings text: parsing 100,000 key lines in 1,000 sections ----

std::string settingsText() {
  std::string text;
  for (int s = 0; s < 1000; ++s) {
    text += "[section" + std::to_string(s) + "]\n";
    for (int k = 0; k < 100; ++k)
      text += "setting" + std::to_string(k) + " = value number " + std::to_string(s * 7 + k) + "\n";
  }
  return text;
}

void settingsParseLumbrel(benchmark::State& state) {
  const std::string text = settingsText();
  for (auto _ : state) {
    Lumbrel::store::SettingsReader reader(text.data(), text.size(),
                                          Lumbrel::store::SettingsLayout::Sectioned);
    std::size_t entries = 0;
    while (reader.next()) ++entries;
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

// inih hands out 8-bit text and keeps nothing; the count is all it does here.
void settingsParseInih(benchmark::State& state) {
  const std::string text = settingsText();
  for (auto _ : state) {
    std::size_t entries = 0;
    ini_parse_string(
        text.c_str(),
        [](void* user, const char*, const char*, const char*) {
          ++*static_cast<std::size_t*>(user);
          return 1;
        },
        &entries);
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

BENCHMARK(settingsParseLumbrel);
BENCHMARK(settingsParseInih);

}  // namespace
