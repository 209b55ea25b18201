// Stores under faults from outside: a write cut short by the file size limit,
// a directory that refuses changes, a file removed or cut by someone else
// while a store has it open, and damaged files. Where a fault must hold for a
// whole process (a resource limit, giving up root), the steps run in a forked
// child, which reports the first check that failed by its exit code.
#include <grp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "StoreTestSupport.h"
#include "lumbrel/DataFile.h"
#include "lumbrel/InitializationFile.h"
#include "lumbrel/LogFile.h"
#include "lumbrel/PropertyFile.h"
#include "store/DataFileFormat.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using Entries = std::vector<std::pair<std::string, std::string>>;
using Record = DataFile::Record;

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;
constexpr const char* kReadFailed = "failed to read from file";
constexpr const char* kWriteFailed = "failed to write to file";
constexpr const char* kOpenFailed = "failed to open file.";
constexpr int kSkipped = 77;

std::string encoded(const std::string& key, const std::string& data) {
  const Record record(W(key.c_str()), Bytes(data.begin(), data.end()));
  std::string out(store::encodedSize(record), '\0');
  store::encodeRecord(record, reinterpret_cast<unsigned char*>(&out[0]));
  return out;
}

// The message of what `action` raises; empty when it raises nothing.
std::string raised(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// Numbers the checks made in a child, so that its exit code can name the
// first one that failed.
struct Checks {
  void operator()(bool holds) {
    ++made;
    if (!holds && failed == 0) failed = made;
  }
  int made = 0, failed = 0;
};

// Runs `body` in a forked child and gives its exit code: what `body` returns,
// 125 if it raised, 126 if the child did not end by itself. Call it before the
// test has started any thread.
int inChild(const std::function<int()>& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    int code = 125;
    try {
      code = body();
    } catch (...) {
    }
    ::_exit(code);
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return 126;
  return WEXITSTATUS(status);
}

// Each store behind one face: a value per key, and the file that a store
// holding `entries` writes (entries in the order the store writes them).
struct DataStore {
  using Store = DataFile;
  static constexpr const char* kName = "data";
  static void set(DataFile& file, const char* key, const std::string& value) {
    file.remove(Record(W(key), {}));
    file.insert(Record(W(key), Bytes(value.begin(), value.end())));
  }
  static std::string get(DataFile& file, const char* key) {
    for (unsigned long i = 0; i < file.size(); ++i)
      if (file[i].getKey() == W(key)) return {file[i].getData().begin(), file[i].getData().end()};
    return "";
  }
  static std::string bytes(const Entries& entries) {
    std::string out;
    for (const auto& [key, value] : entries) out += encoded(key, value);
    return out;
  }
};

struct PropertyStore {
  using Store = PropertyFile;
  static constexpr const char* kName = "settings.properties";
  static void set(Store& file, const char* key, const std::string& value) {
    file.setValue(W(key), W(value.c_str()));
  }
  static std::string get(Store& file, const char* key) {
    return make_string(file.getValue(W(key)));
  }
  static std::string bytes(const Entries& entries) {
    std::string out;
    for (const auto& [key, value] : entries) out += key + "=" + value + "\n";
    return out;
  }
};

class FaultTest : public ::testing::Test {
 protected:
  File::Path path(const std::string& entry) const { return File::Path(dir.name(entry)); }
  TempDir dir;
};

// A write that the file size limit cuts part way raises, and the model stays
// whole in the object; once the limit is lifted, close writes all of it.
TEST_F(FaultTest, WriteCutShortKeepsTheModelForALaterClose) {
  constexpr rlim_t kLimit = 16 * 1024;
  constexpr unsigned long kEntries = 64;
  const std::string value(1024, 'v');  // 64 KiB in each file
  const Bytes bytes(value.begin(), value.end());
  const auto key = [](unsigned long i) { return W(("key" + std::to_string(i)).c_str()); };
  const auto holdsAll = [&](DataFile& data, InitializationFile& ini) {
    bool all = data.size() == kEntries && ini.enumerateKeys(W("S")).size() == kEntries;
    for (unsigned long i = 0; all && i < kEntries; ++i)
      all = data[i].getData() == bytes && ini.getValue(W("S"), key(i)) == W(value.c_str());
    return all;
  };
  const int code = inChild([&] {
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_max < 8 * kLimit) return kSkipped;
    ::signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails instead of ending us
    DataFile data(path("data"));
    InitializationFile ini(path("settings"));
    data.open(kReadWrite);
    ini.open(kReadWrite);
    for (unsigned long i = 0; i < kEntries; ++i) {
      data.insert(Record(key(i), bytes));
      ini.setValue(W("S"), key(i), W(value.c_str()));
    }
    limit.rlim_cur = kLimit;
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return kSkipped;
    Checks check;
    check(raised([&] { data.close(); }) == kWriteFailed);
    const auto written = fs::file_size(dir.native("data"));
    check(written > 0 && written <= kLimit);  // cut part way
    check(data.getMode() == (kReadWrite | File::MODE_BINARY));
    check(raised([&] { ini.synchronize(); }) == kWriteFailed);
    check(holdsAll(data, ini));
    {  // a destructor swallows what its close raises, or the child dies here
      InitializationFile doomed(path("doomed"));
      doomed.open(File::MODE_WRITE);
      for (unsigned long i = 0; i < kEntries; ++i)
        doomed.setValue(W("S"), key(i), W(value.c_str()));
    }
    limit.rlim_cur = limit.rlim_max;
    check(::setrlimit(RLIMIT_FSIZE, &limit) == 0);
    check(raised([&] { data.close(); }).empty() && raised([&] { ini.close(); }).empty());
    return check.failed;
  });
  if (code == kSkipped) GTEST_SKIP() << "the file size limit cannot be set";
  ASSERT_EQ(code, 0) << "the number of the first check that failed in the child";
  DataFile data(path("data"));
  InitializationFile ini(path("settings"));
  data.open(File::MODE_READ);
  ini.open(File::MODE_READ);
  EXPECT_TRUE(holdsAll(data, ini));
}

