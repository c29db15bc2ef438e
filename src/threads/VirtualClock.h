#ifndef TEVROL_THREADS_VIRTUALCLOCK_H
#define TEVROL_THREADS_VIRTUALCLOCK_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// The virtual clock behind the tick and the events' timed waits (see
// testing/VirtualTime.h for what it covers and why). Off by default; one
// relaxed load decides. Its state is made when it is switched on.

namespace detail {

extern std::atomic<bool> g_virtualTimeOn;

inline bool VirtualTimeOn() {
  return g_virtualTimeOn.load(std::memory_order_relaxed);
}

Tevrol::Tick VirtualTick();
std::uint64_t VirtualMicros();

// One event as the clock sees it: its address is the key of the side table
// (SetResetEvent's layout is exported and stays as it is).
struct VirtualEventRef {
  void const* key;
  pthread_mutex_t* mutex;
  pthread_cond_t* condition;
  bool* signalled;  // guarded by *mutex
};

// Set under virtual time: releases the event's waiter and counts it busy at once.
void VirtualSet(VirtualEventRef const& event);
// Wait (timed false) or WaitFor under virtual time. The caller holds no lock
// of the event.
void VirtualWait(VirtualEventRef const& event, bool timed, Tevrol::ULong milliseconds);

// Work loops alive (counted always: the switch needs none to exist).
void VirtualLoopCreated();
void VirtualLoopDestroyed();
// A loop's own thread is owed (counted busy before it starts).
void VirtualLoopThreadOwed();
// Around a run of a loop on the calling thread. `owed`: counted busy already.
void VirtualLoopRunBegins(bool owed);
void VirtualLoopRunEnds();

}  // namespace detail

namespace Tevrol {
namespace Testing {

// The clock's primitives, exported for the test-support library
// (testing/VirtualTime.h), which builds advancing on them. Not for clients.
class TEVROL_EXPORT VirtualClockCore {
 public:
  static bool Enable(Tevrol::Tick startTick);
  static bool IsOn();
  static std::uint64_t Elapsed();
  static Tevrol::Tick Now();
  // True on a thread that runs a work loop now.
  static bool OnLoopThread();
  // The earliest deadline of a pending timed wait, in elapsed milliseconds.
  static bool EarliestDeadline(std::uint64_t& elapsed);
  // Moves the clock to `elapsed` (never back) and ends every timed wait due then.
  static void MoveTo(std::uint64_t elapsed);
  // Until every loop thread waits on an event, or `realMilliseconds` have passed.
  static bool WaitQuiet(Tevrol::ULong realMilliseconds);
};

}  // namespace Testing
}  // namespace Tevrol

#endif
