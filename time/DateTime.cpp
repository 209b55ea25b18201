#include "lumbrel/DateTime.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "platform/Clock.h"

namespace Lumbrel {

namespace {

constexpr unsigned int kDate = 1;
constexpr unsigned int kTime = 2;

// Fixed positions of the text form, over the text in front of its first null.
class Positions {
 public:
  explicit Positions(const string& text) : text_(text), size_(length(text)) {}

  // A position at or past the end matches nothing.
  bool is(std::size_t position, char expected) const {
    return position < size_ && text_[position] == expected;
  }

  // atoi of the `count` characters from `position`, as far as the text goes.
  int number(std::size_t position, std::size_t count) const {
    char field[8];
    std::size_t used = 0;
    bool digitsOnly = true;
    int value = 0;
    for (; used < count && position + used < size_; ++used) {
      const char c = text_[position + used];
      field[used] = c;
      digitsOnly = digitsOnly && c >= '0' && c <= '9';
      value = value * 10 + (c - '0');
    }
    // A field of digits alone, the usual one, reads the same in every
    // locale; anything else (blanks, a sign, other characters) goes to atoi
    // and reads exactly as atoi reads it.
    if (digitsOnly && used != 0) return value;
    field[used] = '\0';
    return std::atoi(field);
  }

 private:
  const string& text_;
  std::size_t size_;
};

// Writes the decimal digits of `value`, at least `width` of them, zero-filled
// in front, at `out`; returns the end of what it wrote.
char* putNumber(char* out, unsigned int value, std::size_t width) {
  char digits[10];
  std::size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (; width > count; --width) *out++ = '0';
  while (count != 0) *out++ = digits[--count];
  return out;
}

}  // namespace

DateTime::DateTime()
    : year_(0), month_(0), day_(0), hour_(0), minute_(0), second_(0), millisecond_(0), offset_(0),
      parts_(3) {}

DateTime::DateTime(const string& text, unsigned int selected) : DateTime() {
  const Positions at(text);
  if ((selected & kDate) != 0) {
    if (!at.is(4, '-') || !at.is(7, '-')) throw std::invalid_argument("incorrect format.");
    // A field read as 0 (00, or no digits at all) stays unset rather than
    // being refused, so that the text of an empty value reads back.
    const int y = at.number(0, 4);
    if (y != 0) setYear(static_cast<unsigned short>(y));
    const int m = at.number(5, 2);
    if (m != 0) setMonth(static_cast<unsigned char>(m));
    const int d = at.number(8, 2);
    if (d != 0) setDay(static_cast<unsigned char>(d));
  }
  if ((selected & kTime) != 0) {
    std::size_t start;
    if (at.is(2, ':') && at.is(5, ':')) {
      start = 0;
    } else if (at.is(13, ':') && at.is(16, ':')) {
      start = 11;
    } else {
      throw std::invalid_argument("incorrect format.");
    }
    setHour(static_cast<unsigned char>(at.number(start, 2)));
    setMinute(static_cast<unsigned char>(at.number(start + 3, 2)));
    setSecond(static_cast<unsigned char>(at.number(start + 6, 2)));
  }
  parts_ = static_cast<unsigned char>(selected);
}

DateTime::DateTime(long t, unsigned int selected) : DateTime() {
  platform::loadTimeZone();
  std::tm local{};
  // Refused on every platform, although some C libraries would convert it.
  if (t < 0 || !platform::localTime(t, local)) throw std::invalid_argument("t is too small.");
  fromTm(local, selected);
}

DateTime::DateTime(const std::tm& t, unsigned int selected) : DateTime() {
  platform::loadTimeZone();
  fromTm(t, selected);
}

DateTime::DateTime(const ::timeval& t, unsigned int selected) : DateTime() {
  std::int64_t seconds = 0;
  std::int64_t microseconds = 0;
  platform::splitTimeval(t, seconds, microseconds);
  *this = DateTime(static_cast<long>(seconds), selected);
  millisecond_ = static_cast<unsigned int>(microseconds / 1000);
}

void DateTime::fromTm(const std::tm& t, unsigned int selected) {
  // Members are cut to the fields' widths without any bound: a leap second
  // stays 60.
  if ((selected & kDate) != 0) {
    year_ = static_cast<unsigned short>(static_cast<unsigned int>(t.tm_year) + 1900u);
    month_ = static_cast<unsigned char>(static_cast<unsigned int>(t.tm_mon) + 1u);
    day_ = static_cast<unsigned char>(t.tm_mday);
  }
  if ((selected & kTime) != 0) {
    hour_ = static_cast<unsigned char>(t.tm_hour);
    minute_ = static_cast<unsigned char>(t.tm_min);
    second_ = static_cast<unsigned char>(t.tm_sec);
    millisecond_ = 0;
    // Reading the UTC fields back as local time with daylight saving off
    // gives the zone's standard distance from UTC, whatever the season. A
    // moment the platform cannot represent leaves the offset 0.
    std::tm copy = t;
    std::int64_t seconds = 0;
    std::tm utc{};
    std::int64_t shifted = 0;
    if (platform::makeTime(copy, seconds) && platform::universalTime(seconds, utc) &&
        platform::makeTime(utc, shifted)) {
      offset_ = static_cast<short>((seconds - shifted) / 3600);
    }
  }
  parts_ = static_cast<unsigned char>(selected);
}

DateTime::operator long() const {
  std::tm t{};
  // A year or month of 0 leaves its member at 0 (1900, January).
  if (year_ != 0) t.tm_year = static_cast<int>(year_) - 1900;
  if (month_ != 0) t.tm_mon = static_cast<int>(month_) - 1;
  t.tm_mday = day_;
  t.tm_hour = hour_;
  t.tm_min = minute_;
  t.tm_sec = second_;
  t.tm_isdst = -1;
  std::int64_t seconds = 0;
  if (!platform::makeTime(t, seconds)) return -1;
  // Where long has 32 bits, moments from 2038 on have no value either.
  if (seconds > std::numeric_limits<long>::max()) return -1;
  return static_cast<long>(seconds);
}

DateTime::operator string() const {
  // Widest: a five-digit year and three-digit bytes, 25 characters.
  char text[32];
  char* end = text;
  if ((parts_ & kDate) != 0) {
    end = putNumber(end, year_, 4);
    *end++ = '-';
    end = putNumber(end, month_, 2);
    *end++ = '-';
    end = putNumber(end, day_, 2);
  }
  if ((parts_ & (kDate | kTime)) == (kDate | kTime)) *end++ = ' ';
  if ((parts_ & kTime) != 0) {
    end = putNumber(end, hour_, 2);
    *end++ = ':';
    end = putNumber(end, minute_, 2);
    *end++ = ':';
    end = putNumber(end, second_, 2);
  }
  return string(text, static_cast<std::size_t>(end - text));
}

void DateTime::clear(unsigned int selected) {
  if ((selected & kDate) != 0) {
    year_ = 0;
    month_ = 0;
    day_ = 0;
  }
  if ((selected & kTime) != 0) {
    hour_ = 0;
    minute_ = 0;
    second_ = 0;
    millisecond_ = 0;
    offset_ = 0;
  }
}

void DateTime::setYear(unsigned short value) {
  if (value < 1000 || value > 3000) throw std::invalid_argument("year out-of-range");
  year_ = value;
}

void DateTime::setMonth(unsigned char value) {
  if (value < 1 || value > 12) throw std::invalid_argument("month out-of-range.");
  month_ = value;
}

void DateTime::setDay(unsigned char value) {
  if (value < 1 || value > 31) throw std::invalid_argument("day out-of-range.");
  day_ = value;
}

void DateTime::setHour(unsigned char value) {
  if (value > 23) throw std::invalid_argument("hour out-of-range.");
  hour_ = value;
}

void DateTime::setMinute(unsigned char value) {
  if (value > 59) throw std::invalid_argument("minute out-of-range.");
  minute_ = value;
}

void DateTime::setSecond(unsigned char value) {
  if (value > 59) throw std::invalid_argument("second out-of-range.");
  second_ = value;
}

void DateTime::setOffset(short value) {
  if (value < -720 || value > 840) throw std::invalid_argument("offset out-of-range.");
  offset_ = value;
}

bool operator==(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) == static_cast<long>(b);
}
bool operator!=(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) != static_cast<long>(b);
}
bool operator<(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) < static_cast<long>(b);
}
bool operator<=(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) <= static_cast<long>(b);
}
bool operator>(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) > static_cast<long>(b);
}
bool operator>=(const DateTime& a, const DateTime& b) {
  return static_cast<long>(a) >= static_cast<long>(b);
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const DateTime& value) {
  return Lumbrel::operator<<(out, value.operator string());
}

}  // namespace Lumbrel
