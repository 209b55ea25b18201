// Settings files as people write them, made deterministically: many sections
// (in the sectioned layout), keys in no particular order and of several
// spelling styles, values that mix words, numbers, paths, addresses and
// non-ASCII text, comments and blank lines, sometimes blanks around `=`.
// Lines end in LF.
//
// Each key is unique within its section (case ignored) and each section name
// is unique, so that every reader agrees on what a key holds: peers differ
// on duplicates (one keeps the last, another joins them, one refuses them).
// For the same reason the files avoid what some peer reads otherwise than the
// plain rules: indented lines (a continuation in inih), ` ;` in a value (an
// inline comment there), lines of 200 bytes or more (inih's line limit),
// backslashes and `:` in the flat layout (escapes and a separator in POCO's
// property files), and `!` at the start of a line.
#ifndef LUMBREL_BENCH_SETTINGSCORPUS_H
#define LUMBREL_BENCH_SETTINGSCORPUS_H

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "lumbrel/Text.h"

namespace bench {

// One key of a file: its section (empty in the flat layout), key and value as
// the peers take them (blanks around `=` trimmed), `dotted` being
// `section.key` for those that address keys so, and as the library's store
// takes them (blanks around `=` kept, wide text).
struct SettingsLookup {
  std::string section;
  std::string key;
  std::string dotted;
  std::string value;
  Lumbrel::wstring wideSection;
  Lumbrel::wstring wideKey;
  Lumbrel::wstring wideValue;
};

struct SettingsCorpus {
  std::string text;
  std::vector<SettingsLookup> keys;  // every key line, in file order
};

namespace corpus {

inline const std::vector<std::string>& words() {
  static const std::vector<std::string> list = {
      "max",      "min",    "default",  "enable",  "use",    "log",     "cache",  "retry",
      "timeout",  "buffer", "user",     "file",    "font",   "color",   "window", "path",
      "port",     "host",   "name",     "level",   "size",   "count",   "delay",  "interval",
      "mode",     "format", "language", "theme",   "limit",  "threads", "backup", "compress",
      "encoding", "proxy",  "last",     "recent",  "auto",   "show",    "allow",  "history",
      "queue",    "index",  "session",  "token",   "width",  "height",  "offset", "scale",
      "quality",  "policy", "version",  "channel", "region", "locale",  "zone",   "depth"};
  return list;
}

inline const std::vector<std::string>& prose() {
  static const std::vector<std::string> list = {
      "the",   "quick",  "brown",  "fox",    "jumps", "over",   "lazy",  "dog",
      "Hello", "world",  "server", "client", "error", "notice", "daily", "report",
      "North", "Europe", "backup", "window", "open",  "closed", "every", "night"};
  return list;
}

// Text in several scripts, as values carry it.
inline const std::vector<std::string>& foreign() {
  static const std::vector<std::string> list = {
      "Grüße aus München", "Привет, мир",       "東京都渋谷区",     "naïve café crème",
      "Ελληνικά γράμματα", "zażółć gęślą jaźń", "日本語のテキスト", "Smörgåsbord för två",
      "Добро пожаловать",  "señal débil",       "中文 设置 选项",   "emoji 😀 ok"};
  return list;
}

template <typename Random>
const std::string& pick(Random& random, const std::vector<std::string>& list) {
  return list[random() % list.size()];
}

// A name of one to three words in one of the usual styles.
template <typename Random>
std::string compoundName(Random& random) {
  const int parts = 1 + static_cast<int>(random() % 3);
  const int style = static_cast<int>(random() % 5);
  std::string name;
  for (int i = 0; i < parts; ++i) {
    std::string word = pick(random, words());
    if (i > 0) {
      if (style == 0) name += '_';
      if (style == 3) name += '.';
      if (style == 4) name += '-';
      if (style == 1 || style == 2) word[0] = static_cast<char>(std::toupper(word[0]));
    } else if (style == 2) {
      word[0] = static_cast<char>(std::toupper(word[0]));
    }
    name += word;
  }
  if (random() % 6 == 0) name += std::to_string(random() % 20);
  return name;
}

template <typename Random>
std::string value(Random& random, bool flat) {
  switch (random() % 12) {
    case 0:
      return std::to_string(random() % 100000);
    case 1:
      return std::to_string(static_cast<int>(random() % 2000) - 1000) + "." +
             std::to_string(random() % 1000);
    case 2:
      return pick(random, {"true", "false", "yes", "no", "on", "off", "0", "1"});
    case 3: {
      std::string text = pick(random, prose());
      for (int i = static_cast<int>(random() % 6); i > 0; --i) text += " " + pick(random, prose());
      return text;
    }
    case 4: {
      std::string path = "/" + pick(random, {"var", "usr/local", "opt", "home/alice", "srv"});
      for (int i = 1 + static_cast<int>(random() % 3); i > 0; --i)
        path += "/" + pick(random, words());
      return path + "/" + pick(random, words()) + "-" + std::to_string(random() % 100) + ".dat";
    }
    case 5:
      if (flat)
        return "../data/" + pick(random, words()) + "/icon_" + std::to_string(random() % 64) +
               ".png";
      return "C:\\Program Files\\" + pick(random, {"Vendor", "Tools", "Lumen"}) + "\\" +
             pick(random, words()) + "\\bin\\" + pick(random, words()) + ".exe";
    case 6:
      return "https://" + pick(random, {"example.com", "intranet.local", "cdn.example.org"}) + "/" +
             pick(random, words()) + "/v" + std::to_string(random() % 4) +
             "?id=" + std::to_string(random() % 10000);
    case 7:
    case 8:
      return pick(random, foreign());
    case 9:
      return pick(random, prose()) + ", " + pick(random, prose()) + ", " + pick(random, prose());
    case 10:
      return "2023-" + std::to_string(10 + random() % 3) + "-" +
             std::to_string(10 + random() % 18) + "T" + std::to_string(10 + random() % 14) + ":" +
             std::to_string(10 + random() % 50) + ":00Z";
    default:
      return random() % 3 == 0 ? std::string() : "#" + std::to_string(100000 + random() % 900000);
  }
}

template <typename Random>
std::string comment(Random& random) {
  std::string text = random() % 2 ? "; " : "# ";
  for (int i = 2 + static_cast<int>(random() % 6); i > 0; --i) text += pick(random, prose()) + " ";
  text.pop_back();
  return text;
}

inline std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Adds one key line of `section` to `out`, unless the key is taken.
template <typename Random>
void addKey(Random& random, SettingsCorpus& out, const std::string& section, const std::string& key,
            std::set<std::string>& taken, bool flat) {
  if (!taken.insert(lower(key)).second) return;
  const std::string text = value(random, flat);
  const bool spaced = random() % 3 == 0;
  const std::string rawKey = spaced ? key + " " : key;
  const std::string rawValue = spaced && !text.empty() ? " " + text : text;
  out.text += rawKey + "=" + rawValue + "\n";
  out.keys.push_back(SettingsLookup{section, key, section.empty() ? key : section + "." + key, text,
                                    Lumbrel::make_wstring(section), Lumbrel::make_wstring(rawKey),
                                    Lumbrel::make_wstring(rawValue)});
}

}  // namespace corpus

// A sectioned file of at least `bytes` bytes: sections of 2 to 60 keys.
inline SettingsCorpus realisticSections(std::size_t bytes) {
  std::mt19937 random(20231105);
  SettingsCorpus out;
  out.text.reserve(bytes + 4096);
  std::set<std::string> sections;
  for (unsigned serial = 0; out.text.size() < bytes; ++serial) {
    std::string section;
    switch (random() % 4) {
      case 0:
        section = corpus::compoundName(random);
        break;
      case 1:
        section = corpus::pick(random, corpus::words()) + "." + corpus::compoundName(random) + "-" +
                  std::to_string(serial % 997);
        break;
      case 2:
        section = "Plugin " + corpus::compoundName(random) + " " + std::to_string(serial);
        break;
      default:
        section = corpus::pick(random, {"Général", "Benutzer", "Настройки", "表示", "Ανάλυση"}) +
                  "/" + corpus::compoundName(random);
    }
    if (!sections.insert(corpus::lower(section)).second) continue;
    if (random() % 3 == 0) out.text += corpus::comment(random) + "\n";
    out.text += "[" + section + "]\n";
    std::set<std::string> taken;
    for (int k = 2 + static_cast<int>(random() % 59); k > 0; --k) {
      if (random() % 10 == 0) out.text += corpus::comment(random) + "\n";
      corpus::addKey(random, out, section, corpus::compoundName(random), taken, false);
    }
    out.text += "\n";
  }
  return out;
}

// A flat file of at least `bytes` bytes: dotted keys in groups, with
// comments and blank lines between some groups.
inline SettingsCorpus realisticProperties(std::size_t bytes) {
  std::mt19937 random(20231106);
  SettingsCorpus out;
  out.text.reserve(bytes + 4096);
  std::set<std::string> taken;
  while (out.text.size() < bytes) {
    const std::string group = corpus::pick(random, corpus::words()) + "." +
                              corpus::compoundName(random) + "." + std::to_string(random() % 1000);
    if (random() % 3 == 0) out.text += "# " + corpus::comment(random).substr(2) + "\n";
    for (int k = 1 + static_cast<int>(random() % 20); k > 0; --k)
      corpus::addKey(random, out, "", group + "." + corpus::compoundName(random), taken, true);
    if (random() % 4 == 0) out.text += "\n";
  }
  return out;
}

}  // namespace bench

#endif  // LUMBREL_BENCH_SETTINGSCORPUS_H
