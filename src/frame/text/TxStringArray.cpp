#include "frame/text/TxStringArray.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace {

TxString* Allocate(Tevrol::Long capacity) {
  return static_cast<TxString*>(
      ::operator new(static_cast<std::size_t>(capacity) * sizeof(TxString)));
}

}  // namespace

TxStringArray::TxStringArray(TxStringArray const& other) : TxStringArray() {
  if (other.m_count == 0) return;
  m_items = Allocate(other.m_count);
  m_capacity = other.m_count;
  for (; m_count < other.m_count; ++m_count)
    new (m_items + m_count) TxString(other.m_items[m_count]);
}

TxStringArray& TxStringArray::operator=(TxStringArray const& other) {
  if (this != &other) {
    TxStringArray copy(other);
    DestroyAll();
    // Take over the copy's storage; it is left empty for its destructor.
    m_items = copy.m_items;
    m_count = copy.m_count;
    m_capacity = copy.m_capacity;
    copy.m_items = nullptr;
    copy.m_count = copy.m_capacity = 0;
  }
  return *this;
}

TxStringArray::~TxStringArray() {
  DestroyAll();
}

void TxStringArray::Add(TxString const& text) {
  if (m_count == m_capacity) {
    const Tevrol::Long capacity = m_capacity == 0 ? 4 : m_capacity * 2;
    TxString* grown = Allocate(capacity);
    // Copy text before the old storage goes: it may be one of our elements.
    new (grown + m_count) TxString(text);
    // TxString holds no pointer into itself, so its bytes can move as they
    // are; the void* casts tell GCC this is intended.
    if (m_count > 0) {
      std::memcpy(static_cast<void*>(grown), static_cast<void const*>(m_items),
                  static_cast<std::size_t>(m_count) * sizeof(TxString));
    }
    ::operator delete(m_items);
    m_items = grown;
    m_capacity = capacity;
  } else {
    new (m_items + m_count) TxString(text);
  }
  ++m_count;
}

void TxStringArray::DestroyAll() {
  for (Tevrol::Long i = 0; i < m_count; ++i) m_items[i].~TxString();
  ::operator delete(m_items);
  m_items = nullptr;
  m_count = m_capacity = 0;
}
