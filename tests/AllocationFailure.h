// Memory that runs out on demand, for the tests that sweep a failure over
// every allocation of an operation. The program that includes this replaces
// the global operator new (AllocationFailure.cpp).
#ifndef LUMBREL_TESTS_ALLOCATION_FAILURE_H
#define LUMBREL_TESTS_ALLOCATION_FAILURE_H

namespace lumbrel_test {

// Within its scope the allocation numbered `n` from here (0: the next one)
// fails once with std::bad_alloc. One thread at a time.
class AllocationFailure {
 public:
  explicit AllocationFailure(long n);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  // Whether the failure has happened: false once the operation made fewer
  // than n + 1 allocations, which ends a sweep.
  static bool happened();
};

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_ALLOCATION_FAILURE_H
