#ifndef TEVROL_FILE_INPUTSTREAMBUFFER_H
#define TEVROL_FILE_INPUTSTREAMBUFFER_H

#include "file/InputStream.h"
#include "file/PIRingBuffer.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// An InputStream that reads ahead from another one into a ring, so that a
// caller can read byte by byte while the source is asked for whole stretches,
// and only when the ring has run empty. The source is not owned. No lock.
class TEVROL_EXPORT InputStreamBuffer : public InputStream {
 public:
  // No source (every Read fails with 4), ring of 2048 bytes.
  InputStreamBuffer();
  // A negative size makes a ring of size 0.
  InputStreamBuffer(InputStream* source, Tevrol::Long size);
  ~InputStreamBuffer() override;

  InputStreamBuffer(InputStreamBuffer const&) = delete;
  InputStreamBuffer& operator=(InputStreamBuffer const&) = delete;

  // Gives what the ring holds (result 0, never waiting for more). An empty
  // ring is refilled from the source until bytes come, the source reports a
  // code, or m_readTimeout ms pass (code 2, or the source's own); there is
  // no sleep between two asks. 4 for a null buffer or bytesRead, without a
  // source, and for a ring that can hold nothing. length 0 gives 0 with
  // *bytesRead 0 at once.
  Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                     Tevrol::ULong* bytesRead) override;
  // For readers that go byte by byte: what Read(buffer + i, 1, ...) calls
  // give while the ring holds bytes, up to and including `stop`, at most max,
  // without a call a byte; the count. 0 once the ring is empty: then Read
  // itself refills it. Bypasses an override of Read.
  TEVROL_INTERNAL Tevrol::ULong TakeBuffered(unsigned char* buffer, Tevrol::ULong max,
                                             unsigned char stop) {
    return m_ring.TakeUntil(buffer, max, stop);
  }
  // Drops what was read ahead, then the source's Flush.
  Tevrol::ULong Flush() override;
  Tevrol::ULong EnableWait() override;   // 4: not supported
  Tevrol::ULong WaitForData() override;  // 4
  Tevrol::ULong DisableWait() override;  // 4
  void Cancel() override;
  // Keeps the value; the source gets a fixed 50 ms.
  void SetReadTimeout(Tevrol::Long milliseconds) override;
  Tevrol::Long GetReadTimeout() override;
  void CancelPending() override;

 private:
  Tevrol::Long m_readTimeout;  // ms, 5000 at first
  InputStream* m_source;       // not owned
  PIRingBuffer m_ring;
};

#endif
