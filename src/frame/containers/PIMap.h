#ifndef TEVROL_FRAME_CONTAINERS_PIMAP_H
#define TEVROL_FRAME_CONTAINERS_PIMAP_H

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIObjectExtL.h"

// Hashing and equality of PIMap keys. The order of iteration depends on
// these exact rules.
namespace PIMapKeys {

// hash = hash * 33 + byte, each byte read as a signed 8-bit number (so a
// byte above 0x7F adds a negative number, whatever the signedness of char),
// in 32-bit unsigned arithmetic. A null and an empty text hash to 0.
inline std::uint32_t HashKey(char const* key) {
  std::uint32_t hash = 0;
  if (key != nullptr) {
    for (; *key != '\0'; ++key) {
      hash = hash * 33u + static_cast<std::uint32_t>(static_cast<signed char>(*key));
    }
  }
  return hash;
}

// Integer keys (32-bit values and pointer-wide words alike): the value
// shifted right by 2, cut to 32 bits.
template <class Key>
std::enable_if_t<std::is_integral<Key>::value, std::uint32_t> HashKey(Key key) {
  return static_cast<std::uint32_t>(key >> 2);
}

// The same pointer, or the same bytes as strcmp sees them. Null equals
// only null: strcmp is never handed a null text.
inline bool KeysEqual(char const* a, char const* b) {
  return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
}

template <class Key>
std::enable_if_t<std::is_integral<Key>::value, bool> KeysEqual(Key a, Key b) {
  return a == b;
}

}  // namespace PIMapKeys

// A chained hash map from KEY to VALUE (handed in as ARG_KEY, ARG_VALUE),
// guarded by the lock that SetLock gives it (none with NullLocking: not
// thread-safe; even a walk writes the cursor).
//
// m_bucketCount buckets (17), fixed for the life of the map: the table is
// never resized and nothing is rehashed, so a large map degrades towards a
// list. Keys are `char const*` (hashed and compared by text; the pointer is
// stored, the text is not copied and must stay alive and unchanged while its
// entry exists) or integers (by value).
//
// Entries come from blocks of m_blockSize entries, as the nodes of PIList;
// removal never gives a block back, only RemoveAll does. Neither removal nor
// the destructor frees what keys and values point to: the owner walks the
// map and frees them first.
//
// Iteration: one cursor a map. Rewind, stop at once if m_nextEntry is null
// (an empty map), then call GetNextEntry until it returns false. The order is
// by ascending bucket and, within a bucket, newest entry first. The entry
// delivered last may be removed during the walk.
//
// KEY and VALUE are plain types (pointers, integers): they are zeroed and
// overwritten, never destroyed.
template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
class PIMapExtL : public PIObjectExtL<LockType> {
  static_assert(std::is_trivially_destructible<KEY>::value &&
                    std::is_trivially_destructible<VALUE>::value,
                "PIMap frees its entries as whole blocks and never destroys a key or value: "
                "hold plain types");

 public:
  struct CEntry {
    CEntry* m_next;
    Tevrol::ULong m_bucket;  // index of the bucket that holds the entry
    KEY m_key;
    VALUE m_value;
  };

  // A map without buckets or a block without entries could hold nothing:
  // 0 buckets take 17, block sizes below 1 take 10.
  explicit PIMapExtL(Tevrol::ULong bucketCount = 17, Tevrol::Long blockSize = 10)
      : m_bucketCount(bucketCount != 0 ? bucketCount : 17),
        m_blockSize(blockSize > 0 ? blockSize : 10) {}
  PIMapExtL(PIMapExtL const&) = delete;
  PIMapExtL& operator=(PIMapExtL const&) = delete;
  ~PIMapExtL() override { RemoveAll(); }

  // The value of `key`; a missing key is entered first with a zero value,
  // so reading through this is not free of effects.
  VALUE& operator[](ARG_KEY key);
  // The entry of `key`, or null; inserts nothing.
  CEntry* Lookup(ARG_KEY key) const;
  // Takes the entry out; false when it is missing.
  bool RemoveKey(ARG_KEY key);
  Tevrol::Long GetCount() const { return m_count; }

  // Sets the cursor before the first entry (m_nextEntry all-ones), or at
  // the end (null) for an empty map.
  void Rewind();
  // Delivers the next entry and makes it the current one. Returns whether
  // another entry follows it; at the end, or without a Rewind, it delivers
  // nothing and returns false.
  bool GetNextEntry(KEY& key, VALUE& value);
  // Takes the entry delivered last out; nothing without one.
  void RemoveCurrent();
  // Empties the map and frees the table and all entry blocks; the cursor
  // goes to the end.
  void RemoveAll();

  // The all-ones value of m_nextEntry: before the first entry.
  static CEntry* BeforeStart() { return reinterpret_cast<CEntry*>(~std::uintptr_t{0}); }

  CEntry** m_table = nullptr;  // bucket heads; null until the first insertion
  Tevrol::ULong m_bucketCount;
  Tevrol::Long m_count = 0;
  CEntry* m_freeList = nullptr;  // entries ready for use, linked through m_next
  void* m_blocks = nullptr;      // the last block allocated; each links the one before
  Tevrol::Long m_blockSize;      // entries a block
  CEntry* m_current = nullptr;   // the entry delivered last
  // The entry delivered next: null at the end (and in a new map), all-ones
  // before the start.
  CEntry* m_nextEntry = nullptr;

