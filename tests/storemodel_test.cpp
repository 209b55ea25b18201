// The life of a store's model with its file, which the three stores share:
// one contract, run against each of them.
#include "store/StoreModel.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "StoreTestSupport.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

template <class S>
struct StoreModelTest : ::testing::Test {
  File::Path path() const { return File::Path(dir.name(S::kName)); }
  Contents onDisk() const {
    typename S::Store reader(path());
    reader.open(File::MODE_READ);
    return S::contents(reader);
  }
  TempDir dir;
};
TYPED_TEST_SUITE(StoreModelTest, Stores, );

// Open drops the model and, with the read bit, loads the file; close writes
// the model only with the write bit; synchronize with the write bit alone
// writes and keeps the model, since reopening would empty the file just
// written; the destructor writes what is pending.
TYPED_TEST(StoreModelTest, ModesDecideWhatIsReadAndWritten) {
  using S = TypeParam;
  {
    typename S::Store store(this->path());
    S::set(store, "dropped", "by open");
    EXPECT_THROW_MSG(store.open(File::MODE_READ), std::runtime_error, "failed to open file.");
    EXPECT_FALSE(File::exists(this->dir.name(S::kName)));
    store.open(kReadWrite);  // creates the file
    EXPECT_EQ(S::contents(store), Contents());
    S::set(store, "k", "1");
    store.close();
    store.open(File::MODE_READ);
    S::set(store, "k", "read only");
    store.close();
    store.open(File::MODE_READ);
    S::set(store, "x", "reopened");
    store.open(File::MODE_READ);  // throws the changes away
    S::set(store, "y", "2");
    store.setMode(kReadWrite);  // now close writes
    store.close();
    EXPECT_EQ(this->onDisk(), (Contents{{"k", "1"}, {"y", "2"}}));
    store.open(File::MODE_WRITE);  // empties the file and loads nothing
    EXPECT_EQ(readFile(this->dir.native(S::kName)), "");
    S::set(store, "w", "3");
    store.synchronize();
    EXPECT_EQ(this->onDisk(), (Contents{{"w", "3"}}));
    S::set(store, "z", "4");
  }
  EXPECT_EQ(this->onDisk(), (Contents{{"w", "3"}, {"z", "4"}}));
}

}  // namespace
