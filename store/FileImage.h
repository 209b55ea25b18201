// The bytes of a whole file, composed in full before the old file is touched:
// a save that runs out of memory then fails while the old file is whole, and
// writing the image allocates nothing.
//
// An image is a sequence of pieces. A piece either lies in the image's own
// text or refers to bytes that its maker keeps, unchanged, until the image is
// written (a store's loaded file, whose untouched parts go back as they are).
#ifndef LUMBREL_STORE_FILE_IMAGE_H
#define LUMBREL_STORE_FILE_IMAGE_H

#include <cstddef>
#include <string>
#include <vector>

namespace Lumbrel {
namespace store {

class FileImage {
 public:
  // Adds `size` bytes at `bytes` by reference.
  void refer(const unsigned char* bytes, std::size_t size);
  // Adds `size` bytes of the image's own and gives where to put them; valid
  // until the image grows again.
  unsigned char* extend(std::size_t size);
  // Adds `text`, taken over without a copy when the image has none yet.
  void take(std::string&& text);
  // Makes room for `size` bytes of the image's own, so that extend need not
  // move what it has.
  void reserve(std::size_t size) { own_.reserve(size); }

  std::size_t size() const { return size_; }

  // Hands each piece, in order, to write(const unsigned char*, std::size_t),
  // which returns false to stop; false when it stopped.
  template <class Write>
  bool write(Write&& write) const {
    for (const Piece& piece : pieces_) {
      const unsigned char* bytes =
          piece.bytes != nullptr ? piece.bytes
                                 : reinterpret_cast<const unsigned char*>(own_.data()) + piece.offset;
      if (piece.size != 0 && !write(bytes, piece.size)) return false;
    }
    return true;
  }

 private:
  struct Piece {
    const unsigned char* bytes;  // null: `offset` into own_
    std::size_t offset;
    std::size_t size;
  };

  void addOwn(std::size_t offset, std::size_t size);

  std::vector<Piece> pieces_;
  std::string own_;
  std::size_t size_ = 0;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_FILE_IMAGE_H
