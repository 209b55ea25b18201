// Placeholder: declared by its own change.
#ifndef LUMBREL_TIMER_H
#define LUMBREL_TIMER_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_TIMER_H
