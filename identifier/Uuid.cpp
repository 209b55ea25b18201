#include "lumbrel/Uuid.h"

#include <cstring>
#include <locale>
#include <new>

#include "platform/Guid.h"
#include "platform/Random.h"
#include "platform/Thread.h"

namespace Lumbrel {

namespace {

// Random bytes drawn from the system in batches, one supply per thread, so
// that a fresh value costs neither a system call nor a lock.
class RandomSupply {
 public:
  // Fills `out` with `size` (at most kBatch) unused bytes; false when the
  // system's source fails.
  bool take(unsigned char* out, std::size_t size) {
    const std::uint64_t generation = platform::processGeneration();
    // Bytes inherited through fork are the parent's too: never hand them out.
    if (generation != generation_) used_ = kBatch;
    if (kBatch - used_ < size) {
      if (!platform::randomBytes(batch_, kBatch)) {
        used_ = kBatch;
        return false;
      }
      used_ = 0;
      generation_ = generation;
    }
    std::memcpy(out, batch_ + used_, size);
    used_ += size;
    return true;
  }

 private:
  static constexpr std::size_t kBatch = 4096;
  unsigned char batch_[kBatch];
  std::size_t used_ = kBatch;
  std::uint64_t generation_ = 0;
};

void destroySupply(void* supply) { delete static_cast<RandomSupply*>(supply); }

// The calling thread's supply, made on its first use so that threads that never
// make a value do not carry one, and freed when the thread ends; null when it
// cannot be had. It is held in a platform slot rather than a thread_local
// object: some C++ runtimes free thread_local objects unreliably when many
// threads end at once.
RandomSupply* supply() {
  static platform::ThreadSlot* const slot = platform::createThreadSlot(&destroySupply);
  if (slot == nullptr) return nullptr;
  auto* own = static_cast<RandomSupply*>(platform::threadSlotValue(slot));
  if (own != nullptr) return own;
  own = new (std::nothrow) RandomSupply;
  if (own != nullptr && !platform::setThreadSlotValue(slot, own)) {
    delete own;
    own = nullptr;
  }
  return own;
}

// Fills `out` with `size` fresh bytes: from the thread's supply, or straight
// from the system when there is none.
bool freshBytes(unsigned char* out, std::size_t size) {
  RandomSupply* own = supply();
  return own != nullptr ? own->take(out, size) : platform::randomBytes(out, size);
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One byte from up to two hexadecimal digits, read as "%2x" reads them: it
// stops at the first character that is not one, and none at all gives 0.
unsigned char readPair(char high, char low) {
  const int first = hexValue(high);
  if (first < 0) return 0;
  const int second = hexValue(low);
  return static_cast<unsigned char>(second < 0 ? first : first * 16 + second);
}

}  // namespace

Uuid::Uuid() : bytes_{} {
  unsigned char fresh[16];
  // A failing source leaves the all-zero value, like any unusable input.
  if (!freshBytes(fresh, sizeof fresh)) return;
  // Version 4 and the standard variant, where the Windows generator leaves
  // them in memory: Data3, which carries the version, is little-endian there.
  fresh[7] = static_cast<unsigned char>((fresh[7] & 0x0F) | 0x40);
  fresh[8] = static_cast<unsigned char>((fresh[8] & 0x3F) | 0x80);
  std::memcpy(bytes_, fresh, sizeof bytes_);
}

Uuid::Uuid(const _GUID& guid) : bytes_{} {
  const std::uint32_t data1 = guid.Data1;
  bytes_[0] = static_cast<unsigned char>(data1 >> 24);
  bytes_[1] = static_cast<unsigned char>(data1 >> 16);
  bytes_[2] = static_cast<unsigned char>(data1 >> 8);
  bytes_[3] = static_cast<unsigned char>(data1);
  bytes_[4] = static_cast<unsigned char>(guid.Data2 >> 8);
  bytes_[5] = static_cast<unsigned char>(guid.Data2);
  bytes_[6] = static_cast<unsigned char>(guid.Data3 >> 8);
  bytes_[7] = static_cast<unsigned char>(guid.Data3);
  for (std::size_t i = 0; i < 8; ++i) bytes_[8 + i] = guid.Data4[i];
}

Uuid::Uuid(const string& text) : bytes_{} {
  if (length(text) != 36) return;
  // Hyphens count for nothing, wherever they stand and however many there
  // are; fewer than 32 digits left is unusable.
  char digits[36];
  std::size_t count = 0;
  for (std::size_t i = 0; i < 36; ++i) {
    if (text[i] != '-') digits[count++] = text[i];
  }
  // Hexadecimal digits are those of the global locale's character classes.
  // Every locale counts 0-9, a-f and A-F among them, so only another
  // character needs the (slower) question.
  for (std::size_t i = 0; i < count; ++i) {
    if (hexValue(digits[i]) < 0 &&
        !std::use_facet<std::ctype<char>>(std::locale()).is(std::ctype_base::xdigit, digits[i])) {
      return;
    }
  }
  if (count < 32) return;
  for (std::size_t i = 0; i < 16; ++i) bytes_[i] = readPair(digits[2 * i], digits[2 * i + 1]);
}

Uuid::Uuid(const std::vector<unsigned char>& data) : bytes_{} {
  if (data.size() == sizeof bytes_) std::memcpy(bytes_, data.data(), sizeof bytes_);
}

Uuid::operator string() const {
  static const char kDigits[] = "0123456789abcdef";
  char text[36];
  std::size_t at = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text[at++] = '-';
    text[at++] = kDigits[bytes_[i] >> 4];
    text[at++] = kDigits[bytes_[i] & 0x0F];
  }
  return string(text, sizeof text);
}

Uuid::operator std::vector<unsigned char>() const {
  return std::vector<unsigned char>(bytes_, bytes_ + sizeof bytes_);
}

bool operator==(const Uuid& a, const Uuid& b) {
  return std::memcmp(a.bytes_, b.bytes_, sizeof a.bytes_) == 0;
}

bool operator!=(const Uuid& a, const Uuid& b) { return !(a == b); }

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const Uuid& value) {
  return Lumbrel::operator<<(out, value.operator string());
}

}  // namespace Lumbrel
