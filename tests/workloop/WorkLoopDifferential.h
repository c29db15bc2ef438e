#ifndef TEVROL_TESTS_WORKLOOP_WORKLOOPDIFFERENTIAL_H
#define TEVROL_TESTS_WORKLOOP_WORKLOOPDIFFERENTIAL_H

// Plays one program of work loop operations, read from bytes, on a real
// WorkLoopImpl and on WorkLoopModel side by side, and compares after every
// step: each result, the queues in order (effective priorities included),
// and every Execute and Dispose with the queue id it ran for. Passes run on
// the calling thread through ExecutePass, tasks hand over, cancel and remove
// from inside Execute, time moves through the tick offset, and queue ids may
// be made to repeat as after 2^32 hand-overs.
//
// Time: the model's clock counts from 0 in steps of kUnit ms, the loop's is
// the real tick moved by the same steps. Delays are whole units (or "past":
// 2^31 + half a unit and more) and all times lie well within 2^31 ms of each
// other, so the few milliseconds that really pass never change a comparison.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "threads/ThreadHelper.h"
#include "threads/TickOffsetForTesting.h"
#include "workloop/Task.h"
#include "workloop/WorkLoopImpl.h"
#include "workloop/WorkLoopModel.h"

class WorkLoopDifferential {
 public:
  static constexpr int kTasks = 5;
  static constexpr std::uint32_t kUnit = 1u << 20;

  // The first mismatch, or empty.
  static std::string Play(std::uint8_t const* data, size_t size) {
    WorkLoopDifferential run(data, size);
    run.PlayAll();
    detail::SetTickOffsetForTesting(0);
    return run.m_error;
  }

 private:
  struct Event {
    char kind;  // 'E' Execute, 'D' Dispose
    int task;
    Tevrol::ULong id;
    bool operator==(Event const& o) const { return kind == o.kind && task == o.task && id == o.id; }
  };
  struct ProgramTask : Task {
    WorkLoopDifferential* run = nullptr;
    int index = 0;
    void Execute() override { run->OnCall('E', index); }
    void Dispose() override { run->OnCall('D', index); }
  };

  WorkLoopDifferential(std::uint8_t const* data, size_t size) : m_data(data), m_size(size) {
    for (int i = 0; i < kTasks; ++i) {
      m_tasks[i].run = this;
      m_tasks[i].index = i;
    }
  }

  std::uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
  std::uint32_t Word() {
    std::uint32_t w = 0;
    for (int i = 0; i < 4; ++i) w = (w << 8) | Byte();
    return w;
  }
  int TaskIndex() {
    const int t = Byte() % (kTasks + 1);
    return t == kTasks ? -1 : t;
  }
  Task* RealTask(int index) { return index < 0 ? nullptr : &m_tasks[index]; }
  std::uint32_t Priority() {
    static const std::uint32_t kSmall[] = {16, 17, 18, 19, 20, 16, 17, 18};
    static const std::uint32_t kEdges[] = {0,           1,           0xFFFFFFFFu, 0xFFFFFFFEu,
                                           0xFFFFFF00u, 0xFFFF0000u, 0x7FFFFFFFu, 0x80000000u};
    const std::uint8_t b = Byte();
    switch (b >> 6) {
      case 0:
      case 1:
        return kSmall[b & 7];
      case 2:
        // Near the ceiling, where sums saturate and ties there arise.
        return (b & 32) != 0 ? kEdges[b & 7] : 0xFFFFFFFFu - (Byte() * 131u + (b & 31));
      default:
        return Word();
    }
  }
  std::uint32_t Id() {
    const std::uint8_t b = Byte();
    if (b < 200 && !m_ids.empty()) return m_ids[b % m_ids.size()];
    return b < 250 ? Byte() : Word();
  }
  std::uint32_t Delay() {
    const std::uint8_t b = Byte();
    // Whole units ahead, or far enough ahead to read as the past.
    return (b & 128) != 0 ? 0x80000000u + kUnit / 2 + (b & 15) * kUnit : (b & 15) * kUnit;
  }
  std::uint32_t ModelNow() const { return m_elapsed * kUnit; }

  void Fail(std::string const& what) {
    if (m_error.empty()) {
      char where[64];
      std::snprintf(where, sizeof where, " (at byte %zu, step %d)", m_at, m_steps);
      m_error = what + where;
    }
  }
  template <class T>
  void Same(T real, T model, char const* what) {
    if (real != model) {
      Fail(std::string(what) + ": loop " + std::to_string(real) + ", model " +
           std::to_string(model));
    }
  }

  void OnCall(char kind, int task) {
    m_actual.push_back({kind, task, m_loop != nullptr ? m_loop->GetCurrentQueueIdForTesting() : 0});
    if (kind == 'E' && m_inPass) {
      // A task of the loop at work: a few operations from inside Execute.
      const int count = Byte() % 4;
      for (int i = 0; i < count && m_error.empty(); ++i) Operation(true);
    }
  }
  void Expect(char kind, int task, Tevrol::ULong id) { m_expected.push_back({kind, task, id}); }

