#include "file/DirEntryArray.h"

#include <cstdint>

DirEntryArray::DirEntryArray() = default;

DirEntryArray::DirEntryArray(DirEntryArray const& other) : Base() {
  Copy(other);
}

DirEntryArray::~DirEntryArray() = default;

DirEntryArray& DirEntryArray::operator=(DirEntryArray const& other) {
  if (this != &other) {
    Copy(other);
  }
  return *this;
}

Tevrol::Long DirEntryArray::GetSize() const {
  return Base::GetSize();
}

Tevrol::Long DirEntryArray::GetUpperBound() const {
  return Base::GetUpperBound();
}

Tevrol::Long DirEntryArray::GetMaxSize() const {
  return Base::GetMaxSize();
}

DirEntry const* DirEntryArray::GetData() const {
  return Base::GetData();
}

DirEntry* DirEntryArray::GetData() {
  return Base::GetData();
}

DirEntry const& DirEntryArray::GetAt(Tevrol::Long index) const {
  return Base::GetAt(index);
}

DirEntry& DirEntryArray::ElementAt(Tevrol::Long index) {
  return Base::ElementAt(index);
}

DirEntry const& DirEntryArray::operator[](Tevrol::Long index) const {
  return Base::GetAt(index);
}

DirEntry& DirEntryArray::operator[](Tevrol::Long index) {
  return Base::ElementAt(index);
}

void DirEntryArray::SetSize(Tevrol::Long newSize, Tevrol::Long growBy) {
  Base::SetSize(newSize, growBy);
}

void DirEntryArray::RemoveAll() {
  Base::RemoveAll();
}

void DirEntryArray::FreeExtra() {
  Base::FreeExtra();
}

void DirEntryArray::RemoveAt(Tevrol::Long index, Tevrol::Long count) {
  Base::RemoveAt(index, count);
}

void DirEntryArray::InsertAt(Tevrol::Long index, DirEntry& entry, Tevrol::Long count) {
  // An entry of this array itself is copied from where the shift put it.
  Base::InsertAt(index, entry, count);
}

Tevrol::Long DirEntryArray::Add(DirEntry const& entry) {
  // An entry of this array itself is copied from where the growth put it.
  return Base::Add(entry);
}

void DirEntryArray::SetAt(Tevrol::Long index, DirEntry& entry) {
  Base::SetAt(index, entry);
}

void DirEntryArray::InsertAt(Tevrol::Long index, DirEntryArray* other) {
  if (other == nullptr || other->GetSize() == 0) {
    return;
  }
  if (other == this) {
    // The array itself: its entries move during the insertion, so insert a copy.
    DirEntryArray const copy(*this);
    InsertEntries(index, copy);
    return;
  }
  InsertEntries(index, *other);
}

void DirEntryArray::InsertEntries(Tevrol::Long index, DirEntryArray const& other) {
  Tevrol::Long const count = other.GetSize();
  Base::InsertAt(index, other.GetAt(0), count);
  for (Tevrol::Long i = 0; i < count; ++i) {
    ElementAt(index + i) = other.GetAt(i);
  }
}

void DirEntryArray::Copy(DirEntryArray const& other) {
  // Copying the array onto itself changes nothing.
  if (this == &other) {
    return;
  }
  Tevrol::Long const count = other.GetSize();
  Base::SetSize(count, -1);
  for (Tevrol::Long i = 0; i < count; ++i) {
    ElementAt(i) = other.GetAt(i);
  }
}

Tevrol::Long DirEntryArray::Append(DirEntryArray const& other) {
  return Append(other, 0, -1);
}

Tevrol::Long DirEntryArray::Append(DirEntryArray const& other, Tevrol::Long first,
                                   Tevrol::Long last) {
  Tevrol::Long const oldSize = GetSize();
  Tevrol::Long const otherSize = other.GetSize();
  if (otherSize == 0) {
    return oldSize;
  }
  if (last == -1) {
    last = otherSize - 1;
  }
  // A range reaching outside other is clipped to its entries; nothing is
  // read outside them.
  if (first < 0) {
    first = 0;
  }
  if (last > otherSize - 1) {
    last = otherSize - 1;
  }
  if (first > last) {
    return oldSize;
  }
  if (this == &other) {
    // The array itself: the buffer moves when it grows, so append a copy.
    DirEntryArray part;
    part.Append(other, first, last);
    return Append(part, 0, -1);
  }
  Tevrol::Long const count = last - first + 1;
  if (count > INT32_MAX - oldSize) {
    return oldSize;  // more entries than a Long counts: nothing is added
  }
  Base::SetSize(oldSize + count, -1);
  for (Tevrol::Long i = 0; oldSize + i < GetSize(); ++i) {
    ElementAt(oldSize + i) = other.GetAt(first + i);
  }
  return oldSize;
}
