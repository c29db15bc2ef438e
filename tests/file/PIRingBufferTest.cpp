#include "file/PIRingBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using Tevrol::ULong;

std::string Content(PIRingBuffer& ring) {
  std::string bytes(ring.GetSize() + 1, '\0');
  ULong const got = ring.Get(reinterpret_cast<unsigned char*>(&bytes[0]), ring.GetSize() + 1);
  bytes.resize(got);
  return bytes;
}

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(&text[0]);
}

// Steps, separated by blanks: "a<text>=<result>" Add(text); "p<n>=<text>" Get
// (peek) and "g<n>=<text>" Remove with a target of n bytes; "r<n>" Remove(n);
// "h<n>" RemoveHead(n); "s<n>=<result>" SetSize(n); "c" ClearAll.
TEST(PIRingBufferTest, OperationsLeaveTheExpectedBytes) {
  struct Case {
    char const* name;
    ULong size;
    char const* steps;
    std::string content;  // the stored bytes afterwards, oldest first
    ULong available;
  } const cases[] = {
      {"one more overruns two", 8, "aabcdefgh=8 ai=1", "cdefghi", 1},
      {"20 into empty keeps first 8", 8, "aABCDEFGHIJKLMNOPQRST=8", "ABCDEFGH", 0},
      {"20 into one held keeps 2nd to 8th", 8, "ax=1 aABCDEFGHIJKLMNOPQRST=8", "BCDEFGH", 1},
      {"ring of one stays full on overrun", 1, "aa=1 ab=1", "b", 0},
      {"get twice, then remove with target", 8, "aabc=3 p2=ab p2=ab g2=ab", "c", 7},
      {"remove more than stored empties", 8, "aabc=3 r100", "", 8},
      {"remove with target is limited", 8, "aabc=3 g100=abc", "", 8},
      {"remove head drops newest", 8, "aabc=3 h1", "ab", 6},
      {"remove head on full clears full", 8, "aabcdefgh=8 h1", "abcdefg", 1},
      {"remove head more than stored", 8, "aabc=3 h9", "", 8},
      {"wrapped data come out in order", 8, "aabcdef=6 g4=abcd aghijk=5", "efghijk", 1},
      {"wrapped overrun", 8, "aabcdef=6 r4 a123456789=8", "2345678", 1},
      {"remove with count 0 keeps", 8, "aabc=3 r0", "abc", 5},
      {"add of nothing", 8, "a=0", "", 8},
      {"ring of size 0 takes nothing", 0, "aabc=0 g5=", "", 0},
      {"set size empties", 8, "aabc=3 s4=1", "", 4},
      {"clear all empties full", 8, "aabcdefgh=8 c", "", 8},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.name);
    PIRingBuffer ring(c.size);
    std::istringstream steps(c.steps);
    for (std::string step; steps >> step;) {
      std::size_t const equals = std::min(step.find('='), step.size());
      std::string argument = step.substr(1, equals - 1);
      std::string const expected = equals < step.size() ? step.substr(equals + 1) : "";
      ULong const count = step[0] == 'a' || step[0] == 'c' ? 0 : std::stoul(argument);
      std::string out(count, '\0');
      switch (step[0]) {
        case 'a':
          EXPECT_EQ(std::to_string(ring.Add(Bytes(argument), ULong(argument.size()))), expected);
          break;
        case 'p':
          EXPECT_EQ(out.substr(0, ring.Get(Bytes(out), count)), expected) << step;
          break;
        case 'g':
          EXPECT_EQ(out.substr(0, ring.Remove(Bytes(out), count)), expected) << step;
          break;
        case 'r':
          ring.Remove(count);
          break;
        case 'h':
          ring.RemoveHead(count);
          break;
        case 's':
          EXPECT_EQ(std::to_string(ring.SetSize(count)), expected);
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
  } const rows[] = {
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

// TakeUntil is byte-wise Remove without the calls: on rings of every fill
// and every offset, wrapped or full, both take the same bytes, stop after
// the same byte, and leave the same ring behind.
TEST(PIRingBufferTest, TakeUntilTakesWhatByteWiseRemovesTake) {
  for (ULong size = 1; size <= 6; ++size) {
    for (ULong offset = 0; offset < size; ++offset) {
      for (ULong fill = 0; fill <= size; ++fill) {
        for (ULong max = 0; max <= size + 1; ++max) {
          SCOPED_TRACE(::testing::Message() << "size " << size << " offset " << offset << " fill "
                                            << fill << " max " << max);
          std::string bytes = "abcde\nfgh";
          PIRingBuffer taking(size);
          PIRingBuffer removing(size);
          for (PIRingBuffer* ring : {&taking, &removing}) {
            ring->Add(Bytes(bytes), offset);
            ring->Remove(offset);
            ring->Add(Bytes(bytes), fill);
          }
          unsigned char taken[16] = {};
          ULong const count = taking.TakeUntil(taken, max, '\n');
          std::string expected;
          unsigned char byte = 0;
          while (expected.size() < max && removing.Remove(&byte, 1) == 1) {
            expected += static_cast<char>(byte);
            if (byte == '\n') break;
          }
          EXPECT_EQ(std::string(reinterpret_cast<char*>(taken), count), expected);
          EXPECT_EQ(Content(taking), Content(removing));
          EXPECT_EQ(taking.IsEmpty(), removing.IsEmpty());
          EXPECT_EQ(taking.GetAvailableSpace(), removing.GetAvailableSpace());
        }
      }
    }
  }
}

}  // namespace
