/// \file
/// Everything lumbrelcommon exports, in one include.
///
/// \namespace Lumbrel
/// Everything lumbrelcommon exports: its classes, free functions and constants.
#ifndef LUMBREL_LUMBREL_H
#define LUMBREL_LUMBREL_H

#include "lumbrel/Text.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/File.h"
#include "lumbrel/SaveMode.h"
#include "lumbrel/DataFile.h"
#include "lumbrel/InitializationFile.h"
#include "lumbrel/PropertyFile.h"
#include "lumbrel/LogFile.h"
#include "lumbrel/DateTime.h"
#include "lumbrel/Timer.h"
#include "lumbrel/Uuid.h"
#include "lumbrel/Event.h"
#include "lumbrel/Thread.h"
#include "lumbrel/DynamicLibrary.h"
#include "lumbrel/System.h"

#endif  // LUMBREL_LUMBREL_H
