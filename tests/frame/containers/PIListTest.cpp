#include "frame/containers/PIList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using Tevrol::ULong;
using List = PIList<ULong, ULong, NullLocking,
                    PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;
using Node = List::CNode;

// Compares the list with `model` along m_next, checking m_prev, m_tail,
// m_count and Find on the way. Every node of every block must be in the list
// or on m_freeList, and an empty list must have given its blocks back.
void ExpectList(List const& list, std::vector<ULong> const& model) {
  SCOPED_TRACE(::testing::Message() << "expecting " << ::testing::PrintToString(model));
  std::vector<ULong> values;
  Node* last = nullptr;
  for (Node* node = list.m_head; node != nullptr; last = node, node = node->m_next) {
    EXPECT_EQ(node->m_prev, last);
    bool const seen = std::count(values.begin(), values.end(), node->m_value) > 0;
    EXPECT_TRUE(seen || list.Find(node->m_value) == node) << "Find gives the first match";
    values.push_back(node->m_value);
  }
  Tevrol::Long nodes = list.m_count, blocks = 0;
  for (Node* node = list.m_freeList; node != nullptr; node = node->m_next) ++nodes;
  for (void* block = list.m_blocks; block != nullptr; block = *static_cast<void**>(block)) ++blocks;
  EXPECT_EQ(values, model);
  EXPECT_EQ(list.m_tail, last);
  EXPECT_EQ(list.m_count, static_cast<Tevrol::Long>(values.size()));
  EXPECT_EQ(nodes, blocks * list.m_blockSize) << "nodes were lost";
  EXPECT_EQ(list.m_blocks == nullptr, model.empty()) << "an empty list gives its blocks back";
}

// Insertions and removals at the head, inside and at the tail, with blocks
// of two nodes; the list is checked after every step.
TEST(PIListTest, EditsKeepLinksCountsAndBlocks) {
  List list(2);
  auto const step = [&](auto edit, std::vector<ULong> const& expected) {
    edit();
    ExpectList(list, expected);
  };
  step([&] { list.AddTail(2), list.AddHead(1), list.InsertBefore(list.AddTail(4), 3); },
       {1, 2, 3, 4});
  step([&] { list.InsertBefore(list.m_head, 0), list.InsertBefore(nullptr, 5), list.AddTail(3); },
       {0, 1, 2, 3, 4, 5, 3});  // a null position is past the tail
  step([&] { list.RemoveAt(list.m_head), list.RemoveAt(list.m_tail); }, {1, 2, 3, 4, 5});
  step([&] { list.RemoveAt(list.m_head->m_next->m_next); }, {1, 2, 4, 5});
  step([&] { EXPECT_EQ(list.RemoveHead(), 1u); }, {2, 4, 5});
  step([&] { list.RemoveAt(list.m_tail), list.RemoveAt(list.m_head); }, {4});
  step([&] { list.RemoveAt(list.m_head); }, {});        // the blocks go back
  step([&] { EXPECT_EQ(list.RemoveHead(), 0u); }, {});  // an empty list gives a zero value
  step([&] { list.AddHead(7); }, {7});
  step([&] { EXPECT_EQ(list.RemoveHead(), 7u); }, {});
  list.SetLock(nullptr);
  EXPECT_NE(list.GetLock(), nullptr) << "PIList keeps its own lock";
}

TEST(PIListTest, BlocksHandOutTheirFirstNodeFirstAndAWalkMayRemoveItsNode) {
  List list(4);
  std::vector<Node*> nodes;
  for (ULong i = 0; i < 25; ++i) nodes.push_back(static_cast<Node*>(list.AddTail(i)));
  for (std::size_t i = 0; i < nodes.size(); ++i) EXPECT_EQ(nodes[i], nodes[i - i % 4] + i % 4) << i;
  for (Node *node = list.m_head, *next; node != nullptr; node = next) {
    next = node->m_next;  // read before the removal reuses it
    if (node->m_value % 2 == 1) list.RemoveAt(node);
  }
  ExpectList(list, {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24});
  EXPECT_EQ(list.NewNode(nullptr, nullptr), nodes[23]) << "the node freed last comes first";
  EXPECT_EQ(nodes[23]->m_value, 0u) << "NewNode zeroes the value";
}

}  // namespace
