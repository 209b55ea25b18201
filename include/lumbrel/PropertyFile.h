// Placeholder: declared by its own change.
#ifndef LUMBREL_PROPERTY_FILE_H
#define LUMBREL_PROPERTY_FILE_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_PROPERTY_FILE_H
