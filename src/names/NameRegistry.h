#ifndef TEVROL_NAMES_NAMEREGISTRY_H
#define TEVROL_NAMES_NAMEREGISTRY_H

#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIMap.h"
#include "frame/containers/PIObjectExtL.h"
#include "threads/CriticalSection.h"

// The state both registries share: a map from a one-word key to a stored
// text, guarded by one lock. Entries are never removed; the texts (array new)
// are freed when the registry goes.
class NameRegistry {
 public:
  using Entries = PIMap<Tevrol::Word, Tevrol::Word, char*, char*, NullLocking,
                        PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;

  NameRegistry() = default;
  ~NameRegistry();
  NameRegistry(NameRegistry const&) = delete;
  NameRegistry& operator=(NameRegistry const&) = delete;

  // The key of the first entry, in iteration order, whose text equals
  // `name`; 0 for null, "" or no match.
  Tevrol::Word FindKey(char const* name);

  CriticalSection m_registryLock;  // guards m_entries, its cursor included
  Entries m_entries;
};

#endif
