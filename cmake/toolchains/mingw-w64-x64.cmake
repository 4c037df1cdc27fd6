# Windows x64 with mingw-w64 and posix threads. scripts/windows-dependencies builds the libraries; programs that
# the build and the tests start run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_AR x86_64-w64-mingw32-gcc-ar-posix)
set(CMAKE_RANLIB x86_64-w64-mingw32-gcc-ranlib-posix)

get_filename_component(VESCA_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/../../scripts ABSOLUTE)
# The checks that CMake compiles read this file too, in a project of their own, and are handed the folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VESCA_WINDOWS_PREFIX)
if(NOT VESCA_WINDOWS_PREFIX)
  execute_process(COMMAND ${VESCA_SCRIPTS}/windows-dependencies --where
    OUTPUT_VARIABLE VESCA_WINDOWS_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
if(NOT EXISTS ${VESCA_WINDOWS_PREFIX}/stamp)
  message(FATAL_ERROR "The Windows libraries are not there yet: run scripts/windows-dependencies first.")
endif()

set(CMAKE_FIND_ROOT_PATH ${VESCA_WINDOWS_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${VESCA_SCRIPTS}/run-windows)

# The stack of Win64 is aligned to 16 bytes, and gcc spills wider vectors with moves that want their full
# alignment. The assembler turns those into moves that do not.
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
# The compiler's own libraries go in: a program or a DLL needs nothing that Windows does not have.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
