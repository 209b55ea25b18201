#include "store/StoreFile.h"

#include <stdexcept>

namespace Lumbrel {
namespace store {
namespace {

[[noreturn]] void writeFailed(File& file) {
  file.setstate(std::ios_base::failbit);
  throw std::runtime_error("failed to write to file");
}

}  // namespace

bool readWholeFile(File& file, ByteBuffer& bytes) {
  file.flush();
  file.clear();
  bytes.resize(0);
  std::streambuf& buffer = *file.rdbuf();
  const std::streamoff length = buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  if (buffer.pubseekpos(0, std::ios_base::in) != std::streampos(0)) return false;
  // Read through the stream, not the buffer: a read error then sets badbit
  // instead of leaving an exception of the buffer's own. The first block
  // shows whether the file reads at all (a directory has a length of sorts
  // but no bytes); the rest is read in one block sized by the length plus the
  // one byte that shows the end, and on if the file grew meanwhile.
  const std::size_t wanted = length > 0 ? static_cast<std::size_t>(length) + 1 : 1;
  constexpr std::size_t kBlock = 64 * 1024;
  std::size_t chunk = wanted < kBlock ? wanted : kBlock;
  std::size_t used = 0;
  for (;;) {
    bytes.resize(used + chunk);
    file.read(reinterpret_cast<char*>(bytes.data() + used), static_cast<std::streamsize>(chunk));
    used += static_cast<std::size_t>(file.gcount());
    bytes.resize(used);
    if (file.bad()) return false;
    if (file.eof()) return true;
    if (file.fail()) return false;
    chunk = wanted > used ? wanted - used : kBlock;
  }
}

void replaceFileContent(File& file, const std::function<void()>& write) {
  const unsigned long mode = file.getMode();
  file.File::close();
  if (File::remove(file.getName())) {
    file.File::open(mode);
  } else {
    // Opening for writing alone truncates; the word is put back afterwards so
    // that the store still sees the mode its caller gave.
    file.File::open(mode & ~File::MODE_READ);
    file.setMode(mode);
  }
  file.clear();
  file.seekp(0, std::ios_base::beg);
  write();
}

void replaceFileContent(File& file, const string& bytes) {
  replaceFileContent(file, [&] {
    writeBytes(file, bytes.data(), bytes.size());
    finishWriting(file);
  });
}

void writeBytes(File& file, const void* bytes, std::size_t count) {
  const auto expected = static_cast<std::streamsize>(count);
  if (file.rdbuf()->sputn(static_cast<const char*>(bytes), expected) != expected) writeFailed(file);
}

void finishWriting(File& file) {
  if (file.rdbuf()->pubsync() != 0) writeFailed(file);
}

void closeQuietly(File& file) {
  if (!file.is_open()) return;
  try {
    file.close();
  } catch (...) {
    // A destructor reports nothing.
  }
}

}  // namespace store
}  // namespace Lumbrel
