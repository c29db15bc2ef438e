#ifndef TEVROL_FILE_PDENVINFORMATION_H
#define TEVROL_FILE_PDENVINFORMATION_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// Platform layer of the path helpers: the home folder, the per-user
// configuration folder and the path of the running executable. All static.
// The texts returned are owned by the library (or the environment) and are
// not to be freed. Reading "HOME" must not race with a change of the
// environment.
class TEVROL_EXPORT PDEnvInformation {
 public:
  // The value of "HOME" (set but empty counts as set), else "/tmp". Not copied.
  static char const* GetHomePath();
  // The home path followed by "/.7loom", built once into s_configPath at the
  // first call and kept for the life of the process, even if "HOME" changes
  // later. Creates no folder.
  static char const* GetConfigPath();
  // Writes the full path of the running executable into buffer with strncpy
  // (no terminating zero when the path has size bytes or more) and returns
  // the path's full length, which may exceed size; -1, leaving buffer alone,
  // when it cannot be read.
  static Tevrol::Long GetExecutablePath(char* buffer, Tevrol::ULong size);

  // Zero until the first GetConfigPath; then that call's buffer (array new), never freed.
  static char* s_configPath;
};

#endif
