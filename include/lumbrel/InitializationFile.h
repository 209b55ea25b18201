// Placeholder: declared by its own change.
#ifndef LUMBREL_INITIALIZATION_FILE_H
#define LUMBREL_INITIALIZATION_FILE_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_INITIALIZATION_FILE_H