// Gives up root, so that permissions apply to this process; `dir` becomes
// the new user's. True when that worked or was not needed.
bool dropRoot(const std::string& dir) {
  if (::geteuid() != 0) return true;
  constexpr uid_t kNobody = 65534;
  return ::chown(dir.c_str(), kNobody, kNobody) == 0 && ::setgroups(0, nullptr) == 0 &&
         ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0 && ::geteuid() == kNobody;
}

template <class S>
void cannotReplace(Checks& check, const TempDir& dir) {
  const std::string file = dir.native(S::kName);
  writeFile(file, S::bytes({{"k", std::string(200, 'o')}}));
  typename S::Store store(File::Path(dir.name(S::kName)));
  store.open(kReadWrite);
  S::set(store, "k", "new");
  check(::chmod(dir.path().c_str(), 0555) == 0);
  // The old file cannot be removed: it is emptied in place instead, so no
  // byte of it stays behind the shorter new content.
  check(raised([&] { store.close(); }).empty());
  check(readFile(file) == S::bytes({{"k", "new"}}));
  // Neither removed nor opened for writing: the file stays as it was, and
  // the object keeps its model with the stream closed and mode word 0.
  store.open(kReadWrite);
  const unsigned long mode = store.getMode();
  S::set(store, "k", "newer");
  check(::chmod(file.c_str(), 0444) == 0);
  check(raised([&] { store.close(); }) == kOpenFailed);
  check(readFile(file) == S::bytes({{"k", "new"}}));
  check(!store.is_open() && store.getMode() == 0 && S::get(store, "k") == "newer");
  check(::chmod(file.c_str(), 0644) == 0);
  store.setMode(mode);  // so that close writes the kept model
  check(raised([&] { store.close(); }).empty());
  check(readFile(file) == S::bytes({{"k", "newer"}}));
  check(::chmod(dir.path().c_str(), 0755) == 0);
}

// Run as root, the steps give up root first: root ignores permissions.
TEST_F(FaultTest, DirectoryWithoutWritePermission) {
  const int code = inChild([&] {
    if (!dropRoot(dir.path())) return kSkipped;
    Checks check;
    cannotReplace<DataStore>(check, dir);
    cannotReplace<PropertyStore>(check, dir);
    return check.failed;
  });
  ::chmod(dir.path().c_str(), 0700);  // in case the child stopped short of it
  if (code == kSkipped) GTEST_SKIP() << "running as root, which could not be given up";
  EXPECT_EQ(code, 0) << "the number of the first check that failed in the child";
}

