# The library exports exactly the functions that its C headers
# (include/effects/*.h) declare with EFFECTS_API at the start of a line.
# Their names are read from the headers here, at configure time, into the
# linker's version script; the export test compares the built library's
# dynamic symbols with the same list.
file(GLOB EFFECTS_PUBLIC_HEADER CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/include/effects/*.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${EFFECTS_PUBLIC_HEADER})
if(WIN32)
  # platform.h declares the host's device contexts and bitmaps for systems
  # without GDI; a Windows host uses GDI's own.
  list(FILTER EFFECTS_PUBLIC_HEADER EXCLUDE REGEX "/platform\\.h$")
endif()

function(effects_exported_names headers out_var)
  set(names)
  foreach(header IN LISTS headers)
    # Only the part before the argument list matters; reading up to "("
    # keeps semicolons out of CMake's list handling.
    file(STRINGS ${header} lines REGEX "^EFFECTS_API [^(]*\\(")
    foreach(line IN LISTS lines)
      if(line MATCHES "^EFFECTS_API [^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(")
        list(APPEND names ${CMAKE_MATCH_1})
      endif()
    endforeach()
  endforeach()
  list(SORT names)
  set(${out_var} ${names} PARENT_SCOPE)
endfunction()

effects_exported_names("${EFFECTS_PUBLIC_HEADER}" EFFECTS_EXPORTED_NAMES)
set(EFFECTS_VERSION_SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/effects.map)
list(JOIN EFFECTS_EXPORTED_NAMES ";\n    " _effects_joined)
file(CONFIGURE OUTPUT ${EFFECTS_VERSION_SCRIPT}
     CONTENT "/* Generated from include/effects/*.h; do not edit. */\n{\n  global:\n    ${_effects_joined};\n  local:\n    *;\n};\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/effects-exports.txt "")
foreach(name IN LISTS EFFECTS_EXPORTED_NAMES)
  file(APPEND ${CMAKE_CURRENT_BINARY_DIR}/effects-exports.txt "${name}\n")
endforeach()
