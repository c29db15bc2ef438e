#ifndef TEVROL_TIMER_TIMERLIST_H
#define TEVROL_TIMER_TIMERLIST_H

#include <cstddef>
#include <cstdint>

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIObjectExtL.h"
#include "timer/TimerContextInterface.h"

// The registered contexts of the timer service, sorted by deadline, with an
// index from context to list node. No lock: the service guards it with its
// list lock. The clock is the caller's, passed in.
//
// Order: ascending deadline under detail::TickDifference, equal deadlines in
// insertion order. A new entry goes before the first entry, from the head,
// whose deadline is strictly later than its own, else at the tail. When all
// deadlines, the new one included, lie in one window shorter than 2^31 ms,
// the signed difference is a total order on them, and a search from the tail
// finds the same place: then the place is searched from the nearer end, the
// tail for the usual new timer, which has the latest deadline. Deadlines
// 2^31 ms or more apart (intervals of 2^31 ms or more, timers long overdue)
// are not ordered so, and the place is searched from the head, as the order
// is defined.
//
// Each entry keeps the deadline it was armed with: the service alone writes
// a registered context's deadline, and the order depends on nothing else.
//
// Registration is a hash lookup. The index is an open-addressing table over
// the list's nodes that grows and shrinks geometrically, so a steady state of
// Add and Remove with a constant number of entries allocates nothing; nodes
// come from the list's blocks, which an emptied list gives back.
class TimerList {
 public:
  struct Entry {
    TimerContextInterface* m_context;
    Tevrol::Tick m_deadline;
  };
  using List = PIList<Entry, Entry const&, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;
  using Node = List::CNode;

  TimerList();
  ~TimerList();
  TimerList(TimerList const&) = delete;
  TimerList& operator=(TimerList const&) = delete;

  bool Contains(TimerContextInterface const* context) const;
  // Arms an unregistered context (SetTimeout(now + GetIntervall()), modulo
  // 2^32) and inserts it; true. A registered one keeps its deadline; false.
  bool Add(TimerContextInterface* context, Tevrol::Tick now);
  // Takes the context out; whether it was registered.
  bool Remove(TimerContextInterface* context);
  // The head, if its deadline is not later than `now`: taken out and, when
  // cyclic, armed again from `now` before the caller runs its Tick. Null when
  // nothing is due.
  TimerContextInterface* PickDue(Tevrol::Tick now);
  // Empties the list and gives back its node blocks and the index.
  void RemoveAll();

  bool IsEmpty() const { return m_list.m_head == nullptr; }
  // Only when not empty.
  Tevrol::Tick HeadDeadline() const { return m_list.m_head->m_value.m_deadline; }
  Tevrol::Long GetCount() const { return m_list.m_count; }
  // From the head along m_next.
  Node const* GetFirst() const { return m_list.m_head; }
  // Whether the deadlines lie in order within one window shorter than 2^31 ms,
  // so that a new deadline in that window may be placed from the tail.
  bool IsWindowOrdered() const { return m_backSteps == 0 && m_stepSum < kHalfRange; }

 private:
  struct Slot {
    TimerContextInterface const* m_context;  // null: free
    Node* m_node;
  };
  static constexpr std::uint64_t kHalfRange = std::uint64_t{1} << 31;
  static constexpr std::size_t kMinSlots = 16;

  Node* Find(TimerContextInterface const* context) const;
  Node* PlaceBefore(Tevrol::Tick deadline) const;
  void Unlink(Node* node);
  // The gap from one deadline to the next, forward modulo 2^32.
  void AddStep(Node const* from, Node const* to);
  void SubtractStep(Node const* from, Node const* to);

  std::size_t HomeSlot(TimerContextInterface const* context) const;
  void IndexInsert(TimerContextInterface const* context, Node* node);
  void IndexErase(TimerContextInterface const* context);
  void Rehash(std::size_t slotCount);

  List m_list;
  // The steps between neighbours: their sum, and how many go backwards
  // (2^31 or more forward). With none backwards and a sum below 2^31 every
  // deadline lies within that sum after the head's, in list order.
  std::uint64_t m_stepSum = 0;
  std::size_t m_backSteps = 0;
  Slot* m_slots = nullptr;  // a power of two of them, at most half in use
  std::size_t m_slotCount = 0;
  unsigned m_hashShift = 64;  // 64 - log2(m_slotCount)
};

#endif
