#ifndef TEVROL_FILE_PDENVINFORMATIONFORTESTING_H
#define TEVROL_FILE_PDENVINFORMATIONFORTESTING_H

#include <cstddef>

namespace detail {

// Test seams of PDEnvInformation, never exported. Each setter replaces one
// call of GetExecutablePath and returns the one it replaced, so that a test
// can make the OS fail or answer a long path and then restore the real call.
// Null restores the real call. A replacement allocator hands out memory
// that free accepts, or null.
using CmdNameForTesting = char* (*)(char* buffer, std::size_t size);
using AllocateForTesting = void* (*)(std::size_t size);
CmdNameForTesting SetCmdNameForTesting(CmdNameForTesting cmdName);
AllocateForTesting SetAllocateForTesting(AllocateForTesting allocate);

}  // namespace detail

#endif
