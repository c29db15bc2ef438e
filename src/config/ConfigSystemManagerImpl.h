#ifndef TEVROL_CONFIG_CONFIGSYSTEMMANAGERIMPL_H
#define TEVROL_CONFIG_CONFIGSYSTEMMANAGERIMPL_H

#include "config/ConfigSystem.h"
#include "config/ConfigSystemManager.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIMap.h"
#include "frame/containers/PIObjectExtL.h"
#include "threads/CriticalSection.h"

// Brings up the timer service and the file services' shared constants
// before itself, so that both outlive it at exit.
class ConfigSystemManagerImpl : public ConfigSystemManager {
 public:
  using SystemMap = PIMap<char const*, char const*, ConfigSystem*, ConfigSystem*, NullLocking,
                          PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;

  ConfigSystemManagerImpl();
  // Shuts every system down, then deletes them with their names, without
  // m_managerLock.
  virtual ~ConfigSystemManagerImpl();
  ConfigSystemManagerImpl(ConfigSystemManagerImpl const&) = delete;
  ConfigSystemManagerImpl& operator=(ConfigSystemManagerImpl const&) = delete;

  ConfigSystem* GetConfigSystem(char const* name) override;

 private:
  SystemMap m_configSystems;      // names (array new) and systems owned
  CriticalSection m_managerLock;  // guards m_configSystems, held while a system is made
};

#endif
