// The line format shared by the two settings files, as a codec between bytes
// and entries that knows nothing of streams or files.
//
// A file is a sequence of lines ended by a newline byte (0x0A); the last line
// may lack it. Each line is stripped of TAB and SPACE at both ends (a line of
// only blanks stays as it is) and then read as: empty (skipped), a comment
// (`#` or `;` first), in the sectioned layout a section header (`[` first), a
// key line (holds `=`: key before the first `=`, value behind it) or nothing.
// All of this is decided on the bytes; a name or value means what
// make_wstring makes of its bytes, so a NUL byte ends the text that holds it.
//
// The two layouts differ only where the files differ: the flat one has no
// headers, so a line beginning with `[` is an ordinary line, and its key lines
// need no current section.
#ifndef LUMBREL_STORE_SETTINGS_FORMAT_H
#define LUMBREL_STORE_SETTINGS_FORMAT_H

#include <cstddef>

#include "store/EncodedText.h"

namespace Lumbrel {
namespace store {

enum class SettingsLayout {
  Sectioned,  // `[section]` headers above key lines
  Flat,       // key lines only
};

// Walks the bytes of a whole file line by line and stops at each line that
// makes an entry: a key line whose key is not empty and, in the sectioned
// layout, which stands under a header whose name is not empty. It gives
// where the texts stand, as offsets into the bytes.
class SettingsReader {
 public:
  struct Range {
    std::size_t begin;
    std::size_t end;
  };

  // The bytes must outlive the reader.
  SettingsReader(const char* data, std::size_t size, SettingsLayout layout);

  // Moves to the next entry; false when the bytes are used up.
  bool next();
  // The name of the header in force (empty in the flat layout), and a number
  // that changes with each header line.
  Range section() const { return section_; }
  std::size_t header() const { return headers_; }
  // The key (up to the `=`) and the value (up to the line's end) of the
  // entry that next() stopped at.
  Range key() const { return key_; }
  Range value() const { return value_; }

 private:
  bool emptyText(Range range) const;

  const char* data_;
  const char* position_;
  const char* end_;
  SettingsLayout layout_;
  Range section_{0, 0};
  bool sectionEmpty_ = true;
  std::size_t headers_ = 0;
  Range key_{0, 0};
  Range value_{0, 0};
};

// The length of the complete lines at the front of `size` bytes: up to and
// with the last newline.
std::size_t completeLines(const char* bytes, std::size_t size);

// Composes the lines of a file at `out`, which has room for what the bounds
// below add up to. Names and values are written as make_string writes their
// meaning, and checked for nothing.
class SettingsWriter {
 public:
  explicit SettingsWriter(unsigned char* out) : out_(out) {}

  static std::size_t headerBound(const EncodedText::Span& section);
  static std::size_t keyLineBound(const EncodedText::Span& key, const EncodedText::Span& value);

  // `[section]` and a newline.
  void header(const EncodedText::Span& section);
  // `key=value` and a newline.
  void keyLine(const EncodedText::Span& key, const EncodedText::Span& value);
  unsigned char* end() const { return out_; }

 private:
  unsigned char* out_;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_SETTINGS_FORMAT_H
