// PIArray, PIList and PIMap driven by operations decoded from the input and
// compared after every step with std::vector, std::list and a model map of
// 17 lists (the documented hash, newest entry first), iteration order and
// array capacity included; the work loop's record pool against a first-in,
// first-out model of its blocks. Callers' preconditions are kept: array indexes in
// range, no RemoveHead on an empty list, no null map keys.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <list>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "FuzzCheck.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIArray.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIMap.h"
#include "frame/text/TxString.h"
#include "workloop/WorkLoopImpl.h"

namespace {

using Tevrol::Long;
using Tevrol::ULong;

constexpr int kMaxSteps = 400;

// ---- PIArray of TxString (heap-owning elements moved by their bytes) ----

using Array = PIArray<TxString, TxString const&, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator>>;

struct ArrayModel {
  std::vector<std::string> elements;
  Long maxSize = 0;
  Long growBy = 0;

  void SetSizeEx(Long newSize, Long grow, Long newMaxSize) {
    if (grow != -1) growBy = grow;
    Long const target = newSize == -1 ? static_cast<Long>(elements.size()) : newSize;
    Long capacity = newMaxSize == -1 ? maxSize : newMaxSize;
    if (capacity < target) capacity = target;
    maxSize = capacity;
    elements.resize(static_cast<std::size_t>(target));
  }
  void SetSize(Long newSize, Long grow) {
    if (grow != -1) {
      growBy = grow;
    } else {
      grow = growBy;
    }
    Long capacity;
    if (newSize == 0 || maxSize == 0) {
      capacity = newSize;
    } else if (newSize <= maxSize) {
      capacity = maxSize;
    } else {
      Long step = grow;
      if (step == 0) {
        step = static_cast<Long>(elements.size()) / 8;
        step = step < 4 ? 4 : (step > 1024 ? 1024 : step);
      }
      capacity = maxSize + step < newSize ? newSize : maxSize + step;
    }
    SetSizeEx(newSize, grow, capacity);
  }
};

std::string ToStd(TxString const& text) {
  return std::string(text.ToAscii().GetConstData());
}

void CompareArray(Array const& array, ArrayModel const& model) {
  Long const size = static_cast<Long>(model.elements.size());
  FUZZ_CHECK(array.GetSize() == size);
  FUZZ_CHECK(array.GetUpperBound() == size - 1);
  FUZZ_CHECK(array.GetMaxSize() == model.maxSize);
  FUZZ_CHECK(array.m_growBy == model.growBy);
  FUZZ_CHECK((array.GetData() == nullptr) == (model.maxSize == 0));
  for (Long i = 0; i < size; ++i) {
    FUZZ_CHECK(ToStd(array.GetAt(i)) == model.elements[static_cast<std::size_t>(i)]);
  }
}

void RunArray(FuzzedDataProvider& input) {
  Array array;
  ArrayModel model;
  for (int step = 0; step < kMaxSteps && input.remaining_bytes() > 0; ++step) {
    Long const size = array.GetSize();
    std::string const value = std::to_string(input.ConsumeIntegralInRange<int>(0, 999));
    // Values drawn from the array itself exercise aliasing with the buffer.
    bool const own = size > 0 && input.ConsumeBool();
    Long const from = size > 0 ? input.ConsumeIntegralInRange<Long>(0, size - 1) : 0;
    switch (input.ConsumeIntegralInRange<int>(0, 9)) {
      case 0:
      case 1: {
        std::string const added = own ? model.elements[static_cast<std::size_t>(from)] : value;
        Long const index = own ? array.Add(array[from]) : array.Add(TxString(value.c_str()));
        FUZZ_CHECK(index == size);
        model.SetSize(size + 1, -1);
        model.elements.back() = added;
        break;
      }
      case 2:
        if (size > 0) {
          Long const index = input.ConsumeIntegralInRange<Long>(0, size - 1);
          array.SetAt(index, TxString(value.c_str()));
          model.elements[static_cast<std::size_t>(index)] = value;
        }
        break;
      case 3: {
        Long const index = input.ConsumeIntegralInRange<Long>(0, size + 8);
        Long const count = input.ConsumeIntegralInRange<Long>(0, 6);
        std::string const inserted = own ? model.elements[static_cast<std::size_t>(from)] : value;
        if (own) {
          array.InsertAt(index, array[from], count);
        } else {
          array.InsertAt(index, TxString(value.c_str()), count);
        }
        if (index < size) {
          model.SetSize(size + count, -1);
          model.elements.erase(model.elements.end() - count, model.elements.end());
          model.elements.insert(model.elements.begin() + index, static_cast<std::size_t>(count),
                                inserted);
        } else {
          model.SetSize(index + count, -1);
          for (Long i = index; i < index + count; ++i) {
            model.elements[static_cast<std::size_t>(i)] = inserted;
          }
        }
        break;
      }
      case 4:
        if (size > 0) {
          Long const index = input.ConsumeIntegralInRange<Long>(0, size - 1);
          Long const count = input.ConsumeIntegralInRange<Long>(0, size - index);
          array.RemoveAt(index, count);
          model.elements.erase(model.elements.begin() + index,
                               model.elements.begin() + index + count);
        }
        break;
      case 5: {
        Long const newSize = input.ConsumeIntegralInRange<Long>(0, size + 40);
        Long const growBy = input.ConsumeIntegralInRange<Long>(-1, 8);
        array.SetSize(newSize, growBy);
        model.SetSize(newSize, growBy);
        break;
      }
      case 6: {
        Long const newSize = input.ConsumeIntegralInRange<Long>(-1, size + 20);
        Long const growBy = input.ConsumeIntegralInRange<Long>(-1, 8);
        Long const newMaxSize = input.ConsumeIntegralInRange<Long>(-1, size + 40);
        array.SetSizeEx(newSize, growBy, newMaxSize);
        model.SetSizeEx(newSize, growBy, newMaxSize);
        break;
      }
      case 7:
        array.FreeExtra();
        if (static_cast<Long>(model.elements.size()) != model.maxSize) {
          model.SetSizeEx(-1, -1, static_cast<Long>(model.elements.size()));
        }
        break;
      case 8:
        array.RemoveAll();
        model.SetSize(0, -1);
        break;
      default:
        if (size > 0) {
          array.ElementAt(from) += TxString(value.c_str());
          model.elements[static_cast<std::size_t>(from)] += value;
        }
        break;
    }
    CompareArray(array, model);
  }
}

// ---- PIList of 32-bit values ----

using List = PIList<std::uint32_t, std::uint32_t, NullLocking,
                    PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;

List::CNode* NodeAt(List const& list, std::size_t index) {
  List::CNode* node = list.m_head;
  while (index-- > 0) node = node->m_next;
  return node;
}

void CompareList(List const& list, std::list<std::uint32_t> const& model) {
  FUZZ_CHECK(list.m_count == static_cast<Long>(model.size()));
  List::CNode* node = list.m_head;
  List::CNode* previous = nullptr;
  for (std::uint32_t const value : model) {
    FUZZ_CHECK(node != nullptr && node->m_value == value && node->m_prev == previous);
    previous = node;
    node = node->m_next;
  }
  FUZZ_CHECK(node == nullptr && list.m_tail == previous);
  if (model.empty()) {
    // An emptied list has given all its blocks back.
    FUZZ_CHECK(list.m_head == nullptr && list.m_freeList == nullptr && list.m_blocks == nullptr);
  }
}

void RunList(FuzzedDataProvider& input) {
  List list(input.ConsumeIntegralInRange<Long>(1, 12));
  std::list<std::uint32_t> model;
  for (int step = 0; step < kMaxSteps && input.remaining_bytes() > 0; ++step) {
    std::uint32_t const value = input.ConsumeIntegralInRange<std::uint32_t>(0, 15);
    std::size_t const size = model.size();
    std::size_t const index = size > 0 ? input.ConsumeIntegralInRange<std::size_t>(0, size - 1) : 0;
    switch (input.ConsumeIntegralInRange<int>(0, 7)) {
      case 0:
        FUZZ_CHECK(list.AddTail(value) == NodeAt(list, size));
        model.push_back(value);
        break;
      case 1:
        FUZZ_CHECK(list.AddHead(value) == list.m_head);
        model.push_front(value);
        break;
      case 2: {
        // At a node, or at the null position past the tail.
        bool const atEnd = size == 0 || input.ConsumeBool();
        __PI_POS* const position = atEnd ? nullptr : NodeAt(list, index);
        FUZZ_CHECK(list.InsertBefore(position, value) == NodeAt(list, atEnd ? size : index));
        model.insert(atEnd ? model.end() : std::next(model.begin(), static_cast<long>(index)),
                     value);
        break;
      }
      case 3:
        if (size > 0) {
          FUZZ_CHECK(list.RemoveHead() == model.front());
          model.pop_front();
        }
        break;
      case 4:
        if (size > 0) {
          list.RemoveAt(NodeAt(list, index));
          model.erase(std::next(model.begin(), static_cast<long>(index)));
        }
        break;
      case 5:
        if (input.ConsumeIntegralInRange<int>(0, 3) == 0) {
          list.RemoveAll();
          model.clear();
        }
        break;
      case 6: {
        __PI_POS* const found = list.Find(value);
        std::size_t at = 0;
        for (auto it = model.begin(); it != model.end() && *it != value; ++it) ++at;
        FUZZ_CHECK(found == (at < size ? NodeAt(list, at) : nullptr));
        break;
      }
      default: {
        // A walk that takes out every node holding `value`, reading m_next first.
        for (List::CNode* node = list.m_head; node != nullptr;) {
          List::CNode* const next = node->m_next;
          if (node->m_value == value) list.RemoveAt(node);
          node = next;
        }
        model.remove(value);
        break;
      }
    }
    CompareList(list, model);
  }
}

// ---- PIMap with text keys and with integer keys ----

template <class Key>
struct MapModel {
  std::list<std::pair<Key, std::uint32_t>> buckets[17];

