#include "threads/Thread.h"

#include <mutex>

#include "frame/Accessors.h"
#include "threads/Runnable.h"
#include "threads/TevrolCfgFileReader.h"

namespace {
// Rows 0 to 2 are flat; only row 3 descends, one step a column.
constexpr Tevrol::Long kBuiltInPriorityTable[4][8] = {
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 12, 11, 10, 9, 8, 7, 6},
};

// Writes only the entries that differ, under one lock: constructors rewrite
// the table with the values it already holds while started threads read it,
// and a write of an unchanged value would still be a data race.
void CopyPriorityTable(Tevrol::Long const (&source)[4][8]) {
  static std::mutex s_tableLock;
  std::lock_guard<std::mutex> guard(s_tableLock);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 8; ++column) {
      if (Thread::g_threadPriorityTable[row][column] != source[row][column]) {
        Thread::g_threadPriorityTable[row][column] = source[row][column];
      }
    }
  }
}
}  // namespace

// Starts with the built-in values, so that a process without a priority file
// never writes the table after load.
Tevrol::Long Thread::g_threadPriorityTable[4][8] = {
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 13, 13, 13, 13, 13, 13, 13},
    {13, 12, 11, 10, 9, 8, 7, 6},
};

Runnable::~Runnable() = default;

Thread::Thread(Runnable* runnable)
    : m_runnable(runnable),
      m_state(StateCreated),
      m_priority(ThreadPriorities::Priority3),
      m_priorityType(ThreadPriorities::PriorityType3),
      m_runOnce(false),
      m_threadId(0) {
  InitializeThreadPriorityTbl();
}

Thread::~Thread() {
  Stop();
}

void Thread::InitializeThreadPriorityTbl() {
  TevrolCfgFileReader* const reader = TevrolCfgFileReader_GetInstance();
  reader->setConfigFilename("ThreadPriorityMapper.cfg");
  Tevrol::Long fromFile[4][8];
  if (reader->getThreadPrioTable(fromFile)) {
    CopyPriorityTable(fromFile);
  } else {
    CopyPriorityTable(kBuiltInPriorityTable);
  }
}

void Thread::ThreadLoop() {
  m_platformThread.SetPriority(g_threadPriorityTable[m_priorityType][m_priority]);
  m_runnable->StartingEvent();
  for (;;) {
    m_stateLock.Lock();
    const Tevrol::Long state = m_state.load();
    if (state == StateStopped) {
      // Stopped by itself from WorkingLoop: Stop and WakeUp are not called.
      m_stateLock.Unlock();
      m_runnable->StoppingEvent();
      return;
    }
    if (!m_runOnce) {
      if (state == StateStopping) {
        m_stateLock.Unlock();
        m_runnable->Stop();
        m_runnable->WakeUp();
        m_runnable->StoppingEvent();
        return;
      }
      if (state == StatePausing) {
        m_state.store(StatePaused);
        m_wakeEvent.Reset();
        m_stateLock.Unlock();
        m_runnable->Pause();
        m_runnable->PauseEvent();
        m_wakeEvent.Wait();
        continue;
      }
      if (state == StatePaused) {
        m_wakeEvent.Reset();
        m_stateLock.Unlock();
        m_wakeEvent.Wait();
        continue;
      }
    }
    m_runOnce = false;
    m_stateLock.Unlock();
    m_runnable->WorkingLoop(this);
  }
}

void Thread::Start() {
  m_stateLock.Lock();
  m_runOnce = true;
  m_state.store(StateRunning);
  m_platformThread.Create(this);
  m_threadId.store(m_platformThread.GetThreadID());
  m_stateLock.Unlock();
}

void Thread::Stop() {
  m_stateLock.Lock();
  const Tevrol::Long state = m_state.load();
  if (state == StateCreated || state == StateStopped) {
    m_stateLock.Unlock();
    return;
  }
  m_state.store(StateStopping);
  m_wakeEvent.Set();
  m_stateLock.Unlock();
  // No lock held: a running WorkingLoop is waited for, not interrupted.
  m_platformThread.Join();
  m_stateLock.Lock();
  m_state.store(StateStopped);
  m_stateLock.Unlock();
}

void Thread::Pause() {
  m_stateLock.Lock();
  if (m_state.load() == StateRunning) {
    m_state.store(StatePausing);
    m_wakeEvent.Set();
  }
  m_stateLock.Unlock();
}

void Thread::SetPauseThread(bool) {
  m_stateLock.Lock();
  if (m_state.load() == StateRunning) {
    m_state.store(StatePausing);
  }
  m_stateLock.Unlock();
}

bool Thread::GetPauseThread() {
  const Tevrol::Long state = m_state.load();
  return state == StatePausing || state == StatePaused;
}

void Thread::Continue() {
  m_stateLock.Lock();
  m_runOnce = true;
  const Tevrol::Long state = m_state.load();
  const bool resumed = state == StatePausing || state == StatePaused;
  if (resumed) {
    m_state.store(StateRunning);
    m_wakeEvent.Set();
  }
  m_stateLock.Unlock();
  if (resumed && m_runnable != nullptr) {
    m_runnable->ContinueEvent();
  }
}

void Thread::WakeUp() {
  if (m_runnable != nullptr) {  // an owner may wake a Thread whose Runnable it has not set yet
    m_runnable->WakeUp();
  }
  m_wakeEvent.Set();
}

void Thread::Sleep(Tevrol::ULong milliseconds) {
  m_stateLock.Lock();
  if (m_state.load() != StateRunning) {
    m_stateLock.Unlock();
    return;
  }
  m_wakeEvent.Reset();
  m_stateLock.Unlock();
  m_wakeEvent.WaitFor(milliseconds);
}

void Thread::SetPriority(ThreadPriorities::Priority priority, ThreadPriorities::PriorityType type) {
  m_priority = priority;
  m_priorityType = type;
}
