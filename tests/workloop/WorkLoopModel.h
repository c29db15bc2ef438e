#ifndef TEVROL_TESTS_WORKLOOP_WORKLOOPMODEL_H
#define TEVROL_TESTS_WORKLOOP_WORKLOOPMODEL_H

// The work loop's queues as the documented steps put them, literally: the
// priority queue walked for every insertion and aged record by record in
// every pass (additions saturating at 0xFFFFFFFF). Slow and plain on purpose:
// the loop must do exactly what this does. Single-threaded; tasks are small
// numbers, -1 for none; ticks are whatever clock the caller passes in.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "threads/Tick.h"

class WorkLoopModel {
 public:
  struct Record {
    std::uint32_t effective;
    std::uint32_t ageOrDue;
    std::uint32_t id;
    bool cancelled;
    int task;
  };
  enum State { Idle, Running, ShuttingDown };

  explicit WorkLoopModel(std::uint64_t firstId = 1) : m_nextId(firstId) {}

  std::uint32_t PerformTask(int task, std::uint32_t priority) {
    if (task < 0 || m_state == ShuttingDown) return 0;
    const Record record{priority, 0, NextId(), false, task};
    InsertPriorized(record);
    return record.id;
  }
  std::uint32_t PerformTaskDelayed(int task, std::uint32_t due, std::uint32_t priority) {
    if (task < 0 || m_state == ShuttingDown) return 0;
    const Record record{priority, due, NextId(), false, task};
    InsertDelayed(record);
    return record.id;
  }
  void Cancel(std::uint32_t id, std::uint32_t now) {
    if (Record* record = Find(m_priorized, id)) {
      record->cancelled = true;
    } else if (Record* delayed = Find(m_delayed, id)) {
      delayed->cancelled = true;
      delayed->ageOrDue = now;
    }
  }
  // `loopThread`: the caller is the loop's Thread (or the loop never had one).
  int Remove(std::uint32_t id, int& task, bool loopThread) {
    if (!loopThread) return 3;
    if (m_hasCurrent && m_current.id == id) return 1;
    task = -1;
    for (auto* queue : {&m_priorized, &m_delayed}) {
      for (auto it = queue->begin(); it != queue->end(); ++it) {
        if (it->id == id) {
          task = it->task;
          queue->erase(it);
          return 0;
        }
      }
    }
    return 2;
  }
  // `ownThread`: the caller is the loop's own Thread.
  int RemoveAll(int task, bool ownThread) {
    if (m_state != Idle && !ownThread) return 3;
    if (task < 0) return 2;
    int result = 2;
    if (task == m_shutdownTask) {
      m_shutdownTask = -1;
      result = 0;
    }
    for (auto* queue : {&m_priorized, &m_delayed}) {
      const auto end = std::remove_if(queue->begin(), queue->end(),
                                      [&](Record const& r) { return r.task == task; });
      if (end != queue->end()) result = 0;
      queue->erase(end, queue->end());
    }
    if (m_hasCurrent && m_current.task == task) result = 1;
    return result;
  }
  int Shutdown(int task) {
    if (m_state == ShuttingDown) return 2;
    m_shutdownTask = task;
    if (m_state == Running) m_state = ShuttingDown;
    return HasTasks() ? 1 : 0;
  }
  bool Run() {
    if (m_state != Idle) return false;
    m_state = Running;
    return true;
  }

  // Steps 1 to 7 of a pass: false when the run is over; otherwise `taken`
  // says whether a record was taken, and Current() is that record.
  bool BeginPass(std::uint32_t now, bool& taken) {
    taken = false;
    if (m_state == ShuttingDown && !HasTasks()) return false;
    if (!m_priorized.empty()) {
      m_current = m_priorized.front();
      m_priorized.erase(m_priorized.begin());
      taken = true;
    }
    m_hasCurrent = taken;
    Age();
    while (!m_delayed.empty()) {
      Record record = m_delayed.front();
      if (detail::TickIsLater(record.ageOrDue, now) && m_state != ShuttingDown) break;
      m_delayed.erase(m_delayed.begin());
      record.ageOrDue = 0;
      InsertPriorized(record);
    }
    return true;
  }
  void EndPass() { m_hasCurrent = false; }
  // The end of a run: the shutdown task to run (-1 for none); the loop is idle.
  int EndRun() {
    const int task = m_shutdownTask;
    m_shutdownTask = -1;
    m_state = Idle;
    return task;
  }
  // Destruction of an idle loop: what gets Dispose, in order, then the
  // shutdown task given while idle (Execute and Dispose).
  std::vector<Record> Destroy(int& idleShutdownTask) {
    idleShutdownTask = m_state == Idle ? m_shutdownTask : -1;
    Shutdown(-1);
    std::vector<Record> left = m_priorized;
    left.insert(left.end(), m_delayed.begin(), m_delayed.end());
    m_priorized.clear();
    m_delayed.clear();
    return left;
  }

  bool HasTasks() const { return !m_priorized.empty() || !m_delayed.empty(); }
  Record const& Current() const { return m_current; }
  State GetState() const { return m_state; }
  std::vector<Record> const& Priorized() const { return m_priorized; }
  std::vector<Record> const& Delayed() const { return m_delayed; }
  void SetNextId(std::uint64_t next) { m_nextId = next; }
  std::uint64_t NextId64() const { return m_nextId; }

 private:
  static std::uint32_t Add(std::uint32_t a, std::uint32_t b) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{a} + b, 0xFFFFFFFFu));
  }
  std::uint32_t NextId() { return static_cast<std::uint32_t>(m_nextId++); }
  static Record* Find(std::vector<Record>& queue, std::uint32_t id) {
    for (auto& record : queue) {
      if (record.id == id) return &record;
    }
    return nullptr;
  }
  void InsertPriorized(Record const& record) {
    auto it = m_priorized.begin();
    while (it != m_priorized.end() && it->effective >= record.effective) ++it;
    m_priorized.insert(it, record);
  }
  void InsertDelayed(Record const& record) {
    if (m_delayed.empty() || detail::TickIsLater(m_delayed.front().ageOrDue, record.ageOrDue)) {
      m_delayed.insert(m_delayed.begin(), record);
      return;
    }
    size_t last = 0;
    while (last + 1 < m_delayed.size() &&
           !detail::TickIsLater(m_delayed[last + 1].ageOrDue, record.ageOrDue)) {
      ++last;
    }
    m_delayed.insert(m_delayed.begin() + static_cast<long>(last) + 1, record);
  }
  // Each record in turn: age + 1, the age added, then forward past every
  // strictly lower record before it (those are aged already).
  void Age() {
    for (size_t i = 0; i < m_priorized.size(); ++i) {
      Record& record = m_priorized[i];
      record.ageOrDue += 1;
      record.effective = Add(record.effective, record.ageOrDue);
      if (i == 0 || m_priorized[i - 1].effective >= record.effective) continue;
      size_t place = i - 1;
      while (place > 0 && m_priorized[place - 1].effective < record.effective) --place;
      std::rotate(m_priorized.begin() + static_cast<long>(place),
                  m_priorized.begin() + static_cast<long>(i),
                  m_priorized.begin() + static_cast<long>(i) + 1);
    }
  }

  std::vector<Record> m_priorized;
  std::vector<Record> m_delayed;
  std::uint64_t m_nextId;
  State m_state = Idle;
  int m_shutdownTask = -1;
  Record m_current{};
  bool m_hasCurrent = false;
};

#endif
