#include "lumbrel/InitializationFile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StoreTestSupport.h"

using Lumbrel::File;
using Lumbrel::InitializationFile;
using namespace lumbrel_test;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

struct InitializationFileTest : ::testing::Test {
  TempDir dir;
  InitializationFile file{dir.name("f")};
};

TEST_F(InitializationFileTest, LookupsIgnoreCaseAndNewEntriesGoBehind) {
  writeFile(dir.native("f"), "[NET]\nPORT=80\n[Disk]\npath=a\npath=b\n");
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("net"), W("port")), W("80"));
  EXPECT_EQ(file.getValue(W("net"), W("host")), W(""));  // and creates nothing
  file.createKey(W("Net"), W("Port"));
  file.setValue(W("net"), W("port"), W("81"));  // spelled as it was
  // Only neighbouring entries of one section fold into one name.
  file.setValue(W("disk"), W("new"), W("1"));
  file.createSection(W("M"));  // a marker entry with an empty key
  file.createSection(W("net"));
  file.createKey(W("m"), W("k"));
  EXPECT_EQ(file.enumerateSections(), (std::vector<Lumbrel::wstring>{W("Disk"), W("NET"), W("disk"), W("M")}));
  file.removeKey(W("DISK"), W("path"));  // the first of the two
  EXPECT_EQ(file.getValue(W("disk"), W("path")), W("b"));
  file.removeSection(W("disk"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), textBytes("[M]\n=\nk=\n[NET]\nPORT=81\n"));
  EXPECT_EQ(file.getValue(W("NET"), W("PORT")), W(""));  // close empties the model
}

}  // namespace
