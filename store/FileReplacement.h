// The one way a store replaces the content of its file.
#ifndef LUMBREL_STORE_FILE_REPLACEMENT_H
#define LUMBREL_STORE_FILE_REPLACEMENT_H

#include <functional>

#include "lumbrel/File.h"

namespace Lumbrel {
namespace store {

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

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_FILE_REPLACEMENT_H
