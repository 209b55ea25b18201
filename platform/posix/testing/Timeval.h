// The complete ::timeval, for tests that make one.
#ifndef LUMBREL_PLATFORM_TESTING_TIMEVAL_H
#define LUMBREL_PLATFORM_TESTING_TIMEVAL_H

#include <sys/time.h>

#endif  // LUMBREL_PLATFORM_TESTING_TIMEVAL_H
