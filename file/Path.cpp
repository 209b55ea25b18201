#include <cstddef>
#include <stdexcept>

#include "file/FullPath.h"
#include "lumbrel/File.h"
#include "lumbrel/System.h"

namespace Lumbrel {
namespace {

using filepath::kBackslash;
using filepath::kColon;
using filepath::kSlash;

bool isAsciiLetter(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
}

unsigned short upperAscii(unsigned short unit) {
  return (unit >= 'a' && unit <= 'z') ? static_cast<unsigned short>(unit - ('a' - 'A')) : unit;
}

// `X:\` with an ASCII letter is the one absolute form; everything else is
// anchored at the executable.
bool isAbsolute(const wstring& text) {
  return text.size() >= 3 && isAsciiLetter(text[0]) && text[1] == kColon && text[2] == kBackslash;
}

// The executable's directory, backslash included, followed by `relative`,
// in full form; empty when that cannot be determined.
wstring anchored(const wstring& relative) {
  wstring joined = System::getProcessFileName();
  const std::size_t last = joined.rfind(kBackslash);
  joined.resize(last == wstring::npos ? 0 : last + 1);
  joined += relative;
  if (joined.size() > filepath::kMaxPathUnits) joined.resize(filepath::kMaxPathUnits);
  return filepath::fullPath(joined);
}

}  // namespace

File::Path::Path() = default;

File::Path::Path(const wstring& path) {
  const wstring given = path.substr(0, static_cast<std::size_t>(length(path)));
  if (given.empty()) throw std::invalid_argument("null or empty string passed as file path");

  wstring text = isAbsolute(given) ? given : anchored(given);
  for (unsigned short& unit : text) {
    if (unit == kBackslash) unit = kSlash;
  }

  // Every non-empty run in front of a slash is a segment; the first is the
  // volume, the others make the directory, and what follows the last slash is
  // the name.
  const std::size_t lastSlash = text.rfind(kSlash);
  bool haveVolume = false;
  std::size_t start = 0;
  while (lastSlash != wstring::npos && start <= lastSlash) {
    const std::size_t end = text.find(kSlash, start);
    if (end > start) {
      if (!haveVolume) {
        volume_.assign(text, start, end - start);
        volume_[0] = upperAscii(volume_[0]);
        directory_ = wstring(1, kBackslash);
        haveVolume = true;
      } else {
        directory_.append(text, start, end - start);
        directory_ += kBackslash;
      }
    }
    start = end + 1;
  }
  if (!haveVolume) throw std::invalid_argument("cannot determine path");
  name_.assign(text, lastSlash + 1, wstring::npos);
}

File::Path::Path(const unsigned short* path) : Path(make_wstring(path)) {}

File::Path::Path(const char* path) : Path(make_wstring(path)) {}

File::Path::Path(const string& path) : Path(make_wstring(path)) {}

File::Path::Path(const Path& other) = default;

File::Path::~Path() = default;

File::Path& File::Path::operator=(const Path& other) = default;

File::Path::operator wstring() const { return volume_ + directory_ + name_; }

const wstring& File::Path::getVolume() const { return volume_; }

void File::Path::setVolume(const wstring& value) { volume_ = value; }

const wstring& File::Path::getDirectory() const { return directory_; }

void File::Path::setDirectory(const wstring& value) { directory_ = value; }

const wstring& File::Path::getName() const { return name_; }

void File::Path::setName(const wstring& value) { name_ = value; }

bool operator==(const File::Path& a, const File::Path& b) {
  return compare(static_cast<wstring>(a), static_cast<wstring>(b)) == 0;
}

bool operator!=(const File::Path& a, const File::Path& b) { return !(a == b); }

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const File::Path& path) {
  return Lumbrel::operator<<(out, static_cast<wstring>(path));
}

}  // namespace Lumbrel
