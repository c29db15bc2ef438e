#include "timetext/TimeDate.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "timetext/TimeDatePD.h"

namespace {

using Tevrol::Long;
using Tevrol::ULong;

// Sets TZ for the life of the object and restores what was there.
class ScopedTZ {
 public:
  explicit ScopedTZ(const char* zone) : m_had(std::getenv("TZ") != nullptr) {
    m_old = m_had ? std::getenv("TZ") : "";
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTZ() {
    m_had ? setenv("TZ", m_old.c_str(), 1) : unsetenv("TZ");
    tzset();
  }

 private:
  bool m_had;
  std::string m_old;
};

const char* const kZones[] = {
    "UTC0",         "CET-1CEST,M3.5.0,M10.5.0/3",  "EST5EDT,M3.2.0,M11.1.0",
    "<+0530>-5:30", "NZST-12NZDT,M9.5.0,M4.1.0/3", "<-0330>3:30"};

TEST(TimeDateTest, CountsBreakDownInUtcInEveryZone) {
  struct Case {
    bool gps;
    ULong count;
    int second, minute, hour, day, month;
    Long year;
    int dayOfWeek, dayOfYear;
  } const cases[] = {{false, 1, 1, 0, 0, 1, 1, 1970, 4, 1},
                     {false, 1173085501, 1, 5, 9, 5, 3, 2007, 1, 64},
                     {false, 951782400, 0, 0, 0, 29, 2, 2000, 2, 60},
                     {false, 0xFFFFFFFF, 15, 28, 6, 7, 2, 2106, 0, 38},
                     {true, 1, 1, 0, 0, 1, 6, 1980, 0, 153},
                     {true, 0xFFFFFFFF, 15, 28, 6, 8, 7, 2116, 3, 190}};
  EXPECT_EQ(TimeDate::GetTimeForFirstGPSDay(), 328665600u);
  for (const char* zone : kZones) {
    ScopedTZ tz(zone);
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
      const Case& c = cases[i];
      SCOPED_TRACE(testing::Message() << zone << " row " << i);
      TimeDate date;
      EXPECT_EQ(c.gps ? date.SetGPSTime(c.count) : date.SetCalendarTime(c.count), 1);
      const int fields[] = {date.m_second, date.m_minute,    date.m_hour,        date.m_day,
                            date.m_month,  date.m_dayOfWeek, date.GetDayOfYear()};
      const int expected[] = {c.second, c.minute, c.hour, c.day, c.month, c.dayOfWeek, c.dayOfYear};
      for (int f = 0; f < 7; ++f) EXPECT_EQ(fields[f], expected[f]) << "field " << f;
      EXPECT_EQ(date.m_year, c.year);
    }
  }
}

TEST(TimeDateTest, CountZeroMeansNoDate) {
  TimeDate date(0);
  const int cleared[] = {date.m_second,   date.m_minute, date.m_hour,
                         date.m_day,      date.m_month,  static_cast<int>(date.m_year),
                         date.m_dayOfWeek};
  for (int value : cleared) EXPECT_EQ(value, -1);
  EXPECT_EQ(date.m_dayOfYear, 0);
  EXPECT_EQ(date.GetCalendarTime(), 0u);
  EXPECT_EQ(TimeDate().m_dayOfWeek, 0);
  date.SetCalendarTime(1173085501);
  EXPECT_EQ(date.SetCalendarTime(0), 0);
  EXPECT_EQ(date.m_dayOfYear, 64);  // left as it was
  EXPECT_EQ(date.m_dayOfWeek, -1);
  date.SetCalendarTime(1);
  EXPECT_EQ(date.SetGPSTime(0), 0);
  EXPECT_EQ(date.m_year, -1);
}

TEST(TimeDateTest, CalendarRoundTripHoldsInEveryZone) {
  std::vector<ULong> counts = {1,          2,          3599,       3600,       3601,
                               86399,      1174784399, 1174784400, 1193533199, 1193533200,
                               1173596399, 1173596400, 1194155999, 1194156000, 0x7FFFFFFF,
                               0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
  for (ULong n = 12345; n < 0xFFF00000u; n += 4294967u + 1801u) counts.push_back(n);
  for (const char* zone : kZones) {
    ScopedTZ tz(zone);
    for (ULong n : counts) {
      EXPECT_EQ(TimeDate(n).GetCalendarTime(), n) << zone << " count " << n;
    }
  }
}

TEST(TimeDateTest, ClockReadingsAreUtc) {
  ScopedTZ tz("CET-1CEST,M3.5.0,M10.5.0/3");
  const std::time_t before = std::time(nullptr);
  TimeDate now;
  now.GetLocalTime();
  const ULong gps = TimeDate::GetGPSTime();
  char stamp[20];
  std::memset(stamp, 'x', sizeof stamp);
  TimeDate::GetTimeStamp(stamp);
  const std::time_t after = std::time(nullptr);
  EXPECT_GE(now.GetCalendarTime(), static_cast<ULong>(before));
  EXPECT_LE(now.GetCalendarTime(), static_cast<ULong>(after));
  EXPECT_GE(gps, static_cast<ULong>(before - 328665600));
  EXPECT_LE(gps, static_cast<ULong>(after - 328665600));
  EXPECT_EQ(stamp[16], 'x');
  std::string expected[2];
  for (int i = 0; i < 2; ++i) {
    std::tm fields;
    char text[32];
    const std::time_t t = i == 0 ? before : after;
    std::strftime(text, sizeof text, "%Y%m%d_%H%M%S", gmtime_r(&t, &fields));
    expected[i] = text;
  }
  EXPECT_TRUE(stamp == expected[0] || stamp == expected[1]) << stamp;
}

TEST(TimeDateTest, OffsetsAndConversionToLocalTime) {
  const TimeZone berlin = {7, -60, -60, 0};
  struct Case {
    int mode;
    Long offset;
    const char* converted;  // 2007-03-05 09:05:01 UTC moved by the offset
  } const cases[] = {{0, -3600, "Mo, 5.3.07 10:05"},
                     {1, -3600, "Mo, 5.3.07 10:05"},
                     {2, -7200, "Mo, 5.3.07 11:05"},
                     {3, static_cast<Long>(0xDEADBEEFu), nullptr},
                     {-1, static_cast<Long>(0xDEADBEEFu), nullptr}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    const auto mode = static_cast<TimeDate::DSTMode>(cases[i].mode);
    EXPECT_EQ(TimeDate::GetLocalTimeOffset(berlin, mode), cases[i].offset) << "row " << i;
    if (cases[i].converted != nullptr) {
      TimeDate date(1173085501);
      char text[19] = "";
      EXPECT_EQ(date.ConvertUTCToLocalTime(berlin, mode), 1);
      date.Format(text, TimeDate::FormatDateTime);
      EXPECT_STREQ(text, cases[i].converted) << "row " << i;
    }
  }
  // 2^31 minutes times 60 wraps as 32-bit arithmetic does, without overflow.
  EXPECT_EQ(TimeDate::GetLocalTimeOffset({0, INT32_MAX, 0, 1}, TimeDate::DSTModeStandard), 0);
  TimeDate none;
  EXPECT_EQ(none.ConvertUTCToLocalTime({0, 0, 0, 0}, TimeDate::DSTModeUnset), 0);
  EXPECT_EQ(none.m_year, -1);
  EXPECT_EQ(none.ConvertUTCToLocalTime(berlin, TimeDate::DSTModeUnset), 1);
  EXPECT_EQ(none.GetCalendarTime(), 3600u);
}

TEST(TimeDateTest, LeapYearsFollowThe1582Rule) {
  const ULong leap[] = {4, 1500, 1580, 1584, 1600, 2000, 2024};
  const ULong common[] = {1, 1500 + 2, 1582, 1700, 1900, 2100, 2023};
  for (ULong year : leap) EXPECT_TRUE(TimeDate::IsLeapYear(year)) << year;
  for (ULong year : common) EXPECT_FALSE(TimeDate::IsLeapYear(year)) << year;
}

TEST(TimeDateTest, ComparisonsOrderFieldsInSequence) {
  struct Case {
    void (*change)(TimeDate&);
    int order;  // of the changed copy against the original
  } const cases[] = {
      {[](TimeDate& d) { d.m_dayOfWeek = 5, d.m_dayOfYear = 9; }, 0},
      {[](TimeDate& d) { d.m_second++; }, 1},
      {[](TimeDate& d) { d.m_minute--, d.m_second = 59; }, -1},
      {[](TimeDate& d) { d.m_hour++, d.m_minute = 0; }, 1},
      {[](TimeDate& d) { d.m_day--, d.m_hour = 23; }, -1},
      {[](TimeDate& d) { d.m_month++, d.m_day = 1; }, 1},
      {[](TimeDate& d) { d.m_year--, d.m_month = 12; }, -1},
      {[](TimeDate& d) { d.m_year = -2007; }, -1},  // signed: not a large unsigned year
  };
  const TimeDate original(1173085501);
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    TimeDate changed = original;
    cases[i].change(changed);
    const int order = cases[i].order;
    EXPECT_EQ(changed > original, order > 0) << "row " << i;
    EXPECT_EQ(changed == original, order == 0) << "row " << i;
    EXPECT_EQ(changed >= original, order >= 0) << "row " << i;
    EXPECT_EQ(changed < original, order < 0) << "row " << i;
    EXPECT_EQ(changed <= original, order <= 0) << "row " << i;
    EXPECT_EQ(original > changed, order < 0) << "row " << i;
  }
}

TEST(TimeDateTest, FormatTexts) {
  TimeDate wild(1173085501);
  wild.m_dayOfWeek = 9;
  wild.m_day = wild.m_month = wild.m_hour = wild.m_minute = SHRT_MIN;
  wild.m_year = INT32_MIN;
  struct Case {
    TimeDate date;
    int format;
    const char* expected;
  } const cases[] = {
      {TimeDate(1173085501), 0, "Mo, 5.3.07"}, {TimeDate(1173085501), 1, "Mo, 5.3.07 09:05"},
      {TimeDate(1), 1, "Do, 1.1.70 00:00"},    {TimeDate(1199145599), 1, "Mo, 31.12.07 23:59"},
      {TimeDate(951782400), 0, "Di, 29.2.00"}, {TimeDate(0xFFFFFFFF), 1, "So, 7.2.06 06:28"},
      {TimeDate(1173085501), 2, "untouched"},  {TimeDate(0), 0, "untouched"},
      {wild, 1, "??, -32768.-32768."}};  // cut to 18 characters
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    char text[24] = "untouched";
    std::memset(text + 10, 'x', sizeof text - 10);
    cases[i].date.Format(text, static_cast<TimeDate::TimeFormat>(cases[i].format));
    EXPECT_STREQ(text, cases[i].expected) << "row " << i;
    EXPECT_EQ(text[19], 'x') << "row " << i;
  }
}

