// Platform layer of the path helpers: the only code in file/ that asks the
// environment and the OS about the running program.
#include "file/PDEnvInformation.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "file/PDEnvInformationForTesting.h"

namespace {

// Stands in for QNX's _cmdname: the full path of the running program into a
// buffer of `size` bytes, or null. Under qemu-user the kernel link is
// emulated and names the guest program.
char* CmdName(char* buffer, std::size_t size) {
  if (size == 0) {
    return nullptr;
  }
  const ssize_t length = readlink("/proc/self/exe", buffer, size - 1);
  // A cut path (length size - 1 may be one) is no full path.
  if (length < 0 || static_cast<std::size_t>(length) >= size - 1) {
    return nullptr;
  }
  buffer[length] = '\0';
  return buffer;
}

void* Allocate(std::size_t size) {
  return std::malloc(size);
}

std::atomic<detail::CmdNameForTesting> s_cmdName{&CmdName};
std::atomic<detail::AllocateForTesting> s_allocate{&Allocate};

}  // namespace

char* PDEnvInformation::s_configPath = nullptr;

char const* PDEnvInformation::GetHomePath() {
  char const* const home = std::getenv("HOME");
  return home != nullptr ? home : "/tmp";
}

char const* PDEnvInformation::GetConfigPath() {
  // Atomic test and set, so that even two first calls agree on one buffer;
  // the loser frees its own.
  char* path = __atomic_load_n(&s_configPath, __ATOMIC_ACQUIRE);
  if (path != nullptr) {
    return path;
  }
  static char const kConfigFolder[] = "/.7loom";
  char const* const home = GetHomePath();
  const std::size_t homeLength = std::strlen(home);
  char* const built = new char[homeLength + sizeof(kConfigFolder)];
  // The zero comes with the folder's name.
  // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
  std::memcpy(built, home, homeLength);
  std::memcpy(built + homeLength, kConfigFolder, sizeof(kConfigFolder));
  if (__atomic_compare_exchange_n(&s_configPath, &path, built, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_ACQUIRE)) {
    return built;
  }
  delete[] built;
  return path;
}

Tevrol::Long PDEnvInformation::GetExecutablePath(char* buffer, Tevrol::ULong size) {
  long scratchSize = pathconf("/", _PC_PATH_MAX);
  if (scratchSize == -1) {
    scratchSize = 256;
  }
  char* const scratch =
      static_cast<char*>(s_allocate.load()(static_cast<std::size_t>(scratchSize)));
  if (scratch == nullptr) {
    return -1;  // no scratch buffer: fails like an unreadable path, buffer untouched
  }
  Tevrol::Long length = -1;
  if (s_cmdName.load()(scratch, static_cast<std::size_t>(scratchSize)) != nullptr) {
    std::strncpy(buffer, scratch, size);
    length = static_cast<Tevrol::Long>(std::strlen(scratch));
  }
  std::free(scratch);
  return length;
}

namespace detail {

CmdNameForTesting SetCmdNameForTesting(CmdNameForTesting cmdName) {
  return s_cmdName.exchange(cmdName != nullptr ? cmdName : &CmdName);
}

AllocateForTesting SetAllocateForTesting(AllocateForTesting allocate) {
  return s_allocate.exchange(allocate != nullptr ? allocate : &Allocate);
}

}  // namespace detail
