#include "store/StoreModel.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/Platform.h"

namespace Lumbrel {
namespace store {
namespace {

// Exclusive creations that may meet a file another process has made since
// this one removed the old file, before the save gives up.
constexpr int kCreateAttempts = 8;

// Reads the stream from byte 0 up to the length the file had when this
// started: a file that grows meanwhile is not followed, one that shrinks
// ends early without failing. False when the stream failed on the way;
// `bytes` then holds what arrived before.
bool readWholeFile(File& file, ByteBuffer& bytes) {
  file.flush();
  file.clear();
  bytes.resize(0);
  std::streambuf& buffer = *file.rdbuf();
  const std::streamoff length = buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  if (length < 0 || buffer.pubseekpos(0, std::ios_base::in) != std::streampos(0)) return false;
  // Read through the stream, not the buffer: a read error then sets badbit
  // instead of leaving an exception of the buffer's own. The first block
  // shows whether the file reads at all, before a length that only looks
  // like one (a folder's) can size a buffer.
  constexpr std::size_t kFirstBlock = 64 * 1024;
  const auto total = static_cast<std::size_t>(length);
  std::size_t used = 0;
  while (used < total) {
    const std::size_t chunk = used == 0 && total > kFirstBlock ? kFirstBlock : total - used;
    bytes.resize(used + chunk);
    file.read(reinterpret_cast<char*>(bytes.data() + used), static_cast<std::streamsize>(chunk));
    used += static_cast<std::size_t>(file.gcount());
    bytes.resize(used);
    if (file.bad()) return false;
    if (file.eof()) return true;
    if (file.fail()) return false;
  }
  // A file of length 0 may still refuse to be read (a folder).
  if (total == 0) file.peek();
  return !file.bad() && !(file.fail() && !file.eof());
}

// Opens the stream on the file again after a save closed it, so that the
// object stays open as callers expect. Nothing goes through this stream: it
// is opened without truncation, whatever the mode word says.
void reopen(File& file, unsigned long mode) {
  std::ios_base::openmode binary{};
  if ((mode & File::MODE_BINARY) != 0) binary = std::ios_base::binary;
  platform::Platform& system = platform::current();
  const string name = make_string(file.getName());
  if (!system.openStream(*file.rdbuf(), name, std::ios_base::in | std::ios_base::out | binary))
    system.openStream(*file.rdbuf(), name, std::ios_base::out | std::ios_base::app | binary);
  file.clear();
  file.setMode(mode);
}

// Writes a file's bytes as a stream opened with or without the binary flag
// would: in text, each "\n" becomes the platform's line end. Text goes
// through a buffer of its own, so that writing allocates nothing.
class LineEndWriter {
 public:
  LineEndWriter(platform::WritableFile& target, bool binary)
      : target_(target), lineEnd_(platform::textLineEnd()) {
    translates_ = !binary && std::strcmp(lineEnd_, "\n") != 0;
  }

  bool write(const unsigned char* bytes, std::size_t size) {
    if (!translates_) return target_.append(bytes, size);
    for (std::size_t i = 0; i < size; ++i) {
      if (bytes[i] != '\n') {
        if (!put(bytes[i])) return false;
        continue;
      }
      for (const char* end = lineEnd_; *end != '\0'; ++end) {
        if (!put(static_cast<unsigned char>(*end))) return false;
      }
    }
    return true;
  }

  // Writes what the buffer still holds.
  bool finish() {
    const bool written = used_ == 0 || target_.append(buffer_, used_);
    used_ = 0;
    return written;
  }

 private:
  bool put(unsigned char byte) {
    if (used_ == sizeof buffer_ && !finish()) return false;
    buffer_[used_++] = byte;
    return true;
  }

  platform::WritableFile& target_;
  const char* lineEnd_;
  bool translates_ = false;
  unsigned char buffer_[16 * 1024];
  std::size_t used_ = 0;
};

}  // namespace

StoreModel::~StoreModel() = default;

void StoreModel::open(File& file, unsigned long mode) {
  FileLock guard(file);
  // Opening a FIFO for reading waits for a writer, and a device reads without
  // end: neither is a store's file.
  if (platform::current().fileKind(make_string(file.getName())) == platform::FileKind::other) {
    if ((mode & File::MODE_READ) == 0) throw std::runtime_error("failed to open file.");
    loadFailed_ = true;
    throw std::runtime_error("failed to read from file");
  }
  file.File::open(mode);
  clear();
  loadFailed_ = false;
  try {
    if ((file.getMode() & File::MODE_READ) != 0) {
      ByteBuffer bytes;
      const bool complete = readWholeFile(file, bytes);
      load(std::move(bytes), complete);
      if (!complete) throw std::runtime_error("failed to read from file");
    }
    loaded();
  } catch (...) {
    // Whatever stopped the load (damage, a failed read, memory), the model
    // holds part of the file at most: it must never replace the file.
    loadFailed_ = true;
    throw;
  }
}

void StoreModel::close(File& file) {
  FileLock guard(file);
  const bool writes = (file.getMode() & File::MODE_WRITE) != 0 && !loadFailed_;
  if (writes) save(file, false);
  clear();
  // A save leaves the stream closed; closing it again would only mark it failed.
  if (writes && !file.is_open()) {
    file.setMode(0);
  } else {
    file.File::close();
  }
}

void StoreModel::synchronize(File& file) {
  FileLock guard(file);
  if (!file.is_open()) return;
  if ((file.getMode() & (File::MODE_READ | File::MODE_WRITE)) == File::MODE_WRITE) {
    // Opening again for writing alone would empty the file just written and
    // read nothing back: write the model and keep it.
    if (!loadFailed_) save(file, true);
    return;
  }
  file.File::synchronize();
}

void StoreModel::closeQuietly(File& file) noexcept {
  if (!file.is_open()) return;
  try {
    file.close();
  } catch (...) {
    // A destructor reports nothing; callers who must know call close().
  }
}

void StoreModel::save(File& file, bool keepOpen) {
  FileImage image;
  compose(image);
  std::unique_ptr<platform::WritableFile> target =
      platform::current().newWritableFile(make_string(file.getName()));
  const unsigned long mode = file.getMode();
  file.File::close();
  file.clear();
  LineEndWriter writer(*target, alwaysBinary() || (mode & File::MODE_BINARY) != 0);
  const auto append = [&writer](const unsigned char* bytes, std::size_t size) {
    return writer.write(bytes, size);
  };

  // From here on nothing allocates until the new content is written, but for
  // the messages of the failures.
  bool written;
  if (saveMode_ == SaveMode::CRASH_SAFE) {
    if (!target->createTemporary()) throw std::runtime_error("failed to open file.");
    written = image.write(append) && writer.finish() && target->sync() && target->commit();
    if (!written) target->discard();
  } else {
    platform::Creation created = platform::Creation::failed;
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
      if (!target->removeTarget()) {
        // The folder keeps the old file: empty it in place instead, so that
        // none of its bytes stay behind the new content.
        created = target->truncateTarget() ? platform::Creation::created : platform::Creation::failed;
        break;
      }
      // Another process may have made the file since it was removed; its
      // save and this one must not share a file.
      created = target->createTarget();
      if (created != platform::Creation::exists) break;
    }
    if (created != platform::Creation::created) throw std::runtime_error("failed to open file.");
    written = image.write(append) && writer.finish();
    written = target->close() && written;
  }
  if (!written) {
    reopen(file, mode);
    throw std::runtime_error("failed to write to file");
  }
  if (keepOpen) reopen(file, mode);
}

}  // namespace store
}  // namespace Lumbrel
