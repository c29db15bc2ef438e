#include "timetext/TimeDate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "timetext/TimeDatePD.h"

namespace {

using Tevrol::ULong;

// Time-zone tests set TZ through Use; TearDown puts back what the process had.
const bool kHadTZ = std::getenv("TZ") != nullptr;
const std::string kSavedTZ = kHadTZ ? std::getenv("TZ") : "";

struct TimeDateTest : testing::Test {
  static void Use(const char* zone) {
    zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
    tzset();
  }
  void TearDown() override { Use(kHadTZ ? kSavedTZ.c_str() : nullptr); }
};

// clang-format off
const char* const kZones[] = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0",
                              "<+0530>-5:30", "NZST-12NZDT,M9.5.0,M4.1.0/3", "<-0330>3:30"};
// clang-format on

// Every field a conversion fills, as "2007-03-05 09:05:01 w1 d64".
std::string Fields(const TimeDate& d) {
  char t[96];
  std::snprintf(t, sizeof t, "%04d-%02d-%02d %02d:%02d:%02d w%d d%d", int(d.m_year), d.m_month,
                d.m_day, d.m_hour, d.m_minute, d.m_second, d.m_dayOfWeek, d.m_dayOfYear);
  return t;
}

TEST_F(TimeDateTest, CountsBreakDownInUtcInEveryZone) {
  // clang-format off
  const std::tuple<bool, ULong, const char*> rows[] = {  // GPS time?, count, fields
      {false, 1, "1970-01-01 00:00:01 w4 d1"},          {false, 1173085501, "2007-03-05 09:05:01 w1 d64"},
      {false, 951782400, "2000-02-29 00:00:00 w2 d60"}, {false, 0xFFFFFFFF, "2106-02-07 06:28:15 w0 d38"},
      {true, 1, "1980-06-01 00:00:01 w0 d153"},         {true, 0xFFFFFFFF, "2116-07-08 06:28:15 w3 d190"},
      {false, 0, "-001--1--1 -1:-1:-1 w-1 d0"},         {true, 0, "-001--1--1 -1:-1:-1 w-1 d0"}};
  // clang-format on
  for (const char* zone : kZones) {
    Use(zone);
    for (const auto& [gps, count, fields] : rows) {
      TimeDate date;
      EXPECT_EQ(gps ? date.SetGPSTime(count) : date.SetCalendarTime(count), count != 0 ? 1 : 0);
      EXPECT_EQ(Fields(date), fields) << zone;
    }
  }
  TimeDate date(0);
  EXPECT_TRUE(Fields(date) == "-001--1--1 -1:-1:-1 w-1 d0" && date.GetCalendarTime() == 0);
  // m_dayOfYear is left as it was.
  EXPECT_TRUE(date.SetCalendarTime(1173085501) && !date.SetCalendarTime(0) &&
              date.m_dayOfYear == 64);
}