  static std::uint32_t Bucket(char const* key) { return PIMapHashForModel(key) % 17u; }
  static std::uint32_t Bucket(std::uint32_t key) { return (key >> 2) % 17u; }
  static bool Equal(char const* a, char const* b) { return std::string(a) == b; }
  static bool Equal(std::uint32_t a, std::uint32_t b) { return a == b; }

  static std::uint32_t PIMapHashForModel(char const* key) {
    std::uint32_t hash = 0;
    for (; *key != '\0'; ++key) {
      hash = hash * 33u +
             static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(*key)));
    }
    return hash;
  }

  std::pair<Key, std::uint32_t>* Find(Key key) {
    for (auto& entry : buckets[Bucket(key)]) {
      if (Equal(entry.first, key)) return &entry;
    }
    return nullptr;
  }
  std::uint32_t& Get(Key key) {
    if (auto* entry = Find(key)) return entry->second;
    buckets[Bucket(key)].emplace_front(key, 0);
    return buckets[Bucket(key)].front().second;
  }
  bool Remove(Key key) {
    auto& bucket = buckets[Bucket(key)];
    for (auto it = bucket.begin(); it != bucket.end(); ++it) {
      if (Equal(it->first, key)) {
        bucket.erase(it);
        return true;
      }
    }
    return false;
  }
  std::size_t Count() const {
    std::size_t count = 0;
    for (auto const& bucket : buckets) count += bucket.size();
    return count;
  }
  void Clear() {
    for (auto& bucket : buckets) bucket.clear();
  }
};

