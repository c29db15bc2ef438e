#include "timer/TimerList.h"

#include "threads/Tick.h"

TimerList::TimerList() : m_list(32) {}

TimerList::~TimerList() {
  RemoveAll();
}

bool TimerList::Contains(TimerContextInterface const* context) const {
  return Find(context) != nullptr;
}

bool TimerList::Add(TimerContextInterface* context, Tevrol::Tick now) {
  if (Find(context) != nullptr) {
    return false;
  }
  const Tevrol::Tick deadline = now + context->GetIntervall();
  context->SetTimeout(deadline);
  Node* const before = PlaceBefore(deadline);
  Node* const node = static_cast<Node*>(m_list.InsertBefore(before, Entry{context, deadline}));
  if (node->m_prev != nullptr && node->m_next != nullptr) {
    SubtractStep(node->m_prev, node->m_next);
  }
  if (node->m_prev != nullptr) {
    AddStep(node->m_prev, node);
  }
  if (node->m_next != nullptr) {
    AddStep(node, node->m_next);
  }
  IndexInsert(context, node);
  return true;
}

bool TimerList::Remove(TimerContextInterface* context) {
  Node* const node = Find(context);
  if (node == nullptr) {
    return false;
  }
  Unlink(node);
  return true;
}

TimerContextInterface* TimerList::PickDue(Tevrol::Tick now) {
  Node* const head = m_list.m_head;
  if (head == nullptr || detail::TickIsLater(head->m_value.m_deadline, now)) {
    return nullptr;
  }
  TimerContextInterface* const context = head->m_value.m_context;
  Unlink(head);
  if (context->GetCyclic()) {
    Add(context, now);
  }
  return context;
}

void TimerList::RemoveAll() {
  m_list.RemoveAll();
  m_stepSum = 0;
  m_backSteps = 0;
  delete[] m_slots;
  m_slots = nullptr;
  m_slotCount = 0;
  m_hashShift = 64;
}

TimerList::Node* TimerList::Find(TimerContextInterface const* context) const {
  if (m_slotCount == 0) {
    return nullptr;
  }
  const std::size_t mask = m_slotCount - 1;
  for (std::size_t i = HomeSlot(context);; i = (i + 1) & mask) {
    if (m_slots[i].m_context == context) {
      return m_slots[i].m_node;
    }
    if (m_slots[i].m_context == nullptr) {
      return nullptr;
    }
  }
}

// The node to insert before; null for the tail.
TimerList::Node* TimerList::PlaceBefore(Tevrol::Tick deadline) const {
  if (m_list.m_head == nullptr) {
    return nullptr;
  }
  // With the deadlines ordered in a window that starts at the head, a new one
  // less than 2^31 after the head keeps the window shorter than 2^31: both
  // ends then find the same place, so start at the nearer one.
  const std::uint32_t ahead = deadline - m_list.m_head->m_value.m_deadline;
  if (IsWindowOrdered() && ahead < kHalfRange && ahead > m_stepSum / 2) {
    // Behind the last entry, from the tail, that is not later.
    Node* after = m_list.m_tail;
    while (after != nullptr && detail::TickIsLater(after->m_value.m_deadline, deadline)) {
      after = after->m_prev;
    }
    return after != nullptr ? after->m_next : m_list.m_head;
  }
  // Before the first entry, from the head, that is strictly later: new minus
  // entry below 0, exactly as the order is defined, ordered or not.
  Node* before = m_list.m_head;
  while (before != nullptr && detail::TickDifference(deadline, before->m_value.m_deadline) >= 0) {
    before = before->m_next;
  }
  return before;
}

void TimerList::Unlink(Node* node) {
  const bool first = node == m_list.m_head;
  const bool last = node == m_list.m_tail;
  if (!first) {
    SubtractStep(node->m_prev, node);
  }
  if (!last) {
    SubtractStep(node, node->m_next);
  }
  if (!first && !last) {
    AddStep(node->m_prev, node->m_next);
  }
  IndexErase(node->m_value.m_context);
  m_list.RemoveAt(node);
}

void TimerList::AddStep(Node const* from, Node const* to) {
  const std::uint32_t step = to->m_value.m_deadline - from->m_value.m_deadline;
  m_stepSum += step;
  m_backSteps += step >= kHalfRange ? 1 : 0;
}

void TimerList::SubtractStep(Node const* from, Node const* to) {
  const std::uint32_t step = to->m_value.m_deadline - from->m_value.m_deadline;
  m_stepSum -= step;
  m_backSteps -= step >= kHalfRange ? 1 : 0;
}

// Fibonacci hashing: the top bits of the address times 2^64 / phi.
std::size_t TimerList::HomeSlot(TimerContextInterface const* context) const {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(context));
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15u) >> m_hashShift);
}

void TimerList::IndexInsert(TimerContextInterface const* context, Node* node) {
  // m_list.m_count already counts the new node.
  const auto count = static_cast<std::size_t>(m_list.m_count);
  if (count * 2 > m_slotCount) {
    Rehash(m_slotCount == 0 ? kMinSlots : m_slotCount * 2);
  }
  const std::size_t mask = m_slotCount - 1;
  std::size_t i = HomeSlot(context);
  while (m_slots[i].m_context != nullptr) {
    i = (i + 1) & mask;
  }
  m_slots[i] = Slot{context, node};
}

// Linear probing with backward shift: no tombstones, so lookups stay short
// however often entries come and go.
void TimerList::IndexErase(TimerContextInterface const* context) {
  const std::size_t mask = m_slotCount - 1;
  std::size_t hole = HomeSlot(context);
  while (m_slots[hole].m_context != context) {
    hole = (hole + 1) & mask;
  }
  for (std::size_t next = (hole + 1) & mask; m_slots[next].m_context != nullptr;
       next = (next + 1) & mask) {
    // An entry may fill the hole unless its home lies after the hole, up to
    // where it stands.
    const std::size_t home = HomeSlot(m_slots[next].m_context);
    const bool stays = hole <= next ? (hole < home && home <= next) : (hole < home || home <= next);
    if (!stays) {
      m_slots[hole] = m_slots[next];
      hole = next;
    }
  }
  m_slots[hole] = Slot{nullptr, nullptr};
  // m_list.m_count still counts the node being removed.
  const auto remaining = static_cast<std::size_t>(m_list.m_count) - 1;
  if (m_slotCount > kMinSlots && remaining * 8 < m_slotCount) {
    Rehash(m_slotCount / 2);
  }
}

void TimerList::Rehash(std::size_t slotCount) {
  Slot* const old = m_slots;
  const std::size_t oldCount = m_slotCount;
  m_slots = new Slot[slotCount]();  // not checked, like the list's node blocks
  m_slotCount = slotCount;
  m_hashShift = 64;
  for (std::size_t n = slotCount; n > 1; n >>= 1) {
    --m_hashShift;
  }
  const std::size_t mask = m_slotCount - 1;
  for (std::size_t j = 0; j < oldCount; ++j) {
    if (old[j].m_context == nullptr) {
      continue;
    }
    std::size_t i = HomeSlot(old[j].m_context);
    while (m_slots[i].m_context != nullptr) {
      i = (i + 1) & mask;
    }
    m_slots[i] = old[j];
  }
  delete[] old;
}
