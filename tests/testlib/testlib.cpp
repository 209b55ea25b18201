// A small library that the run-time loading tests load, one build for each
// value of LUMBREL_TESTLIB_ANSWER, so that two different files are at hand.
#include "lumbrel/Export.h"

extern "C" LUMBREL_EXPORTED int lumbrel_testlib_answer() {
  return LUMBREL_TESTLIB_ANSWER;
}

// Counts calls; each load of the file starts again from zero.
extern "C" LUMBREL_EXPORTED int lumbrel_testlib_count() {
  static int calls = 0;
  return ++calls;
}
