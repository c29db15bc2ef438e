# Runs TOOL --lines FOLDER (through EMULATOR, its words joined by "|", if set)
# and fails unless it exits with EXPECTED.
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${TOOL} --lines ${FOLDER} RESULT_VARIABLE result)
if(NOT result STREQUAL EXPECTED)
  message(FATAL_ERROR "${TOOL} --lines ${FOLDER}: exit ${result}, expected ${EXPECTED}")
endif()
