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
// Blocks start on kWindow boundaries, and a table of the windows they cover
// finds the block of an address at once, so that Free costs the same with a
// million records as with ten; the table grows only with the pool.
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
      ::operator delete(static_cast<void*>(m_blocks[i].m_first), std::align_val_t(kWindow));
    }
    m_blocks.SetSize(0);
    delete[] m_windows;
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
    *HandedOutFlag(record, m_allocWindow) = true;
    record->m_next = nullptr;
    record->m_prev = nullptr;
    return record;
  }

  void Free(T* record) {
    bool* handedOut = HandedOutFlag(record, m_freeWindow);
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
  static constexpr std::uintptr_t kWindow = 4096;

  // A block is the records followed by one handed-out flag per record.
  bool AddBlock() {
    const Tevrol::ULong count = m_blocks.GetSize() == 0 ? m_firstCount : m_growCount;
    const std::size_t bytes = count * (sizeof(T) + sizeof(bool));
    if (!ReserveWindows(m_windowsUsed + WindowsOf(bytes))) {
      return false;
    }
    void* memory = ::operator new(bytes, std::align_val_t(kWindow), std::nothrow);
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
    const AllocatedBlock<T> block{records, count};
    m_blocks.Add(block);
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(records);
    for (std::size_t w = 0; w < WindowsOf(bytes); ++w) {
      InsertWindow(first + w * kWindow, block);
    }
    return true;
  }

  // The window table: open addressing over window addresses, at most half
  // full; a free slot has a null m_first.
  struct Window {
    std::uintptr_t m_address;
    AllocatedBlock<T> m_block;
  };

  // The flag of a record of this pool, or null for any other pointer: the
  // address must lie in a block, on a record boundary. `recent` remembers
  // the last window found: records are handed out and taken back in runs
  // from one block.
  bool* HandedOutFlag(T const* record, Window& recent) const {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(record);
    const std::uintptr_t window = address & ~(kWindow - 1);
    AllocatedBlock<T> const* block = &recent.m_block;
    if (recent.m_address != window || block->m_first == nullptr) {
      block = FindWindow(window);
      if (block == nullptr) {
        return nullptr;
      }
      recent = Window{window, *block};
    }
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block->m_first);
    if (address < first || address >= first + block->m_count * sizeof(T) ||
        (address - first) % sizeof(T) != 0) {
      return nullptr;
    }
    return reinterpret_cast<bool*>(block->m_first + block->m_count) + (address - first) / sizeof(T);
  }

  static std::size_t WindowsOf(std::size_t bytes) { return (bytes + kWindow - 1) / kWindow; }
  std::size_t SlotOf(std::uintptr_t window) const {
    return static_cast<std::size_t>((window / kWindow) * 0x9E3779B97F4A7C15ull) &
           (m_windowSlots - 1);
  }
  bool ReserveWindows(std::size_t windows) {
    if (windows * 2 <= m_windowSlots) {
      return true;
    }
    std::size_t slots = m_windowSlots == 0 ? 64 : m_windowSlots;
    while (slots < windows * 2) slots *= 2;
    Window* table = new (std::nothrow) Window[slots]();
    if (table == nullptr) {
      return false;
    }
    Window* const old = m_windows;
    const std::size_t oldSlots = m_windowSlots;
    m_windows = table;
    m_windowSlots = slots;
    m_windowsUsed = 0;
    for (std::size_t i = 0; i < oldSlots; ++i) {
      if (old[i].m_block.m_first != nullptr) InsertWindow(old[i].m_address, old[i].m_block);
    }
    delete[] old;
    return true;
  }
  void InsertWindow(std::uintptr_t window, AllocatedBlock<T> const& block) {
    std::size_t slot = SlotOf(window);
    while (m_windows[slot].m_block.m_first != nullptr) slot = (slot + 1) & (m_windowSlots - 1);
    m_windows[slot] = Window{window, block};
    ++m_windowsUsed;
  }
  AllocatedBlock<T> const* FindWindow(std::uintptr_t window) const {
    if (m_windowSlots == 0) {
      return nullptr;
    }
    for (std::size_t slot = SlotOf(window);; slot = (slot + 1) & (m_windowSlots - 1)) {
      Window const& entry = m_windows[slot];
      if (entry.m_block.m_first == nullptr) return nullptr;
      if (entry.m_address == window) return &entry.m_block;
    }
  }

  Window* m_windows = nullptr;
  Window m_allocWindow{};         // the window of the last Alloc
  Window m_freeWindow{};          // the window of the last Free
  std::size_t m_windowSlots = 0;  // a power of two, or 0
  std::size_t m_windowsUsed = 0;
};

#endif
