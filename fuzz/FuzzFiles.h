// A scratch file for the fuzz targets that go through the stores' real open
// and close: each input is written to it, and it is read back after the
// store has replaced it. Its folder is made on first use and removed when
// the program exits normally; a crashing run leaves it for inspection.
#ifndef LUMBREL_FUZZ_FUZZ_FILES_H
#define LUMBREL_FUZZ_FUZZ_FILES_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

#include "lumbrel/File.h"

namespace lumbrel_fuzz {

inline void check(bool condition) {
  if (!condition) std::abort();
}

struct ScratchFile {
  // `entry` is the file's name inside the scratch folder.
  explicit ScratchFile(const char* entry) {
    std::random_device seed;
    do folder = std::filesystem::temp_directory_path() / ("lumbrel-fuzz-" + std::to_string(seed()));
    while (!std::filesystem::create_directory(folder));
    native = folder / entry;
    // The library's form of the name: a POSIX path from the root gets the
    // volume `Z:`; separators are backslashes.
    std::string name = native.u8string();
    if (name[0] == '/') name = "Z:" + name;
    for (char& c : name) c = c == '/' ? '\\' : c;
    path = Lumbrel::File::Path(name);
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  void write(const void* bytes, std::size_t size) const {
    std::ofstream out(native, std::ios::binary | std::ios::trunc);
    check(bool(out.write(static_cast<const char*>(bytes), std::streamsize(size)).flush()));
  }
  std::string read() const {
    std::ifstream in(native, std::ios::binary);
    check(bool(in));
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::filesystem::path folder, native;
  Lumbrel::File::Path path;
};

// One scratch file per program, removed at exit.
inline const ScratchFile& scratch(const char* entry) {
  static const ScratchFile file(entry);
  return file;
}

}  // namespace lumbrel_fuzz

#endif  // LUMBREL_FUZZ_FUZZ_FILES_H
