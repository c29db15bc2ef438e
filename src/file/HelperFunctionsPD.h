#ifndef TEVROL_FILE_HELPERFUNCTIONSPD_H
#define TEVROL_FILE_HELPERFUNCTIONSPD_H

#include <cstddef>

// Platform layer of HelperFunctions; internal, not installed.
class HelperFunctionsPD {
 public:
  // The process's argument vector as it was started, ending with a null
  // entry; stands in for QNX's _argv. Read at the first call that succeeds
  // and kept for the life of the process; until then every call reads again,
  // and one that cannot read gives an empty vector. No lock once kept.
  static char const* const* GetArgv();
  // getcwd into buffer; when it fails, the strerror text of its errno.
  static char const* GetCurrentWorkingDirectory(char* buffer, std::size_t size);
};

#endif
