#include "store/FileReplacement.h"

namespace Lumbrel {
namespace store {

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

}  // namespace store
}  // namespace Lumbrel
