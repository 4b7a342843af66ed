# Installs the build tree into a scratch prefix, then builds a small program
# against it twice: through find_package(Effects) and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(f include/effects/effects.h include/effects/effects.hpp include/effects/formats.hpp)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "install lacks ${f}")
  endif()
endforeach()

# find_package(Effects); the consumer is built with the same instrumentation
# (sanitizers) as the library under test.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
message(STATUS "find_package consumer: ${last_output}")

# pkg-config
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB_RECURSE pcfiles ${prefix}/*/effects.pc)
list(GET pcfiles 0 pcfile)
get_filename_component(pcdir ${pcfile} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(${PKG_CONFIG} --cflags --libs effects)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
set(libdirs ${flags})
list(FILTER libdirs INCLUDE REGEX "^-L")
list(TRANSFORM libdirs REPLACE "^-L" "-Wl,-rpath,")
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS} ${LINK_FLAGS}")
run(${CXX} -std=c++20 ${extra} ${SOURCE_DIR}/main.cpp ${flags} ${libdirs} -o ${WORK_DIR}/pkgconfig-consumer)
run(${WORK_DIR}/pkgconfig-consumer)
message(STATUS "pkg-config consumer: ${last_output}")
