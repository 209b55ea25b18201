// Conversion between 8-bit text (UTF-8) and wide text (UTF-16 units) beside
// other converters: `decode` is 8-bit to wide (make_wstring), `encode` wide to
// 8-bit (make_string). Each input is 1 MiB of 8-bit text made of ASCII, of
// two-byte or of three-byte characters, drawn with a fixed seed; the wide side
// is the same text, held in each converter's own string type. Every converter
// makes the whole converted string anew on each iteration and is checked once
// against the expected result. The rate counts input bytes: the 8-bit bytes
// for decode, two bytes a unit for encode. `memcpy` copies as many bytes into
// a buffer made beforehand: the bound that no conversion can beat.
//
// The pure corpora show each kind of form alone; real text mixes them, which
// the two prose corpora do as text does: `prose_two_byte` is paragraphs of
// Czech, Polish, German and French (ASCII letters with accented ones between)
// and of Russian (two-byte letters between ASCII spaces and punctuation);
// `prose_cjk` is Chinese with ASCII punctuation, digits and Latin names. Both
// are sentences drawn from word lists with a fixed seed.
//
// Names: text/<direction>_<input>_1MiB/<converter>.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <algorithm>
#include <codecvt>
#include <cstring>
#include <iterator>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "lumbrel/Text.h"

#if defined(LUMBREL_PEER_ICU)
#include <unicode/ustring.h>
#endif
#if defined(LUMBREL_PEER_UTFCPP)
#include <utf8.h>
#endif
#if defined(LUMBREL_PEER_POCO)
#include <Poco/UnicodeConverter.h>
#endif

