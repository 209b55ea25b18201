// Placeholder: declared by its own change.
#ifndef LUMBREL_DYNAMIC_LIBRARY_H
#define LUMBREL_DYNAMIC_LIBRARY_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_DYNAMIC_LIBRARY_H
