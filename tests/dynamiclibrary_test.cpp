#include "lumbrel/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "platform/Platform.h"
#include "platform/Testing.h"

using Lumbrel::DynamicLibrary;
using lumbrel_test::W;

namespace {

// Two builds of one small library, with answers 1 and 2 (tests/testlib), by
// the library's names of their files.
const std::string kLibraryA = lumbrel_test::libraryName(LUMBREL_TESTLIB_A);
const std::string kLibraryB = lumbrel_test::libraryName(LUMBREL_TESTLIB_B);

bool isMapped(const std::string& name) {
  return Lumbrel::platform::moduleIsLoaded(Lumbrel::platform::native().nativeName(name));
}

int call(const DynamicLibrary& library, const char* name) {
  const DynamicLibrary::Symbol symbol = library.getSymbol(W(name));
  return symbol == nullptr ? -1 : symbol();
}

// Logs each load and unload with the file name it is for.
struct Recording : DynamicLibrary {
  using DynamicLibrary::DynamicLibrary;
  bool load() override { return note("load "), DynamicLibrary::load(); }
  bool unload() override { return note("unload "), DynamicLibrary::unload(); }
  void note(const char* what) { log.push_back(what + Lumbrel::make_string(getFileName())); }
  std::vector<std::string> log;
};

TEST(DynamicLibraryTest, EmptyAndMissingNamesNeverLoadAndBareNamesAreSearched) {
  DynamicLibrary empty;  // never reaches the loader, which would give the program
  DynamicLibrary missing(W("/nonexistent/libnothing.so"));
  for (DynamicLibrary* library : {&empty, &missing}) {
    EXPECT_FALSE(library->load());
    EXPECT_FALSE(library->isLoaded());
  }
  const Lumbrel::platform::SystemLibrary system = Lumbrel::platform::systemLibrary();
  DynamicLibrary bare(W(system.name));  // searched for as the loader does
  ASSERT_TRUE(bare.load());
  EXPECT_NE(bare.getSymbol(W(system.function)), nullptr);
}

// Each object loads once; a copy loads for itself.
TEST(DynamicLibraryTest, LoadsAreCountedPerObject) {
  DynamicLibrary library(W(kLibraryA.c_str()));
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), -1);  // no symbol before load
  EXPECT_FALSE(DynamicLibrary(library).isLoaded());  // nor does a copy load
  ASSERT_TRUE(library.load());
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), 1);
  EXPECT_EQ(library.getSymbol(W("lumbrel_testlib_missing")), nullptr);
  EXPECT_TRUE(library.load());  // adds nothing: one unload lets the file go
  EXPECT_TRUE(library.unload());
  EXPECT_FALSE(library.isLoaded());
  EXPECT_FALSE(isMapped(kLibraryA));
  ASSERT_TRUE(library.load());
  EXPECT_EQ(call(library, "lumbrel_testlib_count"), 1);  // a fresh load
  {
    const DynamicLibrary copy(library);
    EXPECT_TRUE(library.unload());
    EXPECT_EQ(call(copy, "lumbrel_testlib_count"), 2);  // the file stayed loaded for it
  }
  EXPECT_FALSE(isMapped(kLibraryA));
}

TEST(DynamicLibraryTest, AssignmentUnloadsFirstThroughVirtualCalls) {
  Recording target(W(kLibraryA.c_str()));
  DynamicLibrary loadedB(W(kLibraryB.c_str()));
  ASSERT_TRUE(target.DynamicLibrary::load());
  ASSERT_TRUE(loadedB.load());
  DynamicLibrary& base = target;  // the assignment of the base class is under test
  base = target;
  EXPECT_TRUE(target.log.empty());

  base = loadedB;
  EXPECT_EQ(target.log, (std::vector<std::string>{"unload " + kLibraryA, "load " + kLibraryB}));
  EXPECT_FALSE(isMapped(kLibraryA));
  loadedB.unload();
  EXPECT_EQ(call(target, "lumbrel_testlib_answer"), 2);  // on its own load

  target.log.clear();
  base = DynamicLibrary(W(kLibraryA.c_str()));  // not loaded
  EXPECT_EQ(target.log, std::vector<std::string>{"unload " + kLibraryB});
  EXPECT_FALSE(isMapped(kLibraryB));
}

}  // namespace
