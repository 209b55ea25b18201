/// \class Lumbrel::Uuid
/// Uuid: a 16-byte identifier. Its text form (lower-case hexadecimal in groups
/// 8-4-4-4-12, no braces) and its byte vector are exact images of the bytes in
/// order. A fresh value differs from every other value; its bytes carry no
/// structure that the library reads.
///
/// No operation raises or reports failure: text or bytes that cannot be used
/// give the all-zero value, which callers who must tell the difference compare
/// with Uuid("00000000-0000-0000-0000-000000000000").
///
/// Thread safety: a plain value without shared state. Fresh values may be made
/// on any number of threads at once; each thread draws from its own supply of
/// random bytes, and a child process after fork never reuses its parent's.
#ifndef LUMBREL_UUID_H
#define LUMBREL_UUID_H

#include <cstdint>
#include <ostream>
#include <vector>

#include "lumbrel/Export.h"
#include "lumbrel/Text.h"

#if LUMBREL_PLATFORM_HAS_GUID
struct _GUID;  // from <guiddef.h>
#else
/// The identifier structure of the Windows RPC runtime, for code that shares
/// it; this platform has none of its own.
struct _GUID {
  /// The fields in the runtime's layout: three numbers in host byte order,
  /// then eight bytes.
  ///@{
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  unsigned char Data4[8];
  ///@}
};
#endif

namespace Lumbrel {

class LUMBREL_API Uuid {
 public:
  /// A fresh, random identifier.
  Uuid();
  /// Copies the 16 bytes.
  Uuid(const Uuid& other) = default;
  /// Data1, Data2 and Data3 most significant byte first, then Data4, so the
  /// text form reads as the identifier is conventionally printed.
  Uuid(const _GUID& guid);  // NOLINT(google-explicit-constructor)
  /// 36 characters whose hyphens, wherever they stand, are dropped; the first
  /// 32 of what remains are read as 16 pairs of hexadecimal digits of either
  /// case. Any other length, a character that is no hexadecimal digit or fewer
  /// than 32 digits give the all-zero value.
  Uuid(const string& text);  // NOLINT(google-explicit-constructor)
  /// Exactly 16 bytes, in order; any other size gives the all-zero value.
  Uuid(const std::vector<unsigned char>& data);  // NOLINT(google-explicit-constructor)
  ~Uuid() = default;
  /// Copies the 16 bytes.
  Uuid& operator=(const Uuid& other) = default;

  /// The text form, 36 characters.
  operator string() const;  // NOLINT(google-explicit-constructor)
  /// The 16 bytes.
  operator std::vector<unsigned char>() const;  // NOLINT(google-explicit-constructor)

  friend LUMBREL_API bool operator==(const Uuid& a, const Uuid& b);

 private:
  unsigned char bytes_[16];
};

/// Equal when all 16 bytes are equal. There is no order.
LUMBREL_API bool operator==(const Uuid& a, const Uuid& b);
/// Not equal: some of the 16 bytes differ.
LUMBREL_API bool operator!=(const Uuid& a, const Uuid& b);

/// Writes the text form.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const Uuid& value);

}  // namespace Lumbrel

#endif  // LUMBREL_UUID_H
