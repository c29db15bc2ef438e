#include "names/TevrolIdProviderImpl.h"

#include <cstring>

#include "frame/Accessors.h"

namespace {
// One constant pointer, so all null and empty names share one entry.
char const kNullName[] = "NULL_name";
}  // namespace

TevrolIdProvider::~TevrolIdProvider() = default;

Tevrol::Word TevrolIdProviderImpl::AddName(char const* name) {
  if (name == nullptr || name[0] == '\0') {
    name = kNullName;
  }
  const Tevrol::Word key = reinterpret_cast<Tevrol::Word>(name);
  m_registry.m_registryLock.Lock();
  // The pointer counts, not the text at it: a reused pointer keeps its first name.
  NameRegistry::Entries::CEntry* entry = m_registry.m_entries.Lookup(key);
  char* copy = entry != nullptr ? entry->m_value : nullptr;
  if (copy == nullptr) {
    const std::size_t size = std::strlen(name) + 1;
    copy = new char[size];
    std::memcpy(copy, name, size);
    m_registry.m_entries[key] = copy;
  }
  m_registry.m_registryLock.Unlock();
  return reinterpret_cast<Tevrol::Word>(copy);
}

Tevrol::Word TevrolIdProviderImpl::GetTevrolId(char const* name) {
  return m_registry.FindKey(name);
}

TevrolIdProvider* TevrolIdProvider_GetInstance() {
  static TevrolIdProviderImpl s_instance;
  return &s_instance;
}
