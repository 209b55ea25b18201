// Placeholder: declared by its own change.
#ifndef LUMBREL_THREAD_H
#define LUMBREL_THREAD_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_THREAD_H
