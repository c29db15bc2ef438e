#ifndef TEVROL_TESTS_SUPPORT_JOURNAL_H
#define TEVROL_TESTS_SUPPORT_JOURNAL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/Waiting.h"
#include "threads/ThreadHelper.h"
#include "threads/TickOffsetForTesting.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

using Names = std::vector<std::string>;

// The order in which the tasks of a test ran: "T1" for an Execute, "~T1" for
// a Dispose. Tests wait for entries instead of sleeping for a guess.
class Journal {
 public:
  void Add(std::string entry) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_entries.push_back(std::move(entry));
    m_changed.notify_all();
  }
  Names Entries() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_entries;
  }
  // The Executes alone, in order.
  Names Executed() {
    Names executed;
    for (auto const& entry : Entries()) {
      if (entry[0] != '~') executed.push_back(entry);
    }
    return executed;
  }
  // Waits for `entry`.
  bool WaitFor(std::string const& entry) {
    std::unique_lock<std::mutex> guard(m_lock);
    return WaitUntil(guard, m_changed, [&] {
      return std::find(m_entries.begin(), m_entries.end(), entry) != m_entries.end();
    });
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  Names m_entries;
};

// A task that writes its name to a journal and counts its calls. The work
// loop never deletes it: the test owns it.
class JournalTask : public Task {
 public:
  JournalTask(Journal& journal, std::string name, std::function<void()> onExecute = {})
      : m_journal(journal), m_name(std::move(name)), m_onExecute(std::move(onExecute)) {}

  void Execute() override {
    executeThread.store(ThreadHelper::GetCurrentThreadID());
    executeTick.store(ThreadHelper::GetTickCount());
    executes.fetch_add(1);
    m_journal.Add(m_name);
    if (m_onExecute) m_onExecute();
  }
  void Dispose() override {
    disposes.fetch_add(1);
    m_journal.Add("~" + m_name);
  }

  std::atomic<int> executes{0};
  std::atomic<int> disposes{0};
  std::atomic<Tevrol::ThreadId> executeThread{0};
  std::atomic<Tevrol::Tick> executeTick{0};

 private:
  Journal& m_journal;
  std::string m_name;
  std::function<void()> m_onExecute;
};

// Owns a loop and the tasks of one test; the loop goes first, so a failed
// assertion never leaves it running tasks that are gone.
struct LoopFixture : ::testing::Test {
  WorkLoop* loop = WorkLoop::CreateInstance();
  Journal journal;
  std::vector<std::unique_ptr<JournalTask>> tasks;

  ~LoopFixture() override { Delete(); }
  void TearDown() override { detail::SetTickOffsetForTesting(0); }

  void Delete() {
    WorkLoop::DeleteInstance(loop);
    loop = nullptr;
  }
  JournalTask* Make(std::string name, std::function<void()> onExecute = {}) {
    tasks.push_back(std::make_unique<JournalTask>(journal, std::move(name), std::move(onExecute)));
    return tasks.back().get();
  }
  Tevrol::ULong Post(Task* task, std::uint32_t priority = 16) {
    return loop->PerformTask(task, static_cast<WorkLoop::EPriorityValue>(priority));
  }
  Tevrol::ULong PostDelayed(Task* task, Tevrol::ULong delay, std::uint32_t priority = 16) {
    return loop->PerformTaskDelayed(task, delay, static_cast<WorkLoop::EPriorityValue>(priority));
  }
  void RunUntil(std::string const& last) {
    ASSERT_TRUE(loop->Run());
    ASSERT_TRUE(journal.WaitFor(last));
  }
};

#endif
