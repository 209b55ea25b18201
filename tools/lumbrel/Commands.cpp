#include "Commands.h"

#include <lumbrel/lumbrel.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace lumbrel_tool {
namespace {

using Lumbrel::File;
using Lumbrel::compare;
using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::wstring;

bool sameName(const wstring& a, const wstring& b) { return compare(a, b) == 0; }

std::string usageFor(const Invocation& invocation) {
  return usageText(invocation.command, invocation.verb);
}

// Opening a store with the read bit alone and adding the write bit only when
// something changed leaves the file as it was after a lookup that finds nothing.
void markChanged(File& file) { file.setMode(file.getMode() | File::MODE_WRITE); }

// Every command that changes a file saves it crash-safe: whenever the tool
// stops, even killed, the file is the old one or the new one, whole. A file
// that does not exist yet is not opened, since opening would make it empty at
// once; the save makes it in one step. False when there was no file.
template <class Store>
bool openStore(Store& file, const std::string& name, bool mayCreate) {
  file.setSaveMode(Lumbrel::SaveMode::CRASH_SAFE);
  if (mayCreate && !File::exists(make_wstring(name))) return false;
  file.open(File::MODE_READ);
  return true;
}

// True for UTF-8 in its shortest form, without surrogates, up to U+10FFFF.
bool isUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t count = 0;
    unsigned long unit = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      count = 1, unit = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      count = 2, unit = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      count = 3, unit = lead & 0x07u;
    } else {
      return false;
    }
    if (text.size() - i <= count) return false;
    for (std::size_t k = 1; k <= count; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0u) != 0x80u) return false;
      unit = (unit << 6) | (next & 0x3Fu);
    }
    const unsigned long shortest = count == 1 ? 0x80 : count == 2 ? 0x800 : 0x10000;
    if (unit < shortest || unit > 0x10FFFF || (unit >= 0xD800 && unit <= 0xDFFF)) return false;
    i += count + 1;
  }
  return true;
}

// Why rewriting `text` through a settings store would lose more than its
// comments, blank lines and the blanks at line ends; empty when it would not.
std::string settingsLoss(const std::string& text, bool sectioned) {
  if (text.find('\0') != std::string::npos || !isUtf8(text)) return "it is not UTF-8 text";
  bool inSection = false;
  std::size_t number = 0;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    ++number;
    // A carriage return of a line written on Windows counts as a blank here:
    // the store keeps it in the value, so nothing is lost by it.
    std::size_t first = start;
    std::size_t last = end;
    while (first < last && (text[first] == ' ' || text[first] == '\t' || text[first] == '\r')) ++first;
    while (last > first && (text[last - 1] == ' ' || text[last - 1] == '\t' || text[last - 1] == '\r')) --last;
    start = end + 1;
    if (first == last || text[first] == '#' || text[first] == ';') continue;
    if (sectioned && text[first] == '[') {
      inSection = true;
      continue;
    }
    const std::size_t equals = text.find('=', first);
    const std::string line = "line " + std::to_string(number);
    if (equals >= last) return line + " is neither a setting nor a comment";
    if (equals == first) return line + " has an empty key";
    if (sectioned && !inSection) return line + " stands before the first section";
  }
  return "";
}

// Refuses to rewrite a FILE that would not come back as settings, unless
// --force: the store would drop what it cannot read.
void checkRewrite(const Invocation& invocation, const std::string& native, bool sectioned) {
  if (invocation.force) return;
  std::ifstream in(native, std::ios::binary);
  if (!in) return;  // missing: made new; unreadable: the store says so
  const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const std::string loss = settingsLoss(text, sectioned);
  if (loss.empty()) return;
  throw ToolError(native + " is not a settings file: " + loss + ", and " + invocation.verb +
                  " would drop it (--force rewrites the file all the same)");
}

// ---- data ----

// KEY as the store will hold it: decoded, then normalised by the record itself
// so that lookups compare what the file holds.
wstring dataKey(const Invocation& invocation) {
  const std::string& text = invocation.operands[1];
  wstring key;
  try {
    key = invocation.escapedKey ? unescapeKey(text) : make_wstring(text);
    return Lumbrel::DataFile::Record(key, {}).getKey();
  } catch (const DumpError& error) {
    throw UsageError(std::string("KEY: ") + error.what(), usageFor(invocation));
  } catch (const std::invalid_argument& error) {
    throw UsageError(std::string("KEY: ") + error.what(), usageFor(invocation));
  }
}

