// Helpers shared by the test programs.
#ifndef LUMBREL_TESTS_TEST_SUPPORT_H
#define LUMBREL_TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "lumbrel/Text.h"

// Expects `statement` to throw `type` whose what() is exactly `message`.
#define EXPECT_THROW_MSG(statement, type, message)                                   \
  do {                                                                               \
    try {                                                                            \
      statement;                                                                     \
      ADD_FAILURE() << "Expected " #type " \"" << (message) << "\"; nothing thrown"; \
    } catch (const type& caught) {                                                   \
      EXPECT_STREQ(caught.what(), (message));                                        \
    } catch (...) {                                                                  \
      ADD_FAILURE() << "Expected " #type "; another exception was thrown";          \
    }                                                                                \
  } while (false)

namespace lumbrel_test {

// Wide text from ASCII or UTF-8 source text.
inline Lumbrel::wstring W(const char* text) { return Lumbrel::make_wstring(text); }

// A fresh directory under the system's temporary folder, removed afterwards.
class TempDir {
 public:
  TempDir() {
    std::string pattern = "/tmp/lumbrel-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Native path of an entry in the directory.
  std::string native(const std::string& entry) const { return path_ + "/" + entry; }
  // The library's file name of an entry: the Windows form, `Z:\tmp\...`.
  Lumbrel::wstring name(const std::string& entry) const {
    std::string windows = "Z:";
    for (char c : native(entry)) windows += c == '/' ? '\\' : c;
    return Lumbrel::make_wstring(windows);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline std::string readFile(const std::string& native) {
  std::ifstream in(native, std::ios::binary);
  std::ostringstream bytes;
  if (in.peek() != std::ifstream::traits_type::eof()) bytes << in.rdbuf();
  return bytes.str();
}

inline void writeFile(const std::string& native, const std::string& bytes) {
  std::ofstream out(native, std::ios::binary | std::ios::trunc);
  out << bytes;
}

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_TEST_SUPPORT_H
