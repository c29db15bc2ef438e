#include "timetext/TimeDate.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "timetext/TimeDatePD.h"

using Tevrol::Long;
using Tevrol::ULong;

namespace {

constexpr ULong kFirstGPSDay = 328665600u;
constexpr std::size_t kFormatSize = 19;     // "So, 31.12.99 23:59" and the terminator
constexpr std::size_t kTimeStampSize = 16;  // "20070305_090501" and the terminator

// Breaks `seconds` down in UTC; false, `date` untouched, where time_t cannot hold the count.
bool Fill(TimeDate& date, std::int64_t seconds) {
  std::tm fields{};
  if (!TimeDatePD::BreakDownUTC(seconds, fields)) {
    return false;
  }
  date.m_second = static_cast<short>(fields.tm_sec);
  date.m_minute = static_cast<short>(fields.tm_min);
  date.m_hour = static_cast<short>(fields.tm_hour);
  date.m_day = static_cast<short>(fields.tm_mday);
  date.m_month = static_cast<short>(fields.tm_mon + 1);
  date.m_year = static_cast<Long>(static_cast<std::int64_t>(fields.tm_year) + 1900);
  date.m_dayOfWeek = static_cast<short>(fields.tm_wday);
  date.m_dayOfYear = static_cast<short>(fields.tm_yday + 1);
  return true;
}

// The state of a count 0: no date, m_dayOfYear as it was.
void Clear(TimeDate& date) {
  date.m_second = date.m_minute = date.m_hour = date.m_day = date.m_month = -1;
  date.m_year = -1;
  date.m_dayOfWeek = -1;
}

int FillOrClear(TimeDate& date, std::int64_t seconds) {
  if (seconds != 0 && Fill(date, seconds)) {
    return 1;
  }
  Clear(date);
  return 0;
}

// The fields as mktime takes them, without daylight saving; false for a year beyond an int.
bool ToRecord(TimeDate const& date, std::tm& record) {
  const std::int64_t year = static_cast<std::int64_t>(date.m_year) - 1900;
  if (year < INT32_MIN) {
    return false;
  }
  record = std::tm{};
  record.tm_sec = date.m_second;
  record.tm_min = date.m_minute;
  record.tm_hour = date.m_hour;
  record.tm_mday = date.m_day;
  record.tm_mon = date.m_month - 1;
  record.tm_year = static_cast<int>(year);
  record.tm_isdst = 0;
  return true;
}

// At most size - 1 bytes of `full` and a terminator: callers provide a fixed room.
void CopyCut(char* text, char const* full, std::size_t size) {
  const std::size_t length = std::min(std::strlen(full), size - 1);
  std::memcpy(text, full, length);
  text[length] = 0;
}

}  // namespace

TimeDate::TimeDate()
    : m_second(-1),
      m_minute(-1),
      m_hour(-1),
      m_day(-1),
      m_month(-1),
      m_year(-1),
      m_dayOfWeek(0),
      m_dayOfYear(0) {}

// m_dayOfYear of TimeDate(0) keeps the default constructor's 0.
TimeDate::TimeDate(ULong calendarTime) : TimeDate() {
  SetCalendarTime(calendarTime);
}

TimeDate::~TimeDate() = default;

ULong TimeDate::GetTimeForFirstGPSDay() {
  return kFirstGPSDay;
}

ULong TimeDate::GetGPSTime() {
  return static_cast<ULong>(static_cast<std::uint64_t>(TimeDatePD::GetSystemTime()) - kFirstGPSDay);
}

int TimeDate::SetGPSTime(ULong gpsTime) {
  // Added in 64 bits: counts past 2106 name their real dates (to 2116) instead of wrapping.
  return gpsTime == 0 ? FillOrClear(*this, 0)
                      : FillOrClear(*this, std::int64_t{gpsTime} + kFirstGPSDay);
}

int TimeDate::SetCalendarTime(ULong calendarTime) {
  return FillOrClear(*this, calendarTime);
}

ULong TimeDate::GetCalendarTime() const {
  if (m_year == -1) {
    return 0;
  }
  std::tm record;
  // A year that mktime cannot take counts as its failure, -1, which is not examined either.
  const std::int64_t local = ToRecord(*this, record) ? TimeDatePD::MakeLocalTime(record) : -1;
  // mktime read the fields as local standard time; taking off `timezone` reads them as UTC.
  return static_cast<ULong>(static_cast<std::uint64_t>(local - TimeDatePD::GetTimezone()));
}

void TimeDate::GetLocalTime() {
  // Only where time_t cannot hold the clock (32 bits after 2038) does the object lose its date.
  if (!Fill(*this, TimeDatePD::GetSystemTime())) {
    Clear(*this);
  }
}

