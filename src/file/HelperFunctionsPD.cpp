// Platform layer of HelperFunctions: the only code of the text path helpers
// that asks the OS.
#include "file/HelperFunctionsPD.h"

#include <unistd.h>

#include <atomic>
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
  bool complete = false;  // the file opened and read to its end without an error

  ArgumentVector() {
    if (std::FILE* const file = std::fopen("/proc/self/cmdline", "rb")) {
      char chunk[512];
      std::size_t got = 0;
      while ((got = std::fread(chunk, 1, sizeof(chunk), file)) > 0) {
        bytes.insert(bytes.end(), chunk, chunk + got);
      }
      complete = std::ferror(file) == 0 && !bytes.empty();
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

// The first vector that was read, kept for the life of the process (never
// freed, so a thread still reading it at exit is safe).
std::atomic<ArgumentVector const*> g_arguments{nullptr};

}  // namespace

char const* const* HelperFunctionsPD::GetArgv() {
  // Read when first needed, never at load. A failed read (no descriptor
  // free, say) is not kept: the next call reads again.
  if (ArgumentVector const* const kept = g_arguments.load(std::memory_order_acquire)) {
    return kept->argv.data();
  }
  auto* const fresh = new ArgumentVector();
  if (!fresh->complete) {
    delete fresh;
    static char const* const kNone[] = {nullptr};
    return kNone;
  }
  ArgumentVector const* expected = nullptr;
  if (!g_arguments.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) {
    delete fresh;  // another thread kept its reading first
    return expected->argv.data();
  }
  return fresh->argv.data();
}

char const* HelperFunctionsPD::GetCurrentWorkingDirectory(char* buffer, std::size_t size) {
  if (getcwd(buffer, size) == nullptr) {
    return std::strerror(errno);
  }
  return buffer;
}
