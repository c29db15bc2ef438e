// PIRingBuffer and InputStreamBuffer driven by operations decoded from the
// input and compared after every step with a std::deque of bytes. Byte 0
// chooses the subject (even: the ring, odd: the buffered input), bytes 1-2
// the ring size; every following byte is one operation, and some take the
// byte behind them as a count. The bytes stored are numbered 0, 1, 2, ...
// (mod 256), so that a byte out of order or lost shows.
//
// The model: a ring keeps its oldest bytes first; an Add that overruns keeps
// the newest capacity - 1 bytes (a ring of one byte stays full). Beside the
// content it tracks the write offset, which decides the stretch that
// GetReadBuffer and InputStreamBuffer's refill offer. Callers' rules kept:
// what is committed with Add(count) was written in the stretch given; the
// fake source never answers 0 bytes with code 0, the default read time-out
// stays, and no Read asks for 0 bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

#include "FuzzCheck.h"
#include "file/InputStream.h"
#include "file/InputStreamBuffer.h"
#include "file/PIRingBuffer.h"

namespace {

using Tevrol::ULong;

constexpr int kMaxSteps = 1000;
constexpr ULong kMaxRing = 300;

struct Input {
  std::uint8_t const* data;
  std::size_t size;
  bool Empty() const { return size == 0; }
  std::uint8_t Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
};

// The bytes a ring should hold, and where its next byte goes.
struct RingModel {
  std::deque<std::uint8_t> bytes;
  ULong capacity = 0;
  ULong writeOffset = 0;

