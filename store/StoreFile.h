// How every store moves its content between its File and memory: the whole
// file is read in one pass, and the whole content replaces the file.
#ifndef LUMBREL_STORE_STORE_FILE_H
#define LUMBREL_STORE_STORE_FILE_H

#include <cstddef>
#include <functional>

#include "lumbrel/File.h"
#include "store/ByteBuffer.h"

namespace Lumbrel {
namespace store {

// Flushes pending output, clears the state bits and reads the stream from
// byte 0 to its end into `bytes`, sized from the file's length first. False
// when the stream failed on the way; `bytes` then holds what arrived before.
bool readWholeFile(File& file, ByteBuffer& bytes);

// Replaces `file`'s content with what `write` puts into its stream: closes the
// stream, removes the file, opens it again with the mode word it had and calls
// `write` with the stream's state cleared and its position at the start. When
// the old file cannot be removed it is reopened with truncation, so that none
// of its bytes stay behind the new content; the mode word stays as it was.
// There is no temporary file: the old content is gone before the new one is
// written. Raises what File::close and File::open raise ("failed to close
// file.", "failed to open file.") and whatever `write` raises; the stream is
// left open after a failing `write`. Requires the caller to hold the lock.
void replaceFileContent(File& file, const std::function<void()>& write);

// replaceFileContent with content composed in memory beforehand, so that the
// old file is gone for as short a time as possible; the bytes are flushed.
void replaceFileContent(File& file, const string& bytes);

// Writes `count` bytes; raises runtime_error "failed to write to file" when
// the stream takes fewer.
void writeBytes(File& file, const void* bytes, std::size_t count);

// Flushes what was written, so that a full disk shows here while the content
// is still in memory, and not silently inside the last close. Raises
// runtime_error "failed to write to file".
void finishWriting(File& file);

// For destructors: closes through the store's own close and swallows any
// failure. Callers who must know call close() themselves.
void closeQuietly(File& file);

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_STORE_FILE_H
