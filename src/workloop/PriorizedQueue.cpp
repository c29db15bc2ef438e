#include "workloop/PriorizedQueue.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace {

using Record = PriorizedQueue::Record;

// Past this many passes every record stands at the ceiling (92682 * 92683 / 2
// exceeds 2^32), so ages are capped here to keep the sums in 64 bits.
constexpr std::uint64_t kAgeCap = 92682;

std::uint64_t Triangle(std::uint64_t n) {
  n = std::min(n, kAgeCap);
  return n * (n + 1) / 2;
}

// The value without the ceiling after `age` ageing passes.
std::uint64_t Unbounded(std::uint32_t priority, std::uint64_t age) {
  return priority + Triangle(age);
}

std::uint32_t Bounded(std::uint32_t priority, std::uint64_t age) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(Unbounded(priority, age), PriorizedQueue::kCeiling));
}

// The first age at which `priority` reaches the ceiling: kAgeCap for every
// priority below 37074, where even 92681 passes fall short.
std::uint64_t AgeAtCeiling(std::uint32_t priority) {
  const std::uint64_t gap = PriorizedQueue::kCeiling - priority;
  if (gap > Triangle(kAgeCap - 1)) {
    return kAgeCap;
  }
  auto n =
      static_cast<std::uint64_t>((std::sqrt(8.0 * static_cast<double>(gap) + 1.0) - 1.0) / 2.0);
  while (Triangle(n) < gap) ++n;
  while (n > 0 && Triangle(n - 1) >= gap) --n;
  return n;
}

// `older` entered strictly before `younger`; both are waiting at `pass`.
// The ages at which their priorities reach the ceiling come from `ceilingAge`.
template <class CeilingAge>
bool OlderIsAhead(Record const* older, Record const* younger, std::uint64_t pass,
                  CeilingAge ceilingAge) {
  const std::uint64_t lead = younger->m_enteredPass - older->m_enteredPass;
  const std::uint64_t age = pass - younger->m_enteredPass;
  const std::uint32_t a = Bounded(older->m_priority, age + lead);
  const std::uint32_t b = Bounded(younger->m_priority, age);
  if (a != b) {
    return a > b;
  }
  if (a != PriorizedQueue::kCeiling) {
    // The older one gains `lead` a pass: a tie now means the younger one led
    // the pass before, unless it entered in this very pass.
    return age == 0;
  }
  const std::uint64_t olderAt = older->m_enteredPass + ceilingAge(older);
  const std::uint64_t youngerAt = younger->m_enteredPass + ceilingAge(younger);
  if (olderAt != youngerAt) {
    return olderAt < youngerAt;
  }
  if (olderAt == younger->m_enteredPass) {
    return true;  // the younger one entered at the ceiling, behind the older
  }
  // Both reached it in one pass: the order of the pass before stands.
  const std::uint64_t before = olderAt - 1 - younger->m_enteredPass;
  const std::uint64_t x = Unbounded(older->m_priority, before + lead);
  const std::uint64_t y = Unbounded(younger->m_priority, before);
  return x != y ? x > y : before == 0;
}

}  // namespace

PriorizedQueue::PriorizedQueue() : m_lanes(nullptr), m_buckets() {}

std::uint32_t PriorizedQueue::EffectivePriority(Record const* record, std::uint64_t pass) {
  return Bounded(record->m_priority, pass - record->m_enteredPass);
}

namespace {

template <class CeilingAge>
bool IsAheadWith(Record const* a, Record const* b, std::uint64_t pass, CeilingAge ceilingAge) {
  if (a->m_enteredPass == b->m_enteredPass) {
    return a->m_priority > b->m_priority;  // aged alike: the higher stays ahead
  }
  return a->m_enteredPass < b->m_enteredPass ? OlderIsAhead(a, b, pass, ceilingAge)
                                             : !OlderIsAhead(b, a, pass, ceilingAge);
}

}  // namespace

bool PriorizedQueue::IsAhead(Record const* a, Record const* b, std::uint64_t pass) {
  return IsAheadWith(a, b, pass, [](Record const* r) { return AgeAtCeiling(r->m_priority); });
}

