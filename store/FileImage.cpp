#include "store/FileImage.h"

#include <utility>

namespace Lumbrel {
namespace store {

void FileImage::refer(const unsigned char* bytes, std::size_t size) {
  if (size == 0) return;
  Piece* last = pieces_.empty() ? nullptr : &pieces_.back();
  if (last != nullptr && last->bytes != nullptr && last->bytes + last->size == bytes) {
    last->size += size;
  } else {
    pieces_.push_back(Piece{bytes, 0, size});
  }
  size_ += size;
}

unsigned char* FileImage::extend(std::size_t size) {
  const std::size_t offset = own_.size();
  own_.resize(offset + size);
  addOwn(offset, size);
  return reinterpret_cast<unsigned char*>(&own_[0]) + offset;
}

void FileImage::take(std::string&& text) {
  if (own_.empty()) {
    const std::size_t size = text.size();
    own_ = std::move(text);
    addOwn(0, size);
  } else {
    own_.append(text);
    addOwn(own_.size() - text.size(), text.size());
  }
}

void FileImage::addOwn(std::size_t offset, std::size_t size) {
  if (size == 0) return;
  Piece* last = pieces_.empty() ? nullptr : &pieces_.back();
  if (last != nullptr && last->bytes == nullptr && last->offset + last->size == offset) {
    last->size += size;
  } else {
    pieces_.push_back(Piece{nullptr, offset, size});
  }
  size_ += size;
}

}  // namespace store
}  // namespace Lumbrel
