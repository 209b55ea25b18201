// The global operator new of a test program, with a failure on demand. It
// lives in a file of its own so that no caller sees it and its delete
// together, as plain malloc and free.
#include "AllocationFailure.h"

#include <cstdlib>
#include <new>

namespace {

long countdown = -1;
bool fired = false;

}  // namespace

void* operator new(std::size_t size) {
  if (countdown >= 0 && countdown-- == 0) {
    fired = true;
    throw std::bad_alloc();
  }
  if (void* block = std::malloc(size != 0 ? size : 1)) return block;
  throw std::bad_alloc();
}

// Every other form goes through the one above, so that all of them count
// and every block is malloc's.
void* operator new[](std::size_t size) { return ::operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
  return ::operator new(size, nothrow);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

namespace lumbrel_test {

AllocationFailure::AllocationFailure(long n) {
  fired = false;
  countdown = n;
}

AllocationFailure::~AllocationFailure() { countdown = -1; }

bool AllocationFailure::happened() { return fired; }

}  // namespace lumbrel_test
