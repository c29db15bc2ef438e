#ifndef TEVROL_FRAME_CONTAINERS_PIARRAY_H
#define TEVROL_FRAME_CONTAINERS_PIARRAY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIObjectExtL.h"

// A growable array of TYPE, handed into operations as ARG_TYPE, guarded by
// the lock that SetLock gives it (none with NullLocking: not thread-safe).
//
// Elements 0 .. m_size - 1 are constructed objects, value-initialised when
// the array makes them (so plain records start as zeros); the storage behind
// them is raw. The buffer moves elements by their bytes (memcpy, memmove),
// never through copy constructors: an element must stay valid when its bytes
// are moved, so it may not point into itself.
//
// Indexes are not checked: callers stay within 0 .. GetUpperBound(). No
// operation reports an error or checks an allocation.
//
// Growth with m_growBy 0 steps by m_size / 8, at least 4 and at most 1024
// elements, so an array grown one at a time gets capacities 1, 5, 9, 13, ...
//
// The fields are public, part of the interface as the operations are;
// change them only through the operations.
template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
class PIArrayExtL : public PIObjectExtL<LockType> {
  static_assert(alignof(TYPE) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
                "the buffer comes from operator new, which aligns for ordinary types only");

 public:
  PIArrayExtL() = default;
  PIArrayExtL(PIArrayExtL const&) = delete;
  PIArrayExtL& operator=(PIArrayExtL const&) = delete;
  ~PIArrayExtL() override {
    DestroyElements(m_data, 0, m_size);
    if (m_data != nullptr) {
      Alloc::Free(m_data);
    }
  }

  Tevrol::Long GetSize() const { return m_size; }
  Tevrol::Long GetUpperBound() const { return m_size - 1; }
  Tevrol::Long GetMaxSize() const { return m_maxSize; }
  TYPE* GetData() { return m_data; }
  TYPE const* GetData() const { return m_data; }

  TYPE const& GetAt(Tevrol::Long index) const { return m_data[index]; }
  TYPE& ElementAt(Tevrol::Long index) { return m_data[index]; }
  TYPE& operator[](Tevrol::Long index) { return m_data[index]; }
  TYPE const& operator[](Tevrol::Long index) const { return m_data[index]; }
  void SetAt(Tevrol::Long index, ARG_TYPE value) { m_data[index] = value; }

  // growBy -1 keeps m_growBy, any other value replaces it (0: automatic
  // step). SetSize(0) frees the buffer; a shrink to any other size keeps it.
  void SetSize(Tevrol::Long newSize, Tevrol::Long growBy = -1);
  // -1 in any argument keeps the present value. The capacity is raised to
  // the new size if lower; a changed capacity moves the elements into a new
  // buffer of exactly that many elements (none for 0).
  void SetSizeEx(Tevrol::Long newSize, Tevrol::Long growBy, Tevrol::Long newMaxSize);

  // Appends `value`; returns its index. An array that holds the largest
  // Long of elements takes no more: -1, nothing changed.
  Tevrol::Long Add(ARG_TYPE value);
  // Puts `count` copies of `value` at `index`, moving the elements from
  // there up; an index at or past the end first grows the array to `index`.
  // Nothing happens when the new size would pass the largest Long.
  void InsertAt(Tevrol::Long index, ARG_TYPE value, Tevrol::Long count = 1);
  // Destroys `count` elements from `index` and closes the gap; the capacity
  // stays.
  void RemoveAt(Tevrol::Long index, Tevrol::Long count = 1);
  // Destroys all elements and frees the buffer.
  void RemoveAll() { SetSize(0, -1); }
  // Shrinks the buffer to exactly m_size elements (frees it for none).
  void FreeExtra();

  TYPE* m_data = nullptr;      // null when m_maxSize is 0
  Tevrol::Long m_size = 0;     // elements in use
  Tevrol::Long m_maxSize = 0;  // elements the buffer can hold
  Tevrol::Long m_growBy = 0;   // step of growth, 0: automatic

 private:
  static void ConstructElements(TYPE* buffer, Tevrol::Long from, Tevrol::Long to) {
    for (Tevrol::Long i = from; i < to; ++i) {
      ::new (static_cast<void*>(buffer + i)) TYPE();
    }
  }

  // What the array keeps true, told to the static analyzer, which cannot
  // see it across calls: a buffer exactly when there is room, and
  // 0 <= m_size <= m_maxSize. No code at run time.
  void AssumeConsistent() const {
#ifdef __clang_analyzer__
    if ((m_data == nullptr) != (m_maxSize == 0) || m_size < 0 || m_size > m_maxSize) {
      __builtin_unreachable();
    }
#endif
  }

  static void DestroyElements(TYPE* buffer, Tevrol::Long from, Tevrol::Long to) {
    for (Tevrol::Long i = from; i < to; ++i) {
      buffer[i].~TYPE();
    }
  }

  // Elements move by their bytes, never through their copy constructors:
  // that is the contract of the element type. The casts to void* say so, and
  // keep GCC's -Wclass-memaccess quiet for class elements.
  static void CopyBytes(TYPE* to, TYPE const* from, Tevrol::Long count) {
    if (count > 0) {
      std::memcpy(static_cast<void*>(to), static_cast<void const*>(from),
                  static_cast<std::size_t>(count) * sizeof(TYPE));
    }
  }
  static void MoveBytes(TYPE* to, TYPE const* from, Tevrol::Long count) {
    if (count > 0) {
      std::memmove(static_cast<void*>(to), static_cast<void const*>(from),
                   static_cast<std::size_t>(count) * sizeof(TYPE));
    }
  }

