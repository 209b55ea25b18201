#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

std::wstring wideName(const std::string& name) {
  const wstring units = make_wstring(name);
  std::wstring wide;
  wide.reserve(units.size());
  for (const unsigned short unit : units) wide += static_cast<wchar_t>(unit);
  return wide;
}

wstring libraryText(const wchar_t* text, std::size_t size) {
  wstring units;
  units.reserve(size);
  for (std::size_t i = 0; i < size; ++i) units += static_cast<unsigned short>(text[i]);
  return units;
}

}  // namespace platform
}  // namespace Lumbrel
