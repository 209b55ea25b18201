// The complete ::timeval, for tests that make one: the socket header's.
#ifndef LUMBREL_PLATFORM_TESTING_TIMEVAL_H
#define LUMBREL_PLATFORM_TESTING_TIMEVAL_H

#include "platform/win32/WinSupport.h"

#endif  // LUMBREL_PLATFORM_TESTING_TIMEVAL_H