namespace {

constexpr std::size_t kBytes = 1024 * 1024;

struct Input {
  const char* name;
  std::size_t bytesPerCharacter;
  unsigned first;
  unsigned last;
};

// Printable ASCII; Greek to Arabic; CJK ideographs (no surrogates in any).
const Input kInputs[] = {
    {"ascii", 1, 0x20, 0x7E},
    {"two_byte", 2, 0x370, 0x6FF},
    {"three_byte", 3, 0x4E00, 0x9FFF},
};

// Words of one language; paragraphs draw their sentences from one list.
struct Language {
  const char* const* words;
  std::size_t count;
  const char* separator;  // between words
};

const char* const kCzech[] = {
    "a", "se", "na", "je", "že", "v", "to", "byl", "jsem", "které", "když", "ještě", "před", "přes",
    "město", "řeka", "život", "léto", "večer", "ráno", "dívka", "chlapec", "příliš", "žluťoučký",
    "kůň", "úpěl", "ďábelské", "ódy", "hřbitov", "náměstí", "všechno", "člověk", "říkal", "dům",
    "srdce", "štěstí", "okno", "cesta", "dlouho", "potom"};
const char* const kPolish[] = {
    "i", "w", "nie", "się", "na", "że", "to", "jak", "ale", "jest", "był", "już", "tylko", "może",
    "miasto", "rzeka", "życie", "dziewczyna", "chłopiec", "zażółć", "gęślą", "jaźń", "książka",
    "ulica", "wieczór", "źródło", "pięć", "mówił", "dzień", "słońce", "serce", "okno", "droga",
    "długo", "później", "właśnie", "człowiek", "ręka", "głowa", "ziemia"};
const char* const kGerman[] = {
    "und", "die", "der", "das", "nicht", "ist", "mit", "auf", "für", "über", "schön", "Mädchen",
    "Straße", "größer", "hören", "Tür", "Bäume", "früh", "müde", "Fluss", "Stadt", "Leben",
    "Abend", "Morgen", "Hände", "spät", "Bücher", "Menschen", "wärmer", "Grüße", "dann", "noch",
    "immer", "wieder", "schon", "Weg", "Herz", "Fenster", "lange", "später"};
const char* const kFrench[] = {
    "le", "la", "les", "de", "et", "un", "une", "est", "dans", "pour", "été", "très", "où", "à",
    "déjà", "après", "fenêtre", "rivière", "château", "forêt", "élève", "garçon", "fillette",
    "matinée", "soirée", "cœur", "père", "mère", "frère", "même", "leçon", "reçu", "naïf", "goût",
    "hôtel", "vieux", "chemin", "longtemps", "ensuite", "toujours"};
const char* const kRussian[] = {
    "и", "в", "не", "на", "что", "он", "я", "с", "как", "а", "то", "это", "она", "по", "но",
    "они", "к", "у", "же", "вы", "за", "бы", "мы", "из", "так", "было", "от", "его", "все",
    "её", "мне", "когда", "только", "даже", "был", "сказал", "этот", "человек", "время",
    "жизнь", "день", "глаза", "рука", "дело", "раз", "лицо", "дом", "ещё", "нет", "уже", "может",
    "говорить", "большой", "новый", "первый", "хорошо", "теперь", "потом", "очень", "здесь",
    "между", "город", "река", "вечером", "утром", "девушка", "мальчик", "сердце", "окно",
    "дорога", "долго", "всегда", "снова", "земля", "голова", "улица", "солнце", "письмо"};
const char* const kChinese[] = {
    "我们", "他们", "这个", "那个", "时候", "没有", "什么", "知道", "自己", "一个", "已经", "可以",
    "因为", "所以", "但是", "如果", "现在", "以后", "中国", "北京", "上海", "学生", "老师", "朋友",
    "工作", "生活", "问题", "时间", "地方", "事情", "今天", "明天", "城市", "河流", "早上",
    "晚上", "眼睛", "心里", "说话", "看见", "回家", "出去", "进来", "觉得", "发现", "开始",
    "的", "了", "是", "在", "和", "有", "也", "就", "都", "很", "不", "人", "说", "去", "来",
    "大", "小", "年", "月", "日", "天"};

const Language kLatin[] = {{kCzech, std::size(kCzech), " "},
                           {kPolish, std::size(kPolish), " "},
                           {kGerman, std::size(kGerman), " "},
                           {kFrench, std::size(kFrench), " "}};
const Language kCyrillic{kRussian, std::size(kRussian), " "};
const Language kHan{kChinese, std::size(kChinese), ""};

// Latin names, digits and ASCII punctuation, as Chinese text mixes them in.
const char* const kAsciiInHan[] = {"2024", "3.5", "100", "GPS", "Linux", "Beijing", "(1)", "A4"};

// Sentences from `language` until `bytes` are made: words, a comma now and
// then, a full stop, and a line break every few sentences. Where the
// separator is a space, a sentence starts with a capital when its first
// letter is ASCII.
std::string prose(const Language* const* languages, std::size_t languageCount,
                  std::size_t bytes, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < bytes) {
    const Language& language = *languages[random() % languageCount];
    const bool spaced = *language.separator != 0;
    const std::size_t sentences = 3 + random() % 5;
    for (std::size_t s = 0; s < sentences; ++s) {
      const std::size_t words = 5 + random() % 12;
      for (std::size_t w = 0; w < words; ++w) {
        if (w > 0) text += language.separator;
        const std::size_t at = text.size();
        if (!spaced && random() % 10 == 0) {
          text += kAsciiInHan[random() % std::size(kAsciiInHan)];
        } else {
          text += language.words[random() % language.count];
        }
        if (w == 0 && spaced && text[at] >= 'a' && text[at] <= 'z') text[at] -= 'a' - 'A';
        if (w + 1 < words && random() % 7 == 0) text += ',';
      }
      text += spaced ? ". " : ".";
    }
    text += '\n';
  }
  // Cut at a character boundary, then pad with ASCII to the size.
  text.resize(bytes);
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end - 1]) & 0xC0) == 0x80) --end;
  if (end > 0 && static_cast<unsigned char>(text[end - 1]) >= 0xC0) --end;
  text.resize(end);
  text.resize(bytes, '.');
  return text;
}