  void PlayAll() {
    const std::uint8_t start = Byte();
    // Ids start just below 2^32 (so 0 is handed out) or at 1.
    const std::uint64_t firstId = (start & 1) != 0 ? 0x100000000ull - (start >> 1) % 8 : 1;
    // Start the clock a few units before the wrap.
    detail::SetTickOffsetForTesting(0);
    m_offset = 0u - ((start >> 4) % 4) * kUnit - ThreadHelper::GetTickCount();
    detail::SetTickOffsetForTesting(m_offset);
    m_realStart = ThreadHelper::GetTickCount();
    auto loop = std::make_unique<WorkLoopImpl>();
    m_loop = loop.get();
    m_loop->SetNextQueueIdForTesting(firstId);
    m_model = WorkLoopModel(firstId);
    while (m_at < m_size && m_error.empty() && m_steps < 2000) {
      ++m_steps;
      Operation(false);
      Compare();
    }
    // Wind down: a running loop drains, then the loop goes with what is left.
    if (m_model.GetState() != WorkLoopModel::Idle && m_error.empty()) {
      Same(m_loop->Shutdown(nullptr), static_cast<Tevrol::Long>(m_model.Shutdown(-1)), "Shutdown");
      while (m_model.GetState() != WorkLoopModel::Idle && m_error.empty()) {
        Pass();
        Compare();
      }
    }
    if (!m_error.empty() && m_realRunning) {
      // The two disagree: end the loop's run on its own so that it can go.
      m_loop->Shutdown(nullptr);
      WorkLoopImpl::IdleWait wait;
      while (m_loop->ExecutePass(wait)) {
      }
      m_loop->EndRunForTesting();
    }
    int idleShutdownTask = -1;
    for (auto const& record : m_model.Destroy(idleShutdownTask)) {
      Expect('D', record.task, record.id);
    }
    if (idleShutdownTask >= 0) {
      Expect('E', idleShutdownTask, 0);
      Expect('D', idleShutdownTask, 0);
    }
    loop.reset();
    m_loop = nullptr;
    CompareEvents();
  }

  void Operation(bool insideExecute) {
    const std::uint8_t op = Byte();
    switch (op % (insideExecute ? 7 : 11)) {
      case 0:
      case 1: {
        const int task = TaskIndex();
        const std::uint32_t priority = Priority();
        const Tevrol::ULong real =
            m_loop->PerformTask(RealTask(task), static_cast<WorkLoop::EPriorityValue>(priority));
        const std::uint32_t model = m_model.PerformTask(task, priority);
        Same(real, model, "PerformTask");
        if (task >= 0) m_ids.push_back(model);
        break;
      }
      case 2: {
        const int task = TaskIndex();
        const std::uint32_t delay = Delay();
        const std::uint32_t priority = Priority();
        const Tevrol::ULong real = m_loop->PerformTaskDelayed(
            RealTask(task), delay, static_cast<WorkLoop::EPriorityValue>(priority));
        const std::uint32_t model = m_model.PerformTaskDelayed(task, ModelNow() + delay, priority);
        Same(real, model, "PerformTaskDelayed");
        if (task >= 0) m_ids.push_back(model);
        break;
      }
      case 3: {
        const std::uint32_t id = Id();
        m_loop->Cancel(id);
        m_model.Cancel(id, ModelNow());
        break;
      }
      case 4: {
        const std::uint32_t id = Id();
        Task* real = &m_tasks[0];
        int model = 0;
        Same(m_loop->Remove(id, real), static_cast<Tevrol::Long>(m_model.Remove(id, model, true)),
             "Remove");
        Same(real == nullptr ? -1 : static_cast<ProgramTask*>(real)->index, model, "Remove's task");
        break;
      }
      case 5: {
        const int task = TaskIndex();
        // The loop has no Thread of its own here: allowed only while idle.
        Same(m_loop->RemoveAll(RealTask(task)),
             static_cast<Tevrol::Long>(m_model.RemoveAll(task, false)), "RemoveAll");
        break;
      }
      case 6: {
        if ((Byte() & 3) != 0) break;  // rarer than the rest
        const int task = TaskIndex();
        Same(m_loop->Shutdown(RealTask(task)), static_cast<Tevrol::Long>(m_model.Shutdown(task)),
             "Shutdown");
        break;
      }
      case 7:
      case 8:
        if (m_model.GetState() == WorkLoopModel::Idle) {
          const bool started = m_loop->BeginRunForTesting();
          m_realRunning = m_realRunning || started;
          Same(started, m_model.Run(), "Run");
        } else {
          Pass();
        }
        break;
      case 9: {
        const std::uint32_t units = Byte() % 4 + 1;
        if (m_elapsed + units > 512) break;  // keeps all times far within 2^31 ms
        m_elapsed += units;
        m_offset += units * kUnit;
        detail::SetTickOffsetForTesting(m_offset);
        break;
      }
      default: {
        // The counter jumps as if 2^32 hand-overs had passed: recent ids repeat.
        const std::uint64_t next = m_model.NextId64() + 0x100000000ull - (Byte() % 8 + 1);
        m_loop->SetNextQueueIdForTesting(next);
        m_model.SetNextId(next);
        break;
      }
    }
  }

