#ifndef TEVROL_WORKLOOP_SIMPLEOBJECTPOOLBASE_H
#define TEVROL_WORKLOOP_SIMPLEOBJECTPOOLBASE_H

#include <cstddef>
#include <cstdint>
#include <new>

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIArray.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIObjectExtL.h"

// Selects the heap of a pool; carries no data.
struct TevrolMultiThreadAllocDescriptor {};

// An empty heap object: blocks come from operator new all the same.
template <class Descriptor>
struct DefaultHeap {};

// One block of a pool: the address of its first record and how many it holds.
template <class T>
struct AllocatedBlock {
  T* m_first;
  Tevrol::ULong m_count;
};

// A pool of fixed-size records T (plain records with m_next and m_prev),
// allocated in blocks: 64 records first, then 32 at a time, never given back
// while the pool lives. Reuse is first in, first out: a record taken back
// goes behind all free ones, and a fresh block is handed out from its lowest
// address up. Taking a record back twice, or a pointer that never came from
// the pool, has no effect.
//
// Whether a record is handed out is a flag kept in its block, behind the
// records, so that Alloc and Free allocate nothing but the free list's node
// blocks: in the steady state (fewer records out than in the pool) nothing.
//
// No lock of its own: the owner guards it.
// BlockAlloc names the descriptor of the block memory; blocks come from
// operator new whatever it is.
template <class T, class Heap, class BlockAlloc>
class SimpleObjectPoolBase {
 public:
  using FreeList =
      PIList<T*, T*, NullLocking, PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;
  using Blocks = PIArray<AllocatedBlock<T>, AllocatedBlock<T> const&, NullLocking,
                         PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator>>;

  SimpleObjectPoolBase() : m_heap(new Heap) {}
  // Records still handed out vanish with their blocks; no record destructor runs.
  ~SimpleObjectPoolBase() {
    m_freeList.RemoveAll();
    for (Tevrol::Long i = 0; i < m_blocks.GetSize(); ++i) {
      ::operator delete(static_cast<void*>(m_blocks[i].m_first));
    }
    m_blocks.SetSize(0);
    if (m_ownsHeap) {
      delete m_heap;
    }
  }
  SimpleObjectPoolBase(SimpleObjectPoolBase const&) = delete;
  SimpleObjectPoolBase& operator=(SimpleObjectPoolBase const&) = delete;

  // A record with m_next and m_prev null and its other fields as they were,
  // or null when a new block cannot be allocated.
  T* Alloc() {
    if (m_freeList.m_count == 0 && !AddBlock()) {
      return nullptr;
    }
    T* record = m_freeList.RemoveHead();  // an emptied list gives its node blocks back
    *HandedOutFlag(record) = true;
    record->m_next = nullptr;
    record->m_prev = nullptr;
    return record;
  }

  void Free(T* record) {
    bool* handedOut = HandedOutFlag(record);
    if (handedOut == nullptr || !*handedOut) {
      return;
    }
    m_freeList.AddTail(record);
    *handedOut = false;
  }

  // Records of all blocks together.
  Tevrol::ULong GetCapacity() const {
    Tevrol::ULong capacity = 0;
    for (Tevrol::Long i = 0; i < m_blocks.GetSize(); ++i) capacity += m_blocks.GetAt(i).m_count;
    return capacity;
  }

  Tevrol::ULong m_growCount = 32;   // records in each block after the first
  Tevrol::ULong m_firstCount = 64;  // records in the first block
  bool m_ownsHeap = true;
  Heap* m_heap;
  FreeList m_freeList;
  Blocks m_blocks;

 private:
  // A block is the records followed by one handed-out flag per record.
  bool AddBlock() {
    const Tevrol::ULong count = m_blocks.GetSize() == 0 ? m_firstCount : m_growCount;
    void* memory = ::operator new(count*(sizeof(T) + sizeof(bool)), std::nothrow);
    if (memory == nullptr) {
      return false;
    }
    T* records = static_cast<T*>(memory);
    bool* flags = reinterpret_cast<bool*>(records + count);
    for (Tevrol::ULong i = 0; i < count; ++i) {
      ::new (static_cast<void*>(records + i)) T();
      flags[i] = false;
      m_freeList.AddTail(records + i);
    }
    m_blocks.Add(AllocatedBlock<T>{records, count});
    return true;
  }

  // The flag of a record of this pool, or null for any other pointer: the
  // address must lie in a block, on a record boundary.
  bool* HandedOutFlag(T const* record) const {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(record);
    for (Tevrol::Long i = 0; i < m_blocks.GetSize(); ++i) {
      AllocatedBlock<T> const& block = m_blocks.GetAt(i);
      const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block.m_first);
      if (address < first || address >= first + block.m_count * sizeof(T)) {
        continue;
      }
      if ((address - first) % sizeof(T) != 0) {
        return nullptr;
      }
      return reinterpret_cast<bool*>(block.m_first + block.m_count) + (address - first) / sizeof(T);
    }
    return nullptr;
  }
};

#endif
