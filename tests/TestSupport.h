// Helpers shared by the test programs.
#ifndef LUMBREL_TESTS_TEST_SUPPORT_H
#define LUMBREL_TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

#include "lumbrel/Text.h"
#include "platform/Platform.h"

// Expects `statement` to throw `type` whose what() is exactly `message`.
#define EXPECT_THROW_MSG(statement, type, message)                              \
  do {                                                                          \
    EXPECT_THROW({ try { statement; } catch (const type& caught) {               \
      EXPECT_STREQ(caught.what(), (message)); throw; } }, type);                 \
  } while (false)

namespace lumbrel_test {

// Wide text from ASCII or UTF-8 source text.
inline Lumbrel::wstring W(const char* text) { return Lumbrel::make_wstring(text); }

// The library's name of a native path: a POSIX path from the root `/x/y` is
// `Z:\x\y`, as the library shows such paths; a Windows path is its own name.
inline std::string libraryName(const std::string& native) {
  std::string name = !native.empty() && native[0] == '/' ? "Z:" + native : native;
  for (char& c : name) c = c == '/' ? '\\' : c;
  return name;
}

// The native path of `text` (UTF-8), for the standard library's file calls.
inline std::filesystem::path nativePath(const std::string& text) {
  return std::filesystem::u8path(text);
}

// A fresh directory under the system's temporary folder, removed afterwards.
class TempDir {
 public:
  TempDir() {
    std::random_device seed;
    std::filesystem::path made;
    do made = std::filesystem::temp_directory_path() / ("lumbrel-test-" + std::to_string(seed()));
    while (!std::filesystem::create_directory(made));
    path_ = made.u8string();
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(nativePath(path_), ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Native path of an entry in the directory, and its library name (`Z:\tmp\...` for `/tmp/...`).
  std::string native(const std::string& entry) const {
    return (nativePath(path_) / nativePath(entry)).u8string();
  }
  Lumbrel::wstring name(const std::string& entry) const {
    return Lumbrel::make_wstring(libraryName(native(entry)));
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// The bytes that a stream opened without the binary flag writes for `text`:
// each "\n" is the platform's line end.
inline std::string textBytes(const std::string& text) {
  const std::string lineEnd = Lumbrel::platform::textLineEnd();
  std::string bytes;
  for (const char c : text) bytes += c == '\n' ? lineEnd : std::string(1, c);
  return bytes;
}

inline std::string readFile(const std::string& native) {
  std::ifstream in(nativePath(native), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& native, const std::string& bytes) {
  std::ofstream(nativePath(native), std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_TEST_SUPPORT_H