  void Pass() {
    bool taken = false;
    const bool modelGoesOn = m_model.BeginPass(ModelNow(), taken);
    if (modelGoesOn && taken) {
      WorkLoopModel::Record const current = m_model.Current();
      if (!current.cancelled) Expect('E', current.task, current.id);
      Expect('D', current.task, current.id);
    }
    m_inPass = true;
    WorkLoopImpl::IdleWait wait;
    const bool realGoesOn = m_loop->ExecutePass(wait);
    m_inPass = false;
    if (modelGoesOn) m_model.EndPass();
    Same(realGoesOn, modelGoesOn, "pass goes on");
    if (!realGoesOn) {
      m_realRunning = false;
      m_loop->EndRunForTesting();
    }
    if (!realGoesOn && !modelGoesOn) {
      const int task = m_model.EndRun();
      if (task >= 0) {
        Expect('E', task, 0);
        Expect('D', task, 0);
      }
    }
  }

  // The calls since the last comparison.
  void CompareEvents() {
    if (m_actual.size() != m_expected.size()) {
      Fail("calls: loop " + std::to_string(m_actual.size()) + ", model " +
           std::to_string(m_expected.size()));
      return;
    }
    for (size_t i = m_compared; i < m_actual.size(); ++i) {
      if (!(m_actual[i] == m_expected[i])) {
        Fail("call " + std::to_string(i) + ": loop " + m_actual[i].kind +
             std::to_string(m_actual[i].task) + "#" + std::to_string(m_actual[i].id) + ", model " +
             m_expected[i].kind + std::to_string(m_expected[i].task) + "#" +
             std::to_string(m_expected[i].id));
        return;
      }
    }
    m_compared = m_actual.size();
  }

  void Compare() {
    CompareEvents();
    // The whole queues after every step while they are short, else after
    // every 8th: their order shows in every later pass all the same.
    const size_t length = m_model.Priorized().size() + m_model.Delayed().size();
    if (length > 16 && m_steps % 8 != 0) return;
    std::vector<WorkLoopImpl::Entry> priorized, delayed;
    m_loop->GetQueuesForTesting(priorized, delayed);
    auto const& modelPriorized = m_model.Priorized();
    auto const& modelDelayed = m_model.Delayed();
    Same(priorized.size(), modelPriorized.size(), "priority queue length");
    Same(delayed.size(), modelDelayed.size(), "delayed queue length");
    if (!m_error.empty()) return;
    for (size_t i = 0; i < priorized.size() && m_error.empty(); ++i) {
      Same(priorized[i].queueId, modelPriorized[i].id, "priority queue id");
      Same(priorized[i].priorityOrDue, modelPriorized[i].effective, "effective priority");
      Same(priorized[i].cancelled, modelPriorized[i].cancelled, "cancelled");
      Same(TaskOf(priorized[i].task), modelPriorized[i].task, "task");
    }
    for (size_t i = 0; i < delayed.size() && m_error.empty(); ++i) {
      Same(delayed[i].queueId, modelDelayed[i].id, "delayed queue id");
      Same(delayed[i].cancelled, modelDelayed[i].cancelled, "delayed cancelled");
      Same(TaskOf(delayed[i].task), modelDelayed[i].task, "delayed task");
      // The real due tick lies a few real milliseconds after the model's.
      const std::int32_t drift =
          detail::TickDifference(delayed[i].priorityOrDue, modelDelayed[i].ageOrDue + m_realStart);
      if (drift < 0 || drift > 60000) Fail("due tick off by " + std::to_string(drift));
    }
  }
  static int TaskOf(Task* task) {
    return task == nullptr ? -1 : static_cast<ProgramTask*>(task)->index;
  }

  std::uint8_t const* m_data;
  size_t m_size;
  size_t m_at = 0;
  int m_steps = 0;
  ProgramTask m_tasks[kTasks];
  WorkLoopImpl* m_loop = nullptr;
  WorkLoopModel m_model;
  std::vector<std::uint32_t> m_ids;
  std::vector<Event> m_actual, m_expected;
  size_t m_compared = 0;  // calls compared so far
  bool m_inPass = false;
  bool m_realRunning = false;
  std::uint32_t m_elapsed = 0;  // units of model time
  Tevrol::Tick m_realStart = 0;
  Tevrol::Tick m_offset = 0;  // the tick offset in force
  std::string m_error;
};

#endif
