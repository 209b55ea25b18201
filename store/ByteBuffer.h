// A growable byte array whose new bytes are left uninitialised, for buffers
// that are about to be read over: a vector would first write zeros over the
// whole file.
#ifndef LUMBREL_STORE_BYTE_BUFFER_H
#define LUMBREL_STORE_BYTE_BUFFER_H

#include <cstddef>
#include <cstring>
#include <memory>

namespace Lumbrel {
namespace store {

class ByteBuffer {
 public:
  ByteBuffer() = default;
  explicit ByteBuffer(std::size_t count) { resize(count); }

  unsigned char* data() { return bytes_.get(); }
  const unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return used_; }
  std::size_t room() const { return capacity_; }

  // Keeps the first min(size(), count) bytes; the rest are unspecified.
  void resize(std::size_t count) {
    if (count > capacity_) {
      const std::size_t grown = count > 2 * capacity_ ? count : 2 * capacity_;
      std::unique_ptr<unsigned char[]> larger(new unsigned char[grown]);
      if (used_ != 0) std::memcpy(larger.get(), bytes_.get(), used_);
      bytes_ = std::move(larger);
      capacity_ = grown;
    }
    used_ = count;
  }

 private:
  std::unique_ptr<unsigned char[]> bytes_;
  std::size_t used_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_BYTE_BUFFER_H
