// Many threads on one object. Each store thread owns a range of keys and runs
// a fixed sequence of writes, removals, reads and synchronizations, so the
// store must end holding exactly what the sequences imply, in memory and on
// disk. Data that only a lock or an event hands from thread to thread is kept
// in plain variables, so that a lapse shows as a wrong value here and as a
// race under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreTestSupport.h"
#include "lumbrel/Event.h"
#include "lumbrel/Mutex.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

constexpr std::size_t kThreads = 8;

// One thread's sequence over the keys "t<thread>k<number>", checked against
// its own model after every step; gives the first mismatch, or nothing.
// Values are never empty, so an empty one means the key is not there.
template <class S>
std::string runSequence(typename S::Store& store, int thread, Contents& mine) {
  const std::string prefix = "t" + std::to_string(thread) + "k";
  for (int round = 0; round < 12; ++round) {
    for (int k = 0; k < 16; ++k) {
      const std::string key = prefix + std::to_string(k);
      const int action = (k + round + thread) % 4;
      if (action <= 1) {
        S::set(store, key, mine[key] = std::to_string(round) + "." + std::to_string(k));
      } else if (action == 2) {
        S::erase(store, key);
        mine.erase(key);
      }
      if (S::get(store, key) != (mine.count(key) != 0 ? mine[key] : ""))
        return "key " + key + " in round " + std::to_string(round);
    }
    // Synchronize writes the whole store and reads it back while the others go on.
    if (round % 3 == thread % 3) store.synchronize();
    Contents seen;
    for (const auto& [key, value] : S::contents(store))
      if (key.compare(0, prefix.size(), prefix) == 0) seen[key] = value;
    if (seen != mine) return "the keys of " + prefix + " after round " + std::to_string(round);
  }
  return "";
}

template <class S>
class StoreStress : public ::testing::Test {};
TYPED_TEST_SUITE(StoreStress, Stores, );

TYPED_TEST(StoreStress, SharedByThreadsEndsInExactState) {
  using S = TypeParam;
  TempDir dir;
  typename S::Store store(File::Path(dir.name("store")));
  store.open(File::MODE_READ | File::MODE_WRITE);
  std::vector<Contents> models(kThreads);
  std::vector<std::string> failures(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t)
    threads.emplace_back(
        [&, t] { failures[t] = runSequence<S>(store, static_cast<int>(t), models[t]); });
  for (std::thread& thread : threads) thread.join();
  Contents expected;
  for (std::size_t t = 0; t < kThreads; ++t) {
    EXPECT_EQ(failures[t], "") << "thread " << t;
    expected.insert(models[t].begin(), models[t].end());
  }
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(S::contents(store), expected);
  store.close();
  typename S::Store reread(File::Path(dir.name("store")));
  reread.open(File::MODE_READ);
  EXPECT_EQ(S::contents(reread), expected);
}

// Every thread takes the lock through one copy (a quarter of the time by tries
// that may be refused) and again through a second; while it holds the lock
// nobody else may enter, and an unlock by a thread holding nothing changes nothing.
TEST(ConcurrencyStress, MutexCopiesExcludeAndCountEveryTake) {
  constexpr int kSteps = 4000;
  Mutex shared;
  long counter = 0;  // guarded by `shared` alone
  int holder = -1;   // likewise
  std::atomic<int> faults{0};
  std::atomic<bool> go{false};  // so that the threads overlap
  std::vector<std::thread> threads;
  for (int t = 0; t < static_cast<int>(kThreads); ++t) {
    threads.emplace_back([&, t, mine = Mutex(shared)]() mutable {
      Mutex second(mine);
      while (!go.load()) std::this_thread::yield();
      for (int step = 0; step < kSteps; ++step) {
        mine.unlock();  // holds nothing here
        while (step % 4 == 0) {
          try {
            mine.lock(0);
            break;
          } catch (const std::runtime_error& refused) {
            if (std::string(refused.what()) != "failed to obtain mutex within timeout") ++faults;
            std::this_thread::yield();
          }
        }
        if (step % 4 != 0) mine.lock();
        {
          MutexLock again(second);
          if (holder != -1) ++faults;
          holder = t;
          ++counter;
        }
        if (mine.isLocked()) ++faults;  // the holder's own try succeeds
        ++counter;
        if (holder != t) ++faults;
        holder = -1;
        second.unlock();  // any handle gives the last take back
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 2L * static_cast<long>(kThreads) * kSteps);
  EXPECT_EQ(faults.load(), 0);
  EXPECT_FALSE(shared.isLocked());
}

// Producers and consumers on copies of two auto-reset events passing one slot
// back and forth (`full`: an item waits, `empty`: the slot is free). Each
// signal must release exactly one waiter, so every item reaches exactly one
// consumer. A manual-reset gate, signalled once, starts them all. The waits
// have a limit only so that a lost signal fails instead of hanging.
TEST(ConcurrencyStress, EventsHandEverySignalToExactlyOneWaiter) {
  constexpr int kPairs = 4, kItemsEach = 400, kTotal = kPairs * kItemsEach;
  Event gate(false), full, empty;
  int slot = -1;  // handed over by the events alone
  std::vector<std::vector<int>> taken(kPairs);
  std::atomic<int> failedWaits{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < 2 * kPairs; ++p) {
    const bool producer = p < kPairs;
    threads.emplace_back([&, p, producer, start = gate, in = full, out = empty]() mutable {
      const auto await = [&](Event& e) { return e.wait(20) == 0 || (++failedWaits, false); };
      if (!await(start)) return;
      for (int i = 0; i < kItemsEach; ++i) {
        if (!await(producer ? out : in)) return;
        if (producer) slot = p * kItemsEach + i;
        else taken[static_cast<std::size_t>(p - kPairs)].push_back(slot);
        (producer ? in : out).signal();
      }
    });
  }
  empty.signal();
  gate.signal();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failedWaits.load(), 0);
  std::vector<int> counts(kTotal, 0);
  for (const std::vector<int>& items : taken)
    for (int item : items) ++counts.at(static_cast<std::size_t>(item));
  EXPECT_EQ(counts, std::vector<int>(kTotal, 1));
  EXPECT_EQ(full.wait(0), 1);   // no signal left over
  EXPECT_EQ(empty.wait(0), 0);  // the slot came back free, once
  EXPECT_EQ(empty.wait(0), 1);
  EXPECT_TRUE(gate.test());  // the manual-reset gate stays open
}

}  // namespace