  ULong ReadOffset() const {
    return static_cast<ULong>((writeOffset + capacity - bytes.size()) % capacity);
  }
  // What GetReadBuffer offers: up to the oldest byte or the end of storage.
  ULong Stretch() const {
    if (capacity == 0 || bytes.size() == capacity) return 0;
    ULong const read = ReadOffset();
    return read > writeOffset ? read - writeOffset : capacity - writeOffset;
  }
  void Clear() {
    bytes.clear();
    writeOffset = 0;
  }
  // An Add of `count` numbered bytes starting at `first`; the count taken.
  ULong Add(std::uint8_t first, ULong count) {
    if (capacity == 0 || count == 0) return 0;
    ULong const taken = count < capacity ? count : capacity;
    ULong const free = capacity - static_cast<ULong>(bytes.size());
    for (ULong i = 0; i < taken; ++i) bytes.push_back(static_cast<std::uint8_t>(first + i));
    writeOffset = (writeOffset + taken) % capacity;
    if (taken > free) {
      ULong const kept = capacity > 1 ? capacity - 1 : 1;
      while (bytes.size() > kept) bytes.pop_front();
    }
    return taken;
  }
  ULong Take(ULong count) const {
    return count < bytes.size() ? count : static_cast<ULong>(bytes.size());
  }
};

void FillNumbered(unsigned char* target, std::uint8_t first, ULong count) {
  for (ULong i = 0; i < count; ++i) target[i] = static_cast<std::uint8_t>(first + i);
}

void CheckFront(unsigned char const* got, RingModel const& model, ULong count) {
  for (ULong i = 0; i < count; ++i) FUZZ_CHECK(got[i] == model.bytes[i]);
}

void CompareRing(PIRingBuffer& ring, RingModel const& model) {
  ULong const size = static_cast<ULong>(model.bytes.size());
  FUZZ_CHECK(ring.GetSize() == model.capacity);
  FUZZ_CHECK(ring.GetOccupiedSpace() == size);
  FUZZ_CHECK(ring.GetAvailableSpace() == model.capacity - size);
  FUZZ_CHECK(ring.IsEmpty() == (size == 0));
  std::vector<unsigned char> all(kMaxRing + 1);
  FUZZ_CHECK(ring.Get(all.data(), static_cast<ULong>(all.size())) == size);
  CheckFront(all.data(), model, size);
}

void DriveRing(Input& input) {
  RingModel model;
  model.capacity = (input.Byte() | static_cast<ULong>(input.Byte()) << 8) % kMaxRing;
  PIRingBuffer ring(model.capacity);
  std::uint8_t next = 0;  // the number of the next byte stored
  std::vector<unsigned char> buffer(kMaxRing * 2);
  for (int step = 0; step < kMaxSteps && !input.Empty(); ++step) {
    std::uint8_t const op = input.Byte();
    ULong const count = input.Byte() % (kMaxRing + 20);
    ULong const capacity = model.capacity;
    switch (op % 10) {
      case 0: {  // Add from a buffer
        FillNumbered(buffer.data(), next, count);
        FUZZ_CHECK(ring.Add(buffer.data(), count) == model.Add(next, count));
        next = static_cast<std::uint8_t>(next + (count < capacity ? count : capacity));
        break;
      }
      case 1:
        FUZZ_CHECK(ring.Add(nullptr, count) == 0);
        break;
      case 2: {  // fill the stretch in place, then commit part of it
        unsigned char* area = nullptr;
        ULong stretch = 12345;
        ring.GetReadBuffer(&area, &stretch);
        FUZZ_CHECK(stretch == model.Stretch());
        if (stretch == 0) {
          FUZZ_CHECK(area == nullptr);
          break;
        }
        ULong const written = count % stretch + 1;
        FillNumbered(area, next, written);
        FUZZ_CHECK(ring.Add(written) == model.Add(next, written));
        next = static_cast<std::uint8_t>(next + written);
        break;
      }
      case 3: {
        ULong const expected = model.Take(count);
        FUZZ_CHECK(ring.Get(buffer.data(), count) == (capacity == 0 ? 0 : expected));
        CheckFront(buffer.data(), model, expected);
        break;
      }
      case 4: {
        ULong const expected = capacity == 0 || count == 0 ? 0 : model.Take(count);
        FUZZ_CHECK(ring.Remove(buffer.data(), count) == expected);
        CheckFront(buffer.data(), model, expected);
        model.bytes.erase(model.bytes.begin(), model.bytes.begin() + expected);
        break;
      }
      case 5:
        FUZZ_CHECK(ring.Remove(nullptr, count) == 0);
        FUZZ_CHECK(ring.Get(nullptr, count) == 0);
        break;
      case 6:
        ring.Remove(count);
        model.bytes.erase(model.bytes.begin(), model.bytes.begin() + model.Take(count));
        break;
      case 7: {
        ring.RemoveHead(count);
        ULong const dropped = model.Take(count);
        model.bytes.erase(model.bytes.end() - dropped, model.bytes.end());
        if (capacity != 0) model.writeOffset = (model.writeOffset + capacity - dropped) % capacity;
        break;
      }
      case 8:
        ring.ClearAll();
        model.Clear();
        break;
      case 9:
        FUZZ_CHECK(ring.SetSize(count % kMaxRing) == 1);
        model.capacity = count % kMaxRing;
        model.Clear();
        break;
    }
    CompareRing(ring, model);
  }
}

// A source of numbered bytes without end whose answers follow a script
// taken from the input: end of data, failure, time-out, bytes with a
// failure code, more bytes claimed than offered, or 1 to n bytes.
class ScriptedSource : public InputStream {
 public:
  explicit ScriptedSource(Input& input) : m_input(input) {}
  ULong Read(unsigned char* buffer, ULong length, ULong* bytesRead) override {
    ++calls;
    offered = length;
    FUZZ_CHECK(length > 0 && buffer != nullptr && bytesRead != nullptr);
    std::uint8_t const answer = m_input.Byte();
    ULong written = 0;
    ULong code = kStreamSuccess;
    switch (answer % 8) {
      case 0:
        code = kStreamEndOfData;
        break;
      case 1:
        code = kStreamFailure;
        break;
      case 2:
        code = kStreamTimeout;
        break;
      case 3:  // bytes, but a failure: the buffer must not keep them
        written = length;
        code = kStreamFailure;
        break;
      case 4:  // claims more than it was offered
        written = length;
        break;
      default:
        written = 1 + answer % length;
        break;
    }
    FillNumbered(buffer, next, written);
    next = static_cast<std::uint8_t>(next + written);
    *bytesRead = answer % 8 == 4 ? length + 1 + answer / 8 % 4 : written;
    lastCode = code;
    lastWritten = written;
    return code;
  }
  ULong Flush() override { return 0; }
  ULong EnableWait() override { return 0; }
  ULong WaitForData() override { return 0; }
  ULong DisableWait() override { return 0; }
  void Cancel() override {}
  void SetReadTimeout(Tevrol::Long) override {}
  Tevrol::Long GetReadTimeout() override { return 0; }

