#ifndef TEVROL_TESTING_VIRTUALTIME_H
#define TEVROL_TESTING_VIRTUALTIME_H

// Virtual time for clients' tests (library TevrolTesting, which links
// libTevrolDLL and carries none of its objects).
//
// A test switches the process to virtual time once, before it creates any
// work loop, timer or invoked call, and then moves time on by hand: delayed
// tasks, timers and time-outs fire at once and in deadline order, and every
// call returns when the library's loops have finished what was due, so the
// test asserts right after it.
//
//   ASSERT_TRUE(VirtualTime::Enable(0xFFFFEC77u));   // 5 s before the wrap
//   loop->PerformTaskDelayed(&task, 10000, WorkLoop::PriorityNormal);
//   EXPECT_EQ(VirtualTime::Advance(10000), VirtualTime::Result::Done);
//   EXPECT_EQ(task.runs, 1);
//
// Covered: the tick (PDStdOperations::GetTickCount, ThreadHelper::GetTickCount,
// TevrolTimerNow, hence StopWatch), the loop monitor's clock, and every timed
// wait of SetResetEvent::WaitFor: the work loops' idle wait (so delayed tasks
// and the timer service), Thread::Sleep, the loop monitor's watchdog. The
// buffered input's time-out is a StopWatch around polls on the reader's own
// thread: a test's source moves time on in its Read (an Advance from a
// client thread is allowed).
// Not covered: the calendar clock (TimeDate stays real); ThreadHelper::Sleep,
// which stays a real sleep (it is a pause of the calling thread, not a wait
// for something, and a virtual one on the test's own thread could never end);
// anything a client's thread does through other means (std::this_thread,
// its own condition variables, I/O).
//
// Decisions:
// - Run-time switch, not a build variant: production and test binaries link
//   the same libTevrolDLL. Off, the cost is one relaxed atomic load in the
//   tick and in each event Set/Wait/WaitFor.
// - One way: a process that switched cannot switch back (waits begun in
//   virtual time would have no real deadline). Keep such tests in an
//   executable of their own.
// - Enable is accepted only while no work loop exists (the timer service
//   and the invoker each own one, so no timer and no invoked call either);
//   otherwise it returns false and nothing changes. Its state is made at
//   that first call; loading the library makes nothing.
// - Quiescence: the library counts the threads that run a work loop and are
//   not blocked in an event wait. A Set of an event whose waiter is such a
//   thread counts it busy at once, under the same lock that records the
//   wait, so "nobody busy" is never seen between a hand-over and the wake-up.
//   A thread that runs a second loop blocking inside a task counts once.
//   A loop thread blocked in any event wait (also a task waiting for a
//   client's event) counts as finished; one that blocks on anything else (a
//   mutex, a pipe, ThreadHelper::Sleep) stays busy, and the advance gives up
//   after a bounded real wait with Result::StillBusy instead of hanging.
// - Client threads are not counted: an advance expires a client Thread's
//   Thread::Sleep but does not wait for what that thread does afterwards
//   (join or signal it before going on). Their timed waits are deadlines
//   all the same, for NextDeadline and FastForward too.
// - An advance moves to each deadline in turn (the earliest timed wait of
//   any thread), expires every wait due then, waits for quiescence, and goes
//   on; so a cyclic timer re-armed "from now" keeps an exact period. Steps
//   are below 2^31 ms, so tick comparisons stay valid for any length.
// - Refused (Result::Refused): any call from a work loop's thread (a task, a
//   Tick, an invoked call), and any call before Enable.
// - The bookkeeping lock is taken before an event's mutex and never while
//   one is held: the event's mutex stays the innermost lock.

#include <cstdint>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

namespace Tevrol {
namespace Testing {

class TEVROL_EXPORT VirtualTime {
 public:
  enum class Result {
    Done,       // all that was due has run; every loop waits again
    Refused,    // called from a loop's thread, or virtual time is off
    StillBusy,  // a loop did not go back to waiting within the bounded wait
    LimitHit,   // FastForward: something is still pending at the limit
  };

  // Switches the process to virtual time, the tick starting at `startTick`.
  // False when a work loop exists already or virtual time is on.
  static bool Enable(Tevrol::Tick startTick);
  static bool IsEnabled();

  // The virtual tick.
  static Tevrol::Tick Now();
  // Virtual milliseconds since Enable (does not wrap).
  static std::uint64_t Elapsed();

  // Moves time on by `milliseconds`, firing everything due on the way in
  // deadline order.
  static Result Advance(std::uint64_t milliseconds);
  // Runs what is due now; time stands still.
  static Result RunUntilIdle();
  // Advances from deadline to deadline until nothing is pending, but never
  // further than `limitMilliseconds` from now (a cyclic timer is always
  // pending): LimitHit then, with time at the limit.
  static Result FastForward(std::uint64_t limitMilliseconds);
  // The earliest pending timed wait, as a tick; false when there is none.
  // Meaningful after a call above has returned Done.
  static bool NextDeadline(Tevrol::Tick& tick);

  // How long a call waits in real time for the loops to finish what is due
  // before it gives StillBusy; 2000 ms unless set.
  static void SetBusyTimeout(Tevrol::ULong realMilliseconds);
};

}  // namespace Testing
}  // namespace Tevrol

#endif
