// Stores under faults. Memory runs out at each allocation of a whole load and
// of a whole save; a save breaks at each of its steps and at each byte it
// writes; another save of the same file runs between any two steps; the name
// leads to something that is not a regular file; the file is removed, cut or
// damaged. Every sweep runs each store in both save modes and checks the file
// afterwards: the old content byte for byte, the new content whole, or (a
// write that fails in place) what was written, and a later close writes it all.
#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "AllocationFailure.h"
#include "StoreTestSupport.h"
#include "lumbrel/LogFile.h"
#include "platform/Testing.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

namespace fs = std::filesystem;
using platform::Creation;
using platform::WritableFile;

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;
constexpr const char* kReadFailed = "failed to read from file";
constexpr const char* kWriteFailed = "failed to write to file";
constexpr const char* kOpenFailed = "failed to open file.";
constexpr SaveMode kModes[] = {SaveMode::IN_PLACE, SaveMode::CRASH_SAFE};

// The message of what `action` raises; empty when it raises nothing.
std::string raised(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// A file system whose saves break or pause at any step: `fails` (when set)
// is called before each step and fails it by returning true; an append
// writes nothing past `writeLimit` bytes of the save and then fails.
class SaveFaults : public platform::PlatformWrapper {
 public:
  enum Step { kRemove, kCreate, kTruncate, kTemporary, kAppend, kSync, kClose, kCommit };

  std::function<bool(Step)> fails;
  std::size_t writeLimit = std::numeric_limits<std::size_t>::max();
  std::size_t written = 0;

  void reset() {
    fails = nullptr;
    writeLimit = std::numeric_limits<std::size_t>::max();
    written = 0;
  }
  std::unique_ptr<WritableFile> newWritableFile(const std::string& name) override {
    return std::make_unique<File>(*this, PlatformWrapper::newWritableFile(name));
  }

 private:
  bool pass(Step step) { return !fails || !fails(step); }

  class File : public WritableFile {
   public:
    File(SaveFaults& faults, std::unique_ptr<WritableFile> real)
        : faults_(faults), real_(std::move(real)) {}
    bool removeTarget() override { return faults_.pass(kRemove) && real_->removeTarget(); }
    Creation createTarget() override {
      return faults_.pass(kCreate) ? real_->createTarget() : Creation::failed;
    }
    bool truncateTarget() override { return faults_.pass(kTruncate) && real_->truncateTarget(); }
    bool createTemporary() override { return faults_.pass(kTemporary) && real_->createTemporary(); }
    bool append(const unsigned char* bytes, std::size_t size) override {
      if (!faults_.pass(kAppend)) return false;
      const std::size_t room = faults_.writeLimit - std::min(faults_.writeLimit, faults_.written);
      const std::size_t taken = std::min(size, room);
      faults_.written += taken;
      return real_->append(bytes, taken) && taken == size;
    }
    bool sync() override { return faults_.pass(kSync) && real_->sync(); }
    bool close() override {
      const bool passes = faults_.pass(kClose);
      return real_->close() && passes;  // closed either way, as a failing close does
    }
    bool commit() override { return faults_.pass(kCommit) && real_->commit(); }
    void discard() override { real_->discard(); }

   private:
    SaveFaults& faults_;
    std::unique_ptr<WritableFile> real_;
  };
};

template <class S>
class StoreFaultTest : public ::testing::Test {
 protected:
  using Store = typename S::Store;

  File::Path path() const { return File::Path(dir.name(S::kName)); }
  std::string file() const { return readFile(dir.native(S::kName)); }
  // The names in the folder that hold the store's file name: its file and
  // any temporary a save left behind (none should).
  std::size_t entries() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(dir.path()))
      if (entry.path().filename().string().find(S::kName) != std::string::npos) ++count;
    return count;
  }
  // Opens `store` on the old file and sets "k" to "new".
  void changed(Store& store, SaveMode mode) {
    writeFile(dir.native(S::kName), S::before());
    store.setSaveMode(mode);
    store.open(kReadWrite);
    S::set(store, "k", "new");
  }

  TempDir dir;
};
TYPED_TEST_SUITE(StoreFaultTest, Stores, );

