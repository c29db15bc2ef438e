#include "frame/containers/PIList.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using List = PIList<Tevrol::ULong, Tevrol::ULong, NullLocking,
                    PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;
using Node = List::CNode;

// The values from head to tail; checks the back links, m_tail and m_count
// on the way.
std::vector<Tevrol::ULong> Contents(List const& list) {
  std::vector<Tevrol::ULong> out;
  Node* prev = nullptr;
  for (Node* node = list.m_head; node != nullptr; node = node->m_next) {
    EXPECT_EQ(node->m_prev, prev) << "back link of node " << out.size();
    out.push_back(node->m_value);
    prev = node;
  }
  EXPECT_EQ(list.m_tail, prev);
  EXPECT_EQ(list.m_count, static_cast<Tevrol::Long>(out.size()));
  return out;
}

void* PreviousBlock(void* block) {
  return *static_cast<void**>(block);
}

TEST(PIListTest, InsertionsLinkInOrder) {
  List list;
  __PI_POS* const two = list.AddTail(2);
  list.AddHead(1);
  __PI_POS* const four = list.AddTail(4);
  list.InsertBefore(four, 3);
  list.InsertBefore(list.m_head, 0);
  list.InsertBefore(nullptr, 5);  // before the end: appends
  EXPECT_EQ(Contents(list), (std::vector<Tevrol::ULong>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(static_cast<Node*>(two)->m_value, 2u);
}

TEST(PIListTest, FirstNodeOfABlockIsHandedOutFirst) {
  for (Tevrol::Long const blockSize : {1, 10, 32}) {
    SCOPED_TRACE(::testing::Message() << "block size " << blockSize);
    List list(blockSize);
    EXPECT_EQ(list.m_blocks, nullptr);
    std::vector<Node*> nodes;
    for (Tevrol::Long i = 0; i < blockSize; ++i) {
      nodes.push_back(static_cast<Node*>(list.AddTail(static_cast<Tevrol::ULong>(i))));
    }
    void* const first = list.m_blocks;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(PreviousBlock(first), nullptr);
    EXPECT_EQ(list.m_freeList, nullptr) << "one block holds exactly the block size";
    for (Tevrol::Long i = 0; i < blockSize; ++i) {
      EXPECT_EQ(nodes[static_cast<std::size_t>(i)], nodes[0] + i) << "node " << i;
    }
    EXPECT_GT(static_cast<void*>(nodes[0]), first) << "the header comes first";

    // The next node needs a new block, linked in front of the first.
    Node* const next = static_cast<Node*>(list.AddTail(99));
    EXPECT_NE(list.m_blocks, first);
    EXPECT_EQ(PreviousBlock(list.m_blocks), first);
    EXPECT_GT(static_cast<void*>(next), list.m_blocks);
    EXPECT_EQ(list.m_count, blockSize + 1);
  }
}

TEST(PIListTest, EmptiedListGivesItsBlocksBack) {
  enum Removal { kRemoveAtHead, kRemoveAtTail, kRemoveHead };
  for (Removal const removal : {kRemoveAtHead, kRemoveAtTail, kRemoveHead}) {
    SCOPED_TRACE(::testing::Message() << "removal " << removal);
    List list(2);
    list.AddTail(1);
    list.AddTail(2);
    list.AddTail(3);  // a second block
    for (int i = 0; i < 3; ++i) {
      ASSERT_NE(list.m_blocks, nullptr) << "blocks stay while nodes are left";
      switch (removal) {
        case kRemoveAtHead:
          list.RemoveAt(list.m_head);
          break;
        case kRemoveAtTail:
          list.RemoveAt(list.m_tail);
          break;
        case kRemoveHead:
          EXPECT_EQ(list.RemoveHead(), static_cast<Tevrol::ULong>(i + 1));
          break;
      }
    }
    EXPECT_EQ(list.m_head, nullptr);
    EXPECT_EQ(list.m_tail, nullptr);
    EXPECT_EQ(list.m_count, 0);
    EXPECT_EQ(list.m_freeList, nullptr);
    EXPECT_EQ(list.m_blocks, nullptr);

    list.AddTail(4);
    EXPECT_NE(list.m_blocks, nullptr) << "the next insertion allocates";
    EXPECT_EQ(Contents(list), (std::vector<Tevrol::ULong>{4}));
  }
}

TEST(PIListTest, RemovedNodeIsReusedAndZeroed) {
  List list;
  list.AddTail(1);
  __PI_POS* const middle = list.AddTail(7);
  list.AddTail(3);
  void* const blocks = list.m_blocks;
  list.RemoveAt(middle);
  EXPECT_EQ(Contents(list), (std::vector<Tevrol::ULong>{1, 3}));
  EXPECT_EQ(list.m_freeList, middle);

  Node* const node = list.NewNode(nullptr, nullptr);
  EXPECT_EQ(node, middle);
  EXPECT_EQ(node->m_value, 0u) << "NewNode zeroes the value";
  EXPECT_EQ(list.m_count, 3);
  EXPECT_EQ(list.m_blocks, blocks);
  list.RemoveAll();  // the unlinked node is counted but not in the chain
}

TEST(PIListTest, WalkMayRemoveTheNodeItStandsOn) {
  List list;
  for (Tevrol::ULong i = 1; i <= 25; ++i) {
    list.AddTail(i);
  }
  for (Node* node = list.m_head; node != nullptr;) {
    Node* const next = node->m_next;
    if (node->m_value % 2 == 1) {
      list.RemoveAt(node);
    }
    node = next;
  }
  std::vector<Tevrol::ULong> even;
  for (Tevrol::ULong i = 2; i <= 24; i += 2) {
    even.push_back(i);
  }
  EXPECT_EQ(Contents(list), even);

  for (Node* node = list.m_head; node != nullptr;) {
    Node* const next = node->m_next;
    list.RemoveAt(node);
    node = next;
  }
  EXPECT_EQ(list.m_count, 0);
  EXPECT_EQ(list.m_blocks, nullptr);
}

TEST(PIListTest, FindAndEdgeRemovals) {
  List list;
  EXPECT_EQ(list.Find(1), nullptr);
  EXPECT_EQ(list.RemoveHead(), 0u) << "an empty list gives a zero value";
  list.RemoveAt(nullptr);
  EXPECT_EQ(list.m_blocks, nullptr);

  list.AddTail(5);
  __PI_POS* const first6 = list.AddTail(6);
  list.AddTail(6);
  EXPECT_EQ(list.Find(6), first6) << "the first match from the head";
  EXPECT_EQ(list.Find(7), nullptr);
}

TEST(PIListTest, OwnLockIsKept) {
  List list;
  NullLocking* const own = list.GetLock();
  EXPECT_NE(own, nullptr);
  NullLocking external;
  list.SetLock(&external);
  EXPECT_EQ(list.GetLock(), own);

  PIListExtL<Tevrol::ULong, Tevrol::ULong, NullLocking,
             PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>, true>
      extl;
  EXPECT_EQ(extl.GetLock(), nullptr);
  extl.SetLock(&external);
  EXPECT_EQ(extl.GetLock(), &external);
}

}  // namespace
