#include "file/InputStreamBuffer.h"

#include <cstdint>

#include "timetext/StopWatch.h"

namespace {

constexpr Tevrol::ULong kDefaultRingSize = 2048;
constexpr Tevrol::Long kDefaultReadTimeout = 5000;
// What the source's own read time-out is set to, whatever the caller asks.
constexpr Tevrol::Long kSourceReadTimeout = 50;

// A negative size makes a ring of none, not one of nearly 4 GiB.
Tevrol::ULong RingSize(Tevrol::Long size) {
  return size < 0 ? 0 : static_cast<Tevrol::ULong>(size);
}

}  // namespace

InputStreamBuffer::InputStreamBuffer()
    : m_readTimeout(kDefaultReadTimeout), m_source(nullptr), m_ring(kDefaultRingSize) {}

InputStreamBuffer::InputStreamBuffer(InputStream* source, Tevrol::Long size)
    : m_readTimeout(kDefaultReadTimeout), m_source(source), m_ring(RingSize(size)) {}

InputStreamBuffer::~InputStreamBuffer() = default;

Tevrol::ULong InputStreamBuffer::Read(unsigned char* buffer, Tevrol::ULong length,
                                      Tevrol::ULong* bytesRead) {
  if (buffer == nullptr || bytesRead == nullptr || m_source == nullptr) {
    return kStreamFailure;
  }
  *bytesRead = m_ring.Remove(buffer, length);
  if (*bytesRead != 0) {
    return kStreamSuccess;
  }
  // Nothing wanted: nothing delivered, at once, and the source is not asked.
  if (length == 0) {
    return kStreamSuccess;
  }
  unsigned char* area = nullptr;
  Tevrol::ULong size = 0;
  m_ring.GetReadBuffer(&area, &size);
  // A ring that can hold nothing (size 0, or its storage was refused) can
  // never deliver: failure, without handing the source an unset area.
  if (size == 0) {
    return kStreamFailure;
  }
  StopWatch const watch;
  for (;;) {
    Tevrol::ULong got = 0;
    Tevrol::ULong const code = m_source->Read(area, size, &got);
    // A source that claims more than it was offered commits only the stretch.
    if (got > size) {
      got = size;
    }
    if (code == kStreamSuccess) {
      m_ring.Add(got);
    }
    if (static_cast<std::int64_t>(watch.GetTimeElapsed()) > m_readTimeout) {
      return code != kStreamSuccess ? code : kStreamTimeout;
    }
    if (code != kStreamSuccess) {
      return code;
    }
    if (got != 0) {
      break;
    }
  }
  if (m_ring.IsEmpty()) {
    return kStreamSuccess;
  }
  return Read(buffer, length, bytesRead);
}

Tevrol::ULong InputStreamBuffer::Flush() {
  m_ring.ClearAll();
  return m_source != nullptr ? m_source->Flush() : kStreamSuccess;
}

Tevrol::ULong InputStreamBuffer::EnableWait() {
  return kStreamFailure;
}

Tevrol::ULong InputStreamBuffer::WaitForData() {
  return kStreamFailure;
}

Tevrol::ULong InputStreamBuffer::DisableWait() {
  return kStreamFailure;
}

void InputStreamBuffer::Cancel() {}

void InputStreamBuffer::SetReadTimeout(Tevrol::Long milliseconds) {
  m_readTimeout = milliseconds;
  if (m_source != nullptr) {
    m_source->SetReadTimeout(kSourceReadTimeout);
  }
}

Tevrol::Long InputStreamBuffer::GetReadTimeout() {
  return m_readTimeout;
}

void InputStreamBuffer::CancelPending() {
  if (m_source != nullptr) {
    m_source->CancelPending();
  }
}
