// File::Path parsing against a reference written from the parsing steps: the
// same volume, directory and name, or the same refusal with the same message.
// The process's file name is substituted, chosen by the first input byte among
// a few shapes (a drive, a network share, none at all, one near the length
// limit), so that relative text is anchored the same way on every machine.
// The reference resolves relative text on segments, separately from the
// library's resolver, whose own result must be a full path of fewer than 260
// units that resolving again leaves unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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

class Process : public Lumbrel::platform::PlatformWrapper {
 public:
  wstring processFileName() override { return fileName; }
  wstring fileName;
};

Process& process() {
  static Process substitute;
  static Lumbrel::platform::ScopedPlatform installed(substitute);
  return substitute;
}

const wstring& processFileName(unsigned char choice) {
  static const std::vector<wstring> names = {
      widen("D:\\svc\\bin\\agent.exe"),
      widen("Z:\\opt\\app\\bin\\agent"),
      widen("\\\\host\\share\\bin\\agent"),
      widen("agent"),
      widen(""),
      widen("c:/mixed/../sep\\agent"),
      widen("Z:\\" + std::string(230, 'd') + "\\agent"),
  };
  return names[choice % names.size()];
}

bool separator(unsigned short unit) { return unit == '/' || unit == '\\'; }
bool asciiLetter(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
}

// The full form of a path on its segments: the root `X:\` or `\\`, then the
// segments with `.` dropped and `..` taking one back (never the root, nor the
// server and share of a network path), a closing backslash if the text ends
// with a separator; empty without a root or at 260 units and more.
wstring referenceFullPath(const wstring& given) {
  const wstring text = given.substr(0, given.find(static_cast<unsigned short>(0)));
  wstring root;
  std::size_t kept = 0;
  if (text.size() >= 3 && !separator(text[0]) && text[1] == ':' && separator(text[2])) {
    root = {text[0], ':', '\\'};
  } else if (text.size() >= 2 && separator(text[0]) && separator(text[1])) {
    root = widen("\\\\");
    kept = 2;
  } else {
    return wstring();
  }
  std::vector<wstring> segments;
  wstring segment;
  const auto endSegment = [&] {
    if (segment.empty()) return;
    const bool dot = segment == widen("."), dotDot = segment == widen("..");
    if (segments.size() < kept || (!dot && !dotDot)) {
      segments.push_back(segment);
    } else if (dotDot && segments.size() > kept) {
      segments.pop_back();
    }
    segment.clear();
  };
  for (std::size_t i = root.size(); i < text.size(); ++i) {
    if (separator(text[i])) {
      endSegment();
    } else {
      segment += text[i];
    }
  }
  endSegment();
  wstring result = root;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (i > 0) result += '\\';
    result += segments[i];
  }
  if (!segments.empty() && text.size() > root.size() && separator(text.back())) result += '\\';
  return result.size() < 260 ? result : wstring();
}

struct Parsed {
  wstring volume, directory, name;
  const char* failure = nullptr;
  bool operator==(const Parsed& o) const {
    if ((failure == nullptr) != (o.failure == nullptr)) return false;
    if (failure != nullptr) return std::strcmp(failure, o.failure) == 0;
    return volume == o.volume && directory == o.directory && name == o.name;
  }
};

Parsed referenceParse(const wstring& given, const wstring& processName) {
  Parsed p;
  const wstring text = given.substr(0, given.find(static_cast<unsigned short>(0)));
  if (text.empty()) {
    p.failure = "null or empty string passed as file path";
    return p;
  }
  wstring working;
  if (text.size() >= 3 && asciiLetter(text[0]) && text[1] == ':' && text[2] == '\\') {
    working = text;
  } else {
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
  if (segments.empty()) {
    p.failure = "cannot determine path";
    return p;
  }
  p.volume = segments[0];
  if (p.volume[0] >= 'a' && p.volume[0] <= 'z') p.volume[0] = static_cast<unsigned short>(p.volume[0] - 32);
  p.directory = widen("\\");
  for (std::size_t i = 1; i < segments.size(); ++i) p.directory += segments[i] + widen("\\");
  p.name = working.substr(start);
  return p;
}

// The outcome of the library's parse; only invalid_argument is caught.
template <typename Text>
Parsed parse(const Text& text) {
  Parsed p;
  try {
    const File::Path path(text);
    p.volume = path.getVolume();
    p.directory = path.getDirectory();
    p.name = path.getName();
    // With a drive for its volume, the composed text is absolute, and
    // parsing it again changes nothing.
    if (p.volume.size() == 2 && asciiLetter(p.volume[0]) && p.volume[1] == ':') {
      const File::Path again(static_cast<wstring>(path));
      check(again.getVolume() == p.volume && again.getDirectory() == p.directory &&
            again.getName() == p.name);
    }
  } catch (const std::invalid_argument& failure) {
    const std::string message = failure.what();
    if (message == "null or empty string passed as file path") {
      p.failure = "null or empty string passed as file path";
    } else {
      check(message == "cannot determine path");
      p.failure = "cannot determine path";
    }
  }
  return p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const wstring& processName = processFileName(data[0]);
  process().fileName = processName;
  ++data;
  --size;

  // The bytes once as 8-bit text and once as 16-bit units.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  wstring units(size / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));

  const Parsed fromUnits = parse(units);
  check(fromUnits == referenceParse(units, processName));
  const Parsed fromBytes = parse(bytes);
  check(fromBytes == parse(Lumbrel::make_wstring(bytes)));
  check(fromBytes == referenceParse(Lumbrel::make_wstring(bytes), processName));

  const wstring full = Lumbrel::filepath::fullPath(units);
  check(full == referenceFullPath(units));
  check(full.size() < Lumbrel::filepath::kMaxPathUnits);
  check(full.find('/') == wstring::npos);
  check(Lumbrel::filepath::fullPath(full) == full);
  return 0;
}
