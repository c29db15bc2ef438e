#ifndef TEVROL_FRAME_CONTAINERS_PILIST_H
#define TEVROL_FRAME_CONTAINERS_PILIST_H

#include <type_traits>

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIObjectExtL.h"

// A position in a PIList: a pointer to one of its nodes. Every CNode is a
// __PI_POS, so a node found while walking the list is a position as it is.
struct __PI_POS {};  // NOLINT(bugprone-reserved-identifier)

// A doubly linked list of TYPE, handed into operations as ARG_TYPE, guarded
// by the lock that SetLock gives it (none with NullLocking: not thread-safe).
//
// Nodes come from blocks of m_blockSize nodes, one allocation each; a
// removed node goes to m_freeList, and memory goes back only as whole blocks,
// in RemoveAll. A list that becomes empty runs RemoveAll, so its blocks go
// back and the next insertion allocates a new block.
//
// Owners walk the list through the public fields: from m_head along
// CNode::m_next. A walk may remove the node it stands on, after it has read
// that node's m_next (removal reuses the field).
//
// Elements are never destroyed, only zeroed and overwritten: TYPE is a plain
// type (a pointer or an integer); the list owns nothing it points to.
// The bool parameter has no effect (true in every instantiation).
template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
class PIListExtL : public PIObjectExtL<LockType> {
  static_assert(std::is_trivially_destructible<TYPE>::value,
                "PIList frees its nodes as whole blocks and never destroys an element: "
                "hold plain types");

 public:
  struct CNode : __PI_POS {
    TYPE m_value;
    CNode* m_next;
    CNode* m_prev;
  };

  // A block of no nodes could never serve one: sizes below 1 take 10.
  explicit PIListExtL(Tevrol::Long blockSize = 10) : m_blockSize(blockSize > 0 ? blockSize : 10) {}
  PIListExtL(PIListExtL const&) = delete;
  PIListExtL& operator=(PIListExtL const&) = delete;
  ~PIListExtL() override { RemoveAll(); }

  // Takes a node from m_freeList (allocating a block first when it is
  // empty), sets its links to `prev` and `next`, counts it and zeroes its
  // value. The caller stores the value and links the neighbours to it.
  CNode* NewNode(CNode* prev, CNode* next);

  __PI_POS* AddTail(ARG_TYPE value);
  __PI_POS* AddHead(ARG_TYPE value);
  // A null position, the one past the tail, appends.
  __PI_POS* InsertBefore(__PI_POS* position, ARG_TYPE value);
  // Takes the first node out and returns its value; an empty list gives a
  // zero value and changes nothing.
  TYPE RemoveHead();
  // Takes the node out; when it was the last one, runs RemoveAll.
  void RemoveAt(__PI_POS* position);
  // Empties the list and frees all node blocks.
  void RemoveAll();
  // The first node, walking from the head, whose value equals `value`.
  __PI_POS* Find(ARG_TYPE value) const;

  CNode* m_head = nullptr;  // both null when the list is empty
  CNode* m_tail = nullptr;
  Tevrol::Long m_count = 0;     // nodes in the list
  CNode* m_freeList = nullptr;  // nodes ready for use, linked through m_next
  void* m_blocks = nullptr;     // the last block allocated; each links the one before
  Tevrol::Long m_blockSize;     // nodes a block
};

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
typename PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::CNode*
PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::NewNode(CNode* prev, CNode* next) {
  if (m_freeList == nullptr) {
    m_freeList = PIDetail::NewNodeBlock<CNode, Alloc>(m_blocks, m_blockSize, m_freeList);
  }
  CNode* const node = m_freeList;
  m_freeList = node->m_next;
  node->m_prev = prev;
  node->m_next = next;
  ++m_count;
  node->m_value = TYPE();
  return node;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
__PI_POS* PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::AddTail(ARG_TYPE value) {
  CNode* const node = NewNode(m_tail, nullptr);
  node->m_value = value;
  if (m_tail != nullptr) {
    m_tail->m_next = node;
  } else {
    m_head = node;
  }
  m_tail = node;
  return node;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
__PI_POS* PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::AddHead(ARG_TYPE value) {
  CNode* const node = NewNode(nullptr, m_head);
  node->m_value = value;
  if (m_head != nullptr) {
    m_head->m_prev = node;
  } else {
    m_tail = node;
  }
  m_head = node;
  return node;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
__PI_POS* PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::InsertBefore(__PI_POS* position,
                                                                          ARG_TYPE value) {
  if (position == nullptr) {
    return AddTail(value);
  }
  CNode* const before = static_cast<CNode*>(position);
  CNode* const node = NewNode(before->m_prev, before);
  node->m_value = value;
  if (before->m_prev != nullptr) {
    before->m_prev->m_next = node;
  } else {
    m_head = node;
  }
  before->m_prev = node;
  return node;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
TYPE PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::RemoveHead() {
  if (m_head == nullptr) {
    return TYPE();
  }
  TYPE const value = m_head->m_value;
  RemoveAt(m_head);
  return value;
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
void PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::RemoveAt(__PI_POS* position) {
  // A null position names no node: nothing to take out.
  if (position == nullptr) {
    return;
  }
  CNode* const node = static_cast<CNode*>(position);
  if (node == m_head) {
    m_head = node->m_next;
  } else {
    node->m_prev->m_next = node->m_next;
  }
  if (node == m_tail) {
    m_tail = node->m_prev;
  } else {
    node->m_next->m_prev = node->m_prev;
  }
  node->m_next = m_freeList;
  m_freeList = node;
  --m_count;
  if (m_count == 0) {
    RemoveAll();
  }
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
void PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::RemoveAll() {
  m_head = nullptr;
  m_tail = nullptr;
  m_count = 0;
  m_freeList = nullptr;
  PIDetail::FreeNodeBlocks<Alloc>(m_blocks);
}

template <class TYPE, class ARG_TYPE, class LockType, class Alloc, bool Flag>
__PI_POS* PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, Flag>::Find(ARG_TYPE value) const {
  for (CNode* node = m_head; node != nullptr; node = node->m_next) {
    if (node->m_value == value) {
      return node;
    }
  }
  return nullptr;
}

// The list with a lock object of its own. SetLock does nothing, so the list
// keeps that lock.
template <class TYPE, class ARG_TYPE, class LockType, class Alloc>
class PIList : public PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, true> {
 public:
  explicit PIList(Tevrol::Long blockSize = 10)
      : PIListExtL<TYPE, ARG_TYPE, LockType, Alloc, true>(blockSize) {
    this->m_lock = &m_lockObject;
  }
  ~PIList() override { this->m_lock = nullptr; }

  void SetLock(LockType* /*lock*/) override {}

 private:
  LockType m_lockObject;
};

#endif
