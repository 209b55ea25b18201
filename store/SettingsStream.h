// Moving the bytes of a settings file between its stream and memory: the
// whole file is read in one pass and written as one buffer.
#ifndef LUMBREL_STORE_SETTINGS_STREAM_H
#define LUMBREL_STORE_SETTINGS_STREAM_H

#include <cstddef>

#include "lumbrel/File.h"

namespace Lumbrel {
namespace store {

// Flushes pending output, clears the state bits and reads the stream from
// byte 0 to its end into `bytes`. False when the stream failed on the way;
// `bytes` then holds what arrived before the failure.
bool readWholeFile(File& file, string& bytes);

// The length of the complete lines at the front of `bytes`: up to and with
// its last newline.
std::size_t completeLines(const string& bytes);

// Writes `bytes` in one write and flushes them, so that a full disk shows
// here and not silently at close. Raises runtime_error "failed to write to
// file" when the stream reports failure.
void writeWholeFile(File& file, const string& bytes);

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_SETTINGS_STREAM_H
