// The DateTime text parser for every `parts` value, against a reference that
// reads the fixed positions as the text form describes them: the same fields
// or the same refusal with the same message. invalid_argument is the only
// failure allowed; anything else escapes and is reported. A value that parses
// prints in the fixed form, and that text parses back to the same fields.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "lumbrel/DateTime.h"

namespace {

using Lumbrel::DateTime;
using Fields = std::array<unsigned, 6>;  // year, month, day, hour, minute, second

void check(bool condition) {
  if (!condition) std::abort();
}

// The fields of the text in front of its first null, or the message of the
// refusal in `failure`. A field is the C library's atoi of its fixed
// positions, cut to the setter's argument type; a date field read as 0 is
// left unset.
Fields referenceParse(const std::string& text, unsigned int parts, std::string& failure) {
  const std::string counted = text.substr(0, text.find('\0'));
  const auto at = [&](std::size_t position, char c) {
    return position < counted.size() && counted[position] == c;
  };
  const auto number = [&](std::size_t position, std::size_t count) {
    return std::atoi(counted.substr(std::min(position, counted.size()), count).c_str());
  };
  Fields f{};
  const auto refuse = [&](const char* message) {
    failure = message;
    return f;
  };
  if ((parts & 1) != 0) {
    if (!at(4, '-') || !at(7, '-')) return refuse("incorrect format.");
    f[0] = static_cast<unsigned short>(number(0, 4));
    f[1] = static_cast<unsigned char>(number(5, 2));
    f[2] = static_cast<unsigned char>(number(8, 2));
    if (f[0] != 0 && (f[0] < 1000 || f[0] > 3000)) return refuse("year out-of-range");
    if (f[1] > 12) return refuse("month out-of-range.");
    if (f[2] > 31) return refuse("day out-of-range.");
  }
  if ((parts & 2) != 0) {
    std::size_t start = 11;
    if (at(2, ':') && at(5, ':'))
      start = 0;
    else if (!at(13, ':') || !at(16, ':'))
      return refuse("incorrect format.");
    const char* const messages[] = {"hour out-of-range.", "minute out-of-range.",
                                    "second out-of-range."};
    for (std::size_t i = 0; i < 3; ++i) {
      f[3 + i] = static_cast<unsigned char>(number(start + 3 * i, 2));
      if (f[3 + i] > (i == 0 ? 23u : 59u)) return refuse(messages[i]);
    }
  }
  return f;
}

std::string referenceFormat(const Fields& f, unsigned int parts) {
  char date[48], time[48];
  std::snprintf(date, sizeof date, "%04u-%02u-%02u", f[0], f[1], f[2]);
  std::snprintf(time, sizeof time, "%02u:%02u:%02u", f[3], f[4], f[5]);
  if ((parts & 3) == 3) return std::string(date) + " " + time;
  return (parts & 1) != 0 ? date : (parts & 2) != 0 ? time : "";
}

Fields fieldsOf(const DateTime& v) {
  check(v.getMillisecond() == 0 && v.getOffset() == 0);
  return {v.getYear(), v.getMonth(), v.getDay(), v.getHour(), v.getMinute(), v.getSecond()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte is the parts word, repeated into the high bytes, which the
  // parser must ignore; the rest is the text.
  const unsigned int parts = data[0] * 0x01010101u;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);

  std::string expectedFailure, failure;
  const Fields expected = referenceParse(text, parts, expectedFailure);
  DateTime value;
  try {
    value = DateTime(text, parts);
  } catch (const std::invalid_argument& refused) {
    failure = refused.what();
  }
  check(failure == expectedFailure);
  if (!failure.empty()) return 0;
  check(fieldsOf(value) == expected);

  const std::string printed = static_cast<std::string>(value);
  check(printed == referenceFormat(expected, parts));
  // The printed text reads back as the same value.
  const DateTime again(printed, parts);
  check(fieldsOf(again) == expected && static_cast<std::string>(again) == printed);
  return 0;
}
