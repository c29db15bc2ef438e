#include "config/ConfigSystemManagerImpl.h"

#include <cstring>

#include "config/ConfigSystemImpl.h"
#include "file/FileOperations.h"
#include "frame/Accessors.h"

ConfigSystemManagerImpl::ConfigSystemManagerImpl() {
  // Both register their exit handlers before this object does.
  TimerCtrl_GetInstance();
  Tevrol::File::FileOperations::StartUp();
}

ConfigSystemManagerImpl::~ConfigSystemManagerImpl() {
  char const* name = nullptr;
  ConfigSystem* system = nullptr;
  m_configSystems.Rewind();
  if (m_configSystems.m_nextEntry != nullptr) {
    for (bool more = true; more;) {
      more = m_configSystems.GetNextEntry(name, system);
      if (system != nullptr) system->Shutdown();
    }
  }
  m_configSystems.Rewind();
  if (m_configSystems.m_nextEntry != nullptr) {
    for (bool more = true; more;) {
      more = m_configSystems.GetNextEntry(name, system);
      delete system;
      system = nullptr;
      m_configSystems.RemoveCurrent();
      delete[] name;
      name = nullptr;
    }
  }
}

ConfigSystem* ConfigSystemManagerImpl::GetConfigSystem(char const* name) {
  if (name == nullptr) return nullptr;
  m_managerLock.Lock();
  SystemMap::CEntry* const entry = m_configSystems.Lookup(name);
  ConfigSystem* system = entry != nullptr ? entry->m_value : nullptr;
  if (entry == nullptr) {
    const std::size_t size = std::strlen(name) + 1;
    char* const copy = new char[size];
    std::memcpy(copy, name, size);
    system = new ConfigSystemImpl();
    // The map owns the copy from here (the destructor frees it); the lookup
    // above, under the same lock, found no entry of the name.
    m_configSystems[copy] = system;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
  }
  m_managerLock.Unlock();
  return system;
}

ConfigSystemManager* ConfigSystemManager_GetInstance() {
  static ConfigSystemManagerImpl s_instance;
  return &s_instance;
}