// Index of the first record whose key matches, or size() when none does.
unsigned long findRecord(Lumbrel::DataFile& file, const wstring& key) {
  const unsigned long count = file.size();
  for (unsigned long index = 0; index < count; ++index) {
    if (sameName(file[index].getKey(), key)) return index;
  }
  return count;
}

int notFound(const std::string& what) {
  std::cerr << "lumbrel: " << what << " not found\n";
  return kStatusNotFound;
}

void loadDump(const Invocation& invocation, const std::string& name) {
  const std::string source = invocation.operands.size() > 1 ? invocation.operands[1] : "-";
  if (File::exists(make_wstring(name))) {
    throw ToolError(invocation.operands[0] + " exists; load makes a new file");
  }
  const Bytes text = readInput(source);
  std::vector<DumpRecord> parsed;
  try {
    parsed = parseDump(std::string(text.begin(), text.end()));
  } catch (const DumpError& error) {
    throw ToolError((source == "-" ? std::string("standard input") : source) + ": " + error.what());
  }
  // Records are made, and so checked, before the file exists.
  std::vector<Lumbrel::DataFile::Record> records;
  records.reserve(parsed.size());
  for (const DumpRecord& record : parsed) records.emplace_back(record.key, record.data);

  // insert keeps keys unique without regard to case, while a file may hold
  // equal keys (the store's reader keeps them all). A repeated key goes in
  // under a stand-in key that matches nothing and gets its own key back
  // through the stored record, which insert does not check.
  Lumbrel::DataFile file{Lumbrel::File::Path(make_wstring(name))};
  openStore(file, name, true);
  unsigned long standIns = 0;
  for (const Lumbrel::DataFile::Record& record : records) {
    unsigned long before = file.size();
    file.insert(record);
    if (file.size() != before) continue;
    wstring standIn;
    do {  // a stand-in that some key of the dump matches is refused by insert too
      standIn = make_wstring("\x01lumbrel-load-" + std::to_string(++standIns));
      before = file.size();
      file.insert(Lumbrel::DataFile::Record(standIn, record.getData()));
    } while (file.size() == before);
    // Searched from the end, where a store that keeps insertion order put it.
    for (unsigned long index = file.size(); index-- > 0;) {
      if (sameName(file[index].getKey(), standIn)) {
        file[index].setKey(record.getKey());
        break;
      }
    }
  }
  markChanged(file);
  file.close();
}

// ---- settings ----

// Names and values that the settings files could not give back as they were
// written are refused up front instead of being quietly changed.
void checkSettingsText(const Invocation& invocation, const std::string& what,
                       const std::string& text, bool isKey, bool isSection) {
  const std::string usage = usageFor(invocation);
  if (!isUtf8(text)) throw UsageError(what + " is not UTF-8 text", usage);
  if (text.find_first_of("\r\n") != std::string::npos) {
    throw UsageError(what + " cannot hold a line break", usage);
  }
  if (!isKey && !isSection) {
    if (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
      throw UsageError("VALUE cannot end in a blank: the file strips it", usage);
    }
    return;
  }
  if (text.empty()) throw UsageError(what + " cannot be empty", usage);
  if (isSection) {
    if (text.front() == '[' || text.back() == ']') {
      throw UsageError("SECTION cannot begin with '[' or end with ']'", usage);
    }
    return;
  }
  if (text.find('=') != std::string::npos) throw UsageError("KEY cannot hold '='", usage);
  if (text.front() == '#' || text.front() == ';' ||
      (invocation.command == "ini" && text.front() == '[')) {
    throw UsageError("KEY cannot begin with '" + text.substr(0, 1) + "'", usage);
  }
  if (text.front() == ' ' || text.front() == '\t' || text.back() == ' ' || text.back() == '\t') {
    throw UsageError("KEY cannot begin or end with a blank: the file strips it", usage);
  }
}

bool containsName(const std::vector<wstring>& names, const wstring& name) {
  for (const wstring& candidate : names) {
    if (sameName(candidate, name)) return true;
  }
  return false;
}

