#include "store/SettingsFormat.h"

#include <cstring>

namespace Lumbrel {
namespace store {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::size_t bytesOf(const EncodedText::Span& text) {
  return static_cast<std::size_t>(text.end - text.begin);
}

}  // namespace

SettingsReader::SettingsReader(const char* data, std::size_t size, SettingsLayout layout)
    : data_(data), position_(data), end_(data + size), layout_(layout) {}

bool SettingsReader::emptyText(Range range) const {
  // A first byte from 1 to 0x7F is a unit of its own; anything else must be
  // decoded to tell.
  const auto first = static_cast<unsigned char>(range.begin != range.end ? data_[range.begin] : 0);
  if (first != 0 && first < 0x80) return false;
  const auto* bytes = reinterpret_cast<const unsigned char*>(data_);
  return EncodedText::empty(EncodedText::Span{bytes + range.begin, bytes + range.end, false});
}

bool SettingsReader::next() {
  while (position_ != end_) {
    if (*position_ == '\n') {
      ++position_;
      continue;
    }
    const void* newline = std::memchr(position_, '\n', static_cast<std::size_t>(end_ - position_));
    const char* lineEnd = newline != nullptr ? static_cast<const char*>(newline) : end_;
    const char* begin = position_;
    position_ = newline != nullptr ? lineEnd + 1 : end_;

    // A line of blanks only stays as it is, and then holds no `=`.
    while (begin != lineEnd && isBlank(*begin)) ++begin;
    if (begin == lineEnd) continue;
    const char* end = lineEnd;
    while (isBlank(end[-1])) --end;

    if (*begin == '#' || *begin == ';') continue;
    if (*begin == '[' && layout_ == SettingsLayout::Sectioned) {
      // The line begins with `[`, so at least that bracket is left.
      while (end[-1] == ']') --end;
      const char* name = begin;
      while (name != end && *name == '[') ++name;
      // A name of brackets only keeps them all.
      if (name != end) begin = name;
      section_ =
          Range{static_cast<std::size_t>(begin - data_), static_cast<std::size_t>(end - data_)};
      sectionEmpty_ = emptyText(section_);
      ++headers_;
      continue;
    }
    const void* equals = std::memchr(begin, '=', static_cast<std::size_t>(end - begin));
    if (equals == nullptr) continue;
    if (layout_ == SettingsLayout::Sectioned && sectionEmpty_) continue;
    const auto split = static_cast<std::size_t>(static_cast<const char*>(equals) - data_);
    key_ = Range{static_cast<std::size_t>(begin - data_), split};
    if (emptyText(key_)) continue;
    value_ = Range{split + 1, static_cast<std::size_t>(end - data_)};
    return true;
  }
  return false;
}

std::size_t completeLines(const char* bytes, std::size_t size) {
  while (size > 0 && bytes[size - 1] != '\n') --size;
  return size;
}

std::size_t SettingsWriter::headerBound(const EncodedText::Span& section) {
  return bytesOf(section) + 3;
}

std::size_t SettingsWriter::keyLineBound(const EncodedText::Span& key,
                                         const EncodedText::Span& value) {
  return bytesOf(key) + bytesOf(value) + 2;
}

void SettingsWriter::header(const EncodedText::Span& section) {
  *out_++ = '[';
  out_ = EncodedText::encode(section, out_);
  *out_++ = ']';
  *out_++ = '\n';
}

void SettingsWriter::keyLine(const EncodedText::Span& key, const EncodedText::Span& value) {
  out_ = EncodedText::encode(key, out_);
  *out_++ = '=';
  out_ = EncodedText::encode(value, out_);
  *out_++ = '\n';
}

}  // namespace store
}  // namespace Lumbrel
