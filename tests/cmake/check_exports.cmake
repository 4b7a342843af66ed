# Compares the dynamic symbols that LIBRARY defines with the names that the
# public header declares (EXPECTED, one per line, generated from HEADER).
find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
                OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(actual)
foreach(line IN LISTS lines)
  if(line MATCHES "^([^ ]+) ([A-Za-z]) ")
    set(name ${CMAKE_MATCH_1})
    set(kind ${CMAKE_MATCH_2})
    # Version nodes show up as absolute symbols; they are not functions.
    if(NOT kind STREQUAL "A")
      list(APPEND actual ${name})
    endif()
  endif()
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/compare_exports.cmake)
effects_compare_exports("${actual}" "export list")
