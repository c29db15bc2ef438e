# Runs EXAMPLE (loop_health) in FOLDER, made anew, where it writes
# trace.json, then TOOL (tevrol_trace_svg) on it; fails unless both exit
# with 0 and trace.svg is an SVG document. EMULATOR: words joined by "|".
string(REPLACE "|" ";" emulator "${EMULATOR}")
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
execute_process(COMMAND ${emulator} ${EXAMPLE} WORKING_DIRECTORY "${FOLDER}" RESULT_VARIABLE result)
if(NOT result STREQUAL "0")
  message(FATAL_ERROR "${EXAMPLE}: exit ${result}, expected 0")
endif()
execute_process(COMMAND ${emulator} ${TOOL} trace.json trace.svg WORKING_DIRECTORY "${FOLDER}"
  RESULT_VARIABLE result)
if(NOT result STREQUAL "0")
  message(FATAL_ERROR "${TOOL} trace.json trace.svg: exit ${result}, expected 0")
endif()
file(READ "${FOLDER}/trace.svg" head LIMIT 300)
if(NOT head MATCHES "^<\\?xml [^\n]*\n<svg ")
  message(FATAL_ERROR "${FOLDER}/trace.svg does not begin as an SVG document")
endif()
message(STATUS "${FOLDER}/trace.svg written")
