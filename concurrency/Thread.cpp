#include "lumbrel/Thread.h"

#include <cstdint>

#include "platform/Thread.h"

namespace Lumbrel {

Thread::Thread()
    : handle_(nullptr), threadId_(0), argument_(nullptr), started_(false), detached_(false) {}

Thread::Thread(const Thread& other)
    : handle_(platform::shareThread(other.handle_)),
      threadId_(other.threadId_),
      argument_(other.argument_),
      started_(other.started_),
      detached_(other.detached_) {}

Thread& Thread::operator=(const Thread& other) {
  if (this == &other) return *this;
  platform::ThreadObject* shared = platform::shareThread(other.handle_);
  platform::releaseThread(handle_);
  handle_ = shared;
  threadId_ = other.threadId_;
  argument_ = other.argument_;
  started_ = other.started_;
  detached_ = other.detached_;
  return *this;
}

Thread::~Thread() { platform::releaseThread(handle_); }

void Thread::stop() {}

void* Thread::run(void*) { return nullptr; }

bool Thread::start(void* value) {
  if (started_) return true;
  argument_ = value;
  platform::ThreadObject* made = platform::startThread(&Thread::entry, this, &threadId_);
  if (made == nullptr) return false;
  handle_ = made;
  if (detached_) platform::detachThread(handle_);
  started_ = true;
  return true;
}

void* Thread::join() {
  if (!started_ || detached_) return nullptr;
  void* result = platform::joinThread(handle_);
  detached_ = true;
  return result;
}

void Thread::detach() {
  if (started_ && !detached_) platform::detachThread(handle_);
  detached_ = true;
}

void Thread::abort() {
  if (!started_ || detached_) return;
  // Recorded first: a thread that aborts its own object ends inside the call.
  detached_ = true;
  platform::cancelThread(handle_);
}

unsigned long Thread::getThreadId() const { return threadId_; }

unsigned long Thread::getCurrentThreadId() { return platform::currentThreadId(); }

void Thread::sleep(unsigned int time) { platform::sleepMilliseconds(time); }

void* Thread::entry(void* object) {
  auto* self = static_cast<Thread*>(object);
  return platform::callCatchingExceptions(&Thread::runEntry, self,
                                          reinterpret_cast<void*>(~std::uintptr_t{0}));
}

void* Thread::runEntry(void* object) {
  auto* self = static_cast<Thread*>(object);
  return self->run(self->argument_);
}

}  // namespace Lumbrel
