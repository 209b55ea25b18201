// The line format shared by the two settings files, as a codec between bytes
// and entries that knows nothing of streams or files.
//
// A file is a sequence of lines ended by a newline byte (0x0A); the last line
// may lack it. Each line is stripped of TAB and SPACE at both ends (a line of
// only blanks stays as it is) and then read as: empty (skipped), a comment
// (`#` or `;` first), in the sectioned layout a section header (`[` first), a
// key line (holds `=`: key before the first `=`, value behind it) or nothing.
// All of this is decided on the bytes; names and values are decoded by
// make_wstring afterwards, so a NUL byte ends the text that holds it.
//
// The two layouts differ only where the files differ: the flat one has no
// headers, so a line beginning with `[` is an ordinary line, and its key lines
// need no current section.
#ifndef LUMBREL_STORE_SETTINGS_FORMAT_H
#define LUMBREL_STORE_SETTINGS_FORMAT_H

#include <cstddef>
#include <utility>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace store {

enum class SettingsLayout {
  Sectioned,  // `[section]` headers above key lines
  Flat,       // key lines only
};

// What one line sets. The section is only ever set by a header.
struct ParsedLine {
  bool header = false;
  bool keyLine = false;
};

// Interprets one line, given without its newline. A header sets `section`; a
// key line sets `key` and `value` (which may come out empty after decoding).
ParsedLine parseLine(const char* begin, const char* end, SettingsLayout layout, wstring& section,
                     wstring& key, wstring& value);

// Walks the bytes of a whole file line by line and stops at each line that
// makes an entry: a key line with a non-empty key and, in the sectioned
// layout, under a non-empty current section.
class SettingsReader {
 public:
  // The bytes must outlive the reader.
  SettingsReader(const char* data, std::size_t size, SettingsLayout layout);

  // Moves to the next entry; false when the bytes are used up.
  bool next();
  // The current section (always empty in the flat layout), key and value of
  // the entry that next() stopped at. Callers may move key and value away.
  const wstring& section() const { return section_; }
  wstring& key() { return key_; }
  wstring& value() { return value_; }

 private:
  const char* position_;
  const char* end_;
  SettingsLayout layout_;
  wstring section_;
  wstring key_;
  wstring value_;
};

// The length of the complete lines at the front of `size` bytes: up to and
// with the last newline.
std::size_t completeLines(const char* bytes, std::size_t size);

// Composes the bytes of a file from entries in the order given. Names and
// values are encoded by make_string and checked for nothing.
class SettingsWriter {
 public:
  explicit SettingsWriter(SettingsLayout layout);

  // Adds the line `key=value`. In the sectioned layout a header line `[section]`
  // comes first when this is the first entry or `section` differs, case
  // ignored, from the previous entry's; the flat layout ignores `section`.
  void add(const wstring& section, const wstring& key, const wstring& value);
  const string& bytes() const { return bytes_; }
  // Hands the bytes over, leaving the writer empty.
  string release() { return std::move(bytes_); }

 private:
  SettingsLayout layout_;
  bool first_;
  wstring section_;  // spelling of the header in force
  string bytes_;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_SETTINGS_FORMAT_H
