# Compares the names that a Windows DLL exports (read from its export table
# with OBJDUMP) with the names that the public headers declare (EXPECTED,
# one per line). Exports must be the plain C names, undecorated.
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(actual)
set(in_names OFF)
foreach(line IN LISTS lines)
  if(line MATCHES "\\[Ordinal/Name Pointer\\] Table")
    set(in_names ON)
  elseif(in_names AND line MATCHES "^[ \t]*\\[ *[0-9]+\\] ([^ ]+)$")
    list(APPEND actual ${CMAKE_MATCH_1})
  elseif(in_names AND NOT line MATCHES "^[ \t]*\\[")
    set(in_names OFF)
  endif()
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/compare_exports.cmake)
effects_compare_exports("${actual}" "DLL export list")

