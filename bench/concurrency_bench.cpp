// The concurrency primitives beside the standard library and POCO:
// - mutex_uncontended: one lock and unlock by a single thread.
// - mutex_contended_4_threads: four threads each lock, increment a shared
//   count and unlock, as fast as they can; one item is one such step by any
//   of them.
// - event_ping_pong: two threads and two auto-reset events; one item is a
//   round trip (signal the partner, wait for its answer). The standard
//   library's row builds each event from a flag, a std::mutex and a
//   std::condition_variable.
// - thread_start_join: make a thread that does nothing, and join it.
//
// The standard library's mutex is std::recursive_timed_mutex, the one that
// offers what Lumbrel::Mutex does apart from robustness; POCO's Mutex is
// recursive too.
//
// Rows where threads block report items per second of wall-clock time, which
// the calling thread's processor time would overstate.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "lumbrel/Event.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/Thread.h"

#if defined(LUMBREL_PEER_POCO)
#include <Poco/Event.h>
#include <Poco/Mutex.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#endif

namespace {

// glibc's own locks skip the bus lock of their atomic instructions while the
// process has never had a second thread, which a program that needs a lock
// seldom is. Without this, which of the peers' rows ran before the first
// contended case started threads would decide their figures: every case runs
// in a process that has had threads.
const bool kThreadsStarted = [] {
  std::thread([] {}).join();
  return true;
}();

// Wall-clock rate of what a benchmark loop did, reported under the same name
// as SetItemsProcessed's rate.
class WallRate {
 public:
  WallRate() : start_(std::chrono::steady_clock::now()) {}
  void report(benchmark::State& state, std::int64_t count) const {
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start_;
    state.counters["items_per_second"] =
        benchmark::Counter(static_cast<double>(count) / spent.count());
  }

 private:
  std::chrono::steady_clock::time_point start_;
};

// ---- Locks, each behind lock() and unlock() ----

struct LumbrelLock {
  Lumbrel::Mutex mutex;
  void lock() { mutex.lock(Lumbrel::Mutex::WAIT_FOREVER); }
  void unlock() { mutex.unlock(); }
};

struct StdLock {
  std::recursive_timed_mutex mutex;
  void lock() { mutex.lock(); }
  void unlock() { mutex.unlock(); }
};

#if defined(LUMBREL_PEER_POCO)
struct PocoLock {
  Poco::Mutex mutex;
  void lock() { mutex.lock(); }
  void unlock() { mutex.unlock(); }
};
#endif

template <class Lock>
void mutexUncontended(benchmark::State& state) {
  Lock lock;
  for (auto _ : state) {
    lock.lock();
    lock.unlock();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

template <class Lock>
void mutexContended(benchmark::State& state) {
  constexpr int kOthers = 3;
  Lock lock;
  long shared = 0;
  std::atomic<bool> go{false};
  std::atomic<bool> stop{false};
  std::atomic<std::int64_t> othersDone{0};
  std::vector<std::thread> others;
  for (int i = 0; i < kOthers; ++i) {
    others.emplace_back([&] {
      while (!go.load()) std::this_thread::yield();
      std::int64_t done = 0;
      while (!stop.load(std::memory_order_relaxed)) {
        lock.lock();
        ++shared;
        lock.unlock();
        ++done;
      }
      othersDone += done;
    });
  }
  go = true;
  const WallRate rate;
  for (auto _ : state) {
    lock.lock();
    ++shared;
    lock.unlock();
  }
  stop = true;
  for (auto& other : others) other.join();
  benchmark::DoNotOptimize(shared);
  rate.report(state, static_cast<std::int64_t>(state.iterations()) + othersDone.load());
}

BENCHMARK_TEMPLATE(mutexUncontended, LumbrelLock)->Name("concurrency/mutex_uncontended/lumbrel");
BENCHMARK_TEMPLATE(mutexUncontended, StdLock)->Name("concurrency/mutex_uncontended/std");
BENCHMARK_TEMPLATE(mutexContended, LumbrelLock)
    ->Name("concurrency/mutex_contended_4_threads/lumbrel");
BENCHMARK_TEMPLATE(mutexContended, StdLock)->Name("concurrency/mutex_contended_4_threads/std");
#if defined(LUMBREL_PEER_POCO)
BENCHMARK_TEMPLATE(mutexUncontended, PocoLock)->Name("concurrency/mutex_uncontended/poco");
BENCHMARK_TEMPLATE(mutexContended, PocoLock)->Name("concurrency/mutex_contended_4_threads/poco");
#endif

// ---- Auto-reset events, each behind signal() and wait() ----

struct LumbrelEvent {
  Lumbrel::Event event{true};
  void signal() { event.signal(); }
  void wait() { event.wait(Lumbrel::Event::WAIT_FOREVER); }
};

struct StdEvent {
  std::mutex mutex;
  std::condition_variable condition;
  bool signalled = false;
  void signal() {
    {
      const std::lock_guard<std::mutex> hold(mutex);
      signalled = true;
    }
    condition.notify_one();
  }
  void wait() {
    std::unique_lock<std::mutex> hold(mutex);
    condition.wait(hold, [this] { return signalled; });
    signalled = false;
  }
};

#if defined(LUMBREL_PEER_POCO)
struct PocoEvent {
  Poco::Event event{Poco::Event::EVENT_AUTORESET};
  void signal() { event.set(); }
  void wait() { event.wait(); }
};
#endif

template <class Event>
void eventPingPong(benchmark::State& state) {
  Event ping;
  Event pong;
  std::atomic<bool> finished{false};
  std::thread partner([&] {
    for (;;) {
      ping.wait();
      if (finished.load()) return;
      pong.signal();
    }
  });
  const WallRate rate;
  for (auto _ : state) {
    ping.signal();
    pong.wait();
  }
  rate.report(state, static_cast<std::int64_t>(state.iterations()));
  finished = true;
  ping.signal();
  partner.join();
}

BENCHMARK_TEMPLATE(eventPingPong, LumbrelEvent)->Name("concurrency/event_ping_pong/lumbrel");
BENCHMARK_TEMPLATE(eventPingPong, StdEvent)->Name("concurrency/event_ping_pong/std");
#if defined(LUMBREL_PEER_POCO)
BENCHMARK_TEMPLATE(eventPingPong, PocoEvent)->Name("concurrency/event_ping_pong/poco");
#endif

// ---- Threads: one object made, started and joined per item ----

void threadStartJoinLumbrel(benchmark::State& state) {
  const WallRate rate;
  for (auto _ : state) {
    Lumbrel::Thread thread;
    thread.start();
    benchmark::DoNotOptimize(thread.join());
  }
  rate.report(state, static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(threadStartJoinLumbrel)->Name("concurrency/thread_start_join/lumbrel");

void threadStartJoinStd(benchmark::State& state) {
  const WallRate rate;
  for (auto _ : state) {
    std::thread thread([] {});
    thread.join();
  }
  rate.report(state, static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(threadStartJoinStd)->Name("concurrency/thread_start_join/std");

#if defined(LUMBREL_PEER_POCO)
struct Nothing : Poco::Runnable {
  void run() override {}
};

void threadStartJoinPoco(benchmark::State& state) {
  Nothing nothing;
  const WallRate rate;
  for (auto _ : state) {
    Poco::Thread thread;
    thread.start(nothing);
    thread.join();
  }
  rate.report(state, static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(threadStartJoinPoco)->Name("concurrency/thread_start_join/poco");
#endif

}  // namespace