// The distinct non-empty names, in order, each spelled as first met: the
// first entry of a name is the one that get, set and remove reach.
std::vector<wstring> distinctNames(const std::vector<wstring>& names) {
  std::vector<wstring> result;
  for (const wstring& name : names) {
    if (!name.empty() && !containsName(result, name)) result.push_back(name);
  }
  return result;
}

}  // namespace

std::string fileNameOf(const std::string& native) {
  return libraryFileName(std::filesystem::current_path().u8string(), native);
}

Bytes readInput(const std::string& native) {
  std::istreambuf_iterator<char> end;
  if (native == "-") {
    std::cin.clear();
    Bytes bytes{std::istreambuf_iterator<char>(std::cin), end};
    if (std::cin.bad()) throw ToolError("cannot read standard input");
    return bytes;
  }
  std::ifstream in(std::filesystem::u8path(native), std::ios::binary);
  if (!in) throw ToolError("cannot open " + native);
  Bytes bytes{std::istreambuf_iterator<char>(in), end};
  if (in.bad()) throw ToolError("cannot read " + native);
  return bytes;
}

int runData(const Invocation& invocation) {
  const std::string& verb = invocation.verb;
  const std::string name = fileNameOf(invocation.operands[0]);
  const File::Path path(make_wstring(name));

  if (verb == "load") {
    loadDump(invocation, name);
    return kStatusOk;
  }
  if (verb == "list" || verb == "dump") {
    Lumbrel::DataFile file(path);
    file.open(File::MODE_READ);
    const unsigned long count = file.size();
    for (unsigned long index = 0; index < count; ++index) {
      const Lumbrel::DataFile::Record& record = file[index];
      if (verb == "list") {
        std::cout << escapeKey(record.getKey()) << '\t' << record.getData().size() << '\n';
      } else {
        std::cout << dumpLine({record.getKey(), record.getData()});
      }
    }
    file.close();
    return kStatusOk;
  }

  const wstring key = dataKey(invocation);
  const std::string shownKey = invocation.operands[1];
  if (verb == "put") {
    const Bytes data = readInput(invocation.operands.size() > 2 ? invocation.operands[2] : "-");
    Lumbrel::DataFile file(path);
    openStore(file, name, true);
    const unsigned long index = findRecord(file, key);
    if (index < file.size()) {
      file[index].setData(data);
    } else {
      file.insert(Lumbrel::DataFile::Record(key, data));
    }
    markChanged(file);
    file.close();
    return kStatusOk;
  }

  Lumbrel::DataFile file(path);
  openStore(file, name, false);
  const unsigned long index = findRecord(file, key);
  if (index == file.size()) {
    file.close();
    return notFound("key '" + shownKey + "'");
  }
  if (verb == "get") {
    const Bytes& data = file[index].getData();
    std::cout.write(reinterpret_cast<const char*>(data.data()),
                    static_cast<std::streamsize>(data.size()));
  } else {  // remove
    // A copy: remove deletes the stored record it is handed a key of.
    const Lumbrel::DataFile::Record target = file[index];
    file.remove(target);
    markChanged(file);
  }
  file.close();
  return kStatusOk;
}

int runIni(const Invocation& invocation) {
  const std::string& verb = invocation.verb;
  const std::vector<std::string>& operands = invocation.operands;
  if (verb == "set") {
    checkSettingsText(invocation, "SECTION", operands[1], false, true);
    checkSettingsText(invocation, "KEY", operands[2], true, false);
    checkSettingsText(invocation, "VALUE", operands[3], false, false);
  }
  const std::string name = fileNameOf(operands[0]);
  Lumbrel::InitializationFile file{File::Path(make_wstring(name))};
  const wstring section = operands.size() > 1 ? make_wstring(operands[1]) : wstring();
  const wstring key = operands.size() > 2 ? make_wstring(operands[2]) : wstring();

  if (verb == "set" || verb == "remove") checkRewrite(invocation, operands[0], true);
  if (verb == "set") {
    openStore(file, name, true);
    file.setValue(section, key, make_wstring(operands[3]));
    markChanged(file);
    file.close();
    return kStatusOk;
  }

  openStore(file, name, false);
  int status = kStatusOk;
  if (verb == "list" && operands.size() == 1) {
    for (const wstring& each : distinctNames(file.enumerateSections())) {
      std::cout << make_string(each) << '\n';
    }
  } else if (!containsName(file.enumerateSections(), section)) {
    status = notFound("section '" + operands[1] + "'");
  } else if (verb == "list") {
    for (const wstring& each : distinctNames(file.enumerateKeys(section))) {
      std::cout << make_string(each) << '=' << make_string(file.getValue(section, each)) << '\n';
    }
  } else if (verb == "remove" && operands.size() == 2) {
    file.removeSection(section);
    markChanged(file);
  } else if (!containsName(file.enumerateKeys(section), key)) {
    status = notFound("key '" + operands[2] + "' in section '" + operands[1] + "'");
  } else if (verb == "get") {
    std::cout << make_string(file.getValue(section, key)) << '\n';
  } else {  // remove KEY
    file.removeKey(section, key);
    markChanged(file);
  }
  file.close();
  return status;
}

