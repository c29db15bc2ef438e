// Platform layer of Thread: the only code in threads/ that creates, names,
// prioritises or joins POSIX threads.
#include "threads/ThreadPD.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <type_traits>

#include "threads/RunnablePD.h"

static_assert(std::is_integral<pthread_t>::value && sizeof(pthread_t) <= sizeof(Tevrol::ThreadId),
              "thread ids are held as pointer-wide words");

namespace {
constexpr size_t kOsNameLength = 15;  // pthread_setname_np refuses longer names on Linux

// One lock for the names of all threads: a name may be set while its thread
// starts, and the layout of ThreadPD has no room for a lock of its own.
std::mutex g_nameLock;

Tevrol::ThreadId ToThreadId(pthread_t thread) {
  return static_cast<Tevrol::ThreadId>(thread);
}
pthread_t ToPthread(Tevrol::ThreadId id) {
  return static_cast<pthread_t>(id);
}
}  // namespace

const unsigned ThreadPD::kStackSize;
const unsigned ThreadPD::kMaxNameLength;

ThreadPD::ThreadPD() : m_nativeRunnable(nullptr), m_nativeThread(0), m_requestedPriority(-1) {
  SetFriendlyName("nameless_thread");
}

bool ThreadPD::Create(RunnablePD* runnable) {
  m_nativeRunnable = runnable;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackSize);
  pthread_t thread;
  const int result = pthread_create(&thread, &attributes, &ThreadProc, this);
  pthread_attr_destroy(&attributes);
  if (result != 0) {
    return false;
  }
  m_nativeThread.store(ToThreadId(thread));
  return true;
}

void* ThreadPD::ThreadProc(void* self) {
  ThreadPD* const platformThread = static_cast<ThreadPD*>(self);
  platformThread->m_nativeThread.store(ToThreadId(pthread_self()));
  char osName[kOsNameLength + 1];
  platformThread->CopyFriendlyName(osName, sizeof osName);
  pthread_setname_np(pthread_self(), osName);
  platformThread->m_nativeRunnable->ThreadLoop();
  return nullptr;
}

void ThreadPD::Join() {
  const Tevrol::ThreadId id = m_nativeThread.load();
  if (id != 0) {
    // A thread cannot wait for itself: detached, it cleans up when it ends.
    if (pthread_equal(ToPthread(id), pthread_self())) {
      pthread_detach(ToPthread(id));
    } else {
      pthread_join(ToPthread(id), nullptr);
    }
  }
  m_nativeThread.store(0);
}

Tevrol::ThreadId ThreadPD::GetThreadID() const {
  return m_nativeThread.load();
}

bool ThreadPD::HasNativeThread() const {
  return m_nativeThread.load() != 0;
}

bool ThreadPD::IsCurrentThread() const {
  return m_nativeThread.load() == ToThreadId(pthread_self());
}

char const* ThreadPD::GetFriendlyName() const {
  return m_friendlyName;
}

void ThreadPD::SetFriendlyName(char const* name) {
  std::lock_guard<std::mutex> guard(g_nameLock);
  if (name == nullptr) {
    m_friendlyName[0] = '\0';
    return;
  }
  const size_t length = strnlen(name, kMaxNameLength);
  // memmove: name may be this thread's own name, or a part of it.
  std::memmove(m_friendlyName, name, length);
  m_friendlyName[length] = '\0';
}

void ThreadPD::CopyFriendlyName(char* out, size_t size) const {
  if (size == 0) {
    return;
  }
  std::lock_guard<std::mutex> guard(g_nameLock);
  const size_t length = strnlen(m_friendlyName, size - 1);
  std::memcpy(out, m_friendlyName, length);
  out[length] = '\0';
}

bool ThreadPD::SetPriority(int value) {
  m_requestedPriority.store(value);
  int policy = 0;
  sched_param parameters;
  const pthread_t thread = ToPthread(m_nativeThread.load());
  if (pthread_getschedparam(thread, &policy, &parameters) != 0) {
    return false;
  }
  parameters.sched_priority = value;
  const int result = pthread_setschedparam(thread, policy, &parameters);
  // Linux refuses any non-zero priority under SCHED_OTHER with EINVAL: done all the same.
  return result == 0 || result == EINVAL;
}

int ThreadPD::GetRequestedPriorityForTesting() const {
  return m_requestedPriority.load();
}
