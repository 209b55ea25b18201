// The full form of a path in the Windows rules, worked out on the text alone.
//
// File::Path anchors relative text at the executable's directory and then
// needs the full form of the joined text. On Windows that is what the C
// runtime's full-path call gives; here the same rules are applied to the text,
// so that the result never depends on the file system or on the working
// directory.
#ifndef LUMBREL_FILE_FULL_PATH_H
#define LUMBREL_FILE_FULL_PATH_H

#include <cstddef>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace filepath {

// The separator characters of the library's file names. Widening these ASCII
// characters gives themselves in every locale, so they are fixed when the
// library is built, which also lets static initialisers elsewhere use them.
constexpr unsigned short kSlash = '/';
constexpr unsigned short kColon = ':';
constexpr unsigned short kBackslash = '\\';

// The room for a full path, its terminator included.
constexpr std::size_t kMaxPathUnits = 260;

// The full form of `text` (read up to its first null unit): slashes become
// backslashes, runs of separators collapse, `.` and `..` segments resolve and
// never climb above the root. The root is `X:\` for text that starts with a
// unit, a colon and a separator, and `\\server\share` for text that starts
// with two separators; those two segments are kept as they are. Empty when
// the text has neither root (it would need the working directory) or when the
// result needs more than kMaxPathUnits units with its terminator.
wstring fullPath(const wstring& text);

}  // namespace filepath
}  // namespace Lumbrel

#endif  // LUMBREL_FILE_FULL_PATH_H