int runProps(const Invocation& invocation) {
  const std::string& verb = invocation.verb;
  const std::vector<std::string>& operands = invocation.operands;
  if (verb == "set") {
    checkSettingsText(invocation, "KEY", operands[1], true, false);
    checkSettingsText(invocation, "VALUE", operands[2], false, false);
  }
  const std::string name = fileNameOf(operands[0]);
  Lumbrel::PropertyFile file{File::Path(make_wstring(name))};
  const wstring key = operands.size() > 1 ? make_wstring(operands[1]) : wstring();

  if (verb == "set" || verb == "remove") checkRewrite(invocation, operands[0], false);
  if (verb == "set") {
    openStore(file, name, true);
    file.setValue(key, make_wstring(operands[2]));
    markChanged(file);
    file.close();
    return kStatusOk;
  }

  openStore(file, name, false);
  int status = kStatusOk;
  if (verb == "list") {
    for (const wstring& each : distinctNames(file.enumerateKeys())) {
      std::cout << make_string(each) << '=' << make_string(file.getValue(each)) << '\n';
    }
  } else if (!containsName(file.enumerateKeys(), key)) {
    status = notFound("key '" + operands[1] + "'");
  } else if (verb == "get") {
    std::cout << make_string(file.getValue(key)) << '\n';
  } else {  // remove
    file.removeKey(key);
    markChanged(file);
  }
  file.close();
  return status;
}

int runUuid(const Invocation& invocation) {
  for (unsigned long i = 0; i < invocation.count; ++i) {
    std::cout << static_cast<std::string>(Lumbrel::Uuid()) << '\n';
  }
  return kStatusOk;
}

int runDate(const Invocation& invocation) {
  if (invocation.operands.empty()) {
    const Lumbrel::DateTime now(static_cast<long>(std::time(nullptr)), 3);
    std::cout << static_cast<std::string>(now) << '\t' << static_cast<long>(now) << '\n';
    return kStatusOk;
  }
  const std::string& text = invocation.operands[0];
  // The form decides which parts the value carries: a date, a time or both.
  const bool hasDate = text.size() >= 8 && text[4] == '-' && text[7] == '-';
  const bool hasTimeBehindDate = text.size() >= 17 && text[13] == ':' && text[16] == ':';
  const unsigned int parts = !hasDate ? 2U : hasTimeBehindDate ? 3U : 1U;
  try {
    const Lumbrel::DateTime value(text, parts);
    std::cout << static_cast<std::string>(value);
    if (hasDate) std::cout << '\t' << static_cast<long>(value);
    std::cout << '\n';
  } catch (const std::invalid_argument& error) {
    throw UsageError(std::string(error.what()) + " (TEXT: " + text + ")", usageFor(invocation));
  }
  return kStatusOk;
}

int runHost(const Invocation&) {
  const auto show = [](const char* label, const wstring& value) {
    std::cout << label << (value.empty() ? std::string("(unknown)") : make_string(value)) << '\n';
  };
  show("computer name  ", Lumbrel::System::getName());
  show("IP host name   ", Lumbrel::System::getIpHostName());
  show("IP address     ", Lumbrel::System::getIpAddress());
  show("program file   ", Lumbrel::System::getProcessFileName());
  return kStatusOk;
}

}  // namespace lumbrel_tool
