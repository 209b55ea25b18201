#include "lumbrel/PropertyFile.h"

#include <gtest/gtest.h>

#include <string>

#include "StoreTestSupport.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

struct PropertyFileTest : ::testing::Test {
  TempDir dir;
  PropertyFile file{dir.name("f")};
};

// Key lines keep their order, duplicates included; a change goes to the first
// of equal keys, spelled as it was, and a new key goes behind.
TEST_F(PropertyFileTest, ChangesGoToTheFirstOfEqualKeysAndNewKeysBehind) {
  writeFile(dir.native("f"), "; c\nzebra=z\napple=p\na=1\nA=2\n");
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("A")), W("1"));
  file.setValue(W("A"), W("changed"));
  file.createKey(W("a"));
  file.createKey(W("new"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), textBytes("zebra=z\napple=p\na=changed\nA=2\nnew=\n"));
  file.open(kReadWrite);
  file.removeKey(W("A"));
  EXPECT_EQ(file.getValue(W("a")), W("2"));
}

TEST_F(PropertyFileTest, TheFirstOfEqualKeysIsFoundAfterEveryChange) {
  // Keys 0-49, each four times in changing case, with the values n, n+50, ...
  std::string content;
  for (int i = 0; i < 200; ++i)
    content += (i % 2 ? "KEY" : "key") + std::to_string(i % 50) + "=" + std::to_string(i) + "\n";
  writeFile(dir.native("f"), content);
  file.open(File::MODE_READ);
  EXPECT_EQ(file.getValue(W("Key7")), W("7"));
  file.removeKey(W("key7"));
  file.removeKey(W("KEY7"));
  // Enough new keys to outgrow the model's size a few times over.
  for (int n = 0; n < 300; ++n) file.setValue(W(("new" + std::to_string(n)).c_str()), W("x"));
  file.setValue(W("key9"), W("changed"));
  for (int k = 0; k < 50; ++k)
    EXPECT_EQ(make_string(file.getValue(W(("kEy" + std::to_string(k)).c_str()))),
              k == 7 ? "107" : k == 9 ? "changed" : std::to_string(k));
  EXPECT_EQ(file.getValue(W("NEW299")), W("x"));
  EXPECT_EQ(file.enumerateKeys().size(), 498U);
}

}  // namespace
