// TimeDate driven by second counts and time zones: the input picks a POSIX
// TZ string from a small list and gives counts, zone biases and modes. Fields
// are never set directly and the system clock is never set: everything
// enters through the conversions, as it does in use.
#include <fuzzer/FuzzedDataProvider.h>

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "FuzzCheck.h"
#include "timetext/TimeDate.h"

namespace {

using Tevrol::Long;
using Tevrol::ULong;

// Zones whose standard offset never changed, where the calendar round trip
// through mktime holds.
char const* const kZones[] = {
    "UTC0",
    "CET-1CEST,M3.5.0,M10.5.0/3",
    "EST5EDT,M3.2.0,M11.1.0",
    "JST-9",
    "IST-5:30",
    "<+0545>-5:45",
    "NZST-12NZDT,M9.5.0,M4.1.0/3",
    "AEST-10AEDT,M10.1.0,M4.1.0/3",
    "HST10",
    "<-03>3",
    "<+14>-14",
    "<-12>12",
};

void UseZone(std::size_t index) {
  static std::size_t current = sizeof kZones / sizeof kZones[0];
  if (index != current) {
    setenv("TZ", kZones[index], 1);
    tzset();
    current = index;
  }
}

void CheckFields(TimeDate const& date, std::int64_t seconds) {
  std::time_t const t = static_cast<std::time_t>(seconds);
  std::tm fields{};
  FUZZ_CHECK(gmtime_r(&t, &fields) != nullptr);
  FUZZ_CHECK(date.m_second == fields.tm_sec);
  FUZZ_CHECK(date.m_minute == fields.tm_min);
  FUZZ_CHECK(date.m_hour == fields.tm_hour);
  FUZZ_CHECK(date.m_day == fields.tm_mday);
  FUZZ_CHECK(date.m_month == fields.tm_mon + 1);
  FUZZ_CHECK(date.m_year == fields.tm_year + 1900);
  FUZZ_CHECK(date.m_dayOfWeek == fields.tm_wday);
  FUZZ_CHECK(date.m_dayOfYear == fields.tm_yday + 1);
  FUZZ_CHECK(date.GetDayOfYear() == fields.tm_yday + 1);
}

void CheckNoDate(TimeDate const& date) {
  FUZZ_CHECK(date.m_year == -1 && date.m_month == -1 && date.m_day == -1);
  FUZZ_CHECK(date.m_hour == -1 && date.m_minute == -1 && date.m_second == -1);
  FUZZ_CHECK(date.GetCalendarTime() == 0);
}

// Format into a block of exactly 19 bytes, against snprintf.
void CheckFormat(TimeDate const& date, std::int32_t format) {
  std::unique_ptr<char[]> text(new char[19]);
  std::memset(text.get(), 'x', 19);
  date.Format(text.get(), static_cast<TimeDate::TimeFormat>(format));
  if (date.m_year == -1 || (format != 0 && format != 1)) {
    for (int i = 0; i < 19; ++i) FUZZ_CHECK(text[i] == 'x');
    return;
  }
  static char const* const kDays[] = {"So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"};
  FUZZ_CHECK(date.m_dayOfWeek >= 0 && date.m_dayOfWeek <= 6);
  char expected[64];
  std::int32_t const year = date.m_year % 100;
  if (format == 0) {
    std::snprintf(expected, sizeof expected, "%s, %d.%d.%.2" PRId32, kDays[date.m_dayOfWeek],
                  date.m_day, date.m_month, year);
  } else {
    std::snprintf(expected, sizeof expected, "%s, %d.%d.%.2" PRId32 " %.2d:%.2d",
                  kDays[date.m_dayOfWeek], date.m_day, date.m_month, year, date.m_hour,
                  date.m_minute);
  }
  FUZZ_CHECK(std::strlen(expected) <= 18);
  FUZZ_CHECK(std::strcmp(text.get(), expected) == 0);
}

bool RefLeap(ULong year) {
  if (year % 4 != 0) return false;
  if (year < 1582) return true;
  return year % 100 != 0 || year % 400 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  UseZone(input.ConsumeIntegralInRange<std::size_t>(0, sizeof kZones / sizeof kZones[0] - 1));

  ULong const calendar = input.ConsumeIntegral<ULong>();
  TimeDate date(calendar);
  if (calendar == 0) {
    CheckNoDate(date);
  } else {
    CheckFields(date, calendar);
    FUZZ_CHECK(date.GetCalendarTime() == calendar);
  }

  ULong const gps = input.ConsumeIntegral<ULong>();
  TimeDate fromGps;
  FUZZ_CHECK(fromGps.SetGPSTime(gps) == (gps != 0 ? 1 : 0));
  if (gps == 0) {
    CheckNoDate(fromGps);
  } else {
    std::int64_t const seconds = std::int64_t{gps} + TimeDate::GetTimeForFirstGPSDay();
    CheckFields(fromGps, seconds);
    FUZZ_CHECK(fromGps.GetCalendarTime() == static_cast<ULong>(seconds));
  }

  // Order agrees with the counts.
  ULong const c1 = date.GetCalendarTime(), c2 = fromGps.GetCalendarTime();
  if (c1 != 0 && c2 != 0 && gps <= 0xFFFFFFFFu - TimeDate::GetTimeForFirstGPSDay()) {
    FUZZ_CHECK((date > fromGps) == (c1 > c2));
    FUZZ_CHECK((date == fromGps) == (c1 == c2));
    FUZZ_CHECK((date >= fromGps) == (c1 >= c2));
    FUZZ_CHECK((date < fromGps) == (c1 < c2));
    FUZZ_CHECK((date <= fromGps) == (c1 <= c2));
  }

  // A zone from the input, in any mode (3 and up have no meaning).
  TimeZone zone{};
  zone.reserved = input.ConsumeIntegral<std::int32_t>();
  bool const smallBiases = input.ConsumeBool();
  auto Bias = [&] {
    return smallBiases ? input.ConsumeIntegralInRange<std::int32_t>(-24 * 60, 24 * 60)
                       : input.ConsumeIntegral<std::int32_t>();
  };
  zone.bias = Bias();
  zone.dstBias = Bias();
  zone.standardBias = Bias();
  auto const mode =
      static_cast<TimeDate::DSTMode>(input.ConsumeIntegralInRange<std::int32_t>(-1, 4));
  std::uint32_t expectedOffset = 0xDEADBEEFu;
  if (mode == 0 || mode == 1 || mode == 2) {
    std::uint32_t const sum =
        static_cast<std::uint32_t>(zone.bias) +
        static_cast<std::uint32_t>(mode == 2 ? zone.dstBias : zone.standardBias);
    expectedOffset = sum * 60u;
  }
  Long const offset = TimeDate::GetLocalTimeOffset(zone, mode);
  FUZZ_CHECK(static_cast<std::uint32_t>(offset) == expectedOffset);

  TimeDate local(date);
  ULong const shifted = c1 - static_cast<ULong>(offset);
  FUZZ_CHECK(local.ConvertUTCToLocalTime(zone, mode) == (shifted != 0 ? 1 : 0));
  if (shifted == 0) {
    CheckNoDate(local);
  } else {
    CheckFields(local, shifted);
    FUZZ_CHECK(local.GetCalendarTime() == shifted);
  }

  std::int32_t const format = input.ConsumeIntegralInRange<std::int32_t>(-1, 2);
  CheckFormat(date, format);
  CheckFormat(fromGps, format);
  CheckFormat(local, format);

  ULong const year = input.ConsumeIntegralInRange<ULong>(0, 10000);
  FUZZ_CHECK(TimeDate::IsLeapYear(year) == RefLeap(year));
  return 0;
}
