#include "store/SettingsFormat.h"

#include <cstring>

namespace Lumbrel {
namespace store {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

wstring decode(const char* begin, const char* end) {
  // make_wstring wants terminated text: a field of usual length is copied to
  // the stack, which spares an allocation per field. (No thread_local string:
  // some C++ runtimes free those unreliably when many threads end at once.)
  const auto size = static_cast<std::size_t>(end - begin);
  char text[256];
  if (size >= sizeof text) return make_wstring(string(begin, end));
  std::memcpy(text, begin, size);
  text[size] = '\0';
  return make_wstring(text);
}

}  // namespace

ParsedLine parseLine(const char* begin, const char* end, SettingsLayout layout, wstring& section,
                     wstring& key, wstring& value) {
  ParsedLine result;
  // A line of blanks only stays as it is, and then holds no `=`.
  const char* first = begin;
  while (first != end && isBlank(*first)) ++first;
  if (first == end) return result;
  const char* last = end;
  while (isBlank(*(last - 1))) --last;
  begin = first;
  end = last;

  if (*begin == '#' || *begin == ';') return result;
  if (*begin == '[' && layout == SettingsLayout::Sectioned) {
    // The line begins with `[`, so at least that bracket is left.
    while (*(end - 1) == ']') --end;
    const char* name = begin;
    while (name != end && *name == '[') ++name;
    // A name of brackets only keeps them all.
    if (name != end) begin = name;
    section = decode(begin, end);
    result.header = true;
    return result;
  }
  const void* equals = std::memchr(begin, '=', static_cast<std::size_t>(end - begin));
  if (equals == nullptr) return result;
  const char* split = static_cast<const char*>(equals);
  key = decode(begin, split);
  value = decode(split + 1, end);
  result.keyLine = true;
  return result;
}

SettingsReader::SettingsReader(const char* data, std::size_t size, SettingsLayout layout)
    : position_(data), end_(data + size), layout_(layout) {}

bool SettingsReader::next() {
  while (position_ != end_) {
    if (*position_ == '\n') {
      ++position_;
      continue;
    }
    const void* newline = std::memchr(position_, '\n', static_cast<std::size_t>(end_ - position_));
    const char* lineEnd = newline != nullptr ? static_cast<const char*>(newline) : end_;
    const char* lineBegin = position_;
    position_ = newline != nullptr ? lineEnd + 1 : end_;

    key_.clear();
    value_.clear();
    if (!parseLine(lineBegin, lineEnd, layout_, section_, key_, value_).keyLine) continue;
    if (length(key_) == 0) continue;
    if (layout_ == SettingsLayout::Sectioned && length(section_) == 0) continue;
    return true;
  }
  return false;
}

SettingsWriter::SettingsWriter(SettingsLayout layout) : layout_(layout), first_(true) {}

void SettingsWriter::add(const wstring& section, const wstring& key, const wstring& value) {
  if (layout_ == SettingsLayout::Sectioned) {
    // Case-folded equality is an equivalence, so testing against the run's
    // first spelling is the same as testing against the previous entry.
    const bool sameSection = !first_ && (section == section_ || compare(section, section_) == 0);
    if (!sameSection) {
      section_ = section;
      bytes_ += '[';
      bytes_ += make_string(section);
      bytes_ += "]\n";
    }
  }
  first_ = false;
  bytes_ += make_string(key);
  bytes_ += '=';
  bytes_ += make_string(value);
  bytes_ += '\n';
}

std::size_t completeLines(const char* bytes, std::size_t size) {
  while (size > 0 && bytes[size - 1] != '\n') --size;
  return size;
}

}  // namespace store
}  // namespace Lumbrel
