#ifndef TEVROL_FILE_DIRENTRYARRAY_H
#define TEVROL_FILE_DIRENTRYARRAY_H

#include "file/DirEntry.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIArray.h"

// An array of DirEntry by value with an interface free of templates. Growth
// as PIArray's automatic rule (capacities 1, 5, 9, ... when grown one at a
// time); entries move inside the buffer byte by byte. Indexes are not
// checked. An entry added is assigned: the element stays a plain DirEntry,
// also when the source is part of a File. Entries and arrays of this array
// itself may be passed to its operations: they are copied before the buffer
// moves. No lock: an owner that shares it guards it.
class TEVROL_EXPORT DirEntryArray
    : private PIArray<DirEntry, DirEntry const&, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator> > {
  using Base = PIArray<DirEntry, DirEntry const&, NullLocking,
                       PIAlloc<PICommonAllocDescriptors::PIArray, PIDefaultAllocator> >;

 public:
  DirEntryArray();
  DirEntryArray(DirEntryArray const& other);
  ~DirEntryArray();
  DirEntryArray& operator=(DirEntryArray const& other);

  Tevrol::Long GetSize() const;
  Tevrol::Long GetUpperBound() const;
  Tevrol::Long GetMaxSize() const;
  DirEntry const* GetData() const;
  DirEntry* GetData();
  DirEntry const& GetAt(Tevrol::Long index) const;
  DirEntry& ElementAt(Tevrol::Long index);
  DirEntry const& operator[](Tevrol::Long index) const;
  DirEntry& operator[](Tevrol::Long index);
  void SetSize(Tevrol::Long newSize, Tevrol::Long growBy);
  void RemoveAll();
  void FreeExtra();
  void RemoveAt(Tevrol::Long index, Tevrol::Long count);
  void InsertAt(Tevrol::Long index, DirEntry& entry, Tevrol::Long count);

  // Assigns entry to a new last element; its index.
  Tevrol::Long Add(DirEntry const& entry);
  void SetAt(Tevrol::Long index, DirEntry& entry);
  // Makes room at index and assigns the entries of other there.
  void InsertAt(Tevrol::Long index, DirEntryArray* other);
  void Copy(DirEntryArray const& other);
  // Adds the entries of other (from first to last, -1: the last one); the
  // size before the call, which is the index of the first new entry. A range
  // that reaches outside other is clipped to its entries; first above last
  // adds nothing.
  Tevrol::Long Append(DirEntryArray const& other);
  Tevrol::Long Append(DirEntryArray const& other, Tevrol::Long first, Tevrol::Long last);

 private:
  // Makes room for all entries of other (not this array) at index and
  // assigns them there.
  void InsertEntries(Tevrol::Long index, DirEntryArray const& other);
};

#endif
