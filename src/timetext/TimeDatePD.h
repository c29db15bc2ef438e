#ifndef TEVROL_TIMETEXT_TIMEDATEPD_H
#define TEVROL_TIMETEXT_TIMEDATEPD_H

#include <cstdint>
#include <ctime>

// Platform layer of TimeDate: reads and sets the system clock and consults
// the process's time zone. Second counts are 64-bit whatever the width of
// the platform's time_t. Internal: not installed, not exported.
class TimeDatePD {
 public:
  // The system clock in seconds since 1970-01-01 00:00:00 UTC.
  static std::int64_t GetSystemTime();
  // gmtime_r: false when the count does not fit the platform's time_t or
  // cannot be broken down, with `fields` then left as it was.
  static bool BreakDownUTC(std::int64_t seconds, std::tm& fields);
  // mktime in the process's time zone (it runs tzset); -1 on failure, as
  // mktime, which also gives -1 for the second before 1970 UTC.
  static std::int64_t MakeLocalTime(std::tm& fields);
  // The platform's global `timezone` (seconds west of UTC of standard time)
  // as the last tzset or mktime left it.
  static std::int64_t GetTimezone();
  // settimeofday with `seconds` and 0 microseconds, through the seam below;
  // 0 or -1 as the system call.
  static int SetSystemTime(std::int64_t seconds);
};

namespace detail {

// Test seam, never exported: what SetSystemTime hands the clock to instead
// of settimeofday, so that tests see the count without changing the clock
// (they run as root). Null restores settimeofday.
using SystemTimeSetter = int (*)(std::int64_t seconds);
void SetSystemTimeSetterForTesting(SystemTimeSetter setter);

}  // namespace detail

#endif
