// Many threads on one object. Each store thread owns a range of keys and runs
// a fixed sequence of writes, removals, reads and synchronizations, so the
// store must end holding exactly what the sequences imply, in memory and on
// disk. Data that only a lock or an event hands from thread to thread is kept
// in plain variables, so that a lapse shows as a wrong value here and as a
// race under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "lumbrel/DataFile.h"
#include "lumbrel/Event.h"
#include "lumbrel/InitializationFile.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/PropertyFile.h"

using Lumbrel::DataFile;
using Lumbrel::Event;
using Lumbrel::File;
using Lumbrel::FileLock;
using Lumbrel::InitializationFile;
using Lumbrel::Mutex;
using Lumbrel::MutexLock;
using Lumbrel::PropertyFile;
using Lumbrel::wstring;
using lumbrel_test::TempDir;
using lumbrel_test::W;

namespace {

constexpr std::size_t kThreads = 8;
constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

using Contents = std::map<std::string, std::string>;  // key → value, ASCII

std::string narrow(const wstring& text) { return Lumbrel::make_string(text); }

// The three stores behind one face. Keys are "t<thread>k<number>", values
// never empty, so that an empty value from a settings store means absent.

class DataStore {
 public:
  explicit DataStore(const wstring& name) : file(File::Path(name)) {}

  void put(const std::string& key, const std::string& value) {
    const std::vector<unsigned char> bytes(value.begin(), value.end());
    // operator[] hands out a reference no lock covers: the walk and the change
    // through it hold the store's lock, as a caller sharing the store must.
    const wstring wide = W(key.c_str());
    FileLock guard(file);
    for (unsigned long i = 0; i < file.size(); ++i) {
      if (file[i].getKey() == wide) {
        file[i].setData(bytes);
        return;
      }
    }
    file.insert(DataFile::Record(W(key.c_str()), bytes));
  }
  void erase(const std::string& key) { file.remove(DataFile::Record(W(key.c_str()), {})); }
  std::optional<std::string> get(const std::string& key) {
    const wstring wide = W(key.c_str());
    FileLock guard(file);
    for (unsigned long i = 0; i < file.size(); ++i) {
      if (file[i].getKey() == wide) {
        const std::vector<unsigned char>& data = file[i].getData();
        return std::string(data.begin(), data.end());
      }
    }
    return std::nullopt;
  }
  Contents contents() {
    FileLock guard(file);
    Contents all;
    for (unsigned long i = 0; i < file.size(); ++i) {
      const std::vector<unsigned char>& data = file[i].getData();
      all[narrow(file[i].getKey())] = std::string(data.begin(), data.end());
    }
    return all;
  }

  DataFile file;
};

// Sections are shared among threads: a key's section is picked by its number.
class IniStore {
 public:
  explicit IniStore(const wstring& name) : file(File::Path(name)) {}

  static wstring sectionOf(const std::string& key) {
    return W(("S" + std::string(1, key.back())).c_str());
  }
  void put(const std::string& key, const std::string& value) {
    file.setValue(sectionOf(key), W(key.c_str()), W(value.c_str()));
  }
  void erase(const std::string& key) { file.removeKey(sectionOf(key), W(key.c_str())); }
  std::optional<std::string> get(const std::string& key) {
    const std::string value = narrow(file.getValue(sectionOf(key), W(key.c_str())));
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
  }
  Contents contents() {
    Contents all;
    // Between open and close a section may be listed more than once.
    std::set<wstring> sections;
    for (const wstring& section : file.enumerateSections()) sections.insert(section);
    for (const wstring& section : sections)
      for (const wstring& key : file.enumerateKeys(section))
        all[narrow(key)] = narrow(file.getValue(section, key));
    return all;
  }

  InitializationFile file;
};

class PropertyStore {
 public:
  explicit PropertyStore(const wstring& name) : file(File::Path(name)) {}

  void put(const std::string& key, const std::string& value) {
    file.setValue(W(key.c_str()), W(value.c_str()));
  }
  void erase(const std::string& key) { file.removeKey(W(key.c_str())); }
  std::optional<std::string> get(const std::string& key) {
    const std::string value = narrow(file.getValue(W(key.c_str())));
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
  }
  Contents contents() {
    Contents all;
    for (const wstring& key : file.enumerateKeys()) all[narrow(key)] = narrow(file.getValue(key));
    return all;
  }