// Well-formed UTF-8 of forms up to three bytes to units, written plainly so
// that it checks the converters rather than repeating one.
Lumbrel::wstring unitsOf(const std::string& text) {
  Lumbrel::wstring units;
  for (std::size_t i = 0; i < text.size();) {
    const unsigned b = static_cast<unsigned char>(text[i]);
    const auto next = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]) & 0x3Fu; };
    if (b < 0x80) {
      units.push_back(static_cast<unsigned short>(b));
      i += 1;
    } else if (b < 0xE0) {
      units.push_back(static_cast<unsigned short>(((b & 0x1Fu) << 6) | next(1)));
      i += 2;
    } else {
      units.push_back(static_cast<unsigned short>(((b & 0x0Fu) << 12) | (next(1) << 6) | next(2)));
      i += 3;
    }
  }
  return units;
}

struct Sample {
  std::string utf8;
  Lumbrel::wstring wide;
  std::u16string utf16;
#if defined(LUMBREL_PEER_POCO)
  Poco::UTF16String poco;
#endif
};

void fillPeerForms(Sample& sample) {
  sample.utf16.assign(sample.wide.begin(), sample.wide.end());
#if defined(LUMBREL_PEER_POCO)
  sample.poco.assign(sample.wide.begin(), sample.wide.end());
#endif
}

Sample proseSample(const Language* const* languages, std::size_t count, std::uint32_t seed) {
  Sample sample;
  sample.utf8 = prose(languages, count, kBytes, seed);
  sample.wide = unitsOf(sample.utf8);
  fillPeerForms(sample);
  return sample;
}

Sample makeSample(const Input& input, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<unsigned> pick(input.first, input.last);
  Sample sample;
  const std::size_t units = kBytes / input.bytesPerCharacter;
  sample.wide.reserve(units);
  for (std::size_t i = 0; i < units; ++i)
    sample.wide.push_back(static_cast<unsigned short>(pick(random)));
  sample.utf8 = Lumbrel::make_string(sample.wide);
  fillPeerForms(sample);
  return sample;
}

template <typename Units>
bool sameUnits(const Units& a, const Lumbrel::wstring& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(),
                    [](auto x, unsigned short y) { return static_cast<unsigned short>(x) == y; });
}

template <typename Convert>
void decode(benchmark::State& state, const Sample& sample, Convert convert) {
  if (!sameUnits(convert(sample.utf8), sample.wide)) state.SkipWithError("wrong conversion");
  for (auto _ : state) benchmark::DoNotOptimize(convert(sample.utf8));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(sample.utf8.size()));
}

template <typename Convert>
void encode(benchmark::State& state, const Sample& sample, Convert convert) {
  if (convert(sample) != sample.utf8) state.SkipWithError("wrong conversion");
  for (auto _ : state) benchmark::DoNotOptimize(convert(sample));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(2 * sample.wide.size()));
}