// However far a load got before memory ran out, the object never writes the
// part it holds over the file: not by close, synchronize or its destructor.
TYPED_TEST(StoreFaultTest, AllocationFailureAtEachStepOfALoadWritesNothing) {
  using S = TypeParam;
  for (long n = 0;; ++n) {
    writeFile(this->dir.native(S::kName), S::before());
    bool failed = false, reached = false;
    {
      typename S::Store store(this->path());
      AllocationFailure failure(n);
      failed = !raised([&] { store.open(kReadWrite); }).empty();
      reached = AllocationFailure::happened();
    }
    ASSERT_EQ(this->file(), failed ? S::before() : S::rewritten()) << "allocation " << n;
    if (!reached) break;
  }
}

// A save that runs out of memory does so before the old file is touched, and
// keeps the model for a later close.
TYPED_TEST(StoreFaultTest, AllocationFailureAtEachStepOfASaveKeepsTheOldFile) {
  using S = TypeParam;
  for (const SaveMode mode : kModes) {
    for (long n = 0;; ++n) {
      typename S::Store store(this->path());
      this->changed(store, mode);
      std::string message;
      {
        AllocationFailure failure(n);
        message = raised([&] { store.close(); });
      }
      if (!AllocationFailure::happened()) {
        ASSERT_EQ(this->file(), S::after());
        break;
      }
      ASSERT_EQ(message, std::bad_alloc().what()) << "allocation " << n;
      ASSERT_EQ(this->file(), S::before()) << "allocation " << n;
      ASSERT_EQ(S::get(store, "k"), "new");
      store.close();
      ASSERT_EQ(this->file(), S::after()) << "allocation " << n;
      ASSERT_EQ(this->entries(), 1U);
    }
  }
}

// A write that fails at any byte: in place, the file holds what was written
// and the object stays open with its model; crash-safe, the old file stays
// whole and no temporary is left. Either way a later close writes it all.
TYPED_TEST(StoreFaultTest, WriteFailureAtEachByteOfASave) {
  using S = TypeParam;
  SaveFaults faults;
  platform::ScopedPlatform scope(faults);
  for (const SaveMode mode : kModes) {
    for (std::size_t limit = 0; limit < S::after().size(); ++limit) {
      typename S::Store store(this->path());
      this->changed(store, mode);
      const unsigned long word = store.getMode();
      faults.reset();
      faults.writeLimit = limit;
      ASSERT_EQ(raised([&] { store.close(); }), kWriteFailed);
      const std::string expected =
          mode == SaveMode::IN_PLACE ? S::after().substr(0, limit) : S::before();
      ASSERT_EQ(this->file(), expected) << "byte " << limit;
      ASSERT_TRUE(store.is_open() && store.getMode() == word && S::get(store, "k") == "new");
      ASSERT_EQ(this->entries(), 1U);
      faults.reset();
      store.close();
      ASSERT_EQ(this->file(), S::after());
    }
  }
}

