#ifndef TEVROL_CONFIG_CONFIGSYSTEMMANAGER_H
#define TEVROL_CONFIG_CONFIGSYSTEMMANAGER_H

#include "config/ConfigSystem.h"
#include "frame/Accessors.h"
#include "frame/TevrolExport.h"

// The process-wide register of configuration systems
// (ConfigSystemManager_GetInstance). Its first use brings up the timer
// service, which outlives it. At exit every system is shut down, then
// deleted: pending changes never reach a file and no timer fires.
class TEVROL_EXPORT ConfigSystemManager {
 public:
  // The system of that name, made empty at the first call; the same object
  // for every later call. Null for a null name; "" is a valid name. Any
  // thread may call it. The manager owns the system.
  virtual ConfigSystem* GetConfigSystem(char const* name) = 0;

 protected:
  ~ConfigSystemManager() = default;
};

#endif
