// Placeholder: declared by its own change.
#ifndef LUMBREL_DATA_FILE_H
#define LUMBREL_DATA_FILE_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_DATA_FILE_H
