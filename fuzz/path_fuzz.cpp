// Arbitrary bytes as path text: parsing either succeeds with a path in the
// documented form or refuses with invalid_argument; the resolver's result is
// a full path of at most 259 units that resolving again leaves unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "file/FullPath.h"
#include "lumbrel/File.h"

namespace {

using Lumbrel::wstring;

void check(bool condition) {
  if (!condition) std::abort();
}

void parse(const wstring& text) {
  try {
    const Lumbrel::File::Path path(text);
    const wstring& directory = path.getDirectory();
    check(!path.getVolume().empty());
    check(!directory.empty() && directory.front() == '\\' && directory.back() == '\\');
    check(directory.find('/') == wstring::npos);
    check(path.getName().find('/') == wstring::npos);
    check(path.getName().find('\\') == wstring::npos);
  } catch (const std::invalid_argument&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The bytes once as 8-bit text and once as 16-bit units.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  wstring units(size / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));

  try {
    const Lumbrel::File::Path path(bytes);
    check(static_cast<wstring>(path) == static_cast<wstring>(Lumbrel::File::Path(path)));
  } catch (const std::invalid_argument&) {
  }
  parse(units);

  const wstring full = Lumbrel::filepath::fullPath(units);
  check(full.size() < Lumbrel::filepath::MAX_PATH_UNITS);
  check(full.find('/') == wstring::npos);
  check(Lumbrel::filepath::fullPath(full) == full);
  return 0;
}
