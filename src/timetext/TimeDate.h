#ifndef TEVROL_TIMETEXT_TIMEDATE_H
#define TEVROL_TIMETEXT_TIMEDATE_H

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// A time zone as numbers that the caller supplies: the library holds no
// zone database and no daylight saving rules. Biases are signed minutes; a
// zone one hour east of UTC has bias + standardBias = -60.
struct TimeZone {
  std::int32_t reserved;  // not read by this library: callers may use it as they wish
  std::int32_t bias;
  std::int32_t dstBias;
  std::int32_t standardBias;
};

// A broken-down calendar value in UTC with conversions from and to three
// second counts (all unsigned 32-bit): calendar time (since 1970-01-01
// 00:00:00 UTC), GPS time (since 1980-06-01 00:00:00 UTC, the library's
// first GPS day, not the 6 January of other systems) and the system clock.
// m_year -1 means "no date"; the count 0 stands for it in both directions.
// No lock: an object belongs to one thread at a time. GetCalendarTime and
// SetLocalTime go through mktime, which reads the process's TZ, and give
// the same calendar time in every zone whose standard offset is fixed (a
// POSIX TZ string such as "CET-1CEST,M3.5.0,M10.5.0/3"); zones whose
// standard offset changed in history may be off by that change.
class TEVROL_EXPORT TimeDate {
 public:
  // Selects the bias added to `bias` by GetLocalTimeOffset: 0 and 1 the
  // standardBias, 2 the dstBias. The fixed underlying type keeps any value
  // passed by a cast defined; others give 0xDEADBEEF.
  enum DSTMode : std::int32_t { DSTModeUnset = 0, DSTModeStandard = 1, DSTModeDaylight = 2 };
  // 0: "Mo, 5.3.07"; 1: "Mo, 5.3.07 09:05".
  enum TimeFormat : std::int32_t { FormatDate = 0, FormatDateTime = 1 };

  // No date: every field -1 but m_dayOfWeek and m_dayOfYear, which are 0.
  TimeDate();
  // Through SetCalendarTime; 0 leaves the object without a date.
  explicit TimeDate(Tevrol::ULong calendarTime);
  TimeDate(TimeDate const&) = default;
  TimeDate& operator=(TimeDate const&) = default;
  virtual ~TimeDate();

  // 328665600: 1980-06-01 00:00:00 UTC as calendar time.
  static Tevrol::ULong GetTimeForFirstGPSDay();
  // The system clock minus the first GPS day, modulo 2^32.
  static Tevrol::ULong GetGPSTime();
  // Fill the fields in UTC from a non-zero count and give 1. The count 0
  // clears every field but m_dayOfYear to -1 and gives 0.
  int SetGPSTime(Tevrol::ULong gpsTime);
  int SetCalendarTime(Tevrol::ULong calendarTime);
  // The fields read as UTC, normalised as mktime does; 0 without a date.
  // Dates outside 1970 to 2106 give their count modulo 2^32.
  Tevrol::ULong GetCalendarTime() const;
  // Fills the fields from the system clock, in UTC despite the name.
  void GetLocalTime();
  // Sets the system clock to the fields read in the process's time zone
  // (mktime, no daylight saving). 0, or -1 when mktime fails, the object has
  // no date or the system refuses (the process needs the right to set it).
  int SetLocalTime() const;
  // Moves the object by minus GetLocalTimeOffset through the calendar time;
  // the result of SetCalendarTime. An object without a date reads as 0.
  int ConvertUTCToLocalTime(TimeZone const& zone, DSTMode mode);
  // (bias + the mode's bias) * 60 seconds, modulo 2^32; 0xDEADBEEF for a
  // mode other than 0, 1 and 2, with no other sign of the error.
  static Tevrol::Long GetLocalTimeOffset(TimeZone const& zone, DSTMode mode);
  std::uint16_t GetDayOfYear() const;
  // Julian rule before 1582 (every fourth year), Gregorian from 1582 on.
  static bool IsLeapYear(Tevrol::ULong year);

  // Order by year, month, day, hour, minute, second as signed numbers;
  // m_dayOfWeek and m_dayOfYear take no part.
  bool operator>(TimeDate const& other) const;
  bool operator==(TimeDate const& other) const;
  bool operator>=(TimeDate const& other) const;
  bool operator<(TimeDate const& other) const;
  bool operator<=(TimeDate const& other) const;

  // Writes the German display form, day and month unpadded, the year
  // modulo 100: "Mo, 5.3.07" or "Mo, 5.3.07 09:05". `text` needs 19 bytes;
  // no more are ever written. Without a date, or with another format,
  // `text` stays as it was.
  void Format(char* text, TimeFormat format) const;
  // Writes the current UTC time as "20070305_090501": `text` needs 16 bytes.
  static void GetTimeStamp(char* text);

  short m_second;
  short m_minute;
  short m_hour;         // 0 to 23
  short m_day;          // from 1
  short m_month;        // 1 to 12
  Tevrol::Long m_year;  // full year; -1: no date
  short m_dayOfWeek;    // 0 Sunday to 6 Saturday
  short m_dayOfYear;    // from 1
};

#endif
