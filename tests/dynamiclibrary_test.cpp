#include "lumbrel/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"

using Lumbrel::DynamicLibrary;
using lumbrel_test::W;

namespace {

// Two builds of one small library, with answers 1 and 2 (tests/testlib).
const std::string kLibraryA = LUMBREL_TESTLIB_A;
const std::string kLibraryB = LUMBREL_TESTLIB_B;

// Whether the loader has the file mapped into this process now.
bool isMapped(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line))
    if (line.size() >= path.size() && line.compare(line.size() - path.size(), path.size(), path) == 0)
      return true;
  return false;
}

int call(const DynamicLibrary& library, const char* name) {
  const DynamicLibrary::Symbol symbol = library.getSymbol(W(name));
  return symbol == nullptr ? -1 : symbol();
}

// The library's file name in the Windows form, `Z:\...`.
Lumbrel::wstring windowsName(const std::string& native) {
  std::string name = "Z:";
  for (char c : native) name += c == '/' ? '\\' : c;
  return W(name.c_str());
}

// Records the virtual load and unload calls that reach it.
class Recording : public DynamicLibrary {
 public:
  Recording(const Lumbrel::wstring& name, std::vector<std::string>& log)
      : DynamicLibrary(name), log_(log) {}
  bool load() override {
    log_.push_back("load " + Lumbrel::make_string(getFileName()));
    return DynamicLibrary::load();
  }
  bool unload() override {
    log_.push_back("unload " + Lumbrel::make_string(getFileName()) + (isMapped(kLibraryA) ? " A" : "") +
                   (isMapped(kLibraryB) ? " B" : ""));
    return DynamicLibrary::unload();
  }

 private:
  std::vector<std::string>& log_;
};

TEST(DynamicLibraryTest, ObjectsThatAreNotLoaded) {
  DynamicLibrary empty;
  EXPECT_TRUE(empty.getFileName().empty());
  EXPECT_FALSE(empty.load());  // the empty name never reaches the loader
  EXPECT_FALSE(empty.isLoaded());
  EXPECT_EQ(empty.getHandle(), nullptr);
  EXPECT_TRUE(empty.unload());

  // Not loaded: no symbol, even one that the file has.
  DynamicLibrary named(W(kLibraryA.c_str()));
  EXPECT_EQ(named.getSymbol(W("lumbrel_testlib_answer")), nullptr);
  EXPECT_FALSE(isMapped(kLibraryA));

  DynamicLibrary missing(W("/nonexistent/libnothing.so"));
  EXPECT_FALSE(missing.load());
  EXPECT_FALSE(missing.load());  // may be tried again
  EXPECT_FALSE(missing.isLoaded());
  EXPECT_EQ(missing.getFileName(), W("/nonexistent/libnothing.so"));
}

TEST(DynamicLibraryTest, LoadsOnceUnloadsAndLoadsAgain) {
  DynamicLibrary library(windowsName(kLibraryA));
  ASSERT_TRUE(library.load());
  EXPECT_TRUE(library.isLoaded());
  EXPECT_TRUE(isMapped(kLibraryA));
  const DynamicLibrary::Handle handle = library.getHandle();
  EXPECT_NE(handle, nullptr);
  EXPECT_EQ(call(library, "lumbrel_testlib_answer"), 1);
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), 1);
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), 2);
  EXPECT_EQ(library.getSymbol(W("lumbrel_testlib_missing")), nullptr);
  // The name counts up to its first null unit.
  Lumbrel::wstring truncated = W("lumbrel_testlib_answer");
  truncated += static_cast<unsigned short>(0);
  truncated += W("junk");
  EXPECT_EQ(library.getSymbol(truncated), library.getSymbol(W("lumbrel_testlib_answer")));

  // A second load adds nothing, so one unload lets the file go.
  EXPECT_TRUE(library.load());
  EXPECT_EQ(library.getHandle(), handle);
  EXPECT_TRUE(library.unload());
  EXPECT_FALSE(library.isLoaded());
  EXPECT_EQ(library.getHandle(), nullptr);
  EXPECT_FALSE(isMapped(kLibraryA));
  EXPECT_TRUE(library.unload());

  EXPECT_EQ(library.getFileName(), windowsName(kLibraryA));
  ASSERT_TRUE(library.load());
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), 1);  // a fresh load
}

TEST(DynamicLibraryTest, SearchesBareNamesAsTheLoaderDoes) {
  DynamicLibrary library(W("libm.so.6"));
  ASSERT_TRUE(library.load());
  EXPECT_NE(library.getSymbol(W("cos")), nullptr);
}

TEST(DynamicLibraryTest, CopiesLoadForThemselves) {
  {
    auto source = std::make_unique<DynamicLibrary>(W(kLibraryA.c_str()));
    ASSERT_TRUE(source->load());
    DynamicLibrary copy(*source);
    EXPECT_TRUE(copy.isLoaded());
    EXPECT_EQ(copy.getFileName(), source->getFileName());
    source->unload();
    source.reset();
    EXPECT_TRUE(isMapped(kLibraryA));
    EXPECT_EQ(call(copy, "lumbrel_testlib_answer"), 1);
  }
  EXPECT_FALSE(isMapped(kLibraryA));  // the copy let go of its own load

  DynamicLibrary unloaded(W(kLibraryB.c_str()));
  DynamicLibrary copy(unloaded);
  EXPECT_FALSE(copy.isLoaded());
  EXPECT_EQ(copy.getFileName(), W(kLibraryB.c_str()));
}

TEST(DynamicLibraryTest, AssignmentUnloadsFirstThroughVirtualCalls) {
  std::vector<std::string> log;
  Recording target(W(kLibraryA.c_str()), log);
  DynamicLibrary loadedB(W(kLibraryB.c_str()));
  ASSERT_TRUE(target.DynamicLibrary::load());
  ASSERT_TRUE(loadedB.load());
  DynamicLibrary& base = target;  // the assignment of the base class is under test

  base = target;
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(target.isLoaded());

  base = loadedB;
  // The old module is released before the new name is loaded.
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0], "unload " + kLibraryA + " A B");
  EXPECT_EQ(log[1], "load " + kLibraryB);
  EXPECT_FALSE(isMapped(kLibraryA));
  EXPECT_EQ(target.getFileName(), W(kLibraryB.c_str()));
  EXPECT_TRUE(target.isLoaded());
  EXPECT_EQ(call(target, "lumbrel_testlib_answer"), 2);

  // The target's own load keeps B after the source lets go.
  loadedB.unload();
  EXPECT_EQ(call(target, "lumbrel_testlib_answer"), 2);

  // An object that is not loaded makes the target not loaded.
  log.clear();
  DynamicLibrary unloadedA(W(kLibraryA.c_str()));
  base = unloadedA;
  ASSERT_EQ(log.size(), 1u);
  EXPECT_FALSE(target.isLoaded());
  EXPECT_FALSE(isMapped(kLibraryB));
  EXPECT_EQ(target.getFileName(), W(kLibraryA.c_str()));
}

}  // namespace