// Each step that can fail, and what is left: "failed to open file." leaves
// the object not open at mode word 0, "failed to write to file" open; both
// keep the model. An old file that cannot be removed is emptied in place.
TYPED_TEST(StoreFaultTest, FailureAtEachStepOfASave) {
  using S = TypeParam;
  using Step = SaveFaults::Step;
  enum Left { kOld, kNone, kNew };
  const struct {
    SaveMode mode;
    Step step;
    const char* message;
    Left left;
  } cases[] = {
      {SaveMode::IN_PLACE, Step::kCreate, kOpenFailed, kNone},
      {SaveMode::IN_PLACE, Step::kTruncate, kOpenFailed, kOld},  // after a failed removal
      {SaveMode::IN_PLACE, Step::kClose, kWriteFailed, kNew},
      {SaveMode::CRASH_SAFE, Step::kTemporary, kOpenFailed, kOld},
      {SaveMode::CRASH_SAFE, Step::kSync, kWriteFailed, kOld},
      {SaveMode::CRASH_SAFE, Step::kCommit, kWriteFailed, kOld},
  };
  SaveFaults faults;
  platform::ScopedPlatform scope(faults);
  for (const auto& c : cases) {
    SCOPED_TRACE("step " + std::to_string(c.step));
    typename S::Store store(this->path());
    this->changed(store, c.mode);
    const unsigned long word = store.getMode();
    faults.reset();
    faults.fails = [&c](Step step) {
      return step == c.step || (c.step == Step::kTruncate && step == Step::kRemove);
    };
    EXPECT_EQ(raised([&] { store.close(); }), c.message);
    EXPECT_EQ(this->entries(), c.left == kNone ? 0U : 1U);
    EXPECT_EQ(this->file(), c.left == kNone ? "" : c.left == kOld ? S::before() : S::after());
    const bool closed = c.message == std::string(kOpenFailed);
    EXPECT_EQ(store.is_open(), !closed);
    EXPECT_EQ(store.getMode(), closed ? 0 : word);
    EXPECT_EQ(S::get(store, "k"), "new");
    store.setMode(word);
    faults.reset();
    store.close();
    EXPECT_EQ(this->file(), S::after());
  }

  // Removal refused: the old file is emptied and written in place.
  typename S::Store store(this->path());
  this->changed(store, SaveMode::IN_PLACE);
  faults.reset();
  faults.fails = [](Step step) { return step == Step::kRemove; };
  store.close();
  EXPECT_EQ(this->file(), S::after());

  // A file made anew before each exclusive creation: the save removes it and
  // tries again, a bounded number of times.
  for (const int made : {3, 100}) {
    this->changed(store, SaveMode::IN_PLACE);
    faults.reset();
    int left = made;
    faults.fails = [&](Step step) {
      if (step == Step::kCreate && left-- > 0) writeFile(this->dir.native(S::kName), "other");
      return false;
    };
    EXPECT_EQ(raised([&] { store.close(); }), made == 3 ? "" : kOpenFailed);
    faults.reset();
    EXPECT_EQ(this->file(), made == 3 ? S::after() : "other");
  }
}

// A second object saves the same file whole between two steps of a save, at
// every pair of steps: the file ends as one of the two saves, whole, never a
// mixture. (Exclusive creation keeps the two saves in files of their own.)
TYPED_TEST(StoreFaultTest, AnotherSaveBetweenAnyTwoStepsLeavesOneWholeSave) {
  using S = TypeParam;
  SaveFaults faults;
  platform::ScopedPlatform scope(faults);
  for (const SaveMode mode : kModes) {
    for (const SaveMode otherMode : kModes) {
      for (int at = 1;; ++at) {
        typename S::Store store(this->path());
        this->changed(store, mode);
        S::set(store, "b", std::string(5000, 'x'));  // a save of several writes
        faults.reset();
        int steps = 0;
        std::string refused;
        faults.fails = [&](SaveFaults::Step) {
          if (++steps != at) return false;
          typename S::Store other(this->path());
          other.setSaveMode(otherMode);
          refused = raised([&] {
            other.open(File::MODE_WRITE);
            S::set(other, "k", "other");
            S::set(other, "b", std::string(6000, 'y'));  // longer, so that no tail of it may stay
            other.close();
          });
          return false;
        };
        store.close();
        // Where a file held open for writing refuses other writers (Windows), the other save
        // fails whole while the first one writes its file; elsewhere both succeed.
        ASSERT_TRUE(refused.empty() || (platform::sharingIsMandatory() && refused == kOpenFailed))
            << "step " << at << ": " << refused;
        typename S::Store result(this->path());
        result.open(File::MODE_READ);
        const std::string k = S::get(result, "k"), b = S::get(result, "b");
        ASSERT_TRUE((k == "other" && b == std::string(6000, 'y')) ||
                    (k == "new" && b == std::string(5000, 'x')))
            << "step " << at;
        if (steps < at) break;
      }
    }
  }
}

// Removes a file that a store holds open, as another process may; false
// where the system refuses that (Windows), which the platform must do then.
bool removedUnderneath(const std::string& file) {
  std::error_code refused;
  fs::remove(file, refused);
  EXPECT_TRUE(!refused || platform::sharingIsMandatory()) << refused.message();
  return !refused;
}

