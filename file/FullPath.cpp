#include "file/FullPath.h"

namespace Lumbrel {
namespace filepath {
namespace {

bool isSeparator(unsigned short unit) { return unit == kSlash || unit == kBackslash; }

}  // namespace

wstring fullPath(const wstring& text) {
  const std::size_t n = static_cast<std::size_t>(length(text));
  const unsigned short* units = text.data();

  wstring result;
  std::size_t pos = 0;
  // Segments behind the root that `..` never removes and that are never
  // taken for `.` or `..`: the server and share of a network path.
  std::size_t locked = 0;
  if (n >= 3 && !isSeparator(units[0]) && units[1] == kColon && isSeparator(units[2])) {
    result = {units[0], kColon, kBackslash};
    pos = 3;
  } else if (n >= 2 && isSeparator(units[0]) && isSeparator(units[1])) {
    result = {kBackslash, kBackslash};
    pos = 2;
    locked = 2;
  } else {
    // Relative, rooted at the current volume, or a volume with a relative
    // rest: each would need the working directory, which must not count.
    return wstring();
  }
  const std::size_t rootSize = result.size();
  result.reserve(n);

  // `result` is always the root followed by the kept segments joined with
  // backslashes, so that the last segment starts behind the last backslash.
  std::size_t count = 0;
  bool endsWithSeparator = false;
  while (pos < n) {
    if (isSeparator(units[pos])) {
      ++pos;
      endsWithSeparator = true;
      continue;
    }
    std::size_t end = pos;
    while (end < n && !isSeparator(units[end])) ++end;
    const std::size_t size = end - pos;
    const bool dot = size == 1 && units[pos] == '.';
    const bool dotDot = size == 2 && units[pos] == '.' && units[pos + 1] == '.';
    if (count >= locked && dot) {
      // `.` names the directory it stands in.
    } else if (count >= locked && dotDot) {
      if (count > locked) {
        result.resize(count == 1 ? rootSize : result.rfind(kBackslash));
        --count;
      }
    } else {
      if (count > 0) result += kBackslash;
      result.append(units + pos, size);
      ++count;
    }
    endsWithSeparator = false;
    pos = end;
  }
  if (endsWithSeparator && count > 0) result += kBackslash;

  if (result.size() >= kMaxPathUnits) return wstring();
  return result;
}

}  // namespace filepath
}  // namespace Lumbrel
