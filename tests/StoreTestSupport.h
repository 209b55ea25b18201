// Helpers for the tests of the settings stores.
#ifndef LUMBREL_TESTS_STORE_TEST_SUPPORT_H
#define LUMBREL_TESTS_STORE_TEST_SUPPORT_H

#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "platform/Platform.h"

namespace lumbrel_test {

inline std::vector<Lumbrel::wstring> Ws(std::initializer_list<const char*> texts) {
  std::vector<Lumbrel::wstring> result;
  for (const char* text : texts) result.push_back(W(text));
  return result;
}

// A file system whose stream openings can be made to open something else
// instead: a directory (reading fails) or /dev/full (writing fails).
class StreamFaults : public Lumbrel::platform::PlatformWrapper {
 public:
  // Every stream opening opens `native` instead, with `mode` if given.
  void redirectOpens(const std::string& native, std::ios_base::openmode mode = {}) {
    target_ = native;
    mode_ = mode;
  }
  // Streams open as usual again.
  void heal() { target_.clear(); }

  bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                  std::ios_base::openmode mode) override {
    if (target_.empty()) return PlatformWrapper::openStream(buffer, name, mode);
    return buffer.open(target_, mode_ != std::ios_base::openmode{} ? mode_ : mode) != nullptr;
  }

 private:
  std::string target_;
  std::ios_base::openmode mode_{};
};

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_STORE_TEST_SUPPORT_H