  int calls = 0;
  ULong offered = 0;
  ULong lastCode = 0;
  ULong lastWritten = 0;
  std::uint8_t next = 0;

 private:
  Input& m_input;
};

void DriveBufferedInput(Input& input) {
  unsigned const size = (input.Byte() | static_cast<unsigned>(input.Byte()) << 8) % (kMaxRing + 2);
  // The last value stands for a negative size: a ring of none.
  Tevrol::Long const asked = size == kMaxRing + 1 ? -5 : static_cast<Tevrol::Long>(size);
  ScriptedSource source(input);
  InputStreamBuffer stream(&source, asked);
  RingModel model;
  model.capacity = asked < 0 ? 0 : static_cast<ULong>(asked);
  std::vector<unsigned char> buffer(kMaxRing + 20);
  ULong bytesRead = 0;
  for (int step = 0; step < kMaxSteps && !input.Empty(); ++step) {
    std::uint8_t const op = input.Byte();
    switch (op % 6) {
      case 0:
      case 1:
      case 2: {
        ULong const length = 1 + input.Byte() % (kMaxRing + 19);
        int const callsBefore = source.calls;
        std::uint8_t const first = source.next;
        ULong const stretch = model.Stretch();
        bytesRead = 9999;
        ULong const code = stream.Read(buffer.data(), length, &bytesRead);
        ULong delivered = 0;
        if (model.capacity == 0) {
          FUZZ_CHECK(code == kStreamFailure && source.calls == callsBefore);
        } else if (!model.bytes.empty()) {
          FUZZ_CHECK(code == kStreamSuccess && source.calls == callsBefore);
          delivered = model.Take(length);
        } else {
          // One ask of the source, offered the whole stretch at the write offset.
          FUZZ_CHECK(source.calls == callsBefore + 1);
          FUZZ_CHECK(source.offered == stretch);
          FUZZ_CHECK(code == source.lastCode);
          if (code == kStreamSuccess) {
            model.Add(first, source.lastWritten);
            delivered = model.Take(length);
          }
        }
        FUZZ_CHECK(bytesRead == delivered);
        CheckFront(buffer.data(), model, delivered);
        model.bytes.erase(model.bytes.begin(), model.bytes.begin() + delivered);
        break;
      }
      case 3:
        FUZZ_CHECK(stream.Flush() == kStreamSuccess);
        model.Clear();
        break;
      case 4:
        FUZZ_CHECK(stream.Read(nullptr, 1, &bytesRead) == kStreamFailure);
        FUZZ_CHECK(stream.Read(buffer.data(), 1, nullptr) == kStreamFailure);
        break;
      case 5:
        FUZZ_CHECK(stream.EnableWait() == kStreamFailure);
        FUZZ_CHECK(stream.WaitForData() == kStreamFailure);
        FUZZ_CHECK(stream.DisableWait() == kStreamFailure);
        FUZZ_CHECK(stream.GetReadTimeout() == 5000);
        break;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Input input{data, size};
  if (input.Byte() % 2 == 0) {
    DriveRing(input);
  } else {
    DriveBufferedInput(input);
  }
  return 0;
}
