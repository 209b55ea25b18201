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
#include "lumbrel/Text.h"

namespace lumbrel_fuzz {

class ScratchFile {
 public:
  // `entry` is the file's name inside the scratch folder.
  explicit ScratchFile(const char* entry) {
    std::random_device seed;
    do {
      folder_ = std::filesystem::temp_directory_path() /
                ("lumbrel-fuzz-" + std::to_string(seed() % 100000000u));
    } while (!std::filesystem::create_directory(folder_));
    native_ = folder_ / entry;
    // The library's form of the name: a POSIX path from the root gets the
    // volume `Z:`; separators are backslashes.
    std::string name = native_.u8string();
    if (name[0] == '/') name = "Z:" + name;
    for (char& c : name) c = c == '/' ? '\\' : c;
    path_ = Lumbrel::File::Path(name);
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  const Lumbrel::File::Path& path() const { return path_; }
  void write(const void* bytes, std::size_t size) const {
    std::ofstream out(native_, std::ios::binary | std::ios::trunc);
    if (!out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size)).flush())
      std::abort();
  }
  std::string read() const {
    std::ifstream in(native_, std::ios::binary);
    if (!in) std::abort();
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::filesystem::path folder_, native_;
  Lumbrel::File::Path path_;
};

// One scratch file per program, removed at exit.
inline const ScratchFile& scratch(const char* entry) {
  static const ScratchFile file(entry);
  return file;
}

}  // namespace lumbrel_fuzz

#endif  // LUMBREL_FUZZ_FUZZ_FILES_H
