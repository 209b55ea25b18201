// Placeholder: declared by its own change.
#ifndef LUMBREL_DATE_TIME_H
#define LUMBREL_DATE_TIME_H

#include "lumbrel/Export.h"

#endif  // LUMBREL_DATE_TIME_H
