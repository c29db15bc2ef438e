// The task trace: a ring of records that the loops fill, and its export as
// Trace Event JSON.

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "file/FilePD.h"
#include "frame/text/JsonText.h"
#include "monitor/LoopProbe.h"

namespace detail {

namespace {

struct NamedThread {
  std::uint32_t id;
  bool loop;  // named after a loop
  char name[60];
};

// A hand-over in the ring, and whether its flow end was written.
struct FlowStart {
  std::uint64_t id;
  bool ended;
};

struct LoopName {
  std::uint32_t loop;
  char name[60];
};

// Guarded by its lock, a leaf: no other lock is taken while it is held.
class TraceRing {
 public:
  static TraceRing& Get() {
    static TraceRing* const s_ring = new TraceRing;  // hooks may outlive static destruction
    return *s_ring;
  }

  bool Start(Tevrol::ULong events) {
    if (events == 0) return false;
    auto* const records = new (std::nothrow) TraceRecord[events];
    if (records == nullptr) return false;
    m_lock.Lock();
    TraceRecord* const old = m_records;
    m_records = records;
    m_capacity = events;
    m_written = 0;
    m_on.store(true);
    m_lock.Unlock();
    delete[] old;
    return true;
  }

  void Stop() { m_on.store(false); }
  bool On() const { return m_on.load(std::memory_order_relaxed); }

  void Add(TraceRecord& record) {
    record.thread = ThreadNumber();
    m_lock.Lock();
    if (m_on.load(std::memory_order_relaxed) && m_records != nullptr) {
      m_records[m_written++ % m_capacity] = record;
    }
    m_lock.Unlock();
  }

  void NameThread(std::uint32_t loop, char const* name) {
    // Once a thread is named after its loop, each task of it costs this test.
    thread_local std::uint32_t t_namedAfter = 0;
    if (t_namedAfter == loop) return;
    t_namedAfter = loop;
    const std::uint32_t thread = ThreadNumber();
    m_lock.Lock();
    bool known = false;
    for (NamedThread& named : m_threads) {
      if (named.id == thread) {
        named.loop = true;
        std::snprintf(named.name, sizeof named.name, "%s", name);
        known = true;
      }
    }
    if (!known) {
      NamedThread named{thread, true, {}};
      std::snprintf(named.name, sizeof named.name, "%s", name);
      m_threads.push_back(named);
    }
    bool loopKnown = false;
    for (LoopName& entry : m_loops) {
      if (entry.loop == loop) {
        std::snprintf(entry.name, sizeof entry.name, "%s", name);
        loopKnown = true;
      }
    }
    if (!loopKnown) {
      LoopName entry{loop, {}};
      std::snprintf(entry.name, sizeof entry.name, "%s", name);
      m_loops.push_back(entry);
    }
    m_lock.Unlock();
  }

  // A copy of what was recorded, oldest first, with the names.
  void Snapshot(std::vector<TraceRecord>& records, std::vector<NamedThread>& threads,
                std::vector<LoopName>& loops) {
    m_lock.Lock();
    if (m_records != nullptr) {
      const std::uint64_t kept = m_written < m_capacity ? m_written : m_capacity;
      records.reserve(static_cast<std::size_t>(kept));
      for (std::uint64_t i = m_written - kept; i < m_written; ++i) {
        records.push_back(m_records[i % m_capacity]);
      }
    }
    threads = m_threads;
    loops = m_loops;
    m_lock.Unlock();
  }

 private:
  // Threads are numbered 1, 2, ... in the order they first record.
  std::uint32_t ThreadNumber() {
    thread_local std::uint32_t t_number = 0;
    if (t_number == 0) {
      m_lock.Lock();
      t_number = ++m_threadCount;
      m_lock.Unlock();
    }
    return t_number;
  }

