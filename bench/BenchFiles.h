// Files in the temporary folder for the benchmarks, named both ways: the
// native name that peers take and the library's `Z:\...` form.
#ifndef LUMBREL_BENCH_BENCHFILES_H
#define LUMBREL_BENCH_BENCHFILES_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "lumbrel/Text.h"

namespace bench {

// File::Path takes only a backslash after the volume as absolute.
inline Lumbrel::wstring libraryName(const std::string& native) {
  std::string windows = "Z:";
  for (char c : native) windows += c == '/' ? '\\' : c;
  return Lumbrel::make_wstring(windows);
}

// A folder made once per program and removed with what is left in it when
// the program ends.
inline const std::string& directory() {
  struct Folder {
    Folder() : path("/tmp/lumbrel-bench-XXXXXX") {
      if (::mkdtemp(path.data()) == nullptr) std::abort();
    }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::string path;
  };
  static const Folder folder;
  return folder.path;
}

// A file of the given content, removed when it goes.
class TempFile {
 public:
  TempFile(const std::string& leaf, const std::string& content)
      : native_(directory() + "/" + leaf), size_(content.size()) {
    rewrite(content);
  }
  ~TempFile() { std::remove(native_.c_str()); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  void rewrite(const std::string& content) const {
    std::ofstream(native_, std::ios::binary | std::ios::trunc) << content;
  }
  const std::string& native() const { return native_; }
  Lumbrel::wstring name() const { return libraryName(native_); }
  std::size_t size() const { return size_; }

 private:
  std::string native_;
  std::size_t size_;
};

}  // namespace bench

#endif  // LUMBREL_BENCH_BENCHFILES_H
