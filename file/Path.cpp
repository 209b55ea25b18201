#include <cstddef>
#include <stdexcept>

#include "file/FullPath.h"
#include "lumbrel/File.h"
#include "lumbrel/System.h"

namespace Lumbrel {
namespace {

using filepath::BACKSLASH;
using filepath::COLON;
using filepath::SLASH;

bool isAsciiLetter(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
}

unsigned short upperAscii(unsigned short unit) {
  return (unit >= 'a' && unit <= 'z') ? static_cast<unsigned short>(unit - ('a' - 'A')) : unit;
}

// `X:\` with an ASCII letter is the one absolute form; everything else is
// anchored at the executable.
bool isAbsolute(const wstring& text) {
  return text.size() >= 3 && isAsciiLetter(text[0]) && text[1] == COLON && text[2] == BACKSLASH;
}

// The executable's directory, backslash included, followed by `relative`,
// in full form; empty when that cannot be determined.
wstring anchored(const wstring& relative) {
  wstring joined = System::getProcessFileName();
  const std::size_t last = joined.rfind(BACKSLASH);
  joined.resize(last == wstring::npos ? 0 : last + 1);
  joined += relative;
  if (joined.size() > filepath::MAX_PATH_UNITS) joined.resize(filepath::MAX_PATH_UNITS);
  return filepath::fullPath(joined);
}

}  // namespace

File::Path::Path() = default;

File::Path::Path(const wstring& path) {
  const wstring given = path.substr(0, static_cast<std::size_t>(length(path)));
  if (given.empty()) throw std::invalid_argument("null or empty string passed as file path");

  wstring text = isAbsolute(given) ? given : anchored(given);
  for (unsigned short& unit : text) {
    if (unit == BACKSLASH) unit = SLASH;
  }

  // Every non-empty run in front of a slash is a segment; the first is the
  // volume, the others make the directory, and what follows the last slash is
  // the name.
  const std::size_t lastSlash = text.rfind(SLASH);
  bool haveVolume = false;
  std::size_t start = 0;
  while (lastSlash != wstring::npos && start <= lastSlash) {
    const std::size_t end = text.find(SLASH, start);
    if (end > start) {
      if (!haveVolume) {
        volume.assign(text, start, end - start);
        volume[0] = upperAscii(volume[0]);
        directory = wstring(1, BACKSLASH);
        haveVolume = true;
      } else {
        directory.append(text, start, end - start);
        directory += BACKSLASH;
      }
    }
    start = end + 1;
  }
  if (!haveVolume) throw std::invalid_argument("cannot determine path");
  name.assign(text, lastSlash + 1, wstring::npos);
}

File::Path::Path(const unsigned short* path) : Path(make_wstring(path)) {}

File::Path::Path(const char* path) : Path(make_wstring(path)) {}

File::Path::Path(const string& path) : Path(make_wstring(path)) {}

File::Path::Path(const Path& other) = default;

File::Path::~Path() = default;

File::Path& File::Path::operator=(const Path& other) = default;

File::Path::operator wstring() const { return volume + directory + name; }

const wstring& File::Path::getVolume() const { return volume; }

void File::Path::setVolume(const wstring& value) { volume = value; }

const wstring& File::Path::getDirectory() const { return directory; }

void File::Path::setDirectory(const wstring& value) { directory = value; }

const wstring& File::Path::getName() const { return name; }

void File::Path::setName(const wstring& value) { name = value; }

bool operator==(const File::Path& a, const File::Path& b) {
  return compare(static_cast<wstring>(a), static_cast<wstring>(b)) == 0;
}

bool operator!=(const File::Path& a, const File::Path& b) { return !(a == b); }

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const File::Path& path) {
  return Lumbrel::operator<<(out, static_cast<wstring>(path));
}

}  // namespace Lumbrel
