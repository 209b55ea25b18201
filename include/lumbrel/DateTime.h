/// \class Lumbrel::DateTime
/// DateTime: a calendar date and a time of day in local time, held as separate
/// fields, with a `parts` word that says which of the two the value carries:
/// bit 0 (1) the date (year, month, day), bit 1 (2) the time (hour, minute,
/// second, millisecond, offset). `parts` decides only which fields the text
/// form shows; conversion to seconds, comparison and the getters ignore it.
///
/// Text form: YYYY-MM-DD, hh:mm:ss or YYYY-MM-DD hh:mm:ss, zero-filled, with
/// nothing for `parts` 0. The setters and the text form keep the bounds below;
/// a value built from a `tm` keeps that structure's members as they are, and a
/// date field read as zero from text stays 0. The day is never held against
/// the month (February 31 is a value), and equality means the same second of
/// local time, so 2004-02-31 equals 2004-03-02.
///
/// `offset` is the zone's standard distance from UTC in whole hours when a
/// constructor sets it (positive east of UTC); setOffset stores its argument.
///
/// Errors: invalid_argument with the messages given below.
///
/// Thread safety: a plain value without shared state. Constructors from seconds
/// and from `tm` read the time zone from the environment (TZ) at that moment.
#ifndef LUMBREL_DATE_TIME_H
#define LUMBREL_DATE_TIME_H

#include <ctime>
#include <ostream>

#include "lumbrel/Export.h"
#include "lumbrel/Text.h"

// The C library's seconds and microseconds (<sys/time.h>, <winsock2.h>).
struct timeval;

namespace Lumbrel {

class LUMBREL_API DateTime {
 public:
  /// Every field 0, parts 3; the clock is not read.
  DateTime();
  /// Copies every field and the parts.
  DateTime(const DateTime& other) = default;
  /// Reads fixed positions: a date YYYY-MM-DD at 0 to 9 (date bit), a time
  /// hh:mm:ss at 0 to 7 or, behind a date, at 11 to 18 (time bit); what stands
  /// at position 10 and after the last position read is ignored. Raises
  /// "incorrect format." when a hyphen or colon pair is missing, or the
  /// message of the setter that refuses a field. A date field without digits
  /// or of value 0 stays 0.
  DateTime(const string& text, unsigned int selected);
  /// `t` seconds since the epoch in local time; raises "t is too small." for a
  /// negative `t` or one the platform cannot convert.
  DateTime(long t, unsigned int selected);
  /// The selected members of `t`, with no bound applied; `t` is not changed.
  DateTime(const std::tm& t, unsigned int selected);
  /// As from `tv_sec`, then millisecond = tv_usec / 1000.
  DateTime(const ::timeval& t, unsigned int selected);
  ~DateTime() = default;
  /// Copies every field and the parts.
  DateTime& operator=(const DateTime& other) = default;

  /// Seconds since the epoch of the fields read as local time, daylight saving
  /// settled by the platform; a day past the end of its month carries over. A
  /// year or month of 0 stands for 1900 or January. -1 when not representable.
  operator long() const;  // NOLINT(google-explicit-constructor)
  /// The text form of the stored parts.
  operator string() const;  // NOLINT(google-explicit-constructor)

  /// Zeroes the fields of the selected parts; the stored parts stay.
  void clear(unsigned int selected);

  /// The fields as stored, whatever the parts.
  ///@{
  unsigned short getYear() const { return year_; }
  unsigned char getMonth() const { return month_; }
  unsigned char getDay() const { return day_; }
  unsigned char getHour() const { return hour_; }
  unsigned char getMinute() const { return minute_; }
  unsigned char getSecond() const { return second_; }
  unsigned int getMillisecond() const { return millisecond_; }
  short getOffset() const { return offset_; }
  ///@}

  /// Each setter stores a value within its bounds (both included) and
  /// otherwise raises invalid_argument, leaving the value as it was.
  ///@{
  void setYear(unsigned short value);     // 1000-3000, "year out-of-range"
  void setMonth(unsigned char value);     // 1-12, "month out-of-range."
  void setDay(unsigned char value);       // 1-31, "day out-of-range."
  void setHour(unsigned char value);      // 0-23, "hour out-of-range."
  void setMinute(unsigned char value);    // 0-59, "minute out-of-range."
  void setSecond(unsigned char value);    // 0-59, "second out-of-range."
  void setOffset(short value);            // -720-840, "offset out-of-range."
  void setMillisecond(unsigned int value) { millisecond_ = value; }  // never raises
  ///@}

 private:
  void fromTm(const std::tm& t, unsigned int selected);

  unsigned short year_;
  unsigned char month_;
  unsigned char day_;
  unsigned char hour_;
  unsigned char minute_;
  unsigned char second_;
  unsigned int millisecond_;
  short offset_;
  unsigned char parts_;
};

/// Comparisons of the two values' seconds since the epoch (operator long).
///@{
LUMBREL_API bool operator==(const DateTime& a, const DateTime& b);
LUMBREL_API bool operator!=(const DateTime& a, const DateTime& b);
LUMBREL_API bool operator<(const DateTime& a, const DateTime& b);
LUMBREL_API bool operator<=(const DateTime& a, const DateTime& b);
LUMBREL_API bool operator>(const DateTime& a, const DateTime& b);
LUMBREL_API bool operator>=(const DateTime& a, const DateTime& b);
///@}

/// Writes the text form.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out,
                                                 const DateTime& value);

}  // namespace Lumbrel

#endif  // LUMBREL_DATE_TIME_H
