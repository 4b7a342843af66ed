# Cross-build for 64-bit Windows with Debian's MinGW-w64 (POSIX thread
# model). Everything the DLL and the test programs need from the compiler's
# runtime (libstdc++, libgcc, winpthread, libgomp) is linked in statically,
# so they run with the system's DLLs alone. Tests run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(_effects_mingw x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${_effects_mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_effects_mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${_effects_mingw}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${_effects_mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(_effects_static "-static -static-libgcc -static-libstdc++")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${_effects_static}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_effects_static}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${_effects_static}")

# ctest runs each Windows test program through Wine.
find_program(EFFECTS_WINE NAMES wine wine64)
if(EFFECTS_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${EFFECTS_WINE})
endif()