// A store works on its model between open and close. Whatever another
// process did to the file meanwhile, a writable store writes the model back;
// a read-only one meets the change only when it reads the file again.
template <class S>
void changedUnderTheStore(const TempDir& dir) {
  SCOPED_TRACE(S::kName);
  const std::string file = dir.native(S::kName);
  const Entries two = {{"a", "1"}, {"b", "2"}}, three = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
  writeFile(file, S::bytes(two));
  typename S::Store store(File::Path(dir.name(S::kName)));
  store.open(kReadWrite);
  fs::remove(file);
  S::set(store, "c", "3");
  store.synchronize();  // writes a new file and reads it back
  EXPECT_EQ(readFile(file), S::bytes(three));
  EXPECT_EQ(S::get(store, "b"), "2");
  fs::resize_file(file, 5);  // cuts a record or a line
  store.close();
  EXPECT_EQ(readFile(file), S::bytes(three));

  store.open(File::MODE_READ);
  fs::resize_file(file, S::bytes(two).size());
  EXPECT_EQ(S::get(store, "c"), "3");
  store.synchronize();
  EXPECT_EQ(S::get(store, "c") + S::get(store, "b"), "2");
  fs::remove(file);
  EXPECT_EQ(raised([&] { store.synchronize(); }), kOpenFailed);
  EXPECT_FALSE(store.is_open());
  EXPECT_EQ(S::get(store, "b"), "");  // synchronize closed before it failed to reopen
  EXPECT_EQ(raised([&] { store.close(); }), "");
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(FaultTest, FileRemovedOrCutWhileOpen) {
  changedUnderTheStore<DataStore>(dir);
  changedUnderTheStore<PropertyStore>(dir);

  // A log appends at the end of whatever the file is now; one removed while
  // attached takes writes that nobody sees, and is not made again.
  LogFile log(path("log"));
  log.open(kReadWrite);
  log << "first\n" << std::flush;
  fs::resize_file(dir.native("log"), 0);
  log << "second\n" << std::flush;
  EXPECT_EQ(readFile(dir.native("log")), "second\n");
  fs::remove(dir.native("log"));
  log << "lost\n" << std::flush;
  log.close();
  EXPECT_FALSE(fs::exists(dir.native("log")));
}

// A settings file whose read fails is rewritten neither by synchronize nor
// by the destructor, also once it could be read again.
template <class Store>
void unreadableSettings(const TempDir& dir, const std::string& entry) {
  const std::string text = "[S]\nk=v\n";
  writeFile(dir.native(entry), text);
  StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  faults.redirectOpens(dir.path(), std::ios_base::in);  // opens, but cannot be read
  {
    Store store(File::Path(dir.name(entry)));
    EXPECT_THROW_MSG(store.open(kReadWrite), std::runtime_error, kReadFailed);
    EXPECT_THROW_MSG(store.synchronize(), std::runtime_error, kReadFailed);
    faults.heal();
  }
  EXPECT_EQ(readFile(dir.native(entry)), text);
}

// A damaged data file raises at every load, keeps what precedes the damage
// and is never rewritten: not by close, synchronize or the destructor. For
// the settings files no byte sequence is damage, since any 8-bit text
// decodes; a failed read is.
TEST_F(FaultTest, DamagedFilesAreLeftByteForByte) {
  const std::string good = encoded("one", "1") + encoded("two", "2");
  const std::pair<std::string, bool> damage[] = {  // and whether it is a key error
      {encoded("three", "333").substr(0, 12), false},           // cut in a length field
      {std::string("\xFF\xFF\xFF\xFF\0a", 6), false},           // key length near 4 GiB
      {std::string("\3\0\0\0\0a\0", 7), false},                 // odd key length
      {std::string("\2\0\0\0\0x\xF0\xFF\xFF\xFF", 10), false},  // data length near 4 GiB
      {std::string("\0\0\0\0\1\0\0\0x", 9), true}};             // empty key
  for (const auto& [damaged, keyError] : damage) {
    const std::string bytes = good + damaged + encoded("after", "!");
    const auto fails = [&, keyError = keyError](const std::function<void()>& load) {
      if (keyError) EXPECT_THROW_MSG(load(), std::invalid_argument, "zero length key");
      else EXPECT_THROW_MSG(load(), std::runtime_error, kReadFailed);
    };
    writeFile(dir.native("data"), bytes);
    {
      DataFile file(path("data"));
      fails([&] { file.open(kReadWrite); });
      EXPECT_EQ(file.getMode(), kReadWrite | File::MODE_BINARY);
      file.insert(Record(W("more"), {}));
      fails([&] { file.synchronize(); });
      EXPECT_EQ(file.size(), 2UL);
      EXPECT_EQ(readFile(dir.native("data")), bytes);
      file.insert(Record(W("more"), {}));
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