int TimeDate::SetLocalTime() const {
  // Seconds, minutes and hours go in as they stand, as GetCalendarTime takes them, so the clock
  // shows the fields (not 3539 s ahead of them).
  std::tm record;
  // An object without a date sets nothing rather than a clock before 1970.
  if (m_year == -1 || !ToRecord(*this, record)) {
    return -1;
  }
  const std::int64_t seconds = TimeDatePD::MakeLocalTime(record);
  return seconds == -1 ? -1 : TimeDatePD::SetSystemTime(seconds);
}

int TimeDate::ConvertUTCToLocalTime(TimeZone const& zone, DSTMode mode) {
  return SetCalendarTime(GetCalendarTime() - static_cast<ULong>(GetLocalTimeOffset(zone, mode)));
}

Long TimeDate::GetLocalTimeOffset(TimeZone const& zone, DSTMode mode) {
  std::uint32_t minutes;
  if (mode == DSTModeUnset || mode == DSTModeStandard) {
    minutes = static_cast<std::uint32_t>(zone.bias) + static_cast<std::uint32_t>(zone.standardBias);
  } else if (mode == DSTModeDaylight) {
    minutes = static_cast<std::uint32_t>(zone.bias) + static_cast<std::uint32_t>(zone.dstBias);
  } else {
    return static_cast<Long>(0xDEADBEEFu);
  }
  // Unsigned, so that absurd biases wrap as on the 32-bit target instead of overflowing.
  return static_cast<Long>(minutes * 60u);
}

std::uint16_t TimeDate::GetDayOfYear() const {
  return static_cast<std::uint16_t>(m_dayOfYear);
}

bool TimeDate::IsLeapYear(ULong year) {
  if (year % 4 != 0) {
    return false;
  }
  return year < 1582 || year % 100 != 0 || year % 400 == 0;
}

bool TimeDate::operator>(TimeDate const& other) const {
  const Long mine[] = {m_year, m_month, m_day, m_hour, m_minute, m_second};
  const Long theirs[] = {other.m_year, other.m_month,  other.m_day,
                         other.m_hour, other.m_minute, other.m_second};
  for (std::size_t i = 0; i < 6; ++i) {
    if (mine[i] != theirs[i]) {
      return mine[i] > theirs[i];
    }
  }
  return false;
}

bool TimeDate::operator==(TimeDate const& other) const {
  return m_year == other.m_year && m_month == other.m_month && m_day == other.m_day &&
         m_hour == other.m_hour && m_minute == other.m_minute && m_second == other.m_second;
}

bool TimeDate::operator>=(TimeDate const& other) const {
  return *this > other || *this == other;
}

bool TimeDate::operator<(TimeDate const& other) const {
  return !(*this >= other);
}

bool TimeDate::operator<=(TimeDate const& other) const {
  return *this < other || *this == other;
}

void TimeDate::Format(char* text, TimeFormat format) const {
  if (text == nullptr || m_year == -1 || (format != FormatDate && format != FormatDateTime)) {
    return;
  }
  static char const* const kWeekdays[] = {"So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"};
  // A weekday outside 0 to 6 (the field is public) shows as "??" instead of reading past the list.
  char const* const weekday = m_dayOfWeek >= 0 && m_dayOfWeek <= 6 ? kWeekdays[m_dayOfWeek] : "??";
  const std::int32_t year = m_year % 100;
  // Fields out of their ranges could give a longer text: it is cut to the 19 bytes callers provide.
  char full[48];
  if (format == FormatDate) {
    std::snprintf(full, sizeof full, "%s, %d.%d.%.2" PRId32, weekday, m_day, m_month, year);
  } else {
    std::snprintf(full, sizeof full, "%s, %d.%d.%.2" PRId32 " %.2d:%.2d", weekday, m_day, m_month,
                  year, m_hour, m_minute);
  }
  CopyCut(text, full, kFormatSize);
}

void TimeDate::GetTimeStamp(char* text) {
  if (text == nullptr) {
    return;
  }
  std::tm now{};
  // The breakdown fails only where time_t cannot hold the clock: the stamp then shows zero fields.
  TimeDatePD::BreakDownUTC(TimeDatePD::GetSystemTime(), now);
  char full[96];
  std::snprintf(full, sizeof full, "%.4lld%.2d%.2d_%.2d%.2d%.2d",
                static_cast<long long>(now.tm_year) + 1900, now.tm_mon + 1, now.tm_mday,
                now.tm_hour, now.tm_min, now.tm_sec);
  // Past the year 9999 the stamp is cut to its 15 characters.
  CopyCut(text, full, kTimeStampSize);
}
