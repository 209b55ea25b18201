// The DateTime text parser for every `parts` value, against a reference that
// reads the fixed positions as the text form describes them: the same fields
// or the same refusal with the same message. invalid_argument with one of the
// parser's own messages is the only failure allowed; anything else escapes
// and is reported. A value that parses prints in the fixed form, and that
// text parses back to the same fields.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "lumbrel/DateTime.h"

namespace {

using Lumbrel::DateTime;

void check(bool condition) {
  if (!condition) std::abort();
}

struct Fields {
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  const char* failure = nullptr;
};

// atoi of the characters at [position, position + count) that lie in front of
// `size`: blanks of the C locale first, a sign, then decimal digits.
int readNumber(const std::string& text, std::size_t size, std::size_t position, std::size_t count) {
  std::size_t i = position;
  const std::size_t end = position + count < size ? position + count : size;
  while (i < end && std::strchr(" \t\n\v\f\r", text[i]) != nullptr) ++i;
  bool negative = false;
  if (i < end && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int value = 0;
  for (; i < end && text[i] >= '0' && text[i] <= '9'; ++i) value = value * 10 + (text[i] - '0');
  return negative ? -value : value;
}

Fields referenceParse(const std::string& text, unsigned int parts) {
  Fields f;
  const auto fail = [&f](const char* message) {
    f.failure = message;
    return f;
  };
  std::size_t size = 0;
  while (size < text.size() && text[size] != '\0') ++size;
  const auto at = [&](std::size_t position, char c) { return position < size && text[position] == c; };
  if ((parts & 1) != 0) {
    if (!at(4, '-') || !at(7, '-')) return fail("incorrect format.");
    // Cut to the setters' argument types; 0 is left unset.
    const int y = readNumber(text, size, 0, 4);
    if (y != 0) {
      f.year = static_cast<unsigned short>(y);
      if (f.year < 1000 || f.year > 3000) return fail("year out-of-range");
    }
    const int m = readNumber(text, size, 5, 2);
    if (m != 0) {
      f.month = static_cast<unsigned char>(m);
      if (f.month < 1 || f.month > 12) return fail("month out-of-range.");
    }
    const int d = readNumber(text, size, 8, 2);
    if (d != 0) {
      f.day = static_cast<unsigned char>(d);
      if (f.day < 1 || f.day > 31) return fail("day out-of-range.");
    }
  }
  if ((parts & 2) != 0) {
    std::size_t start;
    if (at(2, ':') && at(5, ':')) {
      start = 0;
    } else if (at(13, ':') && at(16, ':')) {
      start = 11;
    } else {
      return fail("incorrect format.");
    }
    f.hour = static_cast<unsigned char>(readNumber(text, size, start, 2));
    if (f.hour > 23) return fail("hour out-of-range.");
    f.minute = static_cast<unsigned char>(readNumber(text, size, start + 3, 2));
    if (f.minute > 59) return fail("minute out-of-range.");
    f.second = static_cast<unsigned char>(readNumber(text, size, start + 6, 2));
    if (f.second > 59) return fail("second out-of-range.");
  }
  return f;
}

// The parse's outcome as Fields; only invalid_argument is caught.
Fields parse(const std::string& text, unsigned int parts, DateTime& value) {
  Fields f;
  try {
    value = DateTime(text, parts);
  } catch (const std::invalid_argument& failure) {
    static const char* const kMessages[] = {"incorrect format.",   "year out-of-range",
                                            "month out-of-range.", "day out-of-range.",
                                            "hour out-of-range.",  "minute out-of-range.",
                                            "second out-of-range."};
    for (const char* message : kMessages)
      if (std::strcmp(failure.what(), message) == 0) f.failure = message;
    check(f.failure != nullptr);
    return f;
  }
  f.year = value.getYear();
  f.month = value.getMonth();
  f.day = value.getDay();
  f.hour = value.getHour();
  f.minute = value.getMinute();
  f.second = value.getSecond();
  check(value.getMillisecond() == 0 && value.getOffset() == 0);
  return f;
}

bool same(const Fields& a, const Fields& b) {
  if ((a.failure == nullptr) != (b.failure == nullptr)) return false;
  if (a.failure != nullptr) return std::strcmp(a.failure, b.failure) == 0;
  return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
         a.minute == b.minute && a.second == b.second;
}

std::string referenceFormat(const Fields& f, unsigned int parts) {
  char text[64] = "";
  if ((parts & 3) == 3) {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", f.year, f.month, f.day, f.hour,
                  f.minute, f.second);
  } else if ((parts & 1) != 0) {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", f.year, f.month, f.day);
  } else if ((parts & 2) != 0) {
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", f.hour, f.minute, f.second);
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte is the parts word, repeated into the high bytes, which the
  // parser must ignore; the rest is the text.
  const unsigned int parts = data[0] * 0x01010101u;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);

  DateTime value;
  const Fields got = parse(text, parts, value);
  check(same(got, referenceParse(text, parts)));
  if (got.failure != nullptr) return 0;

  const std::string printed = static_cast<std::string>(value);
  check(printed == referenceFormat(got, parts));
  // The printed text reads back as the same value.
  DateTime again;
  check(same(parse(printed, parts, again), got));
  check(static_cast<std::string>(again) == printed);
  return 0;
}
