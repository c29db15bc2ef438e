#include "file/PIRingBuffer.h"

#include <cstring>
#include <new>

PIRingBuffer::PIRingBuffer(Tevrol::ULong size)
    : m_writePosition(nullptr),
      m_readPosition(nullptr),
      m_capacity(0),
      m_storage(nullptr),
      m_isFull(false) {
  static_cast<void>(SetSize(size));
}

PIRingBuffer::~PIRingBuffer() {
  delete[] m_storage;
}

Tevrol::ULong PIRingBuffer::SetSize(Tevrol::ULong size) {
  delete[] m_storage;
  m_storage = new (std::nothrow) unsigned char[size];
  m_capacity = m_storage == nullptr ? 0 : size;
  m_writePosition = m_storage;
  m_readPosition = m_storage;
  m_isFull = false;
  return m_storage == nullptr ? 0 : 1;
}

Tevrol::ULong PIRingBuffer::GetSize() const {
  return m_capacity;
}

bool PIRingBuffer::IsEmpty() const {
  return m_writePosition == m_readPosition && !m_isFull;
}

void PIRingBuffer::ClearAll() {
  m_writePosition = m_storage;
  m_readPosition = m_storage;
  m_isFull = false;
}

Tevrol::ULong PIRingBuffer::GetAvailableSpace() const {
  if (m_isFull) {
    return 0;
  }
  if (m_writePosition < m_readPosition) {
    return static_cast<Tevrol::ULong>(m_readPosition - m_writePosition);
  }
  return m_capacity - static_cast<Tevrol::ULong>(m_writePosition - m_readPosition);
}

Tevrol::ULong PIRingBuffer::GetOccupiedSpace() const {
  if (m_isFull) {
    return m_capacity;
  }
  if (m_readPosition <= m_writePosition) {
    return static_cast<Tevrol::ULong>(m_writePosition - m_readPosition);
  }
  return m_capacity - static_cast<Tevrol::ULong>(m_readPosition - m_writePosition);
}

Tevrol::ULong PIRingBuffer::Add(unsigned char* data, Tevrol::ULong count) {
  // No data to copy from: nothing is taken.
  if (data == nullptr || count == 0 || m_storage == nullptr || m_capacity == 0) {
    return 0;
  }
  Tevrol::ULong const taken = count < m_capacity ? count : m_capacity;
  Tevrol::ULong const toEnd = m_capacity - Offset(m_writePosition);
  Tevrol::ULong const first = taken < toEnd ? taken : toEnd;
  std::memcpy(m_writePosition, data, first);
  std::memcpy(m_storage, data + first, taken - first);
  return Commit(taken);
}

Tevrol::ULong PIRingBuffer::Add(Tevrol::ULong count) {
  if (count == 0 || m_storage == nullptr || m_capacity == 0) {
    return 0;
  }
  return Commit(count < m_capacity ? count : m_capacity);
}

Tevrol::ULong PIRingBuffer::Commit(Tevrol::ULong taken) {
  Tevrol::ULong const free = GetAvailableSpace();
  m_writePosition = Advance(m_writePosition, taken);
  if (taken > free) {
    // Overrun: the oldest byte goes one behind the newest, so capacity - 1
    // bytes stay (a ring of one byte is full again).
    m_readPosition = Advance(m_writePosition, 1);
  }
  m_isFull = m_writePosition == m_readPosition;
  return taken;
}

void PIRingBuffer::GetReadBuffer(unsigned char** area, Tevrol::ULong* size) {
  // A ring that can hold nothing (size 0, or no storage) has no stretch:
  // size 0 with the area untouched, as for a full ring.
  if (m_isFull || m_storage == nullptr || m_capacity == 0) {
    *size = 0;
    return;
  }
  *area = m_writePosition;
  if (m_readPosition > m_writePosition) {
    *size = static_cast<Tevrol::ULong>(m_readPosition - m_writePosition);
  } else {
    *size = m_capacity - Offset(m_writePosition);
  }
}

Tevrol::ULong PIRingBuffer::Get(unsigned char* target, Tevrol::ULong count) {
  // No place to copy to: nothing is delivered.
  if (target == nullptr || count == 0 || m_storage == nullptr || m_capacity == 0) {
    return 0;
  }
  return CopyOut(target, count);
}

Tevrol::ULong PIRingBuffer::Remove(unsigned char* target, Tevrol::ULong count) {
  // Get, then drop what was copied, in one pass: this is the byte-wise
  // reader's path. A null target copies and drops nothing.
  if (target == nullptr || count == 0 || m_storage == nullptr || m_capacity == 0) {
    return 0;
  }
  Tevrol::ULong const copied = CopyOut(target, count);
  if (copied != 0) {
    m_readPosition = Advance(m_readPosition, copied);
    m_isFull = false;
  }
  return copied;
}

void PIRingBuffer::Remove(Tevrol::ULong count) {
  if (count == 0 || m_storage == nullptr || m_capacity == 0) {
    return;
  }
  Tevrol::ULong const stored = GetOccupiedSpace();
  m_readPosition = Advance(m_readPosition, count < stored ? count : stored);
  m_isFull = false;
}

void PIRingBuffer::RemoveHead(Tevrol::ULong count) {
  if (count == 0 || m_storage == nullptr || m_capacity == 0) {
    return;
  }
  Tevrol::ULong const stored = GetOccupiedSpace();
  m_writePosition = Advance(m_writePosition, m_capacity - (count < stored ? count : stored));
  m_isFull = false;
}

Tevrol::ULong PIRingBuffer::CopyOut(unsigned char* target, Tevrol::ULong count) const {
  Tevrol::ULong const stored = GetOccupiedSpace();
  if (count > stored) {
    count = stored;
  }
  Tevrol::ULong const toEnd = m_capacity - Offset(m_readPosition);
  Tevrol::ULong const first = count < toEnd ? count : toEnd;
  if (count == 1) {
    *target = *m_readPosition;  // the byte-wise reader's case, without a call
    return 1;
  }
  std::memcpy(target, m_readPosition, first);
  std::memcpy(target + first, m_storage, count - first);
  return count;
}

unsigned char* PIRingBuffer::Advance(unsigned char* position, Tevrol::ULong count) const {
  // count is at most m_capacity: one wrap at most, and no division.
  Tevrol::ULong const toEnd = m_capacity - Offset(position);
  return count < toEnd ? position + count : m_storage + (count - toEnd);
}

Tevrol::ULong PIRingBuffer::Offset(unsigned char const* position) const {
  return static_cast<Tevrol::ULong>(position - m_storage);
}