  CriticalSection m_lock;
  std::atomic<bool> m_on{false};
  TraceRecord* m_records = nullptr;
  std::uint64_t m_capacity = 0;
  std::uint64_t m_written = 0;
  std::uint32_t m_threadCount = 0;
  std::vector<NamedThread> m_threads;
  std::vector<LoopName> m_loops;
};

void AppendNumber(std::string& out, std::uint64_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%" PRIu64, value);
  out += digits;
}

void AppendString(std::string& out, char const* text) {
  AppendJsonString(out, text, std::strlen(text));
}

// The metadata event that names a thread.
void AppendThreadName(std::string& out, std::uint32_t thread, char const* name) {
  out += ",\n{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":";
  AppendNumber(out, thread);
  out += ",\"args\":{\"name\":";
  AppendString(out, name);
  out += "}}";
}

// "pid", "tid" and "ts" of an event on `thread` at `ts`, with a leading comma.
void AppendPlace(std::string& out, std::uint32_t thread, std::uint64_t ts) {
  out += ",\"pid\":1,\"tid\":";
  AppendNumber(out, thread);
  out += ",\"ts\":";
  AppendNumber(out, ts);
}

char const* LoopNameOf(std::vector<LoopName> const& loops, std::uint32_t loop, char* fallback,
                       std::size_t size) {
  for (LoopName const& entry : loops) {
    if (entry.loop == loop) return entry.name;
  }
  std::snprintf(fallback, size, "loop %u", static_cast<unsigned>(loop));
  return fallback;
}

std::uint64_t FlowId(TraceRecord const& record) {
  return (std::uint64_t{record.loop} << 32) | record.queueId;
}

bool WriteAll(char const* path, std::string const& text) {
  const int descriptor = FilePD::Open(path, FilePD::kWriteNew, true);
  if (descriptor < 0) return false;
  std::size_t done = 0;
  bool ok = true;
  while (ok && done < text.size()) {
    const std::int64_t wrote = FilePD::Write(descriptor, text.data() + done, text.size() - done);
    ok = wrote > 0;
    if (ok) done += static_cast<std::size_t>(wrote);
  }
  return FilePD::Close(descriptor) == 0 && ok;
}

}  // namespace

bool TraceIsOn() {
  return TraceRing::Get().On();
}

void TraceAdd(TraceRecord& record) {
  TraceRing::Get().Add(record);
}

void TraceNameThread(std::uint32_t loop, char const* name) {
  TraceRing::Get().NameThread(loop, name);
}

bool TraceStart(Tevrol::ULong events) {
  return TraceRing::Get().Start(events);
}

void TraceStop() {
  TraceRing::Get().Stop();
}

bool TraceWrite(char const* path) {
  std::vector<TraceRecord> records;
  std::vector<NamedThread> threads;
  std::vector<LoopName> loops;
  TraceRing::Get().Snapshot(records, threads, loops);

  // A flow ends only where its start is still in the ring, and once.
  std::vector<FlowStart> started;
  for (TraceRecord const& record : records) {
    if (record.kind == TraceKind::HandOver) started.push_back({FlowId(record), false});
  }
  std::sort(started.begin(), started.end(),
            [](FlowStart const& a, FlowStart const& b) { return a.id < b.id; });

  std::string out = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n";
  out += "{\"name\":\"process_name\",\"ph\":\"M\",\"pid\":1,\"args\":{\"name\":\"TevrolDLL\"}}";
  // Threads that recorded without a loop's name get a number for a name.
  std::vector<NamedThread> named = threads;
  for (NamedThread const& thread : threads) AppendThreadName(out, thread.id, thread.name);
  for (TraceRecord const& record : records) {
    auto const same = [&](NamedThread const& thread) { return thread.id == record.thread; };
    if (std::find_if(named.begin(), named.end(), same) == named.end()) {
      named.push_back({record.thread, false, {}});
      char name[32];
      std::snprintf(name, sizeof name, "thread %u", static_cast<unsigned>(record.thread));
      AppendThreadName(out, record.thread, name);
    }
  }

  char fallback[32];
  for (TraceRecord const& record : records) {
    char const* const loop = LoopNameOf(loops, record.loop, fallback, sizeof fallback);
    const std::uint64_t flow = FlowId(record);
    std::string args = "{\"loop\":";
    AppendString(args, loop);
    args += ",\"queue_id\":";
    AppendNumber(args, record.queueId);
    args += ",\"priority\":";
    AppendNumber(args, record.priority);
    if (record.subject != nullptr) {
      char address[32];
      std::snprintf(address, sizeof address, "%p", record.subject);
      args += record.kind == TraceKind::Tick ? ",\"timer\":" : ",\"invokant\":";
      AppendString(args, address);
    }
    args += "}";

    char const* phase = nullptr;
    switch (record.kind) {
      case TraceKind::HandOver:
        // A slice of no length on the handing thread carries the flow's start.
        out += ",\n{\"name\":";
        AppendString(out, record.name);
        out += ",\"cat\":\"hand-over\",\"ph\":\"X\",\"dur\":0";
        AppendPlace(out, record.thread, record.start);
        out += ",\"args\":";
        out += args;
        out += "}";
        out += ",\n{\"name\":\"hand-over\",\"cat\":\"flow\",\"ph\":\"s\",\"id\":";
        AppendNumber(out, flow);
        AppendPlace(out, record.thread, record.start);
        out += "}";
        break;
      case TraceKind::Execute:
        phase = "Execute";
        break;
      case TraceKind::Dispose:
        phase = "Dispose";
        break;
      case TraceKind::Tick:
        phase = "Tick";
        break;
      case TraceKind::Invoked:
        phase = "Invoked";
        break;
      case TraceKind::Cancel:
      case TraceKind::Remove:
      case TraceKind::Shutdown:
        out += ",\n{\"name\":";
        AppendString(out, record.name);
        out += ",\"cat\":\"loop\",\"ph\":\"i\",\"s\":\"t\"";
        AppendPlace(out, record.thread, record.start);
        out += ",\"args\":";
        out += args;
        out += "}";
        break;
    }
    if (phase != nullptr) {
      out += ",\n{\"name\":";
      AppendString(out, record.kind == TraceKind::Tick      ? "Tick"
                        : record.kind == TraceKind::Invoked ? "Invoked"
                                                            : record.name);
      out += ",\"cat\":\"";
      out += phase;
      out += "\",\"ph\":\"X\",\"dur\":";
      AppendNumber(out, record.duration);
      AppendPlace(out, record.thread, record.start);
      out += ",\"args\":";
      out += args;
      out += "}";
      const bool outer = record.kind == TraceKind::Execute || record.kind == TraceKind::Dispose;
      const auto at =
          std::lower_bound(started.begin(), started.end(), flow,
                           [](FlowStart const& a, std::uint64_t id) { return a.id < id; });
      if (outer && at != started.end() && at->id == flow && !at->ended) {
        at->ended = true;
        out += ",\n{\"name\":\"hand-over\",\"cat\":\"flow\",\"ph\":\"f\",\"bp\":\"e\",\"id\":";
        AppendNumber(out, flow);
        AppendPlace(out, record.thread, record.start);
        out += "}";
      }
    }
    if (record.kind == TraceKind::HandOver || record.kind == TraceKind::Execute) {
      out += ",\n{\"name\":";
      char counter[80];
      std::snprintf(counter, sizeof counter, "queue %s", loop);
      AppendString(out, counter);
      out += ",\"ph\":\"C\",\"pid\":1,\"ts\":";
      AppendNumber(out, record.start);
      out += ",\"args\":{\"queued\":";
      AppendNumber(out, record.queueLength);
      out += "}}";
    }
  }
  out += "\n]}\n";
  return WriteAll(path, out);
}

}  // namespace detail
