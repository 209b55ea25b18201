#include "store/SettingsStream.h"

#include <stdexcept>

namespace Lumbrel {
namespace store {

bool readWholeFile(File& file, string& bytes) {
  file.flush();
  file.clear();
  file.seekg(0, std::ios_base::beg);
  bytes.clear();
  std::size_t chunk = 64 * 1024;
  for (;;) {
    const std::size_t before = bytes.size();
    bytes.resize(before + chunk);
    file.read(&bytes[before], static_cast<std::streamsize>(chunk));
    bytes.resize(before + static_cast<std::size_t>(file.gcount()));
    if (file.bad()) return false;
    if (file.eof()) return true;
    if (file.fail()) return false;
    if (chunk < 16 * 1024 * 1024) chunk *= 2;
  }
}

std::size_t completeLines(const string& bytes) {
  const std::size_t newline = bytes.rfind('\n');
  return newline == string::npos ? 0 : newline + 1;
}

void writeWholeFile(File& file, const string& bytes) {
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.flush();
  if (file.fail() || file.bad()) throw std::runtime_error("failed to write to file");
}

}  // namespace store
}  // namespace Lumbrel