// A store works on its model between open and close. Whatever another
// process did to the file meanwhile, a writable store writes the model back;
// a read-only one meets the change only when it reads the file again.
TYPED_TEST(StoreFaultTest, FileRemovedOrCutWhileOpen) {
  using S = TypeParam;
  const std::string file = this->dir.native(S::kName);
  writeFile(file, S::before());
  typename S::Store store(this->path());
  store.open(kReadWrite);
  removedUnderneath(file);
  S::set(store, "k", "new");
  store.synchronize();  // writes a new file and reads it back
  EXPECT_EQ(readFile(file), S::after());
  EXPECT_EQ(S::get(store, "b"), "2");
  fs::resize_file(file, 5);  // cuts a record or a line
  store.close();
  EXPECT_EQ(readFile(file), S::after());

  store.open(File::MODE_READ);
  writeFile(file, "");
  EXPECT_EQ(S::get(store, "b"), "2");
  store.synchronize();
  EXPECT_EQ(S::get(store, "b"), "");
  if (removedUnderneath(file)) {
    EXPECT_EQ(raised([&] { store.synchronize(); }), kOpenFailed);
    EXPECT_FALSE(store.is_open());
  }
  EXPECT_EQ(raised([&] { store.close(); }), "");
  EXPECT_EQ(fs::exists(file), platform::sharingIsMandatory());
}

class FaultTest : public ::testing::Test {
 protected:
  TempDir dir;
};

// A log appends at the end of whatever the file is now; one removed while
// attached takes writes that nobody sees, and is not made again.
TEST_F(FaultTest, LogFileRemovedOrCutWhileAttached) {
  LogFile log(File::Path(dir.name("log")));
  log.open(kReadWrite);
  log << "first\n" << std::flush;
  fs::resize_file(dir.native("log"), 0);
  log << "second\n" << std::flush;
  EXPECT_EQ(readFile(dir.native("log")), textBytes("second\n"));
  const bool removed = removedUnderneath(dir.native("log"));
  log << "lost\n" << std::flush;
  log.close();
  EXPECT_EQ(fs::exists(dir.native("log")), !removed);
}

// A save gives the new file the old one's permission bits (on Windows its
// read-only attribute), and through a symbolic link replaces the file the
// link leads to; the link stays. Where no link can be made (a Windows user
// needs a privilege for one), the save goes to the file by its own name.
TEST_F(FaultTest, PermissionsAndLinksSurviveEitherSave) {
  const fs::path real = nativePath(dir.native("real.properties"));
  const fs::path link = nativePath(dir.native(PropertyStore::kName));
  const auto kept = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
  for (const SaveMode mode : kModes) {
    writeFile(real.u8string(), PropertyStore::before());
    fs::permissions(real, kept);
    fs::remove(link);
    std::error_code noLink;
    fs::create_symlink(real.filename(), link, noLink);
    PropertyFile store(File::Path(dir.name(noLink ? "real.properties" : PropertyStore::kName)));
    store.setSaveMode(mode);
    store.open(File::MODE_READ);  // a read-only file opens for reading only
    PropertyStore::set(store, "k", "new");
    store.setMode(kReadWrite);
    store.close();
    EXPECT_TRUE(noLink || fs::is_symlink(link));
    EXPECT_EQ(readFile(real.u8string()), PropertyStore::after());
    EXPECT_EQ(fs::status(real).permissions() & fs::perms::all, kept);
    EXPECT_EQ(std::distance(fs::directory_iterator(real.parent_path()), fs::directory_iterator()),
              noLink ? 1 : 2);
    fs::permissions(real, fs::perms::owner_write, fs::perm_options::add);
  }
}

