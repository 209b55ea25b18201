// File::Path parsing against a reference written from the parsing steps: the
// same volume, directory and name, or the same refusal with the same message.
// The process's file name is substituted, chosen by the first input byte among
// a few shapes (a drive, a network share, none at all, one near the length
// limit), so that relative text is anchored the same way on every machine.
// The reference resolves relative text on segments; the library's resolver
// must give the same full path, which resolving again leaves unchanged.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "file/FullPath.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"

namespace {

using Lumbrel::File;
using Lumbrel::wstring;

void check(bool condition) {
  if (!condition) std::abort();
}

wstring widen(const std::string& text) { return wstring(text.begin(), text.end()); }

struct Process : Lumbrel::platform::PlatformWrapper {
  wstring processFileName() override { return fileName; }
  wstring fileName;
};

bool separator(unsigned short unit) { return unit == '/' || unit == '\\'; }

// The text in front of its first null unit.
wstring counted(const wstring& text) {
  return text.substr(0, text.find(static_cast<unsigned short>(0)));
}

// Volume, directory and name in one text, split by null units, which no
// field holds.
wstring fields(const wstring& volume, const wstring& directory, const wstring& name) {
  return volume + wstring(1, 0) + directory + wstring(1, 0) + name;
}

// The full form of a path on its segments: the root `X:\` or `\\`, then the
// segments with `.` dropped and `..` taking one back (never the root, nor the
// server and share of a network path), a closing backslash if the text ends
// with a separator; empty without a root or at 260 units and more.
wstring referenceFullPath(const wstring& given) {
  const wstring text = counted(given);
  wstring root;
  if (text.size() >= 3 && !separator(text[0]) && text[1] == ':' && separator(text[2]))
    root = {text[0], ':', '\\'};
  else if (text.size() >= 2 && separator(text[0]) && separator(text[1]))
    root = widen("\\\\");
  else
    return wstring();
  const std::size_t kept = root.size() == 2 ? 2 : 0;  // segments that `.` and `..` leave alone
  std::vector<wstring> segments{wstring()};
  for (std::size_t i = root.size(); i <= text.size(); ++i) {
    if (i < text.size() && !separator(text[i])) {
      segments.back() += text[i];
      continue;
    }
    const wstring last = segments.back();
    segments.pop_back();
    if (!last.empty() && (segments.size() < kept || (last != widen(".") && last != widen(".."))))
      segments.push_back(last);
    else if (last == widen("..") && segments.size() > kept)
      segments.pop_back();
    segments.emplace_back();
  }
  segments.pop_back();
  wstring result = root;
  for (std::size_t i = 0; i < segments.size(); ++i)
    result += (i > 0 ? widen("\\") : wstring()) + segments[i];
  if (!segments.empty() && text.size() > root.size() && separator(text.back())) result += '\\';
  return result.size() < 260 ? result : wstring();
}

// The fields, or the message of the refusal.
wstring referenceParse(const wstring& given, const wstring& processName) {
  const wstring text = counted(given);
  if (text.empty()) return widen("null or empty string passed as file path");
  wstring working = text;
  // Not a drive: a letter of the C locale (ASCII), a colon and a backslash.
  if (text.size() < 3 || text[0] > 0x7F || !std::isalpha(text[0]) || text[1] != ':' ||
      text[2] != '\\') {
    const std::size_t last = processName.rfind('\\');
    working = (last == wstring::npos ? wstring() : processName.substr(0, last + 1)) + text;
    working = referenceFullPath(working.substr(0, 260));
  }
  std::vector<wstring> segments;
  std::size_t start = 0;
  for (std::size_t i = 0; i < working.size(); ++i) {
    if (!separator(working[i])) continue;
    if (i > start) segments.push_back(working.substr(start, i - start));
    start = i + 1;
  }
  if (segments.empty()) return widen("cannot determine path");
  wstring volume = segments[0];
  if (volume[0] >= 'a' && volume[0] <= 'z') volume[0] = static_cast<unsigned short>(volume[0] - 32);
  wstring directory = widen("\\");
  for (std::size_t i = 1; i < segments.size(); ++i) directory += segments[i] + widen("\\");
  return fields(volume, directory, working.substr(start));
}

// The library's parse in the same form; only invalid_argument is caught.
template <typename Text>
wstring parse(const Text& text) {
  const auto fieldsOf = [](const File::Path& p) {
    return fields(p.getVolume(), p.getDirectory(), p.getName());
  };
  try {
    const File::Path path(text);
    // With a drive for its volume, the composed text is absolute, and
    // parsing it again changes nothing.
    const wstring& volume = path.getVolume();
    if (volume.size() == 2 && volume[1] == ':' && volume[0] >= 'A' && volume[0] <= 'Z')
      check(fieldsOf(File::Path(static_cast<wstring>(path))) == fieldsOf(path));
    return fieldsOf(path);
  } catch (const std::invalid_argument& failure) {
    return widen(failure.what());  // held against the reference's message
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const wstring kNames[] = {
      widen("D:\\svc\\bin\\agent.exe"), widen("Z:\\opt\\app\\bin\\agent"),
      widen("\\\\host\\share\\bin\\agent"), widen("agent"), widen(""),
      widen("c:/mixed/../sep\\agent"), widen("Z:\\" + std::string(230, 'd') + "\\agent")};
  static Process process;
  static Lumbrel::platform::ScopedPlatform installed(process);
  process.fileName = kNames[data[0] % (sizeof kNames / sizeof kNames[0])];
  ++data;
  --size;

  // The bytes once as 8-bit text and once as 16-bit units.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  wstring units(size / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));

  // Every form of the same text parses alike.
  const wstring fromUnits = parse(units), fromBytes = parse(bytes);
  check(fromUnits == referenceParse(units, process.fileName) && fromUnits == parse(units.c_str()));
  check(fromBytes == parse(bytes.c_str()) && fromBytes == parse(Lumbrel::make_wstring(bytes)));
  check(fromBytes == referenceParse(Lumbrel::make_wstring(bytes), process.fileName));

  const wstring full = Lumbrel::filepath::fullPath(units);
  check(full == referenceFullPath(units) && Lumbrel::filepath::fullPath(full) == full);
  return 0;
}
