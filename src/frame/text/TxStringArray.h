#ifndef TEVROL_FRAME_TEXT_TXSTRINGARRAY_H
#define TEVROL_FRAME_TEXT_TXSTRINGARRAY_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

// A growable array of texts with value copy and assignment. Like TxString it
// holds no pointer into itself, so it may be moved with memcpy. Not locked:
// an object belongs to one thread at a time, but concurrent reads are safe.
class TEVROL_EXPORT TxStringArray {
 public:
  constexpr TxStringArray() noexcept : m_items(nullptr), m_count(0), m_capacity(0) {}
  TxStringArray(TxStringArray const& other);
  TxStringArray& operator=(TxStringArray const& other);
  ~TxStringArray();

  // Appends a copy; text may be an element of this array.
  void Add(TxString const& text);
  Tevrol::Long GetSize() const { return m_count; }
  // index must lie in 0..GetSize()-1: it is not checked.
  TxString& operator[](Tevrol::Long index) { return m_items[index]; }
  TxString const& operator[](Tevrol::Long index) const { return m_items[index]; }

 private:
  void DestroyAll();

  TxString* m_items;  // raw storage for m_capacity, the first m_count constructed
  Tevrol::Long m_count;
  Tevrol::Long m_capacity;
};

#endif
