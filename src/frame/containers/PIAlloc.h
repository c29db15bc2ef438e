#ifndef TEVROL_FRAME_CONTAINERS_PIALLOC_H
#define TEVROL_FRAME_CONTAINERS_PIALLOC_H

#include <cstddef>
#include <new>

#include "frame/TevrolTypes.h"

// Allocation policy of the containers. Descriptor is a tag that names the
// user of the memory; Allocator supplies it. With PIDefaultAllocator all
// memory comes from the global operator new and goes back through the global
// operator delete. Results are not checked: the containers report no errors.
template <class Descriptor, class Allocator>
struct PIAlloc {
  static void* Alloc(std::size_t bytes) { return Allocator::Alloc(bytes); }
  static void Free(void* block) { Allocator::Free(block); }
};

// The global allocator.
struct PIDefaultAllocator {
  static void* Alloc(std::size_t bytes) { return ::operator new(bytes); }
  static void Free(void* block) { ::operator delete(block); }
};

// Tags for PIAlloc's Descriptor. They carry no data; they sit in a struct so
// that their names do not clash with the container templates of the same name.
struct PICommonAllocDescriptors {
  struct PIArray {};
  struct PIList {};
  struct PIMap {};
  struct ObjectPool {};
};

// Node blocks of PIList and PIMap. A block is one allocation: a header that
// links the block allocated before it, followed by the nodes. Nodes are never
// freed one by one; a container gives back all its blocks at once.
namespace PIDetail {

template <class Node>
constexpr std::size_t NodeBlockHeaderBytes() {
  return (sizeof(void*) + alignof(Node) - 1) / alignof(Node) * alignof(Node);
}

// Allocates a block of `count` nodes, links it in front of `blocks`, and
// returns `freeList` with the new nodes pushed on it from the last to the
// first, so that the first node of the block is handed out first.
template <class Node, class Alloc>
Node* NewNodeBlock(void*& blocks, Tevrol::Long count, Node* freeList) {
  static_assert(alignof(Node) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
                "node blocks come from operator new, which aligns for ordinary types only");
  constexpr std::size_t header = NodeBlockHeaderBytes<Node>();
  void* block = Alloc::Alloc(header + static_cast<std::size_t>(count) * sizeof(Node));
  ::new (block) void*(blocks);
  blocks = block;
  unsigned char* const nodes = static_cast<unsigned char*>(block) + header;
  for (Tevrol::Long i = count; i > 0; --i) {
    Node* node =
        ::new (static_cast<void*>(nodes + static_cast<std::size_t>(i - 1) * sizeof(Node))) Node;
    node->m_next = freeList;
    freeList = node;
  }
  return freeList;
}

// Frees the whole chain and leaves `blocks` null.
template <class Alloc>
void FreeNodeBlocks(void*& blocks) {
  while (blocks != nullptr) {
    void* const previous = *static_cast<void**>(blocks);
    Alloc::Free(blocks);
    blocks = previous;
  }
}

}  // namespace PIDetail

#endif
