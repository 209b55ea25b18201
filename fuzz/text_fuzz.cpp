// Decoding takes any bytes; encoding its result and decoding again gives the
// same units, since every unit the decoder yields encodes to a form that
// decodes to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "lumbrel/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Lumbrel::string bytes(reinterpret_cast<const char*>(data), size);
  const Lumbrel::wstring units = Lumbrel::make_wstring(bytes);
  if (units.size() > Lumbrel::length(bytes)) std::abort();
  if (Lumbrel::length(units) != units.size()) std::abort();
  if (Lumbrel::make_wstring(Lumbrel::make_string(units)) != units) std::abort();
  return 0;
}
