// Costs of the concurrency primitives: an Event round trip between two
// threads, Mutex lock and unlock alone and with two threads contending, and a
// Thread's start and join.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "lumbrel/Event.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/Thread.h"

namespace {

constexpr unsigned long kForever = Lumbrel::Event::WAIT_FOREVER;

// One iteration: signal the partner thread and wait for its answer.
void eventPingPong(benchmark::State& state) {
  Lumbrel::Event ping(state.range(0) != 0);
  Lumbrel::Event pong(state.range(0) != 0);
  std::atomic<bool> finished{false};
  std::thread partner([&] {
    for (;;) {
      ping.wait(kForever);
      if (state.range(0) == 0) ping.reset();
      if (finished.load()) return;
      pong.signal();
    }
  });
  for (auto _ : state) {
    ping.signal();
    pong.wait(kForever);
    if (state.range(0) == 0) pong.reset();
  }
  finished = true;
  ping.signal();
  partner.join();
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(eventPingPong)->ArgName("autoReset")->Arg(1)->Arg(0)->UseRealTime();

void mutexUncontended(benchmark::State& state) {
  Lumbrel::Mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(mutexUncontended);

Lumbrel::Mutex& sharedMutex() {
  static Lumbrel::Mutex mutex;
  return mutex;
}

void mutexContended(benchmark::State& state) {
  Lumbrel::Mutex& mutex = sharedMutex();
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(mutexContended)->Threads(2)->UseRealTime();

void threadStartJoin(benchmark::State& state) {
  for (auto _ : state) {
    Lumbrel::Thread thread;
    thread.start();
    benchmark::DoNotOptimize(thread.join());
  }
}
BENCHMARK(threadStartJoin)->UseRealTime();

}  // namespace
