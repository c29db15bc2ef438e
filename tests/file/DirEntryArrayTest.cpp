#include "file/DirEntryArray.h"

#include <fcntl.h>

#include <cstring>
#include <new>
#include <typeinfo>

#include "file/File.h"
#include "file/FileTestSupport.h"

namespace {

DirEntry Entry(char const* name, Tevrol::Long type = DirEntry::kDirectoryEntry,
               std::uint64_t size = 7) {
  DirEntry entry;
  entry.m_name = name;
  entry.m_type = type;
  entry.m_size = size;
  entry.m_text2 = "two";
  entry.m_text3 = "three";
  return entry;
}

// One character a name ("" for a default entry shows as '-').
DirEntryArray Array(std::string const& names) {
  DirEntryArray array;
  for (char const c : names) array.Add(Entry(std::string(1, c).c_str()));
  return array;
}

std::string Names(DirEntryArray const& array) {
  std::string names;
  for (Tevrol::Long i = 0; i < array.GetSize(); ++i) {
    std::string const name = Str(array[i].m_name);
    names += name.empty() ? "-" : name;
  }
  return names;
}

TEST(DirEntryArrayTest, GrowsOneThenByFourAndKeepsEntries) {
  DirEntry const fresh;
  EXPECT_EQ(fresh.m_type, 3);
  EXPECT_EQ(fresh.m_size, 0u);
  DirEntryArray array;
  EXPECT_EQ(array.GetUpperBound(), -1);
  EXPECT_EQ(array.GetData(), nullptr);
  // Capacity after each Add: exactly 1, then steps of max(4, size / 8).
  std::vector<Tevrol::Long> const capacities = {1, 5, 5, 5, 5, 9, 9, 9, 9, 13};
  std::string expected;
  for (std::size_t i = 0; i < capacities.size(); ++i) {
    char const name[2] = {static_cast<char>('a' + i), '\0'};
    EXPECT_EQ(array.Add(Entry(name)), static_cast<Tevrol::Long>(i));
    EXPECT_EQ(array.GetMaxSize(), capacities[i]) << "after add " << i;
    expected += name;
  }
  EXPECT_EQ(Names(array), expected);
  EXPECT_EQ(Str(array[9].m_text3), "three");
  // A jump beyond the step gets exactly the size; from 40 entries on an
  // eighth of the size is the larger step.
  Tevrol::Long const sizeAndCapacity[][2] = {{45, 45}, {46, 50}, {51, 55}};
  for (auto const& row : sizeAndCapacity) {
    array.SetSize(row[0], -1);
    EXPECT_EQ(array.GetMaxSize(), row[1]) << row[0];
  }

  array.RemoveAll();
  EXPECT_EQ(array.GetData(), nullptr);
  EXPECT_EQ(array.GetMaxSize(), 0);
  EXPECT_EQ(array.GetSize(), 0);
}

TEST(DirEntryArrayTest, AppendRangesAreClippedToTheSource) {
  struct Row {
    Tevrol::Long first;
    Tevrol::Long last;
    char const* names;
  } const rows[] = {
      {0, -1, "xabc"},  {1, -1, "xbc"}, {1, 1, "xb"},  {2, 1, "x"},
      {-3, 10, "xabc"}, {5, 7, "x"},    {2, 99, "xc"}, {0, 0, "xa"},
  };
  DirEntryArray const source = Array("abc");
  for (Row const& row : rows) {
    SCOPED_TRACE(std::to_string(row.first) + ".." + std::to_string(row.last));
    DirEntryArray target = Array("x");
    EXPECT_EQ(target.Append(source, row.first, row.last), 1);
    EXPECT_EQ(Names(target), row.names);
  }
  DirEntryArray target = Array("xy");
  DirEntryArray const empty;
  EXPECT_EQ(target.Append(empty), 2);
  EXPECT_EQ(target.Append(empty, 0, 5), 2);
  EXPECT_EQ(target.Append(source), 2);
  EXPECT_EQ(Names(target), "xyabc");
}

TEST(DirEntryArrayTest, CopyAssignInsertAlsoFromItself) {
  DirEntryArray target = Array("abcde");
  target.Copy(Array("pq"));
  EXPECT_EQ(Names(target), "pq");
  DirEntryArray const copied(target);
  EXPECT_EQ(Names(copied), "pq");
  target = Array("uvw");
  EXPECT_EQ(Names(target), "uvw");

  // Inserting past the end fills the gap with default entries.
  DirEntryArray one = Array("a");
  DirEntryArray other = Array("xy");
  one.InsertAt(2, &other);
  EXPECT_EQ(Names(one), "a-xy");
  EXPECT_EQ(one[1].m_type, DirEntry::kNoType);
  one.InsertAt(1, &other);
  EXPECT_EQ(Names(one), "axy-xy");
  DirEntryArray empty;
  one.InsertAt(0, &empty);
  one.InsertAt(0, nullptr);
  EXPECT_EQ(Names(one), "axy-xy");

  DirEntry front = Entry("f");
  DirEntryArray array = Array("ab");
  array.InsertAt(0, front, 3);
  EXPECT_EQ(Names(array), "fffab");
  array.SetAt(4, front);
  EXPECT_EQ(Names(array), "fffaf");
  array.RemoveAt(1, 2);
  EXPECT_EQ(Names(array), "faf");

  // Entries and arrays of the array itself: copied before the buffer moves.
  DirEntryArray own = Array("abcde");  // capacity 5: the next Add moves the buffer
  ASSERT_EQ(own.GetMaxSize(), own.GetSize());
  own.Add(own[1]);
  EXPECT_EQ(Names(own), "abcdeb");
  own.InsertAt(0, own.ElementAt(2), 2);
  EXPECT_EQ(Names(own), "ccabcdeb");
  own.SetAt(0, own.ElementAt(0));
  EXPECT_EQ(Names(own), "ccabcdeb");

  DirEntryArray self = Array("xyz");
  DirEntryArray const& alias = self;
  self = alias;
  self.Copy(self);
  EXPECT_EQ(Names(self), "xyz");
  EXPECT_EQ(self.Append(self), 3);
  EXPECT_EQ(Names(self), "xyzxyz");
  EXPECT_EQ(self.Append(self, 4, -1), 6);
  EXPECT_EQ(Names(self), "xyzxyzyz");
  DirEntryArray small = Array("ab");
  small.InsertAt(1, &small);
  EXPECT_EQ(Names(small), "aabb");
}

TEST(DirEntryArrayTest, EntriesSurviveAByteWiseMoveAndFilesArriveAsPlainEntries) {
  alignas(DirEntry) unsigned char first[sizeof(DirEntry)];
  alignas(DirEntry) unsigned char second[sizeof(DirEntry)];
  DirEntry* const original = ::new (static_cast<void*>(first)) DirEntry(Entry("moved", 1, 42));
  std::memcpy(second, first, sizeof(DirEntry));
  std::memset(first, 0xAB, sizeof(DirEntry));  // nothing may still point there
  DirEntry* const moved = std::launder(reinterpret_cast<DirEntry*>(second));
  static_cast<void>(original);
  EXPECT_EQ(Str(moved->m_name), "moved");
  EXPECT_EQ(moved->m_size, 42u);
  moved->m_name.Append(TxString(" on"));
  EXPECT_EQ(Str(moved->m_name), "moved on");
  *moved = Entry("assigned");
  EXPECT_EQ(Str(moved->m_name), "assigned");
  moved->~DirEntry();

  // A File arrives as a plain entry of type 0.
  DirEntryArray array;
  {
    File file("/tmp/some-file-name", O_RDONLY, 0, 0, 0, false);
    file.m_size = 9;
    array.Add(file);
    file.SetFileName(TxString("/elsewhere"));
  }  // the File is gone; the entry owns nothing of it
  DirEntry const& entry = array[0];
  EXPECT_EQ(typeid(entry), typeid(DirEntry));
  EXPECT_EQ(entry.m_type, DirEntry::kFileEntry);
  EXPECT_EQ(Str(entry.m_name), "/tmp/some-file-name");
  EXPECT_EQ(entry.m_size, 9u);
  File defaultFile;
  EXPECT_EQ(defaultFile.m_type, DirEntry::kFileEntry);
}

}  // namespace
