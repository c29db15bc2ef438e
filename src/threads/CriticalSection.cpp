#include "threads/CriticalSection.h"

CriticalSection::CriticalSection() : m_mutex(new pthread_mutex_t) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(m_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() {
  if (m_mutex != nullptr) {
    pthread_mutex_destroy(m_mutex);
    delete m_mutex;
  }
  m_mutex = nullptr;
}

int CriticalSection::Lock() {
  return pthread_mutex_lock(m_mutex);
}

int CriticalSection::Unlock() {
  return pthread_mutex_unlock(m_mutex);
}
