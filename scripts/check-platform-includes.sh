#!/usr/bin/env bash
# Keeps operating system calls in the platform layer: only the files listed
# here may include OS headers, or the C library's stdio, regex and glob
# headers. Each entry says why.
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
  src/file/FilePD.cpp                # platform layer of the file subsystem: descriptors, status, entries
  src/file/FolderScanPD.cpp          # platform layer of the folder listings: directory handles, regex
  src/timetext/TimeDatePD.cpp        # platform layer of TimeDate: the system clock
  src/threads/TevrolCfgFileReaderImpl.cpp # reads the priority file with fopen64 and fgets: the
                                     # thread priorities come before the file subsystem, which
                                     # builds on threads
  # <cstdio> for text formatting and scanning only (snprintf, sscanf), no stream or file
  src/config/ConfigLineParser.cpp    # sscanf of numbers and byte lists, as the format reads them
  src/frame/text/JsonText.h          # snprintf of escapes and numbers
  src/monitor/LoopTrace.cpp          # snprintf of the trace's numbers
  src/timetext/TimeDate.cpp          # snprintf of date and time texts
  src/workloop/WorkLoopImpl.cpp      # snprintf of a loop's default name
)

bad=0
for f in $(git ls-files 'src/*.h' 'src/*.cpp'); do
  if grep -q -E '#include <(pthread\.h|dirent\.h|unistd\.h|fcntl\.h|sched\.h|regex\.h|glob\.h|cstdio|stdio\.h|sys/[a-z_]+\.h)>' "$f"; then
    if ! printf '%s\n' "${allowed[@]}" | grep -qx "$f"; then
      echo "OS header outside the platform layer: $f"
      bad=1
    fi
  fi
done
[ $bad -eq 0 ] && echo "platform includes: ok"
exit $bad
