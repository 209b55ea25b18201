// Pieces shared by the files of this folder: the Windows headers with their
// macros kept in check, library names in the wide form the system calls
// take, and waits that tests can see a thread blocked in.
#ifndef LUMBREL_PLATFORM_WIN32_WIN_SUPPORT_H
#define LUMBREL_PLATFORM_WIN32_WIN_SUPPORT_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>  // before <windows.h>, which would bring the old one
#include <windows.h>

#include <cstddef>
#include <string>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace platform {

// The system's wide characters are the library's UTF-16 units; the copies
// below go unit by unit all the same.
static_assert(sizeof(wchar_t) == sizeof(unsigned short), "Windows names are UTF-16 units");

// The wide form of an 8-bit library name, decoded as the library decodes
// UTF-8, up to its first null byte.
std::wstring wideName(const std::string& name);
// The library's wide text of `size` system units.
wstring libraryText(const wchar_t* text, std::size_t size);

// WaitForSingleObject and Sleep for a thread that may block: while the call
// lasts, threadIsBlocked is true for the calling thread.
DWORD blockingWait(HANDLE object, DWORD milliseconds);
void blockingSleep(DWORD milliseconds);
// Drops what blockingWait recorded of a thread that was ended inside it.
void forgetBlockedThread(DWORD id);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_WIN32_WIN_SUPPORT_H
