#include "lumbrel/LogFile.h"

#include <iostream>
#include <stdexcept>

#include "platform/Platform.h"

namespace Lumbrel {

LogFile::LogFile() : File() {}

LogFile::LogFile(const File::Path& path) : File(static_cast<wstring>(path)) {}

LogFile::~LogFile() = default;

void LogFile::open(unsigned int word) {
  // Opening first makes sure the file exists (and, with the write bit alone,
  // empties it) by the ordinary rules of File.
  File::open(word);
  File::close();
  const string fileName = make_string(getName());
  std::ios_base::openmode flags{};
  if ((word & MODE_WRITE) != 0) flags = std::ios_base::out | std::ios_base::app;
  if (!platform::current().openStream(*rdbuf(), fileName, flags)) setstate(std::ios_base::failbit);
  if (!is_open()) {
    std::cout << "File::open() failed to open " << fileName << '\n' << std::flush;
    throw std::runtime_error("failed to open file.");
  }
  clear();
}

void LogFile::synchronize() {
  FileLock guard(*this);
  if (is_open() && (getMode() & (MODE_READ | MODE_WRITE)) == 0) {
    flush();
    return;
  }
  File::synchronize();
}

}  // namespace Lumbrel
