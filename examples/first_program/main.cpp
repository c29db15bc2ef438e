// A first program: a work loop with three tasks and a delayed one, a one-shot
// timer, and values read from a configuration file. It prints what happens
// and exits with 0 only if everything happened as expected.
#include <stdlib.h>  // mkdtemp

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include "config/ConfigSystemManager.h"
#include "frame/Accessors.h"
#include "threads/ThreadHelper.h"
#include "threads/Tick.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

namespace {

// Collects what the callbacks report, from whichever thread they run on.
class Journal {
 public:
  void Add(char const* what, Tevrol::Tick since) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::printf("  %-8s after %d ms\n", what,
                static_cast<int>(detail::TickDifference(ThreadHelper::GetTickCount(), since)));
    std::fflush(stdout);
    m_entries.emplace_back(what);
    m_changed.notify_all();
  }
  // What was added, once there are `count` entries or after 5 s at most.
  std::vector<std::string> WaitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::seconds(5), [&] { return m_entries.size() >= count; });
    return m_entries;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::string> m_entries;
};

// Runs on the loop's thread. These tasks live on the stack of RunWorkLoop,
// which deletes the loop before they go, so Dispose has nothing to free (a
// task made with new could delete itself there).
class StepTask : public Task {
 public:
  StepTask(char const* name, Journal& journal, Tevrol::Tick start)
      : Task(name), m_journal(journal), m_start(start) {}
  void Execute() override {
    m_ranAt = ThreadHelper::GetTickCount();
    m_journal.Add(GetFriendlyName(), m_start);
  }
  void Dispose() override {}
  // Read by main once the loop is gone.
  Tevrol::Tick RanAt() const { return m_ranAt; }

 private:
  Journal& m_journal;
  Tevrol::Tick m_start;
  Tevrol::Tick m_ranAt = 0;
};

// Runs on the timer thread.
class OneShotTimer : public TimerContext {
 public:
  OneShotTimer(Tevrol::Long milliseconds, Journal& journal, Tevrol::Tick start)
      : TimerContext(milliseconds, false), m_journal(journal), m_start(start) {}
  void Tick() override {
    m_fired.fetch_add(1);
    m_journal.Add("timer", m_start);
  }
  int Fired() const { return m_fired.load(); }

 private:
  Journal& m_journal;
  Tevrol::Tick m_start;
  std::atomic<int> m_fired{0};
};

bool g_allGood = true;

void Check(bool good, char const* what) {
  std::printf("%s: %s\n", good ? "ok" : "FAILED", what);
  g_allGood = g_allGood && good;
}

void RunWorkLoop() {
  Journal journal;
  constexpr Tevrol::ULong kDelay = 200;
  std::printf("work loop: three tasks, then one delayed by %u ms\n", kDelay);
  const Tevrol::Tick start = ThreadHelper::GetTickCount();
  StepTask first("first", journal, start);
  StepTask second("second", journal, start);
  StepTask third("third", journal, start);
  StepTask delayed("delayed", journal, start);

  WorkLoop* loop = WorkLoop::CreateInstance();
  loop->SetFriendlyName("first loop");
  loop->Run();
  // Equal priorities run in hand-over order; a queue id of 0 means refused.
  bool accepted = loop->PerformTask(&first, WorkLoop::PriorityNormal) != 0;
  accepted = loop->PerformTask(&second, WorkLoop::PriorityNormal) != 0 && accepted;
  accepted = loop->PerformTask(&third, WorkLoop::PriorityNormal) != 0 && accepted;
  accepted = loop->PerformTaskDelayed(&delayed, kDelay, WorkLoop::PriorityNormal) != 0 && accepted;

  const std::vector<std::string> ran = journal.WaitFor(4);
  // Shuts the loop down and waits for its thread; a task still queued would
  // run now, a delayed one at once.
  WorkLoop::DeleteInstance(loop);

  Check(accepted, "the loop accepted all four tasks");
  Check(ran == std::vector<std::string>{"first", "second", "third", "delayed"},
        "the tasks ran in order");
  Check(detail::TickDifference(delayed.RanAt(), start) >= static_cast<std::int32_t>(kDelay),
        "the delayed task ran after its delay");
}

void RunTimer() {
  Journal journal;
  constexpr Tevrol::Long kInterval = 100;
  std::printf("timer: one-shot, %d ms\n", kInterval);
  TimerCtrl* timers = TimerCtrl_GetInstance();
  const Tevrol::Tick start = TevrolTimerNow();
  OneShotTimer timer(kInterval, journal, start);
  timers->NewTimer(&timer);

  journal.WaitFor(1);
  ThreadHelper::Sleep(3 * kInterval);  // time to fire again, which it must not
  const bool registered = timers->IsRegistered(&timer);
  // Also waits for a Tick that is still running: call it before the context goes.
  timers->RemoveTimer(&timer);

  Check(timer.Fired() == 1 && !registered, "the timer fired once");
}

void ReadConfiguration() {
  std::string folder = (std::filesystem::temp_directory_path() / "first_program.XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) {
    Check(false, "a temporary folder was made");
    return;
  }
  std::printf("configuration: %s/config.ini\n", folder.c_str());
  {
    // Every line ends with a line end; numbers are hexadecimal: 4b is 75.
    std::ofstream file(folder + "/config.ini");
    file << "[Display]\n"
         << "\"Brightness\"=d:0000004b\n"
         << "\"Title\"=\"Hello\"\n";
  }

  // The manager owns the system; never delete it.
  ConfigSystem* config = ConfigSystemManager_GetInstance()->GetConfigSystem("first_program");
  config->SetPersistentStorageFolder(folder.c_str());
  config->Import();
  Tevrol::Long brightness = 0;
  TxString title;
  const bool found = config->RetrieveNumericalValue("Display", "Brightness", brightness, -1) &&
                     config->RetrieveStringValue("Display", "Title", title, "none");
  std::printf("  Display/Brightness = %d, Display/Title = \"%s\"\n", static_cast<int>(brightness),
              title.ToLatin1().GetConstData());

  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  Check(found && brightness == 75 && title == "Hello", "the values were read");
}

}  // namespace

int main() {
  RunWorkLoop();
  RunTimer();
  ReadConfiguration();
  std::printf("%s\n", g_allGood ? "all as expected" : "something went wrong");
  // The services shut down at exit: the configuration system is emptied, and
  // the timer service stops its thread.
  return g_allGood ? 0 : 1;
}
