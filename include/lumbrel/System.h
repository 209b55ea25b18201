// Placeholder: declared by its own change.
#ifndef LUMBREL_SYSTEM_H
#define LUMBREL_SYSTEM_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_SYSTEM_H