  PropertyFile file;
};

// What one thread's sequence does, checked against its own model after every
// step; gives the first mismatch, or nothing.
template <class Store>
std::string runSequence(Store& store, int thread, Contents& mine) {
  constexpr int kKeys = 16, kRounds = 12;
  const std::string prefix = "t" + std::to_string(thread) + "k";
  for (int round = 0; round < kRounds; ++round) {
    for (int k = 0; k < kKeys; ++k) {
      const std::string key = prefix + std::to_string(k);
      const int action = (k + round + thread) % 4;
      if (action <= 1) {
        const std::string value = std::to_string(round) + "." + std::to_string(k);
        store.put(key, value);
        mine[key] = value;
      } else if (action == 2) {
        store.erase(key);
        mine.erase(key);
      }
      const auto expected =
          mine.count(key) != 0 ? std::optional<std::string>(mine[key]) : std::nullopt;
      if (store.get(key) != expected) return "key " + key + " in round " + std::to_string(round);
    }
    // Synchronize writes the whole store and reads it back while the other
    // threads go on.
    if (round % 3 == thread % 3) store.file.synchronize();
    Contents seen;
    for (const auto& [key, value] : store.contents())
      if (key.compare(0, prefix.size(), prefix) == 0) seen[key] = value;
    if (seen != mine) return "the keys of " + prefix + " after round " + std::to_string(round);
  }
  return "";
}

template <class Store>
void hammer(const TempDir& dir) {
  Store store(dir.name("store"));
  store.file.open(kReadWrite);
  std::vector<Contents> models(kThreads);
  std::vector<std::string> failures(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t)
    threads.emplace_back(
        [&, t] { failures[t] = runSequence(store, static_cast<int>(t), models[t]); });
  for (std::thread& thread : threads) thread.join();
  Contents expected;
  for (std::size_t t = 0; t < kThreads; ++t) {
    EXPECT_EQ(failures[t], "") << "thread " << t;
    expected.insert(models[t].begin(), models[t].end());
  }
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(store.contents(), expected);
  store.file.close();
  Store reread(dir.name("store"));
  reread.file.open(File::MODE_READ);
  EXPECT_EQ(reread.contents(), expected);
}

TEST(StoreStress, DataFileSharedByThreads) {
  TempDir dir;
  hammer<DataStore>(dir);
}

TEST(StoreStress, InitializationFileSharedByThreads) {
  TempDir dir;
  hammer<IniStore>(dir);
}

TEST(StoreStress, PropertyFileSharedByThreads) {
  TempDir dir;
  hammer<PropertyStore>(dir);
}

// Every thread takes the lock twice through two copies of its own, and once
// by tries that may be refused. Between its first unlock and its second the
// thread still holds the lock, so nobody else may enter; and an unlock by a
// thread that holds nothing must change nothing.
TEST(ConcurrencyStress, MutexCopiesExcludeAndCountEveryTake) {
  constexpr int kSteps = 4000;
  Mutex shared;
  long counter = 0;  // guarded by `shared` alone
  int holder = -1;   // likewise
  std::atomic<int> intruders{0};
  std::atomic<int> wrongRefusals{0};
  std::atomic<bool> go{false};  // so that the threads overlap
  std::vector<std::thread> threads;
  for (int t = 0; t < static_cast<int>(kThreads); ++t) {
    threads.emplace_back([&, t, mine = Mutex(shared)]() mutable {
      Mutex second(mine);
      while (!go.load()) std::this_thread::yield();
      for (int step = 0; step < kSteps; ++step) {
        mine.unlock();  // holds nothing here
        if (step % 4 == 0) {
          for (;;) {
            try {
              mine.lock(0);
              break;
            } catch (const std::runtime_error& refused) {
              if (std::string(refused.what()) != "failed to obtain mutex within timeout")
                ++wrongRefusals;
              std::this_thread::yield();
            }
          }
        } else {
          mine.lock();
        }
        {
          MutexLock again(second);
          if (holder != -1) ++intruders;
          holder = t;
          ++counter;
        }
        if (mine.isLocked()) ++intruders;  // the holder's own try succeeds
        ++counter;
        if (holder != t) ++intruders;
        holder = -1;
        second.unlock();  // any handle gives the last take back
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 2L * static_cast<long>(kThreads) * kSteps);
  EXPECT_EQ(intruders.load(), 0);
  EXPECT_EQ(wrongRefusals.load(), 0);
  EXPECT_FALSE(shared.isLocked());
  shared.lock(0);
  shared.unlock();
}

// Producers and consumers on copies of two auto-reset events that pass one
// slot back and forth: `full` says an item is in the slot, `empty` that it is
// free. Each signal must release exactly one waiter, so every item reaches
// exactly one consumer. A manual-reset gate, signalled once, starts them all.
// The waits have a limit only so that a lost signal fails instead of hanging.
TEST(ConcurrencyStress, EventsHandEverySignalToExactlyOneWaiter) {
  constexpr int kProducers = 4, kItemsEach = 400, kTotal = kProducers * kItemsEach;
  constexpr std::size_t kConsumers = 4;
  constexpr unsigned long kLimit = 20;
  Event gate(false), full, empty;
  int slot = -1;  // handed over by the events alone
  std::vector<std::vector<int>> taken(kConsumers);
  std::atomic<int> failedWaits{0};
  const auto await = [&](Event& event) {
    const long result = event.wait(kLimit);
    if (result != 0) ++failedWaits;
    return result == 0;
  };
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p, start = gate, in = full, out = empty]() mutable {
      if (!await(start)) return;
      for (int i = 0; i < kItemsEach; ++i) {
        if (!await(out)) return;
        slot = p * kItemsEach + i;
        in.signal();
      }
    });
  }
  for (std::size_t c = 0; c < kConsumers; ++c) {
    threads.emplace_back([&, c, start = gate, in = full, out = empty]() mutable {
      if (!await(start)) return;
      for (int i = 0; i < kTotal / static_cast<int>(kConsumers); ++i) {
        if (!await(in)) return;
        taken[c].push_back(slot);
        out.signal();
      }
    });
  }
  empty.signal();
  gate.signal();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failedWaits.load(), 0);
  std::vector<int> counts(static_cast<std::size_t>(kTotal), 0);
  for (const std::vector<int>& items : taken)
    for (int item : items) ++counts.at(static_cast<std::size_t>(item));
  EXPECT_EQ(counts, std::vector<int>(counts.size(), 1));
  EXPECT_EQ(full.wait(0), 1);   // no signal left over
  EXPECT_EQ(empty.wait(0), 0);  // the slot came back free, once
  EXPECT_EQ(empty.wait(0), 1);
  EXPECT_TRUE(gate.test());  // the manual-reset gate stays open
}

}  // namespace
