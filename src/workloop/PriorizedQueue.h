#ifndef TEVROL_WORKLOOP_PRIORIZEDQUEUE_H
#define TEVROL_WORKLOOP_PRIORIZEDQUEUE_H

#include <cstdint>
#include <vector>

#include "frame/TevrolTypes.h"
#include "workloop/QueuedTask.h"

// The priority queue of a work loop, without walking it.
//
// The loop's rules: a record enters behind every record whose effective
// priority is not lower; every pass takes the head, then adds its age (1, 2,
// 3, ...) to the effective priority of every waiting record, saturating at
// 0xFFFFFFFF, and moves a record forward only past strictly lower ones. So
// after k ageing passes a record stands at min(priority + k(k+1)/2, ceiling),
// the queue is sorted by that value, descending, and two records of one
// priority never change places. The queue is therefore a merge of one
// first-in-first-out lane per priority value, and the next record is the
// head of one lane. Which one follows from the two records' histories alone:
// the higher value now, and on a tie the one that was ahead when their values
// last differed. For two records that entered at passes tA < tB, the older
// one's lead grows by tB - tA every pass, so (see IsAhead):
// - below the ceiling, a tie at the pass of entry leaves the newcomer behind,
//   and a later tie leaves the younger record ahead (it led a pass before);
// - at the ceiling, the record that reached it first stays ahead, and two
//   that reached it in the same pass keep the order of the pass before.
// A pass costs O(lanes), an insertion O(1) for a priority whose bucket of a
// small table remembers its lane; lanes live in their first record, so
// nothing here allocates.
//
// "Pass" counts ageing passes of the loop (64 bits: it never wraps). No lock:
// the loop's m_lock guards it.
class PriorizedQueue {
 public:
  using Record = WorkLoopQueuedTask;
  static constexpr std::uint32_t kCeiling = 0xFFFFFFFFu;

  PriorizedQueue();
  PriorizedQueue(PriorizedQueue const&) = delete;
  PriorizedQueue& operator=(PriorizedQueue const&) = delete;

  bool IsEmpty() const { return m_lanes == nullptr; }
  // Enters `record` (m_priority set) with age 0 after `pass` passes. True if
  // the queue was empty.
  bool Insert(Record* record, std::uint64_t pass);
  // The record that runs next, or null.
  Record* Head(std::uint64_t pass) const;
  void Unlink(Record* record);
  // The first record with `id` in queue order, or null.
  Record* FindById(Tevrol::ULong id, std::uint64_t pass) const;
  // Calls f(record) on every record, lanes one after the other; f may unlink
  // the record it is given, and nothing else.
  template <class F>
  void ForEachUnordered(F f) {
    for (Record* lane = m_lanes; lane != nullptr;) {
      Record* const nextLane = lane->m_laneNext;  // stays a lane head meanwhile
      for (Record* record = lane; record != nullptr;) {
        Record* const next = record->m_next;
        f(record);
        record = next;
      }
      lane = nextLane;
    }
  }
  // The records in queue order (for tests; allocates).
  std::vector<Record*> InOrder(std::uint64_t pass) const;

  // What the loop's rules give for `record` after `pass` passes.
  static std::uint32_t EffectivePriority(Record const* record, std::uint64_t pass);
  // True if `a` stands before `b`; they have different priorities.
  static bool IsAhead(Record const* a, Record const* b, std::uint64_t pass);

 private:
  static constexpr unsigned kBucketBits = 5;
  static unsigned BucketOf(std::uint32_t priority) {
    return (priority * 2654435761u) >> (32 - kBucketBits);
  }
  // The lane of `priority`, or null: first through its bucket, which
  // remembers one lane head (or null), then along the lanes.
  Record* FindLane(std::uint32_t priority);
  // Puts `newHead` (null: none) in the place of the lane head `oldHead`.
  void ReplaceLaneHead(Record* oldHead, Record* newHead);

  Record* m_lanes;  // first record of the first lane; lanes in no particular order
  Record* m_buckets[1u << kBucketBits];  // each a lane head, or null
};

#endif
