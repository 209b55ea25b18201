// A scratch directory for the fuzz targets that go through the stores' real
// open and close: each input is written to a file there, and the file read
// back after the store has replaced it. The directory is made on first use
// and removed when the program exits normally; a crashing run leaves it for
// inspection.
#ifndef LUMBREL_FUZZ_FUZZ_FILES_H
#define LUMBREL_FUZZ_FUZZ_FILES_H

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "lumbrel/File.h"
#include "lumbrel/Text.h"

namespace lumbrel_fuzz {

class ScratchFile {
 public:
  // `entry` is the file's name inside the scratch directory.
  explicit ScratchFile(const char* entry) {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                          "/lumbrel-fuzz-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    directory_ = pattern;
    native_ = directory_ + "/" + entry;
    // The library's form of the name: a volume, then backslashes.
    std::string windows = "Z:";
    for (const char c : native_) windows += c == '/' ? '\\' : c;
    path_ = Lumbrel::File::Path(windows);
  }
  ~ScratchFile() {
    std::remove(native_.c_str());
    std::remove(directory_.c_str());
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const Lumbrel::File::Path& path() const { return path_; }

  void write(const void* bytes, std::size_t size) const {
    std::ofstream out(native_, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    if (!out.flush()) std::abort();
  }

  std::string read() const {
    std::ifstream in(native_, std::ios::binary);
    if (!in) std::abort();
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::string directory_;
  std::string native_;
  Lumbrel::File::Path path_;
};

// One scratch file per program, removed at exit.
inline const ScratchFile& scratch(const char* entry) {
  static const ScratchFile file(entry);
  return file;
}

}  // namespace lumbrel_fuzz

#endif  // LUMBREL_FUZZ_FUZZ_FILES_H
