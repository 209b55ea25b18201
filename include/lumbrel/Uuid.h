// Placeholder: declared by its own change.
#ifndef LUMBREL_UUID_H
#define LUMBREL_UUID_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_UUID_H
