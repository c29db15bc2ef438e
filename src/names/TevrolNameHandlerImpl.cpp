#include "names/TevrolNameHandlerImpl.h"

#include <cstring>

#include "frame/Accessors.h"

TevrolNameHandler::~TevrolNameHandler() = default;

Tevrol::Word TevrolNameHandlerImpl::AddName(char const* name) {
  char* copy = nullptr;
  if (name == nullptr || name[0] == '\0') {
    copy = new char[16];
    std::memcpy(copy, "__NULL_Name", sizeof "__NULL_Name");
  } else {
    const std::size_t length = std::strlen(name);
    copy = new char[length + 3];
    copy[0] = '_';
    copy[1] = '_';
    std::memcpy(copy + 2, name, length + 1);
  }
  const Tevrol::Word id = reinterpret_cast<Tevrol::Word>(copy);
  m_registry.m_registryLock.Lock();
  m_registry.m_entries[id] = copy;
  m_registry.m_registryLock.Unlock();
  return id;
}

Tevrol::Word TevrolNameHandlerImpl::GetTevrolId(char const* name) {
  return m_registry.FindKey(name);
}

void TevrolNameHandlerImpl::MarkItemAsDeleted(Tevrol::Word id) {
  m_registry.m_registryLock.Lock();
  NameRegistry::Entries::CEntry* entry = m_registry.m_entries.Lookup(id);
  if (entry != nullptr && entry->m_value != nullptr) {
    // Atomic: CheckDeletion reads this byte without the lock.
    __atomic_store_n(&entry->m_value[0], 'd', __ATOMIC_RELAXED);
  }
  m_registry.m_registryLock.Unlock();
}

bool TevrolNameHandlerImpl::CheckDeletion(Tevrol::Word id) {
  return __atomic_load_n(reinterpret_cast<char*>(id), __ATOMIC_RELAXED) == 'd';
}

TevrolNameHandler* TevrolNameHandler_GetInstance() {
  static TevrolNameHandlerImpl s_instance;
  return &s_instance;
}
