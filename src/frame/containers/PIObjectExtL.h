#ifndef TEVROL_FRAME_CONTAINERS_PIOBJECTEXTL_H
#define TEVROL_FRAME_CONTAINERS_PIOBJECTEXTL_H

// The lock type of every container instantiation: an empty class that locks
// nothing. A container is not guarded by it; an owner that shares a container
// between threads holds a CriticalSection of its own around every use.
class NullLocking {};

// Common base of the containers: holds the pointer to the lock object.
// The "ExtL" containers use the lock that SetLock hands them (an external
// lock); PIArray, PIList and PIMap point it at a lock object of their own.
// The destructor is pure, so only the containers themselves are made.
//
// Virtual slots, in order: destructor, SetLock, GetLock.
template <class LockType>
class PIObjectExtL {
 public:
  PIObjectExtL() = default;
  virtual ~PIObjectExtL() = 0;

  virtual void SetLock(LockType* lock) { m_lock = lock; }
  virtual LockType* GetLock() const { return m_lock; }

 protected:
  LockType* m_lock = nullptr;
};

template <class LockType>
inline PIObjectExtL<LockType>::~PIObjectExtL() = default;

#endif
