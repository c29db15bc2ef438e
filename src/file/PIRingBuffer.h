#ifndef TEVROL_FILE_PIRINGBUFFER_H
#define TEVROL_FILE_PIRINGBUFFER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// A byte ring of fixed size that never refuses data: what does not fit
// overruns the oldest bytes. All m_capacity bytes are usable. No lock: one
// thread at a time. Only SetSize allocates.
class TEVROL_EXPORT PIRingBuffer {
 public:
  explicit PIRingBuffer(Tevrol::ULong size);
  virtual ~PIRingBuffer();

  PIRingBuffer(PIRingBuffer const&) = delete;
  PIRingBuffer& operator=(PIRingBuffer const&) = delete;

  // Drops content and storage and takes new storage; 0 (and capacity 0)
  // when the memory cannot be had, else 1.
  Tevrol::ULong SetSize(Tevrol::ULong size);
  Tevrol::ULong GetSize() const;
  bool IsEmpty() const;
  void ClearAll();
  Tevrol::ULong GetAvailableSpace() const;
  Tevrol::ULong GetOccupiedSpace() const;
  // Copies in at most the capacity's worth of data; on overrun the ring keeps
  // capacity - 1 bytes. The count taken (0 for null data).
  Tevrol::ULong Add(unsigned char* data, Tevrol::ULong count);
  // Commits count bytes the caller wrote at the area GetReadBuffer gave.
  Tevrol::ULong Add(Tevrol::ULong count);
  // The free stretch at the write position to fill directly: up to the read
  // position or the end of the storage. Size 0 with the area untouched when
  // full or when the ring can hold nothing.
  void GetReadBuffer(unsigned char** area, Tevrol::ULong* size);
  // Copies out up to count of the oldest bytes without removing them (none
  // to a null target).
  Tevrol::ULong Get(unsigned char* target, Tevrol::ULong count);
  // Get, then drops what was copied.
  Tevrol::ULong Remove(unsigned char* target, Tevrol::ULong count);
  // Drops up to count of the oldest bytes.
  void Remove(Tevrol::ULong count);
  // Drops up to count of the newest bytes.
  void RemoveHead(Tevrol::ULong count);
  // What Remove(target + i, 1) calls would take, one byte after the other,
  // until `stop` was taken (it is included), max bytes were taken or the ring
  // is empty; the count. Inline, for readers that go byte by byte.
  TEVROL_INTERNAL Tevrol::ULong TakeUntil(unsigned char* target, Tevrol::ULong max,
                                          unsigned char stop) {
    if (max == 0 || (m_readPosition == m_writePosition && !m_isFull)) return 0;
    // Locals, since every store to target could alias the fields.
    unsigned char* const start = m_storage;
    unsigned char* const end = start + m_capacity;
    unsigned char* const write = m_writePosition;
    unsigned char* read = m_readPosition;
    Tevrol::ULong taken = 0;
    // At most two stretches: up to the write position or the end of the
    // storage, then from its start on.
    for (bool stopped = false; !stopped && taken < max;) {
      unsigned char* const limit = read < write ? write : end;
      Tevrol::ULong const stretch = static_cast<Tevrol::ULong>(limit - read);
      Tevrol::ULong const n = stretch < max - taken ? stretch : max - taken;
      Tevrol::ULong i = 0;
      while (i < n) {
        unsigned char const byte = read[i++];
        target[taken++] = byte;
        if (byte == stop) {
          stopped = true;
          break;
        }
      }
      read += i;
      if (read == end) read = start;
      if (read == write) break;
    }
    m_readPosition = read;
    m_isFull = false;
    return taken;
  }

 private:
  // Moves the write position on by taken bytes (at most the capacity),
  // overrunning the oldest bytes when they did not fit; gives taken.
  Tevrol::ULong Commit(Tevrol::ULong taken);
  // Copies up to count of the oldest bytes to target; the count copied.
  Tevrol::ULong CopyOut(unsigned char* target, Tevrol::ULong count) const;
  // position moved on by count (at most m_capacity) bytes, round the end.
  unsigned char* Advance(unsigned char* position, Tevrol::ULong count) const;
  Tevrol::ULong Offset(unsigned char const* position) const;

  unsigned char* m_writePosition;
  unsigned char* m_readPosition;
  Tevrol::ULong m_capacity;
  unsigned char* m_storage;  // null until a size was set successfully
  bool m_isFull;             // tells a full ring from an empty one
};

#endif
