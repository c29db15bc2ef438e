#include "file/PIRingBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Tevrol::ULong;

// One operation on a ring: 'a' Add(text) giving result; 'p' Get (peek) and
// 'g' Remove with a target, each of count bytes, giving text; 'r' Remove(count);
// 'h' RemoveHead(count); 's' SetSize(count); 'c' ClearAll.
struct Step {
  char op;
  std::string text;
  ULong count;
  ULong result;
};

struct Case {
  char const* name;
  ULong size;
  std::vector<Step> steps;
  std::string content;  // the stored bytes afterwards, oldest first
  ULong available;
};

std::string Content(PIRingBuffer& ring) {
  std::string bytes(ring.GetSize() + 1, '\0');
  ULong const got = ring.Get(reinterpret_cast<unsigned char*>(&bytes[0]), ring.GetSize() + 1);
  bytes.resize(got);
  return bytes;
}

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(&text[0]);
}

TEST(PIRingBufferTest, OperationsLeaveTheExpectedBytes) {
  std::string const abc = "abc";
  std::string const twenty = "ABCDEFGHIJKLMNOPQRST";
  std::vector<Case> const cases = {
      {"fills completely", 8, {{'a', "abcdefgh", 0, 8}}, "abcdefgh", 0},
      {"one more overruns two", 8, {{'a', "abcdefgh", 0, 8}, {'a', "i", 0, 1}}, "cdefghi", 1},
      {"20 into empty keeps first 8", 8, {{'a', twenty, 0, 8}}, "ABCDEFGH", 0},
      {"20 into one held keeps 2nd to 8th",
       8,
       {{'a', "x", 0, 1}, {'a', twenty, 0, 8}},
       "BCDEFGH",
       1},
      {"ring of one stays full on overrun", 1, {{'a', "a", 0, 1}, {'a', "b", 0, 1}}, "b", 0},
      {"get twice, then remove with target",
       8,
       {{'a', abc, 0, 3}, {'p', "ab", 2, 0}, {'p', "ab", 2, 0}, {'g', "ab", 2, 0}},
       "c",
       7},
      {"remove more than stored empties", 8, {{'a', abc, 0, 3}, {'r', "", 100, 0}}, "", 8},
      {"remove with target is limited", 8, {{'a', abc, 0, 3}, {'g', abc, 100, 0}}, "", 8},
      {"remove head drops newest", 8, {{'a', abc, 0, 3}, {'h', "", 1, 0}}, "ab", 6},
      {"remove head on full clears full",
       8,
       {{'a', "abcdefgh", 0, 8}, {'h', "", 1, 0}},
       "abcdefg",
       1},
      {"remove head more than stored", 8, {{'a', abc, 0, 3}, {'h', "", 9, 0}}, "", 8},
      {"wrapped data come out in order",
       8,
       {{'a', "abcdef", 0, 6}, {'g', "abcd", 4, 0}, {'a', "ghijk", 0, 5}},
       "efghijk",
       1},
      {"wrapped overrun",
       8,
       {{'a', "abcdef", 0, 6}, {'r', "", 4, 0}, {'a', "123456789", 0, 8}},
       "2345678",
       1},
      {"remove with count 0 keeps", 8, {{'a', abc, 0, 3}, {'r', "", 0, 0}}, abc, 5},
      {"add of nothing", 8, {{'a', "", 0, 0}}, "", 8},
      {"ring of size 0 takes nothing", 0, {{'a', abc, 0, 0}, {'g', "", 5, 0}}, "", 0},
      {"set size empties", 8, {{'a', abc, 0, 3}, {'s', "", 4, 1}}, "", 4},
      {"clear all empties full", 8, {{'a', "abcdefgh", 0, 8}, {'c', "", 0, 0}}, "", 8},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    PIRingBuffer ring(c.size);
    for (Step const& step : c.steps) {
      std::string text = step.text;
      std::string out(step.count, '\0');
      switch (step.op) {
        case 'a':
          EXPECT_EQ(ring.Add(Bytes(text), static_cast<ULong>(text.size())), step.result);
          break;
        case 'p':
        case 'g': {
          ULong const got = step.op == 'p' ? ring.Get(Bytes(out), step.count)
                                           : ring.Remove(Bytes(out), step.count);
          EXPECT_EQ(out.substr(0, got), step.text);
          break;
        }
        case 'r':
          ring.Remove(step.count);
          break;
        case 'h':
          ring.RemoveHead(step.count);
          break;
        case 's':
          EXPECT_EQ(ring.SetSize(step.count), step.result);
          break;
        case 'c':
          ring.ClearAll();
          break;
      }
    }
    EXPECT_EQ(Content(ring), c.content);
    EXPECT_EQ(ring.GetOccupiedSpace(), c.content.size());
    EXPECT_EQ(ring.GetAvailableSpace(), c.available);
    EXPECT_EQ(ring.IsEmpty(), c.content.empty());
  }
}

// GetReadBuffer gives the stretch to fill at the write position; Add(count)
// commits what the caller wrote there.
TEST(PIRingBufferTest, DirectFillThroughReadBuffer) {
  struct Row {
    char const* name;
    ULong size;
    std::string before;  // added first
    ULong removed;       // then dropped from the front
    long areaOffset;     // expected area - storage start, -1: untouched
    ULong stretch;
  };
  std::vector<Row> const rows = {
      {"new ring: all of it", 8, "", 0, 0, 8},
      {"up to the end", 8, "abc", 1, 3, 5},
      {"up to the read position when ahead", 8, "abcdefgh", 3, 0, 3},
      {"full ring: none", 8, "abcdefgh", 0, -1, 0},
      {"ring of size 0: none", 0, "", 0, -1, 0},
  };
  for (Row const& row : rows) {
    SCOPED_TRACE(row.name);
    PIRingBuffer ring(row.size);
    unsigned char* start = nullptr;  // a new ring's stretch starts at its storage
    ULong ignored = 0;
    ring.GetReadBuffer(&start, &ignored);
    std::string before = row.before;
    ring.Add(Bytes(before), static_cast<ULong>(before.size()));
    ring.Remove(row.removed);
    unsigned char sentinel = 0;
    unsigned char* area = &sentinel;
    ULong size = 99;
    ring.GetReadBuffer(&area, &size);
    EXPECT_EQ(size, row.stretch);
    if (row.areaOffset < 0) {
      EXPECT_EQ(area, &sentinel);
      continue;
    }
    EXPECT_EQ(area - start, row.areaOffset);
    // The stretch lies at the write position; filling and committing it
    // appends those bytes.
    std::string const expected = Content(ring) + std::string(size, 'z');
    for (ULong i = 0; i < size; ++i) area[i] = 'z';
    EXPECT_EQ(ring.Add(size), size);
    EXPECT_EQ(Content(ring), expected);
  }
  PIRingBuffer empty(0);
  EXPECT_EQ(empty.Add(3), 0u);
  EXPECT_TRUE(empty.IsEmpty());
}

}  // namespace
