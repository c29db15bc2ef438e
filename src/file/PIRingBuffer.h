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
  // capacity - 1 bytes. The count taken.
  Tevrol::ULong Add(unsigned char* data, Tevrol::ULong count);
  // Commits count bytes the caller wrote at the area GetReadBuffer gave.
  Tevrol::ULong Add(Tevrol::ULong count);
  // The free stretch at the write position to fill directly (size 0 and area
  // untouched when full).
  void GetReadBuffer(unsigned char** area, Tevrol::ULong* size);
  // Copies out up to count of the oldest bytes without removing them.
  Tevrol::ULong Get(unsigned char* target, Tevrol::ULong count);
  // Get, then drops what was copied.
  Tevrol::ULong Remove(unsigned char* target, Tevrol::ULong count);
  // Drops up to count of the oldest bytes.
  void Remove(Tevrol::ULong count);
  // Drops up to count of the newest bytes.
  void RemoveHead(Tevrol::ULong count);

 private:
  unsigned char* m_writePosition;
  unsigned char* m_readPosition;
  Tevrol::ULong m_capacity;
  unsigned char* m_storage;  // null until a size was set successfully
  bool m_isFull;             // tells a full ring from an empty one
};

#endif
