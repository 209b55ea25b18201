// Placeholder: declared by its own change.
#ifndef LUMBREL_EVENT_H
#define LUMBREL_EVENT_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_EVENT_H
