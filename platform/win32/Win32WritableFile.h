// WritableFile on Windows file handles.
#ifndef LUMBREL_PLATFORM_WIN32_WIN32_WRITABLE_FILE_H
#define LUMBREL_PLATFORM_WIN32_WIN32_WRITABLE_FILE_H

#include <memory>
#include <string>

#include "platform/Platform.h"

namespace Lumbrel {
namespace platform {

// A save to the library name `name`; a symbolic link is followed here, once.
std::unique_ptr<WritableFile> newWin32WritableFile(const std::string& name);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_WIN32_WIN32_WRITABLE_FILE_H