  // Index of the element that `value` is, or -1. Add and InsertAt may be
  // handed one of this array's own elements, which a reallocation or the
  // shift moves from under the reference; they then copy it from its new
  // place instead of reading freed or overwritten memory.
  template <class V>
  Tevrol::Long OwnIndex(V const& value) const {
    if constexpr (std::is_same<V, TYPE>::value) {
      std::less<TYPE const*> const before;
      TYPE const* const p = std::addressof(value);
      if (m_size > 0 && !before(p, m_data) && before(p, m_data + m_size)) {
        return static_cast<Tevrol::Long>(p - m_data);
      }
    } else {
      static_cast<void>(value);
    }
    return -1;
  }

  void AssignFrom(Tevrol::Long index, Tevrol::Long own, ARG_TYPE value) {
    if (own >= 0) {
      m_data[index] = m_data[own];
    } else {
      m_data[index] = value;
    }
  }
};

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
void PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::SetSize(Tevrol::Long newSize,
                                                           Tevrol::Long growBy) {
  AssumeConsistent();
  // A negative size would reach before the buffer: it counts as 0.
  if (newSize < 0) {
    newSize = 0;
  }
  if (growBy != -1) {
    m_growBy = growBy;
  } else {
    growBy = m_growBy;
  }
  Tevrol::Long capacity;
  if (newSize == 0 || m_data == nullptr) {
    capacity = newSize;
  } else if (newSize <= m_maxSize) {
    capacity = m_maxSize;
  } else {
    Tevrol::Long step = growBy;
    if (step == 0) {
      step = m_size / 8;
      step = step < 4 ? 4 : (step > 1024 ? 1024 : step);
    }
    // Summed wide so that a huge capacity cannot overflow the 32-bit long.
    std::int64_t const grown = std::int64_t{m_maxSize} + step;
    capacity = grown < newSize ? newSize
                               : static_cast<Tevrol::Long>(grown > INT32_MAX ? INT32_MAX : grown);
  }
  SetSizeEx(newSize, growBy, capacity);
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
void PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::SetSizeEx(Tevrol::Long newSize,
                                                             Tevrol::Long growBy,
                                                             Tevrol::Long newMaxSize) {
  AssumeConsistent();
  if (growBy != -1) {
    m_growBy = growBy;
  }
  Tevrol::Long target = newSize == -1 ? m_size : newSize;
  // Other negative sizes would reach before the buffer: they count as 0.
  if (target < 0) {
    target = 0;
  }
  Tevrol::Long capacity = newMaxSize == -1 ? m_maxSize : newMaxSize;
  if (capacity < target) {
    capacity = target;
  }

  TYPE* buffer = m_data;
  if (capacity != m_maxSize) {
    buffer =
        capacity == 0
            ? nullptr
            : static_cast<TYPE*>(Alloc::Alloc(static_cast<std::size_t>(capacity) * sizeof(TYPE)));
    m_maxSize = capacity;
  }

  if (target > m_size) {
    // New elements are made in the buffer that will be kept.
    ConstructElements(buffer, m_size, target);
  } else {
    DestroyElements(m_data, target, m_size);
  }

  if (buffer != m_data) {
    CopyBytes(buffer, m_data, target < m_size ? target : m_size);
    if (m_data != nullptr) {
      Alloc::Free(m_data);
    }
    m_data = buffer;
  }
  m_size = target;
  AssumeConsistent();
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
Tevrol::Long PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::Add(ARG_TYPE value) {
  if (m_size == INT32_MAX) {
    return -1;
  }
  Tevrol::Long const own = OwnIndex(value);
  Tevrol::Long const index = m_size;
  SetSize(m_size + 1, -1);
  AssignFrom(index, own, value);
  return index;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
void PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::InsertAt(Tevrol::Long index, ARG_TYPE value,
                                                            Tevrol::Long count) {
  // A negative count inserts nothing, as 0 does.
  if (count < 0) {
    count = 0;
  }
  if (count > INT32_MAX - (index < m_size ? m_size : index)) {
    return;
  }
  Tevrol::Long own = OwnIndex(value);
  if (index < m_size) {
    Tevrol::Long const oldSize = m_size;
    SetSize(oldSize + count, -1);
    // The elements just made at the end are not needed there: their places
    // receive the moved bytes, and the gap gets fresh elements instead.
    DestroyElements(m_data, oldSize, oldSize + count);
    MoveBytes(m_data + index + count, m_data + index, oldSize - index);
    ConstructElements(m_data, index, index + count);
    if (own >= index) {
      own += count;
    }
  } else {
    SetSize(index + count, -1);
  }
  for (Tevrol::Long i = 0; i < count; ++i) {
    AssignFrom(index + i, own, value);
  }
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
void PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::RemoveAt(Tevrol::Long index,
                                                            Tevrol::Long count) {
  // A count that reaches past the end stops at the end; none (or fewer)
  // removes nothing.
  if (count > m_size - index) {
    count = m_size - index;
  }
  if (count <= 0) {
    return;
  }
  DestroyElements(m_data, index, index + count);
  MoveBytes(m_data + index, m_data + index + count, m_size - index - count);
  m_size -= count;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
void PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc>::FreeExtra() {
  if (m_size != m_maxSize) {
    SetSizeEx(-1, -1, m_size);
  }
}

// The array with a lock object of its own, at which the lock pointer starts.
// SetLock is not overridden: it replaces the pointer with an external lock.
template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
class PIArray : public PIArrayExtL<TYPE, ARG_TYPE, LockType, Alloc> {
 public:
  PIArray() { this->m_lock = &m_lockObject; }
  ~PIArray() override { this->m_lock = nullptr; }

 private:
  LockType m_lockObject;
};

#endif
