#include "names/NameRegistry.h"

#include <cstring>

NameRegistry::~NameRegistry() {
  // Exit: no other thread may use the registry any more, so no lock.
  Tevrol::Word key = 0;
  char* text = nullptr;
  m_entries.Rewind();
  if (m_entries.m_nextEntry != nullptr) {
    bool more = true;
    while (more) {
      more = m_entries.GetNextEntry(key, text);
      delete[] text;
      text = nullptr;
    }
  }
  m_entries.RemoveAll();
}

Tevrol::Word NameRegistry::FindKey(char const* name) {
  if (name == nullptr || name[0] == '\0') {
    return 0;
  }
  m_registryLock.Lock();
  Tevrol::Word found = 0;
  Tevrol::Word key = 0;
  char* text = nullptr;
  m_entries.Rewind();
  if (m_entries.m_nextEntry != nullptr) {
    bool more = true;
    while (more && found == 0) {
      more = m_entries.GetNextEntry(key, text);
      if (text != nullptr && std::strcmp(name, text) == 0) {
        found = key;
      }
    }
  }
  m_registryLock.Unlock();
  return found;
}
