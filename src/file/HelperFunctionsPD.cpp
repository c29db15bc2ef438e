// Platform layer of HelperFunctions: the only code of the text path helpers
// that asks the OS.
#include "file/HelperFunctionsPD.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// The zero-separated arguments of /proc/self/cmdline, split in place. Under
// qemu-user that file is emulated and holds the guest's arguments.
struct ArgumentVector {
  std::vector<char> bytes;
  std::vector<char const*> argv;

  ArgumentVector() {
    if (std::FILE* const file = std::fopen("/proc/self/cmdline", "rb")) {
      char chunk[512];
      std::size_t got = 0;
      while ((got = std::fread(chunk, 1, sizeof(chunk), file)) > 0) {
        bytes.insert(bytes.end(), chunk, chunk + got);
      }
      std::fclose(file);
    }
    if (!bytes.empty() && bytes.back() != '\0') {
      bytes.push_back('\0');  // a cut last argument still ends
    }
    for (std::size_t i = 0; i < bytes.size(); i += std::strlen(&bytes[i]) + 1) {
      argv.push_back(&bytes[i]);
    }
    argv.push_back(nullptr);
  }
};

}  // namespace

char const* const* HelperFunctionsPD::GetArgv() {
  // Read when first needed, never at load.
  static const ArgumentVector s_arguments;
  return s_arguments.argv.data();
}

char const* HelperFunctionsPD::GetCurrentWorkingDirectory(char* buffer, std::size_t size) {
  if (getcwd(buffer, size) == nullptr) {
    return std::strerror(errno);
  }
  return buffer;
}
