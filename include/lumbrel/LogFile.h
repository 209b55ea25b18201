// Placeholder: declared by its own change.
#ifndef LUMBREL_LOG_FILE_H
#define LUMBREL_LOG_FILE_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_LOG_FILE_H
