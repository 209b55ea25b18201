#include "lumbrel/File.h"

#include <stdexcept>

#include "platform/Platform.h"

namespace Lumbrel {
namespace {

std::ios_base::openmode streamFlags(unsigned long word) {
  std::ios_base::openmode flags{};
  if ((word & File::MODE_READ) != 0) flags |= std::ios_base::in;
  if ((word & File::MODE_WRITE) != 0) flags |= std::ios_base::out;
  if ((word & File::MODE_BINARY) != 0) flags |= std::ios_base::binary;
  return flags;
}

}  // namespace

File::File() : File(wstring()) {}

File::File(const wstring& fileName) : std::basic_fstream<char>(), name_(fileName), mode_(0), mutex_() {}

File::~File() {
  if (!is_open()) return;
  try {
    File::close();
  } catch (...) {
    // A destructor reports nothing; callers who must know call close().
  }
}

void File::open(unsigned long word) {
  FileLock guard(*this);
  platform::Platform& system = platform::current();
  const string fileName = make_string(name_);
  const std::ios_base::openmode flags = streamFlags(word);
  // Open through the buffer: the stream's own open() would clear the state
  // flags on success, and a successful first attempt must leave them alone.
  if (!system.openStream(*rdbuf(), fileName, flags)) setstate(std::ios_base::failbit);
  if (!is_open() && (word & MODE_WRITE) != 0) {
    if (!system.openStream(*rdbuf(), fileName, flags | std::ios_base::trunc))
      setstate(std::ios_base::failbit);
    clear();
  }
  if (!is_open()) throw std::runtime_error("failed to open file.");
  mode_ = word;
}

void File::close() {
  FileLock guard(*this);
  if (rdbuf()->close() == nullptr) setstate(std::ios_base::failbit);
  if (is_open()) throw std::runtime_error("failed to close file.");
  mode_ = 0;
}

void File::synchronize() {
  FileLock guard(*this);
  if (!is_open()) return;
  const unsigned long saved = mode_;
  if ((saved & (MODE_READ | MODE_WRITE)) == MODE_WRITE) {
    // Reopening for writing alone would empty the file that was just
    // written: flush and go back to the start instead.
    flush();
    seekp(0, std::ios_base::beg);
    return;
  }
  close();
  open(saved);
}

unsigned long File::getMode() const { return mode_; }

void File::setMode(unsigned long word) { mode_ = word; }

wstring File::getName() const { return name_; }

bool File::lock() {
  try {
    mutex_.lock(Mutex::WAIT_FOREVER);
    return true;
  } catch (...) {
    return false;
  }
}

bool File::unlock() {
  try {
    mutex_.unlock();
    return true;
  } catch (...) {
    return false;
  }
}

bool File::create(const wstring& fileName) {
  std::basic_filebuf<char> stream;
  platform::current().openStream(stream, make_string(fileName), std::ios_base::out);
  const bool result = exists(fileName);
  stream.close();
  return result;
}

bool File::remove(const wstring& fileName) {
  platform::current().removeFile(make_string(fileName));
  return !exists(fileName);
}

bool File::copy(const wstring& from, const wstring& to) {
  platform::Platform& system = platform::current();
  const string source = make_string(from);
  const string target = make_string(to);
  std::basic_filebuf<char> input;
  // `to` is opened only once `from` is open and is another file, so that a
  // copy that cannot read never destroys the target.
  if (!system.openStream(input, source, std::ios_base::in) || system.sameFile(source, target))
    return exists(from) && exists(to);
  std::basic_filebuf<char> output;
  if (system.openStream(output, target, std::ios_base::out)) {
    char block[64 * 1024];
    for (std::streamsize n; (n = input.sgetn(block, sizeof block)) > 0;) {
      if (output.sputn(block, n) != n) break;
    }
  }
  const bool result = exists(from) && exists(to);
  output.close();
  input.close();
  return result;
}

bool File::exists(const wstring& fileName) {
  return platform::current().exists(make_string(fileName));
}

bool File::rename(const wstring& from, const wstring& to) {
  platform::current().renameNoReplace(make_string(from), make_string(to));
  return !exists(from) && exists(to);
}

FileLock::FileLock(File& target) : file_(target) { file_.lock(); }

FileLock::~FileLock() { file_.unlock(); }

}  // namespace Lumbrel
