#ifndef TEVROL_THREADS_THREADPD_H
#define TEVROL_THREADS_THREADPD_H

#include <atomic>
#include <cstddef>

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

class RunnablePD;

// Platform layer of Thread: creates, names, prioritises and joins one OS
// thread with a stack of 65536 bytes. Thread ids are held as pointer-wide
// words; 0 means there is no OS thread.
class TEVROL_EXPORT ThreadPD {
 public:
  static const unsigned kStackSize = 65536;
  // Longest name kept; the OS gets at most its first 15 bytes (Linux's limit).
  static const unsigned kMaxNameLength = 59;

  ThreadPD();
  ~ThreadPD() = default;  // does not touch the OS thread
  ThreadPD(ThreadPD const&) = delete;
  ThreadPD& operator=(ThreadPD const&) = delete;

  // Starts a joinable OS thread that runs runnable->ThreadLoop(). True when
  // the OS created it.
  bool Create(RunnablePD* runnable);
  // Joins the OS thread; on the thread itself, detaches it instead, so that
  // it cleans up when it ends. Afterwards there is no OS thread.
  void Join();
  Tevrol::ThreadId GetThreadID() const;
  bool HasNativeThread() const;
  bool IsCurrentThread() const;
  // The stored name itself: a caller that reads it while another thread sets
  // it races. CopyFriendlyName does not.
  char const* GetFriendlyName() const;
  // Null makes the name empty; longer names are cut to 59 characters. The OS
  // takes the name when the thread starts, so a name set later is stored but
  // not shown. Safe beside a starting thread and beside CopyFriendlyName.
  void SetFriendlyName(char const* name);
  // The name, cut to size - 1 bytes and terminated, read under the lock
  // that SetFriendlyName takes.
  void CopyFriendlyName(char* out, std::size_t size) const;
  // Applies an OS priority to the running thread, leaving the policy as it
  // is. A value the OS refuses as invalid counts as done (true) and the
  // thread keeps its priority.
  bool SetPriority(int value);

  // Test seam: the priority the last SetPriority asked for, -1 before any.
  // The OS may have refused it, so it cannot be read back from the thread.
  TEVROL_INTERNAL int GetRequestedPriorityForTesting() const;

 private:
  static void* ThreadProc(void* self);

  RunnablePD* m_nativeRunnable;  // not owned; null until Create
  std::atomic<Tevrol::ThreadId>
      m_nativeThread;  // written by the new thread while Create may read it
  char m_friendlyName[kMaxNameLength + 1];
  std::atomic<int> m_requestedPriority;
};

#endif
