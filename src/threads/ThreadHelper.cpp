#include "threads/ThreadHelper.h"

#include <pthread.h>

#include <ctime>

#include "threads/PDStdOperations.h"

const Tevrol::ULong ThreadHelper::INVALID_THREAD_ID;

Tevrol::ThreadId ThreadHelper::GetCurrentThreadID() {
  return static_cast<Tevrol::ThreadId>(pthread_self());
}

void ThreadHelper::Sleep(Tevrol::ULong milliseconds) {
  const std::uint32_t microseconds = milliseconds * 1000u;  // wraps in 32 bits on purpose
  // nanosleep instead of usleep: usleep may refuse a million microseconds or
  // more, nanosleep takes every count. An interrupted sleep ends early, as
  // usleep's does.
  timespec duration;
  duration.tv_sec = static_cast<time_t>(microseconds / 1000000u);
  duration.tv_nsec = static_cast<long>(microseconds % 1000000u) * 1000L;
  nanosleep(&duration, nullptr);
}

Tevrol::Tick ThreadHelper::GetTickCount() {
  return PDStdOperations::GetTickCount();
}