// A name that leads to a FIFO or a device is neither read (a FIFO would wait
// for ever, a device read without end) nor replaced; with the read bit that
// is a failed load, so no later close writes either.
TEST_F(FaultTest, NamesThatAreNoRegularFileAreNeitherReadNorReplaced) {
  struct Device : platform::PlatformWrapper {
    platform::FileKind fileKind(const std::string&) override { return platform::FileKind::other; }
  } device;
  writeFile(dir.native(PropertyStore::kName), PropertyStore::before());
  {
    platform::ScopedPlatform scope(device);
    PropertyFile store(File::Path(dir.name(PropertyStore::kName)));
    EXPECT_EQ(raised([&] { store.open(kReadWrite); }), kReadFailed);
    EXPECT_EQ(raised([&] { store.open(File::MODE_WRITE); }), kOpenFailed);
    EXPECT_EQ(raised([&] { store.open(kReadWrite); }), kReadFailed);
    store.setMode(kReadWrite);
    store.close();
  }
  EXPECT_EQ(readFile(dir.native(PropertyStore::kName)), PropertyStore::before());
  if (fs::is_character_file("/dev/zero")) {
    InitializationFile zero(File::Path("Z:\\dev\\zero"));
    EXPECT_EQ(raised([&] { zero.open(File::MODE_READ); }), kReadFailed);
  }
}

// A settings file whose read fails is rewritten neither by synchronize nor
// by the destructor, also once it could be read again.
template <class Store>
void unreadableSettings(const TempDir& dir, const std::string& entry) {
  // Opens every stream on a name that opens but cannot be read, until healed.
  struct Unreadable : platform::PlatformWrapper {
    std::string target;
    bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                    std::ios_base::openmode mode) override {
      if (target.empty()) return PlatformWrapper::openStream(buffer, name, mode);
      return buffer.open(target, std::ios_base::in) != nullptr;
    }
  } faults;
  const std::string text = "[S]\nk=v\n";
  writeFile(dir.native(entry), text);
  platform::ScopedPlatform scope(faults);
  const platform::UnreadableFile unreadable(dir.path());
  faults.target = unreadable.path();
  {
    Store store(File::Path(dir.name(entry)));
    EXPECT_THROW_MSG(store.open(kReadWrite), std::runtime_error, kReadFailed);
    EXPECT_THROW_MSG(store.synchronize(), std::runtime_error, kReadFailed);
    faults.target.clear();
  }
  EXPECT_EQ(readFile(dir.native(entry)), text);
}

// A damaged data file raises at every load, keeps what precedes the damage
// and is never rewritten: not by close, synchronize or the destructor. (Each
// kind of damage is a seed of datafile_fuzz.) For the settings files no byte
// sequence is damage, since any 8-bit text decodes; a failed read is.
TEST_F(FaultTest, DamagedFilesAreLeftByteForByte) {
  const std::string good = encoded("one", "1") + encoded("two", "2");
  for (const bool keyError : {false, true}) {
    const std::string bytes = good + (keyError ? std::string("\0\0\0\0\1\0\0\0x", 9)  // no key
                                               : encoded("three", "333").substr(0, 12)) +
                              encoded("after", "!");
    const auto fails = [keyError](const std::function<void()>& load) {
      if (keyError) EXPECT_THROW_MSG(load(), std::invalid_argument, "zero length key");
      else EXPECT_THROW_MSG(load(), std::runtime_error, kReadFailed);
    };
    writeFile(dir.native("data"), bytes);
    {
      DataFile file(File::Path(dir.name("data")));
      fails([&] { file.open(kReadWrite); });
      EXPECT_EQ(file.getMode(), kReadWrite | File::MODE_BINARY);
      file.insert(DataFile::Record(W("more"), {}));
      fails([&] { file.synchronize(); });
      EXPECT_EQ(file.size(), 2UL);
      EXPECT_EQ(readFile(dir.native("data")), bytes);
      file.insert(DataFile::Record(W("more"), {}));
      file.close();
      EXPECT_EQ(readFile(dir.native("data")), bytes);
      fails([&] { file.open(kReadWrite); });
    }
    EXPECT_EQ(readFile(dir.native("data")), bytes);
  }
  unreadableSettings<InitializationFile>(dir, "settings.ini");
  unreadableSettings<PropertyFile>(dir, "settings.properties");
}

}  // namespace
