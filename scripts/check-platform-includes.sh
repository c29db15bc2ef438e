#!/usr/bin/env bash
# Keeps operating system calls in the platform layer: only the files listed
# here may include OS headers. Each entry says why.
set -euo pipefail
cd "$(dirname "$0")/.."

allowed=(
  src/frame/ProcessData.cpp          # process facts: pthread_self
  src/threads/CriticalSection.h      # OS wrapper: holds a pthread mutex
  src/threads/CriticalSection.cpp    # OS wrapper
  src/threads/SetResetEvent.h        # OS wrapper: holds a mutex and a condition
  src/threads/SetResetEvent.cpp      # OS wrapper
  src/threads/VirtualClock.h         # virtual time: reaches an event's mutex and condition
  src/threads/ThreadHelper.cpp       # OS wrapper: thread id and sleep
  src/threads/ThreadPD.cpp           # platform layer of Thread
  src/threads/PDStdOperations.cpp    # platform layer of the tick
  src/file/PDEnvInformation.cpp      # platform layer of the path helpers
  src/file/HelperFunctionsPD.cpp     # platform layer of HelperFunctions
  src/file/FileOperationsImpl.cpp    # platform side of FileOperations and the search
  src/file/FilePD.cpp                # platform layer of File
  src/file/FileSystem.cpp            # the browser: directory handles, glob, stat
  src/timetext/TimeDatePD.cpp        # platform layer of TimeDate: the system clock
)

bad=0
for f in $(git ls-files 'src/*.h' 'src/*.cpp'); do
  if grep -q -E '#include <(pthread\.h|dirent\.h|unistd\.h|fcntl\.h|sched\.h|sys/[a-z_]+\.h)>' "$f"; then
    if ! printf '%s\n' "${allowed[@]}" | grep -qx "$f"; then
      echo "OS header outside the platform layer: $f"
      bad=1
    fi
  fi
done
[ $bad -eq 0 ] && echo "platform includes: ok"
exit $bad