template <class Key>
using Map = PIMap<Key, Key, std::uint32_t, std::uint32_t, NullLocking,
                  PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;

// A full walk compared with the model's order. Where `removeMask` has a bit
// set for the n-th entry delivered, that entry is taken out with
// RemoveCurrent during the walk, in the map and in the model.
template <class Key>
void Walk(Map<Key>& map, MapModel<Key>& model, std::uint64_t removeMask) {
  std::vector<std::pair<Key, std::uint32_t>> order;
  for (auto const& bucket : model.buckets) {
    for (auto const& entry : bucket) order.push_back(entry);
  }
  FUZZ_CHECK(map.GetCount() == static_cast<Long>(order.size()));
  map.Rewind();
  if (order.empty()) {
    FUZZ_CHECK(map.m_nextEntry == nullptr);
    return;
  }
  FUZZ_CHECK(map.m_nextEntry != nullptr);
  for (std::size_t i = 0; i < order.size(); ++i) {
    Key key{};
    std::uint32_t value = 0;
    bool const more = map.GetNextEntry(key, value);
    // The stored key is the first pointer entered, so pointers compare too.
    FUZZ_CHECK(key == order[i].first && value == order[i].second);
    FUZZ_CHECK(more == (i + 1 < order.size()));
    if (i < 64 && (removeMask >> i & 1u) != 0) {
      map.RemoveCurrent();
      FUZZ_CHECK(model.Remove(key));
    }
  }
  Key key{};
  std::uint32_t value = 0;
  FUZZ_CHECK(!map.GetNextEntry(key, value));
  FUZZ_CHECK(map.GetCount() == static_cast<Long>(model.Count()));
}

// Keys: short texts (high bytes included, so that negative bytes enter the
// hash), each time a fresh copy at a new address, kept alive for the run.
template <class Key>
Key NewKey(FuzzedDataProvider& input, std::deque<std::string>& store);

template <>
char const* NewKey<char const*>(FuzzedDataProvider& input, std::deque<std::string>& store) {
  store.push_back(input.ConsumeBytesAsString(input.ConsumeIntegralInRange<std::size_t>(0, 3)));
  store.back() = store.back().c_str();
  return store.back().c_str();
}

template <>
std::uint32_t NewKey<std::uint32_t>(FuzzedDataProvider& input, std::deque<std::string>&) {
  return input.ConsumeIntegralInRange<std::uint32_t>(0, 200) * 3;
}

