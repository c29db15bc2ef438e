// Starts three Threads at different abstract priorities, pauses, continues,
// wakes and stops them, and prints every callback with the thread it ran on.
#include <atomic>
#include <cstdio>
#include <mutex>

#include "threads/Runnable.h"
#include "threads/Thread.h"
#include "threads/ThreadHelper.h"

namespace {

std::mutex g_printLock;
Tevrol::ThreadId g_mainThread = 0;

class DemoRunnable : public Runnable {
 public:
  explicit DemoRunnable(char const* name) : m_name(name), m_thread(this) {
    m_thread.GetPlatformThread().SetFriendlyName(name);
  }

  Thread& GetThread() { return m_thread; }

  void WorkingLoop(Thread* thread) override {
    Log("WorkingLoop", ++m_passes);
    thread->Sleep(150);
  }
  void Stop() override { Log("Stop"); }
  void Pause() override { Log("Pause"); }
  void StartingEvent() override { Log("StartingEvent"); }
  void StoppingEvent() override { Log("StoppingEvent"); }
  void ContinueEvent() override { Log("ContinueEvent"); }
  void PauseEvent() override { Log("PauseEvent"); }
  void WakeUp() override { Log("WakeUp"); }

 private:
  void Log(char const* callback, int pass = 0) {
    // The OS thread records its id before StartingEvent; GetThreadId is
    // only stored by Start after the thread may already run.
    char const* where = m_thread.GetPlatformThread().IsCurrentThread()       ? m_name
                        : ThreadHelper::GetCurrentThreadID() == g_mainThread ? "main"
                                                                             : "another thread";
    std::lock_guard<std::mutex> guard(g_printLock);
    if (pass > 0) {
      std::printf("%-7s %-14s pass %d, on %s\n", m_name, callback, pass, where);
    } else {
      std::printf("%-7s %-14s on %s\n", m_name, callback, where);
    }
    std::fflush(stdout);
  }

  char const* m_name;
  int m_passes = 0;  // touched by WorkingLoop only, on the thread
  Thread m_thread;
};

void Say(char const* text) {
  std::lock_guard<std::mutex> guard(g_printLock);
  std::printf("-- %s\n", text);
  std::fflush(stdout);
}

void WaitForState(Thread& thread, Tevrol::Long state) {
  while (thread.GetState() != state) {
    ThreadHelper::Sleep(5);
  }
}

}  // namespace

int main() {
  g_mainThread = ThreadHelper::GetCurrentThreadID();

  DemoRunnable sensor("sensor");
  DemoRunnable logger("logger");
  DemoRunnable display("display");
  sensor.GetThread().SetPriority(ThreadPriorities::Priority0, ThreadPriorities::PriorityType3);
  logger.GetThread().SetPriority(ThreadPriorities::Priority7, ThreadPriorities::PriorityType3);
  // display keeps the defaults, Priority3 of PriorityType3.

  std::printf("OS priorities from the table: sensor %d, logger %d, display %d\n",
              static_cast<int>(Thread::g_threadPriorityTable[3][0]),
              static_cast<int>(Thread::g_threadPriorityTable[3][7]),
              static_cast<int>(Thread::g_threadPriorityTable[3][3]));

  Say("start all three");
  sensor.GetThread().Start();
  logger.GetThread().Start();
  display.GetThread().Start();
  ThreadHelper::Sleep(400);

  Say("pause sensor");
  sensor.GetThread().Pause();
  WaitForState(sensor.GetThread(), Thread::StatePaused);

  Say("wake logger (ends its sleep early) and the paused sensor (stays paused)");
  logger.GetThread().WakeUp();
  sensor.GetThread().WakeUp();
  ThreadHelper::Sleep(200);

  Say("continue sensor");
  sensor.GetThread().Continue();
  ThreadHelper::Sleep(200);

  Say("stop all three");
  sensor.GetThread().Stop();
  logger.GetThread().Stop();
  display.GetThread().Stop();
  Say("done");
  return 0;
}
