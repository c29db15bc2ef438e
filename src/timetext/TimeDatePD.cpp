// Platform layer of TimeDate: the only code in timetext/ that reads or sets
// the system clock or the process's time zone.
#include "timetext/TimeDatePD.h"

#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>
#include <type_traits>

static_assert(std::is_signed<time_t>::value ? sizeof(time_t) <= 8 : sizeof(time_t) < 8,
              "every time_t value fits a 64-bit signed count");

namespace {

// Whether this platform's time_t holds the count (a 32-bit one ends in 2038).
bool FitsTimeT(std::int64_t seconds) {
  return seconds >= std::numeric_limits<time_t>::min() &&
         seconds <= std::numeric_limits<time_t>::max();
}

int SetTimeOfDay(std::int64_t seconds) {
  if (!FitsTimeT(seconds)) {
    errno = EOVERFLOW;
    return -1;
  }
  timeval value{};
  value.tv_sec = static_cast<time_t>(seconds);
  value.tv_usec = 0;
  return settimeofday(&value, nullptr);
}

std::atomic<detail::SystemTimeSetter> systemTimeSetter{&SetTimeOfDay};

}  // namespace

void detail::SetSystemTimeSetterForTesting(SystemTimeSetter setter) {
  systemTimeSetter.store(setter != nullptr ? setter : &SetTimeOfDay);
}

std::int64_t TimeDatePD::GetSystemTime() {
  return static_cast<std::int64_t>(time(nullptr));
}

bool TimeDatePD::BreakDownUTC(std::int64_t seconds, std::tm& fields) {
  if (!FitsTimeT(seconds)) {
    return false;
  }
  const time_t value = static_cast<time_t>(seconds);
  std::tm result{};
  if (gmtime_r(&value, &result) == nullptr) {
    return false;
  }
  fields = result;
  return true;
}

std::int64_t TimeDatePD::MakeLocalTime(std::tm& fields) {
  const time_t result = mktime(&fields);
  // Also where time_t is unsigned: its failure value is (time_t)-1.
  return result == static_cast<time_t>(-1) ? -1 : static_cast<std::int64_t>(result);
}

std::int64_t TimeDatePD::GetTimezone() {
  return static_cast<std::int64_t>(timezone);
}

int TimeDatePD::SetSystemTime(std::int64_t seconds) {
  return systemTimeSetter.load()(seconds);
}