// What SetLocalTime would hand to settimeofday; the clock is never set.
std::int64_t handedOver = 0;
int handOverResult = 0;
int RecordHandOver(std::int64_t seconds) {
  handedOver = seconds;
  return handOverResult;
}

struct RecordingSetter {
  RecordingSetter() { detail::SetSystemTimeSetterForTesting(&RecordHandOver); }
  ~RecordingSetter() { detail::SetSystemTimeSetterForTesting(nullptr); }
};

TEST(TimeDateTest, SetLocalTimeHandsTheFieldsReadInTheProcessZone) {
  RecordingSetter recording;
  struct Case {
    const char* zone;
    ULong fields;  // the calendar time whose fields are set
    std::int64_t expected;
  } const cases[] = {{"UTC0", 1173085501, 1173085501},
                     {"CET-1CEST,M3.5.0,M10.5.0/3", 1173085501, 1173085501 - 3600},
                     {"CET-1CEST,M3.5.0,M10.5.0/3", 1183291200, 1183291200 - 3600},  // no DST
                     {"EST5EDT,M3.2.0,M11.1.0", 1183291200, 1183291200 + 5 * 3600}};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    ScopedTZ tz(cases[i].zone);
    handedOver = 0;
    handOverResult = static_cast<int>(i % 2) - 1;
    EXPECT_EQ(TimeDate(cases[i].fields).SetLocalTime(), handOverResult) << "row " << i;
    EXPECT_EQ(handedOver, cases[i].expected) << "row " << i;
  }
  TimeDate farPast(1);
  farPast.m_year = INT32_MIN;
  handedOver = 0;
  EXPECT_EQ(TimeDate().SetLocalTime(), -1);
  EXPECT_EQ(farPast.SetLocalTime(), -1);
  EXPECT_EQ(handedOver, 0);
}

}  // namespace