PriorizedQueue::Record* PriorizedQueue::FindLane(std::uint32_t priority) {
  Record*& cached = m_buckets[BucketOf(priority)];
  if (cached != nullptr && cached->m_priority == priority) {
    return cached;
  }
  Record* lane = m_lanes;
  while (lane != nullptr && lane->m_priority != priority) {
    lane = lane->m_laneNext;
  }
  if (lane != nullptr) {
    cached = lane;
  }
  return lane;
}

bool PriorizedQueue::Insert(Record* record, std::uint64_t pass) {
  const bool wasEmpty = m_lanes == nullptr;
  record->m_enteredPass = pass;
  record->m_next = nullptr;
  Record* const lane = FindLane(record->m_priority);
  if (lane != nullptr) {
    // Behind every record of its priority: they entered no later.
    record->m_prev = lane->m_laneTail;
    lane->m_laneTail->m_next = record;
    lane->m_laneTail = record;
    return wasEmpty;
  }
  record->m_prev = nullptr;
  record->m_laneTail = record;
  record->m_laneNext = m_lanes;
  m_lanes = record;
  m_buckets[BucketOf(record->m_priority)] = record;
  return wasEmpty;
}

PriorizedQueue::Record* PriorizedQueue::Head(std::uint64_t pass) const {
  Record* best = m_lanes;
  if (best == nullptr) {
    return nullptr;
  }
  for (Record* lane = best->m_laneNext; lane != nullptr; lane = lane->m_laneNext) {
    if (IsAhead(lane, best, pass)) {
      best = lane;
    }
  }
  return best;
}

void PriorizedQueue::ReplaceLaneHead(Record* oldHead, Record* newHead) {
  Record** link = &m_lanes;
  while (*link != oldHead) {
    link = &(*link)->m_laneNext;
  }
  Record*& cached = m_buckets[BucketOf(oldHead->m_priority)];
  if (cached == oldHead) {
    cached = newHead;
  }
  if (newHead == nullptr) {
    *link = oldHead->m_laneNext;
    return;
  }
  *link = newHead;
  newHead->m_laneTail = oldHead->m_laneTail;
  newHead->m_laneNext = oldHead->m_laneNext;
}

void PriorizedQueue::Unlink(Record* record) {
  if (record->m_prev == nullptr) {
    // The first record of its lane.
    Record* const next = record->m_next;
    if (next != nullptr) {
      next->m_prev = nullptr;
    }
    ReplaceLaneHead(record, next);
  } else {
    record->m_prev->m_next = record->m_next;
    if (record->m_next != nullptr) {
      record->m_next->m_prev = record->m_prev;
    } else {
      FindLane(record->m_priority)->m_laneTail = record->m_prev;
    }
  }
  record->m_next = nullptr;
  record->m_prev = nullptr;
}

PriorizedQueue::Record* PriorizedQueue::FindById(Tevrol::ULong id, std::uint64_t pass) const {
  // The first match of each lane; of those, the one ahead. (Ids repeat only
  // after 2^32 hand-overs.)
  Record* found = nullptr;
  for (Record* lane = m_lanes; lane != nullptr; lane = lane->m_laneNext) {
    for (Record* record = lane; record != nullptr; record = record->m_next) {
      if (record->m_queueId == id) {
        if (found == nullptr || IsAhead(record, found, pass)) {
          found = record;
        }
        break;
      }
    }
  }
  return found;
}

std::vector<PriorizedQueue::Record*> PriorizedQueue::InOrder(std::uint64_t pass) const {
  // Lanes merged two at a time: each lane is in order, and of two records of
  // different lanes IsAhead tells which stands first.
  std::vector<std::vector<Record*>> runs;
  for (Record* lane = m_lanes; lane != nullptr; lane = lane->m_laneNext) {
    runs.emplace_back();
    for (Record* record = lane; record != nullptr; record = record->m_next) {
      runs.back().push_back(record);
    }
  }
  while (runs.size() > 1) {
    std::vector<std::vector<Record*>> merged;
    for (size_t i = 0; i + 1 < runs.size(); i += 2) {
      std::vector<Record*> out;
      std::merge(runs[i].begin(), runs[i].end(), runs[i + 1].begin(), runs[i + 1].end(),
                 std::back_inserter(out),
                 [pass](Record const* a, Record const* b) { return IsAhead(a, b, pass); });
      merged.push_back(std::move(out));
    }
    if (runs.size() % 2 != 0) merged.push_back(std::move(runs.back()));
    runs.swap(merged);
  }
  return runs.empty() ? std::vector<Record*>() : runs.front();
}