 private:
  Tevrol::ULong BucketOf(KEY const& key) const { return PIMapKeys::HashKey(key) % m_bucketCount; }

  // Head of the first non-empty bucket from `bucket` on, or null.
  CEntry* FirstFrom(Tevrol::ULong bucket) const {
    if (m_table != nullptr) {
      for (; bucket < m_bucketCount; ++bucket) {
        if (m_table[bucket] != nullptr) {
          return m_table[bucket];
        }
      }
    }
    return nullptr;
  }

  CEntry* Successor(CEntry const* entry) const {
    return entry->m_next != nullptr ? entry->m_next : FirstFrom(entry->m_bucket + 1);
  }

  // Takes *link out of its bucket onto m_freeList. The cursor never keeps
  // pointing at a free entry: a removed next entry is replaced by its
  // successor, a removed current entry is forgotten.
  void Unlink(CEntry** link) {
    CEntry* const entry = *link;
    if (entry == nullptr) {
      return;
    }
    if (entry == m_nextEntry) {
      m_nextEntry = Successor(entry);
    }
    if (entry == m_current) {
      m_current = nullptr;
    }
    *link = entry->m_next;
    entry->m_next = m_freeList;
    m_freeList = entry;
    --m_count;
  }
};

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
VALUE& PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::operator[](ARG_KEY key) {
  KEY const k = key;
  Tevrol::ULong const bucket = BucketOf(k);
  if (m_table != nullptr) {
    for (CEntry* entry = m_table[bucket]; entry != nullptr; entry = entry->m_next) {
      if (PIMapKeys::KeysEqual(entry->m_key, k)) {
        return entry->m_value;
      }
    }
  } else {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the table holds pointers
    m_table = static_cast<CEntry**>(Alloc::Alloc(m_bucketCount * sizeof(CEntry*)));
    for (Tevrol::ULong i = 0; i < m_bucketCount; ++i) {
      ::new (static_cast<void*>(m_table + i)) CEntry*(nullptr);
    }
  }
  if (m_freeList == nullptr) {
    m_freeList = PIDetail::NewNodeBlock<CEntry, Alloc>(m_blocks, m_blockSize, m_freeList);
  }
  CEntry* const entry = m_freeList;
  m_freeList = entry->m_next;
  ++m_count;
  entry->m_value = VALUE();
  entry->m_key = k;
  entry->m_bucket = bucket;
  entry->m_next = m_table[bucket];
  m_table[bucket] = entry;
  return entry->m_value;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
typename PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::CEntry*
PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::Lookup(ARG_KEY key) const {
  if (m_table == nullptr) {
    return nullptr;
  }
  KEY const k = key;
  for (CEntry* entry = m_table[BucketOf(k)]; entry != nullptr; entry = entry->m_next) {
    if (PIMapKeys::KeysEqual(entry->m_key, k)) {
      return entry;
    }
  }
  return nullptr;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
bool PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::RemoveKey(ARG_KEY key) {
  if (m_table == nullptr) {
    return false;
  }
  KEY const k = key;
  for (CEntry** link = &m_table[BucketOf(k)]; *link != nullptr; link = &(*link)->m_next) {
    if (PIMapKeys::KeysEqual((*link)->m_key, k)) {
      Unlink(link);
      return true;
    }
  }
  return false;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
void PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::Rewind() {
  m_current = nullptr;
  m_nextEntry = m_count == 0 ? nullptr : BeforeStart();
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
bool PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::GetNextEntry(KEY& key,
                                                                              VALUE& value) {
  if (m_nextEntry == BeforeStart()) {
    m_nextEntry = FirstFrom(0);
  }
  CEntry* const entry = m_nextEntry;
  // Past the end, or an empty map: nothing to deliver.
  if (entry == nullptr) {
    return false;
  }
  m_nextEntry = Successor(entry);
  m_current = entry;
  key = entry->m_key;
  value = entry->m_value;
  return m_nextEntry != nullptr;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
void PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::RemoveCurrent() {
  if (m_current == nullptr) {
    return;
  }
  // Unlinked by its address in its own bucket rather than looked up by its
  // key: the same entry, but a key text that the owner has already freed or
  // changed is never read.
  for (CEntry** link = &m_table[m_current->m_bucket]; *link != nullptr; link = &(*link)->m_next) {
    if (*link == m_current) {
      Unlink(link);
      break;
    }
  }
  m_current = nullptr;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
void PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>::RemoveAll() {
  if (m_table != nullptr) {
    Alloc::Free(m_table);
    m_table = nullptr;
  }
  m_count = 0;
  m_freeList = nullptr;
  PIDetail::FreeNodeBlocks<Alloc>(m_blocks);
  // A walk in progress ends here rather than reach freed entries.
  m_current = nullptr;
  m_nextEntry = nullptr;
}

// The map with a lock object of its own. SetLock does nothing, so the map
// keeps that lock.
template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE, class LockType, class Alloc>
class PIMap : public PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc> {
 public:
  explicit PIMap(Tevrol::ULong bucketCount = 17, Tevrol::Long blockSize = 10)
      : PIMapExtL<KEY, ARG_KEY, VALUE, ARG_VALUE, LockType, Alloc>(bucketCount, blockSize) {
    this->m_lock = &m_lockObject;
  }
  ~PIMap() override { this->m_lock = nullptr; }

  void SetLock(LockType* /*lock*/) override {}

 private:
  LockType m_lockObject;
};

#endif