template <class Key>
void RunMap(FuzzedDataProvider& input) {
  std::deque<std::string> store;
  Map<Key> map(17, input.ConsumeIntegralInRange<Long>(1, 12));
  MapModel<Key> model;
  for (int step = 0; step < kMaxSteps && input.remaining_bytes() > 0; ++step) {
    Key const key = NewKey<Key>(input, store);
    std::uint32_t const value = input.ConsumeIntegral<std::uint32_t>();
    switch (input.ConsumeIntegralInRange<int>(0, 5)) {
      case 0:
      case 1:
        map[key] = value;
        model.Get(key) = value;
        break;
      case 2: {
        // operator[] enters a missing key with a zero value.
        std::uint32_t const read = map[key];
        FUZZ_CHECK(read == model.Get(key));
        break;
      }
      case 3: {
        auto const* entry = map.Lookup(key);
        auto const* expected = model.Find(key);
        FUZZ_CHECK((entry == nullptr) == (expected == nullptr));
        if (entry != nullptr) {
          FUZZ_CHECK(entry->m_value == expected->second && entry->m_key == expected->first);
        }
        break;
      }
      case 4:
        FUZZ_CHECK(map.RemoveKey(key) == model.Remove(key));
        break;
      default:
        if (input.ConsumeIntegralInRange<int>(0, 3) == 0) {
          map.RemoveAll();
          model.Clear();
          FUZZ_CHECK(map.m_table == nullptr && map.m_blocks == nullptr);
        } else {
          Walk(map, model, input.ConsumeIntegral<std::uint64_t>());
        }
        break;
    }
    Walk(map, model, 0);
  }
}

// ---- The work loop's pool of queue records ----

// The model: free records first in, first out; blocks of 64, then 32,
// handed out from their lowest address up; a record not handed out, or a
// pointer that never came from the pool, is ignored by Free.
void RunPool(FuzzedDataProvider& input) {
  using Record = WorkLoopImpl::QueuedTask;
  WorkLoopImpl::Pool pool;
  std::deque<Record*> free;
  std::set<Record*> out;
  std::vector<Record*> handedOut;  // in hand-out order, for picking
  std::vector<std::pair<Record*, ULong>> blocks;
  ULong capacity = 0;
  Record foreign{};
  for (int step = 0; step < kMaxSteps * 8 && input.remaining_bytes() > 0; ++step) {
    const int op = input.ConsumeIntegralInRange<int>(0, 9);
    if (op < 5) {
      Record* record = pool.Alloc();
      FUZZ_CHECK(record != nullptr);
      if (free.empty()) {
        for (auto const& block : blocks) {
          FUZZ_CHECK(record < block.first || record >= block.first + block.second);
        }
        const ULong count = blocks.empty() ? 64 : 32;
        blocks.emplace_back(record, count);
        capacity += count;
        for (ULong i = 1; i < count; ++i) free.push_back(record + i);
      } else {
        FUZZ_CHECK(record == free.front());
        free.pop_front();
      }
      FUZZ_CHECK(out.insert(record).second);
      handedOut.push_back(record);
    } else if (op < 8 && !handedOut.empty()) {
      // Back, or again (no effect the second time).
      const size_t i = input.ConsumeIntegralInRange<size_t>(0, handedOut.size() - 1);
      Record* record = handedOut[i];
      pool.Free(record);
      if (out.erase(record) != 0) free.push_back(record);
      if (op == 7) {
        handedOut[i] = handedOut.back();
        handedOut.pop_back();
      }
    } else if (!handedOut.empty()) {
      // Never from the pool: a record elsewhere, or inside one off a boundary.
      Record* inside = handedOut[input.ConsumeIntegralInRange<size_t>(0, handedOut.size() - 1)];
      pool.Free(op == 8 ? &foreign
                        : reinterpret_cast<Record*>(reinterpret_cast<char*>(inside) +
                                                    input.ConsumeIntegralInRange<int>(1, 63)));
    }
    FUZZ_CHECK(pool.GetCapacity() == capacity);
    FUZZ_CHECK(pool.m_freeList.m_count == static_cast<Long>(free.size()));
  }
  size_t i = 0;
  for (auto* node = pool.m_freeList.m_head; node != nullptr; node = node->m_next, ++i) {
    FUZZ_CHECK(node->m_value == free[i]);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
      RunArray(input);
      break;
    case 1:
      RunList(input);
      break;
    case 2:
      RunMap<char const*>(input);
      break;
    case 3:
      RunMap<std::uint32_t>(input);
      break;
    default:
      RunPool(input);
      break;
  }
  return 0;
}
