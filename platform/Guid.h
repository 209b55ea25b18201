// The complete structure _GUID, for code that reads its fields: the
// platform's own where it has one, which lumbrel/Uuid.h only names; elsewhere
// lumbrel/Uuid.h declares it in full.
#ifndef LUMBREL_PLATFORM_GUID_H
#define LUMBREL_PLATFORM_GUID_H

#include "lumbrel/Uuid.h"

#if LUMBREL_PLATFORM_HAS_GUID
#include <guiddef.h>
#endif

#endif  // LUMBREL_PLATFORM_GUID_H