void copyBytes(benchmark::State& state, std::size_t bytes) {
  const std::vector<char> from(bytes, 'a');
  std::vector<char> to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// glibc's iconv, converting into a string sized for the worst case and then
// cut to length: one allocation, as the others make.
class Iconv {
 public:
  Iconv(const char* to, const char* from) : handle_(::iconv_open(to, from)) {}
  ~Iconv() { ::iconv_close(handle_); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;

  template <typename Out>
  Out convert(const void* in, std::size_t bytes, std::size_t capacity) {
    Out out(capacity, 0);
    ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    char* from = const_cast<char*>(static_cast<const char*>(in));
    std::size_t fromLeft = bytes;
    char* to = reinterpret_cast<char*>(&out[0]);
    std::size_t toLeft = capacity * sizeof(out[0]);
    if (::iconv(handle_, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1))
      return Out();
    out.resize(capacity - toLeft / sizeof(out[0]));
    return out;
  }

 private:
  iconv_t handle_;
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
// std::wstring_convert is deprecated without a replacement; it is measured
// because programs still use it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
using StdConverter = std::wstring_convert<std::codecvt_utf8_utf16<char16_t>, char16_t>;

std::u16string stdDecode(const std::string& in) {
  static StdConverter converter;
  return converter.from_bytes(in);
}

std::string stdEncode(const std::u16string& in) {
  static StdConverter converter;
  return converter.to_bytes(in);
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

void registerAll() {
  static std::vector<Sample> samples;
  std::vector<std::string> names;
  std::uint32_t seed = 20240607;
  for (const Input& input : kInputs) {
    samples.push_back(makeSample(input, seed++));
    names.push_back(input.name);
  }
  const Language* const twoByte[] = {&kLatin[0], &kLatin[1], &kLatin[2], &kLatin[3],
                                     &kCyrillic, &kCyrillic, &kCyrillic, &kCyrillic};
  samples.push_back(proseSample(twoByte, std::size(twoByte), seed++));
  names.push_back("prose_two_byte");
  const Language* const han[] = {&kHan};
  samples.push_back(proseSample(han, std::size(han), seed++));
  names.push_back("prose_cjk");

  for (std::size_t i = 0; i < samples.size(); ++i) {
    const Sample& sample = samples[i];
    const std::string decodeName = "text/decode_" + names[i] + "_1MiB/";
    const std::string encodeName = "text/encode_" + names[i] + "_1MiB/";
    const auto addDecode = [&](const char* impl, auto convert) {
      benchmark::RegisterBenchmark((decodeName + impl).c_str(),
                                   [&sample, convert](benchmark::State& state) {
                                     decode(state, sample, convert);
                                   });
    };
    const auto addEncode = [&](const char* impl, auto convert) {
      benchmark::RegisterBenchmark((encodeName + impl).c_str(),
                                   [&sample, convert](benchmark::State& state) {
                                     encode(state, sample, convert);
                                   });
    };

    addDecode("lumbrel", [](const std::string& in) { return Lumbrel::make_wstring(in); });
    addEncode("lumbrel", [](const Sample& in) { return Lumbrel::make_string(in.wide); });

    addDecode("iconv", [](const std::string& in) {
      static Iconv converter("UTF-16LE", "UTF-8");
      return converter.convert<std::u16string>(in.data(), in.size(), in.size());
    });
    addEncode("iconv", [](const Sample& in) {
      static Iconv converter("UTF-8", "UTF-16LE");
      return converter.convert<std::string>(in.utf16.data(), 2 * in.utf16.size(),
                                            3 * in.utf16.size());
    });

#if defined(LUMBREL_PEER_ICU)
    addDecode("icu", [](const std::string& in) {
      std::u16string out(in.size(), u'\0');
      int32_t length = 0;
      UErrorCode error = U_ZERO_ERROR;
      u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, in.data(),
                    static_cast<int32_t>(in.size()), &error);
      out.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
      return out;
    });
    addEncode("icu", [](const Sample& in) {
      std::string out(3 * in.utf16.size(), '\0');
      int32_t length = 0;
      UErrorCode error = U_ZERO_ERROR;
      u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, in.utf16.data(),
                  static_cast<int32_t>(in.utf16.size()), &error);
      out.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
      return out;
    });
#endif

#if defined(LUMBREL_PEER_UTFCPP)
    addDecode("utf8cpp", [](const std::string& in) {
      std::u16string out;
      out.reserve(in.size());
      utf8::utf8to16(in.begin(), in.end(), std::back_inserter(out));
      return out;
    });
    addEncode("utf8cpp", [](const Sample& in) {
      std::string out;
      out.reserve(3 * in.utf16.size());
      utf8::utf16to8(in.utf16.begin(), in.utf16.end(), std::back_inserter(out));
      return out;
    });
#endif

#if defined(LUMBREL_PEER_POCO)
    addDecode("poco", [](const std::string& in) {
      Poco::UTF16String out;
      Poco::UnicodeConverter::toUTF16(in, out);
      return out;
    });
    addEncode("poco", [](const Sample& in) {
      std::string out;
      Poco::UnicodeConverter::toUTF8(in.poco, out);
      return out;
    });
#endif

    addDecode("codecvt", stdDecode);
    addEncode("codecvt", [](const Sample& in) { return stdEncode(in.utf16); });

    benchmark::RegisterBenchmark((decodeName + "memcpy").c_str(), copyBytes, sample.utf8.size());
    benchmark::RegisterBenchmark((encodeName + "memcpy").c_str(), copyBytes,
                                 2 * sample.wide.size());
  }
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
