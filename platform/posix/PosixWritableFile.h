// WritableFile on POSIX file descriptors.
#ifndef LUMBREL_PLATFORM_POSIX_POSIX_WRITABLE_FILE_H
#define LUMBREL_PLATFORM_POSIX_POSIX_WRITABLE_FILE_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "platform/Platform.h"

namespace Lumbrel {
namespace platform {

class PosixWritableFile final : public WritableFile {
 public:
  // `native` is the name as the system knows it; its symbolic links are
  // followed here, once.
  explicit PosixWritableFile(const std::string& native);
  ~PosixWritableFile() override;

  bool removeTarget() override;
  Creation createTarget() override;
  bool truncateTarget() override;
  bool createTemporary() override;
  bool append(const unsigned char* bytes, std::size_t size) override;
  bool sync() override;
  bool close() override;
  bool commit() override;
  void discard() override;

 private:
  void closeDescriptor();
  // Gives the file just created the old file's owner, group and mode.
  void applyAttributes();
  // Writes fresh random digits into the temporary's name, in place.
  void drawTemporaryName();

  std::string target_;         // the file the name leads to
  std::string folder_;         // its folder with the final slash, or empty
  std::string folderForOpen_;  // the folder as open() takes it
  std::string temporary_;      // a name beside the target
  std::size_t digits_ = 0;     // where the temporary's random digits start
  bool known_ = false;         // whether the target existed as a regular file
  mode_t permissions_ = 0;
  uid_t owner_ = 0;
  gid_t group_ = 0;
  int fd_ = -1;
  bool anonymous_ = false;  // fd_ is a temporary without a name yet
  bool named_ = false;      // the temporary's name is on disk
  unsigned fallback_ = 0;
};

std::unique_ptr<WritableFile> newPosixWritableFile(const std::string& native);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_POSIX_POSIX_WRITABLE_FILE_H
