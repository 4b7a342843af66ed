# The library exports exactly the functions that include/effects/effects.h
# declares with EFFECTS_API. Their names are read from the header here, at
# configure time, into the linker's version script; the export test compares
# the built library's dynamic symbols with the same list.
set(EFFECTS_PUBLIC_HEADER ${CMAKE_CURRENT_SOURCE_DIR}/include/effects/effects.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${EFFECTS_PUBLIC_HEADER})

function(effects_exported_names header out_var)
  file(STRINGS ${header} lines REGEX "^EFFECTS_API ")
  set(names)
  foreach(line IN LISTS lines)
    if(line MATCHES "^EFFECTS_API [^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(")
      list(APPEND names ${CMAKE_MATCH_1})
    else()
      message(FATAL_ERROR "Cannot read the exported name of: ${line}")
    endif()
  endforeach()
  list(SORT names)
  set(${out_var} ${names} PARENT_SCOPE)
endfunction()

effects_exported_names(${EFFECTS_PUBLIC_HEADER} EFFECTS_EXPORTED_NAMES)
set(EFFECTS_VERSION_SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/effects.map)
list(JOIN EFFECTS_EXPORTED_NAMES ";\n    " _effects_joined)
file(CONFIGURE OUTPUT ${EFFECTS_VERSION_SCRIPT}
     CONTENT "/* Generated from include/effects/effects.h; do not edit. */\n{\n  global:\n    ${_effects_joined};\n  local:\n    *;\n};\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/effects-exports.txt "")
foreach(name IN LISTS EFFECTS_EXPORTED_NAMES)
  file(APPEND ${CMAKE_CURRENT_BINARY_DIR}/effects-exports.txt "${name}\n")
endforeach()