TEST_F(TimeDateTest, CalendarRoundTripHoldsInEveryZone) {
  // Around the 2007 changes of CET and EST, 2038 and the ends of the range, then a sweep.
  // clang-format off
  std::vector<ULong> counts = {1, 2, 3599, 3600, 86399, 1174784399, 1174784400, 1193533199, 1193533200,
                               1173596399, 1173596400, 1194155999, 1194156000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  // clang-format on
  for (ULong n = 12345; n < 0xFFF00000u; n += 4294967u + 1801u) counts.push_back(n);
  for (const char* zone : kZones) {
    Use(zone);
    for (ULong n : counts) EXPECT_EQ(TimeDate(n).GetCalendarTime(), n) << zone << " count " << n;
  }
}

TEST_F(TimeDateTest, ClockReadingsAreUtc) {
  Use(kZones[1]);
  const std::time_t before = std::time(nullptr);
  TimeDate now;
  now.GetLocalTime();
  char stamp[20] = "xxxxxxxxxxxxxxxxxxx", expected[2][20];
  TimeDate::GetTimeStamp(stamp);
  const std::time_t after = std::time(nullptr);
  EXPECT_TRUE(now.GetCalendarTime() >= before && now.GetCalendarTime() <= after);
  const ULong gps = TimeDate::GetGPSTime();  // read last: it may lie one second behind `after`
  EXPECT_TRUE(gps >= before - 328665600 && gps <= after + 1 - 328665600) << gps;
  for (std::time_t t : {before, after}) {
    std::tm fields;
    std::strftime(expected[t != before], 20, "%Y%m%d_%H%M%S", gmtime_r(&t, &fields));
  }
  EXPECT_TRUE(stamp == std::string(expected[0]) || stamp == std::string(expected[1])) << stamp;
  EXPECT_EQ(stamp[16], 'x');
}

TEST_F(TimeDateTest, OffsetsConversionToLocalTimeAndLeapYears) {
  const TimeZone berlin = {7, -60, -60, 0};
  const Tevrol::Long offsets[] = {-3600, -3600, -7200, Tevrol::Long(0xDEADBEEFu)};  // modes 0 to 3
  for (int mode = -1; mode < 4; ++mode) {
    TimeDate date(1173085501);  // 09:05:01 UTC
    EXPECT_EQ(TimeDate::GetLocalTimeOffset(berlin, TimeDate::DSTMode(mode)),
              offsets[mode < 0 ? 3 : mode]);
    EXPECT_EQ(date.ConvertUTCToLocalTime(berlin, TimeDate::DSTMode(mode)), 1);
    EXPECT_TRUE(mode == 3 || mode < 0 || date.m_hour == 10 + mode / 2) << "mode " << mode;
  }
  // 2^31 minutes are 0 seconds modulo 2^32, as on the 32-bit target, with no overflow.
  EXPECT_EQ(TimeDate::GetLocalTimeOffset({0, INT32_MAX, 0, 1}, TimeDate::DSTModeStandard), 0);
  TimeDate none;  // reads as 0: stays without a date under offset 0, else moves from 0
  EXPECT_EQ(none.ConvertUTCToLocalTime({0, 0, 0, 0}, TimeDate::DSTModeUnset), 0);
  EXPECT_TRUE(none.ConvertUTCToLocalTime(berlin, TimeDate::DSTModeUnset) &&
              none.GetCalendarTime() == 3600);
  for (ULong y : {4, 1500, 1580, 1584, 1600, 2000}) EXPECT_TRUE(TimeDate::IsLeapYear(y)) << y;
  for (ULong y : {1, 1582, 1700, 1900, 2100, 2023}) EXPECT_FALSE(TimeDate::IsLeapYear(y)) << y;
}

TEST_F(TimeDateTest, ComparisonsTakeFieldsInOrder) {
  // Ascending; each step raises one field while the fields behind it fall.
  const ULong ascending[] = {1167609599, 1167609600, 1170287999, 1170288000, 1170291599,
                             1170291600, 1170291659, 1170291660, 1170291661};
  for (size_t i = 0; i < 9; ++i) {
    for (size_t j = 0; j < 9; ++j) {
      TimeDate a(ascending[i]), b(ascending[j]);
      a.m_dayOfWeek = a.m_dayOfYear = 9;  // take no part
      const std::string results = {a > b, a == b, a >= b, a < b, a <= b};
      EXPECT_EQ(results, std::string({i > j, i == j, i >= j, i < j, i <= j})) << i << " " << j;
    }
  }
}

TEST_F(TimeDateTest, FormatTexts) {
  TimeDate wild(1173085501);
  wild.m_dayOfWeek = 9, wild.m_day = wild.m_month = -32768;
  // clang-format off
  const std::tuple<TimeDate, int, const char*> rows[] = {
      {TimeDate(1173085501), 0, "Mo, 5.3.07"}, {TimeDate(1173085501), 1, "Mo, 5.3.07 09:05"},
      {TimeDate(1), 1, "Do, 1.1.70 00:00"},    {TimeDate(1199145599), 1, "Mo, 31.12.07 23:59"},
      {TimeDate(951782400), 0, "Di, 29.2.00"}, {TimeDate(0xFFFFFFFF), 1, "So, 7.2.06 06:28"},
      {TimeDate(1173085501), 2, "untouched"},  {TimeDate(0), 0, "untouched"},
      {wild, 1, "??, -32768.-32768."}};  // cut to 18 characters
  // clang-format on
  for (const auto& [date, format, expected] : rows) {
    char text[24] = "untouched\0xxxxxxxxxxxxx";
    date.Format(text, TimeDate::TimeFormat(format));
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(text[19], 'x') << expected;
  }
}

TEST_F(TimeDateTest, SetLocalTimeHandsTheFieldsReadInTheProcessZone) {
  // Sees what would go to settimeofday, so the clock is never set; the system's answer goes back.
  static std::int64_t handedOver;
  detail::SetSystemTimeSetterForTesting([](std::int64_t seconds) {
    handedOver = seconds;
    return seconds % 2 == 0 ? 0 : -1;
  });
  // Fields of a calendar time, the zone, and what the zone makes of them without daylight saving.
  // clang-format off
  const std::tuple<ULong, const char*, std::int64_t> rows[] = {
      {1173085501, "UTC0", 1173085501},          {1173085501, kZones[1], 1173085501 - 3600},
      {1183291200, kZones[1], 1183291200 - 3600}, {1183291200, kZones[2], 1183291200 + 5 * 3600}};
  // clang-format on
  for (const auto& [fields, zone, expected] : rows) {
    Use(zone);
    EXPECT_EQ(TimeDate(fields).SetLocalTime(), expected % 2 == 0 ? 0 : -1) << zone;
    EXPECT_EQ(handedOver, expected) << zone;
  }
  TimeDate farPast(1);
  farPast.m_year = INT32_MIN;
  handedOver = 0;
  EXPECT_TRUE(TimeDate().SetLocalTime() == -1 && farPast.SetLocalTime() == -1 && handedOver == 0);
  detail::SetSystemTimeSetterForTesting(nullptr);  // only EXPECTs above: always reached
}

}  // namespace
